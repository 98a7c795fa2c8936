#pragma once

#include "EndToEnd/CaptureTest.h"
#include "Support/Picture.h"

#include <optional>
#include <string>
#include <vector>

// How a run of twwebreplay ended, and what it said.
struct Replayed {
    support::ProcessOutcome process;
    // Counts of the table at the end; absent when there is no such line.
    std::optional<size_t> byAddress;
    std::optional<size_t> byFileName;
    std::optional<size_t> byNetwork;
    std::optional<size_t> unanswered;
    std::vector<std::string> unansweredAddresses;
};

// Runs the built replay program on archives, and shows live pages in a view of this process.
class ReplayTest : public CaptureTest {
protected:
    // twwebreplay with these arguments, to its end. Whatever happens, it leaves nothing behind.
    [[nodiscard]] Replayed replayWithArguments(std::vector<std::string> arguments);
    // The archive, written as a picture; the run must end well.
    [[nodiscard]] support::Picture replayedPicture(const std::string& archive, const std::vector<std::string>& options = {});
    // What the live page looks like, waited for as a capture waits.
    [[nodiscard]] support::Picture livePicture(const std::string& address) const;
    // Writes an archive's text (XML) or bytes; gives its path.
    [[nodiscard]] std::string writeArchive(const std::string& bytes) const { return folder.write("made.webarchive", bytes); }

    // Of the last run.
    Replayed last;
    // Of live pages.
    bool runsScripts = true;
    int64_t gracePeriod = 0;   // seconds
};

// The XML form of archives, for archives that others could have made. Bytes are any; texts must be fit for XML.
[[nodiscard]] std::string archiveXML(
    const std::string& mainResource, const std::string& subresources = {}, const std::string& frames = {});
// A resource's dictionary; what is empty is left out. `more` stands in it as it is.
[[nodiscard]] std::string resourceXML(const std::string& url, const std::string& data, const std::string& type,
    const std::string& encoding = {}, const std::string& more = {});
// The whole file.
[[nodiscard]] std::string propertyListXML(const std::string& value);
