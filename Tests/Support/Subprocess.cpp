#include "Support/Subprocess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace support {

namespace {

using Clock = std::chrono::steady_clock;

int millisecondsUntil(Clock::time_point deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, 1'000'000'000));
}

int openProcess(pid_t process)
{
    return static_cast<int>(syscall(SYS_pidfd_open, process, 0));
}

// Appends what `descriptor` has now; closes it at its end.
void drain(int& descriptor, std::string& text)
{
    std::array<char, 65536> piece;
    while (descriptor >= 0) {
        const ssize_t count = read(descriptor, piece.data(), piece.size());
        if (count > 0) {
            text.append(piece.data(), static_cast<size_t>(count));
            continue;
        }
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && errno == EAGAIN)
            return;
        close(descriptor);
        descriptor = -1;
    }
}

void makePipe(int (&ends)[2])
{
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
}

// A file of a process that may end at any moment; empty once it has.
std::string readProcessFile(pid_t process, const char* name)
{
    const int descriptor = open(("/proc/" + std::to_string(process) + '/' + name).c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return {};
    std::string text;
    std::array<char, 4096> piece;
    ssize_t count;
    while ((count = read(descriptor, piece.data(), piece.size())) > 0)
        text.append(piece.data(), static_cast<size_t>(count));
    close(descriptor);
    return text;
}

}

Subprocess::Subprocess(const ProcessOptions& options)
{
    prctl(PR_SET_CHILD_SUBREAPER, 1);

    int output[2] = {-1, -1};
    int error[2] = {-1, -1};
    if (options.hasOutput)
        makePipe(output);
    makePipe(error);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    if (options.hasOutput)
        posix_spawn_file_actions_adddup2(&actions, output[1], 1);
    else
        posix_spawn_file_actions_addclose(&actions, 1);
    posix_spawn_file_actions_adddup2(&actions, error[1], 2);
    if (!options.workingFolder.empty())
        posix_spawn_file_actions_addchdir_np(&actions, options.workingFolder.c_str());
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF);
    sigset_t defaults;
    sigfillset(&defaults);
    posix_spawnattr_setsigdefault(&attributes, &defaults);

    std::vector<std::string> texts;
    for (const auto& [name, value] : options.environment)
        texts.push_back(name + '=' + value);
    std::vector<char*> environment;
    for (std::string& text : texts)
        environment.push_back(text.data());
    environment.push_back(nullptr);
    std::vector<char*> arguments;
    for (const std::string& argument : options.arguments)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);

    _start = Clock::now();
    const int failure = posix_spawnp(&_process, arguments[0], &actions, &attributes, arguments.data(), environment.data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (output[1] >= 0)
        close(output[1]);
    close(error[1]);
    _outputDescriptor = output[0];
    _errorDescriptor = error[0];
    if (failure != 0)
        throw std::runtime_error("cannot start " + options.arguments[0] + ": " + std::strerror(failure));
    _processDescriptor = openProcess(_process);
    if (_processDescriptor < 0)
        throw std::runtime_error("no process descriptor");
}

Subprocess::~Subprocess()
{
    if (!_ended) {
        kill(-_process, SIGKILL);
        reap();
    }
    for (const int descriptor : {_processDescriptor, _outputDescriptor, _errorDescriptor})
        if (descriptor >= 0)
            close(descriptor);
}

void Subprocess::sendSignal(int signal) const
{
    if (!_ended)
        kill(_process, signal);
}

void Subprocess::reap()
{
    int status = 0;
    while (waitpid(_process, &status, 0) < 0 && errno == EINTR) { }
    _outcome.wallTime = Clock::now() - _start;
    if (WIFSIGNALED(status))
        _outcome.signal = WTERMSIG(status);
    else
        _outcome.exitStatus = WEXITSTATUS(status);
    _ended = true;
}

