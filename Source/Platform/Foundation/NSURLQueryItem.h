#pragma once

#include "Platform/Foundation/NSString.h"

// One name with its value in a query, unescaped. An absent value is one without "=".
struct NSURLQueryItem {
    NSString name;
    NSString value;
    bool operator==(const NSURLQueryItem&) const = default;

    [[nodiscard]] static NSURLQueryItem queryItemWithName(NSString name, NSString value)
    {
        return {std::move(name), std::move(value)};
    }
};
