#include "Platform/Engine/DevTools/DevToolsEngine.h"

#include "Platform/Engine/DevTools/EngineFlags.h"
#include "Platform/Engine/DevTools/EngineIsolation.h"
#include "Platform/Engine/DevTools/NetworkErrors.h"
#include "Platform/Engine/EngineLocation.h"
#include "Platform/Engine/PageEngineErrors.h"
#include "Platform/Engine/SilentPageEngineClient.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/Value.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;
using std::chrono::steady_clock;
using namespace std::chrono_literals;

// How often an engine that says nothing is asked whether it lives, and how long it may then stay silent.
constexpr auto lifeInterval = 500ms;
constexpr auto longestSilence = 3s;
// The first answer may take longer: a large program is read from the disk.
constexpr auto longestStart = 4s;
// How long an engine that works all the time may stay silent.
constexpr auto longestWork = 20s;
// How long it may take to get ready for a load, before the request for it is on its way.
constexpr auto longestPreparation = 10s;

// News that nobody here needs. The network events are most of what the engine says; those that are not read are not even parsed.
bool isIgnored(std::string_view method)
{
    static constexpr std::array ignored = {"Network.policyUpdated", "Network.requestWillBeSentExtraInfo",
        "Network.responseReceivedExtraInfo", "Network.resourceChangedPriority", "Network.webSocketFrameReceived",
        "Network.webSocketFrameSent", "Page.frameStartedLoading", "Page.frameResized", "Page.navigatedWithinDocument",
        "Network.signedExchangeReceived", "Network.responseReceivedEarlyHints"};
    return std::find(ignored.begin(), ignored.end(), method) != ignored.end();
}

// A frame that goes takes its session along. In the session of a process that crashed nothing is answered either, unless
// something else is loaded there.
std::optional<Connection::SessionChange> sessionChangeOf(const Message& event)
{
    if (event.method() == "Target.detachedFromTarget")
        return Connection::SessionChange{std::string(event.content().text("sessionId")), true};
    if (event.method() == "Inspector.targetCrashed")
        return Connection::SessionChange{event.session(), true};
    if (event.method() == "Inspector.targetReloadedAfterCrash")
        return Connection::SessionChange{event.session(), false};
    return {};
}

// What loads fail with when the engine, or its part that shows the page, is gone.
NSError engineEnded(const NSString& reason)
{
    return NSError(NSURLErrorDomain, NSURLErrorUnknown,
        {{NSLocalizedFailureReasonErrorKey, reason}, {NSUnderlyingErrorKey, engineError(EngineErrorEnded, reason)}});
}

bool isLoadableScheme(const NSString& scheme)
{
    static const std::array<NSString, 6> schemes = {u"http", u"https", u"file", u"about", u"data", u"blob"};
    return std::find(schemes.begin(), schemes.end(), scheme.lowercaseString()) != schemes.end();
}

// What every document runs before its own scripts. Nobody is there whose window a page could close. A script that goes back shows
// a message before, and so waits until what it must not go back to is forgotten (see forgetBlankPage).
constexpr std::string_view firstScriptOfPages =
    R"JS({"source":"window.close=function(){};for(const name of['back','go']){const own=History.prototype[name];)JS"
    R"JS(History.prototype[name]=function(...by){alert();return own.apply(this,by)}}"})JS";

// What is in memory is answered without a request that could be offered.
std::string_view memoryParameters(bool disabled)
{
    return disabled ? R"({"cacheDisabled":true})" : R"({"cacheDisabled":false})";
}

}

std::unique_ptr<PageEngine> makePageEngine(const PageEngineOptions& options)
{
    return std::make_unique<DevToolsEngine>(options);
}

DevToolsEngine::DevToolsEngine(const PageEngineOptions& options)
    : _options(options), _nobody(std::make_unique<SilentPageEngineClient>())
{
    _link.client = _nobody.get();
    _gate.onBodyTaken = [this](const DocumentID& document, NSData body) {
        _standIns.insert(document);
        _resources.setBody(document, std::move(body));
    };
    _gate.onRefusedTooLate = [this] { stop(); };
    _gate.onOwnRequestSent = [this] { ownRequestSent(); };
    _gate.onChallenge = [this](const DocumentID& document, const NSURLResponse& response) {
        _link.client->authenticationRefused(document, response);
    };
    _resources.onActivity = [this](const std::string& networkID) { documentActivity(networkID); };
    _resources.ownURL = [this] { return _gate.hasSeenOwnLoad() ? NSURL() : _gate.ownURL(); };
    _resources.onDocumentResponse = [this](const DocumentID& document, const NSURLResponse& response) {
        _gate.judgeGuessedType(document, response);
    };
    _gate.onRefused = [this](const std::string& networkID, const NSError& error) { _resources.setFailure(networkID, error); };
    start();
}

