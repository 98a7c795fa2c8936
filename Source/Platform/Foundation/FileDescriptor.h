#pragma once

#include <unistd.h>

#include <cstddef>
#include <span>
#include <utility>

// Owns an open file descriptor and closes it at the end; -1 stands for none. It can be moved, not copied.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : _descriptor(descriptor) { }
    FileDescriptor(FileDescriptor&& other) noexcept : _descriptor(std::exchange(other._descriptor, -1)) { }
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        if (this != &other)
            reset(std::exchange(other._descriptor, -1));
        return *this;
    }
    ~FileDescriptor() { reset(); }

    [[nodiscard]] int get() const { return _descriptor; }
    explicit operator bool() const { return _descriptor >= 0; }
    // Gives the descriptor away; the caller closes it.
    [[nodiscard]] int release() { return std::exchange(_descriptor, -1); }
    void reset(int descriptor = -1)
    {
        if (_descriptor >= 0)
            ::close(_descriptor);
        _descriptor = descriptor;
    }

private:
    int _descriptor = -1;
};

// Writes all bytes, in as many parts as the file takes. One that does not block (a pipe, a terminal) and has no room is waited
// for, at most `longestWait` milliseconds at a time. The errno value of the failure (EAGAIN when that time was over), else 0.
[[nodiscard]] int writeAll(int descriptor, std::span<const std::byte> bytes, int longestWait = 30'000);
