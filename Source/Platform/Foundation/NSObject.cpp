#include "Platform/Foundation/NSObject.h"

NSString NSStringFromClass(const Class& type)
{
    return type.name();
}

NSString NSObject::description() const
{
    return NSString::stringWithFormat(u"<%@: %p>", classObject().name(), static_cast<const void*>(this));
}
