#pragma once

#include "Platform/Web/WebArchive.h"
#include "Tools/Replay/ReplayDelegate.h"

// Texts for people; each ends in a line end.

// What the archive holds, one line for each resource: type, bytes, frame, address. Each frame's page comes before what the frame
// uses, and that before the frames in it. The frame is its number in that order, "main" for the first.
[[nodiscard]] NSString replayList(const WebArchive& archive);

// What became of the requests, and the addresses of those that nothing answered. Without `isOnline` nothing is said of the
// network.
[[nodiscard]] NSString replaySummary(const ReplayDelegate& delegate, bool isOnline);
