#pragma once

#include <cstddef>
#include <string>

class NSArray;
class NSDictionary;

// The platform's text form of collections, at `level` levels inside others: every line begins with four blanks for each level.
// A text that is not made of ASCII letters and digits only is quoted and escaped.
[[nodiscard]] std::u16string describeArray(const NSArray& array, size_t level);
[[nodiscard]] std::u16string describeDictionary(const NSDictionary& dictionary, size_t level);
