#include "Platform/Engine/PageEngineErrors.h"

#include "Platform/Foundation/Value.h"

NSError engineError(int64_t code, const NSString& description, const NSString& recoverySuggestion)
{
    NSDictionary userInfo{{NSLocalizedDescriptionKey, description}};
    if (recoverySuggestion)
        userInfo.setObject(recoverySuggestion, NSLocalizedRecoverySuggestionErrorKey);
    return NSError(EngineErrorDomain, code, userInfo);
}
