#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURL.h"

#include <cstddef>
#include <cstdint>

// Codes of the library's error domain for texts that cannot be converted. Both carry the encoding's number under
// "QVRStringEncoding" and a failure reason; decoding adds the data under "QVRInputObject", encoding the text under "QVRString".
inline constexpr int64_t QVRStringDecodingErrorCode = 500;
inline constexpr int64_t QVRStringEncodingErrorCode = 501;

// Expands `format` (see NSString::stringWithFormat) with an argument list that somebody else made.
[[nodiscard]] NSString qvrStringWithFormat(const NSString& format, FormatArguments arguments);

// A new random UUID in canonical form: 36 characters, upper-case hexadecimal digits with hyphens.
[[nodiscard]] NSString qvrUniqueString();
// "PREFIX.UUID" with a new UUID.
[[nodiscard]] NSString qvrUniqueString(const NSString& prefix);

// The encoding that the charset parameter of a MIME type names, in any letter case. ISO Latin 1 when the name is absent or
// unknown.
[[nodiscard]] NSStringEncoding qvrStringEncodingForMIMEEncoding(const NSString& charset);

// The text of a path as the file system spells it: NUL-terminated or `length` bytes. Absent for a null pointer and for bytes that
// are no valid UTF-8.
[[nodiscard]] NSString qvrStringWithFileSystemRepresentation(const char* representation);
[[nodiscard]] NSString qvrStringWithFileSystemRepresentation(const char* representation, size_t length);

// A string of one unit, which may be half of a surrogate pair.
[[nodiscard]] NSString qvrStringWithCharacter(char16_t unit);
// The text of one code point; absent when `character` is no Unicode scalar value (a surrogate, or above U+10FFFF).
[[nodiscard]] NSString qvrStringWith32BitCharacter(uint32_t character);

// Decodes all of `data`. Absent when the bytes are not valid in `encoding` or there is no such encoding; then
// the error (QVRStringDecodingErrorCode) goes to `*error` if given. On success `*error` is left untouched. Empty
// data gives the empty string.
[[nodiscard]] NSString qvrStringWithData(const NSData& data, NSStringEncoding encoding, NSError* error = nullptr);
// Encodes all of `string`, nothing replaced. Absent when a character has no form in `encoding`; then the error
// (QVRStringEncodingErrorCode) goes to `*error` if given. On success `*error` is left untouched.
[[nodiscard]] NSData qvrDataUsingEncoding(const NSString& string, NSStringEncoding encoding, NSError* error = nullptr);
// Decodes UTF-8; absent when it is not valid.
[[nodiscard]] NSString qvrStringWithUTF8Data(const NSData& data);

// Reads a file of unknown encoding: the first of UTF-8, UTF-16 (by its byte-order mark) and Mac OS Roman in which its bytes are
// valid. Absent when the file cannot be read.
[[nodiscard]] NSString qvrStringWithContentsOfFile(const NSString& path);

// The file address of a path. The disk is asked whether it names a folder, whose address ends in "/".
[[nodiscard]] NSURL qvrFileURL(const NSString& path);
// The same without a look at the disk: never a folder's address.
[[nodiscard]] NSURL qvrFastFileURL(const NSString& path);
