#include "QVRNSLogWriter.h"

#include "Platform/Foundation/NSLog.h"

void QVRNSLogWriter::writePrefix(const NSString& prefix, const NSString& message, const NSString&)
{
    NSLog(u"%@", combinePrefix(prefix, message));
}
