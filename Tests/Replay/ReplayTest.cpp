#include "Replay/ReplayTest.h"

#include "Platform/Engine/PageEngineFactory.h"
#include "Support/EnvironmentVariable.h"
#include "Support/SettingsFolder.h"
#include "Tools/Loader.h"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

using namespace std::chrono_literals;
using namespace support;

namespace {

// Waits for a page as captures do, but for their grace period.
class LiveLoader final : public Loader {
public:
    using Loader::Loader;
    [[nodiscard]] const NSString& logArea() const override
    {
        static const NSString area = u"LogLive";
        return area;
    }
    [[nodiscard]] NSData pictureOf(const std::string& address, bool runsScripts)
    {
        view().preferences().setJavaScriptEnabled(runsScripts);
        startLoading();
        view().mainFrame()->loadRequest(
            NSURLRequest::requestWithURL(NSURL::URLWithUncheckedString(NSString::stringWithRepairedUTF8(address))));
        waitUntilDone();
        if (error())
            throw std::runtime_error("the live page: " + error().localizedDescription().UTF8());
        return view().picture();
    }
};

std::string base64(const std::string& bytes)
{
    static constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (size_t at = 0; at < bytes.size(); at += 3) {
        uint32_t group = 0;
        for (size_t index = at; index < at + 3; ++index)
            group = group << 8 | (index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0);
        for (size_t digit = 0; digit < 4; ++digit)
            text += at + digit > bytes.size() ? '=' : digits[group >> (18 - 6 * digit) & 63];
    }
    return text;
}

}

Replayed ReplayTest::replayWithArguments(std::vector<std::string> arguments)
{
    if (!settings.empty())
        folder.write("config/com.brackenlow.Tarnwick.plist", preferencesFile(settings));
    ProcessOptions options = processOptions(std::move(arguments));
    options.arguments[0] = TWWEBREPLAY;
    Subprocess process(options);
    Replayed replayed;
    replayed.process = process.wait(timeout);
    EXPECT_FALSE(replayed.process.timedOut) << replayed.process.error;
    expectNothingLeft();

    std::istringstream lines(replayed.process.output);
    for (std::string line; std::getline(lines, line);) {
        const std::pair<const char*, std::optional<size_t>*> rows[] = {
            {"  answered from the archive by their exact address", &replayed.byAddress},
            {"  answered from the archive by their file name", &replayed.byFileName},
            {"  answered by the network", &replayed.byNetwork}, {"  answered by nothing", &replayed.unanswered}};
        for (const auto& [ending, count] : rows) {
            if (line.ends_with(ending))
                *count = std::strtoul(line.c_str(), nullptr, 10);
        }
        if (line.starts_with("        "))
            replayed.unansweredAddresses.push_back(line.substr(8));
    }
    last = replayed;
    return replayed;
}

Picture ReplayTest::replayedPicture(const std::string& archive, const std::vector<std::string>& options)
{
    const std::string path = folder.pathOf("replayed.png");
    std::vector<std::string> arguments = {archive, "--png", path};
    arguments.insert(arguments.end(), options.begin(), options.end());
    (void)replayWithArguments(arguments);
    if (last.process.exitStatus != 0)
        throw std::runtime_error("not replayed: " + last.process.error);
    return readPNG(path);
}

Picture ReplayTest::livePicture(const std::string& address) const
{
    const SettingsFolder own;
    const std::string folderForEngines = temporaryFolder();
    const EnvironmentVariable temporary("TMPDIR", folderForEngines.c_str());
    own.write(
        "com.brackenlow.Tarnwick", "<key>WebToolExtraLoadingTime</key><integer>" + std::to_string(gracePeriod) + "</integer>");
    QVRLogger::setSharedLogger(std::make_shared<QVRLogger>(NSDictionary::dictionary(), nullptr));
    std::string bytes;
    {
        LiveLoader loader(makePageEngine);
        bytes = loader.pictureOf(address, runsScripts).characters();
    }
    QVRLogger::setSharedLogger(nullptr);
    expectNothingLeft();
    return readPNG(folder.write("live.png", bytes));
}

std::string resourceXML(const std::string& url, const std::string& data, const std::string& type, const std::string& encoding,
    const std::string& more)
{
    const auto entry = [](const std::string& key, const std::string& value) {
        return value.empty() ? std::string() : "<key>" + key + "</key><string>" + value + "</string>";
    };
    return "<dict><key>WebResourceData</key><data>" + base64(data) + "</data>" + entry("WebResourceURL", url)
        + entry("WebResourceMIMEType", type) + entry("WebResourceTextEncodingName", encoding) + more + "</dict>";
}

std::string archiveXML(const std::string& mainResource, const std::string& subresources, const std::string& frames)
{
    const auto list = [](const std::string& key, const std::string& entries) {
        return entries.empty() ? std::string() : "<key>" + key + "</key><array>" + entries + "</array>";
    };
    return "<dict><key>WebMainResource</key>" + mainResource + list("WebSubresources", subresources)
        + list("WebSubframeArchives", frames) + "</dict>";
}

std::string propertyListXML(const std::string& value)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + value + "</plist>\n";
}
