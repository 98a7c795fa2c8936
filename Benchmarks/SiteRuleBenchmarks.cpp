// What site rules cost a capture when their lists hold many hosts. "Rules" is the work for one capture: its host is looked for in
// each list, and its substitutions are made; for 100,000 entries that is to stay far below 50 ms. "Reading" is what the settings
// file with these entries costs before, once in a process, by its form.

#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Foundation/PreferencesStore.h"
#include "Platform/Foundation/Value.h"
#include "Support/ScriptedEngine.h"
#include "Support/SettingsFolder.h"
#include "Support/TemporaryFolder.h"
#include "Tools/ArchiveLoader.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <utility>

namespace {

std::string hostNumber(int64_t number)
{
    return "www.host-number-" + std::to_string(number) + ".example.com";
}

// How the entries stand in the settings: as hosts, in equal parts in the three lists, or as pairs of hosts.
enum Kind : int64_t { Hosts, Pairs };

std::string listOfPairs(int64_t count)
{
    std::string list = "<key>WebToolExtraHostSubstitutions</key><array>";
    for (int64_t number = 0; number < count; ++number)
        list += "<array><string>" + hostNumber(number) + "</string><string>h</string></array>";
    return list + "</array>";
}

std::string listsOfHosts(int64_t count)
{
    std::string lists;
    int64_t number = 0;
    for (const auto& [key, last] : {std::pair("WebToolNonJavaScriptDomains", count / 3),
             std::pair("WebToolClientRedirectDomains", 2 * count / 3), std::pair("WebToolSinglePageDomains", count)}) {
        lists += std::string("<key>") + key + "</key><array>";
        for (; number < last; ++number)
            lists += "<string>" + hostNumber(number) + "</string>";
        lists += "</array>";
    }
    return lists;
}

std::string settingsOf(Kind kind, int64_t count)
{
    // No load is started, but everything before it is done.
    return "<key>WebToolMaxTriesBeforeTimeout</key><integer>0</integer>"
        + (kind == Pairs ? listOfPairs(count) : listsOfHosts(count));
}

std::unique_ptr<ArchiveLoader> makeLoader()
{
    return std::make_unique<ArchiveLoader>([](const PageEngineOptions&) { return std::make_unique<support::ScriptedEngine>(); });
}

// Settings for the process, and a loader that reads them.
struct Prepared {
    explicit Prepared(const benchmark::State& state)
    {
        settings.write(HostDomain.UTF8(), settingsOf(static_cast<Kind>(state.range(0)), state.range(1)));
        QVRLogger::setUpWithPersistentDomainName(HostDomain);
        loader = makeLoader();
    }
    ~Prepared() { QVRLogger::setSharedLogger(nullptr); }

    void applyRules(const NSURL& url) const
    {
        loader->loadURL(url, u"uid");
        benchmark::DoNotOptimize(loader->shouldUseSinglePageForURL(url));
    }

    support::SettingsFolder settings;
    std::unique_ptr<ArchiveLoader> loader;
};

void rules(benchmark::State& state)
{
    const Prepared prepared(state);
    const NSURL url = NSURL::URLWithString(u"https://www.host-number-x.example.com/path?query#fragment");
    for (auto _ : state)
        prepared.applyRules(url);
}
BENCHMARK(rules)
    ->Name("Rules")
    ->ArgNames({"pairs", "entries"})
    ->ArgsProduct({{Hosts, Pairs}, {0, 1'000, 100'000}})
    ->Unit(benchmark::kMillisecond);

// Hosts that are not all ASCII are compared in full.
void rulesBeyondASCII(benchmark::State& state)
{
    const Prepared prepared(state);
    const NSURL url = NSURL::URLWithString(u"https://%C3%A9t%C3%A9.example.com/");
    for (auto _ : state)
        prepared.applyRules(url);
}
BENCHMARK(rulesBeyondASCII)
    ->Name("RulesForAHostBeyondASCII")
    ->ArgNames({"pairs", "entries"})
    ->ArgsProduct({{Hosts, Pairs}, {100'000}})
    ->Unit(benchmark::kMillisecond);

void reading(benchmark::State& state, NSPropertyListFormat format)
{
    const support::TemporaryFolder folder;
    const std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
        + settingsOf(static_cast<Kind>(state.range(0)), state.range(1)) + "</dict></plist>\n";
    const Value entries = NSPropertyListSerialization::propertyListWithData(NSData::dataWithBytes(text));
    const NSData data = NSPropertyListSerialization::dataWithPropertyList(entries, format);
    folder.write("com.brackenlow.Tarnwick.plist", data.characters());
    for (auto _ : state) {
        PreferencesStore store({folder.path().string()});
        benchmark::DoNotOptimize(store.domainForName(HostDomain));
    }
}
BENCHMARK_CAPTURE(reading, XML, NSPropertyListXMLFormat_v1_0)
    ->Name("Reading/XML")
    ->ArgNames({"pairs", "entries"})
    ->ArgsProduct({{Hosts, Pairs}, {100'000}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(reading, binary, NSPropertyListBinaryFormat_v1_0)
    ->Name("Reading/binary")
    ->ArgNames({"pairs", "entries"})
    ->ArgsProduct({{Hosts, Pairs}, {100'000}})
    ->Unit(benchmark::kMillisecond);

}
