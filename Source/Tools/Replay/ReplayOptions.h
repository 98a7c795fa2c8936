#pragma once

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSString.h"

#include <optional>

// What the command line asks for.
struct ReplayOptions {
    enum class Output { None, PDF, PNG, HTML, List };

    NSString archivePath;
    Output output = Output::None;
    NSString outputPath;   // of a PDF, a PNG or an HTML file
    bool isOffline = true;
    bool isWorkaroundEnabled = true;
    bool wantsHelp = false;   // nothing else counts then
};

// Reads the arguments, the program's name first. Nothing when they cannot be understood; then what is wrong with them, as the
// rest of a sentence line for people, goes to `*problem`.
[[nodiscard]] std::optional<ReplayOptions> replayOptionsFromArguments(const NSArray& arguments, NSString* problem);

// The text that --help prints.
[[nodiscard]] NSString replayHelp();
