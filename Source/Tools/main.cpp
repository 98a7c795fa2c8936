#include "Platform/Engine/PageEngineFactory.h"
#include "Platform/Foundation/NSProcessInfo.h"
#include "Tools/EndRequests.h"
#include "Tools/StandardStreams.h"
#include "Tools/webtool.h"

#include <csignal>
#include <cstdlib>

int main()
{
    openStandardStreams();
    EndRequests::blockSignals();
    // A file that may not grow any more is an error of its own, to be answered like any other, and not the end of the process.
    (void)std::signal(SIGXFSZ, SIG_IGN);
    // Proxies are those of the environment. GIO would look at the desktop's settings beside them, which connects the process to
    // the session bus in a way that ends it when the bus ends.
    (void)::setenv("GIO_USE_PROXY_RESOLVER", "dummy", 1);
    return runWebTool(NSProcessInfo::processInfo().arguments(), makePageEngine);
}
