#pragma once

#include "Platform/Web/WebArchive.h"

// The largest archive that is read, in bytes. Reading takes about three times as much memory.
inline constexpr int64_t largestArchive = 512LL << 20;

// The archive in the file at `path`. Absent when there is no such file, it is not an ordinary one, it is larger than that or it
// is no archive; then the error goes to `*error`, with a failure reason for people.
[[nodiscard]] WebArchive webArchiveWithContentsOfFile(const NSString& path, NSError* error);
