#pragma once

#include "Platform/Foundation/NSString.h"

[[nodiscard]] NSString qvrEllipsis();               // U+2026
[[nodiscard]] NSString qvrEnDash();                 // U+2013
[[nodiscard]] NSString qvrEmDash();                 // U+2014
[[nodiscard]] NSString qvrLeftDoubleQuote();        // U+201C
[[nodiscard]] NSString qvrRightDoubleQuote();       // U+201D
[[nodiscard]] NSString qvrLeftSingleQuote();        // U+2018
[[nodiscard]] NSString qvrRightSingleQuote();       // U+2019
[[nodiscard]] NSString qvrLeftDoubleGuillemet();    // U+00AB
[[nodiscard]] NSString qvrRightDoubleGuillemet();   // U+00BB
[[nodiscard]] NSString qvrLeftSingleGuillemet();    // U+2039
[[nodiscard]] NSString qvrRightSingleGuillemet();   // U+203A

// `string` between U+201C and U+201D.
[[nodiscard]] NSString qvrDoubleQuotedString(const NSString& string);
