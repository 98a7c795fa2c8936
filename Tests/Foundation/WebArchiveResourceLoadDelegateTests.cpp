#include "QVRWebArchiveWebResourceLoadDelegate.h"

#include "Platform/Foundation/NSDebug.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Web/WebView.h"
#include "QVRWebArchiveURLProtocol.h"
#include "Support/Printing.h"
#include "Support/ScriptedEngine.h"
#include "Support/StandardErrorCapture.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

namespace {

using Delegate = QVRWebArchiveWebResourceLoadDelegate;

NSURL address(std::u16string_view text)
{
    return NSURL::URLWithUncheckedString(NSString(text));
}

WebResource resource(std::u16string_view url, std::string_view bytes)
{
    return WebResource(NSData::dataWithBytes(bytes), address(url), u"image/png", u"koi8-r");
}

WebArchive archiveOf(const std::vector<WebResource>& resources, const std::vector<WebArchive>& frames = {})
{
    return WebArchive::initWithMainResource(resource(u"http://h/", "main"), resources, frames);
}

std::string found(const Delegate& delegate, std::u16string_view url)
{
    const WebResource resource = delegate.archivedResourceForURL(address(url));
    return resource ? std::string(resource.data().characters()) : "none";
}

TEST(QVRWebArchiveDelegate, FindsNothingBeforeItHasAnArchive)
{
    Delegate delegate;
    EXPECT_EQ(found(delegate, u"http://h/"), "none");
    delegate.addResource(resource(u"http://h/a.png", "a"));
    delegate.addResources(archiveOf({}));
    EXPECT_EQ(found(delegate, u"http://h/a.png"), "none");
    EXPECT_EQ(found(delegate, u"http://h/"), "none");
    delegate.setWebArchive(WebArchive());
    EXPECT_EQ(found(delegate, u"http://h/"), "none");
    delegate.addResource(resource(u"http://h/a.png", "a"));
    EXPECT_EQ(found(delegate, u"http://h/a.png"), "a");
}

TEST(QVRWebArchiveDelegate, IndexesAllFramesAndForgetsAnEarlierArchive)
{
    Delegate delegate;
    const WebArchive inner =
        WebArchive::initWithMainResource(resource(u"http://h/inner", "inner"), {resource(u"http://h/i.png", "i")});
    const WebArchive frame =
        WebArchive::initWithMainResource(resource(u"http://h/frame", "frame"), {resource(u"http://h/f.png", "f")}, {inner});
    delegate.setWebArchive(archiveOf({resource(u"http://h/a.png", "a")}, {frame}));
    for (const auto& [url, bytes] :
        {std::pair(u"http://h/", "main"), std::pair(u"http://h/a.png", "a"), std::pair(u"http://h/frame", "frame"),
            std::pair(u"http://h/f.png", "f"), std::pair(u"http://h/inner", "inner"), std::pair(u"http://h/i.png", "i")})
        EXPECT_EQ(found(delegate, url), bytes);
    delegate.setWebArchive(archiveOf({resource(u"http://h/b.png", "b")}));
    EXPECT_EQ(found(delegate, u"http://h/a.png"), "none");
    EXPECT_EQ(found(delegate, u"http://h/b.png"), "b");
}

TEST(QVRWebArchiveDelegate, LetsLaterResourcesTakeThePlaceOfEarlierOnes)
{
    Delegate delegate;
    const WebArchive frame =
        WebArchive::initWithMainResource(resource(u"http://h/f", "f"), {resource(u"http://h/shared.png", "of the frame")});
    delegate.setWebArchive(archiveOf({resource(u"http://h/a.png", "first"), resource(u"http://h/a.png", "second"),
                                         resource(u"http://h/shared.png", "of the parent")},
        {frame}));
    EXPECT_EQ(found(delegate, u"http://h/a.png"), "second");
    EXPECT_EQ(found(delegate, u"http://h/shared.png"), "of the frame");
}

TEST(QVRWebArchiveDelegate, LeavesOutWhatHasNoAddress)
{
    Delegate delegate;
    delegate.setWebArchive(WebArchive::initWithMainResource(
        WebResource(NSData::dataWithBytes("x"), NSURL(), u"text/html", {}), {resource(u"http://h/a.png", "a")}));
    EXPECT_EQ(found(delegate, u"http://h/a.png"), "a");
}

struct Lookup {
    const char16_t* url;
    const char* bytes;
};

TEST(QVRWebArchiveDelegate, FindsByExactAddressAndElseByFileName)
{
    Delegate delegate;
    delegate.setWebArchive(archiveOf({
        resource(u"http://h/one/a.png", "one"),
        resource(u"http://h/two/a.png", "two"),
        resource(u"http://h/query.png?v=1", "with a query"),
        resource(u"http://h/path?next=/inside.png", "a name in a query"),
        resource(u"http://h/part#/fragment.png", "a name in a fragment"),
        resource(u"http://h/folder", "folder"),
        resource(u"http://h/With%20Blank.png", "escaped"),
        resource(u"http://h/with blank.png", "unescaped"),
        resource(u"http://h/CASE.PNG", "large"),
        resource(u"http://h/end//", "two slashes"),
        resource(u"mailto:a@b/name", "opaque"),
        resource(u"nameless", "no slash"),
    }));
    const Lookup rows[] = {
        {u"http://h/two/a.png", "two"},
        {u"http://h/a.png", "one"},   // the first of the name
        {u"https://g/else/where/a.png?x#y", "one"},
        {u"http://h/one/a.png?x", "one"},
        {u"http://h/two/a.png#x", "one"},   // no exact address any more
        {u"http://h/query.png?v=1", "with a query"},
        {u"http://h/query.png", "none"},   // the key ends in its query
        {u"http://h/query.png?v=2", "none"},
        {u"http://g/inside.png", "a name in a query"},
        {u"http://g/fragment.png", "a name in a fragment"},
        {u"http://g/folder/", "folder"},   // the folder's name
        {u"http://g/folder", "folder"},
        {u"http://g/x/folder/?q", "folder"},
        {u"http://g/older", "none"},
        {u"http://g/With%20Blank.png", "none"},   // the path's own text is looked for, and the key is escaped
        {u"http://g/with%20blank.png", "unescaped"},
        {u"http://g/case.png", "none"},
        {u"http://g/CASE.PNG", "large"},
        {u"http://g/", "two slashes"},   // the last component is "/"
        {u"http://g", "none"},
        {u"mailto:a@b/name", "opaque"},
        {u"mailto:x", "none"},
        {u"http://g/name", "opaque"},
        {u"nameless", "no slash"},
        {u"http://g/nameless", "none"},
        {u"http://g/%FF", "none"},   // no path that could be read
        {u"", "none"},
    };
    for (const Lookup& row : rows) {
        SCOPED_TRACE(NSString(row.url).UTF8());
        EXPECT_EQ(found(delegate, row.url), row.bytes);
    }
    EXPECT_FALSE(delegate.archivedResourceForURL(NSURL()));
}

TEST(QVRWebArchiveDelegate, KeepsThePlaceOfAnAddressThatIsIndexedAgain)
{
    Delegate delegate;
    delegate.setWebArchive(archiveOf({resource(u"http://h/one/a.png", "one"), resource(u"http://h/two/a.png", "two"),
        resource(u"http://h/one/a.png", "one again")}));
    EXPECT_EQ(found(delegate, u"http://g/a.png"), "one again");
}

// What the fallback promises, said the plain way.
std::string foundBySearch(const std::vector<std::u16string>& keys, const NSURL& url)
{
    const NSString text = url.absoluteString();
    for (const std::u16string& key : keys) {
        if (NSString(key) == text)
            return NSString(key).UTF8();
    }
    if (url.path().length() == 0)
        return "none";
    const std::u16string suffix = u"/" + std::u16string(url.path().lastPathComponent().units());
    for (const std::u16string& key : keys) {
        if (key.ends_with(suffix))
            return NSString(key).UTF8();
    }
    return "none";
}

TEST(QVRWebArchiveDelegate, FindsWhatASearchThroughAllAddressesFinds)
{
    // Few letters, so that names meet often.
    std::mt19937 random(20);
    const auto text = [&] {
        static constexpr std::u16string_view letters = u"ab//?#.%2F";
        std::u16string result = u"http://h/";
        for (size_t length = random() % 8; length > 0; --length)
            result += letters[random() % letters.size()];
        return result;
    };
    for (int round = 0; round < 200; ++round) {
        Delegate delegate;
        delegate.setWebArchive(WebArchive());
        std::vector<std::u16string> keys;
        for (int index = 0; index < 12; ++index) {
            const std::u16string key = text();
            delegate.addResource(resource(key, NSString(key).UTF8()));
            if (std::find(keys.begin(), keys.end(), key) == keys.end())
                keys.push_back(key);
        }
        for (int index = 0; index < 30; ++index) {
            const std::u16string url = text();
            SCOPED_TRACE(NSString(url).UTF8());
            EXPECT_EQ(found(delegate, url), foundBySearch(keys, address(url)));
        }
    }
}

TEST(QVRWebArchiveDelegate, BindsRequestsToWhatItFinds)
{
    Delegate delegate;
    delegate.setWebArchive(archiveOf({resource(u"http://h/a.png", "a")}));
    delegate.setWorkaroundEnabled(true);
    const NSURLRequest request = NSURLRequest::requestWithURL(address(u"http://g/a.png?x"));
    const NSMutableURLRequest bound = delegate.archiveRequestForRequest(request);
    EXPECT_EQ(bound.URL(), request.URL());
    EXPECT_EQ(bound.cachePolicy(), NSURLRequestReloadIgnoringLocalCacheData);
    EXPECT_FALSE(bound.HTTPShouldHandleCookies());
    EXPECT_EQ(qvrArchivedResource(bound),
        (NSDictionary{{u"url", address(u"http://h/a.png")}, {u"mimeType", u"image/png"}, {u"data", NSData::dataWithBytes("a")},
            {u"textEncodingName", u"koi8-r"}}));
    EXPECT_TRUE(request.HTTPShouldHandleCookies());
    EXPECT_TRUE(qvrArchivedResource(request).isAbsent());
}

TEST(QVRWebArchiveDelegate, EntersOnlyWhatAResourceHas)
{
    Delegate delegate;
    delegate.setWebArchive(archiveOf({WebResource(NSData(), address(u"http://h/a"), NSString(), NSString())}));
    delegate.setWorkaroundEnabled(true);
    const auto bound = delegate.archiveRequestForRequest(NSURLRequest::requestWithURL(address(u"http://h/a")));
    EXPECT_EQ(qvrArchivedResource(bound), (NSDictionary{{u"url", address(u"http://h/a")}}));
}

TEST(QVRWebArchiveDelegate, OnlySetsTheCachePolicyWithoutTheWorkaroundOrAResource)
{
    Delegate delegate;
    delegate.setWebArchive(archiveOf({resource(u"http://h/a.png", "a")}));
    const NSURLRequest known = NSURLRequest::requestWithURL(address(u"http://h/a.png"), NSURLRequestReturnCacheDataElseLoad);
    const NSURLRequest unknown = NSURLRequest::requestWithURL(address(u"http://h/b.png"));
    for (const bool isOffline : {false, true}) {
        delegate.setOffline(isOffline);
        const auto policy = isOffline ? NSURLRequestReturnCacheDataDontLoad : NSURLRequestReloadIgnoringLocalCacheData;
        for (const bool isWorkaroundEnabled : {false, true}) {
            delegate.setWorkaroundEnabled(isWorkaroundEnabled);
            const NSURLRequest& request = isWorkaroundEnabled ? unknown : known;
            NSMutableURLRequest expected(request);
            expected.setCachePolicy(policy);
            EXPECT_EQ(delegate.archiveRequestForRequest(request), expected);
        }
        EXPECT_EQ(delegate.archiveRequestForRequest(known).cachePolicy(), policy);
        EXPECT_FALSE(qvrArchivedResource(delegate.archiveRequestForRequest(known)).isAbsent());
    }
}

class QVRWebArchiveDelegateCallbacks : public testing::Test {
protected:
    ~QVRWebArchiveDelegateCallbacks() override { NSDebugEnabled = false; }
    template <typename Call>
    static std::string logged(Call call)
    {
        support::StandardErrorCapture capture;
        call();
        return capture.take();
    }

