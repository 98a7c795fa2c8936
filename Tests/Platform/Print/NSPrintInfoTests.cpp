#include "Platform/Print/NSPrintInfo.h"

#include "Platform/Foundation/Value.h"
#include "Platform/Print/PaperSize.h"

#include <gtest/gtest.h>

namespace {

TEST(NSPrintInfo, SharesTheUsualPaper)
{
    const NSPrintInfo& shared = NSPrintInfo::sharedPrintInfo();
    EXPECT_EQ(&shared, &NSPrintInfo::sharedPrintInfo());
    EXPECT_GT(shared.paperSize().width, 0);
    EXPECT_EQ(shared.paperSize(), NSSizeFromString(shared.dictionary()[NSPrintPaperSize].string()));
}

TEST(NSPrintInfo, GivesADictionaryOfItsOwn)
{
    NSMutableDictionary dictionary = NSPrintInfo::sharedPrintInfo().dictionary();
    dictionary.setObject(NSPrintSaveJob, NSPrintJobDisposition);
    dictionary.setObject(NSURL::URLWithString(u"file:///a.pdf"), NSPrintJobSavingURL);
    EXPECT_EQ(NSPrintInfo::sharedPrintInfo().jobDisposition(), NSPrintSpoolJob);
    const NSPrintInfo info(dictionary);
    EXPECT_EQ(info.jobDisposition(), NSPrintSaveJob);
    EXPECT_EQ(info.jobSavingURL(), NSURL::URLWithString(u"file:///a.pdf"));
    EXPECT_EQ(info.paperSize(), NSPrintInfo::sharedPrintInfo().paperSize());
}

TEST(NSPrintInfo, HasUsualValuesForWhatIsNotSet)
{
    for (const NSPrintInfo& info : {NSPrintInfo(), NSPrintInfo(NSDictionary()),
             NSPrintInfo({{NSPrintTopMargin, u"much"}, {NSPrintPaperSize, true}, {NSPrintHorizontallyCentered, u"x"},
                 {NSPrintHorizontalPagination, 7}, {NSPrintJobDisposition, 1}, {NSPrintJobSavingURL, u"x"}})}) {
        EXPECT_EQ(info.topMargin(), 90);
        EXPECT_EQ(info.bottomMargin(), 90);
        EXPECT_EQ(info.leftMargin(), 72);
        EXPECT_EQ(info.rightMargin(), 72);
        EXPECT_EQ(info.horizontalPagination(), NSAutoPagination);
        EXPECT_EQ(info.verticalPagination(), NSAutoPagination);
        EXPECT_TRUE(info.isHorizontallyCentered());
        EXPECT_TRUE(info.isVerticallyCentered());
        EXPECT_EQ(info.paperSize(), usualPaperSize());
        EXPECT_EQ(info.jobDisposition(), NSPrintSpoolJob);
        EXPECT_FALSE(info.jobSavingURL());
    }
}

TEST(NSPrintInfo, KeepsWhatIsSet)
{
    NSPrintInfo info;
    info.setPaperSize({100, 200});
    info.setTopMargin(1);
    info.setLeftMargin(2);
    info.setBottomMargin(3);
    info.setRightMargin(4.5);
    info.setHorizontalPagination(NSFitPagination);
    info.setVerticalPagination(NSClipPagination);
    info.setHorizontallyCentered(false);
    info.setVerticallyCentered(false);
    const NSPrintInfo copy(info.dictionary());
    EXPECT_EQ(copy.paperSize(), (NSSize{100, 200}));
    EXPECT_EQ(copy.topMargin(), 1);
    EXPECT_EQ(copy.leftMargin(), 2);
    EXPECT_EQ(copy.bottomMargin(), 3);
    EXPECT_EQ(copy.rightMargin(), 4.5);
    EXPECT_EQ(copy.horizontalPagination(), NSFitPagination);
    EXPECT_EQ(copy.verticalPagination(), NSClipPagination);
    EXPECT_FALSE(copy.isHorizontallyCentered());
    EXPECT_FALSE(copy.isVerticallyCentered());
}

}
