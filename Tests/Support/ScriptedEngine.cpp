#include "Support/ScriptedEngine.h"

#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/Value.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace support {

NSURLRequest requestFor(const NSString& url)
{
    return NSURLRequest::requestWithURL(NSURL::URLWithString(url));
}

NSURLResponse response(const NSString& url, const NSString& type, const NSString& encoding, int status)
{
    NSDictionary fields = NSDictionary::dictionary();
    if (type)
        fields.setObject(type, u"Content-Type");
    return NSHTTPURLResponse(NSURL::URLWithString(url), status, fields, type, NSURLResponseUnknownLength, encoding);
}

NSData emptyPDF(NSSize pageSize, int pageCount)
{
    std::string text = "%PDF-1.4\n";
    std::vector<size_t> places;
    const auto add = [&](const std::string& object) {
        places.push_back(text.size());
        text += std::to_string(places.size()) + " 0 obj\n" + object + "\nendobj\n";
    };
    add("<</Type/Catalog/Pages 2 0 R>>");
    std::string pages;
    for (int page = 0; page < pageCount; ++page)
        pages += std::to_string(page + 4) + " 0 R ";
    add("<</Type/Pages/Count " + std::to_string(pageCount) + "/Kids[" + pages + "]>>");
    add("<</Producer(Scripted)/Creator(Scripted engine)>>");
    for (int page = 0; page < pageCount; ++page)
        add("<</Type/Page/Parent 2 0 R/Resources<<>>/MediaBox[0 0 " + std::to_string(pageSize.width) + " "
            + std::to_string(pageSize.height) + "]>>");
    const size_t table = text.size();
    text += "xref\n0 " + std::to_string(places.size() + 1) + "\n0000000000 65535 f \n";
    for (const size_t place : places) {
        const std::string number = std::to_string(place);
        text += std::string(10 - number.size(), '0') + number + " 00000 n \n";
    }
    text += "trailer\n<</Size " + std::to_string(places.size() + 1) + "/Root 1 0 R/Info 3 0 R>>\nstartxref\n"
        + std::to_string(table) + "\n%%EOF\n";
    return NSData::dataWithBytes(text);
}

ScriptedEngine::ScriptedEngine()
{
    _frames[main] = {};
    _order.push_back(main);
    onStop = [](ScriptedEngine& engine) {
        for (const FrameID& name : std::vector<FrameID>(engine._order)) {
            const auto found = engine._frames.find(name);
            if (found == engine._frames.end())
                continue;
            const Frame& each = found->second;
            if (each.provisional || (each.shown && !each.shown->isFinished))
                engine.fail(name, NSURLErrorCancelled);
        }
    };
}

ScriptedEngine::~ScriptedEngine()
{
    if (_ended)
        *_ended = true;
}

void ScriptedEngine::later(Step step)
{
    NSRunLoop::currentRunLoop().performBlock([this, life = std::weak_ptr<bool>(_life), step = std::move(step)] {
        if (!life.expired())
            step(*this);
    });
}

void ScriptedEngine::after(double seconds, Step step)
{
    _timers.push_back(NSTimer::scheduledTimerWithTimeInterval(seconds, false, [this, step = std::move(step)] { step(*this); }));
}

ScriptedEngine::Frame& ScriptedEngine::frame(const FrameID& name)
{
    const auto found = _frames.find(name);
    if (found == _frames.end())
        throw std::logic_error("The script speaks of a frame that is not there: " + name);
    return found->second;
}

ScriptedEngine::Document& ScriptedEngine::current(const FrameID& name)
{
    Frame& of = frame(name);
    if (of.provisional)
        return *of.provisional;
    if (of.shown)
        return *of.shown;
    throw std::logic_error("The script speaks of a frame without a document: " + name);
}

DocumentID ScriptedEngine::document(const FrameID& name) const
{
    const auto found = _frames.find(name);
    if (found == _frames.end())
        return {};
    const Frame& of = found->second;
    return of.provisional ? of.provisional->name : of.shown ? of.shown->name : DocumentID();
}

// Frames.

void ScriptedEngine::attachFrame(const FrameID& name, const FrameID& parent, const NSString& frameName, const NSString& element)
{
    _frames[name].parent = parent;
    _frames[name].element = element;
    _order.push_back(name);
    _client->frameAttached(name, parent);
    if (frameName)
        _client->frameNamed(name, frameName);
}

