#include "Platform/Foundation/NSProcessInfo.h"

#include "Platform/Foundation/Value.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/utsname.h>
#include <unistd.h>

const NSProcessInfo& NSProcessInfo::processInfo()
{
    static const NSProcessInfo info;
    return info;
}

NSArray NSProcessInfo::arguments() const
{
    std::vector<Value> arguments;
    std::ifstream file("/proc/self/cmdline", std::ios::binary);
    for (std::string argument; std::getline(file, argument, '\0');)
        arguments.emplace_back(NSString::stringWithRepairedUTF8(argument));
    return NSArray(std::move(arguments));
}

NSDictionary NSProcessInfo::environment() const
{
    NSDictionary environment = NSDictionary::dictionary();
    for (char** entry = environ; entry && *entry; ++entry) {
        const std::string_view text = *entry;
        const size_t equals = text.find('=');
        if (equals == std::string_view::npos)
            continue;
        const NSString name = NSString::stringWithRepairedUTF8(text.substr(0, equals));
        if (environment.objectForKey(name).isAbsent())
            environment.setObject(NSString::stringWithRepairedUTF8(text.substr(equals + 1)), name);
    }
    return environment;
}

NSString NSProcessInfo::environmentValueForName(const NSString& name) const
{
    const auto bytes = name.strictUTF8();
    const char* value = bytes ? std::getenv(bytes->c_str()) : nullptr;
    return value ? NSString::stringWithRepairedUTF8(value) : NSString();
}

NSString NSProcessInfo::processName() const
{
    return NSString::stringWithRepairedUTF8(program_invocation_short_name);
}

int NSProcessInfo::processIdentifier() const
{
    return ::getpid();
}

NSOperatingSystemVersion NSProcessInfo::operatingSystemVersion() const
{
    utsname names = {};
    return ::uname(&names) == 0 ? versionFromRelease(names.release) : NSOperatingSystemVersion{};
}

bool NSProcessInfo::isOperatingSystemAtLeastVersion(const NSOperatingSystemVersion& version) const
{
    return operatingSystemVersion() >= version;
}

NSOperatingSystemVersion NSProcessInfo::versionFromRelease(std::string_view release)
{
    NSOperatingSystemVersion version;
    const char* position = release.data();
    const char* const end = position + release.size();
    for (int64_t* part : {&version.majorVersion, &version.minorVersion, &version.patchVersion}) {
        const auto [rest, failure] = std::from_chars(position, end, *part);
        if (failure != std::errc() || *part < 0) {
            *part = 0;
            break;
        }
        if (rest == end || *rest != '.')
            break;
        position = rest + 1;
    }
    return version;
}
