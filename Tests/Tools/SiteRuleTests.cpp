#include "Tools/ToolTest.h"

namespace {

struct Rule {
    const char* key;
    bool (ArchiveLoader::*ask)(const NSURL&) const;
    bool answerForMatch;
    const char* message;
    const char* function;
};

const Rule rules[] = {
    {"WebToolNonJavaScriptDomains", &ArchiveLoader::shouldUseJavaScriptForURL, false,
        "Disabling JavaScript because of domain: ", "shouldUseJavaScriptForURL"},
    {"WebToolBuiltInNonJavaScriptDomains", &ArchiveLoader::shouldUseJavaScriptForURL, false,
        "Disabling JavaScript because of domain: ", "shouldUseJavaScriptForURL"},
    {"WebToolSinglePageDomains", &ArchiveLoader::shouldUseSinglePageForURL, true,
        "Forcing single page mode because of domain: ", "shouldUseSinglePageForURL"},
    {"WebToolClientRedirectDomains", &ArchiveLoader::doesURLUseClientRedirect, true,
        "Using CDN workaround for domain: ", "doesURLUseClientRedirect"},
};

class SiteRule : public ArchiveLoaderTest {
protected:
    [[nodiscard]] bool ask(const Rule& rule, const NSString& url) { return (loader().*rule.ask)(address(url)); }
    void setList(const Rule& rule, const std::string& value) const
    {
        setSettings(std::string("<key>") + rule.key + "</key>" + value);
    }
    static std::string list(std::initializer_list<const char*> hosts)
    {
        std::string text = "<array>";
        for (const char* host : hosts)
            text += std::string("<string>") + host + "</string>";
        return text + "</array>";
    }
    // Expects that the rule matches by that entry, and says so once; no entry: that it does not, and says nothing.
    void expectEntry(const Rule& rule, const NSString& url, const char* entry)
    {
        SCOPED_TRACE(std::string(rule.key) + " " + url.UTF8());
        logged.clear();
        EXPECT_EQ(ask(rule, url), entry ? rule.answerForMatch : !rule.answerForMatch);
        EXPECT_EQ(messages(), entry ? Lines{rule.message + std::string(entry)} : Lines{});
        for (const Logged& each : logged)
            EXPECT_EQ(each.prefix, std::string("[LogWebTool] webtool ") + rule.function);
    }
};

TEST_F(SiteRule, MatchesNothingUnlessSettingsSayOtherwise)
{
    setSettings("");
    for (const Rule& rule : rules) {
        expectEntry(rule, u"http://h/", nullptr);
        expectEntry(rule, u"file:///a", nullptr);
    }
}

TEST_F(SiteRule, MatchesWholeHostsInAnyCase)
{
    for (const Rule& rule : rules) {
        setList(rule, list({"www.A.b", "c.d"}));
        expectEntry(rule, u"http://www.a.b/x", "www.A.b");
        expectEntry(rule, u"https://u:p@WWW.a.B:81/x?q#f", "www.A.b");
        expectEntry(rule, u"ftp://C.D", "c.d");
        for (const char16_t* other :
            {u"http://a.b/", u"http://m.a.b/", u"http://m.www.a.b/", u"http://www.a.b.c/", u"http://www.a.bc/",
                u"http://www.c.d/", u"http://d/", u"http://h/www.a.b", u"http:www.a.b", u"www.a.b", u"http:///", u""})
            expectEntry(rule, other, nullptr);
        EXPECT_EQ((loader().*rule.ask)(NSURL()), !rule.answerForMatch);
    }
}

TEST_F(SiteRule, MatchesHostsBeyondASCIIInAnyCase)
{
    for (const Rule& rule : rules) {
        setList(rule,
            list({"stra\xC3\x9F"
                  "e.de",
                "\xC3\x89t\xC3\xA9.fr", "\xCE\xA3.gr", "\xE2\x84\xAA.com"}));
        expectEntry(rule, u"http://%C3%A9t%C3%A9.fr/", "\xC3\x89t\xC3\xA9.fr");
        expectEntry(rule, u"http://%CF%83.gr/", "\xCE\xA3.gr");
        expectEntry(rule, u"http://k.com/", "\xE2\x84\xAA.com");   // the sign of the unit is a capital K
        expectEntry(rule, u"http://ete.fr/", nullptr);
    }
}

TEST_F(SiteRule, NamesTheFirstEntryThatMatches)
{
    for (const Rule& rule : rules) {
        setList(rule, list({"x", "H", "h"}));
        expectEntry(rule, u"http://h/", "H");
    }
}

TEST_F(SiteRule, SkipsEntriesThatAreNoTexts)
{
    for (const Rule& rule : rules) {
        setList(rule,
            "<array><integer>1</integer><array><string>h</string></array><dict/><true/><data></data><string></string>"
            "<date>2001-01-01T00:00:00Z</date><string>h</string></array>");
        expectEntry(rule, u"http://h/", "h");
        expectEntry(rule, u"http://1/", nullptr);
        expectEntry(rule, u"file:///a", nullptr);
    }
}

TEST_F(SiteRule, MatchesNothingInWhatIsNoList)
{
    for (const Rule& rule : rules) {
        for (const char* bad : {"<string>h</string>", "<integer>1</integer>", "<dict><key>h</key><string>h</string></dict>",
                 "<true/>", "<data>aA==</data>", "<array/>"}) {
            SCOPED_TRACE(bad);
            setList(rule, bad);
            expectEntry(rule, u"http://h/", nullptr);
        }
    }
}

class JavaScriptRule : public SiteRule {
protected:
    static inline const Rule& rule = rules[0];
};

TEST_F(JavaScriptRule, SwitchedOffAltogetherSaysNothing)
{
    setSettings("<key>EnableJavaScriptForWebTool</key><false/>"
                "<key>WebToolNonJavaScriptDomains</key><array><string>h</string></array>");
    EXPECT_FALSE(ask(rule, u"http://h/"));
    EXPECT_FALSE(ask(rule, u"http://other/"));
    EXPECT_TRUE(logged.empty());
}

TEST_F(JavaScriptRule, SwitchedOnOrUnusableFollowsTheLists)
{
    for (const char* value : {"<true/>", "<integer>1</integer>", "<string>yes</string>", "<array/>", "<string>maybe</string>"}) {
        setSettings(std::string("<key>EnableJavaScriptForWebTool</key>") + value
            + "<key>WebToolNonJavaScriptDomains</key><array><string>h</string></array>");
        expectEntry(rule, u"http://h/", "h");
        expectEntry(rule, u"http://other/", nullptr);
    }
}

TEST_F(JavaScriptRule, AddsOneListToTheBuiltInOne)
{
    setSettings("<key>WebToolNonJavaScriptDomains</key><array><string>h</string><string>WWW.NYTIMES.COM</string></array>");
    expectEntry(rule, u"http://h/", "h");
    expectEntry(rule, u"https://www.nytimes.com/a", "www.nytimes.com");   // the built-in list comes first
}

TEST_F(JavaScriptRule, ReplacesTheBuiltInListByTheOther)
{
    setSettings("<key>WebToolBuiltInNonJavaScriptDomains</key><array><string>a</string></array>"
                "<key>WebToolNonJavaScriptDomains</key><array><string>b</string><string>A</string></array>");
    expectEntry(rule, u"http://a/", "a");
    expectEntry(rule, u"http://b/", "b");
    expectEntry(rule, u"https://www.nytimes.com/", nullptr);
    setSettings("<key>WebToolBuiltInNonJavaScriptDomains</key><array/>");
    expectEntry(rule, u"https://www.nytimes.com/", nullptr);
}

// The built-in hosts: ten of publishers (nine of them the "www." hosts), then ten forums.
const std::vector<const char*> publishers = {"www.nytimes.com", "cooking.nytimes.com", "www.washingtonpost.com", "www.wsj.com",
    "www.latimes.com", "www.theguardian.com", "www.newyorker.com", "www.theatlantic.com", "www.economist.com", "www.quora.com"};
const std::vector<const char*> forums = {"community.brackenlow.com", "meta.discourse.org", "try.discourse.org",
    "discuss.python.org", "users.rust-lang.org", "discourse.llvm.org", "discourse.ubuntu.com", "discuss.elastic.co",
    "forum.gitlab.com", "forums.swift.org"};

TEST_F(JavaScriptRule, HasTwentyHostsBuiltIn)
{
    setSettings("");
    ASSERT_EQ(publishers.size(), 10U);
    ASSERT_EQ(forums.size(), 10U);
    const auto isOfTheWeb = [](std::string_view host) { return host.starts_with("www."); };
    EXPECT_EQ(std::count_if(publishers.begin(), publishers.end(), isOfTheWeb), 9);
    EXPECT_EQ(std::count_if(forums.begin(), forums.end(), isOfTheWeb), 0);
    for (const auto& hosts : {publishers, forums}) {
        for (const char* host : hosts) {
            expectEntry(rule, NSString::stringWithFormat(u"https://%s/x", host), host);
            expectEntry(rule, NSString::stringWithFormat(u"https://sub.%s/x", host), nullptr);
        }
    }
    for (const char16_t* other :
        {u"https://nytimes.com/", u"https://brackenlow.com/", u"https://discourse.org/", u"https://quora.com/"})
        expectEntry(rule, other, nullptr);
}

// Where the lists of a setting are long, a rule is still quick: the test's limit is far above what it takes.
TEST_F(SiteRule, AnswersQuicklyForVeryLongLists)
{
    std::string hosts = "<array>";
    for (int index = 0; index < 100'000; ++index)
        hosts += "<string>www.host-number-" + std::to_string(index) + ".example.com</string>";
    hosts += "<string>last.example.com</string></array>";
    for (const Rule& rule : rules) {
        setList(rule, hosts);
        expectEntry(rule, u"http://h/", nullptr);   // reads the settings
        const double begin = support::processorTime();
        expectEntry(rule, u"http://Last.example.com/", "last.example.com");
        EXPECT_LT(support::processorTime() - begin, 0.5) << rule.key;
    }
}

}
