#include "Platform/Foundation/XMLTokens.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

// The tokens of a document in one line: "<a" for a start tag, "a>" for an end tag, texts in brackets, "." for the end, "!" for a
// fault.
std::string tokensOf(std::string_view document)
{
    XMLTokens tokens(document);
    std::string line;
    while (true) {
        const XMLTokens::Kind kind = tokens.next();
        const std::string content(tokens.content());
        switch (kind) {
        case XMLTokens::Kind::StartTag:
            line += "<" + content + " ";
            break;
        case XMLTokens::Kind::EndTag:
            line += content + "> ";
            break;
        case XMLTokens::Kind::Text:
            line += "[" + content + "] ";
            break;
        case XMLTokens::Kind::End:
            return line + ".";
        case XMLTokens::Kind::Fault:
            return line + "!";
        }
    }
}

}

TEST(XMLTokens, TellsTagsAndText)
{
    const struct {
        std::string_view document;
        std::string_view tokens;
    } rows[] = {
        {"", "."},
        {"<a>b</a>", "<a [b] a> ."},
        {"<a/>", "<a a> ."},
        {"<a />\n", "<a a> [\n] ."},
        {"<a\n></a\t>", "<a a> ."},
        {"<a><b>c</b> d</a>", "<a <b [c] b> [ d] a> ."},
        {"<a b=\"1\" c = '2>'/>", "<a a> ."},
        {"<a b='&lt;\"'\r\n>", "<a ."},
        {"<?xml version=\"1.0\"?><a/>", "<a a> ."},
        {"<!DOCTYPE a PUBLIC \"x\" \"y\"><a/>", "<a a> ."},
        {"<!DOCTYPE a [<!ENTITY b \"c\"> <!-- d -->]><a/>", "<a a> ."},
        {"x<!-- <b> & -- -->y", "[x] [y] ."},
        {"<!----><?p ?a>?>", "."},
        {"a<![CDATA[<b>&amp;]]]]>c", "[a] [<b>&amp;]]] [c] ."},
        {"<![CDATA[]]>", "[] ."},
        {"a > b ]]> c", "[a > b ]]> c] ."},
        {"&lt;&gt;&amp;&quot;&apos;", "[<>&\"'] ."},
        {"&#65;&#x42;&#x1f600;&#xE4;&#10;&#13;", "[AB\xf0\x9f\x98\x80\xc3\xa4\n\r] ."},
        {"&#0065;&#x10FFFF;", "[A\xf4\x8f\xbf\xbf] ."},
        {"&amp;lt;", "[&lt;] ."},
        {"a\r\nb\rc\n\r\n", "[a\nb\nc\n\n] ."},
        {"<![CDATA[a\r\nb\r&#13;]]>", "[a\nb\n&#13;] ."},
        {"\xc3\xa4", "[\xc3\xa4] ."},
    };
    for (const auto& row : rows)
        EXPECT_EQ(tokensOf(row.document), row.tokens) << row.document;
}

TEST(XMLTokens, RefusesWhatIsNotWhole)
{
    const std::string_view documents[] = {"<", "</", "<!", "<?", "<a", "<a ", "<a/", "</a", "</>", "<>", "< a>", "</ a>",
        "</a b>", "<a b>", "<a b=>", "<a b=c>", "<a b=\"c>", "<a b='c\">", "<a b=\"1\"c=\"2\">", "<a =\"b\">", "<a b=\"<\">",
        "<a b=\"&c;\">", "<a / >", "<a/ >", "<a//>", "<a<b>", "<!a>", "<!'CDATA[a]]>", "<!ENTITY a 'b'>", "<a b&c='1'/>",
        "<a b\"='1'/>", "<a?>", "<!-- a --", "<!-->", "<?a", "<?a>", "<!DOCTYPE a", "<!DOCTYPE a [<!b>", "<![CDATA[a]]",
        "<![CDATA[a", "<![cdata[a]]", "&", "&;", "&lt", "&nbsp;", "&LT;", "& lt;", "&#;", "&#x;", "&#X41;", "&#-1;", "&#+65;",
        "&#65x;", "&#xg;", "&#0;", "&#xd800;", "&#xfffe;", "&#xffff;", "&#x110000;", "&#99999999999999999999;", "&#65 ;"};
    for (const std::string_view document : documents)
        EXPECT_EQ(tokensOf(document).back(), '!') << document;
}

// Also where nothing is told of what it holds.
TEST(XMLTokens, RefusesADocumentThatIsNotUTF8)
{
    const std::string_view places[] = {"<a>*</a>", "<!--*--><a/>", "<a b='*'/>", "<?x *?><a/>", "<a/>*", "<![CDATA[*]]>"};
    const std::string_view faults[] = {
        "\xff", "\xc3", "\xc0\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\x80", std::string_view("\0", 1)};
    for (const std::string_view place : places) {
        for (const std::string_view fault : faults) {
            std::string document(place);
            document.replace(document.find('*'), 1, fault);
            EXPECT_EQ(tokensOf(document), "!") << document;
        }
    }
}

TEST(XMLTokens, TakesTimeInProportionToTheDocument)
{
    constexpr size_t length = 2'000'000;   // what is read again at each step would take hours
    for (const std::string_view part : {"<", "<!", "<!--", "&", "&#", "]", "<![CDATA[", "a='", "\r", "\"", "<a "}) {
        std::string document = "<a>";
        while (document.size() < length)
            document += part;
        EXPECT_EQ(tokensOf(document + "\xff"), "!");
        tokensOf(document);
        tokensOf("<a b='" + document);
    }
}
