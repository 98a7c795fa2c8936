#include "Platform/Web/NewsTranslator.h"

#include "Platform/Foundation/LoadErrors.h"
#include "Platform/Foundation/NSNotificationCenter.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Web/WebPage.h"
#include "Platform/Web/WebView.h"

#include <utility>

namespace {

// The engine cancels challenges by itself, since a view has no credentials to give. The delegate's own cancelling finds that
// done.
class CancelledChallengeSender final : public NSURLAuthenticationChallengeSender {
public:
    void cancelAuthenticationChallenge(const NSURLAuthenticationChallenge&) override { }
};

bool isCancel(const NSError& error)
{
    return error.domain() == NSURLErrorDomain && error.code() == NSURLErrorCancelled;
}

NSDictionary actionInformation(NavigationType type, const NSURLRequest& request)
{
    NSDictionary information{{WebActionNavigationTypeKey, static_cast<int64_t>(type)}};
    if (const NSURL url = request.URL())
        information.setObject(url, WebActionOriginalURLKey);
    return information;
}

}

// What a delegate is told about a load besides the news itself.
struct NewsTranslator::ResourceFacts {
    Value identifier;
    WebDataSource dataSource;
};

template <typename Call>
void NewsTranslator::tellFrames(Deliveries& deliveries, Call call)
{
    deliveries.add([this, call = std::move(call)] {
        WebView* view = _page.view();
        if (WebFrameLoadDelegate* delegate = view ? view->frameLoadDelegate() : nullptr)
            call(*delegate, *view);
    });
}

template <typename Call>
void NewsTranslator::tellResources(Deliveries& deliveries, Call call)
{
    deliveries.add([this, call = std::move(call)] {
        WebView* view = _page.view();
        if (WebResourceLoadDelegate* delegate = view ? view->resourceLoadDelegate() : nullptr)
            call(*delegate, *view);
    });
}

void NewsTranslator::deliver(Deliveries& deliveries)
{
    const std::shared_ptr<WebPage> keepAlive = _page.shared_from_this();
    deliveries.deliver();
}

template <typename Call>
void NewsTranslator::ask(Call call, std::function<void(PolicyAnswer)> decide)
{
    WebView* view = _page.view();
    WebPolicyDelegate* delegate = view ? view->policyDelegate() : nullptr;
    if (!delegate)
        return decide(PolicyAnswer::Use);
    const std::shared_ptr<WebPage> keepAlive = _page.shared_from_this();
    // The answer may come when the view is gone, and with it whoever asked.
    const auto listener = std::make_shared<WebPolicyDecisionListener>(
        [page = _page.weak_from_this(), decide = std::move(decide)](WebPolicyDecisionListener::Answer answer) {
            const std::shared_ptr<WebPage> alive = page.lock();
            if (alive && alive->view())
                decide(answer == WebPolicyDecisionListener::Answer::Use ? PolicyAnswer::Use : PolicyAnswer::Ignore);
        });
    try {
        call(*delegate, *view, listener);
    } catch (...) {
        listener->ignore();
        throw;
    }
}

// Frames.

void NewsTranslator::frameAttached(const FrameID& frame, const FrameID& parent)
{
    _page.frames().attach(frame, parent);
}

void NewsTranslator::frameDetached(const FrameID& frame)
{
    Deliveries deliveries;
    endRemoved(_page.frames().detach(frame), deliveries);
    deliver(deliveries);
}

void NewsTranslator::frameNamed(const FrameID& frame, const NSString& name)
{
    FrameTree::Entry* entry = _page.frames().find(frame);
    if (entry && !_page.frames().isMainFrame(frame))
        entry->name = name.length() > 0 ? name : NSString();
}

void NewsTranslator::endRemoved(std::vector<FrameTree::Entry> removed, Deliveries& deliveries)
{
    for (FrameTree::Entry& entry : removed) {
        if (ArchivedPage* archived = _page.archivedPage())
            archived->frameDetached(entry.frame->frameID());
        const auto cancelled = [](const Load& load) {
            return loadError(NSURLErrorDomain, NSURLErrorCancelled, load->request.URL());
        };
        if (entry.provisional)
            failProvisional(entry, cancelled(entry.provisional), deliveries);
        if (entry.committed) {
            failCommitted(entry, cancelled(entry.committed), deliveries);
            _page.resources().forget(entry.committed->document);
        }
        _page.resources().forget(entry.abandoned);
    }
}