DevToolsEngine::~DevToolsEngine()
{
    // Nothing that ends here tells anybody.
    _link.client = _nobody.get();
    _link.connection = nullptr;
    _connection.reset();
}

void DevToolsEngine::setClient(PageEngineClient* client)
{
    _link.client = client ? client : _nobody.get();
}

void DevToolsEngine::start()
{
    EngineProcess::Options process;
    process.executable = engineExecutable(_options.enginePath, &_failure);
    if (process.executable.empty())
        return;
    const NSString saidBefore = _isolation.reasonForNoSandbox;
    if (_wasStartedAgain && _isolation.user)
        _isolation = {u"it does not start as an unprivileged user", {}};
    else
        _isolation = engineIsolation(process.executable, EngineProcess::temporaryFolder(), _options.readsLocalFiles);
    process.user = _isolation.user;
    const NSString noSandbox = _isolation.reasonForNoSandbox;
    if (noSandbox && noSandbox != saidBefore)
        report(NSString::stringWithFormat(u"The page engine runs without its sandbox, because %@.", noSandbox));
    process.flags = engineFlags(_options.viewSize, !noSandbox.isAbsent(), _options.withoutNetwork);
    NSError error;
    _process = EngineProcess::start(process, &error);
    if (!_process) {
        _failure = error;
        return;
    }
    _connection = std::make_unique<Connection>(_process->commandDescriptor(), _process->messageDescriptor());
    _link.connection = _connection.get();
    _connection->setIgnoredEvents(isIgnored);
    _connection->setUrgentEvents([](std::string_view method) { return method == "Page.javascriptDialogOpening"; });
    _connection->setEventHandler([this](const Message& event) { handle(event); });
    _connection->setSessionChanges(sessionChangeOf);
    _connection->setSilenceHandler([this] { return stillHopes(); });
    _connection->setClosedHandler([this](const NSString& reason) { connectionClosed(reason); });
    _interruptions.refuseForGood();
    _gate.enable();
    _link.send({}, "Target.setDiscoverTargets", R"({"discover":true,"filter":[{"type":"page"}]})");
    _link.send({}, "Target.setAutoAttach",
        R"({"autoAttach":true,"waitForDebuggerOnStart":true,"flatten":true,"filter":[{"type":"page"}]})");
    askForLife();
    _lifeTimer = NSTimer::scheduledTimerWithTimeInterval(
        std::chrono::duration<double>(lifeInterval).count(), true, [this] { checkLife(); });
}

void DevToolsEngine::startAgain()
{
    _lifeTimer.invalidate();
    _askedForLife.reset();
    _link.connection = nullptr;
    _connection.reset();
    _process.reset();
    start();
    if (_failure)
        fail(std::exchange(_failure, {}));
}

void DevToolsEngine::handle(const Message& event)
{
    _hasAnswered = true;
    const std::string_view method = event.method();
    const JSONView content = event.content();
    if (method.starts_with("Network.")) {
        _resources.handle(event);
    } else if (method.starts_with("Fetch.")) {
        _gate.handle(event);
    } else if (method == "Target.attachedToTarget") {
        attached(content);
    } else if (method == "Target.detachedFromTarget") {
        detached(content);
    } else if (method == "Target.targetCrashed") {
        targetCrashed(_link.frameFromEngine(content.text("targetId")));
    } else if (method == "Inspector.targetCrashed") {
        targetCrashed(_frames.frameOfSession(event.session()));
    } else if (method == "Target.targetInfoChanged") {
        const JSONView target = content.object("targetInfo");
        if (target.text("targetId") == _link.mainFrameTarget)
            pageChanged(target);
    } else if (event.session() == _link.pageSession || _sessions.contains(event.session())) {
        if (method == "Page.javascriptDialogOpening")
            forgetBlankPage();
        if (method == "Page.domContentEventFired" && event.session() == _link.pageSession) {
            forgetBlankPage();
            askForTitle();
        }
        if (method == "Page.frameNavigated" && content.object("frame").text("parentId").empty()
            && event.session() == _link.pageSession)
            _isPageToBeFreed = true;
        _interruptions.handle(event);
        _frames.handle(event);
    }
}

