#pragma once

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

namespace support {

// Takes the process's standard error while it lives.
class StandardErrorCapture {
public:
    StandardErrorCapture()
        : _file(::memfd_create("standard-error", MFD_CLOEXEC)), _original(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3))
    {
        if (_file < 0 || _original < 0)
            throw std::system_error(errno, std::generic_category(), "capture of the standard error");
        std::fflush(stderr);
        ::dup2(_file, STDERR_FILENO);
    }
    StandardErrorCapture(const StandardErrorCapture&) = delete;
    StandardErrorCapture& operator=(const StandardErrorCapture&) = delete;
    ~StandardErrorCapture()
    {
        std::fflush(stderr);
        ::dup2(_original, STDERR_FILENO);
        ::close(_original);
        ::close(_file);
    }

    // What has been written since the last call.
    std::string take()
    {
        std::fflush(stderr);
        std::string taken;
        char buffer[4096];
        for (ssize_t size; (size = ::pread(_file, buffer, sizeof buffer, _position)) > 0; _position += size)
            taken.append(buffer, static_cast<size_t>(size));
        return taken;
    }

private:
    int _file;
    int _original;
    off_t _position = 0;
};

}
