#pragma once

#include "Platform/Engine/DevTools/Connection.h"
#include "Platform/Engine/DevTools/DocumentReader.h"
#include "Platform/Engine/DevTools/EngineLink.h"
#include "Platform/Engine/DevTools/EngineProcess.h"
#include "Platform/Engine/DevTools/FrameTracker.h"
#include "Platform/Engine/DevTools/Interruptions.h"
#include "Platform/Engine/DevTools/Printer.h"
#include "Platform/Engine/DevTools/RequestGate.h"
#include "Platform/Engine/DevTools/ResourceTracker.h"
#include "Platform/Engine/PageEngineFactory.h"
#include "Platform/Foundation/NSTimer.h"

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>

// A page engine that is a Chromium process, spoken to in the DevTools protocol.
//
// One target of the engine shows the page; frames of other sites, and workers, may be targets of their own. Each is prepared
// while it waits to start.
class DevToolsEngine final : public PageEngine {
public:
    explicit DevToolsEngine(const PageEngineOptions& options);
    ~DevToolsEngine() override;

    void setClient(PageEngineClient* client) override;
    [[nodiscard]] FrameID mainFrame() const override { return FrameID(EngineLink::mainFrameID); }
    void setRequestsOffered(bool offered) override;
    void load(const NSURLRequest& request, const Settings& settings) override;
    void stop() override;
    [[nodiscard]] std::vector<DocumentSnapshot> documents(std::chrono::steady_clock::time_point deadline) override;
    [[nodiscard]] NSData body(const ResourceID& resource, std::chrono::steady_clock::time_point deadline) override;
    [[nodiscard]] WebVisitorIdentity identityForURL(const NSURL& url, std::chrono::steady_clock::time_point deadline) override;
    [[nodiscard]] NSString frameElement(const FrameID& frame, std::chrono::steady_clock::time_point deadline) override;
    void setViewSize(NSSize size) override { _printer.setViewSize(size); }
    void setMediaType(const NSString& mediaType) override;
    [[nodiscard]] NSSize documentSize(std::chrono::steady_clock::time_point deadline) override
    {
        return _printer.documentSize(deadline);
    }
    [[nodiscard]] NSSize showWhole(std::chrono::steady_clock::time_point deadline) override
    {
        return _printer.showWhole(_settings.javaScriptEnabled, deadline);
    }
    [[nodiscard]] NSData print(const PrintSettings& settings, std::chrono::steady_clock::time_point deadline) override
    {
        return _printer.print(settings, deadline);
    }
    [[nodiscard]] NSData picture(std::chrono::steady_clock::time_point deadline) override
    {
        return _printer.picture(_settings.javaScriptEnabled, deadline);
    }

private:
    struct PendingLoad {
        NSURLRequest request;
        Settings settings;
    };

    void start();
    void startAgain();
    void handle(const Message& event);
    void pageChanged(const JSONView& target);
    void refuseWithoutPage();
    void forgetBlankPage();
    void attached(const JSONView& content);
    void detached(const JSONView& content);
    void targetCrashed(const FrameID& frame);
    void prepare(const std::string& session, bool isPage);
    [[nodiscard]] std::string mediaParameters() const;
    void navigate(const PendingLoad& load);
    void navigateAnswered(const NSURL& url, const Connection::Reply& reply);
    void refuseLoad(const NSURLRequest& request, const NSError& error);
    void ownRequestSent();
    void endIdleTime();
    void documentActivity(const std::string& networkID);
    void checkIdleTime();
    void stopEverything(const NSError& mainFrameError);
    void askForTitle();
    [[nodiscard]] bool isLost();
    [[nodiscard]] bool stillHopes();
    void checkLife();
    void askForLife();
    void report(const NSString& message) const;
    void connectionClosed(const NSString& reason);
    void fail(const NSError& error);

    PageEngineOptions _options;
    EngineIsolation _isolation;
    std::unique_ptr<EngineProcess> _process;
    std::unique_ptr<Connection> _connection;
    EngineLink _link;
    FrameTracker _frames{_link};
    RequestGate _gate{_link, _frames};
    ResourceTracker _resources{_link, _frames};
    DocumentReader _reader{_link, _frames};
    Interruptions _interruptions{_link};
    Printer _printer{_link};

    std::unique_ptr<PageEngineClient> _nobody;   // stands in while there is no client
    NSError _failure;                            // once present, every load fails with it
    std::optional<PendingLoad> _pendingLoad;     // waits for the engine to be ready
    Settings _settings;
    NSString _mediaType;
    std::unordered_set<std::string> _sessions;
    std::unordered_set<DocumentID> _standIns;   // documents that are shown as an empty page

    // From the call of load, the engine is getting ready to ask for the main document; from its request on, idle time counts.
    bool _isPreparing = false;
    NSTimer _idleTimer;      // for both
    double _idleLimit = 0;   // seconds; 0 when nothing is awaited
    std::chrono::steady_clock::time_point _lastActivity;
    uint64_t _loadNumber = 0;

    NSString _title;
    DocumentID _titledDocument;
    NSString _lastTitleNews;
    bool _isAskingForTitle = false;
    bool _shouldAskAgain = false;

    NSTimer _lifeTimer;
    std::optional<std::chrono::steady_clock::time_point> _askedForLife;
    std::chrono::milliseconds _workSeen{-1};   // the engine's processor time when it was last looked at
    bool _isPageToBeFreed = false;             // it is shown, but the main process has not told of it
    bool _hasBlankHistory = true;              // the engine's first page is still one to go back to
    bool _hasAnswered = false;
    bool _wasStartedAgain = false;
    std::shared_ptr<bool> _alive = std::make_shared<bool>(true);   // for news that is told later
};
