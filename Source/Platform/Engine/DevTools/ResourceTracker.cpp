#include "Platform/Engine/DevTools/ResourceTracker.h"

#include "Platform/Engine/DevTools/NetworkErrors.h"
#include "Platform/Engine/DevTools/ResponseFacts.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/Value.h"

#include <utility>

namespace {

// Addresses whose bytes are part of the page already.
bool isInline(std::string_view url)
{
    return url.starts_with("data:") || url.starts_with("blob:");
}

// Bytes. From here on it pays to fetch a body while the rest of the page still loads.
constexpr int64_t worthFetchingAtOnce = 128 * 1024;

}

ResourceTracker::Resource* ResourceTracker::find(const std::string& networkID)
{
    const auto found = _resources.find(networkID);
    return found == _resources.end() ? nullptr : &found->second;
}

bool ResourceTracker::isFinished(const std::string& networkID) const
{
    const auto found = _resources.find(networkID);
    return found == _resources.end() || found->second.isFinished;
}

void ResourceTracker::handle(const Message& event)
{
    const std::string_view method = event.method();
    const JSONView content = event.content();
    if (method == "Network.requestWillBeSent") {
        requested(event);
    } else if (method == "Network.responseReceived") {
        responded(content);
    } else if (method == "Network.dataReceived") {
        received(content);
    } else if (method == "Network.loadingFinished") {
        finished(std::string(content.text("requestId")));
    } else if (method == "Network.loadingFailed") {
        failed(content);
    } else if (method == "Network.requestServedFromCache") {
        if (Resource* resource = find(std::string(content.text("requestId"))))
            resource->isFromMemory = true;
    }
}

void ResourceTracker::requested(const Message& event)
{
    const JSONView content = event.content();
    const JSONView description = content.object("request");
    if (isInline(description.text("url")))
        return;
    const std::string networkID(content.text("requestId"));
    const FrameID frame = _link.frameFromEngine(content.text("frameId"));
    NSMutableURLRequest request(requestFromEngine(description));
    const bool isMainDocument = frame == EngineLink::mainFrameID && networkID == content.text("loaderId");
    if (isMainDocument && !content.has("redirectResponse") && ownURL) {
        if (const NSURL url = ownURL())
            request.setURL(url);
    }

    Resource& resource = _resources[networkID];
    resource.session = event.session();
    resource.url = request.URL();
    resource.isDocument = networkID == content.text("loaderId");
    DocumentID document(content.text("loaderId"));
    if (document.empty()) {
        // A worker's load belongs to the page that started the worker.
        if (const FrameTracker::Frame* known = _frames.find(frame))
            document = known->document;
    }
    if (onActivity)
        onActivity(networkID);
    const NSURLResponse redirectResponse =
        content.has("redirectResponse") ? responseFromEngine(content.object("redirectResponse")) : NSURLResponse();
    _link.client->resourceRequested(networkID, frame, document, request, redirectResponse);
}

void ResourceTracker::responded(const JSONView& content)
{
    const std::string networkID(content.text("requestId"));
    const Resource* resource = find(networkID);
    if (!resource)
        return;
    const bool isDocument = resource->isDocument;
    const NSURLResponse response = responseFromEngine(content.object("response"));
    if (onActivity)
        onActivity(networkID);
    if (isDocument) {
        if (onDocumentResponse)
            onDocumentResponse(networkID, response);
    } else if (response.isHTTP() && response.statusCode() == 401 && response.valueForHTTPHeaderField(u"WWW-Authenticate")) {
        _link.client->authenticationRefused(networkID, response);
    }
    _link.client->resourceResponded(networkID, response);
}

void ResourceTracker::received(const JSONView& content)
{
    const std::string networkID(content.text("requestId"));
    Resource* resource = find(networkID);
    if (!resource)
        return;
    const int64_t length = content.integer("dataLength");
    resource->length += length;
    if (onActivity)
        onActivity(networkID);
    _link.client->resourceReceivedData(networkID, length);
}

