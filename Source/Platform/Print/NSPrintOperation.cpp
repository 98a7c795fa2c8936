#include "Platform/Print/NSPrintOperation.h"

#include "Platform/Foundation/NSURL.h"

NSPrintOperation NSPrintOperation::printOperationWithView(NSView* view, const NSPrintInfo& printInfo)
{
    return {view, printInfo};
}

bool NSPrintOperation::runOperation()
{
    const NSURL url = _printInfo.jobSavingURL();
    if (!_view || _printInfo.jobDisposition() != NSPrintSaveJob || !url.isFileURL())
        return false;
    const NSData pages = _view->dataWithPDFForPrintInfo(_printInfo);
    return pages && pages.writeToFile(url.path(), NSDataWritingAtomic);
}
