#pragma once

#include "Platform/Foundation/NSGeometry.h"
#include "Platform/Foundation/NSString.h"

#include <string>
#include <vector>

// The engine's command-line arguments for one view of `viewSize` CSS pixels. `withoutSandbox` when it cannot have one;
// `withoutNetwork` when it is to reach no server. Whether anything may be kept on the disk is asked of the shared URL cache.
[[nodiscard]] std::vector<std::string> engineFlags(NSSize viewSize, bool withoutSandbox, bool withoutNetwork);