void ScriptedEngine::detachFrame(const FrameID& name)
{
    // Those inside it go silently with it.
    std::vector<FrameID> gone = {name};
    for (size_t index = 0; index < gone.size(); ++index) {
        for (const auto& [other, state] : _frames) {
            if (state.parent == gone[index])
                gone.push_back(other);
        }
    }
    for (const FrameID& each : gone) {
        _frames.erase(each);
        std::erase(_order, each);
    }
    _client->frameDetached(name);
}

void ScriptedEngine::nameFrame(const FrameID& name, const NSString& frameName)
{
    _client->frameNamed(name, frameName);
}

// Documents.

std::optional<PolicyAnswer> ScriptedEngine::askNavigation(const FrameID& name, const NSString& url, NavigationType type)
{
    const auto answer = std::make_shared<std::optional<PolicyAnswer>>();
    _client->decideNavigation({name, requestFor(url), type}, [answer](PolicyAnswer given) { *answer = given; });
    return *answer;
}

void ScriptedEngine::start(const FrameID& name, const NSString& url)
{
    Document document;
    document.name = name + "-document" + std::to_string(++_names);
    document.url = NSURL::URLWithString(url);
    frame(name).provisional = document;
    _resources[document.name] = {document.url};
    _client->navigationStarted(name, document.name, requestFor(url));
    _client->resourceRequested(document.name, name, document.name, requestFor(url), {});
}

void ScriptedEngine::redirect(const FrameID& name, const NSString& url, int status)
{
    Document& document = current(name);
    const NSURL from = std::exchange(document.url, NSURL::URLWithString(url));
    const DocumentID resource = document.name;
    _client->navigationRedirected(name, requestFor(url));
    _client->resourceRequested(resource, name, resource, requestFor(url), response(from.absoluteString(), {}, {}, status));
}

std::optional<PolicyAnswer> ScriptedEngine::respond(const FrameID& name, const NSString& type, const NSString& encoding)
{
    return respond(name, response(current(name).url.absoluteString(), type, encoding));
}

std::optional<PolicyAnswer> ScriptedEngine::respond(const FrameID& name, const NSURLResponse& answer)
{
    Document& document = current(name);
    document.response = answer;
    const DocumentID asked = document.name;
    _client->resourceResponded(asked, answer);
    const auto decided = std::make_shared<std::optional<PolicyAnswer>>();
    _client->decideResponse(name, requestFor(answer.URL().absoluteString()), answer,
        [this, life = std::weak_ptr<bool>(_life), decided, name, asked](PolicyAnswer given) {
            *decided = given;
            if (life.expired() || given == PolicyAnswer::Use)
                return;
            const auto found = _frames.find(name);
            if (found != _frames.end() && found->second.provisional && found->second.provisional->name == asked)
                found->second.provisional.reset();
        });
    return *decided;
}

void ScriptedEngine::commit(const FrameID& name)
{
    Frame& of = frame(name);
    if (!of.provisional)
        throw std::logic_error("The script commits a load that is not under way: " + name);
    of.shown = std::exchange(of.provisional, std::nullopt);
    of.snapshot.document = of.shown->name;
    of.snapshot.url = of.shown->url;
    std::vector<FrameID> children;
    for (const auto& [other, state] : _frames) {
        if (state.parent == name)
            children.push_back(other);
    }
    const Document document = *of.shown;
    for (const FrameID& child : children)
        detachFrame(child);
    _client->navigationCommitted(name, document.name, document.response);
}

void ScriptedEngine::finish(const FrameID& name)
{
    Document& document = current(name);
    document.isFinished = true;
    if (document.hasLoad)
        _client->resourceFinished(DocumentID(document.name));
    _client->documentFinished(name);
}

void ScriptedEngine::fail(const FrameID& name, const NSError& error)
{
    Frame& of = frame(name);
    if (of.provisional) {
        const Document document = *std::exchange(of.provisional, std::nullopt);
        if (document.hasLoad)
            _client->resourceFailed(document.name, error);
        _client->navigationFailed(name, error);
    } else if (of.shown) {
        of.shown->isFinished = true;
        _client->documentFailed(name, error);
    } else {
        _client->navigationFailed(name, error);
    }
}

