#pragma once

#include <cstddef>

// Opens what is closed of standard input, output and error, so that none of them is the next file that is opened: what is written
// to it must not go there.
void openStandardStreams();

// Whether the process may have so many descriptors more than it has.
[[nodiscard]] bool canOpenDescriptors(size_t count);
