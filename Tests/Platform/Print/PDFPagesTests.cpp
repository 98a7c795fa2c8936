#include "Platform/Print/PDFPages.h"

#include "Platform/Print/PDFDocument.h"
#include "Support/ScriptedEngine.h"
#include "Support/Subprocess.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <regex>
#include <string>

namespace {

class PagesOfPDF : public testing::Test {
protected:
    // Two pages of 600 × 800 with a word, a gradient, a link to the other page and one outside; an outline and named
    // destinations.
    [[nodiscard]] NSData sample() const
    {
        std::string text =
            "%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R/Dests 9 0 R/Outlines 10 0 R/MarkInfo<</Marked true>>>>endobj\n"
            "2 0 obj<</Type/Pages/Count 2/Kids[3 0 R 4 0 R]>>endobj\n";
        for (const int page : {3, 4}) {
            const std::string number = std::to_string(page);
            text += number + " 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 600 800]/Contents " + std::to_string(page + 2)
                + " 0 R/Resources<</Font<</F 8 0 R>>/Pattern<</P 7 0 R>>>>/Annots[<</Type/Annot/Subtype/Link/Rect[10 20 110 "
                  "40]/Dest["
                + std::to_string(7 - page)
                + " 0 R/XYZ 100 700 0]>><</Type/Annot/Subtype/Link/Rect[0 0 600 800]/A<</S/URI/URI(http://h/)>>>>]>>endobj\n";
        }
        for (const int page : {1, 2}) {
            const std::string contents =
                "BT /F 20 Tf 100 700 Td (word" + std::to_string(page) + ") Tj ET /Pattern cs /P scn 100 100 200 200 re f";
            text += std::to_string(page + 4) + " 0 obj<</Length " + std::to_string(contents.size()) + ">>stream\n" + contents
                + "\nendstream endobj\n";
        }
        text += "7 0 obj<</PatternType 2/Matrix[1 0 0 1 5 6]/Shading<</ShadingType 2/ColorSpace/DeviceGray/Coords[0 0 300 "
                "0]/Function<</"
                "FunctionType 2/Domain[0 1]/C0[0]/C1[1]/N 1>>>>>>endobj\n"
                "8 0 obj<</Type/Font/Subtype/Type1/BaseFont/Helvetica>>endobj\n"
                "9 0 obj<</there[4 0 R/FitH 700]>>endobj\n"
                "10 0 obj<</First 11 0 R/Last 11 0 R/Count 1>>endobj\n"
                "11 0 obj<</Title(item)/Parent 10 0 R/Dest[4 0 R/FitR 10 20 30 40]>>endobj\n"
                "trailer<</Root 1 0 R/Size 12>>\n";
        // The table is not worth writing by hand.
        const std::string rough = folder.write("rough.pdf", text);
        const std::string path = folder.pathOf("sample.pdf");
        support::ProcessOptions options;
        options.arguments = {"qpdf", "--object-streams=disable", "--stream-data=preserve", rough, path};
        options.environment = {{"PATH", "/usr/local/bin:/usr/bin:/bin"}};
        const support::ProcessOutcome outcome = support::run(options);
        EXPECT_TRUE(outcome.exitStatus == 0 || outcome.exitStatus == 3) << outcome.error;
        return NSData::dataWithBytes(support::readFile(path));
    }
    // The file as an outside program writes it plainly, after it has found nothing wrong; blanks made one.
    [[nodiscard]] std::string plain(const NSData& pdf)
    {
        const std::string path = folder.write("result.pdf", pdf.characters());
        (void)support::runHelper({"qpdf", "--check", path});
        return std::regex_replace(
            support::runHelper({"qpdf", "--qdf", "--object-streams=disable", path, "-"}), std::regex("\\s+"), " ");
    }
    [[nodiscard]] std::string words(const char* form) const
    {
        return support::runHelper({"pdftotext", form, folder.pathOf("result.pdf"), "-"});
    }
    static void expectHas(const std::string& text, const std::string& pattern)
    {
        EXPECT_TRUE(std::regex_search(text, std::regex(pattern))) << pattern << "\n" << text;
    }