void ScriptedEngine::fail(const FrameID& name, int64_t code)
{
    fail(name, NSError(NSURLErrorDomain, code));
}

void ScriptedEngine::title(const FrameID& name, const NSString& text)
{
    _client->titleChanged(name, text);
}

void ScriptedEngine::redirectByClient(const FrameID& name, const NSString& url, double delay)
{
    _client->clientRedirectScheduled(name, NSURL::URLWithString(url), delay);
}

void ScriptedEngine::clearClientRedirect(const FrameID& name)
{
    _client->clientRedirectCleared(name);
}

void ScriptedEngine::refuseNewWindow(const NSString& url, const NSString& name)
{
    _client->newWindowRefused(requestFor(url), name);
}

bool ScriptedEngine::openPage(const FrameID& name, const NSString& url, const NSString& markup, const NSString& type)
{
    if (askNavigation(name, url) != PolicyAnswer::Use)
        return false;
    start(name, url);
    if (respond(name, type) != PolicyAnswer::Use)
        return false;
    setBody(document(name), NSData::dataWithBytes(markup.UTF8()));
    commit(name);
    setSnapshot(name, markup, type);
    return true;
}

bool ScriptedEngine::showPage(const FrameID& name, const NSString& url, const NSString& markup, const NSString& type)
{
    if (!openPage(name, url, markup, type))
        return false;
    finish(name);
    return true;
}

void ScriptedEngine::showBlank(const FrameID& name, const NSString& markup, const NSString& url)
{
    Document document;
    document.name = name + "-document" + std::to_string(++_names);
    document.url = NSURL::URLWithString(url);
    document.hasLoad = false;
    frame(name).provisional = document;
    _client->navigationStarted(name, document.name, requestFor(url));
    commit(name);
    setSnapshot(name, markup);
    finish(name);
}

void ScriptedEngine::setSnapshot(const FrameID& name, const NSString& markup, const NSString& type, const NSString& encoding)
{
    Frame& of = frame(name);
    of.snapshot.frame = name;
    of.snapshot.document = of.shown ? of.shown->name : name + "-initial";
    of.snapshot.markup = markup;
    of.snapshot.MIMEType = type;
    of.snapshot.textEncodingName = encoding;
    of.hasSnapshot = true;
}

// Resources.

ResourceID ScriptedEngine::request(const FrameID& name, const NSString& url, const ResourceID& given, const NSString& method)
{
    const ResourceID resource = given.empty() ? "resource" + std::to_string(++_names) : given;
    NSMutableURLRequest asked(requestFor(url));
    asked.setHTTPMethod(method);
    _resources[resource] = {asked.URL()};
    _client->resourceRequested(resource, name, document(name), asked, {});
    return resource;
}

ScriptedEngine::Answer ScriptedEngine::ask(const OfferedRequest& offered)
{
    const auto answer = std::make_shared<std::optional<RequestAnswer>>();
    _client->willSendRequest(offered, [answer](const RequestAnswer& given) {
        if (*answer)
            throw std::logic_error("A request is answered twice.");
        *answer = given;
    });
    return answer;
}

ScriptedEngine::Answer ScriptedEngine::offerDocument(const FrameID& name, const NSURLResponse& redirectResponse)
{
    const Document& document = current(name);
    return ask({document.name, name, document.name, requestFor(document.url.absoluteString()), redirectResponse});
}

ScriptedEngine::Answer ScriptedEngine::offer(
    const FrameID& name, const NSString& url, const ResourceID& given, const NSURLResponse& redirectResponse)
{
    const ResourceID resource = given.empty() ? "resource" + std::to_string(++_names) : given;
    return ask({resource, name, document(name), requestFor(url), redirectResponse});
}

void ScriptedEngine::redirectResource(const ResourceID& resource, const NSString& url, int status)
{
    const NSURL from = std::exchange(_resources[resource].url, NSURL::URLWithString(url));
    _client->resourceRequested(resource, {}, {}, requestFor(url), response(from.absoluteString(), {}, {}, status));
}

void ScriptedEngine::answer(const ResourceID& resource, const NSURLResponse& given)
{
    _client->resourceResponded(resource, given);
}

void ScriptedEngine::receive(const ResourceID& resource, int64_t length)
{
    _client->resourceReceivedData(resource, length);
}

