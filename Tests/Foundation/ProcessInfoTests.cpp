#include "QVRProcessInfo.h"

#include "Platform/Foundation/NSException.h"
#include "QVRKernelVariables.h"
#include "QVRProcessTable.h"
#include "Support/EnvironmentVariable.h"
#include "Support/Printing.h"
#include "Support/SettingsFolder.h"
#include "Support/StandardErrorCapture.h"
#include "Support/Subprocess.h"
#include "Support/TemporaryFolder.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

using support::TemporaryFolder;

namespace {

template <typename Integer>
std::optional<std::string> bytesOf(Integer number)
{
    return std::string(reinterpret_cast<const char*>(&number), sizeof number);
}

// A process folder as the kernel shows it.
class ProcessFolder {
public:
    void add(int identifier, uid_t user, const std::string& name, const std::string& commandLine = "",
        const std::string& program = "") const
    {
        const std::string folder = std::to_string(identifier);
        const std::string status = "Name:\t" + name + "\nUmask:\t0022\nUid:\t" + std::to_string(user) + "\t99\t99\t99\n";
        static_cast<void>(_folder.write(folder + "/status", status));
        static_cast<void>(_folder.write(folder + "/comm", name.substr(0, 15) + "\n"));
        static_cast<void>(_folder.write(folder + "/cmdline", commandLine));
        if (!program.empty())
            std::filesystem::create_symlink(program, _folder.pathOf(folder + "/exe"));
    }
    [[nodiscard]] bool isRunning(const NSString& name) const { return qvrIsBSDProcessRunning(name, _folder.path().c_str()); }
    [[nodiscard]] const TemporaryFolder& folder() const { return _folder; }

private:
    TemporaryFolder _folder;
};

}

TEST(QVRMacOSVersionTests, CompareTheRoundedFoundationVersionWithExactBounds)
{
    const struct {
        bool (*operation)(double);
        double highestFalse;
        double lowestTrue;
    } rows[] = {
        {qvrIsMacOSAtLeast10_8, 833.99, 834.0},
        {qvrIsMacOSAtLeast10_9, 945.99, 946.0},
        {qvrIsMacOSAtLeast10_10, 1056.99, 1057.0},
    };
    for (const auto& row : rows) {
        EXPECT_FALSE(row.operation(row.highestFalse)) << row.highestFalse;
        EXPECT_TRUE(row.operation(row.lowestTrue)) << row.lowestTrue;
    }
}

TEST(QVRMacOSVersionTests, CompareTheBetasVersionWithoutRounding)
{
    EXPECT_FALSE(qvrIsMacOSAtLeast10_15DeveloperBeta5(1665.09));
    EXPECT_TRUE(qvrIsMacOSAtLeast10_15DeveloperBeta5(1665.1));
    EXPECT_TRUE(qvrIsMacOSAtLeast10_15DeveloperBeta5(1665.2));
}

TEST(QVRMacOSVersionTests, AnswerForTheStandInWhatTheHeaderSays)
{
    EXPECT_TRUE(qvrIsMacOSAtLeast10_8());
    EXPECT_TRUE(qvrIsMacOSAtLeast10_9());
    EXPECT_TRUE(qvrIsMacOSAtLeast10_10());
    EXPECT_FALSE(qvrIsMacOSAtLeast10_15DeveloperBeta5());
}

TEST(QVRMacOSVersionTests, CompareTheLaterReleasesWithTheSystemsVersionRecord)
{
    const struct {
        bool (*operation)();
        NSOperatingSystemVersion version;
    } rows[] = {
        {qvrIsMacOSAtLeast10_11, {10, 11, 0}},
        {qvrIsMacOSAtLeast10_12, {10, 12, 0}},
        {qvrIsMacOSAtLeast10_12_2, {10, 12, 2}},
        {qvrIsMacOSAtLeast10_13, {10, 13, 0}},
        {qvrIsMacOSAtLeast10_13_2, {10, 13, 2}},
        {qvrIsMacOSAtLeast10_14, {10, 14, 0}},
        {qvrIsMacOSAtLeast10_15, {10, 15, 0}},
        {qvrIsMacOSAtLeast10_15_4, {10, 15, 4}},
    };
    const NSOperatingSystemVersion system = NSProcessInfo::processInfo().operatingSystemVersion();
    for (const auto& row : rows)
        EXPECT_EQ(row.operation(), system >= row.version) << row.version.minorVersion << "." << row.version.patchVersion;
}

