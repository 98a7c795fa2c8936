#include "Platform/Engine/DevTools/FrameTracker.h"

#include "Platform/Engine/DevTools/NetworkErrors.h"

#include <algorithm>
#include <functional>
#include <iterator>

namespace {

// Addresses whose documents come without a request that could be held: the engine makes them itself.
bool isMadeByEngine(std::string_view url)
{
    return url.starts_with("about:") || url.starts_with("data:") || url.starts_with("blob:") || url.starts_with("javascript:");
}

NSURLRequest requestFor(std::string_view url)
{
    return NSURLRequest::requestWithURL(NSURL::URLWithUncheckedString(NSString::stringWithRepairedUTF8(url)));
}

}

void FrameTracker::handle(const Message& event)
{
    const std::string_view method = event.method();
    const JSONView content = event.content();
    const FrameID frame = _link.frameFromEngine(content.text("frameId"));
    if (method == "Page.frameAttached") {
        attached(frame, _link.frameFromEngine(content.text("parentFrameId")), event.session());
    } else if (method == "Page.frameDetached") {
        detached(frame, content.text("reason"));
    } else if (method == "Page.frameRequestedNavigation") {
        Frame& known = frameNamed(frame);
        known.requestedURL = content.text("url");
        known.requestReason = content.text("reason");
    } else if (method == "Page.frameStartedNavigating") {
        startedNavigating(content);
    } else if (method == "Page.frameNavigated") {
        navigated(content, event.session());
    } else if (method == "Page.frameStoppedLoading") {
        stoppedLoading(frame);
    } else if (method == "Page.frameScheduledNavigation") {
        const std::string_view reason = content.text("reason");
        // Links and forms are the user's ways to go elsewhere; the page's own are redirects.
        if (reason == "scriptInitiated" || reason == "metaTagRefresh" || reason == "httpHeaderRefresh") {
            _link.client->clientRedirectScheduled(frame, requestFor(content.text("url")).URL(), content.number("delay"));
        }
    } else if (method == "Page.frameClearedScheduledNavigation") {
        _link.client->clientRedirectCleared(frame);
    }
}

FrameTracker::Frame* FrameTracker::find(const FrameID& frame)
{
    const auto found = _frames.find(frame);
    return found == _frames.end() ? nullptr : &found->second;
}

FrameTracker::Frame& FrameTracker::frameNamed(const FrameID& frame)
{
    if (Frame* known = find(frame))
        return *known;
    // Its attachment has not been heard of; that of frames in other targets may come late.
    _order.push_back(frame);
    return _frames[frame];
}

std::vector<FrameID> FrameTracker::inTreeOrder() const
{
    std::unordered_map<FrameID, std::vector<FrameID>> children;
    for (const FrameID& frame : _order) {
        if (const FrameID& parent = _frames.at(frame).parent; !parent.empty())
            children[parent].push_back(frame);
    }
    std::vector<FrameID> result;
    // An explicit stack: pages may nest frames deeper than a call stack likes.
    std::vector<FrameID> open = {FrameID(EngineLink::mainFrameID)};
    while (!open.empty()) {
        const FrameID frame = std::move(open.back());
        open.pop_back();
        const auto below = children.find(frame);
        result.push_back(frame);
        if (below != children.end())
            open.insert(open.end(), below->second.rbegin(), below->second.rend());
    }
    return result;
}

const std::string& FrameTracker::sessionOf(const FrameID& frame) const
{
    const auto found = _frames.find(frame);
    return found == _frames.end() || found->second.session.empty() ? _link.pageSession : found->second.session;
}

FrameID FrameTracker::frameOfSession(const std::string& session) const
{
    const std::vector<FrameID> frames = inTreeOrder();
    const auto found =
        std::find_if(frames.begin(), frames.end(), [&](const FrameID& frame) { return sessionOf(frame) == session; });
    return found == frames.end() ? FrameID() : *found;
}

FrameID FrameTracker::frameShowing(const DocumentID& document) const
{
    const auto found = std::find_if(_frames.begin(), _frames.end(), [&](const auto& entry) {
        return entry.second.document == document || (entry.second.provisional && entry.second.provisional->document == document);
    });
    return found == _frames.end() ? FrameID() : found->first;
}

