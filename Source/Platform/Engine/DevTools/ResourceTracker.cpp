#include "Platform/Engine/DevTools/ResourceTracker.h"

#include "Platform/Engine/DevTools/NetworkErrors.h"
#include "Platform/Engine/DevTools/ResponseFacts.h"
#include "Platform/Engine/DevTools/TextBytes.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/Value.h"

namespace {

// Addresses whose bytes are part of the page already.
bool isInline(std::string_view url)
{
    return url.starts_with("data:") || url.starts_with("blob:");
}

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
    if (method == "Network.requestWillBeSent")
        requested(event);
    else if (method == "Network.responseReceived")
        responded(content);
    else if (method == "Network.dataReceived")
        received(content);
    else if (method == "Network.loadingFinished")
        finished(std::string(content.text("requestId")));
    else if (method == "Network.loadingFailed")
        failed(content);
    else if (method == "Network.requestServedFromCache") {
        if (Resource* resource = find(std::string(content.text("requestId"))))
            resource->servedFromCache = true;
    }
}

void ResourceTracker::requested(const Message& event)
{
    const JSONView content = event.content();
    const JSONView description = content.object("request");
    if (isInline(description.text("url")))
        return;
    const std::string networkID(content.text("requestId"));
    const bool isRedirect = content.has("redirectResponse");
    const NSURLRequest request = requestFromEngine(description);

    Resource& resource = _resources[networkID];
    resource.session = event.session();
    resource.frame = _link.frameFromEngine(content.text("frameId"));
    resource.document = content.text("loaderId");
    resource.url = request.URL();
    resource.isDocument = networkID == content.text("loaderId");
    if (resource.document.empty()) {
        // A worker's load belongs to the page that started the worker.
        if (const FrameTracker::Frame* frame = _frames.find(resource.frame))
            resource.document = frame->document;
    }
    if (onActivity)
        onActivity(networkID);
    const NSURLResponse redirectResponse = isRedirect ? responseFromEngine(content.object("redirectResponse")) : NSURLResponse();
    const FrameID frame = resource.frame;
    const DocumentID document = resource.document;
    _link.client->resourceRequested(networkID, frame, document, request, redirectResponse);
}

void ResourceTracker::responded(const JSONView& content)
{
    const std::string networkID(content.text("requestId"));
    Resource* resource = find(networkID);
    if (!resource)
        return;
    const NSURLResponse response = responseFromEngine(content.object("response"));
    resource->encodingName = response.textEncodingName();
    if (onActivity)
        onActivity(networkID);
    if (resource->isDocument) {
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
    if (resource->bodyState == Body::Streaming && content.has("data")) {
        const NSData data = content.base64("data");
        resource->streamed.insert(resource->streamed.end(), data.bytes().begin(), data.bytes().end());
    }
    if (onActivity)
        onActivity(networkID);
    _link.client->resourceReceivedData(networkID, length);
}

void ResourceTracker::streamReply(const std::string& networkID, const Connection::Reply& reply)
{
    Resource* resource = find(networkID);
    if (!resource || reply.refusal || resource->isFinished)
        return;
    const NSData data = reply.result.base64("bufferedData");
    resource->streamed.assign(data.bytes().begin(), data.bytes().end());
    resource->bodyState = Body::Streaming;
}

void ResourceTracker::setBody(const std::string& networkID, NSData body)
{
    Resource& resource = _resources[networkID];
    resource.bytes = std::move(body);
    resource.bodyState = Body::Bytes;
}

void ResourceTracker::refuseAuthentication(const DocumentID& document, const NSURLResponse& response)
{
    _link.client->authenticationRefused(document, response);
}

void ResourceTracker::finished(const std::string& networkID)
{
    Resource* resource = find(networkID);
    if (!resource || resource->isFinished)
        return;
    resource->isFinished = true;
    if (resource->bodyState == Body::Streaming) {
        resource->bytes = NSData(std::move(resource->streamed));
        resource->bodyState = Body::Bytes;
    } else if (resource->bodyState == Body::None) {
        askForBody(networkID, *resource);
    }
    if (resource->bodyState == Body::Bytes && !resource->isDocument)
        _sources[std::u16string(resource->url.absoluteString().units())] = networkID;
    _link.client->resourceFinished(networkID);
}

void ResourceTracker::askForBody(const std::string& networkID, Resource& resource)
{
    const std::u16string address(resource.url.absoluteString().units());
    if (resource.servedFromCache) {
        const auto source = _sources.find(address);
        if (source != _sources.end() && _resources.contains(source->second)) {
            Resource& original = _resources[source->second];
            if (original.bodyState == Body::Bytes) {
                resource.bytes = original.bytes;
                resource.bodyState = Body::Bytes;
                return;
            }
        }
    }
    resource.bodyState = Body::Asked;
    _link.send(resource.session, "Network.getResponseBody", R"({"requestId":")" + networkID + "\"}",
        [this, networkID, address](const Connection::Reply& reply) {
            Resource* asked = find(networkID);
            if (!asked || asked->bodyState != Body::Asked)
                return;
            if (reply.refusal) {
                asked->bodyState = Body::None;
            } else if (reply.result.boolean("base64Encoded")) {
                asked->bytes = reply.result.base64("body");
                asked->bodyState = Body::Bytes;
                if (!asked->isDocument)
                    _sources[address] = networkID;
            } else {
                asked->text = reply.result.text("body");
                asked->bodyState = Body::Text;
            }
        });
}

void ResourceTracker::failed(const JSONView& content)
{
    const std::string networkID(content.text("requestId"));
    Resource* resource = find(networkID);
    if (!resource || resource->isFinished)
        return;
    resource->isFinished = true;
    resource->streamed = {};
    if (resource->bodyState == Body::Streaming)
        resource->bodyState = Body::None;
    const std::string_view name = content.text("errorText");
    const NSError error = content.boolean("canceled") ? errorFromEngineName("ERR_ABORTED", resource->url)
                                                      : errorFromEngineName(name, resource->url);
    const bool isDocument = resource->isDocument;
    // What arrived before a connection broke is on the page, and so in its archive.
    if (isDocument && resource->bodyState == Body::None && resource->length > 0)
        askForBody(networkID, *resource);
    _link.client->resourceFailed(networkID, error);
    if (isDocument)
        _frames.failDocument(networkID, error);
}

NSData ResourceTracker::body(const ResourceID& networkID, std::chrono::steady_clock::time_point deadline,
    const std::function<NSString(const DocumentID&)>& encodingOfDocument)
{
    const Resource* resource = find(networkID);
    if (!resource)
        return {};
    if (resource->bodyState == Body::Asked && _link.connection) {
        const bool isHere = _link.connection->waitForReplies(
            [&] {
                const Resource* asked = find(networkID);
                return !asked || asked->bodyState != Body::Asked;
            },
            deadline);
        if (!isHere)
            throw NSException(NSGenericException, u"The page engine did not hand over a resource in time.");
    }
    Resource* answered = find(networkID);
    if (!answered)
        return {};
    if (answered->bodyState == Body::Text) {
        // The page may have been read in an encoding that only the engine knows.
        answered->bytes = bytesOfDecodedText(answered->text, answered->length, answered->encodingName,
            [&] { return encodingOfDocument(answered->isDocument ? networkID : answered->document); });
        answered->text = {};
        answered->bodyState = Body::Bytes;
    }
    return answered->bytes;
}
