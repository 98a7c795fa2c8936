#include "Platform/Foundation/SuggestedFilename.h"

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/URLSyntax.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace {

struct TypeExtension {
    std::string_view type;
    const char16_t* extension;
};

constexpr TypeExtension typeExtensions[] = {
    {"application/epub+zip", u"epub"},
    {"application/gzip", u"gz"},
    {"application/java-archive", u"jar"},
    {"application/javascript", u"js"},
    {"application/json", u"json"},
    {"application/msword", u"doc"},
    {"application/pdf", u"pdf"},
    {"application/postscript", u"ps"},
    {"application/rss+xml", u"rss"},
    {"application/rtf", u"rtf"},
    {"application/vnd.ms-excel", u"xls"},
    {"application/vnd.ms-powerpoint", u"ppt"},
    {"application/vnd.oasis.opendocument.spreadsheet", u"ods"},
    {"application/vnd.oasis.opendocument.text", u"odt"},
    {"application/vnd.openxmlformats-officedocument.presentationml.presentation", u"pptx"},
    {"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet", u"xlsx"},
    {"application/vnd.openxmlformats-officedocument.wordprocessingml.document", u"docx"},
    {"application/x-7z-compressed", u"7z"},
    {"application/x-bzip2", u"bz2"},
    {"application/x-gzip", u"gz"},
    {"application/x-rar-compressed", u"rar"},
    {"application/x-tar", u"tar"},
    {"application/x-xz", u"xz"},
    {"application/xhtml+xml", u"xhtml"},
    {"application/xml", u"xml"},
    {"application/zip", u"zip"},
    {"audio/aac", u"aac"},
    {"audio/flac", u"flac"},
    {"audio/mp4", u"m4a"},
    {"audio/mpeg", u"mp3"},
    {"audio/ogg", u"ogg"},
    {"audio/wav", u"wav"},
    {"audio/webm", u"weba"},
    {"audio/x-wav", u"wav"},
    {"font/otf", u"otf"},
    {"font/ttf", u"ttf"},
    {"font/woff", u"woff"},
    {"font/woff2", u"woff2"},
    {"image/avif", u"avif"},
    {"image/bmp", u"bmp"},
    {"image/gif", u"gif"},
    {"image/jpeg", u"jpg"},
    {"image/png", u"png"},
    {"image/svg+xml", u"svg"},
    {"image/tiff", u"tiff"},
    {"image/vnd.microsoft.icon", u"ico"},
    {"image/webp", u"webp"},
    {"image/x-icon", u"ico"},
    {"message/rfc822", u"eml"},
    {"multipart/related", u"mht"},
    {"text/calendar", u"ics"},
    {"text/css", u"css"},
    {"text/csv", u"csv"},
    {"text/html", u"html"},
    {"text/javascript", u"js"},
    {"text/markdown", u"md"},
    {"text/plain", u"txt"},
    {"text/rtf", u"rtf"},
    {"text/vcard", u"vcf"},
    {"text/xml", u"xml"},
    {"video/mp4", u"mp4"},
    {"video/mpeg", u"mpeg"},
    {"video/ogg", u"ogv"},
    {"video/quicktime", u"mov"},
    {"video/webm", u"webm"},
    {"video/x-msvideo", u"avi"},
};

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

std::string lowered(std::string_view text)
{
    std::string result(text);
    for (char& c : result) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c + ('a' - 'A'));
    }
    return result;
}

// The name and value of the parameter at the start of `rest`, which is cut to what follows its ";". A quoted value is unquoted.
std::pair<std::string, std::string> takeParameter(std::string_view& rest)
{
    const size_t equals = rest.find_first_of("=;");
    const std::string name = lowered(trimmed(rest.substr(0, equals)));
    if (equals == std::string_view::npos || rest[equals] == ';') {
        rest.remove_prefix(equals == std::string_view::npos ? rest.size() : equals + 1);
        return {name, {}};
    }
    rest = trimmed(rest.substr(equals + 1));
    std::string value;
    if (rest.starts_with('"')) {
        size_t i = 1;
        for (; i < rest.size() && rest[i] != '"'; ++i) {
            if (rest[i] == '\\' && i + 1 < rest.size())
                ++i;
            value += rest[i];
        }
        rest.remove_prefix(std::min(rest.size(), i));
    } else {
        value = trimmed(rest.substr(0, rest.find(';')));
    }
    const size_t end = rest.find(';');
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return {name, value};
}

