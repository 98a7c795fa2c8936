#pragma once

// The object that stands for "no value" inside collections. It differs from an absent value.
struct NSNull {
    bool operator==(const NSNull&) const = default;
};