// Documents.

void NewsTranslator::decideNavigation(const NavigationAction& action, PolicyDecision decide)
{
    const FrameTree::Entry* entry = _page.frames().find(action.frame);
    const std::shared_ptr<WebFrame> frame = entry ? entry->frame : nullptr;
    ask(
        [&](WebPolicyDelegate& delegate, WebView& view, const WebPolicyDelegate::Listener& listener) {
            delegate.webViewDecidePolicyForNavigationAction(
                view, actionInformation(action.type, action.request), action.request, frame, listener);
        },
        [this, name = action.frame, decide = std::move(decide)](PolicyAnswer answer) {
            if (answer == PolicyAnswer::Ignore && _page.frames().isMainFrame(name))
                _page.forgetRequestedLoad();
            decide(answer);
        });
}

void NewsTranslator::start(
    FrameTree::Entry& entry, const DocumentID& document, const NSURLRequest& request, Deliveries& deliveries)
{
    const Load load = std::make_shared<DocumentLoad>(document, entry.frame, _page.weak_from_this(), request);
    if (_page.progress().documentStarted(load.get())) {
        deliveries.add([this] {
            if (_page.view())
                NSNotificationCenter::defaultCenter().postNotificationName(WebViewProgressStartedNotification, _page.view());
        });
    }
    if (entry.provisional) {
        failProvisional(entry, loadError(NSURLErrorDomain, NSURLErrorCancelled, entry.provisional->request.URL()), deliveries);
    }
    entry.provisional = load;
    entry.cancelled = nullptr;
    entry.hasBeenAsked = true;
    tellFrames(deliveries, [frame = entry.frame](WebFrameLoadDelegate& delegate, WebView& view) {
        delegate.webViewDidStartProvisionalLoadForFrame(view, frame);
    });
}

void NewsTranslator::navigationStarted(const FrameID& frame, const DocumentID& document, const NSURLRequest& request)
{
    FrameTree::Entry* entry = _page.frames().find(frame);
    if (!entry)
        return;
    if (_page.frames().isMainFrame(frame))
        _page.forgetRequestedLoad();
    Deliveries deliveries;
    start(*entry, document, request, deliveries);
    deliver(deliveries);
}

void NewsTranslator::navigationRedirected(const FrameID& frame, const NSURLRequest& request)
{
    FrameTree::Entry* entry = _page.frames().find(frame);
    if (!entry || !entry->provisional)
        return;
    entry->provisional->request = request;
    Deliveries deliveries;
    tellFrames(deliveries, [of = entry->frame](WebFrameLoadDelegate& delegate, WebView& view) {
        delegate.webViewDidReceiveServerRedirectForProvisionalLoadForFrame(view, of);
    });
    deliver(deliveries);
}

void NewsTranslator::decideResponse(
    const FrameID& frame, const NSURLRequest& request, const NSURLResponse& response, PolicyDecision decide)
{
    FrameTree::Entry* entry = _page.frames().find(frame);
    const Load load = entry ? entry->provisional : nullptr;
    // The answer to a load that has failed already, such as the page that comes with a refused authentication.
    if (entry && (!load || load->verdict))
        return decide(PolicyAnswer::Ignore);
    if (load)
        load->response = response;
    ask(
        [&, of = entry ? entry->frame : nullptr](
            WebPolicyDelegate& delegate, WebView& view, const WebPolicyDelegate::Listener& listener) {
            delegate.webViewDecidePolicyForMIMEType(view, response.MIMEType(), request, of, listener);
        },
        [this, load, decide = std::move(decide)](PolicyAnswer answer) {
            if (answer == PolicyAnswer::Ignore && load && !load->verdict) {
                condemn(load, loadError(WebKitErrorDomain, WebKitErrorFrameLoadInterruptedByPolicyChange, load->request.URL()));
            }
            decide(answer);
        });
}

