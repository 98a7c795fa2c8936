#pragma once

#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/NSURLQueryItem.h"

#include <optional>
#include <string>
#include <vector>

// An address taken apart, so that single parts can be changed. Parts that are not changed keep their text as written, escapes and
// letter case included. A default-constructed one is present and has no parts but an empty path; one made from something that is
// no address is absent: it answers absent and ignores changes.
class NSURLComponents {
public:
    NSURLComponents() = default;
    // Absent when `url` is absent or has a port that is no number. `resolvingAgainstBaseURL` makes no difference: addresses
    // have no base here.
    [[nodiscard]] static NSURLComponents componentsWithURL(const NSURL& url, bool resolvingAgainstBaseURL);
    // Absent also when `text` makes no NSURL.
    [[nodiscard]] static NSURLComponents componentsWithString(const NSString& text);

    [[nodiscard]] bool isAbsent() const { return _isAbsent; }
    explicit operator bool() const { return !_isAbsent; }

    // The address and its text; absent when the parts cannot be joined without changing their meaning: a path beside a user, host
    // or port that does not begin with "/", or one that begins with "//" without them.
    [[nodiscard]] NSURL URL() const;
    [[nodiscard]] NSString string() const;

    // Parts with their escapes decoded, absent where there is none. A host keeps the brackets of an IP literal.
    [[nodiscard]] NSString scheme() const;
    [[nodiscard]] NSString user() const;
    [[nodiscard]] NSString password() const;
    [[nodiscard]] NSString host() const;
    [[nodiscard]] std::optional<int> port() const;
    [[nodiscard]] NSString path() const;
    [[nodiscard]] NSString query() const;
    [[nodiscard]] NSString fragment() const;

    // The same parts as written.
    [[nodiscard]] NSString percentEncodedUser() const;
    [[nodiscard]] NSString percentEncodedPassword() const;
    [[nodiscard]] NSString percentEncodedHost() const;
    [[nodiscard]] NSString percentEncodedPath() const;
    [[nodiscard]] NSString percentEncodedQuery() const;
    [[nodiscard]] NSString percentEncodedFragment() const;

    // Changes. The text is kept, with every character that may not stand in that part percent-escaped; absent removes the part. A
    // scheme of other than a letter and letters, digits, "+", "-", ".", and a port outside 0 to 65535, throw
    // NSInvalidArgumentException.
    void setScheme(const NSString& scheme);
    void setUser(const NSString& user);
    void setPassword(const NSString& password);
    void setHost(const NSString& host);
    void setPort(std::optional<int> port);
    void setPath(const NSString& path);
    void setQuery(const NSString& query);
    void setFragment(const NSString& fragment);

    // The same for a text that is escaped already; one that holds a character that may not stand in that part, or a bad escape,
    // throws NSInvalidArgumentException.
    void setPercentEncodedUser(const NSString& user);
    void setPercentEncodedPassword(const NSString& password);
    void setPercentEncodedHost(const NSString& host);
    void setPercentEncodedPath(const NSString& path);
    void setPercentEncodedQuery(const NSString& query);
    void setPercentEncodedFragment(const NSString& fragment);

    // The query as names and values: split at "&", each piece at its first "=". Nothing when there is no query, no items for an
    // empty one. A piece that cannot be decoded stays as it is written.
    [[nodiscard]] std::optional<std::vector<NSURLQueryItem>> queryItems() const;
    // Names and values are escaped where they hold "&", "=" or what may not stand in a query; "+" and ";" stay. Nothing
    // removes the query.
    void setQueryItems(const std::optional<std::vector<NSURLQueryItem>>& items);

private:
    using Part = std::optional<std::string>;
    [[nodiscard]] NSString decoded(const Part& part) const;
    [[nodiscard]] NSString written(const Part& part) const;
    void setDecoded(Part& part, const NSString& text, std::string_view allowed);
    void setWritten(Part& part, const NSString& text, std::string_view allowed);

    bool _isAbsent = false;
    // As written; _port and _host may be present and empty.
    Part _scheme;
    Part _user;
    Part _password;
    Part _host;
    Part _port;
    Part _path = std::string();
    Part _query;
    Part _fragment;
};
