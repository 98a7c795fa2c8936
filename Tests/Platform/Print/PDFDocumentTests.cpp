#include "Platform/Print/PDFDocument.h"

#include "Platform/Foundation/Value.h"
#include "Support/Printing.h"
#include "Support/ScriptedEngine.h"
#include "Support/Subprocess.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <string>

namespace {

class Document : public testing::Test {
protected:
    [[nodiscard]] static NSString string(const std::string& text) { return NSString::stringWithRepairedUTF8(text); }
    [[nodiscard]] NSURL urlOf(const std::string& path) const { return NSURL::fileURLWithPath(string(path), false); }
    // A document of one empty page whose information is this dictionary's text.
    [[nodiscard]] static NSData withInformation(const std::string& entries)
    {
        std::string text(support::emptyPDF({100, 100}).characters());
        const std::string old = "<</Producer(Scripted)/Creator(Scripted engine)>>";
        // As long as the old one, so that the cross-reference table stays right.
        std::string now = "<<" + entries;
        EXPECT_LE(now.size() + 2, old.size());
        now.resize(old.size() - 2, ' ');
        text.replace(text.find(old), old.size(), now + ">>");
        return NSData::dataWithBytes(text);
    }
    // What an outside reader says of the file is in order.
    void expectSound(const std::string& path) { EXPECT_NO_THROW((void)support::runHelper({"qpdf", "--check", path})); }