void DevToolsEngine::pageChanged(const JSONView& target)
{
    // The page's process tells first that a page is shown. Before the main process tells so too, what is set for the page's
    // requests would be set for the page before.
    if (std::exchange(_isPageToBeFreed, false))
        _gate.freePage();
    const NSString news = target.string("title");
    if (news != _lastTitleNews) {
        _lastTitleNews = news;
        askForTitle();
    }
}

// The empty page that the engine started with is none that a script could go back to: nobody would be asked about that.
void DevToolsEngine::forgetBlankPage()
{
    const FrameTracker::Frame* main = _frames.find(mainFrame());
    if (_hasBlankHistory && !main->document.empty()) {
        _hasBlankHistory = false;
        _link.send(_link.pageSession, "Page.resetNavigationHistory");
    }
}

void DevToolsEngine::attached(const JSONView& content)
{
    const std::string session(content.text("sessionId"));
    const JSONView target = content.object("targetInfo");
    const std::string_view type = target.text("type");
    if (type == "page") {
        if (!_link.pageSession.empty()) {
            _interruptions.closeWindow(target, session);
            return;
        }
        _link.pageSession = session;
        _link.mainFrameTarget = target.text("targetId");
        prepare(session, true);
        if (auto load = std::exchange(_pendingLoad, {}))
            navigate(*load);
        return;
    }
    if (type == "iframe")
        _frames.moveFrame(_link.frameFromEngine(target.text("targetId")), session);
    prepare(session, type == "iframe");
    _link.send(session, "Runtime.runIfWaitingForDebugger");
}

// What is sent here is in force before the target loads anything: it waits, or its first request is held by the gate until all of
// this is confirmed. The engine does not answer in the order of the commands, and a page that starts in a process of its own
// takes along only what was confirmed by then.
void DevToolsEngine::prepare(const std::string& session, bool isPage)
{
    _sessions.insert(session);
    if (!isPage) {
        _link.send(session, "Network.enable", ResourceTracker::networkParameters);
        if (_gate.areRequestsOffered())
            _link.send(session, "Network.setCacheDisabled", memoryParameters(true));
        return;
    }
    const auto awaited = std::make_shared<int>(0);
    const auto confirm = [this, session, awaited](std::string_view method, std::string_view parameters) {
        ++*awaited;
        _link.send(session, method, parameters, [this, session, awaited](const Connection::Reply&) {
            if (--*awaited == 0)
                _gate.open(session);
        });
    };
    confirm("Network.enable", ResourceTracker::networkParameters);
    if (_gate.areRequestsOffered())
        confirm("Network.setCacheDisabled", memoryParameters(true));
    confirm("Page.enable", "{}");
    if (!_settings.javaScriptEnabled)
        confirm("Emulation.setScriptExecutionDisabled", R"({"value":true})");
    if (_mediaType)
        confirm("Emulation.setEmulatedMedia", mediaParameters());
    confirm("Page.addScriptToEvaluateOnNewDocument", firstScriptOfPages);
    confirm("Target.setAutoAttach",
        R"({"autoAttach":true,"waitForDebuggerOnStart":true,"flatten":true,"filter":[{"type":"iframe"},{"type":"worker"}]})");
    _link.send(session, "Inspector.enable");
}

void DevToolsEngine::setMediaType(const NSString& mediaType)
{
    _mediaType = mediaType;
    for (const std::string& session : _sessions)
        _link.send(session, "Emulation.setEmulatedMedia", mediaParameters());
}

std::string DevToolsEngine::mediaParameters() const
{
    const json parameters = {{"media", _mediaType ? _mediaType.UTF8() : std::string()}};
    return parameters.dump(-1, ' ', false, json::error_handler_t::replace);
}

void DevToolsEngine::setRequestsOffered(bool offered)
{
    if (offered == _gate.areRequestsOffered())
        return;
    _gate.setRequestsOffered(offered);
    for (const std::string& session : _sessions)
        _link.send(session, "Network.setCacheDisabled", memoryParameters(offered));
}

// A page is lost with its process. Without the process of one of its frames it only lacks that frame.
void DevToolsEngine::targetCrashed(const FrameID& frame)
{
    if (frame == EngineLink::mainFrameID) {
        fail(engineEnded(u"The process that showed the page ended unexpectedly."));
    } else if (_frames.find(frame)) {
        _resources.loseSession(_frames.sessionOf(frame));
        _frames.loseFrame(
            frame, loadError(NSURLErrorDomain, NSURLErrorUnknown, {}, u"The process that showed the frame ended unexpectedly."));
    }
}

