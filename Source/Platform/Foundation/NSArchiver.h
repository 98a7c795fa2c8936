#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/Value.h"

// Writes values in the platform's non-keyed archive form: a typed stream ("streamtyped") of version 4, little-endian, system
// version 1000. docs/TypedStream.md describes it.
class NSArchiver {
public:
    // How deep objects may lie inside each other.
    static constexpr int deepestNesting = 512;

    // The archive of `rootObject`, which may be absent. Strings are kept as UTF-8, with U+FFFD for an unpaired surrogate. Throws
    // NSInvalidArgumentException when something in it cannot be archived (a class, an object) or lies too deep.
    [[nodiscard]] static NSData archivedDataWithRootObject(const Value& rootObject);
};
