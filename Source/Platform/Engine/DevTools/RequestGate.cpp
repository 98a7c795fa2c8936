#include "Platform/Engine/DevTools/RequestGate.h"

#include "Platform/Engine/DevTools/FulfilCommand.h"
#include "Platform/Engine/DevTools/NetworkErrors.h"
#include "Platform/Engine/DevTools/ResponseFacts.h"
#include "Platform/Foundation/Value.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;

constexpr std::string_view noPatterns = R"({"patterns":[]})";

std::string dump(const json& value)
{
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

bool isRedirect(int64_t status)
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

json headerList(const NSDictionary& fields)
{
    json list = json::array();
    for (const auto& [name, value] : fields)
        list.push_back({{"name", name.UTF8()}, {"value", sendableHeaderValue(value.string()).UTF8()}});
    return list;
}

}

void RequestGate::enable()
{
    // All requests pass here only when the client wants them; that takes a quarter more of the engine's time.
    _link.send({}, "Fetch.enable",
        _offersRequests
            ? R"({"patterns":[{"requestStage":"Request"},{"resourceType":"Document","requestStage":"Response"}]})"
            : R"({"patterns":[{"resourceType":"Document","requestStage":"Request"},{"resourceType":"Document","requestStage":"Response"}]})");
}

void RequestGate::setRequestsOffered(bool offered)
{
    _offersRequests = offered;
    enable();
}

// The engine leads every request of a page through its main process when any request is to be held while the way of the page's
// requests is laid. With many resources that takes half as much again. So the way is laid anew, which the session's patterns do, be
// they none, while none is to be held.
void RequestGate::freePage()
{
    if (_offersRequests || !_link.connection)
        return;
    _link.connection->sendTogether([this] {
        _link.send({}, "Fetch.enable", noPatterns);
        _link.send(_link.pageSession, "Fetch.enable", noPatterns);
        enable();
    });
}

void RequestGate::open(const std::string& session)
{
    _openSessions.insert(session);
    auto waiting = _waiting.extract(session);
    if (waiting.empty())
        return;
    for (const Held& held : waiting.mapped())
        requestHeld(held);
}

void RequestGate::expectOwnLoad(const NSURLRequest& request)
{
    _ownRequest = request;
    _ownDocument.clear();
    _redirects.clear();
}

void RequestGate::handle(const Message& event)
{
    if (event.method() != "Fetch.requestPaused")
        return;
    const JSONView content = event.content();
    const JSONView request = content.object("request");
    Held held;
    held.session = event.session();
    held.interception = content.text("requestId");
    held.frame = _link.frameFromEngine(content.text("frameId"));
    held.networkID = content.text("networkId");
    held.request = requestFromEngine(request);
    held.isRedirect = content.has("redirectedRequestId");
    held.isDocument = content.text("resourceType") == "Document";
    if (content.has("responseStatusCode")) {
        responseHeld(held, content);
    } else if (content.has("responseErrorReason")) {
        goOn(held);
    } else if (!held.isDocument) {
        subresourceHeld(std::move(held));
    } else if (_openSessions.contains(_frames.sessionOf(held.frame))) {
        requestHeld(held);
    } else {
        _waiting[_frames.sessionOf(held.frame)].push_back(std::move(held));
    }
}

// A request of a page or of something that works for it.
void RequestGate::subresourceHeld(Held held)
{
    if (!_offersRequests) {
        goOn(held);
        return;
    }
    if (_frames.find(held.frame)) {
        offer(std::move(held));
        return;
    }
    // The frame's attachment may still be under way; it is here when the page's process has answered. What is no frame asks for
    // itself.
    _link.send(
        _link.pageSession, "Page.getLayoutMetrics", "{}", [this, held, generation = _generation](const Connection::Reply&) {
            if (generation == _generation)
                offer(held);
        });
}