void DevToolsEngine::detached(const JSONView& content)
{
    const std::string session(content.text("sessionId"));
    _sessions.erase(session);
    if (session == _link.pageSession)
        fail(engineEnded(u"The engine closed the page."));
}

void DevToolsEngine::load(const NSURLRequest& request, const Settings& settings)
{
    if (_frames.isAnythingLoading() || _pendingLoad)
        stop();
    ++_loadNumber;
    if (_failure) {
        refuseLoad(request, _failure);
        return;
    }
    if (!isLoadableScheme(request.URL().scheme())) {
        refuseLoad(request, loadError(NSURLErrorDomain, NSURLErrorUnsupportedURL, request.URL()));
        return;
    }
    if (_link.pageSession.empty()) {
        _settings = settings;
        _pendingLoad = PendingLoad{request, settings};
    } else {
        navigate({request, settings});
    }
}

void DevToolsEngine::navigate(const PendingLoad& load)
{
    _gate.expectOwnLoad(load.request);
    // The server's time begins with the request: what a busy machine needs until then is not taken from it.
    _idleLimit = load.request.timeoutInterval();
    _isPreparing = true;
    _idleTimer =
        NSTimer::scheduledTimerWithTimeInterval(std::chrono::duration<double>(longestPreparation).count(), false, [this] {
            fail(engineError(EngineErrorDoesNotAnswer, u"The page engine does not begin to load the page.",
                u"Try again; when it happens every time, install another version of the package chromium-headless-shell."));
        });
    if (load.settings.javaScriptEnabled != _settings.javaScriptEnabled) {
        _settings = load.settings;
        _link.send(_link.pageSession, "Emulation.setScriptExecutionDisabled",
            load.settings.javaScriptEnabled ? R"({"value":false})" : R"({"value":true})",
            [this, load, number = _loadNumber](const Connection::Reply&) {
                if (number == _loadNumber)
                    navigate(load);
            });
        return;
    }
    _settings = load.settings;
    json parameters = {{"url", load.request.URL().absoluteString().UTF8()}};
    // What is no address is sent as a header field only.
    const NSString referer = load.request.valueForHTTPHeaderField(u"Referer");
    if (NSURL::URLWithString(referer)) {
        parameters["referrer"] = referer.UTF8();
        parameters["referrerPolicy"] = "unsafeUrl";
    }
    _link.send(_link.pageSession, "Page.navigate", parameters.dump(-1, ' ', false, json::error_handler_t::replace),
        [this, request = load.request, number = _loadNumber](const Connection::Reply& reply) {
            if (number == _loadNumber)
                navigateAnswered(request.URL(), reply);
        });
}

// A load that fails is told of by events when it got as far as a request; this answer tells of those that did not.
void DevToolsEngine::navigateAnswered(const NSURL& url, const Connection::Reply& reply)
{
    if (std::exchange(_isPreparing, false))
        _idleTimer.invalidate();
    if (reply.refusal && !_failure && _connection->isOpen()) {
        refuseLoad(NSURLRequest::requestWithURL(url), loadError(NSURLErrorDomain, NSURLErrorBadURL, url));
    } else if (!reply.refusal && !reply.result.text("errorText").empty()) {
        const DocumentID document(reply.result.text("loaderId"));
        const NSError error = errorFromEngineName(reply.result.text("errorText"), url);
        if (_gate.hasSeenOwnLoad())
            _frames.failDocument(document, error);
        else
            refuseLoad(NSURLRequest::requestWithURL(url), error);
    }
}

// Tells the client, in the next pass of the run loop, of a load that the engine never began.
void DevToolsEngine::refuseLoad(const NSURLRequest& request, const NSError& error)
{
    NSDictionary userInfo = error.userInfo();
    if (request.URL() && !userInfo[NSURLErrorFailingURLStringErrorKey]) {
        userInfo.setObject(request.URL().absoluteString(), NSURLErrorFailingURLStringErrorKey);
        userInfo.setObject(request.URL(), NSURLErrorKey);
    }
    NSRunLoop::currentRunLoop().performBlock([this, request, alive = std::weak_ptr<bool>(_alive),
                                                 error = NSError(error.domain(), error.code(), userInfo), number = _loadNumber] {
        if (alive.expired() || number != _loadNumber)
            return;
        const DocumentID document = "refused-" + std::to_string(number);
        _frames.startNavigation(mainFrame(), document, request);
        _frames.failDocument(document, error);
    });
}

