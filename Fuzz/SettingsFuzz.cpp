// Settings of any shape: whatever the preferences file holds, every setting has a value, and addresses are prepared by it.

#include "FuzzSupport.h"
#include "Platform/Foundation/Value.h"
#include "QVRLogger.h"
#include "QVRSettings.h"
#include "Support/ScriptedEngine.h"
#include "Support/SettingsFolder.h"
#include "Tools/ArchiveLoader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>

namespace {

constexpr std::array keys = {u"WebToolHostSubstitutions", u"WebToolExtraHostSubstitutions", u"WebToolURLProcessingPrefix",
    u"WebToolNonJavaScriptDomains", u"WebToolBuiltInNonJavaScriptDomains", u"WebToolSinglePageDomains",
    u"WebToolClientRedirectDomains", u"WebToolTimeout", u"WebToolExtraLoadingTime", u"EnableJavaScriptForWebTool"};

// A file of a form of its own is taken as it is. Otherwise its lines are XML values, of the keys in turn.
std::string preferencesFile(std::string_view input)
{
    if (input.starts_with("bplist") || input.starts_with("<?xml") || input.starts_with("<plist"))
        return std::string(input);
    std::string file = "<plist version=\"1.0\"><dict>";
    for (const char16_t* key : keys) {
        file += "<key>" + NSString(key).UTF8() + "</key>" + std::string(input.substr(0, input.find('\n')));
        input.remove_prefix(std::min(input.size(), input.find('\n') == input.npos ? input.size() : input.find('\n') + 1));
    }
    return file + "</dict></plist>";
}

}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    static const support::TemporaryFolder folder;
    static const bool isQuiet = [] {
        QVRLogger::setSharedLogger(std::make_shared<QVRLogger>(NSDictionary::dictionary(), nullptr));
        return true;
    }();
    (void)isQuiet;
    static ArchiveLoader loader([](const PageEngineOptions&) { return std::make_unique<support::ScriptedEngine>(); });

    // A new file each time: overwriting one waits for the disk.
    const std::string path = folder.pathOf("com.brackenlow.Tarnwick.plist");
    std::filesystem::remove(path);
    std::ofstream(path, std::ios::binary) << preferencesFile({reinterpret_cast<const char*>(bytes), size});
    PreferencesStore::setSharedStore(std::make_shared<PreferencesStore>(std::vector<std::string>{folder.path().string()}));
    for (const char16_t* key : keys) {
        (void)qvrBoolForKey(key, HostDomain, true);
        (void)qvrIntegerForKey(key, HostDomain, 0);
        (void)qvrObjectForKey(key, HostDomain, {}).description().length();
    }
    for (const char16_t* address : {u"http://host/path?query#fragment", u"https://old.reddit.com", u"http:"}) {
        const NSURL url = loader.processURL(NSURL::URLWithString(address));
        fuzz::require(std::isfinite(loader.requestForURL(url).timeoutInterval()), "a request has a time-out");
        (void)loader.shouldUseJavaScriptForURL(url);
        (void)loader.shouldUseSinglePageForURL(url);
        (void)loader.doesURLUseClientRedirect(url);
    }
    PreferencesStore::setSharedStore(nullptr);
    return 0;
}
