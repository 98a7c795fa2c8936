#include "Platform/Engine/DevTools/Printer.h"

#include "Platform/Engine/DevTools/PrintScripts.h"
#include "Platform/Foundation/NSException.h"

#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;

constexpr double pointsPerInch = 72;
// The engine's scale 1 is 96 CSS pixels to the inch.
constexpr double pointsPerPixelUnscaled = pointsPerInch / 96;
// How large a view is drawn that nobody looks at.
constexpr double unseenScale = 0.02;
constexpr double smallestEngineScale = 0.1;
// How much of a printed document is fetched at once, in bytes: enough that asking costs nothing, little enough to weigh nothing.
constexpr int pieceSize = 1 << 19;
const NSString notInTime = u"The page engine did not answer in time.";

}

void Printer::ask(std::string_view method, std::string_view parameters, TimePoint deadline, const Answer& answer)
{
    if (!_link.connection || !_link.connection->isOpen() || _link.pageSession.empty())
        throw NSException(NSGenericException, u"The page engine is gone.");
    struct Question {
        bool isAnswered = false;
        bool isOver = false;   // a reply that comes later finds nobody
        std::optional<std::string> refusal;
    };
    const auto question = std::make_shared<Question>();
    _link.send(_link.pageSession, method, parameters, [question, &answer](const Connection::Reply& reply) {
        if (question->isOver)
            return;
        question->isAnswered = true;
        question->refusal = reply.refusal;
        if (!reply.refusal)
            answer(reply.result);
    });
    const bool isAnswered = _link.connection->waitForReplies([&] { return question->isAnswered; }, deadline);
    question->isOver = true;
    if (!isAnswered)
        throw NSException(NSGenericException, notInTime);
    if (question->refusal)
        throw NSException(NSGenericException, NSString::stringWithRepairedUTF8(*question->refusal));
}

void Printer::setViewSize(NSSize size)
{
    _viewSize = size;
    showViewSize(_viewSize);
}

void Printer::showViewSize(const std::optional<NSSize>& size, double scale)
{
    if (!size) {
        _link.send(_link.pageSession, "Emulation.clearDeviceMetricsOverride");
        return;
    }
    const json parameters = {{"width", std::lround(size->width)}, {"height", std::lround(size->height)}, {"deviceScaleFactor", 1},
        {"mobile", false}, {"scale", scale}};
    _link.send(_link.pageSession, "Emulation.setDeviceMetricsOverride", parameters.dump());
}

Printer::Metrics Printer::metrics(TimePoint deadline)
{
    Metrics metrics;
    ask("Page.getLayoutMetrics", "{}", deadline, [&](const JSONView& result) {
        const JSONView view = result.object("cssLayoutViewport");
        const JSONView content = result.object("cssContentSize");
        metrics.view = {view.number("clientWidth"), view.number("clientHeight")};
        metrics.document = {content.number("width"), content.number("height")};
    });
    return metrics;
}

NSSize Printer::documentSize(TimePoint deadline)
{
    return metrics(deadline).document;
}

int64_t Printer::makeWorld(TimePoint deadline)
{
    const json parameters = {{"frameId", _link.mainFrameTarget}, {"worldName", "printer"}};
    int64_t world = 0;
    ask("Page.createIsolatedWorld", parameters.dump(), deadline,
        [&](const JSONView& result) { world = result.integer("executionContextId"); });
    return world;
}

void Printer::run(int64_t world, const std::string& script, TimePoint deadline)
{
    const json parameters = {{"expression", script}, {"contextId", world}, {"awaitPromise", true}};
    ask("Runtime.evaluate", parameters.dump(), deadline, [](const JSONView&) {});
}

