#pragma once

#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSProcessInfo.h"
#include "Platform/Foundation/NSString.h"

#include <cstdint>

// Questions about the running system and the process. None of them keeps state; safe from any thread as long as no other thread
// changes the environment.

// Whether the system is at least as new as a release of the platform. The three oldest questions compare the Foundation's version
// number, rounded down; the one about a beta compares it as it is. With NSFoundationVersionNumber, the stand-in on Linux, the
// answers are true, true, true and false.
[[nodiscard]] bool qvrIsMacOSAtLeast10_8(double foundationVersion = NSFoundationVersionNumber);
[[nodiscard]] bool qvrIsMacOSAtLeast10_9(double foundationVersion = NSFoundationVersionNumber);
[[nodiscard]] bool qvrIsMacOSAtLeast10_10(double foundationVersion = NSFoundationVersionNumber);
[[nodiscard]] bool qvrIsMacOSAtLeast10_15DeveloperBeta5(double foundationVersion = NSFoundationVersionNumber);
// The later questions compare version records, and the system's own version here is the kernel's release:
// qvrIsOperatingSystemAtLeastVersion of 6.1.0 is true on Linux 6.1. So the questions below, which ask for 10.11 and more, are
// false on kernels before that number. Ask the part of the platform that you want to use whether it is there instead (such as
// QVROSLogWriter::isOSLogAvailable).
[[nodiscard]] bool qvrIsOperatingSystemAtLeastVersion(const NSOperatingSystemVersion& version);
[[nodiscard]] bool qvrIsMacOSAtLeast10_11();
[[nodiscard]] bool qvrIsMacOSAtLeast10_12();
[[nodiscard]] bool qvrIsMacOSAtLeast10_12_2();
[[nodiscard]] bool qvrIsMacOSAtLeast10_13();
[[nodiscard]] bool qvrIsMacOSAtLeast10_13_2();
[[nodiscard]] bool qvrIsMacOSAtLeast10_14();
[[nodiscard]] bool qvrIsMacOSAtLeast10_15();
[[nodiscard]] bool qvrIsMacOSAtLeast10_15_4();

// The kernel's release as "6.1.0"; a number that it does not give is 0.
[[nodiscard]] NSString qvrOSVersionString();
// Reads two or three numbers between dots; a part counts by its leading number, without one as 0 ("10.x" is 10.0.0). On success
// sets `*version`. False for any other count of parts, and when `version` is null; then an error of NSOSStatusErrorDomain, code
// -50, goes to `*error` if given, and `*version` is left untouched.
[[nodiscard]] bool qvrGetOperatingSystemVersion(
    NSOperatingSystemVersion* version, const NSString& fromString, NSError* error = nullptr);

// The limit on files that the process may have open at a time; 0 when it cannot be asked.
[[nodiscard]] uint64_t qvrMaximumOpenFilesCount();
// Deliberate: sets the hard limit too, so a lower count cannot be taken back without privileges. A failure is ignored.
void qvrSetMaximumOpenFilesCount(uint64_t count);

// How the program was built and started. False: no build for a store is made.
[[nodiscard]] bool qvrIsMacAppStoreVersion();
// The setting "QVRAppSandbox" of the standard user defaults; false when missing.
[[nodiscard]] bool qvrIsInAppSandbox();
// Whether the environment has "__XCODE_BUILT_PRODUCTS_DIR_PATHS", with any value, as the development environment sets it.
[[nodiscard]] bool qvrIsInXcode();

// The machine, by its kernel variables (see QVRKernelVariables.h): its model, or "unknown"; its number of processor cores and the
// highest frequency of one in hertz, or 0.
[[nodiscard]] NSString qvrHardwareModel();
[[nodiscard]] int32_t qvrMaxPhysicalProcessorCount();
[[nodiscard]] int64_t qvrMaxProcessorFrequency();
// A kernel variable as text up to the first NUL; absent when there is no such variable or it is no valid UTF-8.
[[nodiscard]] NSString qvrSysctlStringForKey(const NSString& name);
// A kernel variable as a number; 0 when there is no such variable or it is larger than 4, or 8, bytes.
[[nodiscard]] int32_t qvrSysctlInt32ForKey(const NSString& name);
[[nodiscard]] int64_t qvrSysctlInt64ForKey(const NSString& name);

// Whether a process of the current real user runs under this command name, letter case counting (see QVRProcessTable.h: a name of
// 17 bytes or more never matches). `processFolder` is where the kernel shows its processes. A table that cannot be read is a
// broken promise: it throws NSInternalInconsistencyException, "Invalid parameter not satisfying: err == 0".
[[nodiscard]] bool qvrIsBSDProcessRunning(const NSString& name, const char* processFolder = "/proc");

// Asks the system not to end the process while it seems idle. Does nothing: this system ends no process for that reason.
void qvrPreventPartialLaunching();
