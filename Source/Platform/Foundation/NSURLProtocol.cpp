#include "Platform/Foundation/NSURLProtocol.h"

#include "Platform/Foundation/Value.h"

#include <algorithm>
#include <vector>

// The classes of the process, in the order of their registration.
struct NSURLProtocol::Registry {
    std::vector<Registration> classes;
};

NSURLProtocol::Registry& NSURLProtocol::registry()
{
    static Registry registry;
    return registry;
}

bool NSURLProtocol::registerClass(const Registration& registration)
{
    std::vector<Registration>& classes = registry().classes;
    const bool isThere = std::any_of(
        classes.begin(), classes.end(), [&](const Registration& each) { return each.identity == registration.identity; });
    if (!isThere)
        classes.push_back(registration);
    return !isThere;
}

void NSURLProtocol::unregisterClass(const void* identity)
{
    std::erase_if(registry().classes, [&](const Registration& each) { return each.identity == identity; });
}

bool NSURLProtocol::hasRegisteredClasses()
{
    return !registry().classes.empty();
}

std::unique_ptr<NSURLProtocol> NSURLProtocol::protocolForRequest(const NSURLRequest& request, NSURLProtocolClient* client)
{
    // A copy: a class that is asked may register others.
    const std::vector<Registration> classes = registry().classes;
    const auto claiming =
        std::find_if(classes.rbegin(), classes.rend(), [&](const Registration& each) { return each.canInit(request); });
    return claiming == classes.rend() ? nullptr : claiming->make(claiming->canonical(request), client);
}

Value NSURLProtocol::propertyForKey(const NSString& key, const NSURLRequest& inRequest)
{
    return inRequest.contents().protocolProperties.objectForKey(key);
}

void NSURLProtocol::setProperty(const Value& value, const NSString& forKey, NSMutableURLRequest& inRequest)
{
    inRequest.mutableContents().protocolProperties.setObject(value, forKey);
}

void NSURLProtocol::removePropertyForKey(const NSString& key, NSMutableURLRequest& inRequest)
{
    inRequest.mutableContents().protocolProperties.removeObjectForKey(key);
}
