#include "Platform/Web/ViewTest.h"

#include <algorithm>

using support::ScriptedEngine;

namespace {

class Archive : public ViewTest {
protected:
    [[nodiscard]] WebArchive fromDocument() const { return mainFrame()->DOMDocument().webArchive(); }
    [[nodiscard]] WebArchive fromDataSource() const { return mainFrame()->dataSource().webArchive(); }
    // A page whose server sent other bytes than what it is now.
    void showPage()
    {
        engine->openPage("main", u"http://h/page", u"<p>as sent");
        engine->setBody(engine->document("main"), NSData::dataWithBytes("<p>as sent \xE9"));
        engine->setSnapshot("main", u"<html><p>as it is \u20AC</p></html>", u"text/html", u"windows-1252");
        engine->finish("main");
    }
};

TEST_F(Archive, FromTheDocumentIsItsMarkupInUTF8)
{
    showPage();
    engine->loadResource("main", u"http://h/a.png", "picture");
    const WebArchive archive = fromDocument();
    EXPECT_EQ(textOf(archive.mainResource().data()), "<html><p>as it is \xE2\x82\xAC</p></html>");
    EXPECT_EQ(addressOf(archive.mainResource()), "http://h/page");
    EXPECT_EQ(archive.mainResource().MIMEType(), NSString(u"text/html"));
    EXPECT_EQ(archive.mainResource().textEncodingName(), NSString(u"UTF-8"));
    EXPECT_EQ(archive.mainResource().frameName(), NSString(u""));
    EXPECT_EQ(addressesOf(archive.subresources()), (Lines{"http://h/a.png"}));
    EXPECT_TRUE(archive.subframeArchives().empty());
    EXPECT_EQ(engine->bodyQuestions().size(), 1U) << "the page's own bytes are not needed";
}

TEST_F(Archive, FromTheDataSourceIsTheServersBytes)
{
    showPage();
    engine->loadResource("main", u"http://h/a.png", "picture");
    const WebArchive archive = fromDataSource();
    EXPECT_EQ(textOf(archive.mainResource().data()), "<p>as sent \xE9");
    EXPECT_EQ(archive.mainResource().textEncodingName(), NSString(u"windows-1252"));
    EXPECT_EQ(archive.mainResource().MIMEType(), NSString(u"text/html"));
    EXPECT_EQ(archive.mainResource().frameName(), NSString(u""));
    EXPECT_EQ(addressesOf(archive.subresources()), (Lines{"http://h/a.png"}));
}

TEST_F(Archive, FromTheDataSourceDoesNotAskForDocumentsWhenItsServersToldAllEncodings)
{
    engine->start("main", u"http://h/");
    engine->respond("main", u"text/html", u"koi8-r");
    engine->setBody(engine->document("main"), NSData::dataWithBytes("<p>"));
    engine->commit("main");
    engine->finish("main");
    EXPECT_EQ(fromDataSource().mainResource().textEncodingName(), NSString(u"koi8-r"));
    EXPECT_EQ(engine->documentQuestions(), 0);
}

struct MarkedText {
    const char* name;
    std::string_view bytes;
    const char16_t* encoding;
};

TEST_F(Archive, FromTheDataSourceBelievesByteOrderMarksMoreThanServers)
{
    for (const MarkedText& row : {MarkedText{"UTF-8", "\xEF\xBB\xBF<p>", u"UTF-8"},
             MarkedText{"big-endian", std::string_view("\xFE\xFF\0<", 4), u"UTF-16BE"},
             MarkedText{"little-endian", std::string_view("\xFF\xFE<\0", 4), u"UTF-16LE"},
             MarkedText{"no mark", "<p>", u"windows-1252"}}) {
        SCOPED_TRACE(row.name);
        engine->start("main", u"http://h/");
        engine->respond("main", u"text/html", u"windows-1252");
        engine->setBody(engine->document("main"), NSData::dataWithBytes(row.bytes));
        engine->commit("main");
        engine->finish("main");
        EXPECT_EQ(fromDataSource().mainResource().textEncodingName(), NSString(row.encoding));
        EXPECT_EQ(textOf(fromDataSource().mainResource().data()), row.bytes);
    }
}

TEST_F(Archive, FromTheDataSourceDoesWithoutWhatTheEngineDoesNotTell)
{
    showPage();
    engine->failDocuments();
    const WebArchive archive = fromDataSource();
    EXPECT_EQ(textOf(archive.mainResource().data()), "<p>as sent \xE9");
    EXPECT_TRUE(archive.mainResource().textEncodingName().isAbsent());
}

TEST_F(Archive, NestsFramesInTheirOrder)
{
    showPage();
    engine->attachFrame("a", "main", u"left");
    engine->showPage("a", u"http://h/a", u"<p>a");
    engine->attachFrame("a1", "a");
    engine->showPage("a1", u"http://h/a1", u"<p>a1");
    engine->loadResource("a1", u"http://h/deep.png", "deep");
    engine->attachFrame("b");
    engine->showPage("b", u"http://h/b", u"<p>b");
    for (const bool isFromDocument : {true, false}) {
        SCOPED_TRACE(isFromDocument);
        const WebArchive archive = isFromDocument ? fromDocument() : fromDataSource();
        ASSERT_EQ(archive.subframeArchives().size(), 2U);
        const WebArchive& left = archive.subframeArchives()[0];
        EXPECT_EQ(addressOf(left.mainResource()), "http://h/a");
        EXPECT_EQ(left.mainResource().frameName(), NSString(u"left"));
        ASSERT_EQ(left.subframeArchives().size(), 1U);
        EXPECT_EQ(left.subframeArchives()[0].mainResource().frameName(), NSString(u"<!--frame0-->"));
        EXPECT_EQ(textOf(left.subframeArchives()[0].mainResource().data()), "<p>a1");
        EXPECT_EQ(addressesOf(left.subframeArchives()[0].subresources()), (Lines{"http://h/deep.png"}));
        EXPECT_EQ(archive.subframeArchives()[1].mainResource().frameName(), NSString(u"<!--frame1-->"));
        EXPECT_EQ(textOf(archive.subframeArchives()[1].mainResource().data()), "<p>b");
    }
}

TEST_F(Archive, TakesFramesOfTheDocumentInDocumentOrder)
{
    showPage();
    engine->attachFrame("second");
    engine->showPage("second", u"http://h/second", u"<p>");
    engine->attachFrame("first");
    engine->showPage("first", u"http://h/first", u"<p>");
    // Put before the other one by a script.
    std::vector<DocumentSnapshot> documents = engine->documents({});
    std::swap(documents.at(1), documents.at(2));
    engine->setDocuments(documents);
    const WebArchive archive = fromDocument();
    ASSERT_EQ(archive.subframeArchives().size(), 2U);
    EXPECT_EQ(addressOf(archive.subframeArchives()[0].mainResource()), "http://h/first");
    EXPECT_EQ(archive.subframeArchives()[0].mainResource().frameName(), NSString(u"<!--frame1-->"));
    EXPECT_EQ(addressOf(archive.subframeArchives()[1].mainResource()), "http://h/second");
}

TEST_F(Archive, OfASubframeHoldsThatAndWhatIsBelow)
{
    showPage();
    engine->attachFrame("a");
    engine->showPage("a", u"http://h/a", u"<p>a");
    engine->attachFrame("a1", "a");
    engine->showPage("a1", u"http://h/a1", u"<p>a1");
    for (const WebArchive& archive : {child()->DOMDocument().webArchive(), child()->dataSource().webArchive()}) {
        EXPECT_EQ(addressOf(archive.mainResource()), "http://h/a");
        EXPECT_EQ(archive.subframeArchives().size(), 1U);
    }
}

TEST_F(Archive, TellsFramesOfTheSameAddressApart)
{
    showPage();
    for (const char* frame : {"a", "b"}) {
        engine->attachFrame(frame);
        engine->showPage(frame, u"http://h/same", NSString::stringWithUTF8String(frame));
        engine->loadResource(frame, NSString::stringWithFormat(u"http://h/%s.png", frame), frame);
    }
    const WebArchive archive = fromDocument();
    ASSERT_EQ(archive.subframeArchives().size(), 2U);
    EXPECT_EQ(textOf(archive.subframeArchives()[0].mainResource().data()), "a");
    EXPECT_EQ(addressesOf(archive.subframeArchives()[0].subresources()), (Lines{"http://h/a.png"}));
    EXPECT_EQ(textOf(archive.subframeArchives()[1].mainResource().data()), "b");
    EXPECT_EQ(addressesOf(archive.subframeArchives()[1].subresources()), (Lines{"http://h/b.png"}));
}

TEST_F(Archive, FromTheDocumentKeepsFramesWithoutAnAddress)
{
    showPage();
    // Never loaded at all and filled by a script; told as blank and filled; and with its markup in its attribute.
    engine->attachFrame("bare");
    engine->setSnapshot("bare", u"<p>written");
    engine->attachFrame("blank");
    engine->showBlank("blank", u"<p>built");
    engine->loadResource("blank", u"http://h/a.png", "a");
    engine->attachFrame("attribute");
    engine->showBlank("attribute", u"<p>attribute", u"about:srcdoc");
    engine->loadResource("attribute", u"http://h/b.png", "b");
    const WebArchive archive = fromDocument();
    ASSERT_EQ(archive.subframeArchives().size(), 3U);
    const char* addresses[] = {"about:blank", "about:blank", "about:srcdoc"};
    const char* texts[] = {"<p>written", "<p>built", "<p>attribute"};
    for (size_t index = 0; index < 3; ++index) {
        const WebResource main = archive.subframeArchives()[index].mainResource();
        EXPECT_EQ(addressOf(main), addresses[index]);
        EXPECT_EQ(textOf(main.data()), texts[index]);
        EXPECT_EQ(main.MIMEType(), NSString(u"text/html"));
    }
    EXPECT_EQ(addressesOf(archive.subframeArchives()[1].subresources()), (Lines{"http://h/a.png"}));
    EXPECT_EQ(addressesOf(archive.subframeArchives()[2].subresources()), (Lines{"http://h/b.png"}));
}

TEST_F(Archive, FromTheDataSourceKeepsMarkupInAttributesAndLeavesBlankFramesOut)
{
    showPage();
    engine->attachFrame("blank");
    engine->showBlank("blank", u"<p>built");
    engine->attachFrame("attribute");
    engine->showBlank("attribute", u"<p>attribute \u20AC", u"about:srcdoc");
    engine->loadResource("attribute", u"http://h/b.png", "b");
    const WebArchive archive = fromDataSource();
    ASSERT_EQ(archive.subframeArchives().size(), 1U);
    EXPECT_EQ(textOf(archive.subframeArchives()[0].mainResource().data()), "<p>attribute \xE2\x82\xAC");
    EXPECT_EQ(archive.subframeArchives()[0].mainResource().textEncodingName(), NSString(u"UTF-8"));
    EXPECT_EQ(addressOf(archive.subframeArchives()[0].mainResource()), "about:srcdoc");
    EXPECT_EQ(addressesOf(archive.subframeArchives()[0].subresources()), (Lines{"http://h/b.png"}));
}

TEST_F(Archive, LeavesOutFramesThatNeverShowedAnything)
{
    showPage();
    engine->attachFrame("failed");
    engine->setSnapshot("failed", u"<html></html>");
    engine->start("failed", u"http://nowhere/");
    engine->fail("failed", NSURLErrorCannotFindHost);
    engine->attachFrame("waiting");
    engine->setSnapshot("waiting", u"<html></html>");
    engine->start("waiting", u"http://slow/");
    engine->attachFrame("good");
    engine->showPage("good", u"http://h/good", u"<p>");
    for (const WebArchive& archive : {fromDocument(), fromDataSource()}) {
        ASSERT_EQ(archive.subframeArchives().size(), 1U);
        EXPECT_EQ(addressOf(archive.subframeArchives()[0].mainResource()), "http://h/good");
    }
}

TEST_F(Archive, IsAbsentForAViewThatNeverShowedAnything)
{
    EXPECT_FALSE(fromDocument());
    EXPECT_FALSE(fromDataSource());
    engine->start("main", u"http://nowhere/");
    engine->fail("main", NSURLErrorCannotFindHost);
    EXPECT_FALSE(fromDocument());
    EXPECT_FALSE(fromDataSource());
    engine->start("main", u"http://slow/");
    EXPECT_FALSE(mainFrame()->provisionalDataSource().webArchive());
}

TEST_F(Archive, KeepsWhatIsNoPageAsItsServerSentIt)
{
    showPage();
    const auto show = [this](const char* frame, const NSString& type, const char* bytes, const NSString& markup) {
        engine->attachFrame(frame);
        engine->start(frame, NSString::stringWithFormat(u"http://h/%s", frame));
        engine->respond(frame, type);
        engine->setBody(engine->document(frame), NSData::dataWithBytes(bytes));
        engine->commit(frame);
        engine->setSnapshot(frame, markup, type, u"windows-1252");
        engine->finish(frame);
    };
    show("picture", u"image/png", "\x89PNG", NSString());
    show("text", u"text/plain", "plain & simple", u"<html><pre>plain &amp; simple</pre></html>");
    show("drawing", u"image/svg+xml", "<svg/>", u"<svg xmlns=\"http://www.w3.org/2000/svg\"/>");
    const WebArchive archive = fromDocument();
    ASSERT_EQ(archive.subframeArchives().size(), 3U);
    const WebResource picture = archive.subframeArchives()[0].mainResource();
    EXPECT_EQ(textOf(picture.data()), "\x89PNG");
    EXPECT_EQ(picture.MIMEType(), NSString(u"image/png"));
    EXPECT_EQ(picture.frameName(), NSString(u"<!--frame0-->"));
    const WebResource text = archive.subframeArchives()[1].mainResource();
    EXPECT_EQ(textOf(text.data()), "plain & simple");
    EXPECT_EQ(text.MIMEType(), NSString(u"text/plain"));
    EXPECT_EQ(text.textEncodingName(), NSString(u"windows-1252"));
    const WebResource drawing = archive.subframeArchives()[2].mainResource();
    EXPECT_EQ(textOf(drawing.data()), "<svg xmlns=\"http://www.w3.org/2000/svg\"/>");
    EXPECT_EQ(drawing.textEncodingName(), NSString(u"UTF-8"));
}

struct TypeRow {
    const char16_t* sent;   // null for none
    const char16_t* shown;
    const char16_t* archived;
};

TEST_F(Archive, KeepsTheSpellingOfTheTypeUnlessTheEngineTookItForAnother)
{
    for (const TypeRow& row : {TypeRow{u"text/html", u"text/html", u"text/html"},
             TypeRow{u"TEXT/Html", u"text/html", u"TEXT/Html"}, TypeRow{u"text/html;x=1", u"text/html", u"text/html"},
             TypeRow{nullptr, u"text/html", u"text/html"}, TypeRow{u"unknown/unknown", u"text/html", u"text/html"},
             TypeRow{u"application/xhtml+xml", u"application/xhtml+xml", u"application/xhtml+xml"}}) {
        const NSString sent = row.sent ? NSString(row.sent) : NSString();
        SCOPED_TRACE(sent.UTF8());
        engine->start("main", u"http://h/");
        engine->respond("main", sent);
        engine->commit("main");
        engine->setSnapshot("main", u"<html></html>", row.shown);
        engine->finish("main");
        EXPECT_EQ(fromDocument().mainResource().MIMEType(), NSString(row.archived));
    }
}

TEST_F(Archive, TakesTheTypeFromTheEngineWhereTheServerGaveNone)
{
    showPage();
    engine->attachFrame("f");
    engine->start("f", u"http://h/f");
    engine->respond("f", NSString());
    engine->setBody(engine->document("f"), NSData::dataWithBytes("<p>"));
    engine->commit("f");
    engine->setSnapshot("f", u"<p>", u"text/html");
    engine->finish("f");
    EXPECT_EQ(fromDataSource().subframeArchives().at(0).mainResource().MIMEType(), NSString(u"text/html"));
}

TEST_F(Archive, HasTheAddressOfTheResponseNotThatOfAScript)
{
    showPage();
    std::vector<DocumentSnapshot> documents = engine->documents({});
    documents.at(0).url = NSURL::URLWithString(u"http://h/pushed/by/script");
    engine->setDocuments(documents);
    EXPECT_EQ(addressOf(fromDocument().mainResource()), "http://h/page");
}

TEST_F(Archive, TakesADocumentWhoseNewsIsStillOnItsWay)
{
    showPage();
    engine->loadResource("main", u"http://h/old.png", "old");
    engine->client()->resourceRequested("r", "main", "next", support::requestFor(u"http://h/new.png"), {});
    engine->finishResource("r", NSData::dataWithBytes("new"));
    std::vector<DocumentSnapshot> documents = engine->documents({});
    documents.at(0).document = "next";
    documents.at(0).url = NSURL::URLWithString(u"http://h/next");
    DocumentSnapshot unseen = documents.at(0);
    unseen.frame = "unseen";
    documents.push_back(unseen);
    engine->setDocuments(documents);
    const WebArchive archive = fromDocument();
    EXPECT_EQ(addressOf(archive.mainResource()), "http://h/next");
    EXPECT_EQ(addressesOf(archive.subresources()), (Lines{"http://h/new.png"}));
    EXPECT_TRUE(archive.subframeArchives().empty());
}

TEST_F(Archive, MakesDoWithUnpairedSurrogates)
{
    showPage();
    engine->setSnapshot("main", NSString(std::u16string(u"a\xD800z")));
    EXPECT_EQ(textOf(fromDocument().mainResource().data()), "a\xEF\xBF\xBDz");
}

TEST_F(Archive, LeavesOutFramesThatNestTooDeeply)
{
    showPage();
    std::string parent = "main";
    for (int depth = 0; depth < 250; ++depth) {
        const std::string frame = "f" + std::to_string(depth);
        engine->attachFrame(frame, parent);
        engine->showPage(frame, u"http://h/f", u"<iframe>");
        parent = frame;
    }
    for (const WebArchive& archive : {fromDocument(), fromDataSource()}) {
        size_t depth = 0;
        for (const WebArchive* each = &archive; !each->subframeArchives().empty(); each = &each->subframeArchives()[0])
            ++depth;
        EXPECT_EQ(depth, 199U);
        EXPECT_TRUE(WebArchive::initWithData(archive.data()));
    }
}

// The main resource alone.

TEST_F(Archive, MainResourceHasNoBytesWhileItLoads)
{
    engine->start("main", u"http://h/");
    EXPECT_FALSE(mainFrame()->provisionalDataSource().mainResource());
    engine->respond("main", u"text/html", u"utf-8");
    EXPECT_EQ(mainFrame()->provisionalDataSource().mainResource().MIMEType(), NSString(u"text/html"));
    EXPECT_TRUE(mainFrame()->provisionalDataSource().mainResource().data().isAbsent());
    engine->commit("main");
    EXPECT_TRUE(mainFrame()->dataSource().mainResource().data().isAbsent());
    EXPECT_TRUE(engine->bodyQuestions().empty());
    engine->setBody(engine->document("main"), NSData::dataWithBytes("<p>"));
    engine->finish("main");
    const WebResource resource = mainFrame()->dataSource().mainResource();
    EXPECT_TRUE(engine->bodyQuestions().empty()) << "bytes are fetched when they are asked for";
    EXPECT_EQ(textOf(resource.data()), "<p>");
}

TEST_F(Archive, MainResourceOfADocumentThatIsGoneCannotBeFetched)
{
    showPage();
    const WebDataSource old = mainFrame()->dataSource();
    const WebResource resource = old.mainResource();
    engine->showPage("main", u"http://h/next", u"<p>");
    EXPECT_THROW((void)resource.data(), NSException);
    EXPECT_FALSE(old.webArchive());
}

TEST_F(Archive, HoldsWhatCameBeforeAPageBrokeOff)
{
    engine->openPage("main", u"http://h/", u"<p>half a p");
    engine->client()->resourceFailed(engine->document("main"), NSError(NSURLErrorDomain, NSURLErrorNetworkConnectionLost));
    engine->fail("main", NSURLErrorNetworkConnectionLost);
    EXPECT_EQ(textOf(fromDataSource().mainResource().data()), "<p>half a p");
    EXPECT_EQ(textOf(fromDocument().mainResource().data()), "<p>half a p");
}

// Faults.

TEST_F(Archive, FailsWhenTheEngineDoesNotTellItsDocuments)
{
    showPage();
    engine->failDocuments();
    EXPECT_THROW((void)fromDocument(), NSException);
    EXPECT_TRUE(fromDataSource());
    engine->onDocuments = nullptr;
    EXPECT_TRUE(fromDocument());
}

TEST_F(Archive, FailsWhenTheEngineDoesNotTellABody)
{
    showPage();
    engine->failBody(engine->loadResource("main", u"http://h/a.png", "a"));
    EXPECT_THROW((void)fromDocument(), NSException);
    EXPECT_THROW((void)fromDataSource(), NSException);
    EXPECT_THROW((void)mainFrame()->dataSource().subresources(), NSException);
    EXPECT_EQ(textOf(mainFrame()->dataSource().mainResource().data()), "<p>as sent \xE9");
}

TEST_F(Archive, FailsWhenTheEngineDoesNotTellThePagesBytes)
{
    showPage();
    engine->failBody(engine->document("main"));
    EXPECT_TRUE(fromDocument());
    EXPECT_THROW((void)fromDataSource(), NSException);
    const WebResource resource = mainFrame()->dataSource().mainResource();
    EXPECT_THROW((void)resource.data(), NSException);
    EXPECT_THROW((void)WebArchive::initWithMainResource(resource), NSException);
}

TEST_F(Archive, LetsOtherExceptionsPass)
{
    showPage();
    engine->onDocuments = [] { throw std::runtime_error("not the platform's"); };
    EXPECT_THROW((void)fromDocument(), std::runtime_error);
    EXPECT_THROW((void)fromDataSource(), std::runtime_error);
}

TEST_F(Archive, FailsWhenTheEngineIsGone)
{
    showPage();
    engine->loadResource("main", u"http://h/a.png", "a");
    engine->failEngine(NSError(NSURLErrorDomain, NSURLErrorUnknown, {{NSLocalizedDescriptionKey, u"It died."}}));
    const WebDataSource dataSource = mainFrame()->dataSource();
    EXPECT_THROW((void)fromDocument(), NSException);
    EXPECT_THROW((void)dataSource.webArchive(), NSException);
    EXPECT_THROW((void)dataSource.mainResource(), NSException);
    try {
        (void)dataSource.subresources();
        FAIL();
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.reason(), NSString(u"The page engine is gone: It died."));
        EXPECT_EQ(exception.userInfo()[NSUnderlyingErrorKey].error().code(), NSURLErrorUnknown);
    }
}