NSSize Printer::showWhole(bool scriptsRun, TimePoint deadline)
{
    const Metrics before = metrics(deadline);
    NSSize whole = {before.view.width, before.document.height};
    if (whole.height <= before.view.height)
        return before.document;
    showViewSize(whole, unseenScale);
    Metrics after = metrics(deadline);
    const int64_t world = makeWorld(deadline);
    if (after.document.height != whole.height) {
        // Something is as high as the view. Left alone, it would grow with every view that is made to hold it.
        showViewSize(before.view);
        run(world, scriptToMeasureHeights(), deadline);
        showViewSize(whole, unseenScale);
        run(world, scriptToKeepHeights(), deadline);
    }
    if (scriptsRun)
        run(world, scriptToAwaitImages(), deadline);
    after = metrics(deadline);
    if (after.document.height != whole.height) {
        whole.height = after.document.height;
        showViewSize(whole, unseenScale);
        after = metrics(deadline);
    }
    return after.document;
}

NSData Printer::print(const PrintSettings& settings, TimePoint deadline)
{
    run(makeWorld(deadline), scriptForPaper(settings), deadline);
    // The smallest scale may have lost a last digit on its way here.
    const double scale = settings.scale / pointsPerPixelUnscaled;
    const bool isSmallest = std::abs(scale - smallestEngineScale) < 1e-9;
    const json parameters = {{"paperWidth", settings.paperSize.width / pointsPerInch},
        {"paperHeight", settings.paperSize.height / pointsPerInch}, {"marginTop", settings.topMargin / pointsPerInch},
        {"marginLeft", settings.leftMargin / pointsPerInch}, {"marginBottom", settings.bottomMargin / pointsPerInch},
        {"marginRight", settings.rightMargin / pointsPerInch}, {"scale", isSmallest ? smallestEngineScale : scale},
        {"printBackground", settings.printsBackgrounds}, {"preferCSSPageSize", false}, {"generateDocumentOutline", true},
        {"transferMode", "ReturnAsStream"}};
    std::string handle;
    ask("Page.printToPDF", parameters.dump(), deadline, [&](const JSONView& result) { handle = result.text("stream"); });
    return readStream(handle, deadline);
}

// Piece by piece: the whole would come as one message, three times as large in memory while it is read.
NSData Printer::readStream(const std::string& handle, TimePoint deadline)
{
    std::vector<std::byte> bytes;
    const json parameters = {{"handle", handle}, {"size", pieceSize}};
    const std::string question = parameters.dump();
    bool isAtEnd = false;
    while (!isAtEnd) {
        // Each piece may come in time and the end never.
        if (std::chrono::steady_clock::now() >= deadline)
            throw NSException(NSGenericException, notInTime);
        ask("IO.read", question, deadline, [&](const JSONView& result) {
            const NSData piece =
                result.boolean("base64Encoded") ? result.base64("data") : NSData::dataWithBytes(result.text("data"));
            bytes.insert(bytes.end(), piece.bytes().begin(), piece.bytes().end());
            isAtEnd = result.boolean("eof");
        });
    }
    const json closing = {{"handle", handle}};
    _link.send(_link.pageSession, "IO.close", closing.dump());
    return NSData(std::move(bytes));
}

NSData Printer::picture(bool scriptsRun, TimePoint deadline)
{
    // The view goes back to its size on every way out.
    struct Restored {
        Printer& printer;
        ~Restored() { printer.showViewSize(printer._viewSize); }
    };
    const Restored restored{*this};
    const NSSize whole = showWhole(scriptsRun, deadline);
    const double viewWidth = metrics(deadline).view.width;
    showViewSize(NSSize{viewWidth, whole.height});
    json parameters = {{"format", "png"}, {"optimizeForSpeed", true}};
    if (whole.width > viewWidth) {
        parameters["captureBeyondViewport"] = true;
        parameters["clip"] = {{"x", 0}, {"y", 0}, {"width", whole.width}, {"height", whole.height}, {"scale", 1}};
    }
    NSData picture;
    ask("Page.captureScreenshot", parameters.dump(), deadline, [&](const JSONView& result) { picture = result.base64("data"); });
    return picture;
}
