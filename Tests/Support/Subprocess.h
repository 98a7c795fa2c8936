#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace support {

// How a program ended.
struct ProcessOutcome {
    std::optional<int> exitStatus;   // absent when a signal ended it
    std::optional<int> signal;
    bool timedOut = false;   // the time was up, and it was killed for that
    std::string output;      // all of its standard output
    std::string error;       // all of its standard error
    std::chrono::duration<double> wallTime{};
};

struct ProcessOptions {
    std::vector<std::string> arguments;               // the program's path first
    std::map<std::string, std::string> environment;   // the whole of it
    std::string workingFolder;                        // empty: the caller's
    // Without it standard output is closed from the start, and what the outcome holds of it is empty.
    bool hasOutput = true;
};

// A running program in a session of its own, without standard input. What it leaves running when it ends becomes this process's
// child, so that leftoverProcesses() sees it. One thread uses it.
class Subprocess {
public:
    explicit Subprocess(const ProcessOptions& options);
    Subprocess(const Subprocess&) = delete;
    Subprocess& operator=(const Subprocess&) = delete;
    // Kills the program's process group when it still runs.
    ~Subprocess();

    [[nodiscard]] pid_t processIdentifier() const { return _process; }
    void sendSignal(int signal) const;
    // Waits until standard error holds `text`, and says whether it does in time.
    [[nodiscard]] bool waitForError(const std::string& text, std::chrono::milliseconds timeout);
    // Waits for the end. After `timeout` the process group is killed.
    ProcessOutcome wait(std::chrono::milliseconds timeout);

private:
    bool pump(std::chrono::steady_clock::time_point deadline, const std::string* untilErrorHolds);
    void reap();

    pid_t _process = -1;
    int _processDescriptor = -1;
    int _outputDescriptor = -1;
    int _errorDescriptor = -1;
    bool _ended = false;
    std::chrono::steady_clock::time_point _start;
    ProcessOutcome _outcome;
};

// Runs a program to its end.
[[nodiscard]] ProcessOutcome run(const ProcessOptions& options, std::chrono::milliseconds timeout = std::chrono::seconds(60));
// Runs a program with this process's environment; throws unless it ends with status 0. Gives its standard output.
std::string runHelper(std::vector<std::string> arguments);

// Waits until this process has no descendants left, and gives the command lines of those that are still there after `timeout`.
// For tests that have no other children.
[[nodiscard]] std::vector<std::string> leftoverProcesses(std::chrono::milliseconds timeout);
// The process identifiers of all descendants of a process, at this moment.
[[nodiscard]] std::vector<pid_t> descendantsOf(pid_t process);
// A process's arguments with blanks between them; empty when it has ended.
[[nodiscard]] std::string commandLineOf(pid_t process);

}
