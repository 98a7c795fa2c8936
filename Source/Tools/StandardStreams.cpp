#include "Tools/StandardStreams.h"

#include "Platform/Foundation/FileDescriptor.h"

#include <fcntl.h>
#include <unistd.h>
#include <vector>

void openStandardStreams()
{
    int descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO)
        descriptor = dup(descriptor);
    if (descriptor > STDERR_FILENO)
        close(descriptor);
}

bool canOpenDescriptors(size_t count)
{
    std::vector<FileDescriptor> opened;
    while (opened.size() < count) {
        FileDescriptor next(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0));
        if (!next)
            return false;
        opened.push_back(std::move(next));
    }
    return true;
}
