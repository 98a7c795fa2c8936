#pragma once

#include "Platform/Foundation/Value.h"
#include "Platform/Web/WebArchive.h"

// A Web archive as a property list (see WebArchive) and back. Bytes are shared, not copied.

// How deep archives may be nested: what a property list may hold, with room to spare. Frames that are deeper are left out where
// archives are made.
inline constexpr size_t deepestArchiveNesting = 200;

// `archive` must not be absent.
[[nodiscard]] Value propertyListOfWebArchive(const WebArchive& archive);
// Absent when there is no main resource. Nested archives without one are left out.
[[nodiscard]] WebArchive webArchiveFromPropertyList(const Value& propertyList);
