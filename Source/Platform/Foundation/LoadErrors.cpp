#include "Platform/Foundation/LoadErrors.h"

#include "Platform/Foundation/Value.h"

NSError loadError(const NSString& domain, int64_t code, const NSURL& url, const NSString& failureReason)
{
    NSDictionary userInfo;
    if (failureReason)
        userInfo.setObject(failureReason, NSLocalizedFailureReasonErrorKey);
    return errorWithFailingURL(NSError(domain, code, userInfo), url);
}

NSError errorWithFailingURL(const NSError& error, const NSURL& url)
{
    if (!url || !error)
        return error;
    NSDictionary userInfo = error.userInfo();
    const auto setIfMissing = [&userInfo](const Value& value, const NSString& key) {
        if (!userInfo[key])
            userInfo.setObject(value, key);
    };
    setIfMissing(url, NSURLErrorKey);
    setIfMissing(url, NSURLErrorFailingURLErrorKey);
    setIfMissing(url.absoluteString(), NSURLErrorFailingURLStringErrorKey);
    return NSError(error.domain(), error.code(), userInfo);
}
