#include "Platform/Foundation/XMLPropertyListReader.h"

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSStringPool.h"
#include "Platform/Foundation/XMLTokens.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <iterator>
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
    const auto* const first = std::find_if_not(text.begin(), text.end(), isXMLBlank);
    const auto last = std::find_if_not(text.rbegin(), std::make_reverse_iterator(first), isXMLBlank).base();
    return {first, last};
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

    [[nodiscard]] bool start(std::string_view name)
    {
        const Element element = elementNamed(name);
        if (_leaf != Element::None || element == Element::None)
            return false;
        if (_open.empty()) {
            _open.push_back({element, 0, {}, {}, false});
            return element == Element::Plist && !std::exchange(_sawRoot, true);
        }
        const Open& parent = _open.back();
        if (element == Element::Plist || (parent.element == Element::Plist && !_values.empty()))
            return false;
        if (parent.element == Element::Dict ? (element == Element::Key) == parent.awaitsValue : element == Element::Key)
            return false;
        if (!isContainer(element)) {
            _leaf = element;
            _text.clear();
            return true;
        }
        _open.push_back(
            {element, _values.size(), element == Element::Dict ? NSDictionary::dictionary() : NSDictionary(), {}, false});
        return _open.size() <= static_cast<size_t>(_deepestNesting) + 1;   // one for <plist>
    }

    [[nodiscard]] bool end(std::string_view name)
    {
        const Element element = _leaf != Element::None || _open.empty() ? _leaf : _open.back().element;
        if (element == Element::None || name != elementNames[static_cast<size_t>(element)])
            return false;
        if (_leaf == Element::Key) {
            _leaf = Element::None;
            Open& dictionary = _open.back();
            dictionary.key = _strings.stringWithUTF8String(_text);
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
            return add(NSArray(takeValues(closed.firstValue)));
        default:
            return !_values.empty();
        }
    }

    [[nodiscard]] bool characters(std::string_view more)
    {
        if (_leaf == Element::None)
            return std::all_of(more.begin(), more.end(), isXMLBlank);
        _text += more;
        return true;
    }

    // Once the text has been read without a fault.
    [[nodiscard]] Value takeRoot() { return _open.empty() && !_values.empty() ? std::move(_values.front()) : Value(); }

private:
    // A container that has begun.
    struct Open {
        Element element;
        size_t firstValue;   // of an array, in `_values`
        NSDictionary entries;
        NSString key;   // that was there last
        bool awaitsValue = false;
    };

    [[nodiscard]] Value leafOf(Element element)
    {
        switch (element) {
        case Element::String:
            return _strings.stringWithUTF8String(_text);
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
            _values.push_back(std::move(value));
        }
        return true;
    }

    std::vector<Value> takeValues(size_t first)
    {
        if (first == 0)
            return std::exchange(_values, {});
        const auto begin = _values.begin() + static_cast<std::ptrdiff_t>(first);
        std::vector<Value> values(std::make_move_iterator(begin), std::make_move_iterator(_values.end()));
        _values.erase(begin, _values.end());
        return values;
    }

    const int _deepestNesting;
    NSStringPool _strings;
    std::vector<Open> _open;
    std::vector<Value> _values;      // of all open arrays, one array's behind the other's; and the root
    Element _leaf = Element::None;   // the innermost element, when that is no container
    std::string _text;               // what it holds
    bool _sawRoot = false;
};

}

Value valueOfXMLPropertyList(std::string_view text, int deepestNesting)
{
    XMLTokens tokens(text);
    Reader reader(deepestNesting);
    while (true) {
        bool isRight = false;
        switch (tokens.next()) {
        case XMLTokens::Kind::StartTag:
            isRight = reader.start(tokens.content());
            break;
        case XMLTokens::Kind::EndTag:
            isRight = reader.end(tokens.content());
            break;
        case XMLTokens::Kind::Text:
            isRight = reader.characters(tokens.content());
            break;
        case XMLTokens::Kind::End:
            return reader.takeRoot();
        case XMLTokens::Kind::Fault:
            break;
        }
        if (!isRight)
            return {};
    }
}
