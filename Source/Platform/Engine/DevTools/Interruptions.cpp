#include "Platform/Engine/DevTools/Interruptions.h"

void Interruptions::refuseForGood()
{
    _link.send({}, "Browser.setDownloadBehavior", R"({"behavior":"deny"})");
}

void Interruptions::handle(const Message& event)
{
    const JSONView content = event.content();
    if (event.method() == "Page.javascriptDialogOpening") {
        // As when nobody is there to ask: messages are taken note of, leaving is allowed, questions are answered with no.
        const std::string_view type = content.text("type");
        const bool accepts = type == "alert" || type == "beforeunload";
        _link.send(event.session(), "Page.handleJavaScriptDialog", accepts ? R"({"accept":true})" : R"({"accept":false})");
    } else if (event.method() == "Page.windowOpen") {
        _link.client->newWindowRefused(
            NSURLRequest::requestWithURL(NSURL::URLWithUncheckedString(content.string("url"))), content.string("windowName"));
    }
}

void Interruptions::closeWindow(const JSONView& target, const std::string& session)
{
    // A script that can reach the new window waits for it as long as the window itself waits, so that one must be let go; what it
    // asks for is held for ever, and nothing of it reaches a server. Any other window just goes, with its first request unsent.
    const bool isWaitedFor = target.boolean("canAccessOpener");
    if (isWaitedFor)
        _link.send(session, "Fetch.enable", "{}");
    _link.send({}, "Target.closeTarget", R"({"targetId":")" + std::string(target.text("targetId")) + "\"}");
    if (isWaitedFor)
        _link.send(session, "Runtime.runIfWaitingForDebugger");
}
