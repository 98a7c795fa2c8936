#include "QVRProcessInfo.h"

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSAssertionHandler.h"
#include "Platform/Foundation/NSUserDefaults.h"
#include "Platform/Foundation/Value.h"
#include "QVRKernelVariables.h"
#include "QVRProcessTable.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sys/resource.h>

namespace {

// The number in the variable's first bytes; 0 when it does not fit.
template <typename Integer>
Integer numberOfVariable(const NSString& name)
{
    Integer number = 0;
    const auto bytes = kernelVariable(name.UTF8());
    if (bytes && bytes->size() <= sizeof number)
        std::memcpy(&number, bytes->data(), bytes->size());
    return number;
}

}

bool qvrIsMacOSAtLeast10_8(double foundationVersion)
{
    return std::floor(foundationVersion) > 833.1;
}

bool qvrIsMacOSAtLeast10_9(double foundationVersion)
{
    return std::floor(foundationVersion) > 945.0;
}

bool qvrIsMacOSAtLeast10_10(double foundationVersion)
{
    return std::floor(foundationVersion) > 1056.0;
}

bool qvrIsMacOSAtLeast10_15DeveloperBeta5(double foundationVersion)
{
    return foundationVersion >= 1665.1;
}

bool qvrIsOperatingSystemAtLeastVersion(const NSOperatingSystemVersion& version)
{
    return qvrIsMacOSAtLeast10_10() && NSProcessInfo::processInfo().isOperatingSystemAtLeastVersion(version);
}

bool qvrIsMacOSAtLeast10_11()
{
    return qvrIsOperatingSystemAtLeastVersion({10, 11, 0});
}

bool qvrIsMacOSAtLeast10_12()
{
    return qvrIsOperatingSystemAtLeastVersion({10, 12, 0});
}

bool qvrIsMacOSAtLeast10_12_2()
{
    return qvrIsOperatingSystemAtLeastVersion({10, 12, 2});
}

bool qvrIsMacOSAtLeast10_13()
{
    return qvrIsOperatingSystemAtLeastVersion({10, 13, 0});
}

bool qvrIsMacOSAtLeast10_13_2()
{
    return qvrIsOperatingSystemAtLeastVersion({10, 13, 2});
}

bool qvrIsMacOSAtLeast10_14()
{
    return qvrIsOperatingSystemAtLeastVersion({10, 14, 0});
}

bool qvrIsMacOSAtLeast10_15()
{
    return qvrIsOperatingSystemAtLeastVersion({10, 15, 0});
}

bool qvrIsMacOSAtLeast10_15_4()
{
    return qvrIsOperatingSystemAtLeastVersion({10, 15, 4});
}

NSString qvrOSVersionString()
{
    const NSOperatingSystemVersion version = NSProcessInfo::processInfo().operatingSystemVersion();
    return NSString::stringWithFormat(u"%ld.%ld.%ld", version.majorVersion, version.minorVersion, version.patchVersion);
}

bool qvrGetOperatingSystemVersion(NSOperatingSystemVersion* version, const NSString& fromString, NSError* error)
{
    const NSArray parts = fromString.componentsSeparatedByString(u".");
    if (version && (parts.count() == 2 || parts.count() == 3)) {
        const auto number = [&](size_t index) { return index < parts.count() ? parts[index].integerValue() : 0; };
        *version = {number(0), number(1), number(2)};
        return true;
    }
    if (error) {
        static constexpr int64_t badParameter = -50;
        *error = NSError(NSOSStatusErrorDomain, badParameter,
            {{NSLocalizedDescriptionKey, NSString::stringWithFormat(u"Error parsing OS version: %@", fromString)}});
    }
    return false;
}

uint64_t qvrMaximumOpenFilesCount()
{
    rlimit limit = {};
    return ::getrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : 0;
}

void qvrSetMaximumOpenFilesCount(uint64_t count)
{
    const rlimit limit = {count, count};
    [[maybe_unused]] const int ignored = ::setrlimit(RLIMIT_NOFILE, &limit);
}

bool qvrIsMacAppStoreVersion()
{
    return false;
}

bool qvrIsInAppSandbox()
{
    return NSUserDefaults::standardUserDefaults().objectForKey(u"QVRAppSandbox").boolValue();
}

bool qvrIsInXcode()
{
    return !NSProcessInfo::processInfo().environmentValueForName(u"__XCODE_BUILT_PRODUCTS_DIR_PATHS").isAbsent();
}

NSString qvrHardwareModel()
{
    const NSString model = qvrSysctlStringForKey(u"hw.model");
    return model ? model : NSString(u"unknown");
}

int32_t qvrMaxPhysicalProcessorCount()
{
    return qvrSysctlInt32ForKey(u"hw.physicalcpu_max");
}

int64_t qvrMaxProcessorFrequency()
{
    return qvrSysctlInt64ForKey(u"hw.cpufrequency_max");
}

NSString qvrSysctlStringForKey(const NSString& name)
{
    const auto bytes = kernelVariable(name.UTF8());
    return bytes && !bytes->empty() ? NSString::stringWithUTF8String(bytes->c_str()) : NSString();
}

int32_t qvrSysctlInt32ForKey(const NSString& name)
{
    return numberOfVariable<int32_t>(name);
}

int64_t qvrSysctlInt64ForKey(const NSString& name)
{
    return numberOfVariable<int64_t>(name);
}

bool qvrIsBSDProcessRunning(const NSString& name, const char* processFolder)
{
    std::optional<std::vector<ProcessEntry>> processes;
    const int err = GetBSDProcessList(processes, processFolder);
    // The place is part of the failure's text, which readers of logs know.
    if (err != 0)
        NSAssertionHandler::handleFailureInMethod(u"+[NSProcessInfo(QVR) qvrIsBSDProcessRunning:]", u"Source/NSProcessInfo+QVR",
            300, u"Invalid parameter not satisfying: %@", NSString(u"err == 0"));
    const auto bytes = name.strictUTF8();
    return bytes && std::any_of(processes->begin(), processes->end(), [&](const ProcessEntry& process) {
        return process.commandName == *bytes || process.kernelCommandName == *bytes;
    });
}

void qvrPreventPartialLaunching() { }
