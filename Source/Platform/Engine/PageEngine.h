#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSGeometry.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/NSURLRequest.h"
#include "Platform/Foundation/NSURLResponse.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// Names of an engine's frames, documents and resource loads. Opaque; equal texts name the same thing, and nothing is named twice.
// A frame keeps its name through all its documents. Empty stands for none.
using FrameID = std::string;
using DocumentID = std::string;
using ResourceID = std::string;

// Why a frame is about to show another document, with the platform's numbers.
enum class NavigationType : int {
    LinkClicked = 0,
    FormSubmitted = 1,
    BackForward = 2,
    Reload = 3,
    FormResubmitted = 4,
    Other = 5
};

struct NavigationAction {
    FrameID frame;
    NSURLRequest request;
    NavigationType type = NavigationType::Other;
};

// Use goes on with what was asked about; Ignore drops it, leaves the page as it is, and ends the load without further news of it.
enum class PolicyAnswer { Use, Ignore };
// To be called once, at once or later, on the main thread; dropping it without a call leaves the question, and the load, open
// until the load is stopped.
using PolicyDecision = std::function<void(PolicyAnswer)>;

// A document as it stands when it is asked for.
struct DocumentSnapshot {
    FrameID frame;
    DocumentID document;
    NSString markup;     // serialised, with its doctype; absent when the frame shows no markup (an image, a PDF)
    NSString MIMEType;   // of the document as the engine parsed it: "text/html", "application/xhtml+xml", "text/xml" …
    NSURL url;
    NSString textEncodingName;   // in which the engine read the document: "windows-1252"; absent when it does not tell
};

// How the engine shows itself to a server.
struct WebVisitorIdentity {
    NSString userAgent;   // absent when the engine does not tell
    NSString cookies;     // the value of the Cookie field; absent when there are none
};

// How the page is put on paper. Lengths in points.
struct PrintSettings {
    // The engine scales no further down than this.
    static constexpr double smallestScale = 0.075;

    NSSize paperSize;
    double topMargin = 0;
    double leftMargin = 0;
    double bottomMargin = 0;
    double rightMargin = 0;
    double scale = 1;   // points for each CSS pixel; the page is laid out for as many pixels as are then between the margins
    bool printsBackgrounds = false;
    // For a paper that takes the whole document: the page breaks that the document asks for are ignored, and where the paper is
    // wider than the view the document stays laid out for the view, with what overflows beside it. Without it, what is fixed or
    // sticks in the view stands on one page only, where it is when the document is not scrolled.
    bool isUnbroken = false;
};

// A request that waits to be sent (see PageEngine::setRequestsOffered).
struct OfferedRequest {
    ResourceID resource;   // under which the news tells of this load; empty when it will not
    FrameID frame;         // that asks, or for which somebody asks; may be unknown, as a shared worker's is
    DocumentID document;   // that asks, as far as it is known; of a document's own load, the document itself
    NSURLRequest request;
    NSURLResponse redirectResponse;   // present when a redirect led to `request`; what is known of it, its address at least
};

// What becomes of it.
struct RequestAnswer {
    enum class Way {
        Send,     // over the network, as `request` says
        Refuse,   // nothing is sent, and the load fails with `error`
        Fulfil    // nothing is sent, and the load gets `response` with the bytes `data`
    };
    Way way = Way::Send;
    // Its address, method, header fields and body count; absent for the request as it was offered. Another address is not seen by
    // the page, which takes the answer for that of the address that it asked for.
    NSURLRequest request;
    NSError error;
    // An HTTP response counts with its status and fields. Of any other, type and encoding count; it has status 200, and whoever
    // asked may read it, whatever site the page is of. The page takes it for the answer of the address that it asked for.
    NSURLResponse response;
    NSData data;
};
// To be called once, at once or later, on the main thread. Until then, or until loads are stopped, the request waits.
using RequestDecision = std::function<void(const RequestAnswer&)>;

// What happens in a page. All calls come inside runs of the run loop, on the main thread, and may call the engine or run the
// loop.
class PageEngineClient {
public:
    virtual ~PageEngineClient() = default;

    // The frame tree. The main frame exists from the start and is never attached or detached; `parent` is never empty.
    virtual void frameAttached(const FrameID& frame, const FrameID& parent) = 0;
    virtual void frameDetached(const FrameID& frame) = 0;
    // The frame's name became known or changed; "" when it has none.
    virtual void frameNamed(const FrameID& frame, const NSString& name) = 0;

    // A frame's life, in this order: asked, started, (redirected,) asked about the response, committed, finished or failed.
    // Documents without a response of their own ("about:blank", "about:srcdoc") are not asked about. A load that is ignored, or
    // fails before it commits, leaves the frame's document as it was.
    virtual void decideNavigation(const NavigationAction& action, PolicyDecision decide) = 0;
    virtual void navigationStarted(const FrameID& frame, const DocumentID& document, const NSURLRequest& request) = 0;
    virtual void navigationRedirected(const FrameID& frame, const NSURLRequest& request) = 0;
    virtual void decideResponse(
        const FrameID& frame, const NSURLRequest& request, const NSURLResponse& response, PolicyDecision decide) = 0;
    virtual void navigationCommitted(const FrameID& frame, const DocumentID& document, const NSURLResponse& response) = 0;
    virtual void navigationFailed(const FrameID& frame, const NSError& error) = 0;
    virtual void documentFinished(const FrameID& frame) = 0;
    virtual void documentFailed(const FrameID& frame, const NSError& error) = 0;
    virtual void titleChanged(const FrameID& frame, const NSString& title) = 0;

