#pragma once

#include "Platform/Network/NSURLDownload.h"
#include "Tools/Loader.h"

#include <memory>

class WebDocumentView;

// Captures one page: prepares its address, loads it in as many attempts as it takes, tells the host how far it has come, and
// saves it as a Web archive, or downloads what is not a page. The saving operations end the run.
class ArchiveLoader final : public Loader, public NSURLDownloadDelegate {
public:
    // As Loader's.
    explicit ArchiveLoader(const PageEngineMaker& makeEngine, bool readsLocalFiles = false);
    ~ArchiveLoader() override;

    // Loads `url`, posting progress notices for the capture `uid`. Returns when loading is over; a failure is in error().
    void loadURL(const NSURL& url, const NSString& uid);
    // Whether error() ends the run. What cannot be shown but downloaded is marked for that here.
    [[nodiscard]] bool isErrorFatal();
    // Ends the run when the error is fatal.
    void failIfFatalError();

    // Saves the page as a Web archive and ends the run. When there is no page to archive, the file is downloaded into the
    // folder of `path` instead.
    void saveWebArchive(const NSString& path);
    // Whether a PDF can be made of the page: it is no frameset, and nothing that was left to be downloaded
    // (unless a setting allows that).
    [[nodiscard]] bool canCreatePDF() const;
    // Prints the page, on paper or on one page of its own size, into the folder of `path` under the name of `path` with the
    // extension "pdf", and ends the run. Returns false, and only then returns, when there is no file after printing.
    [[nodiscard]] bool savePDFToPath(const NSString& path, bool singlePage);
    // Whether the page is a frameset.
    [[nodiscard]] bool isShowingFrames() const;

    // URL preparation. Absent results load nothing useful.
    [[nodiscard]] static NSURL ensureWebURL(const NSURL& url);
    [[nodiscard]] NSURL processURL(const NSURL& url);
    [[nodiscard]] NSMutableURLRequest requestForURL(const NSURL& url) const;
    // Site rules: whether the address's host is among the hosts of a setting.
    [[nodiscard]] bool shouldUseJavaScriptForURL(const NSURL& url) const;
    [[nodiscard]] bool shouldUseSinglePageForURL(const NSURL& url) const;
    [[nodiscard]] bool doesURLUseClientRedirect(const NSURL& url) const;

    // The address to report: as prepared, then where a redirect of the main request led.
    [[nodiscard]] NSString newURLString() const { return _newURLString; }

    [[nodiscard]] const NSString& logArea() const override;
    void postProgress(double fraction) override;
    void progressFinished(const NSNotification& notification) override;
    // Never absent after loadURL: a page without a title is called by its address.
    [[nodiscard]] NSString pageTitle() const override;

    Value webViewIdentifierForInitialRequest(WebView&, const NSURLRequest& request, const WebDataSource& dataSource) override;
    NSURLRequest webViewResourceWillSendRequest(WebView&, const Value& identifier, const NSURLRequest& request,
        const NSURLResponse& redirectResponse, const WebDataSource& dataSource) override;
    void webViewResourceDidReceiveResponse(
        WebView&, const Value& identifier, const NSURLResponse& response, const WebDataSource& dataSource) override;
    void webViewResourceDidFailLoadingWithError(
        WebView&, const Value& identifier, const NSError& error, const WebDataSource& dataSource) override;
    void webViewWillPerformClientRedirectToURL(
        WebView&, const NSURL& url, double delay, const NSDate& fireDate, const std::shared_ptr<WebFrame>& frame) override;
    void webViewDidCancelClientRedirectForFrame(WebView&, const std::shared_ptr<WebFrame>& frame) override;
    // Pages are shown; anything else in the main frame is left to be downloaded.
    void webViewDecidePolicyForMIMEType(WebView&, const NSString& type, const NSURLRequest& request,
        const std::shared_ptr<WebFrame>& frame, const Listener& listener) override;

    void downloadDidReceiveResponse(NSURLDownload& download, const NSURLResponse& response) override;
    void downloadDidReceiveDataOfLength(NSURLDownload& download, uint64_t length) override;
    void downloadDecideDestinationWithSuggestedFilename(NSURLDownload& download, const NSString& filename) override;
    void downloadDidCreateDestination(NSURLDownload& download, const NSString& path) override;
    void downloadDidFinish(NSURLDownload& download) override;
    void downloadDidFailWithError(NSURLDownload& download, const NSError& error) override;

private:
    [[nodiscard]] NSError errorToRemember(const NSError& error) override;
    [[nodiscard]] WebArchive webArchiveOrFinish(const NSString& path);
    void downloadInstead(const NSString& path);
    void writeSinglePage(WebDocumentView* documentView, const NSString& path);
    void printPages(WebDocumentView* documentView, const NSString& path);
    void waitUntilDownloadIsDone();

    NSURL _url;   // that is really loaded
    NSString _uid;
    std::unique_ptr<NSURLDownload> _download;
    int64_t _totalBytes = 0;
    int64_t _bytesDownloaded = 0;
    NSString _downloadDestination;   // first the output path, then the file that was made
    bool _downloadIsDone = false;
    bool _needToDownload = false;
    NSMutableURLRequest _mainRequest;
    NSString _newURLString;
    NSString _processingPrefix;   // while present, redirects do not change the reported address
    bool _clientRedirect = false;
};
