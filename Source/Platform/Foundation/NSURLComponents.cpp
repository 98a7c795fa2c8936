#include "Platform/Foundation/NSURLComponents.h"

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/URLSyntax.h"

#include <string_view>

namespace {

std::optional<std::string> copied(const std::optional<std::string_view>& part)
{
    return part ? std::optional<std::string>(*part) : std::nullopt;
}

// What may stand in a name or value without being taken for a separator.
std::string queryItemAllowedCharacters()
{
    std::string allowed(URLQueryAllowedCharacters);
    std::erase(allowed, '&');
    std::erase(allowed, '=');
    return allowed;
}

NSString decodedOrAsWritten(std::string_view text)
{
    NSString decoded = stringByRemovingPercentEncoding(text);
    return decoded ? decoded : NSString::stringWithRepairedUTF8(text);
}

}

NSURLComponents NSURLComponents::componentsWithURL(const NSURL& url, bool)
{
    return componentsWithString(url.absoluteString());
}

NSURLComponents NSURLComponents::componentsWithString(const NSString& text)
{
    NSURLComponents components;
    const NSURL url = NSURL::URLWithString(text);
    const std::string bytes = url.absoluteString().UTF8();
    const URLParts parts = splitURL(bytes);
    components._isAbsent = !url || (parts.port && !parts.port->empty() && !portNumber(*parts.port));
    if (components._isAbsent)
        return components;
    components._scheme = copied(parts.scheme);
    components._user = copied(parts.user);
    components._password = copied(parts.password);
    if (parts.hasAuthority)
        components._host = std::string(parts.host);
    components._port = copied(parts.port);
    components._path = std::string(parts.path);
    components._query = copied(parts.query);
    components._fragment = copied(parts.fragment);
    return components;
}

NSURL NSURLComponents::URL() const
{
    return NSURL::URLWithString(string());
}

NSString NSURLComponents::string() const
{
    if (_isAbsent)
        return {};
    const std::string path = _path.value_or("");
    const bool hasAuthority = _host || _user || _password || _port;
    if (hasAuthority ? !path.empty() && !path.starts_with('/') : path.starts_with("//"))
        return {};
    std::string text;
    if (_scheme)
        text += *_scheme + ":";
    if (hasAuthority) {
        text += "//";
        if (_user || _password)
            text += _user.value_or("") + (_password ? ":" + *_password : "") + "@";
        text += _host.value_or("");
        if (_port)
            text += ":" + *_port;
    }
    text += path;
    if (_query)
        text += "?" + *_query;
    if (_fragment)
        text += "#" + *_fragment;
    return NSString::stringWithUTF8String(text);
}

NSString NSURLComponents::decoded(const Part& part) const
{
    return part && !_isAbsent ? stringByRemovingPercentEncoding(std::string_view(*part)) : NSString();
}

NSString NSURLComponents::written(const Part& part) const
{
    return part && !_isAbsent ? NSString::stringWithUTF8String(*part) : NSString();
}

NSString NSURLComponents::scheme() const
{
    return written(_scheme);
}

NSString NSURLComponents::user() const
{
    return decoded(_user);
}

NSString NSURLComponents::password() const
{
    return decoded(_password);
}

NSString NSURLComponents::host() const
{
    return decoded(_host);
}

std::optional<int> NSURLComponents::port() const
{
    return !_isAbsent && _port && !_port->empty() ? portNumber(*_port) : std::nullopt;
}

NSString NSURLComponents::path() const
{
    return decoded(_path);
}

NSString NSURLComponents::query() const
{
    return decoded(_query);
}

NSString NSURLComponents::fragment() const
{
    return decoded(_fragment);
}

NSString NSURLComponents::percentEncodedUser() const
{
    return written(_user);
}

NSString NSURLComponents::percentEncodedPassword() const
{
    return written(_password);
}

NSString NSURLComponents::percentEncodedHost() const
{
    return written(_host);
}

NSString NSURLComponents::percentEncodedPath() const
{
    return written(_path);
}

NSString NSURLComponents::percentEncodedQuery() const
{
    return written(_query);
}

NSString NSURLComponents::percentEncodedFragment() const
{
    return written(_fragment);
}

