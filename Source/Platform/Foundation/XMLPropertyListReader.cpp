#include "Platform/Foundation/XMLPropertyListReader.h"

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSDictionary.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

enum class Element { None, Plist, Dict, Array, Key, String, Data, Date, Integer, Real, True, False };

constexpr std::array<std::string_view, 12> elementNames = {
    "", "plist", "dict", "array", "key", "string", "data", "date", "integer", "real", "true", "false"};

Element elementNamed(std::string_view name)
{
    const auto* const found = std::find(elementNames.begin() + 1, elementNames.end(), name);
    return found == elementNames.end() ? Element::None : static_cast<Element>(found - elementNames.begin());
}

bool isContainer(Element element)
{
    return element == Element::Plist || element == Element::Dict || element == Element::Array;
}

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r\n";
    const size_t first = text.find_first_not_of(blanks);
    return first == std::string_view::npos ? std::string_view() : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// Decimal or, with "0x", hexadecimal; in the range of a signed 64-bit integer. Absent when it is none.
Value integerOf(const std::string& text)
{
    const size_t sign = text.starts_with('-') || text.starts_with('+') ? 1 : 0;
    const bool isHexadecimal = text.compare(sign, 2, "0x") == 0 || text.compare(sign, 2, "0X") == 0;
    const size_t start = sign + (isHexadecimal ? 2 : 0);
    const auto isDigit = [isHexadecimal](
                             unsigned char c) { return isHexadecimal ? std::isxdigit(c) != 0 : std::isdigit(c) != 0; };
    if (start == text.size() || !std::all_of(text.begin() + static_cast<std::ptrdiff_t>(start), text.end(), isDigit))
        return {};
    errno = 0;
    const int64_t integer = g_ascii_strtoll(text.c_str(), nullptr, isHexadecimal ? 16 : 10);
    return errno == 0 ? Value(integer) : Value();
}

Value realOf(const std::string& text)
{
    if (text.empty())
        return {};
    char* end = nullptr;
    const double real = g_ascii_strtod(text.c_str(), &end);
    return end == text.c_str() + text.size() ? Value(real) : Value();
}

// "2001-01-01T00:00:00Z"; some writers give years before 1000 fewer digits.
Value dateOf(std::string_view text)
{
    constexpr std::string_view form = "-dd-ddTdd:dd:ddZ";
    const size_t yearEnd = text.find('-');
    if (yearEnd == 0 || yearEnd > 4)
        return {};
    const std::string_view rest = text.substr(yearEnd);
    const auto isDigit = [](char c) { return g_ascii_isdigit(c) != FALSE; };
    const auto matches = [&](char c, char expected) { return expected == 'd' ? isDigit(c) : c == expected; };
    if (!std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(yearEnd), isDigit)
        || !std::equal(rest.begin(), rest.end(), form.begin(), form.end(), matches))
        return {};
    const auto number = [&](size_t from) { return static_cast<unsigned>((rest[from] - '0') * 10 + rest[from + 1] - '0'); };
    const std::chrono::year_month_day day(std::chrono::year(std::stoi(std::string(text.substr(0, yearEnd)))),
        std::chrono::month(number(1)), std::chrono::day(number(4)));
    const std::chrono::seconds time =
        std::chrono::hours(number(7)) + std::chrono::minutes(number(10)) + std::chrono::seconds(number(13));
    if (!day.ok() || number(7) > 23 || number(10) > 59 || number(13) > 60)
        return {};
    using namespace std::chrono_literals;
    const std::chrono::sys_days reference = 2001y / 1 / 1;
    return NSDate::dateWithTimeIntervalSinceReferenceDate(
        std::chrono::duration<double>(std::chrono::sys_days(day) - reference + time).count());
}

Value dataOf(const std::string& text)
{
    size_t count = 0;
    size_t padding = 0;
    for (const unsigned char c : text) {
        if (std::isspace(c))
            continue;
        ++count;
        if (c == '=')
            ++padding;
        else if (padding > 0 || (!std::isalnum(c) && c != '+' && c != '/'))
            return {};
    }
    if (count % 4 != 0 || padding > 2)
        return {};
    gsize length = 0;
    const std::unique_ptr<guchar, decltype(&g_free)> bytes(g_base64_decode(text.c_str(), &length), g_free);
    return NSData::dataWithBytes(std::string_view(reinterpret_cast<const char*>(bytes.get()), length));
}

class Reader {
public:
    explicit Reader(int deepestNesting) : _deepestNesting(deepestNesting) { }