void ResourceTracker::setBody(const std::string& networkID, NSData body)
{
    Resource& resource = _resources[networkID];
    resource.bytes = std::move(body);
    resource.bodyState = Body::Here;
}

void ResourceTracker::finished(const std::string& networkID)
{
    Resource* resource = find(networkID);
    if (!resource || resource->isFinished)
        return;
    resource->isFinished = true;
    if (!resource->isDocument && !resource->isFromMemory)
        _sources.emplace(resource->url.absoluteString().UTF8(), networkID);
    if (resource->bodyState == Body::None && resource->length >= worthFetchingAtOnce && !resource->isFromMemory)
        askForBody(networkID, *resource);
    else if (resource->bodyState == Body::None)
        _unasked.push_back(networkID);
    _link.client->resourceFinished(networkID);
}

void ResourceTracker::failed(const JSONView& content)
{
    const std::string networkID(content.text("requestId"));
    Resource* resource = find(networkID);
    if (!resource || resource->isFinished)
        return;
    resource->isFinished = true;
    const auto known = _failures.extract(networkID);
    const NSError error = known
        ? known.mapped()
        : errorFromEngineName(content.boolean("canceled") ? "ERR_ABORTED" : content.text("errorText"), resource->url);
    const bool isDocument = resource->isDocument;
    // What arrived before a connection broke is on the page, and so in its archive.
    if (isDocument && resource->bodyState == Body::None && resource->length > 0)
        _unasked.push_back(networkID);
    _link.client->resourceFailed(networkID, error);
    if (isDocument)
        _frames.failDocument(networkID, error);
}

// The load whose bytes this one shows.
std::string ResourceTracker::sourceOf(const std::string& networkID) const
{
    const auto found = _resources.find(networkID);
    if (found == _resources.end() || !found->second.isFromMemory)
        return networkID;
    const auto source = _sources.find(found->second.url.absoluteString().UTF8());
    return source == _sources.end() ? networkID : source->second;
}

void ResourceTracker::loseSession(const std::string& session)
{
    for (auto& [networkID, resource] : _resources) {
        if (resource.session == session)
            resource.bodyState = Body::Here;
    }
}

void ResourceTracker::askForBodies()
{
    for (const std::string& networkID : std::exchange(_unasked, {})) {
        Resource* resource = find(networkID);
        if (resource && resource->bodyState == Body::None && sourceOf(networkID) == networkID)
            askForBody(networkID, *resource);
    }
}

void ResourceTracker::askForBody(const std::string& networkID, Resource& resource)
{
    resource.bodyState = Body::Asked;
    _link.send(resource.session, "Network.getResponseBody", R"({"requestId":")" + networkID + "\"}",
        [this, networkID](const Connection::Reply& reply) {
            Resource* asked = find(networkID);
            if (!asked || asked->bodyState != Body::Asked)
                return;
            asked->bodyState = Body::Here;
            asked->isLost = reply.refusal && asked->length > 0;
            if (reply.refusal)
                return;
            // Bytes that are valid UTF-8 come as the text that they are.
            asked->bytes = reply.result.boolean("base64Encoded") ? reply.result.base64("body")
                                                                 : NSData::dataWithBytes(reply.result.text("body"));
        });
}

NSData ResourceTracker::body(const ResourceID& resource, std::chrono::steady_clock::time_point deadline)
{
    const std::string networkID = sourceOf(resource);
    if (!find(networkID))
        return {};
    askForBodies();
    if (find(networkID)->bodyState == Body::Asked && _link.connection) {
        const bool isHere = _link.connection->waitForReplies([&] { return find(networkID)->bodyState != Body::Asked; }, deadline);
        if (!isHere)
            throw NSException(NSGenericException, u"The page engine did not hand over a resource in time.");
    }
    // Without its own bytes the page is not there; without those of something on it, only that is missing.
    if (find(networkID)->isLost && _frames.find(FrameID(EngineLink::mainFrameID))->document == networkID)
        throw NSException(NSGenericException, u"The page engine does not have the page's bytes any more.");
    return find(networkID)->bytes;
}
