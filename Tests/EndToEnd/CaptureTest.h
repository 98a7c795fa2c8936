#pragma once

#include "Support/ArchiveInspector.h"
#include "Support/ResultRecord.h"
#include "Support/SampleFiles.h"
#include "Support/Settings.h"
#include "Support/Subprocess.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestServer.h"

#include <chrono>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

inline bool holds(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

// What came of one run of the tool.
struct Captured {
    support::ProcessOutcome process;
    support::ResultRecord record;
    // Of the output path, when the record names it and it is there.
    std::optional<support::InspectedArchive> archive;

    // The markup of the top page in the archive; empty without an archive.
    [[nodiscard]] std::string page() const { return archive ? archive->main.data : std::string(); }
    [[nodiscard]] double seconds() const { return process.wallTime.count(); }
    // How often standard error holds `text`.
    [[nodiscard]] size_t logCount(const std::string& text) const;
};

// Runs the built tool against a server of the test's own, with settings, home and temporary folders that are the test's own too.
// Each run is checked for what holds for every run: status 0, one record, an archive that keeps to the format and that outside
// readers read the same way, and nothing left behind, neither a process nor a file.
class CaptureTest : public testing::Test {
protected:
    CaptureTest();
    ~CaptureTest() override;

    // The settings of the runs; with a grace period of 0 at first, because most tests need none.
    support::Settings settings;
    // Variables to set for the runs, or to unset when absent.
    std::map<std::string, std::optional<std::string>> environment;
    support::TestServer server;
    support::TemporaryFolder folder;
    // The longest that a run may take.
    std::chrono::milliseconds timeout = std::chrono::seconds(60);

    [[nodiscard]] std::string url(const std::string& path) const { return server.url(path); }
    // Where archives go, and the folder that holds nothing else.
    [[nodiscard]] std::string outputFolder() const { return folder.pathOf("output"); }
    [[nodiscard]] std::string outputPath() const { return folder.pathOf("output/page.webarchive"); }
    [[nodiscard]] std::string temporaryFolder() const { return folder.pathOf("temporary"); }
    // Where stand-ins for the engine may write, whoever they run as.
    [[nodiscard]] std::string openFolder() const { return folder.pathOf("open"); }

    // twwebtool <address> <output path> 1 [mode], to its end, with the checks above.
    Captured capture(const std::string& address, const std::string& mode = {});
    // The same with these arguments.
    Captured captureWithArguments(std::vector<std::string> arguments);
    // A page at "/page.html" with this markup, captured.
    Captured captureMarkup(const std::string& markup);
    // Success and an archive; otherwise it throws, which ends the test, with what the record and standard error say.
    static void expectArchive(const Captured& captured);
    // No success, and this domain and code in the archived error.
    static void expectError(const Captured& captured, const std::string& domain, long long code);

    // For tests that steer a run: what capture() does, in steps.
    [[nodiscard]] support::ProcessOptions processOptions(std::vector<std::string> arguments) const;
    [[nodiscard]] std::unique_ptr<support::Subprocess> start(const std::string& address, const std::string& mode = {}) const;
    Captured finish(support::Subprocess& process);
    // No process of this test is left and the temporary folder is empty, at the latest after a few seconds.
    void expectNothingLeft() const;
    // A script that stands for the engine; gives its path.
    std::string writeEngine(const std::string& text);
};
