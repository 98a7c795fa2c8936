#pragma once

#include "Tools/ToolTest.h"

// A loader whose state can be seen, and that has an area.
class BareLoader final : public Loader {
public:
    using Loader::_error;
    using Loader::_finishDate;
    using Loader::_objectsLoading;
    using Loader::_timeoutDate;
    using Loader::Loader;

    [[nodiscard]] const NSString& logArea() const override
    {
        static const NSString area = u"LogWebTool";
        return area;
    }
    void postProgress(double fraction) override
    {
        progress.push_back(fraction);
        if (onPass)
            onPass(progress.size());
    }

    std::vector<double> progress;              // one for each slice
    std::function<void(size_t pass)> onPass;   // called before each slice; 1 is the first
};

class LoaderTest : public ToolTest {
protected:
    using Engine = support::ScriptedEngine;
    LoaderTest() { setSettings("<key>WebToolExtraLoadingTime</key><integer>0</integer>"); }

    BareLoader& loader()
    {
        if (!_loader)
            _loader = std::make_unique<BareLoader>(engineMaker());
        return *_loader;
    }
    void forgetLoader() { _loader.reset(); }
    [[nodiscard]] std::shared_ptr<WebFrame> mainFrame() { return loader().view().mainFrame(); }
    [[nodiscard]] std::shared_ptr<WebFrame> child(size_t index = 0) { return mainFrame()->childFrames().at(index); }
    [[nodiscard]] NSArray objectsLoading() { return loader()._objectsLoading; }

    // Asks for an address, as each attempt does, and waits; `script` speaks when the engine is asked.
    void loadAndWait(const std::function<void(Engine&)>& script)
    {
        loader().startLoading();
        engine->onLoad = [script](Engine& told, const NSURLRequest&) { script(told); };
        mainFrame()->loadRequest(support::requestFor(u"http://h/"));
        loader().waitUntilDone();
    }

private:
    std::unique_ptr<BareLoader> _loader;
};