void NewsTranslator::navigationCommitted(const FrameID& frame, const DocumentID& document, const NSURLResponse& response)
{
    FrameTree::Entry* entry = _page.frames().find(frame);
    if (!entry || (!document.empty() && document == entry->abandoned))
        return;
    Deliveries deliveries;
    // 1. The document: the provisional one, or one that came without a start.
    Load load;
    if (entry->provisional && entry->provisional->document == document) {
        load = std::exchange(entry->provisional, nullptr);
    } else {
        const NSURLRequest request = response ? NSURLRequest::requestWithURL(response.URL()) : NSURLRequest();
        load = std::make_shared<DocumentLoad>(document, entry->frame, _page.weak_from_this(), request);
    }
    if (response)
        load->response = response;
    load->state = DocumentLoad::State::Committed;
    entry->cancelled = nullptr;
    entry->hasBeenAsked = true;
    // 2. It takes the place of the old one, and of all that was in it.
    endRemoved(_page.frames().detachChildren(frame), deliveries);
    if (const Load old = std::exchange(entry->committed, load)) {
        old->state = DocumentLoad::State::Finished;
        endProgress(old, deliveries);
        if (old->document != document)
            _page.resources().forget(old->document);
    }
    if (_page.frames().isMainFrame(frame))
        _page.resources().forgetAllBut(document);
    // 3. Tell.
    tellFrames(deliveries,
        [of = entry->frame](WebFrameLoadDelegate& delegate, WebView& view) { delegate.webViewDidCommitLoadForFrame(view, of); });
    deliver(deliveries);
}

void NewsTranslator::failProvisional(FrameTree::Entry& entry, const NSError& error, Deliveries& deliveries)
{
    const Load load = std::exchange(entry.provisional, nullptr);
    load->state = DocumentLoad::State::Failed;
    if (isCancel(error) && !load->verdict)
        entry.cancelled = load;
    // Its resources' own ends may still be told.
    if (entry.abandoned != load->document)
        _page.resources().forget(entry.abandoned);
    entry.abandoned = load->document;
    const NSError told = errorWithFailingURL(load->verdict ? load->verdict : error, load->request.URL());
    tellFrames(deliveries, [told, frame = entry.frame](WebFrameLoadDelegate& delegate, WebView& view) {
        delegate.webViewDidFailProvisionalLoadWithError(view, told, frame);
    });
    endProgress(load, deliveries);
}

void NewsTranslator::failCommitted(FrameTree::Entry& entry, const NSError& error, Deliveries& deliveries)
{
    const Load load = entry.committed;
    if (!load || load->state != DocumentLoad::State::Committed)
        return;
    load->state = DocumentLoad::State::Failed;
    if (isCancel(error))
        entry.cancelled = load;
    const NSError told = errorWithFailingURL(error, load->request.URL());
    tellFrames(deliveries, [told, frame = entry.frame](WebFrameLoadDelegate& delegate, WebView& view) {
        delegate.webViewDidFailLoadWithError(view, told, frame);
    });
    endProgress(load, deliveries);
}

void NewsTranslator::endProgress(const Load& load, Deliveries& deliveries)
{
    if (!_page.progress().documentEnded(load.get()))
        return;
    deliveries.add([this] {
        if (_page.view())
            NSNotificationCenter::defaultCenter().postNotificationName(WebViewProgressFinishedNotification, _page.view());
    });
}

void NewsTranslator::condemn(const Load& load, const NSError& error)
{
    load->verdict = error;
    NSRunLoop::currentRunLoop().performBlock([this, page = _page.weak_from_this(), load] {
        if (const std::shared_ptr<WebPage> alive = page.lock())
            settle(load);
    });
}

void NewsTranslator::settle(const Load& load)
{
    const std::shared_ptr<WebFrame> frame = load->frame.lock();
    FrameTree::Entry* entry = frame ? _page.frames().find(frame->frameID()) : nullptr;
    if (!entry || entry->provisional != load)
        return;
    Deliveries deliveries;
    failProvisional(*entry, load->verdict, deliveries);
    deliver(deliveries);
}

void NewsTranslator::navigationFailed(const FrameID& frame, const NSError& error)
{
    FrameTree::Entry* entry = _page.frames().find(frame);
    if (!entry)
        return;
    Deliveries deliveries;
    // A load that was asked for and failed before the engine began with it has begun all the same, for those who wait for its
    // end.
    if (!entry->provisional && _page.frames().isMainFrame(frame) && _page.requestedLoad())
        start(*entry, {}, _page.requestedLoad(), deliveries);
    if (_page.frames().isMainFrame(frame))
        _page.forgetRequestedLoad();
    if (entry->provisional)
        failProvisional(*entry, error, deliveries);
    deliver(deliveries);
}

