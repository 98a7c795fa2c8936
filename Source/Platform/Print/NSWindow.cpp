#include "Platform/Print/NSWindow.h"

NSWindow::NSWindow(NSRect contentRect, NSWindowStyleMask styleMask, NSBackingStoreType backing, bool)
    : _frame(contentRect), _styleMask(styleMask), _backing(backing), _contentView({{0, 0}, contentRect.size})
{
    _contentView._window = this;
}
