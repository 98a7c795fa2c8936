#pragma once

#include "Platform/Engine/DevTools/EngineLink.h"
#include "Platform/Engine/PageEngine.h"

#include <chrono>
#include <functional>
#include <optional>

// Puts the page on paper and into pictures. See PageEngine for the operations; those that wait let no news in.
class Printer {
public:
    explicit Printer(EngineLink& link) : _link(link) { }

    void setViewSize(NSSize size);
    [[nodiscard]] NSSize documentSize(std::chrono::steady_clock::time_point deadline);
    // `scriptsRun`: whether the page's scripts do. Where they do not, none could load an image now.
    [[nodiscard]] NSSize showWhole(bool scriptsRun, std::chrono::steady_clock::time_point deadline);
    [[nodiscard]] NSData print(const PrintSettings& settings, std::chrono::steady_clock::time_point deadline);
    [[nodiscard]] NSData picture(bool scriptsRun, std::chrono::steady_clock::time_point deadline);

private:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Answer = std::function<void(const JSONView& result)>;
    struct Metrics {
        NSSize view;
        NSSize document;
    };
    // Sends a command to the page and waits for its result. Throws NSException when it is refused or does not come.
    void ask(std::string_view method, std::string_view parameters, TimePoint deadline, const Answer& answer);
    // A world of its own in the document, where scripts are out of the page's reach.
    [[nodiscard]] int64_t makeWorld(TimePoint deadline);
    // Runs a script there, to the end of the promise that it may give. What comes of it is no matter, nor is its failure.
    void run(int64_t world, const std::string& script, TimePoint deadline);
    [[nodiscard]] Metrics metrics(TimePoint deadline);
    // With a `scale`, what is drawn is that much smaller, and as much quicker; the layout is the same.
    void showViewSize(const std::optional<NSSize>& size, double scale = 1);
    [[nodiscard]] NSData readStream(const std::string& handle, TimePoint deadline);

    EngineLink& _link;
    std::optional<NSSize> _viewSize;   // nothing: the one that the engine was started with
};
