#pragma once

#include "Platform/Engine/DevTools/EngineIsolation.h"
#include "Platform/Foundation/FileDescriptor.h"
#include "Platform/Foundation/NSError.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// The running engine: its process tree, its private folder and the two ends of its protocol pipe.
//
// Between this process and the engine stands a small guard process. It starts the engine in a process group of its own, adopts
// whatever the engine leaves behind, and when this process closes the engine or ends in any way, killed included, it ends every
// engine process and removes the folder. So nothing stays, whoever dies first.
class EngineProcess {
public:
    struct Options {
        // Path of the engine command.
        std::string executable;
        // Command-line arguments beside those that this class adds (profile folder, protocol pipe).
        std::vector<std::string> flags;
        // Whom the processes and the folder belong to; absent: this process's user.
        std::optional<EngineUser> user = {};
    };

    // Where private folders are made: the environment variable TMPDIR, else "/tmp".
    [[nodiscard]] static std::string temporaryFolder();
    // Starts the engine and returns at once; whether it lives is learnt from its pipe. Absent result with `*error` set when no
    // folder, pipe or process can be made.
    [[nodiscard]] static std::unique_ptr<EngineProcess> start(const Options& options, NSError* error);
    // Ends the engine and returns when all its processes and its folder are gone, after 5 seconds at the latest.
    ~EngineProcess();
    EngineProcess(const EngineProcess&) = delete;
    EngineProcess& operator=(const EngineProcess&) = delete;

    // Commands are written here (non-blocking), messages are read there (non-blocking). Owned by this object.
    [[nodiscard]] int commandDescriptor() const { return _commands.get(); }
    [[nodiscard]] int messageDescriptor() const { return _messages.get(); }
    // The processor time that the engine has used, its pages' processes apart.
    [[nodiscard]] std::chrono::milliseconds processorTime() const;
    // How the engine's first process ended, as a sentence for people: "The engine process was ended by signal 9 (Killed)."
    // Waits a moment (at most `milliseconds`) for the news; nothing when the process still runs.
    [[nodiscard]] std::optional<NSString> exitDescription(int milliseconds) const;

private:
    EngineProcess() = default;

    pid_t _guard = -1;
    FileDescriptor _lifeline;   // the guard acts when the last copy of this end closes
    FileDescriptor _commands;
    FileDescriptor _messages;
    FileDescriptor _status;   // the guard reports the engine's wait status here
    mutable std::optional<int> _waitStatus;
};