void NewsTranslator::documentFinished(const FrameID& frame)
{
    FrameTree::Entry* entry = _page.frames().find(frame);
    const Load load = entry ? entry->committed : nullptr;
    if (!load || load->state != DocumentLoad::State::Committed)
        return;
    load->state = DocumentLoad::State::Finished;
    Deliveries deliveries;
    tellFrames(deliveries,
        [of = entry->frame](WebFrameLoadDelegate& delegate, WebView& view) { delegate.webViewDidFinishLoadForFrame(view, of); });
    endProgress(load, deliveries);
    deliver(deliveries);
}

void NewsTranslator::documentFailed(const FrameID& frame, const NSError& error)
{
    FrameTree::Entry* entry = _page.frames().find(frame);
    if (!entry)
        return;
    Deliveries deliveries;
    failCommitted(*entry, error, deliveries);
    deliver(deliveries);
}

void NewsTranslator::titleChanged(const FrameID& frame, const NSString& title)
{
    FrameTree::Entry* entry = _page.frames().find(frame);
    if (!entry || !entry->committed)
        return;
    // An empty title is none.
    const NSString newTitle = title.length() > 0 ? title : NSString();
    if (std::exchange(entry->committed->title, newTitle) == newTitle)
        return;
    Deliveries deliveries;
    tellFrames(deliveries, [title, of = entry->frame](WebFrameLoadDelegate& delegate, WebView& view) {
        delegate.webViewDidReceiveTitle(view, title, of);
    });
    deliver(deliveries);
}

// What the page does by itself.

void NewsTranslator::clientRedirectScheduled(const FrameID& frame, const NSURL& url, double delay)
{
    const FrameTree::Entry* entry = _page.frames().find(frame);
    if (!entry)
        return;
    Deliveries deliveries;
    tellFrames(deliveries, [url, delay, of = entry->frame](WebFrameLoadDelegate& delegate, WebView& view) {
        delegate.webViewWillPerformClientRedirectToURL(view, url, delay, NSDate::dateWithTimeIntervalSinceNow(delay), of);
    });
    deliver(deliveries);
}

void NewsTranslator::clientRedirectCleared(const FrameID& frame)
{
    const FrameTree::Entry* entry = _page.frames().find(frame);
    if (!entry)
        return;
    Deliveries deliveries;
    tellFrames(deliveries, [of = entry->frame](WebFrameLoadDelegate& delegate, WebView& view) {
        delegate.webViewDidCancelClientRedirectForFrame(view, of);
    });
    deliver(deliveries);
}

void NewsTranslator::newWindowRefused(const NSURLRequest& request, const NSString& name)
{
    ask(
        [&](WebPolicyDelegate& delegate, WebView& view, const WebPolicyDelegate::Listener& listener) {
            delegate.webViewDecidePolicyForNewWindowAction(
                view, actionInformation(NavigationType::Other, request), request, name, listener);
        },
        [](PolicyAnswer) {});
}

// Resources.

WebDataSource NewsTranslator::dataSourceOf(const FrameID& frame, const DocumentID& document)
{
    const FrameTree::Entry* entry = _page.frames().find(frame);
    for (const Load& load : {entry ? entry->provisional : nullptr, entry ? entry->committed : nullptr}) {
        if (load && load->document == document)
            return load->dataSource();
    }
    return {};
}

std::optional<NewsTranslator::ResourceFacts> NewsTranslator::factsOf(const ResourceID& resource)
{
    const ResourceLog::Load* load = _page.resources().find(resource);
    if (!load)
        return {};
    return ResourceFacts{load->identifier, dataSourceOf(load->frame, load->document)};
}

