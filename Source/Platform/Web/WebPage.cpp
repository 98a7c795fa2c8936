#include "Platform/Web/WebPage.h"

#include "Platform/Foundation/FormatArgument.h"
#include "Platform/Foundation/LoadErrors.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Web/WebView.h"

#include <algorithm>

namespace {

// How long an answer of the engine is waited for; an engine that falls silent is given up long before. One that did not come
// makes the next ones wait less: whoever asks has other ways to go on, and is not to stand still at each of them.
constexpr std::chrono::milliseconds usualPatience{30'000};
constexpr std::chrono::milliseconds lostPatience{1'000};
// What printing and painting may take on top of that: documents of a million pixels take less.
constexpr std::chrono::milliseconds printingTime{120'000};

}

WebPage::WebPage(WebView& view, std::unique_ptr<PageEngine> engine)
    : _view(&view), _engine(std::move(engine)), _news(*this), _patience(usualPatience)
{
}

std::shared_ptr<WebPage> WebPage::create(WebView& view, const NSString& mainFrameName, std::unique_ptr<PageEngine> engine)
{
    if (!engine)
        throw NSException(NSInvalidArgumentException, u"A view needs a page engine.");
    std::shared_ptr<WebPage> page(new WebPage(view, std::move(engine)));
    page->_frames = std::make_unique<FrameTree>(page->_engine->mainFrame(), mainFrameName, page);
    page->_engine->setClient(&page->_news);
    return page;
}

void WebPage::close()
{
    _view = nullptr;
    if (!_engine)
        return;
    cancelProtocolLoads();
    _engine->setClient(nullptr);
    _engine.reset();
    (void)_frames->detachChildren(_frames->mainFrame().frame->frameID());
}

void WebPage::load(const NSURLRequest& request)
{
    _archivedPage.reset();
    begin(request);
}

void WebPage::loadArchive(const WebArchive& archive)
{
    _archivedPage = std::make_unique<ArchivedPage>(archive);
    begin(NSURLRequest::requestWithURL(_archivedPage->address()));
}

void WebPage::begin(const NSURLRequest& request)
{
    if (!_engine)
        return;
    cancelProtocolLoads();
    const WebResourceLoadDelegate* delegate = _view->resourceLoadDelegate();
    _offersRequests = _archivedPage || NSURLProtocol::hasRegisteredClasses() || (delegate && delegate->changesRequests());
    _engine->setRequestsOffered(_offersRequests);
    PageEngine::Settings settings;
    settings.javaScriptEnabled = _view->preferences().isJavaScriptEnabled();
    settings.plugInsEnabled = _view->preferences().arePlugInsEnabled();
    _requestedLoad = request;
    _engineFailure = {};
    _patience = usualPatience;
    _progress.loadRequested();
    _engine->load(request, settings);
}

void WebPage::answerRequest(const OfferedRequest& offered, const NSURLRequest& request, const RequestDecision& decide)
{
    const auto refuse = [&](int64_t code) {
        decide({RequestAnswer::Way::Refuse, {}, loadError(NSURLErrorDomain, code, offered.request.URL()), {}, {}});
    };
    if (!request) {
        refuse(NSURLErrorCancelled);
        return;
    }
    // 1. The archive that is shown: what belongs to this very frame.
    if (_archivedPage) {
        const bool isDocument = !offered.resource.empty() && offered.resource == offered.document;
        const WebResource resource = isDocument ? _archivedPage->documentForFrame(*_frames, offered.frame, request.URL())
                                                : _archivedPage->resourceForFrame(*_frames, offered.frame, request.URL());
        if (resource) {
            const NSURLResponse response(resource.URL() ? resource.URL() : request.URL(), resource.MIMEType(),
                static_cast<int64_t>(resource.data().length()), resource.textEncodingName());
            decide({RequestAnswer::Way::Fulfil, {}, {}, response, resource.data()});
            return;
        }
    }
    // 2. The protocol classes.
    const auto load = ProtocolLoad::loadForRequest(request, decide,
        [this](ProtocolLoad& ended) { std::erase_if(_protocolLoads, [&](const auto& each) { return each.get() == &ended; }); });
    if (load) {
        _protocolLoads.push_back(load);
        load->start();
        return;
    }
    // 3. The network.
    if (request.cachePolicy() == NSURLRequestReturnCacheDataDontLoad)
        refuse(NSURLErrorResourceUnavailable);
    else
        decide({RequestAnswer::Way::Send, request, {}, {}, {}});
}

void WebPage::cancelProtocolLoads()
{
    for (const std::shared_ptr<ProtocolLoad>& load : std::exchange(_protocolLoads, {}))
        load->cancel();
}

void WebPage::stop()
{
    cancelProtocolLoads();
    if (_engine)
        _engine->stop();
}

void WebPage::requireEngine() const
{
    if (!_engine)
        throw NSException(NSGenericException, u"The page's view is gone.");
    if (_engineFailure)
        throw NSException(NSGenericException,
            NSString::stringWithFormat(u"The page engine is gone: %@", _engineFailure.localizedDescription()),
            {{NSUnderlyingErrorKey, _engineFailure}});
}

template <typename Question>
auto WebPage::ask(Question question, std::chrono::milliseconds more)
{
    requireEngine();
    try {
        return question(*_engine, std::chrono::steady_clock::now() + _patience + more);
    } catch (...) {
        _patience = lostPatience;
        throw;
    }
}

std::vector<DocumentSnapshot> WebPage::documents()
{
    std::vector<DocumentSnapshot> documents = ask([](PageEngine& engine, auto deadline) { return engine.documents(deadline); });
    for (const DocumentSnapshot& each : documents) {
        const FrameTree::Entry* entry = _frames->find(each.frame);
        if (!entry || !entry->committed || entry->committed->document != each.document)
            continue;
        if (each.textEncodingName)
            entry->committed->encoding = each.textEncodingName;
        entry->committed->shownType = each.MIMEType;
    }
    return documents;
}

NSString WebPage::frameElement(const FrameID& frame)
{
    return ask([&](PageEngine& engine, auto deadline) { return engine.frameElement(frame, deadline); });
}

NSData WebPage::picture()
{
    return ask([](PageEngine& engine, auto deadline) { return engine.picture(deadline); }, printingTime);
}

void WebPage::setViewSize(NSSize size)
{
    if (_engine)
        _engine->setViewSize(size);
}

void WebPage::setMediaType(const NSString& mediaType)
{
    if (_engine)
        _engine->setMediaType(mediaType);
}

NSSize WebPage::documentSize()
{
    return ask([](PageEngine& engine, auto deadline) { return engine.documentSize(deadline); });
}

NSSize WebPage::showWhole()
{
    return ask([](PageEngine& engine, auto deadline) { return engine.showWhole(deadline); });
}

NSData WebPage::print(const PrintSettings& settings)
{
    return ask([&](PageEngine& engine, auto deadline) { return engine.print(settings, deadline); }, printingTime);
}

WebVisitorIdentity WebPage::identityForURL(const NSURL& url)
{
    if (!_engine || _engineFailure)
        return {};
    return _engine->identityForURL(url, std::chrono::steady_clock::now() + _patience);
}

NSData WebPage::body(ResourceLog::Load& load)
{
    const auto ownBody = [this](ResourceLog::Load& of) {
        if (!of.hasBody) {
            of.body = ask([&](PageEngine& engine, auto deadline) { return engine.body(of.name, deadline); });
            of.hasBody = true;
        }
        return of.body;
    };
    NSData body = ownBody(load);
    if (body)
        return body;
    for (ResourceLog::Load* other : _resources.otherAnswers(load)) {
        if ((body = ownBody(*other)))
            break;
    }
    return body;
}
