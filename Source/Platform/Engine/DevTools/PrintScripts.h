#pragma once

#include "Platform/Engine/PageEngine.h"

#include <string>

// Scripts that get a document ready for paper. They run in one world of the document's, beside the page's own scripts.

// Lays one more style sheet over the document, in place of the one that it may have laid before: paper and margins are those of
// `settings`, whatever the document's own sheets say. On more than one page, what is fixed is put on the first one at its place
// there, instead of on all, and what sticks stands in the flow.
[[nodiscard]] std::string scriptForPaper(const PrintSettings& settings);

// The first remembers how high everything is; the second, in a view of another height, gives what has changed with the view its
// old height again. What is fixed to the view may change.
[[nodiscard]] std::string scriptToMeasureHeights();
[[nodiscard]] std::string scriptToKeepHeights();

// A promise that is kept when no image and no font is on its way, or after three seconds. Images that are loaded when they come
// into view are on their way by then.
[[nodiscard]] std::string scriptToAwaitImages();
