#pragma once

#include "Platform/Engine/PageEngineFactory.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSNotificationCenter.h"
#include "Platform/Foundation/Value.h"
#include "Platform/Print/NSPrintInfo.h"
#include "Platform/Web/WebView.h"
#include "QVRLogger.h"
#include "Tools/Deadline.h"

#include <functional>
#include <memory>
#include <string_view>

// The preferences domain of the host application, where all settings of the tool are.
inline const NSString HostDomain = u"com.brackenlow.Tarnwick";

// Makes the engine of a loader's view.
using PageEngineMaker = std::function<std::unique_ptr<PageEngine>(const PageEngineOptions&)>;

// Drives one offscreen view through the load of a page and knows when the page is done: when nothing has been loading
// for the grace period, when a title is known and only that is wanted, or when the time-out date has passed. Main
// thread only; one per process.
class Loader : public WebFrameLoadDelegate, public WebPolicyDelegate, public WebResourceLoadDelegate {
public:
    // Empties the URL cache for good, and makes the view: 612 × 612 points, 8.5 inches at 72 points each.
    // `readsLocalFiles` when the page is made of files of this process's user.
    explicit Loader(const PageEngineMaker& makeEngine, bool readsLocalFiles = false);
    Loader(const Loader&) = delete;
    Loader& operator=(const Loader&) = delete;
    ~Loader() override;

    // Only the title is wanted: the wait ends as soon as there is one, and without a grace period. To be set before loading.
    void setJustTitle(bool justTitle) { _justTitle = justTitle; }
    [[nodiscard]] NSError error() const { return _error; }
    [[nodiscard]] WebView& view() { return *_view; }

    // The area of everything that is logged here. Throws NSInvalidArgumentException: a subclass says which.
    [[nodiscard]] virtual const NSString& logArea() const;
    // Logs in that area, when it is switched on. `format` and arguments as NSString::stringWithFormat takes them.
    template <typename... Arguments>
    void logFile(const char* file, unsigned long line, const char* function, std::u16string_view format,
        const Arguments&... arguments) const
    {
        QVRLogger::logFileIfEnabled(file, line, function, logArea(), format, arguments...);
    }

    // Removes every cached response and lets none be kept from now on.
    static void clearURLCache();
    // Marks the page as loading until its first frame has started. To be called before each load request.
    void startLoading();
    // Runs the run loop in slices of 0.2 seconds until the page is done.
    void waitUntilDone();
    // The grace period ends that many seconds from now.
    void extendFinishDate(double seconds);
    // The view reports that nothing is loading.
    virtual void progressFinished(const NSNotification& notification);
    // Called before each slice with the view's estimated progress, 0 to 1.
    virtual void postProgress(double fraction);
    // Of the main frame's document; absent when it has none.
    [[nodiscard]] virtual NSString pageTitle() const;
    [[nodiscard]] bool hasPageTitle() const;

    // Settings, with their defaults.
    [[nodiscard]] int64_t webToolTimeout() const;            // seconds; 10
    [[nodiscard]] bool shouldEnablePlugIns() const;          // false
    [[nodiscard]] int64_t maxTriesBeforeTimeout() const;     // 3
    [[nodiscard]] int64_t webToolExtraLoadingTime() const;   // seconds; 2, and 0 when only the title is wanted
    [[nodiscard]] double margin() const;                     // points; 36

    void webViewDidReceiveTitle(WebView&, const NSString& title, const std::shared_ptr<WebFrame>& frame) override;
    void webViewDidStartProvisionalLoadForFrame(WebView&, const std::shared_ptr<WebFrame>& frame) override;
    void webViewDidFailProvisionalLoadWithError(WebView&, const NSError& error, const std::shared_ptr<WebFrame>& frame) override;
    void webViewDidFailLoadWithError(WebView&, const NSError& error, const std::shared_ptr<WebFrame>& frame) override;
    void webViewDidFinishLoadForFrame(WebView&, const std::shared_ptr<WebFrame>& frame) override;

    // Only what the program or the page's own scripts load is used; whatever a person would do with the page is ignored, so that
    // the capture stays on it.
    void webViewDecidePolicyForNavigationAction(WebView&, const NSDictionary& actionInformation, const NSURLRequest& request,
        const std::shared_ptr<WebFrame>& frame, const Listener& listener) override;
    // Ignored.
    void webViewDecidePolicyForNewWindowAction(WebView&, const NSDictionary& actionInformation, const NSURLRequest& request,
        const NSString& newFrameName, const Listener& listener) override;
    // Cancelled, and remembered as the load's error: there are no credentials.
    void webViewResourceDidReceiveAuthenticationChallenge(WebView&, const Value& identifier,
        const NSURLAuthenticationChallenge& challenge, const WebDataSource& dataSource) override;

protected:
    // The error to remember for a failure of the main frame.
    [[nodiscard]] virtual NSError errorToRemember(const NSError& error) { return error; }
    // Gives a page that has reported that nothing is loading, though something is, 10 seconds more. False, and nothing else, when
    // the settings do not trust such reports.
    bool trustFinishedNotification();
    // Gives the view the size of the default paper, and the backgrounds and media style that the settings want there.
    void prepareViewForPaper();
    // `settings` with the page layout of every print: as wide as the paper, broken into pages from the upper left corner, in the
    // margins of the settings.
    [[nodiscard]] NSPrintInfo printInfoWithSettings(const NSDictionary& settings) const;

    NSMutableArray _objectsLoading = NSMutableArray(std::vector<Value>());   // the text "rootPage" and frames
    NSError _error;
    std::unique_ptr<WebView> _view;
    Deadline _timeoutDate;   // absent: none
    bool _justTitle = false;
    bool _receivedTitle = false;
    Deadline _finishDate;   // end of the grace period; absent: it has not begun

private:
    void logObjectsLoading() const;
    void frameFailed(const NSError& error, const std::shared_ptr<WebFrame>& frame);

    NSNotificationObserver _progressObserver;
    NSString _engineReport;   // what the engine had to say when it was started; absent once logged
};
