#include "Platform/Engine/DevTools/EngineProcess.h"

#include "Platform/Engine/DevTools/EngineGuard.h"
#include "Platform/Engine/PageEngineErrors.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <poll.h>
#include <sstream>
#include <string_view>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr std::chrono::seconds longestEnd(5);   // of the engine and what it leaves

struct Pipe {
    FileDescriptor readEnd;
    FileDescriptor writeEnd;

    [[nodiscard]] bool open()
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            return false;
        readEnd.reset(ends[0]);
        writeEnd.reset(ends[1]);
        return true;
    }
};

void makeNonBlocking(const FileDescriptor& descriptor)
{
    fcntl(descriptor.get(), F_SETFL, fcntl(descriptor.get(), F_GETFL) | O_NONBLOCK);
}

// A folder only this user can enter, under a name that cannot be guessed.
std::string makePrivateFolder()
{
    std::string pattern = EngineProcess::temporaryFolder() + "/twwebtool-XXXXXX";
    return mkdtemp(pattern.data()) ? pattern : std::string();
}

// A home folder of the engine's own, in which it may leave what it likes. What a person has installed for pages to be shown with,
// fonts and trusted certificates, is there too.
std::string makeHome(const std::string& folder)
{
    std::string home = folder + "/home";
    std::error_code ignored;
    std::filesystem::create_directories(home + "/.local/share", ignored);
    std::filesystem::create_directories(home + "/.cache", ignored);
    if (const char* own = std::getenv("HOME"); own && *own == '/') {
        for (const char* shared : {"/.fonts", "/.local/share/fonts", "/.cache/fontconfig", "/.pki", "/.local/share/pki"}) {
            if (std::filesystem::is_directory(own + std::string(shared), ignored))
                std::filesystem::create_directory_symlink(own + std::string(shared), home + shared, ignored);
        }
    }
    return home;
}

// Makes `user` the owner of the folder and of all that is in it.
bool giveAway(const std::string& folder, const EngineUser& user)
{
    std::error_code failure;
    for (std::filesystem::recursive_directory_iterator entry(folder, failure), end; !failure && entry != end;
         entry.increment(failure)) {
        if (lchown(entry->path().c_str(), user.user, user.group) != 0)
            return false;
    }
    return !failure && lchown(folder.c_str(), user.user, user.group) == 0;
}

// What of this process's environment the engine needs: where programs and fonts are, language and time zone, and the
// proxies. Nothing else reaches it, so no secret does.
std::vector<std::string> engineEnvironment(const std::string& home)
{
    static constexpr std::array names = {"PATH", "TZ", "LANG", "LANGUAGE", "FONTCONFIG_FILE", "FONTCONFIG_PATH", "XDG_DATA_DIRS",
        "http_proxy", "https_proxy", "ftp_proxy", "all_proxy", "no_proxy", "HTTP_PROXY", "HTTPS_PROXY", "FTP_PROXY", "ALL_PROXY",
        "NO_PROXY"};
    std::vector<std::string> environment;
    for (const char* name : names) {
        if (const char* value = std::getenv(name))
            environment.push_back(std::string(name) + "=" + value);
    }
    for (char** entry = environ; *entry; ++entry) {
        if (std::string_view(*entry).starts_with("LC_"))
            environment.emplace_back(*entry);
    }
    environment.push_back("HOME=" + home);
    environment.push_back("TMPDIR=" + home);
    return environment;
}

}

std::string EngineProcess::temporaryFolder()
{
    const char* folder = std::getenv("TMPDIR");
    return folder && *folder == '/' ? folder : "/tmp";
}

