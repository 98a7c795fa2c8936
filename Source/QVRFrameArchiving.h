#pragma once

#include "Platform/Web/WebArchive.h"
#include "Platform/Web/WebDataSource.h"
#include "Platform/Web/WebFrame.h"

#include <memory>
#include <vector>

// Web archives made frame by frame, for pages whose view fails to make one. Exceptions are those of the data sources: what
// concerns a frame's sub-resources is caught, anything else passes to the caller.

// The archive of the data source's own frame and all frames below it.
[[nodiscard]] WebArchive qvrWebArchive(const WebDataSource& dataSource);
// The archive of `frame` with those of its sub-frames; absent when it has no main resource. A frame whose sub-resources cannot be
// listed is archived without them, and that is said in the process log.
[[nodiscard]] WebArchive qvrArchiveFrame(const WebDataSource& dataSource, const std::shared_ptr<WebFrame>& frame);
// The archives of the frame's children, in their order; children without a main resource are left out.
[[nodiscard]] std::vector<WebArchive> qvrSubframeArchivesForFrame(
    const WebDataSource& dataSource, const std::shared_ptr<WebFrame>& frame);