    WebView view{{{0, 0}, {1, 1}}, {}, {}, std::make_unique<support::ScriptedEngine>()};
    Delegate delegate;
};

TEST_F(QVRWebArchiveDelegateCallbacks, GiveTheBoundRequest)
{
    EXPECT_TRUE(delegate.changesRequests());
    delegate.setWebArchive(archiveOf({}));
    delegate.setWorkaroundEnabled(true);
    delegate.setOffline(true);
    const NSURLRequest request = NSURLRequest::requestWithURL(address(u"http://h/"));
    EXPECT_EQ(delegate.webViewResourceWillSendRequest(view, u"any", request, {}, {}), delegate.archiveRequestForRequest(request));
}

TEST_F(QVRWebArchiveDelegateCallbacks, LogOnlyForDevelopers)
{
    delegate.setWebArchive(archiveOf({}));
    delegate.setWorkaroundEnabled(true);
    const auto everything = [&] {
        (void)delegate.archiveRequestForRequest(NSURLRequest::requestWithURL(address(u"http://h/b.png")));
        delegate.webViewResourceDidFailLoadingWithError(view, {}, NSError(u"some.domain", 7), {});
        delegate.webViewResourceDidFinishLoadingFromDataSource(view, {}, {});
    };
    EXPECT_EQ(logged(everything), "");
    NSDebugEnabled = true;
    const std::string text = logged(everything);
    EXPECT_NE(text.find("] no archived resource for: http://h/b.png\n"), std::string::npos) << text;
    EXPECT_NE(text.find("] failed to load: "), std::string::npos) << text;
    EXPECT_NE(text.find("some.domain"), std::string::npos) << text;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2) << text;
}

TEST_F(QVRWebArchiveDelegateCallbacks, CancelChallenges)
{
    class Sender final : public NSURLAuthenticationChallengeSender {
    public:
        explicit Sender(int& count) : _count(count) { }
        void cancelAuthenticationChallenge(const NSURLAuthenticationChallenge&) override { ++_count; }

    private:
        int& _count;
    };
    int cancelled = 0;
    delegate.webViewResourceDidReceiveAuthenticationChallenge(
        view, {}, NSURLAuthenticationChallenge(NSURLResponse(), std::make_shared<Sender>(cancelled)), {});
    EXPECT_EQ(cancelled, 1);
    delegate.webViewResourceDidReceiveAuthenticationChallenge(view, {}, NSURLAuthenticationChallenge(), {});
    EXPECT_EQ(cancelled, 1);
}

}