std::unique_ptr<EngineProcess> EngineProcess::start(const Options& options, NSError* error)
{
    const auto fail = [&](int errnoValue, const NSString& what) {
        if (error) {
            *error = engineError(EngineErrorDoesNotStart,
                NSString::stringWithFormat(u"The page engine could not be started: %@: %s.", what, strerror(errnoValue)));
        }
        return nullptr;
    };

    if (access(temporaryFolder().c_str(), W_OK | X_OK) != 0) {
        return fail(errno,
            NSString::stringWithFormat(u"no folder can be made in “%@”", NSString::stringWithRepairedUTF8(temporaryFolder())));
    }

    Pipe commands, messages, lifeline, status;
    if (!commands.open() || !messages.open() || !lifeline.open() || !status.open()) {
        return fail(errno, u"no pipe can be made");
    }
    // A larger pipe saves wake-ups when bodies stream through it; the default stays where the system refuses.
    fcntl(messages.readEnd.get(), F_SETPIPE_SZ, 1 << 20);

    // An engine that is gone must show as an error of a write, not end this process. A handler of the program's own stays.
    struct sigaction broken = {};
    if (sigaction(SIGPIPE, nullptr, &broken) == 0 && broken.sa_handler == SIG_DFL) {
        broken.sa_handler = SIG_IGN;
        sigaction(SIGPIPE, &broken, nullptr);
    }

    EngineGuard guard;
    // Made by the guard itself, so that whatever ends this process, the folder has somebody who removes it.
    guard.prepare = [&options](EngineGuard& self) {
        self.folder = makePrivateFolder();
        self.arguments = {options.executable, "--user-data-dir=" + self.folder, "--remote-debugging-pipe"};
        self.arguments.insert(self.arguments.end(), options.flags.begin(), options.flags.end());
        self.environment = engineEnvironment(makeHome(self.folder));
        self.user = options.user;
        return !self.folder.empty() && (!options.user || giveAway(self.folder, *options.user));
    };
    guard.commandsToEngine = commands.readEnd.get();
    guard.messagesFromEngine = messages.writeEnd.get();
    guard.lifeline = lifeline.readEnd.get();
    guard.status = status.writeEnd.get();

    const pid_t child = fork();
    if (child < 0)
        return fail(errno, u"no process can be made");
    if (child == 0)
        guard.run();

    std::unique_ptr<EngineProcess> process(new EngineProcess);
    process->_guard = child;
    process->_lifeline = std::move(lifeline.writeEnd);
    process->_commands = std::move(commands.writeEnd);
    process->_messages = std::move(messages.readEnd);
    process->_status = std::move(status.readEnd);
    makeNonBlocking(process->_commands);
    makeNonBlocking(process->_messages);
    return process;
}

EngineProcess::~EngineProcess()
{
    _lifeline.reset();
    // The guard holds the status pipe until its work is done; its end is the end of everything.
    const auto deadline = std::chrono::steady_clock::now() + longestEnd;
    pollfd news = {_status.get(), POLLIN, 0};
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        const int count = poll(&news, 1, std::max(static_cast<int>(left.count()), 0));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return;
        int ignored;
        if (read(_status.get(), &ignored, sizeof ignored) <= 0)
            break;
    }
    while (waitpid(_guard, nullptr, 0) < 0 && errno == EINTR) { }
}

std::chrono::milliseconds EngineProcess::processorTime() const
{
    int64_t ticks = 0;
    std::error_code failure;
    for (std::filesystem::directory_iterator entry("/proc", failure), end; !failure && entry != end; entry.increment(failure)) {
        std::ifstream statistics(entry->path() / "stat");
        std::string text;
        std::getline(statistics, text);   // nothing of a process that has ended meanwhile
        // The name before it may hold anything, the last parenthesis included.
        const size_t nameEnd = text.rfind(')');
        if (nameEnd == std::string::npos)
            continue;
        // "state ppid pgrp session ... utime stime", fields 3 to 6, 14 and 15 of proc(5).
        std::istringstream fields(text.substr(nameEnd + 1));
        std::vector<std::string> values{std::istream_iterator<std::string>(fields), {}};
        if (values.size() < 13 || values[3] != std::to_string(_guard) || entry->path().filename() == std::to_string(_guard))
            continue;
        std::ifstream arguments(entry->path() / "cmdline");
        std::string line;
        std::getline(arguments, line);
        // The arguments are apart by zero bytes, or by spaces in processes that wrote their own title.
        if (line.find("--type=") == std::string::npos)
            ticks += std::atoll(values[11].c_str()) + std::atoll(values[12].c_str());
    }
    return std::chrono::milliseconds(ticks * 1000 / sysconf(_SC_CLK_TCK));
}

std::optional<NSString> EngineProcess::exitDescription(int milliseconds) const
{
    if (!_waitStatus) {
        pollfd news = {_status.get(), POLLIN, 0};
        int status;
        if (poll(&news, 1, milliseconds) <= 0 || read(_status.get(), &status, sizeof status) != sizeof status)
            return {};
        _waitStatus = status;
    }
    if (WIFSIGNALED(*_waitStatus)) {
        const int signal = WTERMSIG(*_waitStatus);
        return NSString::stringWithFormat(u"The engine process was ended by signal %d (%s).", signal, strsignal(signal));
    }
    return NSString::stringWithFormat(u"The engine process ended with status %d.", WEXITSTATUS(*_waitStatus));
}
