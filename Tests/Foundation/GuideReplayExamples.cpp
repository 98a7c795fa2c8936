// The example of docs/library.md on replay, as it stands there, and what it must do.

#include "Platform/Web/WebView.h"
#include "QVRWebArchiveURLProtocol.h"
#include "QVRWebArchiveWebResourceLoadDelegate.h"
#include "Support/ScriptedEngine.h"
#include "Support/Waiting.h"

#include <gtest/gtest.h>
#include <memory>

namespace {

void showSavedPage(WebView& view, QVRWebArchiveWebResourceLoadDelegate& delegate, const WebArchive& archive)
{
    (void)NSURLProtocol::registerClass<QVRWebArchiveURLProtocol>();
    delegate.setOffline(true);
    delegate.setWorkaroundEnabled(true);
    delegate.setWebArchive(archive);
    view.setResourceLoadDelegate(&delegate);
    view.mainFrame()->loadArchive(archive);
}

}

TEST(GuideExample, ShowsASavedPage)
{
    const auto resource = [](const char16_t* url, std::string_view bytes) {
        return WebResource(NSData::dataWithBytes(bytes), NSURL::URLWithString(url), u"text/html", u"UTF-8", u"");
    };
    auto owned = std::make_unique<support::ScriptedEngine>();
    support::ScriptedEngine& engine = *owned;
    QVRWebArchiveWebResourceLoadDelegate delegate;
    WebView view({{0, 0}, {612, 612}}, {}, {}, std::move(owned));
    showSavedPage(view, delegate,
        WebArchive::initWithMainResource(resource(u"http://h/", "page"), {},
            {WebArchive::initWithMainResource(resource(u"http://h/f", "frame"), {resource(u"http://h/a", "a")})}));
    support::runLoopOnce();
    engine.start("main", u"http://h/");
    const auto bytesOf = [](const support::ScriptedEngine::Answer& answer) {
        return answer->value().way == RequestAnswer::Way::Fulfil ? std::string(answer->value().data.characters()) : "none";
    };
    EXPECT_EQ(bytesOf(engine.offerDocument("main")), "page");
    EXPECT_EQ(bytesOf(engine.offer("main", u"http://h/a")), "a") << "of another frame";
    EXPECT_EQ(bytesOf(engine.offer("main", u"http://g/dir/a?x")), "a") << "by its file name";
    const auto unanswered = engine.offer("main", u"http://h/gone");
    EXPECT_EQ(bytesOf(unanswered), "none");
    EXPECT_EQ(unanswered->value().error.code(), NSURLErrorResourceUnavailable);
    NSURLProtocol::unregisterClass<QVRWebArchiveURLProtocol>();
}
