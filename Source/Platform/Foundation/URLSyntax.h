#pragma once

#include "Platform/Foundation/NSString.h"

#include <optional>
#include <string>
#include <string_view>

// The syntax of addresses (RFC 3986) on the text as it is written. GLib's GUri is not used for it: it refuses texts that the
// platform takes (a port that is no number, an unclosed bracket, an empty text), and joining its parts again does not give
// back the text as written.

// The parts of an address, as written, without their delimiters. They are views of the text that was split.
struct URLParts {
    std::optional<std::string_view> scheme;
    bool hasAuthority = false;   // "//" was there; host may still be empty
    std::optional<std::string_view> user;
    std::optional<std::string_view> password;
    std::string_view host;   // with the brackets of an IP literal
    std::optional<std::string_view> port;
    std::string_view path;
    std::optional<std::string_view> query;
    std::optional<std::string_view> fragment;
};

// Splits `text` (ASCII), which is borrowed by the result. Every text can be split.
[[nodiscard]] URLParts splitURL(std::string_view text);

// Whether `text` consists of characters that may stand in an address, with "%" only before two hexadecimal digits and at most
// one "#".
[[nodiscard]] bool isURLText(std::u16string_view text);
// Whether `text` is a letter followed by letters, digits, "+", "-" and ".".
[[nodiscard]] bool isURLScheme(std::string_view text);

// The number of a port below 65536; nothing for any other text.
[[nodiscard]] std::optional<int> portNumber(std::string_view text);

// The ASCII characters that may stand unescaped in one part, as the platform's character sets of these names have them.
inline constexpr std::string_view URLUserAllowedCharacters =
    "!$&'()*+,-.0123456789;=ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz~";
inline constexpr std::string_view URLPasswordAllowedCharacters = URLUserAllowedCharacters;
inline constexpr std::string_view URLHostAllowedCharacters =
    "!$&'()*+,-.0123456789:;=ABCDEFGHIJKLMNOPQRSTUVWXYZ[]_abcdefghijklmnopqrstuvwxyz~";
inline constexpr std::string_view URLPathAllowedCharacters =
    "!$&'()*+,-./0123456789:=@ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz~";
inline constexpr std::string_view URLQueryAllowedCharacters =
    "!$&'()*+,-./0123456789:;=?@ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz~";
inline constexpr std::string_view URLFragmentAllowedCharacters = URLQueryAllowedCharacters;

// `text` in UTF-8 with every byte that is not in `allowed` (ASCII characters) written as "%XX". Absent for an absent text and
// when a surrogate is unpaired.
[[nodiscard]] NSString stringByAddingPercentEncoding(const NSString& text, std::string_view allowed);
// `text` with every "%XX" replaced by its byte. Absent for an absent text, when a "%" is not followed by two hexadecimal digits,
// and when the bytes are not valid UTF-8.
[[nodiscard]] NSString stringByRemovingPercentEncoding(const NSString& text);
[[nodiscard]] NSString stringByRemovingPercentEncoding(std::string_view text);