TEST_F(Archive, MadeBeforeTheEngineWentStaysWhole)
{
    showPage();
    engine->loadResource("main", u"http://h/a.png", "a");
    const WebArchive archive = fromDataSource();
    engine->failEngine(NSError(NSURLErrorDomain, NSURLErrorUnknown));
    EXPECT_EQ(textOf(archive.mainResource().data()), "<p>as sent \xE9");
    EXPECT_EQ(textOf(archive.subresources().at(0).data()), "a");
    EXPECT_TRUE(archive.data());
}

TEST_F(Archive, WaitsLessForAnEngineThatDidNotAnswer)
{
    showPage();
    using Clock = std::chrono::steady_clock;
    std::vector<Clock::duration> patience;
    engine->onDeadline = [&patience](Clock::time_point deadline) { patience.push_back(deadline - Clock::now()); };
    engine->failDocuments();
    EXPECT_THROW((void)fromDocument(), NSException);
    EXPECT_THROW((void)fromDocument(), NSException);
    ASSERT_EQ(patience.size(), 2U);
    EXPECT_GT(patience[0], std::chrono::seconds(5));
    EXPECT_LT(patience[1], std::chrono::seconds(2));
    // A new load is a new chance.
    mainFrame()->loadRequest(support::requestFor(u"http://h/"));
    EXPECT_THROW((void)fromDocument(), NSException);
    EXPECT_GT(patience[2], std::chrono::seconds(5));
}

}