// The request as the client is to see it: the program's own with all that it said, any other as the engine made it.
NSURLRequest RequestGate::requestToSend(const Held& held) const
{
    if (!held.isDocument || held.networkID != _ownDocument || !_ownRequest)
        return held.request;
    NSMutableURLRequest request(_ownRequest);
    if (held.isRedirect) {
        request.setURL(held.request.URL());
        request.setHTTPMethod(held.request.HTTPMethod());
    }
    // The program's own header fields go with its own request, whatever redirects it takes.
    NSMutableURLRequest fields(held.request);
    for (const auto& [name, value] : _ownRequest.allHTTPHeaderFields())
        fields.setValue(value.string(), name);
    request.setAllHTTPHeaderFields(fields.allHTTPHeaderFields());
    return request;
}

void RequestGate::offer(Held held)
{
    OfferedRequest offered;
    offered.resource = held.networkID;
    offered.frame = held.frame;
    const FrameTracker::Frame* frame = _frames.find(held.frame);
    offered.document = held.isDocument ? held.networkID : frame ? frame->document : DocumentID();
    offered.request = held.offered = requestToSend(held);
    if (held.isRedirect) {
        const auto redirect = _redirects.extract(held.networkID);
        offered.redirectResponse =
            redirect ? redirect.mapped() : NSURLResponse(NSURL(), NSString(), NSURLResponseUnknownLength, {});
    }
    if (!held.isDocument)
        _redirects.insert_or_assign(
            held.networkID, NSURLResponse(held.request.URL(), NSString(), NSURLResponseUnknownLength, {}));
    _link.client->willSendRequest(offered, [this, held, generation = _generation](const RequestAnswer& answer) {
        if (generation == _generation)
            carryOut(held, answer);
    });
}

void RequestGate::carryOut(const Held& held, const RequestAnswer& answer)
{
    switch (answer.way) {
    case RequestAnswer::Way::Send:
        send(held, answer.request ? answer.request : held.offered);
        break;
    case RequestAnswer::Way::Refuse:
        refuse(held, answer.error);
        break;
    case RequestAnswer::Way::Fulfil:
        fulfil(held, answer);
        break;
    }
}

void RequestGate::send(const Held& held, const NSURLRequest& request) const
{
    json changes = {{"requestId", held.interception}};
    if (held.offered && request.URL() != held.offered.URL())
        changes["url"] = request.URL().absoluteString().UTF8();
    if (request.HTTPMethod() != held.request.HTTPMethod())
        changes["method"] = request.HTTPMethod().UTF8();
    if (request.allHTTPHeaderFields() != held.request.allHTTPHeaderFields())
        changes["headers"] = headerList(request.allHTTPHeaderFields());
    if (request.HTTPBody() && request.HTTPBody() != held.request.HTTPBody())
        changes["postData"] = base64Text(request.HTTPBody().characters());
    if (changes.size() == 1) {
        goOn(held);
        return;
    }
    _link.send(held.session, "Fetch.continueRequest", dump(changes), [this, held](const Connection::Reply& reply) {
        if (reply.refusal)
            goOn(held);
    });
}

void RequestGate::refuse(const Held& held, const NSError& error)
{
    if (onRefused)
        onRefused(held.networkID, error);
    if (held.isDocument) {
        const uint64_t generation = _generation;
        _frames.failDocument(held.networkID, error);
        if (generation == _generation)
            abort(held);
        return;
    }
    _link.send(held.session, "Fetch.failRequest",
        R"({"requestId":")" + held.interception + R"(","errorReason":"InternetDisconnected"})");
}

void RequestGate::fulfil(Held held, const RequestAnswer& answer)
{
    if (!held.isDocument) {
        fulfilWith(held, answer.response, fieldsOfAnswer(held.request, answer.response), answer.data);
        return;
    }
    held.data = answer.data;
    held.isFulfilled = true;
    if (isRedirect(answer.response.statusCode().value_or(0)) && answer.response.valueForHTTPHeaderField(u"Location")) {
        fulfilWith(held, answer.response, fieldsOfAnswer(held.request, answer.response), answer.data);
    } else if (answer.response.MIMEType().length() == 0) {
        _unjudged.insert_or_assign(held.networkID, held);
        fulfilWith(held, answer.response, fieldsOfAnswer(held.request, answer.response), answer.data);
    } else {
        askAboutResponse(held, answer.response);
    }
}

