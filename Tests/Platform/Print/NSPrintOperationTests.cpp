#include "Platform/Print/NSPrintOperation.h"

#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/Value.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace {

class PrintedView final : public NSView {
public:
    PrintedView() : NSView({}) { }
    NSData dataWithPDFForPrintInfo(const NSPrintInfo& info) override
    {
        paper = info.paperSize();
        return pages;
    }
    NSData pages = NSData::dataWithBytes("pages");
    NSSize paper;
};

class Operation : public testing::Test {
protected:
    [[nodiscard]] NSPrintInfo infoFor(const std::string& path) const
    {
        NSPrintInfo info({{NSPrintJobDisposition, NSPrintSaveJob},
            {NSPrintJobSavingURL, NSURL::fileURLWithPath(NSString::stringWithRepairedUTF8(path), false)}});
        info.setPaperSize({10, 20});
        return info;
    }
    bool run(NSView* printed, const NSPrintInfo& info)
    {
        NSPrintOperation operation = NSPrintOperation::printOperationWithView(printed, info);
        operation.setShowsPrintPanel(false);
        operation.setShowsProgressPanel(false);
        return operation.runOperation();
    }
    support::TemporaryFolder folder;
    PrintedView view;
};

TEST_F(Operation, SavesThePagesOfTheView)
{
    const std::string path = folder.write("a b%20ü.pdf", "older");
    EXPECT_TRUE(run(&view, infoFor(path)));
    EXPECT_EQ(support::readFile(path), "pages");
    EXPECT_EQ(view.paper, (NSSize{10, 20}));
}

TEST_F(Operation, FailsWithoutAViewOrPages)
{
    const std::string path = folder.write("a.pdf", "older");
    EXPECT_FALSE(run(nullptr, infoFor(path)));
    view.pages = {};
    EXPECT_FALSE(run(&view, infoFor(path)));
    EXPECT_EQ(support::readFile(path), "older");
}

TEST_F(Operation, FailsWhereTheFileCannotBeWritten)
{
    (void)folder.makeFolder("taken.pdf");
    (void)folder.write("file", "");
    for (const char* name : {"missing/a.pdf", "taken.pdf", "file/a.pdf"}) {
        SCOPED_TRACE(name);
        EXPECT_FALSE(run(&view, infoFor(folder.pathOf(name))));
    }
    EXPECT_EQ(support::namesIn(folder.path()), (std::vector<std::string>{"file", "taken.pdf"}));
}

TEST_F(Operation, FailsForAPrinterOrAnotherAddress)
{
    NSMutableDictionary settings = infoFor(folder.pathOf("a.pdf")).dictionary();
    settings.setObject(NSPrintSpoolJob, NSPrintJobDisposition);
    EXPECT_FALSE(run(&view, NSPrintInfo(settings)));
    settings.setObject(NSPrintSaveJob, NSPrintJobDisposition);
    settings.setObject(NSURL::URLWithString(u"http://h/a.pdf"), NSPrintJobSavingURL);
    EXPECT_FALSE(run(&view, NSPrintInfo(settings)));
    EXPECT_FALSE(run(&view, NSPrintInfo()));
    EXPECT_EQ(support::namesIn(folder.path()), std::vector<std::string>());
}

TEST_F(Operation, ShowsPanelsToNobodyUnlessTold)
{
    NSPrintOperation operation = NSPrintOperation::printOperationWithView(&view, infoFor(folder.pathOf("a.pdf")));
    EXPECT_TRUE(operation.showsPrintPanel());
    EXPECT_TRUE(operation.showsProgressPanel());
    operation.setShowsPrintPanel(false);
    operation.setShowsProgressPanel(false);
    EXPECT_FALSE(operation.showsPrintPanel());
    EXPECT_FALSE(operation.showsProgressPanel());
}

}
