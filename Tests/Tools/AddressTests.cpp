#include "Tools/ToolTest.h"

namespace {

class WebAddress : public ArchiveLoaderTest { };

struct AddressRow {
    const char16_t* given;
    const char16_t* expected;
};

TEST_F(WebAddress, IsRepairedWhenItsSchemeIsNotOneOfThree)
{
    for (const AddressRow& row : {
             AddressRow{u"http://h/a", u"http://h/a"},
             AddressRow{u"https://h/a", u"https://h/a"},
             AddressRow{u"file:///a", u"file:///a"},
             AddressRow{u"HTTPS://H/a", u"HTTPS://H/a"},   // its own spelling stays
             AddressRow{u"File:///a", u"File:///a"},
             AddressRow{u"http:", u"http:"},
             AddressRow{u"feed://h/x", u"http://h/x"},
             AddressRow{u"FEED://h/x", u"http://h/x"},
             AddressRow{u"ftp://u:p@h:21/x?q#f", u"http://u:p@h:21/x?q#f"},
             AddressRow{u"abc:x", u"http:x"},
             AddressRow{u"abc:x:y", u"http:x:y"},
             AddressRow{u"feed:http://h/x", u"http:http://h/x"},
             AddressRow{u"httpx://h", u"http://h"},
             // Without a scheme: cut at the first colon all the same.
             AddressRow{u"abc", u"http:"},
             AddressRow{u"", u"http:"},
             AddressRow{u"//h/x", u"http:"},
             AddressRow{u"//h:81/x", u"http:81/x"},
             AddressRow{u"/a/b:c", u"http:c"},
         }) {
        SCOPED_TRACE(NSString(row.given).UTF8());
        EXPECT_EQ(ArchiveLoader::ensureWebURL(address(row.given)).absoluteString(), NSString(row.expected));
    }
}

class ProcessedAddress : public ArchiveLoaderTest {
protected:
    [[nodiscard]] NSString processed(const NSString& url) { return loader().processURL(address(url)).absoluteString(); }
    // Pairs as "from to", one of two keys or both.
    static std::string pairs(const char* key, std::initializer_list<std::pair<const char*, const char*>> pairs)
    {
        std::string list;
        for (const auto& [from, to] : pairs)
            list += std::string("<array><string>") + from + "</string><string>" + to + "</string></array>";
        return std::string("<key>") + key + "</key><array>" + list + "</array>";
    }
    static constexpr const char* Hosts = "WebToolHostSubstitutions";
    static constexpr const char* ExtraHosts = "WebToolExtraHostSubstitutions";
};

TEST_F(ProcessedAddress, HasAnotherHostForOneSiteUnlessSettingsSayOtherwise)
{
    EXPECT_EQ(processed(u"https://www.reddit.com/r/x?a#b"), NSString(u"https://old.reddit.com/r/x?a#b"));
    EXPECT_EQ(processed(u"https://WWW.Reddit.com/"), NSString(u"https://old.reddit.com/"));
    for (const char16_t* other : {u"https://reddit.com/", u"https://old.reddit.com/", u"https://m.www.reddit.com/",
             u"https://www.reddit.com.example/", u"http://h/www.reddit.com"})
        EXPECT_EQ(processed(other), NSString(other));
}

TEST_F(ProcessedAddress, HasTheHostsOfTheSettingsInPlaceOfTheBuiltInOne)
{
    setSettings(pairs(Hosts, {{"h", "new"}}));
    EXPECT_EQ(processed(u"http://h/a"), NSString(u"http://new/a"));
    EXPECT_EQ(processed(u"https://www.reddit.com/"), NSString(u"https://www.reddit.com/"));
    setSettings(pairs(Hosts, {}));
    EXPECT_EQ(processed(u"https://www.reddit.com/"), NSString(u"https://www.reddit.com/"));
}

TEST_F(ProcessedAddress, HasTheExtraHostsAfterThem)
{
    setSettings(pairs(ExtraHosts, {{"h", "new"}, {"old.reddit.com", "h"}, {"h", "last"}}));
    EXPECT_EQ(processed(u"http://h/a"), NSString(u"http://new/a"));
    EXPECT_EQ(processed(u"https://www.reddit.com/"), NSString(u"https://last/"));
    setSettings(pairs(Hosts, {{"a", "b"}}) + pairs(ExtraHosts, {{"b", "c"}}));
    EXPECT_EQ(processed(u"http://a/"), NSString(u"http://c/"));
}

struct PairRow {
    const char* from;
    const char* to;
    const char16_t* given;
    const char16_t* expected;
};

TEST_F(ProcessedAddress, ChangesTheHostAndNothingElse)
{
    for (const PairRow& row : {
             PairRow{"h", "new", u"http://u:p@h:81/a%20b?c=%41#d", u"http://u:p@new:81/a%20b?c=%41#d"},
             PairRow{"h", "NEW.Host", u"http://H/", u"http://NEW.Host/"},   // as the pair spells it
             PairRow{"HoSt", "new", u"HTTP://hOsT", u"HTTP://new"},
             PairRow{"www.h", "new", u"http://h/", u"http://h/"},
             PairRow{"h", "new", u"http://www.h/", u"http://www.h/"},
             PairRow{"h", "new", u"http://a.h/", u"http://a.h/"},
             PairRow{"h", "new", u"http://h.a/", u"http://h.a/"},
             PairRow{"h:81", "new", u"http://h:81/", u"http://h:81/"},
             PairRow{"", "new", u"file:///a", u"file://new/a"},   // its host is empty, which is one
             PairRow{"h", "new", u"http:", u"http:"},
             PairRow{"h", "new", u"http:h", u"http:h"},
             PairRow{"h", "h", u"http://H/", u"http://h/"},
         }) {
        SCOPED_TRACE(NSString(row.given).UTF8());
        setSettings(pairs(Hosts, {{row.from, row.to}}));
        EXPECT_EQ(processed(row.given), NSString(row.expected));
    }
}

TEST_F(ProcessedAddress, TakesPairsInTheirOrderEachOnce)
{
    setSettings(pairs(Hosts, {{"a", "b"}, {"b", "c"}, {"B", "d"}, {"c", "a"}}));
    EXPECT_EQ(processed(u"http://a/"), NSString(u"http://a/"));   // b, c, a
    setSettings(pairs(Hosts, {{"b", "c"}, {"a", "b"}}));
    EXPECT_EQ(processed(u"http://a/"), NSString(u"http://b/"));   // the first pair is over
    setSettings(pairs(Hosts, {{"a", "UPPER"}, {"upper", "c"}}));
    EXPECT_EQ(processed(u"http://a/"), NSString(u"http://c/"));
}

TEST_F(ProcessedAddress, SkipsPairsThatAreNone)
{
    const std::string good = "<array><string>h</string><string>new</string></array>";
    for (const char* bad : {"<string>h</string>", "<integer>1</integer>", "<array/>", "<array><string>h</string></array>",
             "<array><string>h</string><integer>1</integer></array>", "<array><integer>1</integer><string>x</string></array>",
             "<array><array><string>h</string></array><string>x</string></array>", "<dict><key>h</key><string>x</string></dict>",
             "<data></data>", "<true/>", "<array><string></string><string></string></array>"}) {
        SCOPED_TRACE(bad);
        setSettings("<key>WebToolHostSubstitutions</key><array>" + std::string(bad) + good + bad + "</array>");
        EXPECT_EQ(processed(u"http://h/a"), NSString(u"http://new/a"));
        EXPECT_EQ(processed(u"file:///a"), NSString(u"file:///a"));
    }
}

// What is more than a pair is the pair that it begins with.
TEST_F(ProcessedAddress, TakesTheFirstTwoOfThree)
{
    setSettings("<key>WebToolHostSubstitutions</key><array><array><string>h</string><string>new</string><integer>3</integer></"
                "array></array>");
    EXPECT_EQ(processed(u"http://h/"), NSString(u"http://new/"));
}

TEST_F(ProcessedAddress, SkipsListsThatAreNone)
{
    for (const char* bad :
        {"<string>h</string>", "<integer>7</integer>", "<dict/>", "<true/>", "<date>2001-01-01T00:00:00Z</date>"}) {
        SCOPED_TRACE(bad);
        setSettings(std::string("<key>WebToolHostSubstitutions</key>") + bad + pairs(ExtraHosts, {{"h", "new"}}));
        EXPECT_EQ(processed(u"http://h/"), NSString(u"http://new/"));
        setSettings(pairs(Hosts, {{"h", "new"}}) + "<key>WebToolExtraHostSubstitutions</key>" + bad);
        EXPECT_EQ(processed(u"http://h/"), NSString(u"http://new/"));
    }
}

TEST_F(ProcessedAddress, SurvivesHostsThatAreNone)
{
    for (const char* host : {"a b", "", "[", "a/b", "\xC3\xA9", "a%"}) {
        SCOPED_TRACE(host);
        setSettings(pairs(Hosts, {{"h", host}}));
        EXPECT_NO_THROW(static_cast<void>(processed(u"http://h/a")));
    }
}

TEST_F(ProcessedAddress, HasThePrefixBeforeItsWholeText)
{
    setSettings("<key>WebToolURLProcessingPrefix</key><string>http://proxy/?u=</string>");
    EXPECT_EQ(processed(u"http://h/x?q=1#f"), NSString(u"http://proxy/?u=http://h/x?q=1#f"));
    EXPECT_EQ(processed(u"https://www.reddit.com/"), NSString(u"http://proxy/?u=https://old.reddit.com/"));
    setSettings("<key>WebToolURLProcessingPrefix</key><string></string>");
    EXPECT_EQ(processed(u"http://h/"), NSString(u"http://h/"));
}

// The host of a prefix is not looked at.
TEST_F(ProcessedAddress, SubstitutesBeforeThePrefixIsThere)
{
    setSettings(pairs(Hosts, {{"proxy", "new"}}) + "<key>WebToolURLProcessingPrefix</key><string>http://proxy/</string>");
    EXPECT_EQ(processed(u"http://h/"), NSString(u"http://proxy/http://h/"));
}

TEST_F(ProcessedAddress, HasNoPrefixThatIsNoText)
{
    for (const char* bad : {"<integer>1</integer>", "<array><string>x</string></array>", "<true/>"}) {
        setSettings(std::string("<key>WebToolURLProcessingPrefix</key>") + bad);
        EXPECT_EQ(processed(u"http://h/"), NSString(u"http://h/"));
    }
}

TEST_F(ProcessedAddress, IsAbsentWhenThePrefixMakesNoAddress)
{
    setSettings("<key>WebToolURLProcessingPrefix</key><string>not an address </string>");
    EXPECT_TRUE(loader().processURL(address(u"http://h/")).isAbsent());
}

class MainRequest : public ArchiveLoaderTest { };

TEST_F(MainRequest, IsAnsweredFromNoCacheAndEndsAfterTheTimeOfTheSetting)
{
    EXPECT_EQ(loader().requestForURL(address(u"http://h/")).timeoutInterval(), 10);
    setSettings("<key>WebToolTimeout</key><integer>3</integer>");
    const NSMutableURLRequest request = loader().requestForURL(address(u"http://h/a?b"));
    EXPECT_EQ(request.URL(), address(u"http://h/a?b"));
    EXPECT_EQ(request.timeoutInterval(), 3);
    EXPECT_EQ(static_cast<int>(request.cachePolicy()), 1);
    EXPECT_EQ(request.HTTPMethod(), NSString(u"GET"));
    EXPECT_EQ(request.allHTTPHeaderFields().count(), 1U);
}

TEST_F(MainRequest, NamesItsOwnSiteAsReferer)
{
    for (const AddressRow& row : {
             AddressRow{u"http://h:81/a/b?x=1#f", u"http://h/a/b"},
             AddressRow{u"http://h", u"http://h"},
             AddressRow{u"http://h/", u"http://h/"},
             AddressRow{u"https://u:p@Host.Name/a", u"https://Host.Name/a"},
             AddressRow{u"HTTP://h/a;b", u"HTTP://h/a;b"},
             AddressRow{u"http://proxy/http://h/x?q", u"http://proxy/http://h/x"},
         }) {
        SCOPED_TRACE(NSString(row.given).UTF8());
        EXPECT_EQ(loader().requestForURL(address(row.given)).valueForHTTPHeaderField(u"Referer"), NSString(row.expected));
    }
}

}
