#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/Value.h"

// Reads the archives that NSArchiver describes. Safe on any bytes: reads never leave the data, nesting and the number of values,
// shared ones counted as often as they are used, are bounded.
class NSUnarchiver {
public:
    // The root object of an archive; mutable strings, data, arrays and dictionaries are read too. Absent when the bytes are
    // not exactly one archive of such objects; then the error (NSCoderReadCorruptError, with the reason under
    // NSDebugDescriptionErrorKey) goes to `*error` if given. An archive of an absent object gives an absent value and
    // leaves `*error` untouched.
    [[nodiscard]] static Value unarchiveObjectWithData(const NSData& data, NSError* error = nullptr);
};
