#pragma once

#include "Platform/Foundation/ByteSink.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/Value.h"

class AtomicFile;

// Writes property lists in the binary format ("bplist00") as a stream. Data objects go to the sink as they are, without a copy,
// so that an archive of any size takes no more memory than its tree of values and some bytes for each of them. Equal strings and
// numbers are written once. Dictionary entries keep their order. An unpaired surrogate is written as U+FFFD. The property list
// library is not used for this: its writer takes a copy of everything, and another one of the result.
class BinaryPropertyListWriter {
public:
    // False when the sink refuses bytes (NSPropertyListWriteStreamError) or when `propertyList` is not one (the error of
    // NSPropertyListSerialization::defectOfPropertyList; then nothing has been written); the error goes to `*error` if given.
    [[nodiscard]] static bool write(const Value& propertyList, const ByteSink& sink, NSError* error = nullptr);
    // The same into a file, which is not committed. A failure to write is reported as the file's own error.
    [[nodiscard]] static bool write(const Value& propertyList, AtomicFile& file, NSError* error = nullptr);
};
