#pragma once

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"

#include <compare>
#include <cstdint>

// Stands for the version number of the platform's Foundation, which programs compare to learn what they can use: the number that
// release 10.10 carried, since all that release offers is here (what came in later releases is asked for by version record).
inline constexpr double NSFoundationVersionNumber = 1151.16;

// A system's version, most significant number first.
struct NSOperatingSystemVersion {
    int64_t majorVersion = 0;
    int64_t minorVersion = 0;
    int64_t patchVersion = 0;
    auto operator<=>(const NSOperatingSystemVersion&) const = default;
};

// What a process can learn about itself and the system. Without state of its own; safe to use from any thread as long as no other
// thread changes the environment.
class NSProcessInfo {
public:
    [[nodiscard]] static const NSProcessInfo& processInfo();

    // The command line, the program first, as the kernel keeps it. Bytes that are not UTF-8 are repaired.
    // Empty when /proc is missing.
    [[nodiscard]] NSArray arguments() const;
    // All environment variables, repaired in the same way; the first one of a name counts.
    [[nodiscard]] NSDictionary environment() const;
    // One variable; absent when it is not set.
    [[nodiscard]] NSString environmentValueForName(const NSString& name) const;

    // The last path component of the name that the program was started under.
    [[nodiscard]] NSString processName() const;
    [[nodiscard]] int processIdentifier() const;

    // The kernel's release, such as 6.1.0; a number that the release does not give is 0.
    [[nodiscard]] NSOperatingSystemVersion operatingSystemVersion() const;
    [[nodiscard]] bool isOperatingSystemAtLeastVersion(const NSOperatingSystemVersion& version) const;

    // The version in a kernel release text: the numbers before, between and after its first two dots.
    [[nodiscard]] static NSOperatingSystemVersion versionFromRelease(std::string_view release);

private:
    NSProcessInfo() = default;
};
