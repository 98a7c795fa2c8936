#include "Platform/Engine/DevTools/RequestGate.h"

#include "Platform/Engine/DevTools/NetworkErrors.h"
#include "Platform/Engine/DevTools/ResponseFacts.h"
#include "Platform/Foundation/Value.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;

std::string dump(const json& value)
{
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

bool isRedirect(int64_t status)
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// A header value with what would end it early percent-escaped.
NSString sendableHeaderValue(const NSString& value)
{
    std::string result;
    for (const char byte : value.UTF8()) {
        const auto code = static_cast<unsigned char>(byte);
        if (code < 0x20 || code == 0x7f) {
            static constexpr char digits[] = "0123456789ABCDEF";
            result += {'%', digits[code >> 4], digits[code & 15]};
        } else {
            result += byte;
        }
    }
    return NSString::stringWithRepairedUTF8(result);
}

json headerList(const NSDictionary& fields)
{
    json list = json::array();
    for (const auto& [name, value] : fields)
        list.push_back({{"name", name.UTF8()}, {"value", value.string().UTF8()}});
    return list;
}

}

void RequestGate::enable()
{
    _link.send({}, "Fetch.enable",
        R"({"patterns":[{"resourceType":"Document","requestStage":"Request"},{"resourceType":"Document","requestStage":"Response"}]})");
}

void RequestGate::open(const std::string& session)
{
    _openSessions.insert(session);
    auto waiting = _waiting.extract(session);
    if (waiting.empty())
        return;
    for (const Held& held : waiting.mapped())
        requestHeld(held, false);
}

void RequestGate::expectOwnLoad(const NSURLRequest& request)
{
    _ownRequest = request;
    _ownDocument.clear();
}

void RequestGate::handle(const Message& event)
{
    if (event.method() != "Fetch.requestPaused")
        return;
    const JSONView content = event.content();
    const JSONView request = content.object("request");
    Held held{event.session(), std::string(content.text("requestId")), _link.frameFromEngine(content.text("frameId")),
        DocumentID(content.text("networkId")), {}};
    const bool hasResponse = content.has("responseStatusCode");

    held.request = requestFromEngine(request);
    if (hasResponse) {
        responseHeld(held, content);
    } else if (content.has("responseErrorReason")) {
        goOn(held);
    } else if (_openSessions.contains(_frames.sessionOf(held.frame))) {
        requestHeld(held, content.has("redirectedRequestId"));
    } else {
        _waiting[_frames.sessionOf(held.frame)].push_back(std::move(held));
    }
}

void RequestGate::requestHeld(const Held& held, bool isRedirectTarget)
{
    const FrameTracker::Frame* frame = _frames.find(held.frame);
    if (isRedirectTarget && frame && frame->provisional && frame->provisional->document == held.document) {
        _frames.find(held.frame)->provisional->request = held.request;
        const uint64_t generation = _generation;
        _link.client->navigationRedirected(held.frame, held.request);
        if (generation == _generation)
            sendRequest(held);
        return;
    }
    if (_ownRequest && _ownDocument.empty() && held.frame == EngineLink::mainFrameID) {
        _ownDocument = held.document;
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
            if (!type && held.frame == EngineLink::mainFrameID && asking && asking->announced != held.document)
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
            _frames.dropNavigation(held.frame);
            abort(held);
            return;
        }
        _frames.startNavigation(held.frame, held.document, held.request);
        if (generation == _generation)
            sendRequest(held);
    });
}

void RequestGate::sendRequest(const Held& held)
{
    if (held.document != _ownDocument || !_ownRequest || !_ownRequest.allHTTPHeaderFields().count()) {
        goOn(held);
        return;
    }
    // The program's own header fields go with its own request, whatever redirects it takes.
    NSMutableURLRequest request(held.request);
    for (const auto& [name, value] : _ownRequest.allHTTPHeaderFields())
        request.setValue(sendableHeaderValue(value.string()), name);
    const json parameters = {{"requestId", held.interception}, {"headers", headerList(request.allHTTPHeaderFields())}};
    _link.send(held.session, "Fetch.continueRequest", dump(parameters), [this, held](const Connection::Reply& reply) {
        if (reply.refusal)
            goOn(held);
    });
}

void RequestGate::responseHeld(const Held& held, const JSONView& content)
{
    const int64_t status = content.integer("responseStatusCode");
    const NSURLResponse response = heldResponseFromEngine(held.request.URL(), content);
    if (isRedirect(status) && response.valueForHTTPHeaderField(u"Location")) {
        goOn(held);
        return;
    }
    if ((status == 401 && response.valueForHTTPHeaderField(u"WWW-Authenticate"))
        || (status == 407 && response.valueForHTTPHeaderField(u"Proxy-Authenticate"))) {
        const uint64_t generation = _generation;
        if (onChallenge)
            onChallenge(held.document, response);
        if (generation == _generation) {
            _frames.failDocument(
                held.document, loadError(NSURLErrorDomain, NSURLErrorUserAuthenticationRequired, held.request.URL()));
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
        _unjudged.insert_or_assign(held.document, held);
        goOn(held);
        return;
    }
    askAboutResponse(held, response);
}

void RequestGate::askAboutResponse(const Held& held, const NSURLResponse& response)
{
    _frames.setResponse(held.document, response);
    _link.client->decideResponse(
        held.frame, held.request, response, [this, held, response, generation = _generation](PolicyAnswer answer) {
            if (generation != _generation)
                return;
            if (answer == PolicyAnswer::Use) {
                showResponse(held, response);
            } else {
                _frames.dropNavigation(held.frame);
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
        _frames.dropNavigation(held.frame);
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

// The engine would save this type as a file. It belongs to the page all the same: its bytes are kept, and an empty page stands in its frame.
void RequestGate::takeBody(const Held& held, const NSURLResponse& response)
{
    const json parameters = {{"requestId", held.interception}};
    _link.send(held.session, "Fetch.getResponseBody", dump(parameters),
        [this, held, status = response.statusCode().value_or(200)](const Connection::Reply& reply) {
            if (!reply.refusal && onBodyTaken) {
                onBodyTaken(held.document,
                    reply.result.boolean("base64Encoded") ? reply.result.base64("body")
                                                          : NSData::dataWithBytes(reply.result.text("body")));
            }
            const json answer = {{"requestId", held.interception}, {"responseCode", status},
                {"responseHeaders", json::array({{{"name", "Content-Type"}, {"value", "text/html"}}})}, {"body", ""}};
            _link.send(held.session, "Fetch.fulfillRequest", dump(answer));
        });
}

void RequestGate::forgetAll()
{
    ++_generation;
    _ownRequest = {};
    _ownDocument.clear();
    _unjudged.clear();
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
