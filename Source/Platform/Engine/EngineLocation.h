#pragma once

#include "Platform/Foundation/NSError.h"

#include <string>

// The path of the engine command: `configured` when that is given and not empty (a path, or a name that is looked up on the
// search path), else the first of chromium-headless-shell, chromium, google-chrome-stable, google-chrome and chromium-browser on
// the search path. Empty, with EngineErrorNotFound in `*error`, when there is none that may be executed.
[[nodiscard]] std::string engineExecutable(const NSString& configured, NSError* error);
