#pragma once

#include "Platform/Engine/DevTools/EngineLink.h"
#include "Platform/Engine/DevTools/FrameTracker.h"

#include <chrono>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

// Follows what the page loads, and keeps the bytes of it.
//
// The engine gives a body in one of two ways. For most types the reply to Network.getResponseBody holds the bytes. For what it has decoded to text (documents, and
// whatever else it took for text) the reply holds that text: its bytes are made again from it, and checked against the number of bytes that came. Style sheets and scripts, whose encoding nobody can
// tell afterwards, are therefore streamed as they arrive (see RequestGate).
class ResourceTracker {
public:
    ResourceTracker(EngineLink& link, FrameTracker& frames) : _link(link), _frames(frames) { }

    // Takes an event of the Network domain; anything else is left alone.
    void handle(const Message& event);

    // For RequestGate.
    void streamReply(const std::string& networkID, const Connection::Reply& reply);
    void setBody(const std::string& networkID, NSData body);
    void refuseAuthentication(const DocumentID& document, const NSURLResponse& response);

    // See PageEngine::body. `encodingOfDocument` is asked for the name of the encoding that a document was read in.
    [[nodiscard]] NSData body(const ResourceID& resource, std::chrono::steady_clock::time_point deadline,
        const std::function<NSString(const DocumentID&)>& encodingOfDocument);

    // Whether the load is over, in whatever way; also for one that is not known.
    [[nodiscard]] bool isFinished(const std::string& networkID) const;

    // A byte or a fact of this load came.
    std::function<void(const std::string& networkID)> onActivity;
    // The engine has looked at the bytes of a document and knows its type.
    std::function<void(const DocumentID&, const NSURLResponse&)> onDocumentResponse;

private:
    enum class Body { None, Streaming, Asked, Text, Bytes };
    struct Resource {
        std::string session;
        FrameID frame;
        DocumentID document;
        NSURL url;
        bool isDocument = false;
        bool isFinished = false;
        bool servedFromCache = false;
        int64_t length = 0;   // bytes that came, after content-decoding
        Body bodyState = Body::None;
        std::vector<std::byte> streamed;
        std::string text;        // when the engine gave text
        NSString encodingName;   // that the response named
        NSData bytes;
    };

    void requested(const Message& event);
    void responded(const JSONView& content);
    void received(const JSONView& content);
    void finished(const std::string& networkID);
    void failed(const JSONView& content);
    void askForBody(const std::string& networkID, Resource& resource);
    Resource* find(const std::string& networkID);

    EngineLink& _link;
    FrameTracker& _frames;
    std::unordered_map<std::string, Resource> _resources;
    std::unordered_map<std::u16string, std::string> _sources;   // address → the load that has its bytes
};
