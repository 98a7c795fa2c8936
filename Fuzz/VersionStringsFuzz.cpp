// Version strings: they are read exactly when they have two or three parts, and a version that was read is
// read again from its text.

#include "FuzzSupport.h"
#include "Platform/Foundation/NSProcessInfo.h"
#include "QVRProcessInfo.h"
#include "QVRStringCharacters.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const NSString text = fuzz::textOf(bytes, size);
    const uint64_t dots = qvrCountOccurrencesOfCharacter(text, u'.');
    const NSOperatingSystemVersion before = {-7, -7, -7};
    NSOperatingSystemVersion version = before;
    NSError error;
    const bool isRead = qvrGetOperatingSystemVersion(&version, text, &error);
    fuzz::require(isRead == (dots == 1 || dots == 2), "two or three parts make a version");
    fuzz::require(isRead == error.isAbsent(), "a failure has its error, and only a failure");
    if (!isRead) {
        fuzz::require(version == before, "a failure leaves the version alone");
    } else {
        const NSString again =
            NSString::stringWithFormat(u"%ld.%ld.%ld", version.majorVersion, version.minorVersion, version.patchVersion);
        NSOperatingSystemVersion copy;
        fuzz::require(qvrGetOperatingSystemVersion(&copy, again) && copy == version, "a version is read again from its text");
    }
    fuzz::require(!qvrGetOperatingSystemVersion(nullptr, text), "there must be a place for the version");

    const NSOperatingSystemVersion release = NSProcessInfo::versionFromRelease({reinterpret_cast<const char*>(bytes), size});
    fuzz::require(
        release.majorVersion >= 0 && release.minorVersion >= 0 && release.patchVersion >= 0, "a release has no negative numbers");
    return 0;
}