NSString decodedExtendedValue(std::string_view value)
{
    const size_t first = value.find('\'');
    const size_t second = first == std::string_view::npos ? first : value.find('\'', first + 1);
    if (second == std::string_view::npos)
        return {};
    const std::string charset = lowered(value.substr(0, first));
    const std::string_view text = value.substr(second + 1);
    if (charset == "utf-8")
        return stringByRemovingPercentEncoding(text);
    if (charset != "iso-8859-1")
        return {};
    std::u16string units;
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned unit = static_cast<unsigned char>(text[i]);
        if (text[i] == '%') {
            const auto isHex = [](char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'); };
            if (text.size() - i < 3 || !isHex(text[i + 1]) || !isHex(text[i + 2]))
                return {};
            unit = static_cast<unsigned>(std::stoul(std::string(text.substr(i + 1, 2)), nullptr, 16));
            i += 2;
        }
        units += static_cast<char16_t>(unit);
    }
    return NSString(std::move(units));
}

// Characters that make a name look like another one or that no name should hold.
bool isUnwantedInNames(char16_t unit)
{
    return unit < 0x20 || (unit >= 0x7f && unit < 0xa0) || unit == 0x61c || (unit >= 0x200b && unit <= 0x200f)
        || (unit >= 0x2028 && unit <= 0x202e) || (unit >= 0x2066 && unit <= 0x2069) || unit == 0xfeff || unit >= 0xfffe;
}

// At most `limit` bytes from the start of `text`, never cutting a character.
std::string_view firstBytes(std::string_view text, size_t limit)
{
    if (text.size() <= limit)
        return text;
    while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xc0) == 0x80)
        --limit;
    return text.substr(0, limit);
}

// Where the extension with its dot begins; the size when there is none.
size_t extensionStart(std::string_view name)
{
    const size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size() || name.size() - dot > longestPathExtension)
        return name.size();
    return dot;
}

}

NSString filenameFromContentDisposition(const NSString& field)
{
    const std::string bytes = field.UTF8();
    std::string_view rest = bytes;
    // A field without a disposition type, only with a parameter, is common enough to be read.
    const size_t typeEnd = rest.find(';');
    if (rest.substr(0, typeEnd).find('=') == std::string_view::npos)
        rest.remove_prefix(typeEnd == std::string_view::npos ? rest.size() : typeEnd + 1);
    NSString plain;
    while (!rest.empty()) {
        const auto [name, value] = takeParameter(rest);
        if (name == "filename*") {
            if (NSString extended = decodedExtendedValue(value))
                return extended;
        } else if (name == "filename" && !plain && !value.empty()) {
            plain = NSString::stringWithRepairedUTF8(value);
        }
    }
    return plain;
}

NSString pathExtensionForMIMEType(const NSString& MIMEType)
{
    const std::string bytes = MIMEType.UTF8();
    const std::string type = lowered(trimmed(std::string_view(bytes).substr(0, bytes.find(';'))));
    const auto* const found = std::find_if(
        std::begin(typeExtensions), std::end(typeExtensions), [&type](const TypeExtension& row) { return row.type == type; });
    return found == std::end(typeExtensions) ? NSString() : NSString(found->extension);
}

NSString cleanedFilename(const NSString& name)
{
    std::u16string_view units = name.units();
    if (const size_t separator = units.find_last_of(u"/\\"); separator != std::u16string_view::npos)
        units.remove_prefix(separator + 1);
    std::u16string kept;
    std::copy_if(units.begin(), units.end(), std::back_inserter(kept), [](char16_t unit) { return !isUnwantedInNames(unit); });
    const std::string bytes = NSString(std::move(kept)).UTF8();
    const std::string_view plain = trimmed(bytes);
    if (plain.empty() || plain == "." || plain == "..")
        return {};
    const std::string_view extension = plain.substr(extensionStart(plain));
    const std::string_view stem = plain.substr(0, plain.size() - extension.size());
    return NSString::stringWithUTF8String(
        std::string(firstBytes(stem, longestFilename - extension.size())) + std::string(extension));
}

NSString suggestedFilename(const NSString& contentDisposition, const NSURL& url, const NSString& MIMEType)
{
    NSString name = cleanedFilename(filenameFromContentDisposition(contentDisposition));
    if (!name)
        name = cleanedFilename(url.lastPathComponent());
    const bool namesAFile = !name.isAbsent();
    if (!name)
        name = cleanedFilename(url.host());
    if (!name)
        name = u"unknown";
    const std::string bytes = name.UTF8();
    // A host's last label looks like an extension and is none.
    const bool hasExtension = namesAFile && extensionStart(bytes) < bytes.size();
    const NSString extension = hasExtension ? NSString() : pathExtensionForMIMEType(MIMEType);
    return extension ? cleanedFilename(NSString::stringWithFormat(u"%@.%@", name, extension)) : name;
}
