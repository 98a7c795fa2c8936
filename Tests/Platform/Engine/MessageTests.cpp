#include "Platform/Engine/DevTools/Message.h"

#include <gtest/gtest.h>

namespace {

Message parsed(std::string_view text)
{
    std::optional<Message> message = Message::parse(std::string(text));
    EXPECT_TRUE(message) << text;
    return message ? std::move(*message) : *Message::parse(R"({"id":0})");
}

}

TEST(Message, OfAnEventHasItsMethodSessionAndParameters)
{
    const Message message = parsed(R"({"method":"Page.frameAttached","params":{"frameId":"F","depth":2},"sessionId":"S"})");
    EXPECT_TRUE(message.isEvent());
    EXPECT_EQ(message.method(), "Page.frameAttached");
    EXPECT_EQ(message.session(), "S");
    EXPECT_EQ(message.content().text("frameId"), "F");
    EXPECT_EQ(message.content().integer("depth"), 2);
}

TEST(Message, OfAReplyHasItsCommandAndResult)
{
    const Message message = parsed(R"({"id":7,"result":{"ok":true}})");
    EXPECT_FALSE(message.isEvent());
    EXPECT_EQ(message.commandID(), 7);
    EXPECT_TRUE(message.content().boolean("ok"));
    EXPECT_FALSE(message.refusal());
}

TEST(Message, OfARefusalHasTheEnginesWords)
{
    EXPECT_EQ(parsed(R"({"id":7,"error":{"code":-32000,"message":"No such frame"}})").refusal(), "No such frame");
    EXPECT_EQ(parsed(R"({"id":7,"error":{}})").refusal(), "unknown reason");
}

TEST(Message, IsAbsentForWhatIsNeitherEventNorReply)
{
    for (const char* text :
        {"", "{", "[]", "{}", "null", "{\"x\":1}", "\"method\"", "{\"method\":5}", "{\"id\":\"7\"}", "\xff\xfe"})
        EXPECT_FALSE(Message::parse(text)) << text;
}

TEST(Message, WhoseTextIsNoValidJSONStillAnswersItsCommand)
{
    const Message message = parsed(R"({"id":12,"result":{"value":"half a pair \ud800"}})");
    EXPECT_EQ(message.commandID(), 12);
    EXPECT_TRUE(message.refusal());
}

TEST(JSONView, AnswersQuestionsOfTheWrongTypeWithNothing)
{
    const Message message =
        parsed(R"({"id":1,"result":{"text":"t","number":1.5,"list":[1,{"a":"b"}],"object":{"c":3},"flag":true,"null":null}})");
    const JSONView view = message.content();
    EXPECT_EQ(view.text("number"), "");
    EXPECT_EQ(view.integer("text"), 0);
    EXPECT_EQ(view.number("flag"), 0);
    EXPECT_FALSE(view.boolean("text"));
    EXPECT_TRUE(view.string("missing").isAbsent());
    EXPECT_TRUE(view.string("null").isAbsent());
    EXPECT_EQ(view.object("list").text("a"), "");
    EXPECT_EQ(view.object("object").integer("c"), 3);
    EXPECT_EQ(view.integer("number"), 1);
    EXPECT_TRUE(view.has("null"));
    EXPECT_FALSE(view.has("missing"));
    int objects = 0;
    view.forEachIn("list", [&](JSONView each) {
        ++objects;
        EXPECT_EQ(each.text("a"), "b");
    });
    EXPECT_EQ(objects, 1);
    EXPECT_EQ(JSONView().text("any"), "");
}

TEST(JSONView, DecodesBase64)
{
    const Message message = parsed(R"({"id":1,"result":{"data":"AAEC/w==","empty":"","text":"plain"}})");
    EXPECT_EQ(message.content().base64("data").characters(), std::string_view("\0\1\2\xff", 4));
    EXPECT_EQ(message.content().base64("empty").length(), 0U);
    EXPECT_EQ(message.content().base64("missing").length(), 0U);
}

TEST(MethodOfUnparsedMessage, IsReadFromTheFirstBytes)
{
    EXPECT_EQ(methodOfUnparsedMessage(R"({"method":"Network.policyUpdated","params":{}})"), "Network.policyUpdated");
    EXPECT_EQ(methodOfUnparsedMessage(R"({"id":4,"result":{"method":"x"}})"), "");
    EXPECT_EQ(methodOfUnparsedMessage(""), "");
}