TEST(QVRIsOperatingSystemAtLeastVersion, ComparesTheKernelsRelease)
{
    const NSOperatingSystemVersion system = NSProcessInfo::processInfo().operatingSystemVersion();
    EXPECT_TRUE(qvrIsOperatingSystemAtLeastVersion(system));
    EXPECT_TRUE(qvrIsOperatingSystemAtLeastVersion({system.majorVersion - 1, 999, 999}));
    EXPECT_FALSE(qvrIsOperatingSystemAtLeastVersion({system.majorVersion, system.minorVersion, system.patchVersion + 1}));
    EXPECT_FALSE(qvrIsOperatingSystemAtLeastVersion({system.majorVersion, system.minorVersion + 1, 0}));
    EXPECT_FALSE(qvrIsOperatingSystemAtLeastVersion({system.majorVersion + 1, 0, 0}));
}

TEST(QVROSVersionString, IsTheFrontOfTheKernelsRelease)
{
    utsname names = {};
    ASSERT_EQ(::uname(&names), 0);
    int numbers[3] = {};
    ASSERT_GE(std::sscanf(names.release, "%d.%d.%d", &numbers[0], &numbers[1], &numbers[2]), 1);
    EXPECT_EQ(qvrOSVersionString(), NSString::stringWithFormat(u"%d.%d.%d", numbers[0], numbers[1], numbers[2]));
}

TEST(QVRGetOperatingSystemVersion, ReadsTwoOrThreeNumbers)
{
    const struct {
        NSString string;
        NSOperatingSystemVersion expected;
    } rows[] = {
        {u"10.15", {10, 15, 0}},
        {u"10.15.4", {10, 15, 4}},
        {u"10.x", {10, 0, 0}},
        {u"x.y.z", {0, 0, 0}},
        {u"6.1.0-13-amd64", {6, 1, 0}},
        {u"12b.7rc1", {12, 7, 0}},
        {u".", {0, 0, 0}},
        {u"10.", {10, 0, 0}},
        {u"-1.2", {-1, 2, 0}},
        {u"99999999999999999999.1", {INT64_MAX, 1, 0}},
    };
    for (const auto& row : rows) {
        NSOperatingSystemVersion version = {77, 77, 77};
        NSError error;
        EXPECT_TRUE(qvrGetOperatingSystemVersion(&version, row.string, &error)) << row.string.UTF8();
        EXPECT_EQ(version, row.expected) << row.string.UTF8();
        EXPECT_TRUE(error.isAbsent()) << row.string.UTF8();
    }
}

TEST(QVRGetOperatingSystemVersion, RefusesAnyOtherCountOfParts)
{
    for (const NSString& text : {NSString(u"11"), NSString(u"10.15.4.1"), NSString(u""), NSString(u"....")}) {
        NSOperatingSystemVersion version = {77, 77, 77};
        NSError error;
        EXPECT_FALSE(qvrGetOperatingSystemVersion(&version, text, &error)) << text.UTF8();
        EXPECT_EQ(version, (NSOperatingSystemVersion{77, 77, 77}));
        EXPECT_EQ(error.domain(), NSString(u"NSOSStatusErrorDomain"));
        EXPECT_EQ(error.code(), -50);
        EXPECT_EQ(error.localizedDescription(), NSString::stringWithFormat(u"Error parsing OS version: %@", text));
        EXPECT_EQ(error.userInfo().count(), 1u);
        EXPECT_FALSE(qvrGetOperatingSystemVersion(&version, text));
    }
}

TEST(QVRGetOperatingSystemVersion, RefusesToHaveNowhereToPutTheVersion)
{
    NSError error;
    EXPECT_FALSE(qvrGetOperatingSystemVersion(nullptr, u"10.15", &error));
    EXPECT_EQ(error.localizedDescription(), NSString(u"Error parsing OS version: 10.15"));
    EXPECT_FALSE(qvrGetOperatingSystemVersion(nullptr, u"10.15"));
}

TEST(QVRMaximumOpenFilesCount, IsTheSoftLimit)
{
    rlimit limit = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(qvrMaximumOpenFilesCount(), limit.rlim_cur);
    const rlimit lower = {limit.rlim_cur - 1, limit.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &lower), 0);
    EXPECT_EQ(qvrMaximumOpenFilesCount(), limit.rlim_cur - 1);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
}

