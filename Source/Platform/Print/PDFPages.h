#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSGeometry.h"

// Changes of whole pages. Each takes a PDF's bytes and gives the changed PDF's; absent when the bytes are no PDF.

// No reader need open a page that is longer or wider than this many units.
inline constexpr double largestPageSide = 14400;

// Makes one page of what the pages show inside `rect`, in points from the upper left corner of the first, downwards. Each further
// page stands below the one before.
// A page too large for a unit of one point gets the smallest whole unit that makes it small enough; what it shows stays as large
// as it was. Tags are kept when there was only one page.
[[nodiscard]] NSData pdfAsOnePage(const NSData& pdf, NSRect rect);

// Makes all pages, with everything on them, `factor` times as large.
[[nodiscard]] NSData pdfScaled(const NSData& pdf, double factor);
