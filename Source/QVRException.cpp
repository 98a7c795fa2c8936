#include "QVRException.h"

#include "Platform/Foundation/Value.h"

NSString QVRException::reason() const
{
    return NSString::stringWithFormat(u"%@ at %@", qvrReason(), userInfo().objectForKey(QVRExceptionLocation));
}

NSString QVRException::qvrReason() const
{
    return NSException::reason();
}
