#include "Platform/Foundation/NSURLResponse.h"

#include "Platform/Foundation/HTTPHeaderFields.h"
#include "Platform/Foundation/SuggestedFilename.h"
#include "Platform/Foundation/Value.h"

#include <algorithm>
#include <charconv>
#include <string>

namespace {

constexpr std::u16string_view blanks = u" \t\r\n";

std::u16string_view trimmed(std::u16string_view text)
{
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::u16string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

NSString typeOfContentType(const NSString& field)
{
    const std::u16string_view type = trimmed(field.units().substr(0, field.units().find(u';')));
    return type.empty() ? NSString() : NSString(type);
}

NSString charsetOfContentType(const NSString& field)
{
    std::u16string_view rest = field.units();
    for (size_t semicolon = rest.find(u';'); semicolon != std::u16string_view::npos; semicolon = rest.find(u';')) {
        rest.remove_prefix(semicolon + 1);
        const std::u16string_view parameter = trimmed(rest.substr(0, rest.find(u';')));
        const size_t equals = parameter.find(u'=');
        if (equals == std::u16string_view::npos
            || NSString(trimmed(parameter.substr(0, equals))).caseInsensitiveCompare(u"charset") != NSOrderedSame)
            continue;
        std::u16string_view value = trimmed(parameter.substr(equals + 1));
        if (value.size() >= 2 && (value.front() == u'"' || value.front() == u'\'') && value.back() == value.front())
            value = trimmed(value.substr(1, value.size() - 2));
        return value.empty() ? NSString() : NSString(value);
    }
    return {};
}

int64_t lengthOfBody(const NSDictionary& headerFields)
{
    const NSString coding = headerFieldValue(headerFields, u"Content-Encoding");
    if (coding && !trimmed(coding.units()).empty() && coding.caseInsensitiveCompare(u"identity") != NSOrderedSame)
        return NSURLResponseUnknownLength;
    const std::string digits = NSString(trimmed(headerFieldValue(headerFields, u"Content-Length").units())).UTF8();
    int64_t length = 0;
    const auto [end, failure] = std::from_chars(digits.data(), digits.data() + digits.size(), length);
    if (failure != std::errc() || end != digits.data() + digits.size() || digits.front() == '-')
        return NSURLResponseUnknownLength;
    return length;
}

}

NSURLResponse::NSURLResponse(Contents contents) : _contents(std::make_shared<const Contents>(std::move(contents))) { }

NSURLResponse::NSURLResponse(NSURL url, NSString MIMEType, int64_t expectedContentLength, NSString textEncodingName)
    : NSURLResponse(Contents{std::move(url), std::move(MIMEType), std::max(expectedContentLength, NSURLResponseUnknownLength),
        std::move(textEncodingName), {}, {}})
{
}

NSURL NSURLResponse::URL() const
{
    return _contents ? _contents->url : NSURL();
}

NSString NSURLResponse::MIMEType() const
{
    return _contents ? _contents->MIMEType : NSString();
}

int64_t NSURLResponse::expectedContentLength() const
{
    return _contents ? _contents->expectedContentLength : NSURLResponseUnknownLength;
}

NSString NSURLResponse::textEncodingName() const
{
    return _contents ? _contents->textEncodingName : NSString();
}

NSString NSURLResponse::suggestedFilename() const
{
    if (!_contents)
        return {};
    return ::suggestedFilename(valueForHTTPHeaderField(u"Content-Disposition"), _contents->url, _contents->MIMEType);
}

bool NSURLResponse::isHTTP() const
{
    return statusCode().has_value();
}

std::optional<int> NSURLResponse::statusCode() const
{
    return _contents ? _contents->statusCode : std::nullopt;
}

NSDictionary NSURLResponse::allHeaderFields() const
{
    return _contents ? _contents->headerFields : NSDictionary();
}

NSString NSURLResponse::valueForHTTPHeaderField(const NSString& field) const
{
    return _contents ? headerFieldValue(_contents->headerFields, field) : NSString();
}

NSString NSURLResponse::description() const
{
    if (!_contents)
        return {};
    if (_contents->statusCode)
        return NSString::stringWithFormat(u"<NSHTTPURLResponse: %@, status %d>", _contents->url, *_contents->statusCode);
    return NSString::stringWithFormat(u"<NSURLResponse: %@>", _contents->url);
}

bool operator==(const NSURLResponse& a, const NSURLResponse& b)
{
    return a._contents == b._contents || (a._contents && b._contents && *a._contents == *b._contents);
}

NSHTTPURLResponse::NSHTTPURLResponse(NSURL url, int statusCode, NSDictionary headerFields)
    : NSHTTPURLResponse(std::move(url), statusCode, headerFields,
        typeOfContentType(headerFieldValue(headerFields, u"Content-Type")), lengthOfBody(headerFields),
        charsetOfContentType(headerFieldValue(headerFields, u"Content-Type")))
{
}

NSHTTPURLResponse::NSHTTPURLResponse(NSURL url, int statusCode, NSDictionary headerFields, NSString MIMEType,
    int64_t expectedContentLength, NSString textEncodingName)
    : NSURLResponse(Contents{std::move(url), std::move(MIMEType), std::max(expectedContentLength, NSURLResponseUnknownLength),
        std::move(textEncodingName), statusCode, headerFields ? std::move(headerFields) : NSDictionary::dictionary()})
{
}
