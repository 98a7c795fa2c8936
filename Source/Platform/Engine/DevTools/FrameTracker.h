#pragma once

#include "Platform/Engine/DevTools/EngineLink.h"
#include "Platform/Foundation/NSURLRequest.h"

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

// Follows the page's frames and their navigations: what the engine's Page events say, in the client's terms.
//
// A navigation is told to the client in this order: started, committed, finished or failed. The events alone do not tell that:
// the engine shows error pages of its own with all the events of a page, reports the end of loading for loads that nobody began,
// and lets a new navigation overtake an old one silently.
class FrameTracker {
public:
    // A navigation that has not committed yet.
    struct Provisional {
        DocumentID document;
        NSURLRequest request;
        bool isStarted = false;   // told to the client
    };
    struct Frame {
        FrameID parent;
        std::string session;   // of the target that the frame lives in
        NSString name;
        DocumentID document;      // committed; empty before the first
        bool isLoading = false;   // the committed document is still loading
        std::optional<Provisional> provisional;
        std::string requestedURL;   // what the page last asked this frame to go to, and why
        std::string requestReason;
        DocumentID announced;    // the navigation that the engine last spoke of
        DocumentID refused;      // the one that the client last refused
        bool isReload = false;   // of the navigation that is being prepared
        bool isHistory = false;
    };

    explicit FrameTracker(EngineLink& link) : _link(link) { }

    // Takes an event of the Page domain; anything else is left alone.
    void handle(const Message& event);

    [[nodiscard]] Frame* find(const FrameID& frame);
    // All frames, parents before children, children in the order in which they were attached.
    [[nodiscard]] std::vector<FrameID> inTreeOrder() const;
    [[nodiscard]] const std::string& sessionOf(const FrameID& frame) const;
    // The topmost frame of the target; empty when it has none.
    [[nodiscard]] FrameID frameOfSession(const std::string& session) const;
    // The frame whose provisional or committed document has this name; empty when none has.
    [[nodiscard]] FrameID frameShowing(const DocumentID& document) const;

    // Why the frame goes to `url`, as far as the page's own words are known; nothing when they have not come (yet).
    [[nodiscard]] std::optional<NavigationType> reasonFor(
        const FrameID& frame, std::string_view url, std::string_view method) const;

    // The navigation was allowed: it starts now. One that it overtakes fails first, as cancelled.
    void startNavigation(const FrameID& frame, const DocumentID& document, const NSURLRequest& request);
    // The load of `document` failed, before or after it was committed. Told once; a document that is not
    // loading any more is left alone.
    void failDocument(const DocumentID& document, const NSError& error);
    // The client refused the frame's navigation to `document`: it ends without news, even when the engine shows the document
    // all the same for a moment.
    void dropNavigation(const FrameID& frame, const DocumentID& document);
    // Fails everything that is loading in the frame.
    void failFrame(const FrameID& frame, const NSError& error);
    // The process that showed the frame and all below it is gone: what loads there fails, and nothing is shown there any more.
    void loseFrame(const FrameID& frame, const NSError& error);
    // Fails everything that is loading; the main frame with `error`, all others with NSURLErrorCancelled unless `sameForAll`.
    void failAll(const NSError& error, bool sameForAll);
    [[nodiscard]] bool isAnythingLoading() const;

    // The target of `session` now shows the frame.
    void moveFrame(const FrameID& frame, const std::string& session);
    // The response that the document's commit will be told with.
    void setResponse(const DocumentID& document, NSURLResponse response);

private:
    void attached(const FrameID& frame, const FrameID& parent, const std::string& session);
    void detached(const FrameID& frame, std::string_view reason);
    void startedNavigating(const JSONView& content);
    void navigated(const JSONView& content, const std::string& session);
    void stoppedLoading(const FrameID& frame);
    void failUnlessCrashed(const NSError& error);
    [[nodiscard]] std::vector<FrameID> childrenOf(const FrameID& frame) const;
    void remove(const FrameID& frame);
    Frame& frameNamed(const FrameID& frame);

    EngineLink& _link;
    std::unordered_map<FrameID, Frame> _frames = {{FrameID(EngineLink::mainFrameID), Frame()}};
    std::vector<FrameID> _order = {FrameID(EngineLink::mainFrameID)};   // in the order of attachment
    std::unordered_map<DocumentID, NSURLResponse> _responses;
};
