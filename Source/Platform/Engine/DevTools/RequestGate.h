#pragma once

#include "Platform/Engine/DevTools/EngineLink.h"
#include "Platform/Engine/DevTools/FrameTracker.h"

#include <functional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

// Stands where the engine holds requests for documents: before they are sent, and when their response has come. Asks the client whether to go on.
// Requests of every target are held by the engine as a whole, those of frames that have no target of their own yet among them.
class RequestGate {
public:
    RequestGate(EngineLink& link, FrameTracker& frames) : _link(link), _frames(frames) { }

    // Makes requests stop here. To be sent before anything is loaded.
    void enable();
    // Lets requests of the target pass. Until the engine has confirmed that it reports what the target does, documents wait: a
    // page that is shown earlier is not reported whole.
    void open(const std::string& session);

    // The next navigation of the main frame is the program's own, with `request`'s header fields.
    void expectOwnLoad(const NSURLRequest& request);
    // Whether that navigation has been seen; and its address, absent when none is expected or under way.
    [[nodiscard]] bool hasSeenOwnLoad() const { return !_ownDocument.empty(); }
    [[nodiscard]] NSURL ownURL() const { return _ownRequest.URL(); }
    // Takes an event of the Fetch domain; anything else is left alone.
    void handle(const Message& event);
    // The engine has looked at the bytes of a response that came without a type: now the client is asked.
    void judgeGuessedType(const DocumentID& document, const NSURLResponse& response);
    // Nothing that is held goes on: everything is being stopped.
    void forgetAll();

    // The document's bytes, when the engine cannot show it and shows an empty page in its place.
    std::function<void(const DocumentID&, NSData)> onBodyTaken;
    // The client refused a response that is already on its way into the page.
    std::function<void()> onRefusedTooLate;
    // A server wants credentials for the document.
    std::function<void(const DocumentID&, const NSURLResponse&)> onChallenge;

private:
    struct Held {
        std::string session;
        std::string interception;
        FrameID frame;
        DocumentID document;
        NSURLRequest request;
    };

    void requestHeld(const Held& held, bool isRedirect);
    void askAboutNavigation(const Held& held, NavigationType type);
    void sendRequest(const Held& held);
    void responseHeld(const Held& held, const JSONView& content);
    void askAboutResponse(const Held& held, const NSURLResponse& response);
    void showResponse(const Held& held, const NSURLResponse& response);
    void takeBody(const Held& held, const NSURLResponse& response);
    void goOn(const Held& held) const;
    void abort(const Held& held) const;

    EngineLink& _link;
    FrameTracker& _frames;
    NSURLRequest _ownRequest;   // present from expectOwnLoad until everything is stopped
    DocumentID _ownDocument;
    std::unordered_map<DocumentID, Held> _unjudged;
    std::unordered_set<std::string> _openSessions;
    std::unordered_map<std::string, std::vector<Held>> _waiting;   // by session
    uint64_t _generation = 0;                                      // decisions made for an earlier one come too late
};
