#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSGeometry.h"

// A PDF of one empty page of that size, in points; an empty rectangle is a page too.
[[nodiscard]] NSData blankPDF(NSSize size);
