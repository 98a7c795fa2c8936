#pragma once

#include "Platform/Engine/PageEngine.h"
#include "Platform/Foundation/NSGeometry.h"

#include <functional>
#include <memory>

// How to make an engine.
struct PageEngineOptions {
    NSString enginePath;   // the engine's command; absent for the first that is found (see EngineLocation.h)
    NSSize viewSize;       // in points, 1 point being 1 CSS pixel
    // The engine reaches no server and asks for no name, whatever a page tries. Requests that are offered can be fulfilled all
    // the same (see PageEngine::setRequestsOffered).
    bool withoutNetwork = false;
    // The page is, or may use, files that perhaps only this process's user can read.
    bool readsLocalFiles = false;
    // Told once what a person may want to know: for now, that the engine runs without its sandbox, and why. May be empty.
    std::function<void(const NSString&)> report;
};

// An engine, started. It always makes one: an engine that cannot be found or started fails every load with an
// error of EngineErrorDomain.
[[nodiscard]] std::unique_ptr<PageEngine> makePageEngine(const PageEngineOptions& options);
