#include "Platform/Foundation/NSLog.h"

#include "Platform/Foundation/FileDescriptor.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <memory>
#include <span>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr int LongestWait = 1000;   // milliseconds that a non-blocking standard error without room may hold a line up

// "yyyy-MM-dd HH:mm:ss.SSSSSS+ZZZZ" for the current moment in local time.
std::string timeStamp()
{
    timespec now = {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    tm local = {};
    ::localtime_r(&now.tv_sec, &local);
    std::array<char, 64> seconds = {};
    std::array<char, 32> fraction = {};
    std::array<char, 16> zone = {};
    std::strftime(seconds.data(), seconds.size(), "%Y-%m-%d %H:%M:%S", &local);
    std::snprintf(fraction.data(), fraction.size(), ".%06ld", now.tv_nsec / 1000);
    std::strftime(zone.data(), zone.size(), "%z", &local);
    return std::string(seconds.data()) + fraction.data() + zone.data();
}

}

void writeToStandardError(std::string_view line)
{
    // A pipe that is nearly full takes a long line in parts: stdio's lock keeps the other threads' lines
    // from getting between them.
    const std::unique_ptr<FILE, decltype(&::funlockfile)> lock(stderr, &::funlockfile);
    ::flockfile(lock.get());
    (void)writeAll(STDERR_FILENO, std::as_bytes(std::span(line)), LongestWait);
}

void NSLogText(const NSString& text)
{
    std::string line = timeStamp();
    line += ' ';
    line += program_invocation_short_name;
    line += '[' + std::to_string(::getpid()) + ':' + std::to_string(::syscall(SYS_gettid)) + "] ";
    line += text.UTF8();
    if (line.back() != '\n')
        line += '\n';
    writeToStandardError(line);
}
