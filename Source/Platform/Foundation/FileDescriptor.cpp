#include "Platform/Foundation/FileDescriptor.h"

#include <cerrno>
#include <poll.h>

namespace {

// Waits until the file takes bytes, or tells why it never will. An errno value, 0 on success.
int waitForRoom(int descriptor, int longestWait)
{
    pollfd file = {descriptor, POLLOUT, 0};
    const int count = ::poll(&file, 1, longestWait);
    if (count == 0)
        return EAGAIN;
    return count > 0 || errno == EINTR ? 0 : errno;
}

}

int writeAll(int descriptor, std::span<const std::byte> bytes, int longestWait)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count > 0) {
            bytes = bytes.subspan(static_cast<size_t>(count));
            continue;
        }
        int failure = count < 0 ? errno : EIO;
        if (failure == EAGAIN)
            failure = waitForRoom(descriptor, longestWait);
        if (failure != 0 && failure != EINTR)
            return failure;
    }
    return 0;
}