void RequestGate::fulfilWith(
    const Held& held, const NSURLResponse& response, const NSDictionary& fields, const NSData& data) const
{
    _link.send(held.session, "Fetch.fulfillRequest",
        fulfilCommand(held.interception, response.statusCode().value_or(200), fields, data.characters()),
        [this, held](const Connection::Reply& reply) {
            // An answer that the engine does not take is none.
            if (reply.refusal)
                abort(held);
        });
}

void RequestGate::requestHeld(const Held& held)
{
    const FrameTracker::Frame* frame = _frames.find(held.frame);
    if (held.isRedirect && frame && frame->provisional && frame->provisional->document == held.networkID) {
        _frames.find(held.frame)->provisional->request = held.request;
        const uint64_t generation = _generation;
        _link.client->navigationRedirected(held.frame, held.request);
        if (generation == _generation)
            sendRequest(held);
        return;
    }
    if (_ownRequest && _ownDocument.empty() && held.frame == EngineLink::mainFrameID) {
        _ownDocument = held.networkID;
        askAboutNavigation(held, NavigationType::Other);
        return;
    }
    const std::string url = held.request.URL().absoluteString().UTF8();
    const std::string method = held.request.HTTPMethod().UTF8();
    if (const auto type = _frames.reasonFor(held.frame, url, method)) {
        askAboutNavigation(held, *type);
        return;
    }
    // What the page itself said of this navigation may still be under way; it is here when the page's process has answered.
    _link.send(_frames.sessionOf(held.frame), "Page.getLayoutMetrics", "{}",
        [this, held, url, method, generation = _generation](const Connection::Reply&) {
            if (generation != _generation)
                return;
            const auto type = _frames.reasonFor(held.frame, url, method);
            const FrameTracker::Frame* asking = _frames.find(held.frame);
            // A request for a document that the engine announced no navigation for is a download, by a link that says so.
            if (!type && held.frame == EngineLink::mainFrameID && asking && asking->announced != held.networkID)
                abort(held);
            else
                askAboutNavigation(held, type.value_or(NavigationType::Other));
        });
}

void RequestGate::askAboutNavigation(const Held& held, NavigationType type)
{
    _link.client->decideNavigation({held.frame, held.request, type}, [this, held, generation = _generation](PolicyAnswer answer) {
        if (generation != _generation)
            return;
        if (answer == PolicyAnswer::Ignore) {
            _frames.dropNavigation(held.frame, held.networkID);
            abort(held);
            return;
        }
        _frames.startNavigation(held.frame, held.networkID, held.request);
        if (generation == _generation)
            sendRequest(held);
    });
}

void RequestGate::sendRequest(const Held& held)
{
    if (held.isDocument && held.networkID == _ownDocument && onOwnRequestSent)
        onOwnRequestSent();
    if (_offersRequests)
        offer(held);
    else
        send(held, requestToSend(held));
}

void RequestGate::responseHeld(const Held& held, const JSONView& content)
{
    const int64_t status = content.integer("responseStatusCode");
    const NSURLResponse response = heldResponseFromEngine(held.request.URL(), content);
    if (isRedirect(status) && response.valueForHTTPHeaderField(u"Location")) {
        if (_offersRequests)
            _redirects.insert_or_assign(held.networkID, response);
        goOn(held);
        return;
    }
    if ((status == 401 && response.valueForHTTPHeaderField(u"WWW-Authenticate"))
        || (status == 407 && response.valueForHTTPHeaderField(u"Proxy-Authenticate"))) {
        const uint64_t generation = _generation;
        if (onChallenge)
            onChallenge(held.networkID, response);
        if (generation == _generation) {
            _frames.failDocument(
                held.networkID, loadError(NSURLErrorDomain, NSURLErrorUserAuthenticationRequired, held.request.URL()));
            abort(held);
        }
        return;
    }
    // Nothing is shown for these; the engine ends the load itself.
    if (status == 204 || status == 205) {
        goOn(held);
        return;
    }
    if (!response.MIMEType() && response.isHTTP()) {
        _unjudged.insert_or_assign(held.networkID, held);
        goOn(held);
        return;
    }
    askAboutResponse(held, response);
}

