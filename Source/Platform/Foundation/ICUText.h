#pragma once

#include <unicode/utypes.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>

// What the string operations share when they call ICU, which counts units in 32 bits and writes into caller's buffers.

// `length` as ICU counts. Throws std::length_error for texts that ICU cannot take.
[[nodiscard]] inline int32_t lengthForICU(size_t length)
{
    if (length > static_cast<size_t>(std::numeric_limits<int32_t>::max()) / 4)
        throw std::length_error("The text is too long.");
    return static_cast<int32_t>(length);
}

// Throws when an ICU call failed that can only fail for want of memory or of ICU's own data.
inline void expectSuccess(UErrorCode status)
{
    if (status == U_MEMORY_ALLOCATION_ERROR)
        throw std::bad_alloc();
    if (U_FAILURE(status))
        throw std::runtime_error(u_errorName(status));
}

// Sets `text` to what `write(buffer, capacity, &status)` writes; it returns the length that it needs. `guess` is
// the length to try first.
template <typename Writer>
void writeWithICU(std::u16string& text, size_t guess, Writer write)
{
    text.resize(guess);
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = write(text.data(), lengthForICU(text.size()), &status);
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        text.resize(static_cast<size_t>(length));
        status = U_ZERO_ERROR;
        length = write(text.data(), length, &status);
    }
    expectSuccess(status);
    text.resize(static_cast<size_t>(length));
}

// The same as a text of its own.
template <typename Writer>
[[nodiscard]] std::u16string textWrittenByICU(size_t guess, Writer write)
{
    std::u16string text;
    writeWithICU(text, guess, write);
    return text;
}