void ScriptedEngine::finishResource(const ResourceID& resource, const NSData& body)
{
    if (body)
        setBody(resource, body);
    _client->resourceFinished(resource);
}

void ScriptedEngine::failResource(const ResourceID& resource, int64_t code)
{
    _client->resourceFailed(resource, NSError(NSURLErrorDomain, code));
}

ResourceID ScriptedEngine::loadResource(
    const FrameID& name, const NSString& url, std::string_view body, const NSString& type, int status)
{
    const ResourceID resource = request(name, url);
    answer(resource, response(url, type, {}, status));
    finishResource(resource, NSData::dataWithBytes(body));
    return resource;
}

void ScriptedEngine::refuseAuthentication(const ResourceID& resource)
{
    _client->authenticationRefused(resource, response(_resources[resource].url.absoluteString(), u"text/html", {}, 401));
}

// Faults.

void ScriptedEngine::failDocuments()
{
    onDocuments = [] { throw NSException(NSGenericException, u"The scripted engine does not tell its documents."); };
}

void ScriptedEngine::failBody(const ResourceID& resource)
{
    onBody = [resource, before = std::move(onBody)](const ResourceID& asked) {
        if (before)
            before(asked);
        if (asked == resource)
            throw NSException(NSGenericException, u"The scripted engine does not tell this body.");
    };
}

void ScriptedEngine::failEngine(const NSError& error)
{
    _isGone = true;
    _client->engineFailed(error);
}

void ScriptedEngine::beginAnswer(std::chrono::steady_clock::time_point deadline) const
{
    if (onDeadline)
        onDeadline(deadline);
    if (_isGone)
        throw NSException(NSGenericException, u"The scripted engine is gone.");
}

// PageEngine.

void ScriptedEngine::load(const NSURLRequest& request, const Settings& settings)
{
    _loads.push_back({request, settings});
    later([request](ScriptedEngine& engine) {
        if (engine.onLoad)
            engine.onLoad(engine, request);
    });
}

void ScriptedEngine::stop()
{
    ++_stops;
    later([](ScriptedEngine& engine) {
        if (engine.onStop)
            engine.onStop(engine);
    });
}

std::vector<DocumentSnapshot> ScriptedEngine::documents(std::chrono::steady_clock::time_point deadline)
{
    ++_documentQuestions;
    beginAnswer(deadline);
    if (onDocuments)
        onDocuments();
    if (_fixedDocuments)
        return *_fixedDocuments;
    std::vector<DocumentSnapshot> documents;
    appendDocuments(main, documents);
    return documents;
}

void ScriptedEngine::appendDocuments(const FrameID& name, std::vector<DocumentSnapshot>& documents) const
{
    if (_frames.at(name).hasSnapshot)
        documents.push_back(_frames.at(name).snapshot);
    for (const FrameID& each : _order) {
        if (_frames.at(each).parent == name)
            appendDocuments(each, documents);
    }
}

NSData ScriptedEngine::body(const ResourceID& resource, std::chrono::steady_clock::time_point deadline)
{
    _bodyQuestions.push_back(resource);
    beginAnswer(deadline);
    if (onBody)
        onBody(resource);
    const auto found = _bodies.find(resource);
    return found == _bodies.end() ? NSData() : found->second;
}

NSString ScriptedEngine::frameElement(const FrameID& name, std::chrono::steady_clock::time_point deadline)
{
    beginAnswer(deadline);
    return frame(name).element;
}

NSSize ScriptedEngine::documentSize(std::chrono::steady_clock::time_point deadline)
{
    beginAnswer(deadline);
    return sizeOfDocument.value_or(_viewSize);
}

NSSize ScriptedEngine::showWhole(std::chrono::steady_clock::time_point deadline)
{
    ++_timesShownWhole;
    return documentSize(deadline);
}

NSData ScriptedEngine::print(const PrintSettings& settings, std::chrono::steady_clock::time_point deadline)
{
    _prints.push_back(settings);
    beginAnswer(deadline);
    return onPrint ? onPrint(settings) : emptyPDF(settings.paperSize);
}

NSData ScriptedEngine::picture(std::chrono::steady_clock::time_point deadline)
{
    beginAnswer(deadline);
    return onPicture ? onPicture() : NSData();
}

}
