#pragma once

#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/Value.h"

// Whether `other` occurs in `string`, unit by unit. An empty or absent `other` never does.
[[nodiscard]] bool qvrContainsString(const NSString& string, const NSString& other);
// The same, ignoring case.
[[nodiscard]] bool qvrCaseInsensitiveContainsString(const NSString& string, const NSString& other);
// Whether `string` starts with `prefix`, ignoring case. An empty or absent prefix is never found; so below.
[[nodiscard]] bool qvrHasCaseInsensitivePrefix(const NSString& string, const NSString& prefix);
// Whether `object` is a string and the same as `string` but for case.
[[nodiscard]] bool qvrCaseInsensitiveIsEqual(const NSString& string, const Value& object);
// Whether `string` starts with `prefix`, ignoring diacritics and full or half width of characters, but not case.
[[nodiscard]] bool qvrHasDiacriticPrefix(const NSString& string, const NSString& prefix);
// The same, ignoring case as well.
[[nodiscard]] bool qvrHasDiacriticInsensitivePrefix(const NSString& string, const NSString& prefix);

// The order for lists that people read: by the rules of the user's locale, ignoring case, runs of digits by their value
// ("Page 9" before "Page 10").
[[nodiscard]] NSComparisonResult qvrCompareForDisplay(const NSString& string, const NSString& other);
// Compares the lengths only: ascending when `string` is shorter.
[[nodiscard]] NSComparisonResult qvrCompareLength(const NSString& string, const NSString& other);
