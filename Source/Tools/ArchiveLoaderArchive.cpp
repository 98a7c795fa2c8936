#include "Platform/Foundation/NSException.h"
#include "QVRFrameArchiving.h"
#include "QVRSettings.h"
#include "Tools/ArchiveLoader.h"
#include "Tools/ResultRecord.h"
#include "Tools/SourceFile.h"

// The Web archive output.

void ArchiveLoader::saveWebArchive(const NSString& path)
{
    failIfFatalError();
    // From here on the error is of this operation.
    _error = {};
    if (!_needToDownload) {
        if (const WebArchive archive = webArchiveOrFinish(path)) {
            NSError error;
            if (!archive.writeToFile(path, &error))
                _error = error;
            // The path is told in both cases; the error says whether the file is there.
            finishWithErrorAndTitleAndURL(_error, pageTitle(), _newURLString, path);
        }
    }
    downloadInstead(path);
}

// The page's archive, made frame by frame when the view fails to make it; absent when there is no page. Ends the
// run when both ways fail.
WebArchive ArchiveLoader::webArchiveOrFinish(const NSString& path)
{
    const auto frame = _view->mainFrame();
    try {
        const NSString type = frame->dataSource().response().MIMEType();
        const bool usesDOM = qvrBoolForKey(u"WebToolUseDOMDocument", HostDomain, true);
        // Deliberate: this spelling only; other XML types are archived from the document.
        const bool isXML = type == NSString(u"text/xml");
        return usesDOM && !isXML ? frame->DOMDocument().webArchive() : frame->dataSource().webArchive();
    } catch (const NSException& exception) {
        QVRLogger::logFileIfEnabled(sourceFile, __LINE__, __func__, NSString(),
            u"Tarnwick encountered an internal Web Kit error '%@' while saving an archive for '%@'. Trying workaround code.",
            exception, _url);
    }
    try {
        return qvrWebArchive(frame->dataSource());
    } catch (const NSException& exception) {
        QVRLogger::logFileIfEnabled(
            sourceFile, __LINE__, __func__, NSString(), u"Unable to save Web archive using workaround code");
        _error = NSError(NSCocoaErrorDomain, NSFileWriteUnknownError,
            {{NSURLErrorKey, _url}, {NSFilePathErrorKey, path}, {u"QVRUnderlyingException", exception.description()}});
        finishWithErrorAndTitleAndURL(_error, pageTitle(), _newURLString, path);
    }
}

bool ArchiveLoader::isShowingFrames() const
{
    for (const auto& child : _view->mainFrame()->childFrames()) {
        if (std::dynamic_pointer_cast<DOMHTMLFrameElement>(child->frameElement()))
            return true;
    }
    return false;
}
