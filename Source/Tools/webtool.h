#pragma once

#include "Platform/Foundation/NSArray.h"
#include "Tools/Loader.h"

// The whole run of the tool: checks the arguments (the program's name first), captures the page and answers with one result
// record. Returns when the process may end, always with status 0.
[[nodiscard]] int runWebTool(const NSArray& arguments, const PageEngineMaker& makeEngine);