std::optional<NavigationType> FrameTracker::reasonFor(const FrameID& frame, std::string_view url, std::string_view method) const
{
    const auto found = _frames.find(frame);
    if (found == _frames.end())
        return {};
    const Frame& known = found->second;
    if (known.isReload)
        return method == "POST" ? NavigationType::FormResubmitted : NavigationType::Reload;
    if (known.isHistory)
        return method == "POST" ? NavigationType::FormResubmitted : NavigationType::BackForward;
    // The fragment is not part of what is requested.
    const std::string_view requested = std::string_view(known.requestedURL).substr(0, known.requestedURL.find('#'));
    if (known.requestReason.empty() || requested != url.substr(0, url.find('#')))
        return {};
    if (known.requestReason == "anchorClick")
        return NavigationType::LinkClicked;
    if (known.requestReason == "formSubmissionGet" || known.requestReason == "formSubmissionPost")
        return NavigationType::FormSubmitted;
    if (known.requestReason == "reload")
        return method == "POST" ? NavigationType::FormResubmitted : NavigationType::Reload;
    return NavigationType::Other;
}

void FrameTracker::startNavigation(const FrameID& frame, const DocumentID& document, const NSURLRequest& request)
{
    Frame& known = frameNamed(frame);
    const bool overtakes = known.provisional && known.provisional->isStarted && known.provisional->document != document;
    if (overtakes) {
        const NSURL overtaken = known.provisional->request.URL();
        known.provisional.reset();
        _link.client->navigationFailed(frame, loadError(NSURLErrorDomain, NSURLErrorCancelled, overtaken));
    }
    // The client may have removed the frame.
    if (Frame* still = find(frame)) {
        still->provisional = Provisional{document, request, true};
        _link.client->navigationStarted(frame, document, request);
    }
}

void FrameTracker::failDocument(const DocumentID& document, const NSError& error)
{
    const FrameID frame = frameShowing(document);
    Frame* known = frame.empty() ? nullptr : find(frame);
    if (!known)
        return;
    const bool isAnswered = _responses.erase(document) > 0;
    if (known->provisional && known->provisional->document == document) {
        const bool wasStarted = known->provisional->isStarted;
        known->provisional.reset();
        const bool isCancelled = error.domain() == NSURLErrorDomain && error.code() == NSURLErrorCancelled;
        if (wasStarted && isCancelled && !isAnswered && frame == EngineLink::mainFrameID)
            failUnlessCrashed(error);
        else if (wasStarted)
            _link.client->navigationFailed(frame, error);
    } else if (known->isLoading) {
        known->isLoading = false;
        _link.client->documentFailed(frame, error);
    }
}

// When the page's processes end, the engine cancels what they were loading, and tells of their end later. A process that answers is
// there; for one that is not, the question is refused after the news of its end, which ends the load.
void FrameTracker::failUnlessCrashed(const NSError& error)
{
    _link.send(_link.pageSession, "Runtime.getIsolateId", "{}", [this, error](const Connection::Reply& reply) {
        const FrameID main(EngineLink::mainFrameID);
        if (!reply.refusal && !find(main)->provisional)
            _link.client->navigationFailed(main, error);
    });
}

void FrameTracker::dropNavigation(const FrameID& frame, const DocumentID& document)
{
    if (Frame* known = find(frame)) {
        known->provisional.reset();
        known->refused = document;
    }
}

void FrameTracker::failFrame(const FrameID& frame, const NSError& error)
{
    Frame* known = find(frame);
    if (!known)
        return;
    const bool wasProvisional = known->provisional && known->provisional->isStarted;
    const bool wasLoading = known->isLoading;
    known->provisional.reset();
    known->isLoading = false;
    if (wasProvisional)
        _link.client->navigationFailed(frame, error);
    else if (wasLoading)
        _link.client->documentFailed(frame, error);
}

void FrameTracker::loseFrame(const FrameID& frame, const NSError& error)
{
    for (const FrameID& child : childrenOf(frame))
        remove(child);
    failFrame(frame, error);
    if (Frame* known = find(frame))
        known->document.clear();
}

void FrameTracker::failAll(const NSError& error, bool sameForAll)
{
    // Children first, so that the main frame's failure finds nothing below it loading.
    std::vector<FrameID> frames = inTreeOrder();
    std::reverse(frames.begin(), frames.end());
    for (const FrameID& frame : frames) {
        const Frame* known = find(frame);
        if (!known)
            continue;
        if (sameForAll || frame == EngineLink::mainFrameID) {
            failFrame(frame, error);
        } else {
            const NSURL url = known->provisional ? known->provisional->request.URL() : NSURL();
            failFrame(frame, loadError(NSURLErrorDomain, NSURLErrorCancelled, url));
        }
    }
}

bool FrameTracker::isAnythingLoading() const
{
    return std::any_of(
        _frames.begin(), _frames.end(), [](const auto& entry) { return entry.second.isLoading || entry.second.provisional; });
}

void FrameTracker::moveFrame(const FrameID& frame, const std::string& session)
{
    frameNamed(frame).session = session;
}

