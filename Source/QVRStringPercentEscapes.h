#pragma once

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"

// Percent escapes: "%" and two hexadecimal digits for one byte of the UTF-8 form. "+" is a character like any other.

// Decodes every escape. Absent when a "%" is not followed by two hexadecimal digits or the bytes are not valid UTF-8.
[[nodiscard]] NSString qvrDecodePercentEscapes(const NSString& string);
// The same, but an escape (or the escapes of one character) that decodes to one of `characters` stays as it is written.
// Absent `characters` leave all of `string` as it is, as the platform has it.
[[nodiscard]] NSString qvrDecodePercentEscapesKeepingEscaped(const NSString& string, const NSString& characters);

// Escapes every character that may not stand in an address, "%" included, and "&" and "=". Legal are the unreserved and the
// reserved characters of RFC 2396 (so "[", "]" and "#" are not). Absent when something to be escaped has no UTF-8 form: half of a
// surrogate pair; so below.
[[nodiscard]] NSString qvrEncodeForQueryString(const NSString& string);
// Escapes every character that may not stand in an address but those of `characters`.
[[nodiscard]] NSString qvrEncodeURLKeepingUnescaped(const NSString& string, const NSString& characters);

// The entries of a query: pieces between "&" that have exactly one "=", name and value decoded. Pieces without "=", with more
// than one, or with escapes that cannot be decoded are left out. Of entries with one name the last counts.
[[nodiscard]] NSMutableDictionary qvrQueryStringDictionary(const NSString& string);

// "NAME=VALUE" of each entry (strings; anything else counts by its description), joined by "&", names sorted without regard to
// case. The empty string for an empty dictionary. Half of a surrogate pair becomes U+FFFD. It is made by the first of the two
// operations below where the system has query items (see qvrIsMacOSAtLeast10_10), else by the second; they differ in the
// characters that they escape.
[[nodiscard]] NSString qvrQueryStringWithDictionary(const NSDictionary& dictionary);
// Names and values as query items have them escaped, and in addition ";" and "+". "?", "/", ":" and other legal characters stay.
[[nodiscard]] NSString qvrQueryStringFromQueryItems(const NSDictionary& dictionary);
// Names and values escaped by qvrEncodeForQueryString.
[[nodiscard]] NSString qvrQueryStringFromEscapedPairs(const NSDictionary& dictionary);
