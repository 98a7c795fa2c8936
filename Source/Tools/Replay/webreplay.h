#pragma once

#include "Platform/Foundation/NSArray.h"
#include "Tools/Loader.h"

// The whole run of twwebreplay: checks the arguments (the program's name first), shows the archive and says what
// became of its page's requests. Gives the exit status: 0 when the page was shown, 1 otherwise, and then standard
// error has one line that says why.
[[nodiscard]] int runWebReplay(const NSArray& arguments, const PageEngineMaker& makeEngine);
