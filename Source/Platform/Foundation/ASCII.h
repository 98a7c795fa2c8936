#pragma once

#include <algorithm>
#include <cstddef>

// Whether all units of a text, of one byte or more, are ASCII.
template <typename Text>
[[nodiscard]] bool isASCII(const Text& text)
{
    // Units are looked at in groups, which compilers turn into a few wide operations.
    constexpr size_t group = 64;
    for (size_t start = 0; start < text.size(); start += group) {
        const size_t end = std::min(start + group, text.size());
        unsigned all = 0;
        for (size_t index = start; index < end; ++index)
            all |= static_cast<unsigned>(text[index]);
        if (all & ~0x7fu)
            return false;
    }
    return true;
}
