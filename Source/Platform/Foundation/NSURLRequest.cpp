#include "Platform/Foundation/NSURLRequest.h"

#include "Platform/Foundation/HTTPHeaderFields.h"
#include "Platform/Foundation/Value.h"

NSURLRequest NSURLRequest::requestWithURL(const NSURL& url, NSURLRequestCachePolicy cachePolicy, double timeoutInterval)
{
    return NSMutableURLRequest::requestWithURL(url, cachePolicy, timeoutInterval);
}

const NSURLRequest::Contents& NSURLRequest::contents() const
{
    static const Contents defaults;
    return _contents ? *_contents : defaults;
}

NSURL NSURLRequest::URL() const
{
    return contents().url;
}

NSURLRequestCachePolicy NSURLRequest::cachePolicy() const
{
    return contents().cachePolicy;
}

double NSURLRequest::timeoutInterval() const
{
    return contents().timeoutInterval;
}

NSString NSURLRequest::HTTPMethod() const
{
    return contents().method;
}

NSDictionary NSURLRequest::allHTTPHeaderFields() const
{
    return contents().headerFields;
}

NSString NSURLRequest::valueForHTTPHeaderField(const NSString& field) const
{
    return headerFieldValue(contents().headerFields, field);
}

NSData NSURLRequest::HTTPBody() const
{
    return contents().body;
}

bool NSURLRequest::HTTPShouldHandleCookies() const
{
    return contents().handlesCookies;
}

NSString NSURLRequest::description() const
{
    return _contents ? NSString::stringWithFormat(u"<NSURLRequest> { URL: %@ }", _contents->url) : NSString();
}

bool operator==(const NSURLRequest& a, const NSURLRequest& b)
{
    return a._contents == b._contents || (a._contents && b._contents && *a._contents == *b._contents);
}

NSMutableURLRequest NSMutableURLRequest::requestWithURL(
    const NSURL& url, NSURLRequestCachePolicy cachePolicy, double timeoutInterval)
{
    NSMutableURLRequest request;
    Contents& contents = request.mutableContents();
    contents.url = url;
    contents.cachePolicy = cachePolicy;
    contents.timeoutInterval = timeoutInterval;
    return request;
}

NSURLRequest::Contents& NSMutableURLRequest::mutableContents()
{
    if (!_contents)
        _contents = std::make_shared<Contents>();
    else if (_contents.use_count() > 1)
        _contents = std::make_shared<Contents>(*_contents);
    return *_contents;
}

void NSMutableURLRequest::setURL(const NSURL& url)
{
    mutableContents().url = url;
}

void NSMutableURLRequest::setCachePolicy(NSURLRequestCachePolicy cachePolicy)
{
    mutableContents().cachePolicy = cachePolicy;
}

void NSMutableURLRequest::setTimeoutInterval(double timeoutInterval)
{
    mutableContents().timeoutInterval = timeoutInterval;
}

void NSMutableURLRequest::setHTTPMethod(const NSString& method)
{
    mutableContents().method = method ? method : NSString(u"GET");
}

void NSMutableURLRequest::setValue(const NSString& value, const NSString& forHTTPHeaderField)
{
    if (!forHTTPHeaderField)
        return;
    NSDictionary& fields = mutableContents().headerFields;
    const NSString spelled = spelledHeaderFieldName(fields, forHTTPHeaderField);
    if (value)
        fields.setObject(value, spelled ? spelled : forHTTPHeaderField);
    else if (spelled)
        fields.removeObjectForKey(spelled);
}

void NSMutableURLRequest::addValue(const NSString& value, const NSString& forHTTPHeaderField)
{
    const NSString present = valueForHTTPHeaderField(forHTTPHeaderField);
    if (value)
        setValue(present ? NSString::stringWithFormat(u"%@,%@", present, value) : value, forHTTPHeaderField);
}

void NSMutableURLRequest::setAllHTTPHeaderFields(const NSDictionary& headerFields)
{
    mutableContents().headerFields = {};
    for (const auto& [field, value] : headerFields)
        setValue(value.string(), field);
}

void NSMutableURLRequest::setHTTPBody(const NSData& body)
{
    mutableContents().body = body;
}

void NSMutableURLRequest::setHTTPShouldHandleCookies(bool handlesCookies)
{
    mutableContents().handlesCookies = handlesCookies;
}