NewsTranslator::Filed NewsTranslator::file(const ResourceID& resource, const FrameID& frame, const DocumentID& document,
    const NSURLRequest& request, Deliveries& deliveries)
{
    const bool isNew = !_page.resources().find(resource);
    DocumentID owner = document;
    if (owner.empty()) {
        const FrameTree::Entry* entry = _page.frames().find(frame);
        const Load load = entry ? (entry->committed ? entry->committed : entry->provisional) : nullptr;
        owner = load ? load->document : DocumentID();
    }
    ResourceLog::Load& filed = _page.resources().add(resource, frame, owner, request);
    _page.progress().resourceRequested(resource);
    const auto identifier = std::make_shared<Value>(filed.identifier);
    if (isNew) {
        const WebDataSource dataSource = dataSourceOf(filed.frame, filed.document);
        tellResources(deliveries, [this, identifier, resource, request, dataSource](auto& delegate, WebView& view) {
            *identifier = delegate.webViewIdentifierForInitialRequest(view, request, dataSource);
            if (ResourceLog::Load* load = _page.resources().find(resource))
                load->identifier = *identifier;
        });
    }
    return {filed, identifier};
}

void NewsTranslator::resourceRequested(const ResourceID& resource, const FrameID& frame, const DocumentID& document,
    const NSURLRequest& request, const NSURLResponse& redirectResponse)
{
    Deliveries deliveries;
    const Filed filed = file(resource, frame, document, request, deliveries);
    filed.load.redirectResponse = redirectResponse;
    if (_page.areRequestsOffered())
        ++filed.load.unasked;
    else
        tellWillSend(filed, deliveries);
    deliver(deliveries);
}

void NewsTranslator::tellWillSend(const Filed& filed, Deliveries& deliveries)
{
    tellResources(deliveries,
        [identifier = filed.identifier, request = filed.load.request, redirectResponse = filed.load.redirectResponse,
            dataSource = dataSourceOf(filed.load.frame, filed.load.document)](auto& delegate, WebView& view) {
            (void)delegate.webViewResourceWillSendRequest(view, *identifier, request, redirectResponse, dataSource);
        });
}

void NewsTranslator::tellUnasked(const ResourceID& resource, Deliveries& deliveries)
{
    ResourceLog::Load* load = _page.resources().find(resource);
    if (load && std::exchange(load->unasked, 0) > 0)
        tellWillSend({*load, std::make_shared<Value>(load->identifier)}, deliveries);
}

void NewsTranslator::willSendRequest(const OfferedRequest& offered, RequestDecision decide)
{
    const std::shared_ptr<WebPage> keepAlive = _page.shared_from_this();
    // An answer that comes when the view is gone finds nobody.
    const RequestDecision answer = [page = _page.weak_from_this(), decide = std::move(decide)](const RequestAnswer& given) {
        const std::shared_ptr<WebPage> alive = page.lock();
        if (alive && alive->view())
            decide(given);
    };
    // 1. Filed, unless it is of something that is no frame of the page.
    Value identifier;
    NSURLResponse redirectResponse = offered.redirectResponse;
    if (!offered.resource.empty() && _page.frames().find(offered.frame)) {
        Deliveries deliveries;
        const Filed filed = file(offered.resource, offered.frame, offered.document, offered.request, deliveries);
        // The news tells more of the redirect, when it is here already.
        if (filed.load.unasked-- > 0 && filed.load.redirectResponse)
            redirectResponse = filed.load.redirectResponse;
        deliver(deliveries);
        identifier = *filed.identifier;
    }
    // 2. The delegate makes of it what it likes.
    NSURLRequest request = offered.request;
    WebView* view = _page.view();
    if (WebResourceLoadDelegate* delegate = view ? view->resourceLoadDelegate() : nullptr) {
        try {
            request = delegate->webViewResourceWillSendRequest(
                *view, identifier, request, redirectResponse, dataSourceOf(offered.frame, offered.document));
        } catch (...) {
            _page.answerRequest(offered, {}, answer);
            throw;
        }
    }
    // 3. And then it is answered or sent.
    if (_page.view())
        _page.answerRequest(offered, request, answer);
}

void NewsTranslator::resourceResponded(const ResourceID& resource, const NSURLResponse& response)
{
    const std::optional<ResourceFacts> facts = factsOf(resource);
    if (!facts)
        return;
    _page.resources().find(resource)->response = response;
    _page.progress().resourceResponded(resource, response.expectedContentLength());
    Deliveries deliveries;
    tellUnasked(resource, deliveries);
    tellResources(deliveries, [facts = *facts, response](auto& delegate, WebView& view) {
        delegate.webViewResourceDidReceiveResponse(view, facts.identifier, response, facts.dataSource);
    });
    deliver(deliveries);
}