void DevToolsEngine::stop()
{
    stopEverything(loadError(NSURLErrorDomain, NSURLErrorCancelled, _gate.ownURL()));
}

void DevToolsEngine::stopEverything(const NSError& mainFrameError)
{
    ++_loadNumber;
    _pendingLoad.reset();
    endIdleTime();
    _gate.forgetAll();
    for (const std::string& session : _sessions)
        _link.send(session, "Page.stopLoading");
    _frames.failAll(mainFrameError, false);
}

void DevToolsEngine::ownRequestSent()
{
    _isPreparing = false;
    _idleTimer.invalidate();
    _lastActivity = steady_clock::now();
    checkIdleTime();
}

void DevToolsEngine::endIdleTime()
{
    _isPreparing = false;
    _idleLimit = 0;
    _idleTimer.invalidate();
}

void DevToolsEngine::documentActivity(const std::string& networkID)
{
    if (_idleLimit <= 0)
        return;
    const FrameTracker::Frame* main = _frames.find(mainFrame());
    if (main->document == networkID || (main->provisional && main->provisional->document == networkID))
        _lastActivity = steady_clock::now();
}

void DevToolsEngine::checkIdleTime()
{
    if (_idleLimit <= 0)
        return;
    const double idle = std::chrono::duration<double>(steady_clock::now() - _lastActivity).count();
    if (idle < _idleLimit) {
        _idleTimer = NSTimer::scheduledTimerWithTimeInterval(_idleLimit - idle, false, [this] { checkIdleTime(); });
        return;
    }
    const FrameTracker::Frame* main = _frames.find(mainFrame());
    const bool isAwaited = main->provisional || (main->isLoading && !_resources.isFinished(main->document));
    if (!isAwaited)
        return;
    const NSURL url = _gate.ownURL();
    stopEverything(loadError(NSURLErrorDomain, NSURLErrorTimedOut, url));
}

void DevToolsEngine::askForTitle()
{
    if (_isAskingForTitle) {
        _shouldAskAgain = true;
        return;
    }
    _isAskingForTitle = true;
    _link.send(_link.pageSession, "Runtime.evaluate",
        R"JSON({"expression":"Object.getOwnPropertyDescriptor(Document.prototype,'title').get.call(document)","returnByValue":true})JSON",
        [this](const Connection::Reply& reply) {
            _isAskingForTitle = false;
            if (std::exchange(_shouldAskAgain, false))
                askForTitle();
            const NSString title = reply.refusal ? NSString() : reply.result.object("result").string("value");
            const FrameTracker::Frame* main = _frames.find(mainFrame());
            if (title.length() == 0 || main->document.empty() || (title == _title && main->document == _titledDocument))
                return;
            _title = title;
            _titledDocument = main->document;
            _link.client->titleChanged(mainFrame(), title);
        });
}

bool DevToolsEngine::isLost()
{
    if (!_askedForLife)
        return false;
    const auto silence = steady_clock::now() - std::max(*_askedForLife, _connection->lastHeard());
    if (silence <= (_hasAnswered ? longestSilence : longestStart))
        return false;
    // One that works, on a busy machine or on a page of a hundred megabytes, will answer.
    const auto work = _process->processorTime();
    return std::exchange(_workSeen, work) == work || silence > longestWork;
}

// What checkLife does, for a time in which no timer fires. The failure is told by the timer afterwards.
bool DevToolsEngine::stillHopes()
{
    if (!_askedForLife)
        askForLife();
    return !isLost();
}

void DevToolsEngine::checkLife()
{
    if (!_connection->isOpen())
        return;
    if (isLost()) {
        fail(_hasAnswered
                ? engineError(EngineErrorDoesNotAnswer, u"The page engine does not answer any more.",
                    u"Try again; when it happens every time, install another version of the package chromium-headless-shell.")
                : engineError(EngineErrorDoesNotAnswer, u"The page engine does not answer.",
                    u"Check that the engine's command can be run by hand, or install the package chromium-headless-shell."));
        return;
    }
    if (!_askedForLife && steady_clock::now() - _connection->lastHeard() > lifeInterval)
        askForLife();
    // Now and then the engine does not tell that a page which is still loading has a title.
    const FrameTracker::Frame* main = _frames.find(mainFrame());
    if (main->isLoading && main->document != _titledDocument)
        askForTitle();
}

void DevToolsEngine::askForLife()
{
    _askedForLife = steady_clock::now();
    _link.send({}, "Browser.getVersion", "{}", [this](const Connection::Reply&) { _askedForLife.reset(); });
}

