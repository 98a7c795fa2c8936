#pragma once

#include "Platform/Foundation/NSCharacterSet.h"
#include "Platform/Foundation/NSString.h"

#include <cstdint>

// The single units of a string.

[[nodiscard]] bool qvrHasCharacter(const NSString& string, char16_t unit, uint64_t atIndex);   // false beyond the end
[[nodiscard]] bool qvrContainsCharacter(const NSString& string, char16_t unit);
[[nodiscard]] uint64_t qvrCountOccurrencesOfCharacter(const NSString& string, char16_t unit);
// Whether every unit is in `set`; so the empty string matches any set.
[[nodiscard]] bool qvrMatchesCharacterSet(const NSString& string, const NSCharacterSet& set);
// Only the units that are in `set`, in their order.
[[nodiscard]] NSString qvrStringByKeepingCharactersInSet(const NSString& string, const NSCharacterSet& set);
// Deliberate: removes every U+0000, wherever it stands, not only at the ends.
[[nodiscard]] NSString qvrStringByTrimmingNulls(const NSString& string);
// Without white space and line breaks at both ends.
[[nodiscard]] NSString qvrStringByStripping(const NSString& string);
