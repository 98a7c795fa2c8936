#pragma once

#include "Platform/Foundation/NSString.h"

#include <memory>
#include <optional>

// An address; a default-constructed one is absent. The text is kept as it was written: nothing is normalised.
class NSURL {
public:
    NSURL() = default;
    // Absent when `text` is absent or holds a character that may not stand in an address (RFC 3986, with any other character
    // outside percent escapes refused). Anything else gives an address, also a relative or an empty one.
    [[nodiscard]] static NSURL URLWithString(const NSString& text);
    // The address of any text, also one with characters that may not stand in an address: browsers use such addresses. Absent
    // only for an absent text.
    [[nodiscard]] static NSURL URLWithUncheckedString(const NSString& text);
    // The file address of a path made absolute against the current folder, with every character that needs it percent-escaped.
    // Without `isDirectory` the disk is asked whether the path names a folder, which ends the address in "/".
    [[nodiscard]] static NSURL fileURLWithPath(const NSString& path, std::optional<bool> isDirectory = {});

    [[nodiscard]] bool isAbsent() const { return _contents == nullptr; }
    explicit operator bool() const { return _contents != nullptr; }

    // The text as written.
    [[nodiscard]] NSString absoluteString() const;
    [[nodiscard]] NSString description() const { return absoluteString(); }

    // Parts by RFC 3986, section 3, as written unless said otherwise; absent when the address has none. The path, user, password
    // and host have their percent escapes decoded (one that is not valid UTF-8 then is absent), query and fragment keep them; the
    // path of "http://h" is "", and a trailing "/" of a longer path is left out, as the platform does. An address without "//"
    // after its scheme and without a leading "/" (such as "mailto:a@b") has no path. A host has no brackets around it; an empty
    // one is absent. A port that is no number below 65536 is absent.
    [[nodiscard]] NSString scheme() const;
    [[nodiscard]] NSString user() const;
    [[nodiscard]] NSString password() const;
    [[nodiscard]] NSString host() const;
    [[nodiscard]] std::optional<int> port() const;
    [[nodiscard]] NSString path() const;
    [[nodiscard]] NSString query() const;
    [[nodiscard]] NSString fragment() const;
    [[nodiscard]] NSString lastPathComponent() const;
    [[nodiscard]] bool isFileURL() const;

    // Same text; two absent addresses are equal.
    friend bool operator==(const NSURL& a, const NSURL& b);

private:
    struct Contents;
    std::shared_ptr<const Contents> _contents;
};