void DevToolsEngine::report(const NSString& message) const
{
    if (_options.report)
        _options.report(message);
}

void DevToolsEngine::connectionClosed(const NSString& reason)
{
    const NSString words = _process->exitDescription(200).value_or(reason);
    // On a busy machine an engine now and then crashes while it starts, before it has done anything; the next one does not.
    if (!_hasAnswered && !std::exchange(_wasStartedAgain, true)) {
        report(NSString::stringWithFormat(u"The page engine ended while it started, and is started again. %@", words));
        NSRunLoop::currentRunLoop().performBlock([this, alive = std::weak_ptr<bool>(_alive)] {
            if (!alive.expired())
                startAgain();
        });
        return;
    }
    if (_hasAnswered) {
        fail(engineEnded(words));
    } else {
        fail(engineError(EngineErrorDoesNotStart, NSString::stringWithFormat(u"The page engine could not be started. %@", words),
            u"Check that the engine's command can be run by hand, or install the package chromium-headless-shell."));
    }
}

// The end of the engine, whatever ended it: from here on every load fails with this error.
void DevToolsEngine::fail(const NSError& error)
{
    if (_failure)
        return;
    _failure = error;
    _lifeTimer.invalidate();
    endIdleTime();
    _gate.forgetAll();
    const bool wasLoading = _frames.isAnythingLoading();
    const std::weak_ptr<bool> alive = _alive;
    if (_pendingLoad) {
        const NSURLRequest request = std::exchange(_pendingLoad, {})->request;
        refuseLoad(request, error);
    } else if (!wasLoading && _gate.ownURL() && !_gate.hasSeenOwnLoad()) {
        refuseLoad(NSURLRequest::requestWithURL(_gate.ownURL()), error);
    }
    _frames.failAll(error, true);
    if (!alive.expired())
        _link.client->engineFailed(error);
}

std::vector<DocumentSnapshot> DevToolsEngine::documents(steady_clock::time_point deadline)
{
    if (_failure)
        throw NSException(NSGenericException,
            _failure.localizedFailureReason() ? _failure.localizedFailureReason() : _failure.localizedDescription());
    refuseWithoutPage();
    // The bytes are wanted next: the engine prepares them while it is asked for the documents.
    _resources.askForBodies();
    return _reader.documents(
        deadline, _settings.javaScriptEnabled, [this](const DocumentID& document) { return _standIns.contains(document); });
}

// What is left of a page is not the page: until the news of its end is told, nothing of it is given out.
void DevToolsEngine::refuseWithoutPage()
{
    if (_failure || !_connection)
        return;
    if (!_connection->isOpen() || isLost())
        throw NSException(NSGenericException, u"The page engine is gone.");
    if (_connection->hasEnded(_link.pageSession))
        throw NSException(NSGenericException, u"The process that showed the page ended unexpectedly.");
}

NSData DevToolsEngine::body(const ResourceID& resource, steady_clock::time_point deadline)
{
    refuseWithoutPage();
    return _resources.body(resource, deadline);
}

WebVisitorIdentity DevToolsEngine::identityForURL(const NSURL& url, steady_clock::time_point deadline)
{
    struct Answer {
        WebVisitorIdentity identity;
        int awaited = 2;
    };
    const auto answer = std::make_shared<Answer>();
    if (!_connection || !_connection->isOpen() || _link.pageSession.empty())
        return {};
    _link.send({}, "Browser.getVersion", "{}", [answer](const Connection::Reply& reply) {
        --answer->awaited;
        answer->identity.userAgent = reply.result.string("userAgent");
    });
    const json cookies = {{"urls", {url.absoluteString().UTF8()}}};
    _link.send(_link.pageSession, "Network.getCookies", cookies.dump(), [answer](const Connection::Reply& reply) {
        --answer->awaited;
        std::string list;
        reply.result.forEachIn("cookies", [&](JSONView cookie) {
            list += (list.empty() ? "" : "; ") + std::string(cookie.text("name")) + "=" + std::string(cookie.text("value"));
        });
        if (!list.empty())
            answer->identity.cookies = NSString::stringWithRepairedUTF8(list);
    });
    return _connection->waitForReplies([&] { return answer->awaited == 0; }, deadline) ? answer->identity : WebVisitorIdentity();
}

NSString DevToolsEngine::frameElement(const FrameID& frame, steady_clock::time_point deadline)
{
    return _reader.frameElement(frame, deadline);
}
