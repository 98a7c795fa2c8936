#include "Platform/Foundation/NSURL.h"

#include "Platform/Foundation/URLSyntax.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>

// The text twice: as the platform's string and as the ASCII bytes that the parts are views of.
struct NSURL::Contents {
    explicit Contents(NSString text) : string(std::move(text)), bytes(string.UTF8()), parts(splitURL(bytes)) { }
    Contents(const Contents&) = delete;
    Contents& operator=(const Contents&) = delete;

    NSString string;
    std::string bytes;
    URLParts parts;
};

NSURL NSURL::URLWithString(const NSString& text)
{
    NSURL url;
    if (text && isURLText(text.units()))
        url._contents = std::make_shared<const Contents>(text);
    return url;
}

NSURL NSURL::URLWithUncheckedString(const NSString& text)
{
    NSURL url;
    if (text)
        url._contents = std::make_shared<const Contents>(text);
    return url;
}

NSURL NSURL::fileURLWithPath(const NSString& path, std::optional<bool> isDirectory)
{
    const std::optional<std::string> bytes = path.strictUTF8();
    if (!bytes)
        return {};
    std::string absolute = *bytes;
    if (!absolute.starts_with('/')) {
        std::error_code failure;
        const std::string folder = std::filesystem::current_path(failure).string();
        absolute = folder.ends_with('/') ? folder + absolute : folder + "/" + absolute;
    }
    const bool endsInSlash = absolute.ends_with('/');
    while (absolute.size() > 1 && absolute.ends_with('/'))
        absolute.pop_back();
    if (!isDirectory) {
        struct stat status;
        isDirectory = endsInSlash || (stat(absolute.c_str(), &status) == 0 && S_ISDIR(status.st_mode));
    }
    if (*isDirectory && absolute != "/")
        absolute += '/';
    const NSString escaped = stringByAddingPercentEncoding(NSString::stringWithUTF8String(absolute), URLPathAllowedCharacters);
    // A folder above the current one may have a name that is no UTF-8; then there is no address.
    return escaped ? URLWithString(NSString(u"file://").stringByAppendingString(escaped)) : NSURL();
}

NSString NSURL::absoluteString() const
{
    return _contents ? _contents->string : NSString();
}

static NSString stringFromPart(std::string_view part)
{
    return NSString::stringWithUTF8String(part);
}

NSString NSURL::scheme() const
{
    return _contents && _contents->parts.scheme ? stringFromPart(*_contents->parts.scheme) : NSString();
}

NSString NSURL::user() const
{
    return _contents && _contents->parts.user ? stringByRemovingPercentEncoding(*_contents->parts.user) : NSString();
}

NSString NSURL::password() const
{
    return _contents && _contents->parts.password ? stringByRemovingPercentEncoding(*_contents->parts.password) : NSString();
}

NSString NSURL::host() const
{
    if (!_contents || _contents->parts.host.empty())
        return {};
    std::string_view host = _contents->parts.host;
    if (host.starts_with('[') && host.ends_with(']'))
        host = host.substr(1, host.size() - 2);
    return stringByRemovingPercentEncoding(host);
}

std::optional<int> NSURL::port() const
{
    if (!_contents || !_contents->parts.port || _contents->parts.port->empty())
        return {};
    return portNumber(*_contents->parts.port);
}

// The path as written, without a trailing "/"; nothing where the address has no path.
static std::optional<std::string_view> writtenPath(const URLParts& parts)
{
    if (parts.scheme && !parts.hasAuthority && !parts.path.starts_with('/'))
        return {};
    std::string_view path = parts.path;
    if (path.size() > 1 && path.ends_with('/'))
        path.remove_suffix(1);
    return path;
}

NSString NSURL::path() const
{
    if (!_contents)
        return {};
    const std::optional<std::string_view> path = writtenPath(_contents->parts);
    return path ? stringByRemovingPercentEncoding(*path) : NSString();
}

NSString NSURL::query() const
{
    return _contents && _contents->parts.query ? stringFromPart(*_contents->parts.query) : NSString();
}

NSString NSURL::fragment() const
{
    return _contents && _contents->parts.fragment ? stringFromPart(*_contents->parts.fragment) : NSString();
}

NSString NSURL::lastPathComponent() const
{
    if (!_contents)
        return {};
    // Cut before decoding: an escaped "/" belongs to its component.
    const std::optional<std::string_view> path = writtenPath(_contents->parts);
    if (!path)
        return {};
    const size_t slash = path->rfind('/');
    return stringByRemovingPercentEncoding(*path == "/" || slash == std::string_view::npos ? *path : path->substr(slash + 1));
}

bool NSURL::isFileURL() const
{
    if (!_contents || !_contents->parts.scheme)
        return false;
    constexpr std::string_view file = "file";
    return std::equal(file.begin(), file.end(), _contents->parts.scheme->begin(), _contents->parts.scheme->end(),
        [](char lower, char written) { return lower == (written | 0x20); });
}

bool operator==(const NSURL& a, const NSURL& b)
{
    return a.absoluteString() == b.absoluteString();
}
