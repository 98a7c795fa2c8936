#include "Platform/Foundation/NSAssertionHandler.h"

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSLog.h"

void NSAssertionHandler::handleFailure(const NSString& function, const NSString& file, int64_t line, const NSString& description)
{
    NSLog(u"*** Assertion failure in %@, %@:%lld", function ? function : NSString(u"<Unknown Function>"),
        file ? file : NSString(u"<Unknown File>"), line);
    throw NSException(NSInternalInconsistencyException, description);
}
