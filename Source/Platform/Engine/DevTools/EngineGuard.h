#pragma once

#include "Platform/Engine/DevTools/EngineIsolation.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

// What the guard process of an engine needs, and what it does (see EngineProcess). Prepared before the fork; run in the child.
struct EngineGuard {
    // Run by the guard before anything else; fills the fields down to `folder`. False when there can be no engine.
    std::function<bool(EngineGuard&)> prepare;
    std::vector<std::string> arguments;     // the engine command with its arguments
    std::vector<std::string> environment;   // NAME=value, all that the engine gets
    std::optional<EngineUser> user;         // whom the engine runs as; absent: this process's own user
    std::string folder;                     // removed with everything in it when the engine has ended
    int commandsToEngine = -1;              // becomes the engine's descriptor 3
    int messagesFromEngine = -1;            // becomes the engine's descriptor 4
    int lifeline = -1;                      // end-of-file on it means: the owner is gone, or wants the engine gone
    int status = -1;                        // receives the engine's wait status as an int when it ends

    // Starts the engine, waits for its end or the owner's, cleans up and ends this process. Never returns.
    [[noreturn]] void run();

private:
    [[noreturn]] void becomeEngine();
    void endEngine(int engine);
};
