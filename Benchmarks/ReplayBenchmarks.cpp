// Replay: looking resources up, and a page of 300 images from its archive beside the same page from a server on loopback.

#include "Platform/Engine/PageEngineFactory.h"
#include "Platform/Foundation/FormatArgument.h"
#include "Platform/Web/WebView.h"
#include "QVRWebArchiveURLProtocol.h"
#include "QVRWebArchiveWebResourceLoadDelegate.h"
#include "Support/SampleFiles.h"
#include "Support/TestServer.h"
#include "Support/Waiting.h"

#include <benchmark/benchmark.h>
#include <memory>

namespace {

// Look-ups in an archive of 10,000 resources, another one each time.

constexpr size_t resourceCount = 10'000;

NSURL addressOf(const char16_t* host, size_t index)
{
    return NSURL::URLWithString(
        NSString::stringWithFormat(u"https://%@/articles/2026/05/picture-%zu.png", NSString(host), index));
}

void lookUp(benchmark::State& state, const char16_t* host)
{
    std::vector<WebResource> resources;
    std::vector<NSURL> asked;
    for (size_t index = 0; index < resourceCount; ++index) {
        resources.emplace_back(NSData::dataWithBytes("x"), addressOf(u"site.example", index), u"image/png", NSString());
        asked.push_back(addressOf(host, index * 7919 % resourceCount));
    }
    QVRWebArchiveWebResourceLoadDelegate delegate;
    delegate.setWebArchive(WebArchive::initWithMainResource(resources.front(), resources));
    size_t next = 0;
    for (auto _ : state) {
        const WebResource found = delegate.archivedResourceForURL(asked[next++ % resourceCount]);
        if (!found)
            state.SkipWithError("not found");
        benchmark::DoNotOptimize(found);
    }
}

void LookUpByAddress(benchmark::State& state)
{
    lookUp(state, u"site.example");
}
BENCHMARK(LookUpByAddress);

void LookUpByFileName(benchmark::State& state)
{
    lookUp(state, u"mirror.example");
}
BENCHMARK(LookUpByFileName);

// The page of 300 images: from the request to its end, in a new view each time.

constexpr int imageCount = 300;

std::string pageMarkup()
{
    std::string markup = "<!DOCTYPE html><title>t</title>";
    for (int index = 0; index < imageCount; ++index)
        markup += "<img src=image" + std::to_string(index) + ".png>";
    return markup;
}

std::string image(int index)
{
    return support::pngImage(index % 256, index / 2, 50, 32, 32);
}

std::unique_ptr<PageEngine> makeEngine()
{
    PageEngineOptions options;
    options.viewSize = {612, 612};
    return makePageEngine(options);
}

class Page final : public WebFrameLoadDelegate {
public:
    Page() : _view({{0, 0}, {612, 612}}, {}, {}, makeEngine()) { _view.setFrameLoadDelegate(this); }
    // Seconds from `start` to the end of the page. Another page first, so that the engine is there.
    template <typename Start>
    double time(Start start)
    {
        _view.mainFrame()->loadArchive(WebArchive::initWithMainResource(
            WebResource(NSData::dataWithBytes("<p>x"), NSURL::URLWithString(u"http://first.example/"), u"text/html", u"UTF-8")));
        wait();
        const double begin = support::now();
        start(_view);
        wait();
        return support::now() - begin;
    }

    void webViewDidFinishLoadForFrame(WebView&, const std::shared_ptr<WebFrame>& frame) override
    {
        _isFinished |= frame == _view.mainFrame();
    }
    void webViewDidFailProvisionalLoadWithError(WebView&, const NSError&, const std::shared_ptr<WebFrame>&) override
    {
        _isFinished = true;
    }

private:
    void wait()
    {
        if (!support::runLoopUntil([this] { return _isFinished; }, 60))
            throw std::runtime_error("the page did not end");
        _isFinished = false;
    }
    WebView _view;
    bool _isFinished = false;
};

void PageFromLoopback(benchmark::State& state)
{
    support::TestServer server;
    server.on("/page.html", support::html(pageMarkup()));
    for (int index = 0; index < imageCount; ++index)
        server.on("/image" + std::to_string(index) + ".png", support::typed("image/png", image(index)));
    for (auto _ : state) {
        Page page;
        state.SetIterationTime(page.time([&](WebView& view) {
            view.mainFrame()->loadRequest(
                NSURLRequest::requestWithURL(NSURL::URLWithString(NSString::stringWithRepairedUTF8(server.url("/page.html")))));
        }));
    }
    if (server.requests().size() < static_cast<size_t>(imageCount))
        state.SkipWithError("images are missing");
}
BENCHMARK(PageFromLoopback)->UseManualTime()->Iterations(15)->Unit(benchmark::kMillisecond);

// `isOfFrame`: the view's own archive answers; else the delegate and the protocol class do, by file name.
void replay(benchmark::State& state, bool isOfFrame)
{
    const auto resource = [&](const char16_t* host, const std::string& name, const std::string& bytes, const NSString& type) {
        return WebResource(NSData::dataWithBytes(bytes),
            NSURL::URLWithString(
                NSString::stringWithFormat(u"http://%@/%@", NSString(host), NSString::stringWithRepairedUTF8(name))),
            type, u"UTF-8");
    };
    std::vector<WebResource> resources;
    for (int index = 0; index < imageCount; ++index)
        resources.push_back(resource(isOfFrame ? u"site.example" : u"mirror.example", "image" + std::to_string(index) + ".png",
            image(index), u"image/png"));
    const WebArchive archive =
        WebArchive::initWithMainResource(resource(u"site.example", "page.html", pageMarkup(), u"text/html"), resources);
    (void)NSURLProtocol::registerClass<QVRWebArchiveURLProtocol>();
    for (auto _ : state) {
        QVRWebArchiveWebResourceLoadDelegate delegate;
        delegate.setOffline(true);
        delegate.setWorkaroundEnabled(true);
        Page page;
        state.SetIterationTime(page.time([&](WebView& view) {
            view.setResourceLoadDelegate(&delegate);
            delegate.setWebArchive(archive);
            view.mainFrame()->loadArchive(archive);
        }));
    }
    NSURLProtocol::unregisterClass<QVRWebArchiveURLProtocol>();
}

void PageFromArchive(benchmark::State& state)
{
    replay(state, true);
}
BENCHMARK(PageFromArchive)->UseManualTime()->Iterations(15)->Unit(benchmark::kMillisecond);

void PageFromArchiveByFileName(benchmark::State& state)
{
    replay(state, false);
}
BENCHMARK(PageFromArchiveByFileName)->UseManualTime()->Iterations(15)->Unit(benchmark::kMillisecond);

}
