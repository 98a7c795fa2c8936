#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURL.h"

#include <memory>

// Where a load may take its answer from; the numbers are the platform's.
enum NSURLRequestCachePolicy : uint64_t {
    NSURLRequestUseProtocolCachePolicy = 0,
    NSURLRequestReloadIgnoringLocalCacheData = 1,
    NSURLRequestReloadIgnoringCacheData = NSURLRequestReloadIgnoringLocalCacheData,
    NSURLRequestReturnCacheDataElseLoad = 2,
    NSURLRequestReturnCacheDataDontLoad = 3,
    NSURLRequestReloadIgnoringLocalAndRemoteCacheData = 4,
    NSURLRequestReloadRevalidatingCacheData = 5,
};

// What is asked of a server: an address and how to load it. A value: copies share their contents until one is changed. A
// default-constructed request is absent and answers the defaults named below.
class NSURLRequest {
public:
    NSURLRequest() = default;
    [[nodiscard]] static NSURLRequest requestWithURL(
        const NSURL& url, NSURLRequestCachePolicy cachePolicy = NSURLRequestUseProtocolCachePolicy, double timeoutInterval = 60);

    [[nodiscard]] bool isAbsent() const { return _contents == nullptr; }
    explicit operator bool() const { return _contents != nullptr; }

    [[nodiscard]] NSURL URL() const;
    // NSURLRequestUseProtocolCachePolicy unless given.
    [[nodiscard]] NSURLRequestCachePolicy cachePolicy() const;
    // Seconds without any byte after which the load fails; 60 unless given.
    [[nodiscard]] double timeoutInterval() const;
    // "GET" unless set.
    [[nodiscard]] NSString HTTPMethod() const;
    // The header fields (strings) under their names as set, in the order in which they were set.
    [[nodiscard]] NSDictionary allHTTPHeaderFields() const;
    // The value of the field of that name, in any letter case; absent when not set.
    [[nodiscard]] NSString valueForHTTPHeaderField(const NSString& field) const;
    // Absent unless set.
    [[nodiscard]] NSData HTTPBody() const;
    // Whether cookies are sent and kept; true unless set.
    [[nodiscard]] bool HTTPShouldHandleCookies() const;

    // "<NSURLRequest> { URL: … }".
    [[nodiscard]] NSString description() const;

    // Same contents, protocol properties included; two absent requests are equal.
    friend bool operator==(const NSURLRequest& a, const NSURLRequest& b);

protected:
    friend class NSURLProtocol;
    struct Contents {
        NSURL url;
        NSURLRequestCachePolicy cachePolicy = NSURLRequestUseProtocolCachePolicy;
        double timeoutInterval = 60;   // seconds
        NSString method = u"GET";
        NSDictionary headerFields;
        NSData body;
        bool handlesCookies = true;
        NSDictionary protocolProperties;

        bool operator==(const Contents&) const = default;
    };
    [[nodiscard]] const Contents& contents() const;
    std::shared_ptr<Contents> _contents;
};

// A request that can be changed. Changing an absent one makes it present, without an address unless that is set.
class NSMutableURLRequest : public NSURLRequest {
public:
    NSMutableURLRequest() = default;
    // A copy of `request`, protocol properties included.
    explicit NSMutableURLRequest(const NSURLRequest& request) : NSURLRequest(request) { }
    [[nodiscard]] static NSMutableURLRequest requestWithURL(
        const NSURL& url, NSURLRequestCachePolicy cachePolicy = NSURLRequestUseProtocolCachePolicy, double timeoutInterval = 60);

    void setURL(const NSURL& url);
    void setCachePolicy(NSURLRequestCachePolicy cachePolicy);
    // Seconds.
    void setTimeoutInterval(double timeoutInterval);
    // Absent sets "GET".
    void setHTTPMethod(const NSString& method);
    // Sets or replaces a field; a replaced one keeps its place and the spelling of its name. An absent value removes it.
    void setValue(const NSString& value, const NSString& forHTTPHeaderField);
    // Sets the field, or adds to its value after ",".
    void addValue(const NSString& value, const NSString& forHTTPHeaderField);
    // Replaces all fields by the strings of `headerFields`.
    void setAllHTTPHeaderFields(const NSDictionary& headerFields);
    void setHTTPBody(const NSData& body);
    void setHTTPShouldHandleCookies(bool handlesCookies);

private:
    friend class NSURLProtocol;
    Contents& mutableContents();
};
