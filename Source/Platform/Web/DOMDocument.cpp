#include "Platform/Web/DOMDocument.h"

#include "Platform/Web/ArchiveMaker.h"
#include "Platform/Web/WebFrame.h"

WebArchive DOMDocument::webArchive() const
{
    const std::shared_ptr<WebPage> page = _frame ? _frame->_page.lock() : nullptr;
    // Without a document any more there is nothing to archive.
    if (!page || !_frame->DOMDocument())
        return {};
    return archiveOfDocuments(*page, _frame->frameID());
}