    [[nodiscard]] bool start(Element element)
    {
        if (_leaf != Element::None || element == Element::None)
            return false;
        if (_open.empty()) {
            _open.push_back({element, {}, {}, {}, false});
            return element == Element::Plist && !std::exchange(_sawRoot, true);
        }
        Open& parent = _open.back();
        if (element == Element::Plist || (parent.element == Element::Plist && !parent.values.empty()))
            return false;
        if (parent.element == Element::Dict ? (element == Element::Key) == parent.awaitsValue : element == Element::Key)
            return false;
        if (!isContainer(element)) {
            _leaf = element;
            _text.clear();
            return true;
        }
        _open.push_back({element, {}, element == Element::Dict ? NSDictionary::dictionary() : NSDictionary(), {}, false});
        return _open.size() <= static_cast<size_t>(_deepestNesting) + 1;   // one for <plist>
    }

    [[nodiscard]] bool end()
    {
        if (_leaf == Element::Key) {
            _leaf = Element::None;
            Open& dictionary = _open.back();
            dictionary.key = NSString::stringWithUTF8String(_text);
            dictionary.awaitsValue = true;
            return !dictionary.key.isAbsent();
        }
        if (_leaf != Element::None)
            return add(leafOf(std::exchange(_leaf, Element::None)));
        Open closed = std::move(_open.back());
        _open.pop_back();
        switch (closed.element) {
        case Element::Dict:
            return !closed.awaitsValue && add(std::move(closed.entries));
        case Element::Array:
            return add(NSArray(std::move(closed.values)));
        default:
            if (!closed.values.empty())
                _root = std::move(closed.values.front());
            return !_root.isAbsent();
        }
    }

    [[nodiscard]] bool characters(std::string_view more)
    {
        if (_leaf == Element::None)
            return trimmed(more).empty();
        _text += more;
        return true;
    }

    // Once the text has been read without a fault.
    Value takeRoot() { return std::move(_root); }

private:
    // A container that has begun.
    struct Open {
        Element element;
        std::vector<Value> values;
        NSDictionary entries;
        NSString key;   // that was there last
        bool awaitsValue = false;
    };

    [[nodiscard]] Value leafOf(Element element) const
    {
        switch (element) {
        case Element::String:
            return NSString::stringWithUTF8String(_text);
        case Element::Integer:
            return integerOf(std::string(trimmed(_text)));
        case Element::Real:
            return realOf(std::string(trimmed(_text)));
        case Element::Date:
            return dateOf(trimmed(_text));
        case Element::Data:
            return dataOf(_text);
        default:
            return trimmed(_text).empty() ? Value(element == Element::True) : Value();
        }
    }

    [[nodiscard]] bool add(Value value)
    {
        if (value.isAbsent())
            return false;
        Open& parent = _open.back();
        if (parent.element == Element::Dict) {
            parent.entries.setObject(std::move(value), parent.key);
            parent.awaitsValue = false;
        } else {
            parent.values.push_back(std::move(value));
        }
        return true;
    }

    const int _deepestNesting;
    std::vector<Open> _open;
    Element _leaf = Element::None;   // the innermost element, when that is no container
    std::string _text;               // what it holds
    bool _sawRoot = false;
    Value _root;
};

void refuse(GError** error)
{
    g_set_error_literal(error, G_MARKUP_ERROR, G_MARKUP_ERROR_INVALID_CONTENT, "no property list");
}

void startElement(GMarkupParseContext*, const char* name, const char**, const char**, void* reader, GError** error)
{
    if (!static_cast<Reader*>(reader)->start(elementNamed(name)))
        refuse(error);
}

void endElement(GMarkupParseContext*, const char*, void* reader, GError** error)
{
    if (!static_cast<Reader*>(reader)->end())
        refuse(error);
}

void characters(GMarkupParseContext*, const char* text, gsize length, void* reader, GError** error)
{
    if (!static_cast<Reader*>(reader)->characters({text, length}))
        refuse(error);
}

}

Value valueOfXMLPropertyList(std::string_view text, int deepestNesting)
{
    if (text.empty())
        return {};
    constexpr GMarkupParser parser = {startElement, endElement, characters, nullptr, nullptr};
    Reader reader(deepestNesting);
    GMarkupParseContext* const context = g_markup_parse_context_new(&parser, G_MARKUP_TREAT_CDATA_AS_TEXT, &reader, nullptr);
    const bool isStrict = g_markup_parse_context_parse(context, text.data(), static_cast<gssize>(text.size()), nullptr)
        && g_markup_parse_context_end_parse(context, nullptr);
    g_markup_parse_context_free(context);
    return isStrict ? reader.takeRoot() : Value();
}
