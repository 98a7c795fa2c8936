#include "Platform/Engine/DevTools/ResponseFacts.h"

#include "Platform/Foundation/Value.h"

#include <algorithm>
#include <array>

NSURLRequest requestFromEngine(const JSONView& request)
{
    NSString address = request.string("url");
    if (request.has("urlFragment"))
        address = address.stringByAppendingString(request.string("urlFragment"));
    auto result = NSMutableURLRequest::requestWithURL(NSURL::URLWithUncheckedString(address));
    result.setHTTPMethod(request.string("method"));
    request.object("headers").forEachText([&](std::string_view name, std::string_view value) {
        result.setValue(NSString::stringWithRepairedUTF8(value), NSString::stringWithRepairedUTF8(name));
    });
    std::string body;
    request.forEachIn("postDataEntries", [&](JSONView entry) { body += entry.base64("bytes").characters(); });
    if (!body.empty())
        result.setHTTPBody(NSData::dataWithBytes(body));
    return result;
}

NSURLResponse responseFromEngine(const JSONView& response)
{
    const NSURL url = NSURL::URLWithUncheckedString(response.string("url"));
    NSDictionary fields = NSDictionary::dictionary();
    response.object("headers").forEachText([&](std::string_view name, std::string_view value) {
        fields.setObject(NSString::stringWithRepairedUTF8(value), NSString::stringWithRepairedUTF8(name));
    });
    const NSString guessed = response.string("mimeType");
    const NSString charset = response.string("charset");
    if (!response.text("url").starts_with("http"))
        return NSURLResponse(url, guessed, NSURLResponseUnknownLength, charset.length() ? charset : NSString());
    const int status = static_cast<int>(response.integer("status"));
    const NSHTTPURLResponse told(url, status, fields);
    if (told.MIMEType())
        return told;
    return NSHTTPURLResponse(url, status, fields, guessed, told.expectedContentLength(), charset.length() ? charset : NSString());
}

NSURLResponse heldResponseFromEngine(const NSURL& url, const JSONView& content)
{
    NSDictionary fields = NSDictionary::dictionary();
    content.forEachIn("responseHeaders", [&](JSONView field) {
        const NSString name = NSString::stringWithRepairedUTF8(field.text("name"));
        const NSString value = NSString::stringWithRepairedUTF8(field.text("value"));
        const Value before = fields.objectForKey(name);
        // Fields that come more than once are one field with a list, as HTTP reads them.
        fields.setObject(before ? before.string().stringByAppendingString(u", ").stringByAppendingString(value) : value, name);
    });
    const NSHTTPURLResponse told(url, static_cast<int>(content.integer("responseStatusCode")), fields);
    if (url.scheme().lowercaseString() == NSString(u"http") || url.scheme().lowercaseString() == NSString(u"https"))
        return told;
    return NSURLResponse(url, told.MIMEType(), told.expectedContentLength(), told.textEncodingName());
}

bool engineShowsType(const NSString& MIMEType)
{
    static constexpr std::array shown = {"text/html", "text/plain", "text/xml", "text/css", "text/javascript",
        "application/javascript", "application/json", "application/xml", "application/xhtml+xml", "image/svg+xml", "image/png",
        "image/apng", "image/jpeg", "image/jpg", "image/gif", "image/webp", "image/avif", "image/bmp", "image/x-icon",
        "image/vnd.microsoft.icon", "multipart/x-mixed-replace"};
    const std::string type = MIMEType.lowercaseString().UTF8();
    return type.empty() || std::find(shown.begin(), shown.end(), type) != shown.end() || type.ends_with("+xml")
        || type.ends_with("+json") || type.starts_with("audio/") || type.starts_with("video/");
}
