#include "Platform/Engine/PageEngineFactory.h"
#include "Platform/Foundation/NSProcessInfo.h"
#include "Tools/Replay/webreplay.h"
#include "Tools/StandardStreams.h"

#include <csignal>

int main()
{
    openStandardStreams();
    // Who reads the output may go before its end; that is an error like any other.
    (void)std::signal(SIGPIPE, SIG_IGN);
    (void)std::signal(SIGXFSZ, SIG_IGN);
    return runWebReplay(NSProcessInfo::processInfo().arguments(), makePageEngine);
}
