#include "Platform/Web/WebFrameView.h"

#include "Platform/Web/WebFrame.h"

WebDocumentView* WebFrameView::documentView()
{
    const std::shared_ptr<const WebFrame> frame = _frame.lock();
    return frame && frame->dataSource() && !frame->parentFrame() ? &_documentView : nullptr;
}
