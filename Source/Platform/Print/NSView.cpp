#include "Platform/Print/NSView.h"

#include "Platform/Print/BlankPDF.h"

#include <algorithm>

NSView::~NSView()
{
    removeFromSuperview();
    for (NSView* subview : _subviews)
        subview->_superview = nullptr;
}

void NSView::addSubview(NSView& view)
{
    view.removeFromSuperview();
    view._superview = this;
    _subviews.push_back(&view);
}

void NSView::removeFromSuperview()
{
    if (!_superview)
        return;
    std::erase(_superview->_subviews, this);
    _superview = nullptr;
}

NSWindow* NSView::window() const
{
    const NSView* top = this;
    while (top->_superview)
        top = top->_superview;
    return top->_window;
}

// A view that draws nothing.
NSData NSView::dataWithPDFInsideRect(NSRect rect)
{
    return blankPDF(rect.size);
}

NSData NSView::dataWithPDFForPrintInfo(const NSPrintInfo&)
{
    return {};
}
