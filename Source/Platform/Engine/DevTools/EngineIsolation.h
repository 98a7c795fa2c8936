#pragma once

#include "Platform/Foundation/NSString.h"

#include <optional>
#include <string>
#include <sys/types.h>

// A user whom the engine's processes belong to instead of this process's own.
struct EngineUser {
    uid_t user;
    gid_t group;
};

// How far the engine is kept from the rest of the system.
struct EngineIsolation {
    NSString reasonForNoSandbox;      // as part of a sentence for people; absent when the engine has its sandbox
    std::optional<EngineUser> user;   // absent: this process's own
};

// The best that is possible for the engine command `executable` here. An ordinary user's engine has its sandbox where the system
// lets users make user namespaces, or has the engine's set-uid helper. The superuser's has none as it is; it runs as the user
// "nobody", with its sandbox, when that user can run it and make user namespaces, unless the page is made of local files, which
// only the superuser may be able to read. `temporaryFolder` is where the engine's private folder will be.
[[nodiscard]] EngineIsolation engineIsolation(
    const std::string& executable, const std::string& temporaryFolder, bool readsLocalFiles);
