#include "Platform/Print/NSPrintInfo.h"
#include "Platform/Print/NSWindow.h"
#include "Platform/Print/PDFDocument.h"

#include <gtest/gtest.h>
#include <memory>

namespace {

TEST(NSWindow, IsNeverSeen)
{
    NSWindow window({{0, 0}, {812, 992}}, NSWindowStyleMaskBorderless, NSBackingStoreRetained, false);
    EXPECT_EQ(window.frame(), (NSRect{{0, 0}, {812, 992}}));
    EXPECT_EQ(window.styleMask(), NSWindowStyleMaskBorderless);
    EXPECT_EQ(window.backingType(), NSBackingStoreRetained);
    EXPECT_FALSE(window.isVisible());
    EXPECT_EQ(window.contentView().bounds(), (NSRect{{0, 0}, {812, 992}}));
}

TEST(NSView, IsInOneSuperviewAtATime)
{
    NSWindow window({{0, 0}, {10, 10}}, NSWindowStyleMaskBorderless, NSBackingStoreRetained, false);
    NSView first({{1, 2}, {3, 4}});
    NSView second({});
    EXPECT_EQ(second.window(), nullptr);
    first.addSubview(second);
    window.contentView().addSubview(first);
    EXPECT_EQ(second.superview(), &first);
    EXPECT_EQ(second.window(), &window);
    window.contentView().addSubview(second);
    EXPECT_EQ(second.superview(), &window.contentView());
    EXPECT_TRUE(first.subviews().empty());
    second.removeFromSuperview();
    second.removeFromSuperview();
    EXPECT_EQ(second.window(), nullptr);
    first.setFrameSize({30, 40});
    EXPECT_EQ(first.frame(), (NSRect{{1, 2}, {30, 40}}));
    EXPECT_EQ(first.bounds(), (NSRect{{0, 0}, {30, 40}}));
}

TEST(NSView, LeavesWhenEitherGoes)
{
    NSView view({});
    {
        NSWindow window({{0, 0}, {10, 10}}, NSWindowStyleMaskBorderless, NSBackingStoreRetained, false);
        window.contentView().addSubview(view);
    }
    EXPECT_EQ(view.superview(), nullptr);
    EXPECT_EQ(view.window(), nullptr);
    {
        NSView inner({});
        view.addSubview(inner);
    }
    EXPECT_TRUE(view.subviews().empty());
}

TEST(NSView, ThatDrawsNothingGivesAnEmptyPageAndNoPages)
{
    NSView view({});
    for (const NSRect& rect : {NSRect(), NSRect{{5, 5}, {100, 50}}}) {
        const PDFDocument document = PDFDocument::initWithData(view.dataWithPDFInsideRect(rect));
        EXPECT_EQ(document.pageCount(), 1U);
    }
    EXPECT_FALSE(view.dataWithPDFForPrintInfo(NSPrintInfo()));
}

}
