#include "QVRLogWriter.h"

#include "Platform/Foundation/NSException.h"

#include <cstdlib>

QVRLogWriter::QVRLogWriter()
{
    const char* value = std::getenv("QVRIsInXcode");
    _isInXcode = value && NSString::stringWithRepairedUTF8(value).boolValue();
}

NSString QVRLogWriter::combinePrefix(const NSString& prefix, const NSString& andMessage) const
{
    return NSString::stringWithFormat(u"%@ %@", prefix, andMessage);
}

void QVRLogWriter::writePrefix(const NSString&, const NSString&, const NSString&)
{
    throw NSException(NSInvalidArgumentException,
        NSString::stringWithFormat(u"-[%@ writePrefix:message:area:]: unrecognized selector sent to instance %p",
            NSStringFromClass(classObject()), static_cast<const void*>(this)));
}
