#pragma once

#include "Platform/Foundation/FormatArgument.h"
#include "QVRLogger.h"
#include "Support/EnvironmentVariable.h"
#include "Support/Printing.h"
#include "Support/ResultRecord.h"
#include "Support/ScriptedEngine.h"
#include "Support/SessionBus.h"
#include "Support/SettingsFolder.h"
#include "Support/TemporaryFolder.h"
#include "Support/Waiting.h"
#include "Tools/ArchiveLoader.h"
#include "Tools/ResultRecord.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// The tool's code without a real engine: settings, log and engine are the test's own.
class ToolTest : public testing::Test {
protected:
    using Lines = std::vector<std::string>;
    struct Logged {
        std::string prefix;   // "[area] file function"; without the brackets when there is no area
        std::string message;
        NSString area;
    };

    ToolTest()
    {
        const NSDictionary options{{u"LogWebTool", true}, {QVRLoggerIncludeFile, true}, {QVRLoggerIncludeFunction, true}};
        QVRLogger::setSharedLogger(std::make_shared<QVRLogger>(options, std::make_unique<Writer>(*this)));
    }
    ~ToolTest() override { QVRLogger::setSharedLogger(nullptr); }

    // Replaces the host's settings; XML such as "<key>a</key><true/>".
    void setSettings(std::string_view entries) const { _settings.write("com.brackenlow.Tarnwick", entries); }

    // Makes the scripted engine of a loader, which `engine` is from then on.
    [[nodiscard]] PageEngineMaker engineMaker()
    {
        return [this](const PageEngineOptions& options) {
            auto made = std::make_unique<support::ScriptedEngine>();
            engine = made.get();
            engineOptions.push_back(options);
            if (onEngine)
                onEngine(*engine);
            return made;
        };
    }

    // What has been logged in the tool's area, and without an area.
    [[nodiscard]] Lines messages() const { return messagesOf(u"LogWebTool"); }
    [[nodiscard]] Lines messagesWithoutArea() const { return messagesOf({}); }
    [[nodiscard]] Lines messagesThatBegin(std::string_view beginning) const
    {
        Lines found;
        for (const Logged& each : logged) {
            if (each.message.starts_with(beginning))
                found.push_back(each.message);
        }
        return found;
    }

    template <typename... Arguments>
    static std::string text(const NSString& format, const Arguments&... arguments)
    {
        return NSString::stringWithFormat(format, arguments...).UTF8();
    }
    static NSURL address(const NSString& string) { return NSURL::URLWithString(string); }

    support::TemporaryFolder folder;
    std::vector<Logged> logged;
    std::function<void(const std::string& message)> onLog;   // called at each message
    support::ScriptedEngine* engine = nullptr;
    std::function<void(support::ScriptedEngine&)> onEngine;   // called with each new engine
    std::vector<PageEngineOptions> engineOptions;             // of the engines made

private:
    class Writer final : public QVRLogWriter {
    public:
        explicit Writer(ToolTest& test) : _test(test) { }
        void writePrefix(const NSString& prefix, const NSString& message, const NSString& area) override
        {
            _test.logged.push_back({prefix.UTF8(), message.UTF8(), area});
            if (const auto told = _test.onLog)
                told(message.UTF8());
        }

    private:
        ToolTest& _test;
    };

    [[nodiscard]] Lines messagesOf(const NSString& area) const
    {
        Lines found;
        for (const Logged& each : logged) {
            if (each.area == area)
                found.push_back(each.message);
        }
        return found;
    }

    support::SettingsFolder _settings;
};

// The answer of a run goes to a file, where the test reads it.
class AnsweringTest : public ToolTest {
protected:
    [[nodiscard]] std::string recordPath() const { return folder.pathOf("record.plist"); }
    [[nodiscard]] support::ResultRecord record() const { return support::readRecord(support::readFile(recordPath())); }
    [[nodiscard]] support::ArchivedError archivedError() const { return support::readArchivedError(record().errorData.value()); }

private:
    support::EnvironmentVariable _outPath{"OutPath", recordPath().c_str()};
};

// A capture's loader over a scripted engine. Progress notices go to a bus of this program's own. The grace period is 0
// unless settings say otherwise.
class ArchiveLoaderTest : public AnsweringTest {
protected:
    using Engine = support::ScriptedEngine;
    static constexpr const char* NoGracePeriod = "<key>WebToolExtraLoadingTime</key><integer>0</integer>";

    ArchiveLoaderTest()
    {
        static_cast<void>(bus());
        setLoadSettings({});
    }

    // Of this process, since its centre for distributed notifications knows one bus only.
    [[nodiscard]] static support::SessionBus& bus()
    {
        static support::SessionBus shared;
        static const support::EnvironmentVariable variable("DBUS_SESSION_BUS_ADDRESS", shared.address().c_str());
        return shared;
    }
    // Settings beside the grace period of 0.
    void setLoadSettings(const std::string& entries) const { setSettings(NoGracePeriod + entries); }

    ArchiveLoader& loader()
    {
        if (!_loader)
            _loader = std::make_unique<ArchiveLoader>(engineMaker());
        return *_loader;
    }
    void forgetLoader() { _loader.reset(); }
    [[nodiscard]] std::shared_ptr<WebFrame> mainFrame() { return loader().view().mainFrame(); }
    // Loads an address; `script` speaks when the engine is asked for it.
    void load(const NSString& url, const std::function<void(Engine&, const NSURLRequest&)>& script)
    {
        static_cast<void>(loader());
        engine->onLoad = script;
        loader().loadURL(address(url), u"uid");
    }
    void loadPage(const NSString& url = u"http://h/", const NSString& markup = u"<p>", const NSString& type = u"text/html")
    {
        load(url, [markup, type](Engine& told, const NSURLRequest& request) {
            told.showPage(Engine::main, request.URL().absoluteString(), markup, type);
        });
    }
    // As when the main frame's load has failed.
    void setError(const NSError& error) { loader().webViewDidFailProvisionalLoadWithError(loader().view(), error, mainFrame()); }

private:
    std::unique_ptr<ArchiveLoader> _loader;
};
