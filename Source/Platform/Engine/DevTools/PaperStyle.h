#pragma once

#include "Platform/Engine/PageEngine.h"

#include <string>

// A script that lays one more style sheet over the document before it is printed, in place of the one that it may have laid before: paper and
// margins are those of `settings`, whatever the document's own sheets say. Its value is no matter. It does its work in any world of the document.
[[nodiscard]] std::string scriptForPaperStyle(const PrintSettings& settings);
