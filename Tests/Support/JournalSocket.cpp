#include "Support/JournalSocket.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <stdexcept>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace support {

namespace {

constexpr int cannotUnshare = 77;
constexpr const char* socketFolder = "/run/systemd/journal";
constexpr const char* socketPath = "/run/systemd/journal/socket";
constexpr const char* endMark = "END";

sockaddr_un socketAddress()
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, socketPath);
    return address;
}

// Gives this process a /run of its own. An ordinary user needs a user namespace for it, in which it is root.
bool makeOwnRunFolder()
{
    const uid_t user = getuid();
    if (unshare(CLONE_NEWNS) != 0) {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
            return false;
        std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    }
    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 && mount("none", "/run", "tmpfs", 0, nullptr) == 0;
}

void writeAll(int descriptor, const void* bytes, size_t size)
{
    const auto* rest = static_cast<const char*>(bytes);
    while (size > 0) {
        const ssize_t written = write(descriptor, rest, size);
        if (written < 0)
            _exit(EXIT_FAILURE);
        rest += written;
        size -= static_cast<size_t>(written);
    }
}

// Passes datagrams on to `output`, each with its length before it, until the mark that the end is reached.
void forwardDatagrams(int journal, int output)
{
    std::vector<char> datagram(1 << 20);
    for (;;) {
        const ssize_t received = recv(journal, datagram.data(), datagram.size(), 0);
        if (received < 0 || std::string(datagram.data(), static_cast<size_t>(received)) == endMark)
            return;
        const auto size = static_cast<uint64_t>(received);
        writeAll(output, &size, sizeof size);
        writeAll(output, datagram.data(), size);
    }
}

[[noreturn]] void runChild(const std::function<void()>& body, int output)
{
    if (!makeOwnRunFolder())
        _exit(cannotUnshare);
    std::filesystem::create_directories(socketFolder);
    const int journal = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = socketAddress();
    if (bind(journal, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        _exit(EXIT_FAILURE);
    std::thread reader(forwardDatagrams, journal, output);
    int status = EXIT_SUCCESS;
    try {
        body();
    } catch (...) {
        status = EXIT_FAILURE;
    }
    const int sender = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sendto(sender, endMark, std::strlen(endMark), 0, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    reader.join();
    _exit(status);
}

// An entry's text: lines "NAME=VALUE", or for a value with line ends "NAME", the value's length in 8 bytes, and the value.
JournalEntry readEntry(const std::string& text)
{
    JournalEntry entry;
    for (size_t position = 0; position < text.size();) {
        const size_t lineEnd = text.find('\n', position);
        if (lineEnd == std::string::npos)
            throw std::runtime_error("a journal field without an end");
        const std::string line = text.substr(position, lineEnd - position);
        if (const size_t equalSign = line.find('='); equalSign != std::string::npos) {
            entry[line.substr(0, equalSign)] = line.substr(equalSign + 1);
            position = lineEnd + 1;
        } else {
            uint64_t size = 0;
            if (text.size() - lineEnd - 1 < sizeof size)
                throw std::runtime_error("a journal field without its length");
            std::memcpy(&size, text.data() + lineEnd + 1, sizeof size);
            entry[line] = text.substr(lineEnd + 1 + sizeof size, size);
            position = lineEnd + 1 + sizeof size + size + 1;
        }
    }
    return entry;
}

std::string readAll(int descriptor)
{
    std::string text;
    char buffer[65536];
    for (ssize_t count; (count = read(descriptor, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<size_t>(count));
    return text;
}

}

std::optional<std::vector<JournalEntry>> entriesInOwnJournal(const std::function<void()>& body)
{
    int ends[2];
    if (pipe(ends) != 0)
        throw std::runtime_error("no pipe");
    const pid_t child = fork();
    if (child < 0)
        throw std::runtime_error("no child process");
    if (child == 0) {
        close(ends[0]);
        runChild(body, ends[1]);
    }
    close(ends[1]);
    const std::string received = readAll(ends[0]);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == cannotUnshare)
        return std::nullopt;
    if (status != 0)
        throw std::runtime_error("the child process with the journal failed");

    std::vector<JournalEntry> entries;
    for (size_t position = 0; position < received.size();) {
        uint64_t size = 0;
        std::memcpy(&size, received.data() + position, sizeof size);
        entries.push_back(readEntry(received.substr(position + sizeof size, size)));
        position += sizeof size + size;
    }
    return entries;
}

}
