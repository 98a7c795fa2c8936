#include "Tools/ToolTest.h"

#include "Platform/Foundation/NSException.h"

#include <stdexcept>

namespace {

class Saving : public ArchiveLoaderTest {
protected:
    static constexpr const char* FromDataSource = "<key>WebToolUseDOMDocument</key><false/>";
    [[nodiscard]] NSString outputPath() const { return NSString::stringWithRepairedUTF8(folder.pathOf("page.webarchive")); }
    void save() { EXPECT_THROW(loader().saveWebArchive(outputPath()), RunEnded); }
    [[nodiscard]] WebArchive archive() const
    {
        return WebArchive::initWithData(NSData::dataWithBytes(support::readFile(outputPath().UTF8())));
    }
    [[nodiscard]] std::string savedMarkup() const { return std::string(archive().mainResource().data().characters()); }
    // A page whose server sent other bytes than what stands there now, with a picture and a frame.
    void loadPageOf(const NSString& type)
    {
        load(u"http://h/", [type](Engine& told, const NSURLRequest&) {
            told.openPage(Engine::main, u"http://h/", u"<p>", type);
            told.setBody(told.document(Engine::main), NSData::dataWithBytes("as sent"));
            told.setSnapshot(Engine::main, u"<p>as it stands", type);
            told.title(Engine::main, u"A title");
            told.loadResource(Engine::main, u"http://h/a.png", "picture");
            told.attachFrame("f");
            told.showPage("f", u"http://h/f", u"<p>in the frame");
            told.finish(Engine::main);
        });
    }
};

struct SourceRow {
    const char16_t* type;
    const char* settings;
    const char* markup;
};

TEST_F(Saving, TakesTheDocumentUnlessItIsXMLOrSettingsSayOtherwise)
{
    const std::string on = "<key>WebToolUseDOMDocument</key><true/>";
    const std::string unusable = "<key>WebToolUseDOMDocument</key><array/>";
    for (const SourceRow& row : {
             SourceRow{u"text/html", "", "<p>as it stands"},
             SourceRow{u"text/html", on.c_str(), "<p>as it stands"},
             SourceRow{u"text/html", unusable.c_str(), "<p>as it stands"},
             SourceRow{u"text/html", FromDataSource, "as sent"},
             SourceRow{u"application/xhtml+xml", "", "<p>as it stands"},
             SourceRow{u"application/xml", "", "<p>as it stands"},
             SourceRow{u"application/xml", FromDataSource, "as sent"},
             SourceRow{u"text/xml", "", "as sent"},
             SourceRow{u"text/xml", on.c_str(), "as sent"},
         }) {
        SCOPED_TRACE(NSString(row.type).UTF8() + row.settings);
        setLoadSettings(row.settings);
        ArchiveLoader each(engineMaker());
        engine->onLoad = [&row](Engine& told, const NSURLRequest&) {
            told.openPage(Engine::main, u"http://h/", u"", row.type);
            told.setBody(told.document(Engine::main), NSData::dataWithBytes("as sent"));
            told.setSnapshot(Engine::main, u"<p>as it stands", row.type);
            told.finish(Engine::main);
        };
        each.loadURL(address(u"http://h/"), u"uid");
        EXPECT_THROW(each.saveWebArchive(outputPath()), RunEnded);
        EXPECT_TRUE(record().hasSucceeded());
        EXPECT_EQ(savedMarkup(), row.markup);
    }
}

// Only the usual spelling counts. The content-type policy would not let such pages through.
TEST_F(Saving, TakesTheDocumentOfXMLInOtherSpellings)
{
    for (const char16_t* type : {u"text/XML", u"TEXT/XML", u"text/xml2"}) {
        SCOPED_TRACE(NSString(type).UTF8());
        ArchiveLoader each(engineMaker());
        each.view().setPolicyDelegate(nullptr);
        engine->onLoad = [type](Engine& told, const NSURLRequest&) {
            told.openPage(Engine::main, u"http://h/", u"", type);
            told.setBody(told.document(Engine::main), NSData::dataWithBytes("as sent"));
            told.setSnapshot(Engine::main, u"<p>as it stands", u"text/html");
            told.finish(Engine::main);
        };
        each.loadURL(address(u"http://h/"), u"uid");
        EXPECT_THROW(each.saveWebArchive(outputPath()), RunEnded);
        EXPECT_EQ(savedMarkup(), "<p>as it stands");
    }
}

TEST_F(Saving, TellsTitleAddressAndPath)
{
    loadPageOf(u"text/html");
    save();
    EXPECT_EQ(record().keys, (Lines{"succeeded", "title", "url", "path"}));
    EXPECT_EQ(record().title, "A title");
    EXPECT_EQ(record().url, "http://h/");
    EXPECT_EQ(record().path, outputPath().UTF8());
    ASSERT_EQ(archive().subresources().size(), 1U);
    ASSERT_EQ(archive().subframeArchives().size(), 1U);
    EXPECT_EQ(support::namesIn(folder.path()), (Lines{"page.webarchive", "record.plist"}));
}

TEST_F(Saving, EndsWithAFatalErrorBeforeAnythingIsAsked)
{
    loadPageOf(u"text/html");
    setError(NSError(NSURLErrorDomain, NSURLErrorTimedOut));
    save();
    EXPECT_EQ(record().keys, (Lines{"succeeded", "errorData", "errorString", "url"}));
    EXPECT_EQ(engine->documentQuestions(), 0);
    EXPECT_FALSE(std::filesystem::exists(outputPath().UTF8()));
}

TEST_F(Saving, ForgetsAForgivenError)
{
    loadPageOf(u"text/html");
    setError(NSError(NSURLErrorDomain, NSURLErrorCancelled));
    save();
    EXPECT_TRUE(record().hasSucceeded());
}

TEST_F(Saving, TellsWhyTheFileCannotBeWrittenAndWhere)
{
    folder.write("file", "kept");
    for (const char* name : {"missing/page.webarchive", "file/page.webarchive"}) {
        SCOPED_TRACE(name);
        forgetLoader();
        loadPageOf(u"text/html");
        const NSString path = NSString::stringWithRepairedUTF8(folder.pathOf(name));
        EXPECT_THROW(loader().saveWebArchive(path), RunEnded);
        EXPECT_EQ(record().keys, (Lines{"succeeded", "errorData", "errorString", "title", "url", "path"}));
        EXPECT_EQ(record().title, "A title");
        EXPECT_EQ(record().url, "http://h/");
        EXPECT_EQ(record().path, path.UTF8());
        EXPECT_EQ(archivedError().domain, "NSCocoaErrorDomain");
        EXPECT_EQ(archivedError().value(NSFilePathErrorKey.UTF8()), path.UTF8());
    }
    EXPECT_EQ(support::readFile(folder.pathOf("file")), "kept");
}

TEST_F(Saving, KeepsAnOlderFileWhenTheNewOneCannotBeMade)
{
    loadPageOf(u"text/html");
    folder.makeFolder("page.webarchive");
    save();
    EXPECT_FALSE(record().hasSucceeded());
    EXPECT_EQ(record().path, outputPath().UTF8());
    EXPECT_TRUE(std::filesystem::is_directory(outputPath().UTF8()));
}

const char* const firstException = "Tarnwick encountered an internal Web Kit error '%@' while saving an archive for 'http://h/'. "
                                   "Trying workaround code.";

std::string withException(std::string_view reason)
{
    std::string line = firstException;
    return line.replace(line.find("%@"), 2, reason);
}

TEST_F(Saving, GoesFrameByFrameAfterAnException)
{
    loadPageOf(u"text/html");
    engine->failDocuments();
    logged.clear();
    save();
    EXPECT_TRUE(record().hasSucceeded());
    EXPECT_EQ(record().keys, (Lines{"succeeded", "title", "url", "path"}));
    EXPECT_EQ(messagesWithoutArea(), (Lines{withException("The scripted engine does not tell its documents.")}));
    EXPECT_EQ(savedMarkup(), "as sent");
    ASSERT_EQ(archive().subresources().size(), 1U);
    ASSERT_EQ(archive().subframeArchives().size(), 1U);
    EXPECT_EQ(archive().subframeArchives()[0].mainResource().URL(), address(u"http://h/f"));
}

TEST_F(Saving, TellsTheSecondExceptionWhenBothWaysFail)
{
    loadPageOf(u"text/html");
    engine->failDocuments();
    engine->failBody(engine->document(Engine::main));
    logged.clear();
    save();
    EXPECT_EQ(messagesWithoutArea(),
        (Lines{withException("The scripted engine does not tell its documents."),
            "Unable to save Web archive using workaround code"}));
    EXPECT_EQ(record().keys, (Lines{"succeeded", "errorData", "errorString", "title", "url", "path"}));
    EXPECT_EQ(record().title, "A title");
    EXPECT_EQ(record().url, "http://h/");
    EXPECT_EQ(record().path, outputPath().UTF8());
    EXPECT_FALSE(std::filesystem::exists(outputPath().UTF8()));
    // The host reads back two of its three entries.
    EXPECT_EQ(archivedError().domain, "NSCocoaErrorDomain");
    EXPECT_EQ(archivedError().code, 512);
    EXPECT_EQ(archivedError().userInfo.size(), 2U);
    EXPECT_EQ(archivedError().value(NSURLErrorKey.UTF8()), "http://h/");
    EXPECT_EQ(archivedError().value(NSFilePathErrorKey.UTF8()), outputPath().UTF8());
    const NSError& error = loader().error();
    ASSERT_EQ(error.userInfo().count(), 3U);
    EXPECT_EQ(error.userInfo()[NSURLErrorKey], Value(address(u"http://h/")));
    EXPECT_EQ(error.userInfo()[NSFilePathErrorKey], Value(outputPath()));
    EXPECT_EQ(error.userInfo()[u"QVRUnderlyingException"], Value(u"The scripted engine does not tell this body."));
}

// An exception of a subclass is one too.
TEST_F(Saving, TakesExceptionsOfEveryClass)
{
    class Special final : public NSException {
    public:
        Special() : NSException(NSRangeException, u"special") { }
    };
    loadPageOf(u"text/html");
    engine->onDocuments = [] { throw Special(); };
    logged.clear();
    save();
    EXPECT_EQ(messagesWithoutArea(), (Lines{withException("special")}));
    EXPECT_TRUE(record().hasSucceeded());
}

TEST_F(Saving, LetsEverythingElseThatIsThrownPass)
{
    loadPageOf(u"text/html");
    engine->onDocuments = [] { throw std::runtime_error("first"); };
    EXPECT_THROW(loader().saveWebArchive(outputPath()), std::runtime_error);
    engine->failDocuments();
    engine->onBody = [](const ResourceID&) { throw std::runtime_error("second"); };
    EXPECT_THROW(loader().saveWebArchive(outputPath()), std::runtime_error);
    EXPECT_FALSE(std::filesystem::exists(recordPath()));
    EXPECT_FALSE(std::filesystem::exists(outputPath().UTF8()));
    EXPECT_FALSE(loader().error());
}

struct FramesRow {
    const char* name;
    std::vector<const char16_t*> elements;
    bool isShowingFrames;
};

TEST_F(Saving, KnowsFramesetsByTheirFrames)
{
    for (const FramesRow& row : {FramesRow{"none", {}, false}, FramesRow{"inline", {u"iframe", u"iframe"}, false},
             FramesRow{"frames", {u"frame", u"frame"}, true}, FramesRow{"mixed", {u"iframe", u"frame"}, true},
             FramesRow{"objects", {u"object", u"embed"}, false}}) {
        SCOPED_TRACE(row.name);
        ArchiveLoader each(engineMaker());
        engine->openPage(Engine::main, u"http://h/", u"<p>");
        for (size_t index = 0; index < row.elements.size(); ++index)
            engine->attachFrame("f" + std::to_string(index), Engine::main, {}, row.elements[index]);
        EXPECT_EQ(each.isShowingFrames(), row.isShowingFrames);
    }
}

// A frame inside an inline frame is none of the page's own.
TEST_F(Saving, LooksForFramesAmongThePagesOwn)
{
    static_cast<void>(loader());
    engine->openPage(Engine::main, u"http://h/", u"<p>");
    engine->attachFrame("f");
    engine->attachFrame("g", "f", {}, u"frame");
    EXPECT_FALSE(loader().isShowingFrames());
}

}
