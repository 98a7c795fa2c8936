#include "EndToEnd/CaptureTest.h"

#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <unistd.h>

using namespace std::chrono_literals;
using namespace support;

size_t Captured::logCount(const std::string& text) const
{
    size_t count = 0;
    for (size_t at = process.error.find(text); at != std::string::npos; at = process.error.find(text, at + text.size()))
        ++count;
    return count;
}

CaptureTest::CaptureTest()
{
    settings["WebToolExtraLoadingTime"] = int64_t(0);
    for (const char* name : {"output", "temporary", "home", "config", "runtime", "open"})
        folder.makeFolder(name);
    // Started by the superuser, the engine runs as another user, who must be able to go to its own folder.
    using std::filesystem::perms;
    for (const std::string& passed : {folder.path().string(), temporaryFolder()})
        std::filesystem::permissions(passed, perms::owner_all | perms::group_exec | perms::others_exec);
    std::filesystem::permissions(openFolder(), perms::all);
}

CaptureTest::~CaptureTest()
{
    // A test that failed half-way must not leave a process to the next one.
    for (const pid_t process : descendantsOf(getpid()))
        kill(process, SIGKILL);
    (void)leftoverProcesses(5s);
}

ProcessOptions CaptureTest::processOptions(std::vector<std::string> arguments) const
{
    ProcessOptions options;
    options.arguments = std::move(arguments);
    options.arguments.insert(options.arguments.begin(), TWWEBTOOL);
    options.environment = {
        {"PATH", "/usr/local/bin:/usr/bin:/bin"}, {"LANG", "C.UTF-8"}, {"HOME", folder.pathOf("home")},
        {"TMPDIR", temporaryFolder()}, {"XDG_CONFIG_HOME", folder.pathOf("config")},
        {"XDG_CONFIG_DIRS", folder.pathOf("config-of-the-system")}, {"XDG_RUNTIME_DIR", folder.pathOf("runtime")},
        {"QVRIsInXcode", "1"},   // keeps test runs out of the journal
    };
    // What a sanitized build needs.
    if (const char* sanitizer = getenv("ASAN_OPTIONS"))
        options.environment["ASAN_OPTIONS"] = sanitizer;
    for (const auto& [name, value] : environment) {
        if (value)
            options.environment[name] = *value;
        else
            options.environment.erase(name);
    }
    return options;
}

Captured CaptureTest::captureWithArguments(std::vector<std::string> arguments)
{
    if (!settings.empty())
        folder.write("config/com.brackenlow.Tarnwick.plist", preferencesFile(settings));
    Subprocess process(processOptions(std::move(arguments)));
    return finish(process);
}

Captured CaptureTest::capture(const std::string& address, const std::string& mode)
{
    std::vector<std::string> arguments = {address, outputPath(), "1"};
    if (!mode.empty())
        arguments.push_back(mode);
    return captureWithArguments(arguments);
}

Captured CaptureTest::captureMarkup(const std::string& markup)
{
    server.on("/page.html", html(markup));
    return capture(url("/page.html"));
}

std::unique_ptr<Subprocess> CaptureTest::start(const std::string& address, const std::string& mode) const
{
    if (!settings.empty())
        (void)folder.write("config/com.brackenlow.Tarnwick.plist", preferencesFile(settings));
    std::vector<std::string> arguments = {address, outputPath(), "1"};
    if (!mode.empty())
        arguments.push_back(mode);
    return std::make_unique<Subprocess>(processOptions(arguments));
}

Captured CaptureTest::finish(Subprocess& process)
{
    Captured captured;
    captured.process = process.wait(timeout);
    EXPECT_FALSE(captured.process.timedOut) << "still running after the test's patience; its standard error:\n"
                                            << captured.process.error;
    EXPECT_EQ(captured.process.exitStatus, 0) << captured.process.error;
    const auto recordFile = environment.find("OutPath");
    if (recordFile == environment.end() || !recordFile->second) {
        captured.record = readRecord(captured.process.output);
    } else {
        EXPECT_EQ(captured.process.output, "");
        if (std::filesystem::is_regular_file(*recordFile->second))
            captured.record = readRecord(readFile(*recordFile->second));
    }
    const ResultRecord& record = captured.record;
    if (record.hasSucceeded() && record.path && record.path->ends_with(".webarchive")) {
        captured.archive = readArchive(*record.path);
        EXPECT_EQ(faultsOf(*captured.archive), std::vector<std::string>());
        const std::string inventory = inventoryOf(*captured.archive);
        EXPECT_EQ(inventoryByPlistlib(*record.path), inventory);
        EXPECT_EQ(inventoryByPlistutil(*record.path), inventory);
    }
    expectNothingLeft();
    return captured;
}

void CaptureTest::expectArchive(const Captured& captured)
{
    if (!captured.record.hasSucceeded() || !captured.archive)
        throw std::runtime_error("no archive; error: " + captured.record.errorString.value_or("none") + "; standard error:\n"
            + captured.process.error);
}

void CaptureTest::expectError(const Captured& captured, const std::string& domain, long long code)
{
    ASSERT_TRUE(captured.record.errorData) << "no error in the record";
    const ArchivedError error = readArchivedError(*captured.record.errorData);
    EXPECT_EQ(error.domain, domain) << captured.record.errorString.value_or("");
    EXPECT_EQ(error.code, code) << captured.record.errorString.value_or("");
}

void CaptureTest::expectNothingLeft() const
{
    EXPECT_EQ(leftoverProcesses(5s), std::vector<std::string>());
    EXPECT_EQ(namesIn(temporaryFolder()), std::vector<std::string>()) << "left in the temporary folder";
    EXPECT_EQ(namesIn(folder.pathOf("home")), std::vector<std::string>()) << "left in the home folder";
}

std::string CaptureTest::writeEngine(const std::string& text)
{
    const std::string path = folder.writeProgram("engine", "#!/bin/sh\n" + text);
    settings["WebToolEnginePath"] = path;
    return path;
}
