#pragma once

#include <string>

// Makes a home folder for an engine in `folder` and gives its path; empty, with errno set, when it cannot be made. What the engine
// and its libraries write into a home folder (sound settings, certificate stores) stays in there and goes with it; the fonts and
// certificates of the user whose home is `userHome` (may be empty) are linked into it, where there are any.
[[nodiscard]] std::string makeEngineHome(const std::string& folder, const std::string& userHome);
