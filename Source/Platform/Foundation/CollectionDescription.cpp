#include "Platform/Foundation/CollectionDescription.h"

#include "Platform/Foundation/Value.h"

#include <algorithm>

namespace {

bool isPlain(std::u16string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char16_t unit) {
        return (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z');
    });
}

void appendEscaped(std::u16string& output, char16_t unit)
{
    static constexpr std::u16string_view namedControls = u"abtnvfr";   // U+0007 to U+000D
    static constexpr std::u16string_view digits = u"0123456789abcdef";
    if (unit == u'"' || unit == u'\\') {
        output.append({u'\\', unit});
    } else if (unit >= 7 && unit <= 13) {
        output.append({u'\\', namedControls[unit - 7u]});
    } else if (unit < 0x20 || unit == 0x7f) {
        output.append({u'\\', digits[unit >> 6], digits[unit >> 3 & 7], digits[unit & 7]});
    } else if (unit >= 0x80) {
        output.append({u'\\', u'U', digits[unit >> 12], digits[unit >> 8 & 15], digits[unit >> 4 & 15], digits[unit & 15]});
    } else {
        output.push_back(unit);
    }
}

void appendText(std::u16string& output, std::u16string_view text)
{
    if (isPlain(text)) {
        output.append(text);
        return;
    }
    output.push_back(u'"');
    for (const char16_t unit : text)
        appendEscaped(output, unit);
    output.push_back(u'"');
}

void indent(std::u16string& output, size_t level)
{
    output.append(4 * level, u' ');
}

void appendArray(std::u16string& output, const NSArray& array, size_t level);
void appendDictionary(std::u16string& output, const NSDictionary& dictionary, size_t level);

// An element on a line that is already indented. Deliberate: a collection brings its own blanks on top, as
// it does on the platform.
void appendElement(std::u16string& output, const Value& element, size_t level)
{
    if (element.is(Value::Kind::Array))
        appendArray(output, element.array(), level);
    else if (element.is(Value::Kind::Dictionary))
        appendDictionary(output, element.dictionary(), level);
    else if (element.is(Value::Kind::Data))
        output.append(element.description().units());
    else
        appendText(output, element.description().units());
}

void appendArray(std::u16string& output, const NSArray& array, size_t level)
{
    indent(output, level);
    output.append(u"(\n");
    for (size_t index = 0; index < array.count(); ++index) {
        indent(output, level + 1);
        appendElement(output, array[index], level + 1);
        output.append(index + 1 < array.count() ? u",\n" : u"\n");
    }
    indent(output, level);
    output.push_back(u')');
}

void appendDictionary(std::u16string& output, const NSDictionary& dictionary, size_t level)
{
    indent(output, level);
    output.append(u"{\n");
    for (const auto& [key, value] : dictionary) {
        indent(output, level + 1);
        appendText(output, key.units());
        output.append(u" = ");
        appendElement(output, value, level + 1);
        output.append(u";\n");
    }
    indent(output, level);
    output.push_back(u'}');
}

}

std::u16string describeArray(const NSArray& array, size_t level)
{
    std::u16string output;
    appendArray(output, array, level);
    return output;
}

std::u16string describeDictionary(const NSDictionary& dictionary, size_t level)
{
    std::u16string output;
    appendDictionary(output, dictionary, level);
    return output;
}
