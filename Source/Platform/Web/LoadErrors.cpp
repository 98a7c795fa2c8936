#include "Platform/Web/LoadErrors.h"

#include "Platform/Foundation/Value.h"

NSError loadError(const NSString& domain, int64_t code, const NSURL& url)
{
    return errorWithFailingURL(NSError(domain, code), url);
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
