#pragma once

#include "Platform/Print/NSView.h"

// Styles and buffers of a window.
enum NSWindowStyleMask : uint64_t { NSWindowStyleMaskBorderless = 0 };
enum NSBackingStoreType : uint64_t { NSBackingStoreRetained = 0, NSBackingStoreNonretained = 1, NSBackingStoreBuffered = 2 };

// A window that is never on a screen: the place of views that are printed. Main thread only.
class NSWindow {
public:
    // `contentRect` in points. There is nothing to frame, to buffer or to defer; the rest is kept for those who ask.
    NSWindow(NSRect contentRect, NSWindowStyleMask styleMask, NSBackingStoreType backing, bool defer);
    NSWindow(const NSWindow&) = delete;
    NSWindow& operator=(const NSWindow&) = delete;

    [[nodiscard]] NSRect frame() const { return _frame; }
    [[nodiscard]] NSWindowStyleMask styleMask() const { return _styleMask; }
    [[nodiscard]] NSBackingStoreType backingType() const { return _backing; }
    [[nodiscard]] bool isVisible() const { return false; }
    // As large as the window; the window's own.
    [[nodiscard]] NSView& contentView() { return _contentView; }

private:
    NSRect _frame;
    NSWindowStyleMask _styleMask;
    NSBackingStoreType _backing;
    NSView _contentView;
};
