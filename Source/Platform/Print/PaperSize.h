#pragma once

#include "Platform/Foundation/NSGeometry.h"

// The usual paper of this system, upright, in points: the one that libpaper is set to (PAPERSIZE, the file that PAPERCONF names,
// or /etc/papersize), else the usual one of the locale's country (LC_ALL, LC_PAPER or LANG), else Letter. Names that mean no
// paper or no country count as not set.
[[nodiscard]] NSSize usualPaperSize();