    support::TemporaryFolder folder;
};

TEST_F(PagesOfPDF, AreMadeSmallerWithAllThatIsOnThem)
{
    const std::string text = plain(pdfScaled(sample(), 0.5));
    expectHas(text, "/Count 2");
    expectHas(text, "/MediaBox \\[ 0 0 300 400 \\]");
    EXPECT_FALSE(std::regex_search(text, std::regex("/MediaBox \\[ 0 0 600")));
    expectHas(text, "q 0?\\.5 0 0 0?\\.5 0 0 cm");
    expectHas(text, "/Rect \\[ 5 10 55 20 \\]");
    expectHas(text, "/XYZ 50 350 0 \\]");
    expectHas(text, "/FitH 350 \\]");
    expectHas(text, "/FitR 5 10 15 20 \\]");
    expectHas(text, "/Matrix \\[ 0?\\.5 0 0 0?\\.5 2\\.5 3 \\]");
    EXPECT_EQ(words("-raw"), "word1\n\fword2\n\f");
    expectHas(words("-bbox"), "xMin=\"50\\.0");
}

TEST_F(PagesOfPDF, BecomeOneOfExactlyThatSize)
{
    const std::string text = plain(pdfAsOnePage(support::emptyPDF({600.48, 800.16}), {{0, 0}, {600, 800}}));
    expectHas(text, "/MediaBox \\[ 0 0?\\.16\\d* 599\\.99\\d* 800\\.16\\d* \\]");
    EXPECT_EQ(text.find("/UserUnit"), std::string::npos);
    expectHas(support::runHelper({"pdfinfo", folder.pathOf("result.pdf")}), "Page size: +600 x 800 pts");
}

TEST_F(PagesOfPDF, ShowThePartThatIsAskedFor)
{
    const NSData part = pdfAsOnePage(support::emptyPDF({600, 800}), {{100, 200}, {300, 400}});
    expectHas(plain(part), "/MediaBox \\[ 100 200\\.0\\d* 399\\.99\\d* 600 \\]");
}

TEST_F(PagesOfPDF, HaveAUnitWhereTheyAreTooLarge)
{
    struct Row {
        NSSize size;
        int unit;
    };
    for (const Row& row : {Row{{600, 14400}, 1}, Row{{600, 14401}, 2}, Row{{28801, 600}, 3}, Row{{612, 200000}, 14}}) {
        SCOPED_TRACE(row.unit);
        const std::string text = plain(pdfAsOnePage(support::emptyPDF(row.size), {{0, 0}, row.size}));
        if (row.unit == 1)
            EXPECT_EQ(text.find("/UserUnit"), std::string::npos);
        else
            expectHas(text, "/UserUnit " + std::to_string(row.unit) + " ");
        std::smatch box;
        ASSERT_TRUE(std::regex_search(text, box, std::regex("/MediaBox \\[ (\\S+) (\\S+) (\\S+) (\\S+) \\]")));
        EXPECT_NEAR(std::stod(box[3]) - std::stod(box[1]), row.size.width / row.unit, 1e-4);
        EXPECT_NEAR(std::stod(box[4]) - std::stod(box[2]), row.size.height / row.unit, 1e-4);
    }
}

TEST_F(PagesOfPDF, StandBelowEachOtherOnOnePage)
{
    const std::string text = plain(pdfAsOnePage(sample(), {{0, 0}, {600, 1600}}));
    expectHas(text, "/Count 1");
    expectHas(support::runHelper({"pdfinfo", folder.pathOf("result.pdf")}), "Page size: +600 x 1600 pts");
    EXPECT_EQ(words("-raw"), "word1\nword2\n\f");
    // The first page's link leads to the second, which is below now; the second's to the first.
    expectHas(text, "/XYZ 100 700 0 \\]");
    expectHas(text, "/XYZ 100 1500 0 \\]");
    expectHas(text, "/Rect \\[ 10 820 110 840 \\]");
    expectHas(text, "/Rect \\[ 10 20 110 40 \\]");
    expectHas(text, "/FitH 700 \\]");
    EXPECT_EQ(text.find("/MarkInfo"), std::string::npos);
    expectHas(words("-bbox"), "yMin=\"8[89]\\d\\.\\d+\" xMax=\"\\S+\" yMax=\"9\\d+\\.\\d+\">word2");
}

TEST_F(PagesOfPDF, StandBelowEachOtherAlsoWhereTheyAreTooLarge)
{
    const std::string text = plain(pdfAsOnePage(sample(), {{0, 0}, {600, 28000}}));
    expectHas(text, "/UserUnit 2 ");
    expectHas(text, "q 0?\\.5 0 0 0?\\.5 0 0 cm");
    EXPECT_EQ(words("-raw"), "word1\nword2\n\f");
}

TEST_F(PagesOfPDF, OfWhatIsNoPDFAreAbsent)
{
    for (const NSData& data : {NSData(), NSData::dataWithBytes(""), NSData::dataWithBytes("no PDF")}) {
        EXPECT_FALSE(pdfScaled(data, 0.5));
        EXPECT_FALSE(pdfAsOnePage(data, {{0, 0}, {10, 10}}));
    }
}

}
