#pragma once

namespace support {

// Whether the tests are built with the address sanitizer. It reserves more addresses than a memory limit leaves, and looks at memory
// through pipes of its own.
#ifdef __SANITIZE_ADDRESS__
inline constexpr bool isSanitized = true;
#else
inline constexpr bool isSanitized = false;
#endif

}
