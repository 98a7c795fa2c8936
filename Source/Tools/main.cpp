#include "Platform/Engine/PageEngineFactory.h"
#include "Platform/Foundation/NSProcessInfo.h"
#include "Tools/webtool.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

// A standard stream that is closed would be the next file that is opened: the record must not go there.
static void openStandardStreams()
{
    int descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO)
        descriptor = dup(descriptor);
    if (descriptor > STDERR_FILENO)
        close(descriptor);
}

int main()
{
    openStandardStreams();
    // A file that may not grow any more is an error of its own, to be answered like any other, and not the end of the process.
    (void)std::signal(SIGXFSZ, SIG_IGN);
    return runWebTool(NSProcessInfo::processInfo().arguments(), makePageEngine);
}