void NewsTranslator::resourceReceivedData(const ResourceID& resource, int64_t length)
{
    const std::optional<ResourceFacts> facts = factsOf(resource);
    if (!facts)
        return;
    _page.progress().resourceReceivedData(resource, length);
    Deliveries deliveries;
    tellResources(deliveries, [facts = *facts, length](auto& delegate, WebView& view) {
        delegate.webViewResourceDidReceiveContentLength(view, facts.identifier, length, facts.dataSource);
    });
    deliver(deliveries);
}

void NewsTranslator::resourceFinished(const ResourceID& resource)
{
    const std::optional<ResourceFacts> facts = factsOf(resource);
    if (!facts)
        return;
    Deliveries deliveries;
    tellUnasked(resource, deliveries);
    _page.resources().finish(resource);
    _page.progress().resourceEnded(resource);
    tellResources(deliveries, [facts = *facts](auto& delegate, WebView& view) {
        delegate.webViewResourceDidFinishLoadingFromDataSource(view, facts.identifier, facts.dataSource);
    });
    deliver(deliveries);
}

void NewsTranslator::resourceFailed(const ResourceID& resource, const NSError& error)
{
    const std::optional<ResourceFacts> facts = factsOf(resource);
    if (!facts)
        return;
    const NSError told = errorWithFailingURL(error, _page.resources().find(resource)->request.URL());
    Deliveries deliveries;
    tellUnasked(resource, deliveries);
    _page.resources().fail(resource);
    _page.progress().resourceEnded(resource);
    tellResources(deliveries, [facts = *facts, told](auto& delegate, WebView& view) {
        delegate.webViewResourceDidFailLoadingWithError(view, facts.identifier, told, facts.dataSource);
    });
    deliver(deliveries);
}

void NewsTranslator::authenticationRefused(const ResourceID& resource, const NSURLResponse& challenge)
{
    const ResourceFacts facts = factsOf(resource).value_or(ResourceFacts());
    if (const ResourceLog::Load* load = _page.resources().find(resource)) {
        const FrameTree::Entry* entry = _page.frames().find(load->frame);
        const Load navigation = entry ? entry->provisional : nullptr;
        if (navigation && navigation->document == load->document && !navigation->verdict
            && _page.resources().ownLoad(load->document, ResourceLog::addressOf(navigation->initialRequest.URL())) == load) {
            condemn(navigation, loadError(NSURLErrorDomain, NSURLErrorUserAuthenticationRequired, navigation->request.URL()));
        }
    }
    Deliveries deliveries;
    const NSURLAuthenticationChallenge told(challenge, std::make_shared<CancelledChallengeSender>());
    tellResources(deliveries, [facts, told](auto& delegate, WebView& view) {
        delegate.webViewResourceDidReceiveAuthenticationChallenge(view, facts.identifier, told, facts.dataSource);
    });
    deliver(deliveries);
}

// The engine.

void NewsTranslator::engineFailed(const NSError& error)
{
    _page.setEngineFailure(error);
    Deliveries deliveries;
    FrameTree::Entry& main = _page.frames().mainFrame();
    if (!main.provisional && _page.requestedLoad())
        start(main, {}, _page.requestedLoad(), deliveries);
    _page.forgetRequestedLoad();
    // A page that has finished is lost as well: nothing can be read from it any more. So is one whose load was cancelled: the
    // engine cancels what a process was loading before it tells of the process's end.
    const Load cancelled = std::exchange(main.cancelled, nullptr);
    if (!main.provisional && cancelled && cancelled != main.committed)
        main.provisional = cancelled;
    else if (!main.provisional && main.committed && (cancelled || main.committed->state == DocumentLoad::State::Finished))
        main.committed->state = DocumentLoad::State::Committed;
    // The main frame, the first one, comes last: with it the load is over.
    const std::vector<FrameID> frames = _page.frames().allFrames();
    for (auto frame = frames.rbegin(); frame != frames.rend(); ++frame) {
        FrameTree::Entry& entry = *_page.frames().find(*frame);
        if (entry.provisional)
            failProvisional(entry, error, deliveries);
        failCommitted(entry, error, deliveries);
    }
    deliver(deliveries);
}
