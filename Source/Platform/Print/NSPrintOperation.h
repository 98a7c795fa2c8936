#pragma once

#include "Platform/Print/NSPrintInfo.h"
#include "Platform/Print/NSView.h"

// Prints a view into a file. There are no printers and nobody is asked anything here.
class NSPrintOperation {
public:
    // `view` is borrowed and must outlive the operation; null prints nothing, and fails.
    [[nodiscard]] static NSPrintOperation printOperationWithView(NSView* view, const NSPrintInfo& printInfo);

    // Kept for those who ask; no panel is ever shown.
    void setShowsPrintPanel(bool shows) { _showsPrintPanel = shows; }
    void setShowsProgressPanel(bool shows) { _showsProgressPanel = shows; }
    [[nodiscard]] bool showsPrintPanel() const { return _showsPrintPanel; }
    [[nodiscard]] bool showsProgressPanel() const { return _showsProgressPanel; }

    // Whether the pages are in the file that the settings name, whole and in place of an older one. False when the
    // settings say otherwise than to save them, when the view cannot be printed and when the file cannot be written; an
    // older file is untouched then.
    [[nodiscard]] bool runOperation();

private:
    NSPrintOperation(NSView* view, NSPrintInfo printInfo) : _view(view), _printInfo(std::move(printInfo)) { }

    NSView* _view;
    NSPrintInfo _printInfo;
    bool _showsPrintPanel = true;
    bool _showsProgressPanel = true;
};
