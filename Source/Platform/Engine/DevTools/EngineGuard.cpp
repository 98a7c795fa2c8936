#include "Platform/Engine/DevTools/EngineGuard.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <grp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace {

// Closes every descriptor but standard ones and those named, so that the guard and the engine hold nothing of the owner's.
void closeAllBut(std::initializer_list<int> kept)
{
    unsigned first = 3;
    // `kept` is in ascending order.
    for (const int descriptor : kept) {
        if (static_cast<unsigned>(descriptor) > first)
            close_range(first, static_cast<unsigned>(descriptor) - 1, 0);
        first = static_cast<unsigned>(descriptor) + 1;
    }
    close_range(first, ~0U, 0);
}

void takeStandardStreamsFromNull()
{
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (int stream = 0; stream < 3; ++stream)
        dup2(null, stream);
    if (null > 2)
        close(null);
}

std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> result;
    for (auto& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

// Moves a descriptor out of the range that is about to be given away.
int aboveReserved(int descriptor)
{
    return descriptor < 10 ? fcntl(descriptor, F_DUPFD_CLOEXEC, 10) : descriptor;
}

}

void EngineGuard::run()
{
    // A session of its own: signals meant for the owner's terminal group do not reach the guard, which must outlive the owner.
    setsid();
    prctl(PR_SET_NAME, "twwebtool-guard");
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    takeStandardStreamsFromNull();
    if (chdir("/") != 0)
        _exit(127);

    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);

    if (!prepare(*this)) {
        // What was made before there was no more room goes, with the descriptors that this takes free.
        closeAllBut({});
        std::error_code ignored;
        if (!folder.empty())
            std::filesystem::remove_all(folder, ignored);
        _exit(127);
    }
    commandsToEngine = aboveReserved(commandsToEngine);
    messagesFromEngine = aboveReserved(messagesFromEngine);
    lifeline = aboveReserved(lifeline);
    status = aboveReserved(status);

    const pid_t engine = fork();
    if (engine == 0)
        becomeEngine();
    // The engine's ends must be its own only: the owner learns of the engine's end by their closing.
    close(commandsToEngine);
    close(messagesFromEngine);
    closeAllBut({std::min(lifeline, status), std::max(lifeline, status)});

    sigset_t child;
    sigemptyset(&child);
    sigaddset(&child, SIGCHLD);
    const int children = signalfd(-1, &child, SFD_CLOEXEC | SFD_NONBLOCK);

    bool engineRuns = engine > 0;
    for (;;) {
        pollfd events[] = {{lifeline, POLLIN, 0}, {children, POLLIN, 0}};
        if (poll(events, 2, -1) < 0 && errno != EINTR)
            break;
        if (events[0].revents)
            break;
        if (events[1].revents) {
            signalfd_siginfo news;
            while (read(children, &news, sizeof news) > 0) { }
            int waitStatus;
            for (pid_t ended; (ended = waitpid(-1, &waitStatus, WNOHANG)) > 0;) {
                if (ended == engine && engineRuns) {
                    engineRuns = false;
                    // The owner may be gone already; then nobody needs the news.
                    [[maybe_unused]] const auto written = write(status, &waitStatus, sizeof waitStatus);
                    kill(-engine, SIGKILL);
                }
            }
        }
    }
    if (engine > 0)
        endEngine(engine);
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    _exit(0);
}

void EngineGuard::becomeEngine()
{
    setpgid(0, 0);
    if (user
        && (setgroups(0, nullptr) != 0 || setresgid(user->group, user->group, user->group) != 0
            || setresuid(user->user, user->user, user->user) != 0))
        _exit(127);
    // After the change of user, which would take it back. Should the guard itself be killed, the engine must not stay.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(commandsToEngine, 3);
    dup2(messagesFromEngine, 4);
    closeAllBut({3, 4});
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    for (const int ignored : {SIGPIPE, SIGHUP, SIGINT, SIGTERM, SIGCHLD})
        signal(ignored, SIG_DFL);
    execve(arguments[0].c_str(), pointers(arguments).data(), pointers(environment).data());
    _exit(127);
}

// Ends the engine's group and whatever else it left to the guard, and waits until all of it is gone.
void EngineGuard::endEngine(int engine)
{
    kill(-engine, SIGKILL);
    for (int round = 0; round < 1000; ++round) {
        int waitStatus;
        const pid_t ended = waitpid(-1, &waitStatus, WNOHANG);
        if (ended < 0 && errno == ECHILD)
            return;
        if (ended > 0)
            continue;
        // Something left the group or has only just been adopted: end every child by its id.
        char path[64];
        snprintf(path, sizeof path, "/proc/self/task/%d/children", getpid());
        if (FILE* list = fopen(path, "re")) {
            for (int child; fscanf(list, "%d", &child) == 1;)
                kill(child, SIGKILL);
            fclose(list);
        }
        sigset_t child;
        sigemptyset(&child);
        sigaddset(&child, SIGCHLD);
        const timespec moment = {0, 20'000'000};
        sigtimedwait(&child, nullptr, &moment);
    }
}
