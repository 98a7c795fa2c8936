#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/Value.h"

#include <cstdint>

// The forms of property lists; the numbers are the platform's.
enum NSPropertyListFormat : uint64_t { NSPropertyListXMLFormat_v1_0 = 100, NSPropertyListBinaryFormat_v1_0 = 200 };

// Property lists: dictionaries, arrays, strings, data, dates, integers, reals and booleans, nested at most
// `deepestNesting` times.
class NSPropertyListSerialization {
public:
    static constexpr int deepestNesting = 512;

    // `propertyList` in `format`. Dictionary entries keep their order. Unpaired surrogates, and in XML all characters that it
    // cannot hold, are written as U+FFFD, so that every reader takes the result; XML tells dates to the second. Absent when
    // anywhere a value is of another kind (an absent one, the null object, an address, an error, a class, an object), is nested
    // too deeply, is a date outside the years 1 to 9999, or has a key with a null character; then the error
    // (NSPropertyListWriteInvalidError, naming the place under NSDebugDescriptionErrorKey) goes to `*error` if given.
    [[nodiscard]] static NSData dataWithPropertyList(
        const Value& propertyList, NSPropertyListFormat format, NSError* error = nullptr);

    // The property list in `data`, in either format. The format found goes to `*format` if given. Absent when the data is not
    // exactly one property list, is nested too deeply or would take far more memory than its size; then the error
    // (NSPropertyListReadCorruptError) goes to `*error` if given. A UID, as keyed archives hold, becomes a dictionary of its
    // number under "CF$UID".
    [[nodiscard]] static Value propertyListWithData(
        const NSData& data, NSPropertyListFormat* format = nullptr, NSError* error = nullptr);

    // Whether dataWithPropertyList can write it.
    [[nodiscard]] static bool propertyListIsValid(const Value& propertyList);

    // What dataWithPropertyList's error would be; absent when there is none.
    [[nodiscard]] static NSError defectOfPropertyList(const Value& propertyList);
};