    support::TemporaryFolder folder;
};

TEST_F(Document, TellsWhatItSaysOfItself)
{
    const PDFDocument document = PDFDocument::initWithData(support::emptyPDF({100, 100}, 3));
    EXPECT_TRUE(document);
    EXPECT_EQ(document.pageCount(), 3U);
    EXPECT_EQ(document.documentAttributes(),
        (NSDictionary{{PDFDocumentProducerAttribute, u"Scripted"}, {PDFDocumentCreatorAttribute, u"Scripted engine"}}));
}

struct TextRow {
    const char* entry;
    const NSString& attribute;
    Value expected;
};

TEST_F(Document, ReadsTextsDatesAndKeywords)
{
    const NSDate date = NSDate::dateWithTimeIntervalSinceReferenceDate(3600);
    for (const TextRow& row : {
             TextRow{"/Title(a\\050b\\051)", PDFDocumentTitleAttribute, u"a(b)"},
             TextRow{"/Title<FEFF65E5672C>", PDFDocumentTitleAttribute, u"\u65e5\u672c"},
             TextRow{"/Title(caf\\351 \\240)", PDFDocumentTitleAttribute, u"caf\u00e9 \u20ac"},
             TextRow{"/CreationDate(D:20010101010000Z)", PDFDocumentCreationDateAttribute, date},
             TextRow{"/ModDate(D:20010101020000+01'00')", PDFDocumentModificationDateAttribute, date},
             TextRow{"/ModDate(yesterday)", PDFDocumentModificationDateAttribute, {}},
             TextRow{"/Keywords(a, b c,,d)", PDFDocumentKeywordsAttribute, NSArray({u"a", u"b c", u"d"})},
             TextRow{"/Title 7", PDFDocumentTitleAttribute, {}},
         }) {
        SCOPED_TRACE(row.entry);
        EXPECT_EQ(PDFDocument::initWithData(withInformation(row.entry)).documentAttributes()[row.attribute], row.expected);
    }
}

TEST_F(Document, TakesTextsInAnyScript)
{
    for (const NSString& text : {NSString(u""), NSString(u"plain (text) \\"), NSString(u"\u00fcml\u00e4ut \u20ac"),
             NSString(u"\u65e5\u672c\u8a9e"), NSString(u"\U0001F600"), NSString(u"\u0639\u0646\u0648\u0627\u0646"),
             NSString(u"\u00fe\u00ff"), NSString(u"line\nline")}) {
        SCOPED_TRACE(text.UTF8());
        PDFDocument document = PDFDocument::initWithData(support::emptyPDF({100, 100}));
        NSDictionary attributes = document.documentAttributes();
        attributes.setObject(text, PDFDocumentTitleAttribute);
        document.setDocumentAttributes(attributes);
        const NSData written = document.dataRepresentation();
        EXPECT_EQ(PDFDocument::initWithData(written).documentAttributes(), attributes);
        expectSound(folder.write("a.pdf", written.characters()));
    }
}

TEST_F(Document, KeepsWhatIsNotChangedByteForByte)
{
    const NSData original = withInformation("/Odd 1/ModDate(D:2001)");
    PDFDocument document = PDFDocument::initWithData(original);
    EXPECT_EQ(document.dataRepresentation(), original);
    NSDictionary attributes = document.documentAttributes();
    document.setDocumentAttributes(attributes);
    EXPECT_EQ(document.dataRepresentation(), original);
    attributes.setObject(u"new", PDFDocumentTitleAttribute);
    document.setDocumentAttributes(attributes);
    const std::string changed(document.dataRepresentation().characters());
    EXPECT_TRUE(changed.starts_with(original.characters()));
    EXPECT_LT(changed.size(), original.length() + 500);
    const std::string added = changed.substr(original.length());
    EXPECT_NE(added.find("/Odd 1"), std::string::npos);
    EXPECT_NE(added.find("(D:2001)"), std::string::npos);
}

TEST_F(Document, RemovesAttributesThatAreLeftOut)
{
    PDFDocument document = PDFDocument::initWithData(support::emptyPDF({100, 100}));
    document.setDocumentAttributes({{PDFDocumentAuthorAttribute, u"a"},
        {PDFDocumentCreationDateAttribute, NSDate::dateWithTimeIntervalSinceReferenceDate(0)},
        {PDFDocumentKeywordsAttribute, NSArray({u"a", u"b"})}, {u"Unknown", u"x"}});
    EXPECT_EQ(PDFDocument::initWithData(document.dataRepresentation()).documentAttributes(),
        (NSDictionary{{PDFDocumentAuthorAttribute, u"a"},
            {PDFDocumentCreationDateAttribute, NSDate::dateWithTimeIntervalSinceReferenceDate(0)},
            {PDFDocumentKeywordsAttribute, NSArray({u"a", u"b"})}}));
}

TEST_F(Document, MakesInformationWhereThereIsNone)
{
    std::string text(support::emptyPDF({100, 100}).characters());
    text.replace(text.find("/Info 3 0 R"), 11, "           ");
    PDFDocument document = PDFDocument::initWithData(NSData::dataWithBytes(text));
    EXPECT_EQ(document.documentAttributes(), NSDictionary::dictionary());
    document.setDocumentAttributes({{PDFDocumentTitleAttribute, u"new"}});
    const NSData written = document.dataRepresentation();
    EXPECT_EQ(PDFDocument::initWithData(written).documentAttributes(), (NSDictionary{{PDFDocumentTitleAttribute, u"new"}}));
    expectSound(folder.write("a.pdf", written.characters()));
}

TEST_F(Document, CanBeChangedOverAndOver)
{
    NSData data = support::emptyPDF({100, 100});
    for (const char16_t* text : {u"one", u"two", u"three"}) {
        PDFDocument document = PDFDocument::initWithData(data);
        document.setDocumentAttributes({{PDFDocumentTitleAttribute, text}});
        data = document.dataRepresentation();
    }
    EXPECT_EQ(PDFDocument::initWithData(data).documentAttributes(), (NSDictionary{{PDFDocumentTitleAttribute, u"three"}}));
    expectSound(folder.write("a.pdf", data.characters()));
}

// Compressed cross-reference streams, and tables that have to be put right, are not to be followed by a plain table.
TEST_F(Document, IsWrittenAnewWhereNothingCanBeAdded)
{
    const std::string plain = folder.write("plain.pdf", support::emptyPDF({100, 100}).characters());
    const std::string packed = folder.pathOf("packed.pdf");
    (void)support::runHelper({"qpdf", "--object-streams=generate", plain, packed});
    std::string broken = support::readFile(plain);
    const size_t place = broken.find_first_of("123456789", broken.rfind("startxref"));
    broken[place] = broken[place] == '1' ? '2' : '1';
    for (const std::string& path : {packed, folder.write("broken.pdf", broken)}) {
        SCOPED_TRACE(path);
        PDFDocument document = PDFDocument::initWithURL(urlOf(path));
        ASSERT_TRUE(document);
        NSDictionary attributes = document.documentAttributes();
        attributes.setObject(u"new", PDFDocumentTitleAttribute);
        document.setDocumentAttributes(attributes);
        NSError error;
        ASSERT_TRUE(document.writeToFile(string(path), &error)) << error.description().UTF8();
        expectSound(path);
        EXPECT_EQ(PDFDocument::initWithURL(urlOf(path)).documentAttributes(), attributes);
    }
}

TEST_F(Document, IsAbsentForWhatIsNoPDF)
{
    for (const std::string bytes : {"", "text", "%PDF-1.4\n", "%PDF-1.4\n%%EOF\n", "<html>"}) {
        SCOPED_TRACE(bytes);
        EXPECT_FALSE(PDFDocument::initWithData(NSData::dataWithBytes(bytes)));
        EXPECT_FALSE(PDFDocument::initWithURL(urlOf(folder.write("a.pdf", bytes))));
    }
    EXPECT_FALSE(PDFDocument::initWithData({}));
    EXPECT_FALSE(PDFDocument::initWithURL({}));
    EXPECT_FALSE(PDFDocument::initWithURL(NSURL::URLWithString(u"http://h/a.pdf")));
    EXPECT_FALSE(PDFDocument::initWithURL(urlOf(folder.pathOf("missing"))));
    EXPECT_FALSE(PDFDocument::initWithURL(urlOf(folder.path().string())));
}

TEST_F(Document, ThatIsAbsentHasNothingAndFailsWithoutAnError)
{
    PDFDocument document;
    EXPECT_EQ(document.pageCount(), 0U);
    EXPECT_FALSE(document.documentAttributes());
    document.setDocumentAttributes({{PDFDocumentTitleAttribute, u"x"}});
    EXPECT_FALSE(document.dataRepresentation());
    NSError error;
    EXPECT_FALSE(document.writeToFile(string(folder.pathOf("a.pdf")), &error));
    EXPECT_FALSE(error);
    EXPECT_EQ(support::namesIn(folder.path()), std::vector<std::string>());
}

TEST_F(Document, ReplacesItsOwnFile)
{
    const std::string path = folder.write("a.pdf", support::emptyPDF({100, 100}).characters());
    PDFDocument document = PDFDocument::initWithURL(urlOf(path));
    document.setDocumentAttributes({{PDFDocumentTitleAttribute, u"new"}});
    ASSERT_TRUE(document.writeToFile(string(path)));
    EXPECT_EQ(PDFDocument::initWithURL(urlOf(path)).documentAttributes(), (NSDictionary{{PDFDocumentTitleAttribute, u"new"}}));
    std::filesystem::remove(path);
    ASSERT_TRUE(document.writeToFile(string(path)));
    expectSound(path);
    EXPECT_EQ(support::namesIn(folder.path()), std::vector<std::string>{"a.pdf"});
}

TEST_F(Document, SaysWhyItCannotBeWritten)
{
    const PDFDocument document = PDFDocument::initWithData(support::emptyPDF({100, 100}));
    const NSString path = string(folder.pathOf("missing/a.pdf"));
    NSError error;
    EXPECT_FALSE(document.writeToFile(path, &error));
    EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
    EXPECT_EQ(error.userInfo()[NSFilePathErrorKey].string(), path);
    EXPECT_FALSE(document.writeToFile(path));
}

}
