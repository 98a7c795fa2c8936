#pragma once

#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURLRequest.h"
#include "Platform/Foundation/NSURLResponse.h"

#include <cstdint>
#include <memory>

class NSURLDownload;

// Told how a download goes. All calls come inside runs of the run loop, on the thread that started the download; they may run the
// loop (then this download's next call waits for the present one), cancel or destroy the download, and throw: the download goes
// on in the next run. Every download ends in exactly one finish or failure, unless it is cancelled.
class NSURLDownloadDelegate {
public:
    virtual ~NSURLDownloadDelegate() = default;

    virtual void downloadDidReceiveResponse(NSURLDownload&, const NSURLResponse& /*response*/) { }
    // `length` more bytes are in the file.
    virtual void downloadDidReceiveDataOfLength(NSURLDownload&, uint64_t /*length*/) { }
    // The place to set the destination. A download without one goes into the user's download folder under the suggested name.
    virtual void downloadDecideDestinationWithSuggestedFilename(NSURLDownload&, const NSString& /*filename*/) { }
    // The file that was made: another one than asked for when that was taken.
    virtual void downloadDidCreateDestination(NSURLDownload&, const NSString& /*path*/) { }
    virtual void downloadDidFinish(NSURLDownload&) { }
    // What had been written is removed already.
    virtual void downloadDidFailWithError(NSURLDownload&, const NSError& /*error*/) { }
};

// Fetches an address into a file, without holding it in memory. http and https go over the network, with redirects,
// content-decoding, proxies of the environment and verified TLS; "file" is read from the disk. The request's header fields,
// "User-Agent" and "Cookie" among them, go with it; its time-out is idle time. To be used on one thread.
class NSURLDownload {
public:
    // Starts in the next pass of the run loop. `delegate` is borrowed and must outlive the download.
    NSURLDownload(const NSURLRequest& request, NSURLDownloadDelegate* delegate);
    NSURLDownload(const NSURLDownload&) = delete;
    NSURLDownload& operator=(const NSURLDownload&) = delete;
    // Cancels.
    ~NSURLDownload();

    // Where the bytes go. Where a file of that name exists and may not be overwritten, "name-1.ext",
    // "name-2.ext" and so on are tried.
    void setDestination(const NSString& path, bool allowOverwrite);
    // Ends the download without further news, and removes what had been written.
    void cancel();
    [[nodiscard]] NSURLRequest request() const;

private:
    struct Transfer;
    std::shared_ptr<Transfer> _transfer;
};
