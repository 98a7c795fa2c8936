// Sizes, as settings hold them: any text gives two numbers, and these are read again from the text that is made of them.

#include "FuzzSupport.h"
#include "Platform/Foundation/NSGeometry.h"

#include <cmath>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const NSSize read = NSSizeFromString(fuzz::textOf(bytes, size));
    fuzz::require(!std::isnan(read.width) && !std::isnan(read.height), "what is read is a number");
    if (std::isfinite(read.width) && std::isfinite(read.height))
        fuzz::require(NSSizeFromString(NSStringFromSize(read)) == read, "a size is read again from its text");
    return 0;
}
