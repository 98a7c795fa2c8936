#pragma once

#include "Platform/Engine/DevTools/EngineLink.h"
#include "Platform/Engine/DevTools/FrameTracker.h"

#include <chrono>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

// Follows what the page loads, and fetches the bytes of it.
//
// The engine keeps the bytes of every load as they came (see the parameters of networkParameters). They are fetched when the
// first of them is asked for, all at once, which costs least; only large ones are fetched while the page still loads, which is
// soonest. What the engine answers from its memory cache has no bytes of its own; those of the first load of that address are
// taken.
class ResourceTracker {
public:
    ResourceTracker(EngineLink& link, FrameTracker& frames) : _link(link), _frames(frames) { }

    // Takes an event of the Network domain; anything else is left alone.
    void handle(const Message& event);

    // What the Network domain is to be enabled with: bytes are kept as they came (2 GB of them, the most that the engine takes).
    static constexpr std::string_view networkParameters =
        R"({"maxTotalBufferSize":2147483647,"maxResourceBufferSize":2147483647,"enableDurableMessages":true})";

    // A body that was taken from the engine on another way.
    void setBody(const std::string& networkID, NSData body);

    // Why this load is about to fail, whatever the engine will call that.
    void setFailure(const std::string& networkID, NSError error) { _failures.insert_or_assign(networkID, std::move(error)); }

    // See PageEngine::body.
    [[nodiscard]] NSData body(const ResourceID& resource, std::chrono::steady_clock::time_point deadline);
    // The target of the session is gone, and the bytes of its loads with it.
    void loseSession(const std::string& session);
    // Starts to fetch all bytes that are to be had.
    void askForBodies();

    // Whether the load is over, in whatever way; also for one that is not known.
    [[nodiscard]] bool isFinished(const std::string& networkID) const;

    // The address of the program's own load, as it was given, while its first request is awaited; else absent. The engine spells
    // addresses its own way.
    std::function<NSURL()> ownURL;
    // A byte or a fact of this load came.
    std::function<void(const std::string& networkID)> onActivity;
    // The engine has looked at the bytes of a document and knows its type.
    std::function<void(const DocumentID&, const NSURLResponse&)> onDocumentResponse;

private:
    enum class Body { None, Asked, Here };
    struct Resource {
        std::string session;
        NSURL url;
        bool isDocument = false;
        bool isFinished = false;
        bool isFromMemory = false;   // answered by the engine's memory cache
        bool isLost = false;         // the engine has no bytes of it any more
        int64_t length = 0;          // bytes that came, after content-decoding
        Body bodyState = Body::None;
        NSData bytes;
    };

    void requested(const Message& event);
    void responded(const JSONView& content);
    void received(const JSONView& content);
    void finished(const std::string& networkID);
    void failed(const JSONView& content);
    void askForBody(const std::string& networkID, Resource& resource);
    [[nodiscard]] std::string sourceOf(const std::string& networkID) const;
    Resource* find(const std::string& networkID);

    EngineLink& _link;
    FrameTracker& _frames;
    std::unordered_map<std::string, Resource> _resources;
    std::unordered_map<std::string, NSError> _failures;
    std::vector<std::string> _unasked;                       // finished loads whose bytes have not been asked for
    std::unordered_map<std::string, std::string> _sources;   // address → the first load of it over the network
};