    // The page will go elsewhere by itself (refresh, script), `delay` seconds from now; and it went there, or will not after all.
    virtual void clientRedirectScheduled(const FrameID& frame, const NSURL& url, double delay) = 0;
    virtual void clientRedirectCleared(const FrameID& frame) = 0;
    // The page asked for a window of its own; it has already been refused.
    virtual void newWindowRefused(const NSURLRequest& request, const NSString& name) = 0;

    // Loads of a document and what it uses. The document's own load is among them. `redirectResponse` is present when a redirect
    // led to `request`; the resource keeps its name then.
    virtual void resourceRequested(const ResourceID& resource, const FrameID& frame, const DocumentID& document,
        const NSURLRequest& request, const NSURLResponse& redirectResponse) = 0;
    virtual void resourceResponded(const ResourceID& resource, const NSURLResponse& response) = 0;
    virtual void resourceReceivedData(const ResourceID& resource, int64_t length) = 0;
    virtual void resourceFinished(const ResourceID& resource) = 0;
    virtual void resourceFailed(const ResourceID& resource, const NSError& error) = 0;
    // While requests are offered: this one waits to be sent. Told once for each request and each redirect, before or after
    // resourceRequested tells of the same one; a document's own after its navigation has started, and before the question about
    // the response. What the engine has in memory already is not requested.
    virtual void willSendRequest(const OfferedRequest& offered, RequestDecision decide)
    {
        const RequestDecision send = std::move(decide);
        send({RequestAnswer::Way::Send, offered.request, {}, {}, {}});
    }
    // A server wants credentials. There are none to give; the challenge is already cancelled.
    virtual void authenticationRefused(const ResourceID& resource, const NSURLResponse& challenge) = 0;

    // The engine, or the part of it that shows the page, is gone. Every load under way has failed with this error.
    virtual void engineFailed(const NSError& error) = 0;
};

// What the platform's web classes need from a browser. One engine shows one page. Calls return at once unless they say otherwise;
// news arrives on the client. Main thread only.
class PageEngine {
public:
    struct Settings {
        bool javaScriptEnabled = true;
        bool plugInsEnabled = false;
    };

    virtual ~PageEngine() = default;

    // Borrowed; must outlive the engine or be reset to null.
    virtual void setClient(PageEngineClient* client) = 0;
    [[nodiscard]] virtual FrameID mainFrame() const = 0;

    // Whether the client is asked about every request of the page, whatever asks for it (documents, scripts, workers),
    // before it is sent. Off at first, because it costs: each request makes a detour, and nothing is answered from memory.
    // It counts from the next load on.
    virtual void setRequestsOffered(bool /*offered*/) { }

    // Loads `request` into the main frame with `settings`, after stopping what is loading there. The request's time-out is idle
    // time: that long without a byte of the main document ends the load with NSURLErrorTimedOut.
    virtual void load(const NSURLRequest& request, const Settings& settings) = 0;
    // Stops every load under way; those of documents fail with NSURLErrorCancelled.
    virtual void stop() = 0;

    // The documents of all frames that stand now, parents before children, children in document order. Waits for the engine until
    // `deadline` without delivering news meanwhile. Throws NSException when the engine cannot answer.
    [[nodiscard]] virtual std::vector<DocumentSnapshot> documents(std::chrono::steady_clock::time_point deadline) = 0;
    // The body of a finished load: the server's bytes after content-decoding. Absent when there is none. Waits as documents does.
    [[nodiscard]] virtual NSData body(const ResourceID& resource, std::chrono::steady_clock::time_point deadline) = 0;
    // What the engine would send to `url`. Empty when the engine cannot answer.
    [[nodiscard]] virtual WebVisitorIdentity identityForURL(
        const NSURL& /*url*/, std::chrono::steady_clock::time_point /*deadline*/)
    {
        return {};
    }
    // The local name of the element that holds the frame: "iframe", "frame", "object", "embed". Absent for the main frame, and
    // when the engine does not tell. Waits as documents does.
    [[nodiscard]] virtual NSString frameElement(const FrameID& frame, std::chrono::steady_clock::time_point deadline) = 0;

    // Sizes are in CSS pixels. The operations from here on that take a deadline wait as documents does, and throw as it does.

    // The size of the view, for which pages are laid out. Rounded to whole pixels.
    virtual void setViewSize(NSSize size) = 0;
    // The CSS media type for which pages are laid out and printed; absent for the engine's own choice.
    virtual void setMediaType(const NSString& mediaType) = 0;
    // Of the main frame's document as it is laid out, with all that overflows; never less than the view.
    [[nodiscard]] virtual NSSize documentSize(std::chrono::steady_clock::time_point deadline) = 0;
    // Makes the view as high as the document, so that what is fixed or sticks stands where a view of the whole document shows it,
    // and waits a moment for images that the page loads when they come into view. What is as high as the view was stays as high.
    // The document's size then; the view stays so until it is given another size.
    [[nodiscard]] virtual NSSize showWhole(std::chrono::steady_clock::time_point deadline) = 0;
    // The PDF of the main frame's document. The paper and margins are those of `settings`, whatever the document says of them.
    // What is laid out for the paper may come out larger than the document is in the view.
    [[nodiscard]] virtual NSData print(const PrintSettings& settings, std::chrono::steady_clock::time_point deadline) = 0;
    // A PNG of the whole document, one pixel for each CSS pixel, as showWhole lays it out. The view has its size again
    // afterwards.
    [[nodiscard]] virtual NSData picture(std::chrono::steady_clock::time_point deadline) = 0;
};
