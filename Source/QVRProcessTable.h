#pragma once

#include <optional>
#include <string>
#include <vector>

// One running process. Linux keeps 15 bytes of a program's file name; the platform's kernel keeps 16, and
// both cut longer names off.
struct ProcessEntry {
    int identifier = 0;
    std::string kernelCommandName;   // what Linux keeps
    // The first 16 bytes of the file name: what Linux keeps and, when that is full, one more byte from the program's path or from
    // the first two words of its command line (a script's own name is the second), whichever goes on with that name.
    std::string commandName;
};

// The processes of the current real user in `processList`, which must hold nothing beforehand. 0 and a list that is
// present, or an error number and none. A process that ends during the call may be left out. `processFolder` is where the
// kernel shows its processes.
[[nodiscard]] int GetBSDProcessList(std::optional<std::vector<ProcessEntry>>& processList, const char* processFolder = "/proc");
