#pragma once

#include <cstddef>
#include <span>
#include <string_view>

// The property list library takes whatever resembles a property list: it skips what it does not know, reads numbers out of words,
// expands shared objects without end and goes as deep as the input says. These checks stand before it, so that it sees only
// strict, bounded property lists. Both are linear in the size of the input and never recurse.

// Whether `text` is one XML property list: well-formed UTF-8, known elements in their places, a value for every key, and numbers,
// dates and data that can be read exactly. At most `deepestNesting` containers inside each other.
[[nodiscard]] bool isStrictXMLPropertyList(std::string_view text, int deepestNesting);

// Whether `bytes` is a binary property list ("bplist00") whose objects all lie inside it, are of known kinds, hold integers of at
// most 63 bits and a sign and text that the library gives back whole (no null character in ASCII text or a key, no unpaired
// surrogate), are nested at most `deepestNesting` times without circles, and do not unfold to more than a few times
// the input.
[[nodiscard]] bool isBoundedBinaryPropertyList(std::span<const std::byte> bytes, int deepestNesting);
