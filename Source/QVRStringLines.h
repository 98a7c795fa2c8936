#pragma once

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSString.h"

// The lines of `string` without their ends, which are LF, CR, CR LF, U+0085, U+2028 and U+2029. An end at the very end of the
// text begins no further line ("a\n" is one line), an empty line between two ends counts. The empty string has no lines.
[[nodiscard]] NSArray qvrComponentsSeparatedByLineSeparators(const NSString& string);

// `string` with CR LF and single CR turned into LF.
[[nodiscard]] NSString qvrStringByNormalizingLineBreaks(const NSString& string);