// Collects what the program writes until it ends, or standard error holds the text asked for (true), or the time is up (false).
bool Subprocess::pump(Clock::time_point deadline, const std::string* untilErrorHolds)
{
    while (true) {
        pollfd polled[] = {{_processDescriptor, POLLIN, 0}, {_outputDescriptor, POLLIN, 0}, {_errorDescriptor, POLLIN, 0}};
        const int count = poll(polled, 3, millisecondsUntil(deadline));
        drain(_outputDescriptor, _outcome.output);
        drain(_errorDescriptor, _outcome.error);
        if (untilErrorHolds && _outcome.error.find(*untilErrorHolds) != std::string::npos)
            return true;
        if (count > 0 && polled[0].revents) {
            if (untilErrorHolds)
                return false;
            reap();
            // What it wrote last; its leftovers may keep the pipes open, so the end of them is not waited for.
            drain(_outputDescriptor, _outcome.output);
            drain(_errorDescriptor, _outcome.error);
            return true;
        }
        if (count == 0)
            return false;
    }
}

bool Subprocess::waitForError(const std::string& text, std::chrono::milliseconds timeout)
{
    return pump(Clock::now() + timeout, &text);
}

ProcessOutcome Subprocess::wait(std::chrono::milliseconds timeout)
{
    if (!_ended && !pump(Clock::now() + timeout, nullptr)) {
        _outcome.timedOut = true;
        kill(-_process, SIGKILL);
        reap();
    }
    return _outcome;
}

ProcessOutcome run(const ProcessOptions& options, std::chrono::milliseconds timeout)
{
    return Subprocess(options).wait(timeout);
}

std::string runHelper(std::vector<std::string> arguments)
{
    ProcessOptions options;
    options.arguments = std::move(arguments);
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        const size_t equals = text.find('=');
        if (equals != std::string::npos)
            options.environment[text.substr(0, equals)] = text.substr(equals + 1);
    }
    ProcessOutcome outcome = run(options);
    if (outcome.exitStatus != 0)
        throw std::runtime_error(options.arguments[0] + " failed: " + outcome.error);
    return outcome.output;
}

std::vector<pid_t> descendantsOf(pid_t process)
{
    std::map<pid_t, std::vector<pid_t>> children;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", ignored)) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos)
            continue;
        const pid_t candidate = std::atoi(name.c_str());
        const std::string text = readProcessFile(candidate, "stat");
        // The command's name, in parentheses, may hold anything; behind it stand the state and the parent.
        const size_t end = text.rfind(')');
        if (end != std::string::npos && text.size() > end + 4)
            children[std::atoi(text.c_str() + end + 4)].push_back(candidate);
    }
    std::vector<pid_t> found;
    std::vector<pid_t> open = {process};
    while (!open.empty()) {
        const pid_t parent = open.back();
        open.pop_back();
        for (const pid_t child : children[parent]) {
            found.push_back(child);
            open.push_back(child);
        }
    }
    return found;
}

std::string commandLineOf(pid_t process)
{
    std::string text = readProcessFile(process, "cmdline");
    std::replace(text.begin(), text.end(), '\0', ' ');
    return text;
}

std::vector<std::string> leftoverProcesses(std::chrono::milliseconds timeout)
{
    const Clock::time_point deadline = Clock::now() + timeout;
    while (true) {
        while (waitpid(-1, nullptr, WNOHANG) > 0) { }
        const std::vector<pid_t> descendants = descendantsOf(getpid());
        if (descendants.empty())
            return {};
        // One of them has to go before another look is worth it.
        const int descriptor = openProcess(descendants.front());
        if (descriptor < 0)
            continue;
        pollfd polled{descriptor, POLLIN, 0};
        const int count = poll(&polled, 1, millisecondsUntil(deadline));
        close(descriptor);
        if (count != 0)
            continue;
        std::vector<std::string> lines;
        for (const pid_t left : descendantsOf(getpid()))
            lines.push_back(std::to_string(left) + ": " + commandLineOf(left));
        return lines;
    }
}

}