// A process of its own, since the hard limit cannot be raised again by everybody.
TEST(QVRSetMaximumOpenFilesCountDeathTest, SetsBothLimits)
{
    EXPECT_EXIT(
        {
            qvrSetMaximumOpenFilesCount(100);
            rlimit limit = {};
            ::getrlimit(RLIMIT_NOFILE, &limit);
            std::_Exit(limit.rlim_cur == 100 && limit.rlim_max == 100 && qvrMaximumOpenFilesCount() == 100 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(QVRSetMaximumOpenFilesCountDeathTest, IgnoresAFailure)
{
    EXPECT_EXIT(
        {
            const uint64_t before = qvrMaximumOpenFilesCount();
            // More than any kernel allows.
            qvrSetMaximumOpenFilesCount(UINT64_MAX - 1);
            std::_Exit(qvrMaximumOpenFilesCount() == before ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(QVRIsMacAppStoreVersion, IsFalse)
{
    EXPECT_FALSE(qvrIsMacAppStoreVersion());
}

TEST(QVRIsInAppSandbox, IsASetting)
{
    const NSString domain = NSProcessInfo::processInfo().processName();
    const struct {
        const char* entries;
        bool expected;
    } rows[] = {
        {"", false},
        {"<key>QVRAppSandbox</key><true/>", true},
        {"<key>QVRAppSandbox</key><false/>", false},
        {"<key>QVRAppSandbox</key><integer>1</integer>", true},
        {"<key>QVRAppSandbox</key><string>YES</string>", true},
        {"<key>QVRAppSandbox</key><array/>", false},
    };
    for (const auto& row : rows) {
        const support::SettingsFolder settings;
        settings.write(domain.UTF8(), row.entries);
        EXPECT_EQ(qvrIsInAppSandbox(), row.expected) << row.entries;
    }
}

TEST(QVRIsInXcode, IsTrueWhenTheVariableIsThereWhateverItSays)
{
    {
        const support::EnvironmentVariable variable("__XCODE_BUILT_PRODUCTS_DIR_PATHS", nullptr);
        EXPECT_FALSE(qvrIsInXcode());
    }
    for (const char* value : {"", "0", "/build"}) {
        const support::EnvironmentVariable variable("__XCODE_BUILT_PRODUCTS_DIR_PATHS", value);
        EXPECT_TRUE(qvrIsInXcode()) << value;
    }
}

TEST(KernelVariable, ModelComesFromDMIThenFromTheDeviceTree)
{
    const TemporaryFolder root;
    EXPECT_EQ(kernelVariable("hw.model", root.path()), std::nullopt);
    static_cast<void>(root.write("proc/device-tree/model", std::string_view("Small Board 4\0", 14)));
    EXPECT_EQ(kernelVariable("hw.model", root.path()), std::string("Small Board 4\0", 14));
    static_cast<void>(root.write("sys/class/dmi/id/product_name", "Big Box \n"));
    EXPECT_EQ(kernelVariable("hw.model", root.path()), std::string("Big Box\0", 8));
    static_cast<void>(root.write("sys/class/dmi/id/product_name", "\n"));
    EXPECT_EQ(kernelVariable("hw.model", root.path()), std::string("Small Board 4\0", 14));
}

TEST(KernelVariable, CoresAreCountedOnceForAllTheirProcessors)
{
    const TemporaryFolder root;
    const std::string folder = "sys/devices/system/cpu/";
    EXPECT_EQ(kernelVariable("hw.physicalcpu_max", root.path()), std::nullopt);
    static_cast<void>(root.write(folder + "cpufreq/topology/core_cpus_list", "9\n"));
    EXPECT_EQ(kernelVariable("hw.physicalcpu_max", root.path()), std::nullopt);
    static_cast<void>(root.write(folder + "cpu0/topology/core_cpus_list", "0,2\n"));
    static_cast<void>(root.write(folder + "cpu1/topology/core_cpus_list", "1,3\n"));
    static_cast<void>(root.write(folder + "cpu2/topology/core_cpus_list", "0,2\n"));
    static_cast<void>(root.write(folder + "cpu3/topology/core_cpus_list", "1,3\n"));
    static_cast<void>(root.write(folder + "cpu10/topology/thread_siblings_list", "10\n"));
    EXPECT_EQ(kernelVariable("hw.physicalcpu_max", root.path()), bytesOf(int32_t(3)));
}

TEST(KernelVariable, FrequencyIsTheHighestOneInHertz)
{
    const TemporaryFolder root;
    const std::string folder = "sys/devices/system/cpu/";
    static_cast<void>(root.makeFolder(folder + "cpu0"));
    EXPECT_EQ(kernelVariable("hw.cpufrequency_max", root.path()), std::nullopt);
    static_cast<void>(root.write(folder + "cpu0/cpufreq/cpuinfo_max_freq", "2400000\n"));
    static_cast<void>(root.write(folder + "cpu1/cpufreq/cpuinfo_max_freq", "3600000\n"));
    static_cast<void>(root.write(folder + "cpu2/cpufreq/cpuinfo_max_freq", "unreadable\n"));
    static_cast<void>(root.write(folder + "cpu3/cpufreq/cpuinfo_max_freq", "9223372036854775807\n"));
    EXPECT_EQ(kernelVariable("hw.cpufrequency_max", root.path()), bytesOf(int64_t(3600000000)));
}

TEST(KernelVariable, IsNothingForOtherNames)
{
    for (const char* name : {"", "hw", "hw.modelx", "kern.ostype"})
        EXPECT_EQ(kernelVariable(name), std::nullopt) << name;
}

TEST(QVRSysctl, GivesTheFailureValuesForUnknownVariables)
{
    EXPECT_TRUE(qvrSysctlStringForKey(u"no.such.variable").isAbsent());
    EXPECT_TRUE(qvrSysctlStringForKey(NSString()).isAbsent());
    EXPECT_EQ(qvrSysctlInt32ForKey(u"no.such.variable"), 0);
    EXPECT_EQ(qvrSysctlInt64ForKey(u"no.such.variable"), 0);
}

TEST(QVRSysctl, AgreesWithTheMachine)
{
    const auto model = kernelVariable("hw.model");
    EXPECT_EQ(qvrHardwareModel(), model ? NSString::stringWithUTF8String(model->c_str()) : NSString(u"unknown"));
    const auto cores = kernelVariable("hw.physicalcpu_max");
    EXPECT_EQ(bytesOf(qvrMaxPhysicalProcessorCount()), cores.value_or(*bytesOf(int32_t(0))));
    EXPECT_EQ(qvrSysctlInt64ForKey(u"hw.physicalcpu_max"), qvrMaxPhysicalProcessorCount());
    EXPECT_LE(qvrMaxPhysicalProcessorCount(), ::sysconf(_SC_NPROCESSORS_CONF));
    const auto frequency = kernelVariable("hw.cpufrequency_max");
    EXPECT_EQ(bytesOf(qvrMaxProcessorFrequency()), frequency.value_or(*bytesOf(int64_t(0))));
    // Eight bytes do not fit into a 32-bit number.
    EXPECT_EQ(qvrSysctlInt32ForKey(u"hw.cpufrequency_max"), 0);
}

TEST(QVRIsBSDProcessRunning, ComparesWholeNamesAndTheirCase)
{
    const ProcessFolder processes;
    processes.add(10, ::getuid(), "worker");
    EXPECT_TRUE(processes.isRunning(u"worker"));
    EXPECT_FALSE(processes.isRunning(u"Worker"));
    EXPECT_FALSE(processes.isRunning(u"work"));
    EXPECT_FALSE(processes.isRunning(u"workers"));
    EXPECT_FALSE(processes.isRunning(u""));
    EXPECT_FALSE(processes.isRunning(NSString()));
    EXPECT_FALSE(processes.isRunning(std::u16string(1, char16_t(0xd800))));
}

TEST(QVRIsBSDProcessRunning, SeesTheProcessesOfTheCurrentUserOnly)
{
    const ProcessFolder processes;
    processes.add(10, ::getuid() + 1, "theirs");
    processes.add(11, ::getuid(), "ours");
    static_cast<void>(processes.folder().write("12/comm", "ended\n"));
    static_cast<void>(processes.folder().write("13/status", "Name:\tx\nUid:\tnobody\n"));
    static_cast<void>(processes.folder().write("14x/comm", "no process\n"));
    EXPECT_FALSE(processes.isRunning(u"theirs"));
    EXPECT_TRUE(processes.isRunning(u"ours"));
    EXPECT_FALSE(processes.isRunning(u"ended"));
    EXPECT_FALSE(processes.isRunning(u"no process"));
}

TEST(QVRIsBSDProcessRunning, KnowsSixteenBytesOfALongName)
{
    const ProcessFolder processes;
    const std::string name = "abcdefghijklmnopqrst";
    processes.add(10, ::getuid(), name, name + '\0', "/opt/" + name);
    EXPECT_TRUE(processes.isRunning(u"abcdefghijklmno"));
    EXPECT_TRUE(processes.isRunning(u"abcdefghijklmnop"));
    EXPECT_FALSE(processes.isRunning(u"abcdefghijklmnopq"));
    EXPECT_FALSE(processes.isRunning(u"abcdefghijklmnopqrst"));
    EXPECT_FALSE(processes.isRunning(u"abcdefghijklmnox"));
}

TEST(QVRIsBSDProcessRunning, FindsTheSixteenthByteInTheCommandLineOfAScript)
{
    const ProcessFolder processes;
    const std::string script = "nightly-collection";
    processes.add(10, ::getuid(), script, std::string("/bin/sh\0/opt/", 13) + script + '\0', "/usr/bin/dash");
    processes.add(11, ::getuid(), "renamed-by-itself", "/opt/other", "/opt/other");
    processes.add(12, ::getuid(), "exactly15bytes!", "exactly15bytes!", "/opt/exactly15bytes!");
    EXPECT_TRUE(processes.isRunning(u"nightly-collecti"));
    EXPECT_TRUE(processes.isRunning(u"renamed-by-itse"));
    EXPECT_FALSE(processes.isRunning(u"renamed-by-itsel"));
    EXPECT_TRUE(processes.isRunning(u"exactly15bytes!"));
}

TEST(QVRIsBSDProcessRunning, FindsARunningProgram)
{
    const TemporaryFolder folder;
    const std::string name = "long-running-thing-" + std::to_string(::getpid());
    std::filesystem::copy_file("/bin/sh", folder.pathOf(name), std::filesystem::copy_options::none);
    const NSString known = NSString::stringWithUTF8String(name.substr(0, 16));
    const std::string pipe = folder.pathOf("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    // It waits for a line that nobody writes, until it is killed.
    support::Subprocess process(
        {.arguments = {folder.pathOf(name), "-c", "exec 3<>" + pipe + "; echo running >&2; read line <&3"},
            .environment = {},
            .workingFolder = {}});
    ASSERT_TRUE(process.waitForError("running", std::chrono::seconds(20)));
    EXPECT_TRUE(qvrIsBSDProcessRunning(known));
    EXPECT_FALSE(qvrIsBSDProcessRunning(NSString::stringWithUTF8String(name)));
    EXPECT_FALSE(qvrIsBSDProcessRunning(u"no such process"));
}

TEST(QVRIsBSDProcessRunning, BreaksItsPromiseWithoutAProcessTable)
{
    const TemporaryFolder folder;
    support::StandardErrorCapture standardError;
    try {
        static_cast<void>(qvrIsBSDProcessRunning(u"x", folder.pathOf("missing").c_str()));
        FAIL();
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), NSInternalInconsistencyException);
        EXPECT_EQ(exception.reason(), NSString(u"Invalid parameter not satisfying: err == 0"));
    }
    EXPECT_NE(standardError.take().find("+[NSProcessInfo(QVR) qvrIsBSDProcessRunning:], Source/NSProcessInfo+QVR:300"),
        std::string::npos);
}

TEST(GetBSDProcessList, HoldsThisProcess)
{
    std::optional<std::vector<ProcessEntry>> processes;
    ASSERT_EQ(GetBSDProcessList(processes), 0);
    ASSERT_TRUE(processes);
    EXPECT_TRUE(std::any_of(
        processes->begin(), processes->end(), [](const ProcessEntry& entry) { return entry.identifier == ::getpid(); }));
}

TEST(GetBSDProcessList, GivesTheErrorNumberAndNoListWhenTheTableCannotBeRead)
{
    const TemporaryFolder folder;
    std::optional<std::vector<ProcessEntry>> processes;
    EXPECT_EQ(GetBSDProcessList(processes, folder.pathOf("missing").c_str()), ENOENT);
    EXPECT_FALSE(processes);
}

TEST(GetBSDProcessList, TakesNoListThatIsAlreadyThere)
{
    std::optional<std::vector<ProcessEntry>> processes = std::vector<ProcessEntry>();
    support::StandardErrorCapture standardError;
    try {
        static_cast<void>(GetBSDProcessList(processes));
        FAIL();
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), NSInternalInconsistencyException);
        EXPECT_EQ(exception.reason(), NSString(u"Invalid parameter not satisfying: result == NULL"));
    }
    EXPECT_NE(standardError.take().find("int GetBSDProcessList(kinfo_proc **, size_t *), Source/NSProcessInfo+QVR:236"),
        std::string::npos);
}

TEST(QVRPreventPartialLaunching, LeavesTheProcessAsItIs)
{
    const uint64_t before = qvrMaximumOpenFilesCount();
    EXPECT_NO_THROW(qvrPreventPartialLaunching());
    EXPECT_EQ(qvrMaximumOpenFilesCount(), before);
}
