#include "QVRStackTrace.h"

#include <mutex>
#include <utility>

static std::mutex& capabilityLock()
{
    static std::mutex lock;
    return lock;
}

static QVRStackTraceCapability& installedCapability()
{
    static QVRStackTraceCapability capability;
    return capability;
}

void QVRStackTrace::install(QVRStackTraceCapability capability)
{
    const std::lock_guard lock(capabilityLock());
    installedCapability() = std::move(capability);
}

QVRStackTraceCapability QVRStackTrace::capability()
{
    const std::lock_guard lock(capabilityLock());
    return installedCapability();
}

QVRStackTraceCapability QVRStackTrace::systemCapability()
{
    return {
        .qvrCurrentStackTrace = [] { return CallStack::current().description(); },
        .qvrStackTrace = [](const NSException& exception) { return exception.callStack().description(); },
        .qvrShortStackTrace = [](const NSException& exception) { return exception.callStack().functionNames(); },
    };
}