void NSURLComponents::setScheme(const NSString& scheme)
{
    if (scheme && !isURLScheme(scheme.UTF8()))
        throw NSException(NSInvalidArgumentException, NSString::stringWithFormat(u"Invalid scheme \"%@\".", scheme));
    _scheme = scheme ? Part(scheme.UTF8()) : Part();
}

void NSURLComponents::setDecoded(Part& part, const NSString& text, std::string_view allowed)
{
    // An unpaired surrogate has no bytes of its own; the replacement character stands in for it.
    part = text ? Part(stringByAddingPercentEncoding(NSString::stringWithUTF8String(text.UTF8()), allowed).UTF8()) : Part();
}

void NSURLComponents::setWritten(Part& part, const NSString& text, std::string_view allowed)
{
    const std::string bytes = text.UTF8();
    if (text && (!isURLText(text.units()) || bytes.find_first_not_of(std::string(allowed) + "%") != std::string::npos))
        throw NSException(NSInvalidArgumentException, NSString::stringWithFormat(u"Invalid characters in \"%@\".", text));
    part = text ? Part(bytes) : Part();
}

void NSURLComponents::setUser(const NSString& user)
{
    setDecoded(_user, user, URLUserAllowedCharacters);
}

void NSURLComponents::setPassword(const NSString& password)
{
    setDecoded(_password, password, URLPasswordAllowedCharacters);
}

void NSURLComponents::setHost(const NSString& host)
{
    setDecoded(_host, host, URLHostAllowedCharacters);
}

void NSURLComponents::setPort(std::optional<int> port)
{
    if (port && (*port < 0 || *port > 65535))
        throw NSException(NSInvalidArgumentException, NSString::stringWithFormat(u"Invalid port %d.", *port));
    _port = port ? Part(std::to_string(*port)) : Part();
}

void NSURLComponents::setPath(const NSString& path)
{
    setDecoded(_path, path, URLPathAllowedCharacters);
}

void NSURLComponents::setQuery(const NSString& query)
{
    setDecoded(_query, query, URLQueryAllowedCharacters);
}

void NSURLComponents::setFragment(const NSString& fragment)
{
    setDecoded(_fragment, fragment, URLFragmentAllowedCharacters);
}

void NSURLComponents::setPercentEncodedUser(const NSString& user)
{
    setWritten(_user, user, URLUserAllowedCharacters);
}

void NSURLComponents::setPercentEncodedPassword(const NSString& password)
{
    setWritten(_password, password, URLPasswordAllowedCharacters);
}

void NSURLComponents::setPercentEncodedHost(const NSString& host)
{
    setWritten(_host, host, URLHostAllowedCharacters);
}

void NSURLComponents::setPercentEncodedPath(const NSString& path)
{
    // ";" may stand in a path as written, though the platform escapes it.
    setWritten(_path, path, std::string(URLPathAllowedCharacters) + ";");
}

void NSURLComponents::setPercentEncodedQuery(const NSString& query)
{
    setWritten(_query, query, URLQueryAllowedCharacters);
}

void NSURLComponents::setPercentEncodedFragment(const NSString& fragment)
{
    setWritten(_fragment, fragment, URLFragmentAllowedCharacters);
}

std::optional<std::vector<NSURLQueryItem>> NSURLComponents::queryItems() const
{
    if (_isAbsent || !_query)
        return {};
    std::vector<NSURLQueryItem> items;
    std::string_view rest = *_query;
    while (!_query->empty()) {
        const size_t end = rest.find('&');
        const std::string_view piece = rest.substr(0, end);
        const size_t equals = piece.find('=');
        items.push_back({decodedOrAsWritten(piece.substr(0, equals)),
            equals == std::string_view::npos ? NSString() : decodedOrAsWritten(piece.substr(equals + 1))});
        if (end == std::string_view::npos)
            break;
        rest.remove_prefix(end + 1);
    }
    return items;
}

void NSURLComponents::setQueryItems(const std::optional<std::vector<NSURLQueryItem>>& items)
{
    if (!items) {
        _query.reset();
        return;
    }
    const std::string allowed = queryItemAllowedCharacters();
    std::string query;
    for (const NSURLQueryItem& item : *items) {
        if (&item != &items->front())
            query += '&';
        Part part;
        setDecoded(part, item.name, allowed);
        query += part.value_or("");
        setDecoded(part, item.value, allowed);
        if (part)
            query += "=" + *part;
    }
    _query = query;
}
