#include "Platform/Foundation/NSURLProtocol.h"

#include "Platform/Foundation/Value.h"

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
