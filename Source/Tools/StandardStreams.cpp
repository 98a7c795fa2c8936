#include "Tools/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

void openStandardStreams()
{
    int descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO)
        descriptor = dup(descriptor);
    if (descriptor > STDERR_FILENO)
        close(descriptor);
}
