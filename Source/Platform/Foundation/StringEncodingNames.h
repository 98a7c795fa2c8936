#pragma once

#include "Platform/Foundation/NSString.h"

// The name by which ICU opens the converter of `encoding`; null when the encoding is unknown. Static storage.
[[nodiscard]] const char* converterNameOfEncoding(NSStringEncoding encoding);
