#include "Platform/Network/NSURLDownload.h"

#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/RunLoopSource.h"
#include "Platform/Network/DownloadFile.h"
#include "Platform/Network/FileSource.h"
#include "Platform/Network/HTTPSource.h"
#include "Platform/Network/TransferErrors.h"

#include <algorithm>
#include <optional>

namespace {

constexpr double defaultTimeout = 60;   // seconds
// Passes of the run loop that a silence must outlast beyond its time: what arrived while the program was busy
// elsewhere is found in them.
constexpr int passesOfGrace = 3;

NSString downloadsFolder()
{
    const char* const folder = g_get_user_special_dir(G_USER_DIRECTORY_DOWNLOAD);
    return NSString::stringWithRepairedUTF8(folder ? folder : g_get_home_dir());
}

std::shared_ptr<ByteSource> sourceFor(const NSURLRequest& request)
{
    const NSURL url = request.URL();
    if (isWebScheme(url.scheme().UTF8()))
        return std::make_shared<HTTPSource>(request);
    if (url.isFileURL())
        return std::make_shared<FileSource>(url);
    return nullptr;
}

}

// The steps of a download. Each is made by a source of the run loop, never within calls of libraries, so that the delegate may do
// whatever it likes: run the loop (the next step waits for the present one), destroy the download, or throw. Therefore the next
// step is set up before the delegate is called.
struct NSURLDownload::Transfer : std::enable_shared_from_this<Transfer> {
    using Step = void (Transfer::*)();

    Transfer(NSURLDownload& ownDownload, NSURLRequest ownRequest, NSURLDownloadDelegate* givenDelegate)
        : download(ownDownload),
          request(std::move(ownRequest)),
          delegate(givenDelegate ? *givenDelegate : nobody),
          loop(NSRunLoop::currentRunLoop()),
          stepSource(std::in_place, loop, RunLoopSource::Reentry::Refused, [this] { makeStep(); }),
          alarm(std::in_place, loop, RunLoopSource::Reentry::Refused, [this] { checkSilence(); })
    {
        then(&Transfer::start);
    }

    void setDestination(const NSString& path, bool allowOverwrite)
    {
        destination = path;
        existingFile = allowOverwrite ? ExistingFile::Replace : ExistingFile::Keep;
    }

    // Nothing happens after it, and what was written is removed.
    void end()
    {
        stepSource.reset();
        alarm.reset();
        if (source)
            source->cancel();
        source.reset();
        file.reset();
    }
    [[nodiscard]] bool hasEnded() const { return !stepSource; }

private:
    // Makes `step` in the next pass of the run loop.
    void then(Step step)
    {
        next = step;
        stepSource->setReadyTime(0);
    }

    // Makes `step` when the source has news, or nothing was heard for too long.
    void whenHeard(Step step)
    {
        next = step;
        silentPasses = 0;
        waitingSince = monotonicMicroseconds();
        alarm->setReadyTime(monotonicMicrosecondsAfter(timeout()));
    }

    void heard()
    {
        alarm->setReadyTime(RunLoopSource::Never);
        stepSource->setReadyTime(0);
    }

    void makeStep()
    {
        const auto self = shared_from_this();
        stepSource->setReadyTime(RunLoopSource::Never);
        (this->*next)();
    }

    [[nodiscard]] double timeout() const
    {
        const double seconds = request.timeoutInterval();
        return seconds > 0 ? seconds : defaultTimeout;
    }

    void checkSilence()
    {
        const int64_t now = monotonicMicroseconds();
        const int64_t last = std::max(waitingSince, source->lastArrival());
        const int64_t end = last + (monotonicMicrosecondsAfter(timeout()) - now);
        if (end > now) {
            silentPasses = 0;
            alarm->setReadyTime(end);
        } else if (++silentPasses > passesOfGrace) {
            then(&Transfer::timedOut);
            alarm->setReadyTime(RunLoopSource::Never);
        }
    }

    void start()
    {
        source = sourceFor(request);
        if (!source) {
            fail(transferError(NSURLErrorUnsupportedURL, request.URL()));
            return;
        }
        whenHeard(&Transfer::receivedResponse);
        source->open([this] { heard(); });
    }

    void receivedResponse()
    {
        if (source->error()) {
            fail(source->error());
            return;
        }
        then(&Transfer::decideDestination);
        delegate.downloadDidReceiveResponse(download, source->response());
    }

    void decideDestination()
    {
        then(&Transfer::createFile);
        delegate.downloadDecideDestinationWithSuggestedFilename(download, source->response().suggestedFilename());
    }

    void createFile()
    {
        const NSString name = source->response().suggestedFilename();
        if (!destination)
            destination = downloadsFolder().stringByAppendingPathComponent(name);
        NSError error;
        file = DownloadFile::create(destination, name, existingFile, &error);
        if (!file) {
            fail(error);
            return;
        }
        then(&Transfer::readMore);
        delegate.downloadDidCreateDestination(download, NSString(file->path()));
    }

    void readMore()
    {
        whenHeard(&Transfer::receivedBytes);
        source->read();
    }

    void receivedBytes()
    {
        NSError error = source->error();
        const uint64_t count = source->bytes().size();
        if (error || !file->write(source->bytes(), &error)) {
            fail(error);
            return;
        }
        if (count == 0) {
            finish();
            return;
        }
        then(&Transfer::readMore);
        delegate.downloadDidReceiveDataOfLength(download, count);
        // Not waiting for the next pass makes fast downloads faster.
        if (!hasEnded()) {
            stepSource->setReadyTime(RunLoopSource::Never);
            readMore();
        }
    }

    void finish()
    {
        NSError error;
        if (!file->keep(&error)) {
            fail(error);
            return;
        }
        end();
        delegate.downloadDidFinish(download);
    }

    void timedOut() { fail(transferError(NSURLErrorTimedOut, source->url())); }

    void fail(const NSError& error)
    {
        const NSError failure = error;
        end();
        delegate.downloadDidFailWithError(download, failure);
    }

    static inline NSURLDownloadDelegate nobody;

public:
    NSURLDownload& download;
    const NSURLRequest request;

private:
    NSURLDownloadDelegate& delegate;
    NSRunLoop& loop;
    // None once the download has ended.
    std::optional<RunLoopSource> stepSource;
    std::optional<RunLoopSource> alarm;
    std::shared_ptr<ByteSource> source;
    std::unique_ptr<DownloadFile> file;
    NSString destination;
    ExistingFile existingFile = ExistingFile::Keep;
    Step next = nullptr;
    int64_t waitingSince = 0;   // microseconds of the monotonic clock
    int silentPasses = 0;
};

NSURLDownload::NSURLDownload(const NSURLRequest& request, NSURLDownloadDelegate* delegate)
    : _transfer(std::make_shared<Transfer>(*this, request, delegate))
{
}

NSURLDownload::~NSURLDownload()
{
    _transfer->end();
}

void NSURLDownload::setDestination(const NSString& path, bool allowOverwrite)
{
    _transfer->setDestination(path, allowOverwrite);
}

void NSURLDownload::cancel()
{
    _transfer->end();
}

NSURLRequest NSURLDownload::request() const
{
    return _transfer->request;
}
