#pragma once

#include "Platform/Engine/DevTools/EngineLink.h"
#include "Platform/Engine/DevTools/FrameTracker.h"

#include <functional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

// Stands where the engine holds requests for documents: before they are sent, and when their response has come. Asks the client
// whether to go on. Requests of every target are held by the engine as a whole, those of frames that have no target of their own
// yet among them.
class RequestGate {
public:
    RequestGate(EngineLink& link, FrameTracker& frames) : _link(link), _frames(frames) { }

    // Makes requests stop here. To be sent before anything is loaded.
    void enable();
    // See PageEngine::setRequestsOffered.
    void setRequestsOffered(bool offered);
    [[nodiscard]] bool areRequestsOffered() const { return _offersRequests; }
    // The page is shown: what it loads from now on, but documents, goes to the network without stopping here (unless requests
    // are offered).
    void freePage();
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
    // A request of a page was refused, and its load will fail for that.
    std::function<void(const std::string& networkID, const NSError&)> onRefused;
    // The program's own request is on its way to the server; again for each redirect that it takes.
    std::function<void()> onOwnRequestSent;
    // A server wants credentials for the document.
    std::function<void(const DocumentID&, const NSURLResponse&)> onChallenge;

private:
    struct Held {
        std::string session;
        std::string interception;
        FrameID frame;
        std::string networkID;   // names the document too, when it is a document's
        NSURLRequest request;    // as the engine made it
        NSURLRequest offered;    // as the client was asked about it
        bool isRedirect = false;
        bool isDocument = false;
        bool isFulfilled = false;   // with `data`, and without a server
        NSData data;
    };

    void requestHeld(const Held& held);
    void subresourceHeld(Held held);
    void askAboutNavigation(const Held& held, NavigationType type);
    void sendRequest(const Held& held);
    [[nodiscard]] NSURLRequest requestToSend(const Held& held) const;
    void offer(Held held);
    void carryOut(const Held& held, const RequestAnswer& answer);
    void send(const Held& held, const NSURLRequest& request) const;
    void refuse(const Held& held, const NSError& error);
    void fulfil(Held held, const RequestAnswer& answer);
    void fulfilWith(const Held& held, const NSURLResponse& response, const NSDictionary& fields, const NSData& data) const;
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
    bool _offersRequests = false;
    std::unordered_map<DocumentID, Held> _unjudged;
    std::unordered_map<std::string, NSURLResponse> _redirects;   // what is known of the answer that led elsewhere, by load
    std::unordered_set<std::string> _openSessions;
    std::unordered_map<std::string, std::vector<Held>> _waiting;   // by session
    uint64_t _generation = 0;                                      // decisions made for an earlier one come too late
};
