#include "Platform/Foundation/NSProcessInfo.h"
#include "Platform/Foundation/os_log.h"

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <sched.h>
#include <string>
#include <string_view>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr const char* JournalSocket = "/run/systemd/journal/socket";

// Takes one datagram of the journal's native protocol apart: "NAME=value\n", or for values with line ends "NAME\n", the length in
// eight bytes with the lowest first, the value and "\n".
std::map<std::string, std::string> fieldsOfEntry(std::string_view entry)
{
    std::map<std::string, std::string> fields;
    while (!entry.empty()) {
        const size_t nameEnd = entry.find_first_of("=\n");
        if (nameEnd == std::string_view::npos)
            return {};
        const std::string name(entry.substr(0, nameEnd));
        const bool isPlain = entry[nameEnd] == '=';
        entry.remove_prefix(nameEnd + 1);
        uint64_t size = 0;
        if (isPlain) {
            size = entry.find('\n');
        } else if (entry.size() >= sizeof size) {
            std::memcpy(&size, entry.data(), sizeof size);
            entry.remove_prefix(sizeof size);
        }
        if (size >= entry.size() || entry[size] != '\n')
            return {};
        fields[name] = entry.substr(0, size);
        entry.remove_prefix(size + 1);
    }
    return fields;
}

// A datagram socket in the journal's place. Only in a process with file systems of its own.
class Journal {
public:
    Journal() : _socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, JournalSocket);
        std::filesystem::create_directories(std::filesystem::path(JournalSocket).parent_path());
        _isBound = ::bind(_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    ~Journal() { ::close(_socket); }
    [[nodiscard]] bool isBound() const { return _isBound; }
    std::map<std::string, std::string> nextEntry() const
    {
        std::string entry(1 << 16, '\0');
        const ssize_t size = ::recv(_socket, entry.data(), entry.size(), MSG_DONTWAIT);
        return size > 0 ? fieldsOfEntry(std::string_view(entry).substr(0, static_cast<size_t>(size)))
                        : std::map<std::string, std::string>();
    }

private:
    int _socket;
    bool _isBound = false;
};

bool writeFile(const char* path, const std::string& text)
{
    std::ofstream file(path);
    file << text;
    return static_cast<bool>(file.flush());
}

// Gives the calling process, which must have one thread, an empty /run that no other process sees.
bool enterOwnRunFolder()
{
    const std::string user = std::to_string(::getuid());
    const std::string group = std::to_string(::getgid());
    if (::unshare(CLONE_NEWNS) != 0) {
        // Without privileges, a user namespace gives them inside it.
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
            return false;
        if (!writeFile("/proc/self/uid_map", "0 " + user + " 1") || !writeFile("/proc/self/setgroups", "deny")
            || !writeFile("/proc/self/gid_map", "0 " + group + " 1"))
            return false;
    }
    return ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0
        && ::mount("tmpfs", "/run", "tmpfs", MS_NOSUID | MS_NODEV, nullptr) == 0;
}

enum Outcome : int { AllWell = 0, NoNamespace = 100 };

// Runs `body` in a child process with a /run of its own and gives what it returns, or NoNamespace where the system allows none.
int inOwnRunFolder(const std::function<int()>& body)
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(enterOwnRunFolder() ? body() : NoNamespace);
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

const std::map<std::string, std::string>& expectedFields()
{
    static const std::map<std::string, std::string> fields = {{"MESSAGE", "two\nlines: ü"}, {"PRIORITY", "3"},
        {"SYSLOG_IDENTIFIER", NSProcessInfo::processInfo().processName().UTF8()}, {"SUBSYSTEM", "com.example.program"},
        {"CATEGORY", "Log.Area"}};
    return fields;
}

}

TEST(OSLog, NamesTheFieldsOfAnEntry)
{
    const os_log_t log = os_log_create(u"com.example.program", u"Log.Area");
    const auto fields = os_log_error_fields(*log, "two\nlines: ü");
    EXPECT_EQ((std::map<std::string, std::string>(fields.begin(), fields.end())), expectedFields());
    EXPECT_EQ(fields.size(), expectedFields().size());
}

// Where the system allows no file systems of one's own, the journal cannot be stood in for, and what is left to hold is
// that logging without knowing whether there is a journal does no harm.
TEST(OSLog, SendsEntriesToTheJournal)
{
    const int outcome = inOwnRunFolder([] {
        const Journal journal;
        if (!journal.isBound())
            return 1;
        if (!os_log_is_available())
            return 2;
        const os_log_t log = os_log_create(u"com.example.program", u"Log.Area");
        os_log_error(log, "two\nlines: ü");
        if (journal.nextEntry() != expectedFields())
            return 3;
        os_log_error(log, "second");
        auto second = expectedFields();
        second["MESSAGE"] = "second";
        if (journal.nextEntry() != second)
            return 4;
        return journal.nextEntry().empty() ? static_cast<int>(AllWell) : 5;
    });
    if (outcome == NoNamespace)
        os_log_error(os_log_create(u"com.example.program", u"Log.Area"), "text");
    else
        EXPECT_EQ(outcome, AllWell);
}

TEST(OSLog, IsNotAvailableWithoutAListeningJournal)
{
    const int outcome = inOwnRunFolder([] {
        if (os_log_is_available())
            return 1;
        os_log_error(os_log_create(u"com.example.program", u"Log.Area"), "nobody listens");
        {
            const Journal journal;
            if (!os_log_is_available())
                return 2;
        }
        // The socket's file is still there, but nothing answers.
        return std::filesystem::exists(JournalSocket) && !os_log_is_available() ? static_cast<int>(AllWell) : 3;
    });
    if (outcome == NoNamespace)
        EXPECT_TRUE(!os_log_is_available() || std::filesystem::is_socket(JournalSocket));
    else
        EXPECT_EQ(outcome, AllWell);
}