void FrameTracker::setResponse(const DocumentID& document, NSURLResponse response)
{
    _responses[document] = std::move(response);
}

void FrameTracker::attached(const FrameID& frame, const FrameID& parent, const std::string& session)
{
    Frame& known = frameNamed(frame);
    const bool isNew = known.parent.empty();
    known.parent = parent;
    known.session = session;
    if (isNew)
        _link.client->frameAttached(frame, parent);
}

void FrameTracker::detached(const FrameID& frame, std::string_view reason)
{
    // A frame that only moves to another target lives on there.
    if (reason != "swap")
        remove(frame);
}

std::vector<FrameID> FrameTracker::childrenOf(const FrameID& frame) const
{
    std::vector<FrameID> children;
    std::copy_if(_order.begin(), _order.end(), std::back_inserter(children),
        [&](const FrameID& candidate) { return _frames.at(candidate).parent == frame; });
    return children;
}

void FrameTracker::remove(const FrameID& frame)
{
    if (frame == EngineLink::mainFrameID || !find(frame))
        return;
    for (const FrameID& child : childrenOf(frame))
        remove(child);
    // A frame that goes while it loads ends its load.
    if (const Frame* known = find(frame))
        failFrame(frame,
            loadError(NSURLErrorDomain, NSURLErrorCancelled, known->provisional ? known->provisional->request.URL() : NSURL()));
    _order.erase(std::remove(_order.begin(), _order.end(), frame), _order.end());
    _frames.erase(frame);
    _link.client->frameDetached(frame);
}

void FrameTracker::startedNavigating(const JSONView& content)
{
    const std::string_view type = content.text("navigationType");
    if (type == "sameDocument" || type == "historySameDocument")
        return;
    const FrameID frame = _link.frameFromEngine(content.text("frameId"));
    Frame& known = frameNamed(frame);
    known.announced = content.text("loaderId");
    known.isReload = type == "reload" || type == "reloadBypassingCache";
    known.isHistory = type.starts_with("restore") || type == "historyDifferentDocument";
    const std::string_view url = content.text("url");
    // Other documents start when their request is allowed to be sent.
    if (isMadeByEngine(url))
        startNavigation(frame, DocumentID(content.text("loaderId")), requestFor(url));
}

void FrameTracker::navigated(const JSONView& content, const std::string& session)
{
    const JSONView description = content.object("frame");
    const FrameID frame = _link.frameFromEngine(description.text("id"));
    if (!description.text("parentId").empty() && (!find(frame) || find(frame)->parent.empty()))
        attached(frame, _link.frameFromEngine(description.text("parentId")), session);
    Frame& named = frameNamed(frame);
    named.session = session;
    named.isReload = false;
    named.isHistory = false;

    const NSString name = description.string("name");
    if (name != named.name && !(name.length() == 0 && named.name.length() == 0)) {
        named.name = name;
        _link.client->frameNamed(frame, name);
    }
    // The client may have run the loop, in which frames come and go.
    const Frame* known = find(frame);
    if (!known)
        return;

    const DocumentID document(description.text("loaderId"));
    const std::string_view url = description.text("url");
    // The engine's own error page stands for a load that failed; its failure is (or was) told by itself.
    if (!description.text("unreachableUrl").empty() || url.starts_with("chrome-error:")) {
        if (Frame* still = find(frame); still && still->provisional)
            failFrame(frame, loadError(NSURLErrorDomain, NSURLErrorUnknown, still->provisional->request.URL()));
        return;
    }
    if (!document.empty() && document == known->refused)
        return;
    // The empty document that the main frame starts with is no navigation of the page.
    if (frame == EngineLink::mainFrameID && url == "about:blank" && known->document.empty() && !known->provisional)
        return;

    Frame* started = find(frame);
    if (started && (!started->provisional || started->provisional->document != document)) {
        startNavigation(frame, document, requestFor(url));
        started = find(frame);
    }
    if (!started || !started->provisional)
        return;
    started->provisional.reset();
    started->document = document;
    started->isLoading = true;
    NSURLResponse response;
    if (const auto knownResponse = _responses.find(document); knownResponse != _responses.end()) {
        response = knownResponse->second;
        _responses.erase(knownResponse);
    } else {
        response = NSURLResponse(requestFor(url).URL(), description.string("mimeType"), NSURLResponseUnknownLength, {});
    }
    _link.client->navigationCommitted(frame, document, response);
}

void FrameTracker::stoppedLoading(const FrameID& frame)
{
    Frame* known = find(frame);
    // While a navigation is under way, the end of the document that it replaces is of no interest.
    if (!known || !known->isLoading || known->provisional)
        return;
    known->isLoading = false;
    _link.client->documentFinished(frame);
}
