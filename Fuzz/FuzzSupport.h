#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSString.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>

// What the fuzz targets share.
namespace fuzz {

// Ends the program when a property does not hold; the fuzzer keeps the input.
inline void require(bool holds, const char* property)
{
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", property);
        std::abort();
    }
}

// The input as a text: UTF-16 units, unpaired surrogates included, when it begins with the byte 0xff, else UTF-8
// with its faults repaired.
inline NSString textOf(const uint8_t* bytes, size_t size)
{
    if (size > 0 && bytes[0] == 0xff) {
        std::u16string units;
        for (size_t index = 1; index + 1 < size; index += 2)
            units += static_cast<char16_t>(bytes[index] << 8 | bytes[index + 1]);
        return units;
    }
    return NSString::stringWithRepairedUTF8({reinterpret_cast<const char*>(bytes), size});
}

inline NSData dataOf(const uint8_t* bytes, size_t size)
{
    return NSData(std::span<const std::byte>(reinterpret_cast<const std::byte*>(bytes), size));
}

}
