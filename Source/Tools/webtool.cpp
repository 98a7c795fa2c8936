#include "Tools/webtool.h"

#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/Foundation/NSDistributedNotificationCenter.h"
#include "QVRSettings.h"
#include "QVRStringComparison.h"
#include "Tools/ArchiveLoader.h"
#include "Tools/EndRequests.h"
#include "Tools/ResultRecord.h"
#include "Tools/StandardStreams.h"

#include <cerrno>

namespace {

// How long the last progress notice may take to leave, in seconds.
constexpr double noticeTime = 0.1;

// What the libraries end the process for when they cannot have it: the main loop's own descriptor, beside those of EndRequests.
constexpr size_t fewestDescriptors = 5;

void capture(const NSArray& arguments, const PageEngineMaker& makeEngine)
{
    const NSAutoreleasePool pool;
    QVRLogger::setUpWithPersistentDomainName(HostDomain);
    if (arguments.count() != 4 && arguments.count() != 5)
        finishWithBadArguments(arguments);

    const NSString address = arguments[1].string();
    const NSString outputPath = arguments[2].string();
    const NSString uid = arguments[3].string();
    const NSString mode = arguments.count() >= 5 ? arguments[4].string() : NSString();
    const bool wantsTitleOnly = mode == NSString(u"webloc");

    const NSURL url = NSURL::URLWithString(address);
    if (!url || !qvrContainsString(url.description(), u"//"))
        finishWithBadURL(address);

    if (!canOpenDescriptors(fewestDescriptors))
        finishWithErrorAndTitleAndURL(NSError(NSPOSIXErrorDomain, EMFILE), {}, address, {});

    EndRequests endRequests(address);
    endRequests.setTimeLimit(qvrIntegerForKey(u"WebToolMaxCaptureTime", HostDomain, 0));
    ArchiveLoader loader(makeEngine, url.isFileURL());
    endRequests.setAddressSource([&loader] { return loader.newURLString(); });
    loader.setJustTitle(wantsTitleOnly);
    loader.loadURL(url, uid);
    const bool wantsPDF = mode && !wantsTitleOnly;
    if (wantsPDF && loader.canCreatePDF()) {
        const bool singlePage = mode == NSString(u"pdfSinglePage") || loader.shouldUseSinglePageForURL(url);
        // It returns only when there is no file, and then there is no answer either.
        (void)loader.savePDFToPath(outputPath, singlePage);
    } else {
        loader.saveWebArchive(outputPath);
    }
}

}

int runWebTool(const NSArray& arguments, const PageEngineMaker& makeEngine)
{
    try {
        capture(arguments, makeEngine);
    } catch (const RunEnded&) {
        // The answer is given.
    }
    NSDistributedNotificationCenter::defaultCenter().flush(noticeTime);
    return 0;
}
