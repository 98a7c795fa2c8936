#pragma once

#include "Platform/Engine/PageEngine.h"
#include "Platform/Web/ArchivedPage.h"
#include "Platform/Web/FrameTree.h"
#include "Platform/Web/NewsTranslator.h"
#include "Platform/Web/ProgressEstimator.h"
#include "Platform/Web/ProtocolLoad.h"
#include "Platform/Web/ResourceLog.h"

#include <chrono>
#include <memory>
#include <vector>

class WebView;

// What a view is made of: its engine, and all that is known of the page. Frames and data sources look here, and find nothing any
// more when the view is gone.
class WebPage : public std::enable_shared_from_this<WebPage> {
public:
    [[nodiscard]] static std::shared_ptr<WebPage> create(
        WebView& view, const NSString& mainFrameName, std::unique_ptr<PageEngine> engine);
    WebPage(const WebPage&) = delete;
    WebPage& operator=(const WebPage&) = delete;
    ~WebPage() { close(); }
    // The view goes: the engine ends, nothing is told any more, and the frames are apart.
    void close();

    // Null once closed.
    [[nodiscard]] WebView* view() const { return _view; }
    [[nodiscard]] FrameTree& frames() { return *_frames; }
    [[nodiscard]] ResourceLog& resources() { return _resources; }
    [[nodiscard]] ProgressEstimator& progress() { return _progress; }

    void load(const NSURLRequest& request);
    // `archive` must not be absent.
    void loadArchive(const WebArchive& archive);
    void stop();
    // The request that load gave to the engine and that has not started yet; absent when there is none.
    [[nodiscard]] NSURLRequest requestedLoad() const { return _requestedLoad; }
    void forgetRequestedLoad() { _requestedLoad = {}; }
    void setEngineFailure(const NSError& failure) { _engineFailure = failure; }

    // Whether the engine asks about every request of the present load.
    [[nodiscard]] bool areRequestsOffered() const { return _offersRequests; }
    // Says what becomes of an offered request, in the form that the delegate gave it (see WebResourceLoadDelegate). `decide` is
    // called at once, or when a protocol class has told all of its answer, or never when loads are stopped first.
    void answerRequest(const OfferedRequest& offered, const NSURLRequest& request, const RequestDecision& decide);
    // Null when no archive is shown.
    [[nodiscard]] ArchivedPage* archivedPage() const { return _archivedPage.get(); }

    // Questions to the engine. Each waits a bounded time, and throws NSException when the engine is gone or does not answer.
    // The documents as they stand; their encodings and types are kept.
    [[nodiscard]] std::vector<DocumentSnapshot> documents();
    [[nodiscard]] NSString frameElement(const FrameID& frame);
    // A finished load's bytes. When this very load had none of its own (it was answered from memory), those of another load from
    // the same address.
    [[nodiscard]] NSData body(ResourceLog::Load& load);
    // Throws NSException when the engine is gone.
    void requireEngine() const;
    // See WebView::picture.
    [[nodiscard]] NSData picture();
    // See PageEngine. Printing may take a long page some time.
    void setViewSize(NSSize size);
    void setMediaType(const NSString& mediaType);
    [[nodiscard]] NSSize documentSize();
    [[nodiscard]] NSSize showWhole();
    [[nodiscard]] NSData print(const PrintSettings& settings);
    // See WebView::identityForURL. Does not throw.
    [[nodiscard]] WebVisitorIdentity identityForURL(const NSURL& url);

private:
    WebPage(WebView& view, std::unique_ptr<PageEngine> engine);
    template <typename Question>
    auto ask(Question question, std::chrono::milliseconds more = {});
    void begin(const NSURLRequest& request);
    void cancelProtocolLoads();

    WebView* _view;
    std::unique_ptr<PageEngine> _engine;   // null once closed
    std::unique_ptr<FrameTree> _frames;
    ResourceLog _resources;
    ProgressEstimator _progress;
    NewsTranslator _news;
    NSURLRequest _requestedLoad;
    bool _offersRequests = false;
    std::unique_ptr<ArchivedPage> _archivedPage;
    std::vector<std::shared_ptr<ProtocolLoad>> _protocolLoads;   // that have not ended
    NSError _engineFailure;
    std::chrono::milliseconds _patience;
};
