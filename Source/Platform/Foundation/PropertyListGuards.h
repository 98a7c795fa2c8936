#pragma once

#include <cstddef>
#include <span>

// The property list library takes whatever resembles a binary property list: it expands shared objects without end and goes as
// deep as the input says. This check stands before it, so that it sees only strict, bounded ones. It is linear in the size of the
// input and never recurses.

// Whether `bytes` is a binary property list ("bplist00") whose objects all lie inside it, are of known kinds, hold integers of at
// most 63 bits and a sign and text that the library gives back whole (no null character in ASCII text or a key, no unpaired
// surrogate), are nested at most `deepestNesting` times without circles, and do not unfold to more than a few times
// the input.
[[nodiscard]] bool isBoundedBinaryPropertyList(std::span<const std::byte> bytes, int deepestNesting);
