#include "Platform/Web/WebResource.h"

#include "Platform/Foundation/FormatArgument.h"

struct WebResource::Contents {
    NSData data;
    std::function<NSData()> fetch;   // null once the bytes are here
    NSURL url;
    NSString MIMEType;
    NSString textEncodingName;
    NSString frameName;
};

namespace {

NSString withoutParameters(const NSString& type)
{
    const NSRange end = type.rangeOfString(u";", NSLiteralSearch);
    if (end.location == NSNotFound)
        return type;
    std::u16string_view text = type.units().substr(0, end.location);
    while (text.ends_with(u' ') || text.ends_with(u'\t'))
        text.remove_suffix(1);
    return NSString(text);
}

}

WebResource::WebResource(NSData data, NSURL url, const NSString& MIMEType, NSString textEncodingName, NSString frameName)
    : _contents(std::make_shared<Contents>(Contents{std::move(data), nullptr, std::move(url), withoutParameters(MIMEType),
        std::move(textEncodingName), std::move(frameName)}))
{
}

WebResource::WebResource(
    std::function<NSData()> fetch, NSURL url, const NSString& MIMEType, NSString textEncodingName, NSString frameName)
    : _contents(std::make_shared<Contents>(Contents{NSData(), std::move(fetch), std::move(url), withoutParameters(MIMEType),
        std::move(textEncodingName), std::move(frameName)}))
{
}

NSData WebResource::data() const
{
    if (!_contents)
        return {};
    if (_contents->fetch) {
        _contents->data = _contents->fetch();
        _contents->fetch = nullptr;
    }
    return _contents->data;
}

NSURL WebResource::URL() const
{
    return _contents ? _contents->url : NSURL();
}

NSString WebResource::MIMEType() const
{
    return _contents ? _contents->MIMEType : NSString();
}

NSString WebResource::textEncodingName() const
{
    return _contents ? _contents->textEncodingName : NSString();
}

NSString WebResource::frameName() const
{
    return _contents ? _contents->frameName : NSString();
}

NSString WebResource::description() const
{
    return _contents ? NSString::stringWithFormat(u"<WebResource: %@>", URL()) : NSString();
}

bool operator==(const WebResource& a, const WebResource& b)
{
    if (a._contents == b._contents)
        return true;
    return a && b && a.URL() == b.URL() && a.MIMEType() == b.MIMEType() && a.textEncodingName() == b.textEncodingName()
        && a.frameName() == b.frameName() && a.data() == b.data();
}
