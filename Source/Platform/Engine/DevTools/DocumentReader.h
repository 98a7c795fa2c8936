#pragma once

#include "Platform/Engine/DevTools/EngineLink.h"
#include "Platform/Engine/DevTools/FrameTracker.h"

#include <chrono>
#include <functional>
#include <vector>

// Asks the documents of a page what they are and how they stand. Each question runs in a world of its own beside the page's
// scripts, so that a page cannot change the answer, and waits for replies without letting news in.
class DocumentReader {
public:
    DocumentReader(EngineLink& link, FrameTracker& frames) : _link(link), _frames(frames) { }

    // See PageEngine::documents. With `scriptingEnabled`, noscript elements are left out. A document for which `isStandIn` is
    // true is not the one that came from the server: its markup is absent.
    [[nodiscard]] std::vector<DocumentSnapshot> documents(std::chrono::steady_clock::time_point deadline, bool scriptingEnabled,
        const std::function<bool(const DocumentID&)>& isStandIn);

    // The local name of the element that holds the frame; absent for the main frame and when the engine does not tell.
    [[nodiscard]] NSString frameElement(const FrameID& frame, std::chrono::steady_clock::time_point deadline);

private:
    using Answer = std::function<void(const FrameID&, const JSONView& value)>;
    void ask(const std::vector<FrameID>& frames, const std::string& expression, std::chrono::steady_clock::time_point deadline,
        const Answer& answer);

    EngineLink& _link;
    FrameTracker& _frames;
};
