#include "Platform/Engine/DevTools/DocumentReader.h"

#include "Platform/Foundation/NSException.h"

#include <memory>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;

// Serialises the document. The getters are taken from the interface, because an element named like one hides it on the document
// itself. A copy without its noscript elements is made in a document that loads and runs nothing.
constexpr std::string_view readDocument = R"JS(((scripting) => {
    const of = (name) => Object.getOwnPropertyDescriptor(Document.prototype, name).get.call(document);
    const type = of('contentType');
    const isHTML = type === 'text/html';
    const isXML = /[+\/]xml$/.test(type);
    let root = of('documentElement');
    let markup = null;
    if (root && (isHTML || isXML)) {
        if (scripting && root.getElementsByTagName('noscript').length) {
            const inert = isHTML ? of('implementation').createHTMLDocument('')
                : of('implementation').createDocument(null, null, null);
            root = inert.importNode(root, true);
            for (const element of [...root.getElementsByTagName('noscript')])
                element.remove();
        }
        const serializer = new XMLSerializer();
        markup = '';
        if (isXML) {
            for (let node = Object.getOwnPropertyDescriptor(Node.prototype, 'firstChild').get.call(document); node; node = node.nextSibling) {
                if (node.nodeType === Node.PROCESSING_INSTRUCTION_NODE)
                    markup += serializer.serializeToString(node) + '\n';
            }
        }
        const doctype = of('doctype');
        if (doctype) {
            markup += '<!DOCTYPE ' + doctype.name;
            if (doctype.publicId)
                markup += ' PUBLIC "' + doctype.publicId + '"';
            else if (doctype.systemId)
                markup += ' SYSTEM';
            if (doctype.systemId)
                markup += ' "' + doctype.systemId + '"';
            markup += '>';
        }
        markup += isHTML ? root.outerHTML : serializer.serializeToString(root);
        markup = markup.toWellFormed();
    } else if (isHTML || isXML) {
        markup = '';
    }
    return {markup, type, url: of('URL'), encoding: of('characterSet')};
}))JS";

[[noreturn]] void throwUnanswered()
{
    throw NSException(NSGenericException, u"The page engine did not answer in time.");
}

}

// Asks every frame at once, each in two steps: a world to ask in, then the question. Frames that go meanwhile do not answer.
void DocumentReader::ask(const std::vector<FrameID>& frames, const std::string& expression,
    std::chrono::steady_clock::time_point deadline, const Answer& answer)
{
    if (!_link.connection || !_link.connection->isOpen() || _link.pageSession.empty())
        throw NSException(NSGenericException, u"The page engine is gone.");

    struct Question {
        size_t unanswered = 0;
        bool isOver = false;   // replies that come later find nobody
    };
    const auto question = std::make_shared<Question>();
    question->unanswered = frames.size();
    for (const FrameID& frame : frames) {
        const std::string session = _frames.sessionOf(frame);
        const json world = {
            {"frameId", frame == EngineLink::mainFrameID ? _link.mainFrameTarget : frame}, {"worldName", "reader"}};
        _link.send(session, "Page.createIsolatedWorld", world.dump(),
            [this, question, frame, session, &expression, &answer](const Connection::Reply& made) {
                if (question->isOver)
                    return;
                if (made.refusal) {
                    --question->unanswered;
                    return;
                }
                const json parameters = {{"expression", expression}, {"contextId", made.result.integer("executionContextId")},
                    {"returnByValue", true}};
                _link.send(
                    session, "Runtime.evaluate", parameters.dump(), [question, frame, &answer](const Connection::Reply& reply) {
                        if (question->isOver)
                            return;
                        --question->unanswered;
                        if (!reply.refusal && !reply.result.has("exceptionDetails"))
                            answer(frame, reply.result.object("result").object("value"));
                    });
            });
    }
    const bool isAnswered = _link.connection->waitForReplies([&] { return question->unanswered == 0; }, deadline);
    question->isOver = true;
    if (!_link.connection->isOpen())
        throw NSException(NSGenericException, u"The page engine is gone.");
    if (!isAnswered)
        throwUnanswered();
}

std::vector<DocumentSnapshot> DocumentReader::documents(std::chrono::steady_clock::time_point deadline, bool scriptingEnabled,
    const std::function<bool(const DocumentID&)>& isStandIn)
{
    std::vector<FrameID> shown;
    for (const FrameID& frame : _frames.inTreeOrder()) {
        if (!_frames.find(frame)->document.empty())
            shown.push_back(frame);
    }
    std::unordered_map<FrameID, DocumentSnapshot> answers;
    const std::string question = std::string(readDocument) + (scriptingEnabled ? "(true)" : "(false)");
    const Answer take = [&](const FrameID& frame, const JSONView& value) {
        DocumentSnapshot& snapshot = answers[frame];
        snapshot.frame = frame;
        snapshot.MIMEType = value.string("type");
        snapshot.textEncodingName = value.string("encoding");
        snapshot.url = NSURL::URLWithUncheckedString(value.string("url"));
        if (const FrameTracker::Frame* known = _frames.find(frame))
            snapshot.document = known->document;
        if (!isStandIn(snapshot.document))
            snapshot.markup = value.string("markup");
    };
    ask(shown, question, deadline, take);
    // One that was just changing its document has the next one by now. One whose process is gone will not answer.
    const FrameID main(EngineLink::mainFrameID);
    if (!shown.empty() && shown.front() == main && !answers.contains(main))
        ask({main}, question, deadline, take);
    if (!shown.empty() && shown.front() == main && !answers.contains(main))
        throw NSException(NSGenericException, u"The page engine cannot read the page.");
    std::vector<DocumentSnapshot> result;
    for (const FrameID& frame : shown) {
        const auto answered = answers.find(frame);
        if (answered != answers.end())
            result.push_back(std::move(answered->second));
    }
    return result;
}

NSString DocumentReader::frameElement(const FrameID& frame, std::chrono::steady_clock::time_point deadline)
{
    const FrameTracker::Frame* known = _frames.find(frame);
    if (!known || frame == EngineLink::mainFrameID || !_link.connection)
        return {};
    // The owner is an element of the parent's document, which may live in another target than the frame.
    const std::string session = _frames.sessionOf(known->parent);
    struct Question {
        bool isAnswered = false;
        NSString name;
    };
    const auto question = std::make_shared<Question>();
    const json owner = {{"frameId", frame}};
    _link.send(session, "DOM.getFrameOwner", owner.dump(), [this, question, session](const Connection::Reply& found) {
        question->isAnswered = found.refusal.has_value();
        if (found.refusal)
            return;
        const json node = {{"backendNodeId", found.result.integer("backendNodeId")}};
        _link.send(session, "DOM.describeNode", node.dump(), [question](const Connection::Reply& described) {
            question->isAnswered = true;
            if (!described.refusal)
                question->name = described.result.object("node").string("localName");
        });
    });
    if (!_link.connection->waitForReplies([&] { return question->isAnswered; }, deadline))
        throwUnanswered();
    return question->name.length() ? question->name : NSString();
}
