#pragma once

#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURLRequest.h"

class Value;

// The loading system's view of a request. Protocol properties are values of any kind that travel inside a request, are copied with it,
// and are never sent.
class NSURLProtocol {
public:
    // The value under `key`; absent when there is none.
    [[nodiscard]] static Value propertyForKey(const NSString& key, const NSURLRequest& inRequest);
    // Sets or replaces; neither value nor key may be absent.
    static void setProperty(const Value& value, const NSString& forKey, NSMutableURLRequest& inRequest);
    static void removePropertyForKey(const NSString& key, NSMutableURLRequest& inRequest);
};
