#pragma once

// The name under which the tool's log lines tell their place, whichever of its files they stand in.
inline constexpr const char* sourceFile = "Source/Tools/webtool";
