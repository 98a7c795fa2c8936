// Messages of the engine: whatever the bytes, every question has an answer and nothing is read that is not there.

#include "FuzzSupport.h"
#include "Platform/Engine/DevTools/Message.h"
#include "Platform/Engine/DevTools/ResponseFacts.h"
#include "Platform/Foundation/NSURLRequest.h"
#include "Platform/Foundation/NSURLResponse.h"

namespace {

// Asks what the program asks of objects, to a depth that the program does not reach.
void askAll(JSONView view, int depth)
{
    for (const char* key :
        {"request", "response", "frame", "targetInfo", "result", "params", "value", "headers", "method", "url"}) {
        (void)view.has(key);
        (void)view.text(key);
        (void)view.string(key).length();
        (void)view.integer(key);
        (void)view.number(key);
        (void)view.boolean(key);
        (void)view.base64(key).length();
        view.forEachIn(key, [&](JSONView each) {
            if (depth > 0)
                askAll(each, depth - 1);
        });
        if (depth > 0)
            askAll(view.object(key), depth - 1);
    }
    view.forEachText([](std::string_view, std::string_view) {});
    (void)requestFromEngine(view).URL();
    (void)heldResponseFromEngine({}, view).MIMEType();
}

}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    (void)methodOfUnparsedMessage(text);
    const std::optional<Message> message = Message::parse(text);
    if (!message)
        return 0;
    fuzz::require(message->isEvent() == !message->method().empty(), "an event has a method");
    (void)message->refusal();
    askAll(message->content(), 2);
    return 0;
}
