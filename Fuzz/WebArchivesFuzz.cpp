// Web archives: whatever is read as one can be indexed, looked up, listed and written, and is then read as the same.

#include "FuzzSupport.h"
#include "Platform/Web/WebArchive.h"
#include "QVRWebArchiveURLProtocol.h"
#include "QVRWebArchiveWebResourceLoadDelegate.h"
#include "Tools/Replay/ReplayReport.h"

namespace {

void look(const QVRWebArchiveWebResourceLoadDelegate& delegate, const WebArchive& archive)
{
    for (const WebResource& resource : archive.subresources()) {
        const WebResource found = delegate.archivedResourceForURL(resource.URL());
        fuzz::require(!resource.URL() || found, "what has an address is found by it");
        fuzz::require(!found || found.URL() == resource.URL(), "what is found by its address has that address");
        const NSMutableURLRequest request = delegate.archiveRequestForRequest(NSURLRequest::requestWithURL(resource.URL()));
        fuzz::require(!found || QVRWebArchiveURLProtocol::canInitWithRequest(request), "a bound request is claimed");
    }
    for (const WebArchive& frame : archive.subframeArchives())
        look(delegate, frame);
}

}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    NSError error;
    const WebArchive archive = WebArchive::initWithData(fuzz::dataOf(bytes, size), &error);
    fuzz::require(archive.isAbsent() != error.isAbsent(), "a failure has its error, and only a failure");
    if (!archive)
        return 0;
    QVRWebArchiveWebResourceLoadDelegate delegate;
    delegate.setWorkaroundEnabled(true);
    delegate.setWebArchive(archive);
    look(delegate, archive);
    fuzz::require(replayList(archive).length() > 0, "it can be listed");

    // What is missing is written as empty; from then on nothing changes any more.
    const WebArchive written = WebArchive::initWithData(archive.data(), &error);
    fuzz::require(!written.isAbsent(), "what is read can be written and read again");
    fuzz::require(WebArchive::initWithData(written.data()) == written, "what was read again is the same");
    return 0;
}
