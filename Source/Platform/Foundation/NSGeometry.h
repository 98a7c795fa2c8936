#pragma once

#include "Platform/Foundation/NSString.h"

// Geometry in points (or whatever unit the caller says).
struct NSPoint {
    double x = 0;
    double y = 0;
    bool operator==(const NSPoint&) const = default;
};

struct NSSize {
    double width = 0;
    double height = 0;
    bool operator==(const NSSize&) const = default;
};

struct NSRect {
    NSPoint origin;
    NSSize size;
    bool operator==(const NSRect&) const = default;
};

// "{x, y}", "{width, height}" and "{{x, y}, {width, height}}", each number in its shortest decimal form.
[[nodiscard]] NSString NSStringFromPoint(NSPoint point);
[[nodiscard]] NSString NSStringFromSize(NSSize size);
[[nodiscard]] NSString NSStringFromRect(NSRect rect);

// The first two numbers of `text`, whatever stands around them: "{100, 50}", "100 by 50". A missing number is 0, so a text
// without numbers (or an absent one) gives 0 by 0.
[[nodiscard]] NSSize NSSizeFromString(const NSString& text);
