#pragma once

#include "Platform/Foundation/NSString.h"

#include <cstdint>

// Four-character codes: 32-bit numbers that are shown as four Mac OS Roman characters, the most significant byte first.

// The text of a code; qvrUnknownCode() for 0.
[[nodiscard]] NSString qvrStringWithFourCharCode(uint32_t code);
// The code that a text shows; 0 when it has a character outside Mac OS Roman, and for an absent text. A text of other than four
// units is a programming error: the assertion "Precondition Failed: [self length] == 4".
[[nodiscard]] uint32_t qvrFourCharCodeValue(const NSString& string);

// The text that stands for "no code": four U+0000.
[[nodiscard]] NSString qvrUnknownCode();
[[nodiscard]] bool qvrIsUnknownCode(const NSString& string);
