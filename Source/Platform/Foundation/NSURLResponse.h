#pragma once

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURL.h"

#include <cstdint>
#include <memory>
#include <optional>

// The length of an answer that does not tell it.
inline constexpr int64_t NSURLResponseUnknownLength = -1;

// What is known of an answer before its bytes. Immutable; copies share their contents. A default-constructed one is absent.
class NSURLResponse {
public:
    NSURLResponse() = default;
    // `MIMEType` as the server spelled it, without parameters; `expectedContentLength` in bytes or NSURLResponseUnknownLength.
    // Absent texts are kept absent, nothing is guessed.
    NSURLResponse(NSURL url, NSString MIMEType, int64_t expectedContentLength, NSString textEncodingName);

    [[nodiscard]] bool isAbsent() const { return _contents == nullptr; }
    explicit operator bool() const { return _contents != nullptr; }

    [[nodiscard]] NSURL URL() const;
    [[nodiscard]] NSString MIMEType() const;
    // NSURLResponseUnknownLength for an absent response too.
    [[nodiscard]] int64_t expectedContentLength() const;
    [[nodiscard]] NSString textEncodingName() const;
    // A name for a file that keeps the answer: what Content-Disposition says, else the address's last path component, else its
    // host, else "unknown", with the MIME type's usual extension when it has none. Always one plain name of at most 255 bytes: no
    // separators, no control characters, neither "." nor "..". Absent for an absent response.
    [[nodiscard]] NSString suggestedFilename() const;

    // Those of an HTTP answer. Of any other: nothing, and an absent dictionary or text.
    [[nodiscard]] bool isHTTP() const;
    [[nodiscard]] std::optional<int> statusCode() const;
    // The fields under their names as the server spelled them, in its order.
    [[nodiscard]] NSDictionary allHeaderFields() const;
    // In any letter case.
    [[nodiscard]] NSString valueForHTTPHeaderField(const NSString& field) const;

    // "<NSURLResponse: address>", with the status for an HTTP answer.
    [[nodiscard]] NSString description() const;

    // Same contents; two absent responses are equal.
    friend bool operator==(const NSURLResponse& a, const NSURLResponse& b);

protected:
    struct Contents {
        NSURL url;
        NSString MIMEType;
        int64_t expectedContentLength = NSURLResponseUnknownLength;
        NSString textEncodingName;
        std::optional<int> statusCode;
        NSDictionary headerFields;

        bool operator==(const Contents&) const = default;
    };
    explicit NSURLResponse(Contents contents);
    std::shared_ptr<const Contents> _contents;
};

// The answer of an HTTP server. It is the same value as its base, only made in another way: nothing is lost when it is kept as an
// NSURLResponse.
class NSHTTPURLResponse : public NSURLResponse {
public:
    NSHTTPURLResponse() = default;
    // MIME type, encoding name and length are read from Content-Type ("text/html; charset=x": the type as spelled, without
    // parameters or blanks; quotes around the charset are left out) and Content-Length (digits only; unknown when a
    // Content-Encoding says that the bytes on the wire are others).
    NSHTTPURLResponse(NSURL url, int statusCode, NSDictionary headerFields);
    // With the facts that the loader knows better than the header.
    NSHTTPURLResponse(NSURL url, int statusCode, NSDictionary headerFields, NSString MIMEType, int64_t expectedContentLength,
        NSString textEncodingName);
};