void RequestGate::askAboutResponse(const Held& held, const NSURLResponse& response)
{
    _frames.setResponse(held.networkID, response);
    _link.client->decideResponse(
        held.frame, held.request, response, [this, held, response, generation = _generation](PolicyAnswer answer) {
            if (generation != _generation)
                return;
            if (answer == PolicyAnswer::Use) {
                showResponse(held, response);
            } else {
                _frames.dropNavigation(held.frame, held.networkID);
                abort(held);
            }
        });
}

void RequestGate::judgeGuessedType(const DocumentID& document, const NSURLResponse& response)
{
    const auto unjudged = _unjudged.extract(document);
    if (unjudged.empty())
        return;
    const Held held = unjudged.mapped();
    _link.client->decideResponse(held.frame, held.request, response, [this, held, generation = _generation](PolicyAnswer answer) {
        if (generation != _generation || answer == PolicyAnswer::Use)
            return;
        _frames.dropNavigation(held.frame, held.networkID);
        if (onRefusedTooLate)
            onRefusedTooLate();
    });
}

void RequestGate::showResponse(const Held& held, const NSURLResponse& response)
{
    const bool isText = response.MIMEType().lowercaseString().hasPrefix(u"text/");
    const bool isShown = engineShowsType(response.MIMEType());
    if (!isShown && !isText) {
        takeBody(held, response);
        return;
    }
    if (held.isFulfilled) {
        const NSString type = isShown ? NSString() : NSString(u"text/plain");
        fulfilWith(held, response, fieldsOfAnswer(held.request, response, type), held.data);
        return;
    }
    const bool isAttachment = response.valueForHTTPHeaderField(u"Content-Disposition").length() > 0;
    const bool isEmptyError = response.statusCode().value_or(0) >= 400 && response.expectedContentLength() == 0;
    if (isShown && !isAttachment && !isEmptyError) {
        goOn(held);
        return;
    }
    // What is to be shown is shown, also where the server would have it saved, and text of any kind as text.
    json fields = json::array();
    for (const auto& [name, value] : response.allHeaderFields()) {
        const NSString lower = name.lowercaseString();
        if (lower == NSString(u"content-disposition") || (isEmptyError && lower == NSString(u"content-length")))
            continue;
        std::string text = value.string().UTF8();
        if (lower == NSString(u"content-type") && !isShown)
            text = "text/plain" + (text.find(';') == std::string::npos ? std::string() : text.substr(text.find(';')));
        fields.push_back({{"name", name.UTF8()}, {"value", text}});
    }
    const json parameters = {
        {"requestId", held.interception}, {"responseCode", response.statusCode().value_or(200)}, {"responseHeaders", fields}};
    _link.send(held.session, "Fetch.continueResponse", dump(parameters));
}

// The engine would save this type as a file. It belongs to the page all the same: its bytes are kept, and an empty page stands in
// its frame.
void RequestGate::takeBody(const Held& held, const NSURLResponse& response)
{
    const auto showEmptyPage = [this, held, response](const std::optional<NSData>& body) {
        if (body && onBodyTaken)
            onBodyTaken(held.networkID, *body);
        fulfilWith(held, response, NSDictionary{{u"Content-Type", u"text/html"}}, {});
    };
    if (held.isFulfilled) {
        showEmptyPage(held.data);
        return;
    }
    const json parameters = {{"requestId", held.interception}};
    _link.send(held.session, "Fetch.getResponseBody", dump(parameters), [showEmptyPage](const Connection::Reply& reply) {
        if (reply.refusal)
            showEmptyPage({});
        else
            showEmptyPage(reply.result.boolean("base64Encoded") ? reply.result.base64("body")
                                                                : NSData::dataWithBytes(reply.result.text("body")));
    });
}

void RequestGate::forgetAll()
{
    ++_generation;
    _ownRequest = {};
    _ownDocument.clear();
    _unjudged.clear();
    _redirects.clear();
    _waiting.clear();
}

void RequestGate::goOn(const Held& held) const
{
    _link.send(held.session, "Fetch.continueRequest", R"({"requestId":")" + held.interception + "\"}");
}

void RequestGate::abort(const Held& held) const
{
    _link.send(held.session, "Fetch.failRequest", R"({"requestId":")" + held.interception + R"(","errorReason":"Aborted"})");
}
