#include "Platform/Foundation/PropertyListGuards.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
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

// Decimal or, with "0x", hexadecimal; in the range of a signed 64-bit integer.
bool isInteger(const std::string& text)
{
    const size_t sign = text.starts_with('-') || text.starts_with('+') ? 1 : 0;
    const bool isHexadecimal = text.compare(sign, 2, "0x") == 0 || text.compare(sign, 2, "0X") == 0;
    const size_t start = sign + (isHexadecimal ? 2 : 0);
    const auto isDigit = [isHexadecimal](
                             unsigned char c) { return isHexadecimal ? std::isxdigit(c) != 0 : std::isdigit(c) != 0; };
    if (start == text.size() || !std::all_of(text.begin() + static_cast<std::ptrdiff_t>(start), text.end(), isDigit))
        return false;
    errno = 0;
    g_ascii_strtoll(text.c_str(), nullptr, isHexadecimal ? 16 : 10);
    return errno == 0;
}

bool isReal(const std::string& text)
{
    if (text.empty())
        return false;
    char* end = nullptr;
    g_ascii_strtod(text.c_str(), &end);
    return end == text.c_str() + text.size();
}

// "2001-01-01T00:00:00Z"; the library itself writes years before 1000 with fewer digits.
bool isDate(std::string_view text)
{
    constexpr std::string_view form = "-dd-ddTdd:dd:ddZ";
    const size_t yearEnd = text.find('-');
    if (yearEnd == 0 || yearEnd > 4)
        return false;
    const auto matches = [](unsigned char c, char expected) { return expected == 'd' ? std::isdigit(c) != 0 : c == expected; };
    return std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(yearEnd), [](unsigned char c) {
        return std::isdigit(c);
    }) && std::equal(text.begin() + static_cast<std::ptrdiff_t>(yearEnd), text.end(), form.begin(), form.end(), matches);
}

bool isBase64(std::string_view text)
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
            return false;
    }
    return count % 4 == 0 && padding <= 2;
}

struct Checker {
    struct Open {
        Element element;
        size_t children = 0;
        bool awaitsValue = false;   // a key was there last
    };

    int deepestNesting;
    std::vector<Open> open;
    std::string text;   // of the innermost element, when that is no container
    bool sawRoot = false;

    [[nodiscard]] bool start(Element element)
    {
        if (open.empty()) {
            open.push_back({element});
            return element == Element::Plist && !std::exchange(sawRoot, true);
        }
        Open& parent = open.back();
        if (element == Element::None || element == Element::Plist || !isContainer(parent.element))
            return false;
        if ((parent.element == Element::Plist && parent.children > 0)
            || (parent.element == Element::Dict ? (element == Element::Key) == parent.awaitsValue : element == Element::Key))
            return false;
        ++parent.children;
        parent.awaitsValue = parent.element == Element::Dict && element == Element::Key;
        open.push_back({element});
        text.clear();
        return !isContainer(element) || open.size() <= static_cast<size_t>(deepestNesting) + 1;   // one for <plist>
    }

    [[nodiscard]] bool end()
    {
        const Open closed = open.back();
        open.pop_back();
        switch (closed.element) {
        case Element::Plist:
            return closed.children == 1;
        case Element::Dict:
            return !closed.awaitsValue;
        case Element::Integer:
            return isInteger(std::string(trimmed(text)));
        case Element::Real:
            return isReal(std::string(trimmed(text)));
        case Element::Date:
            return isDate(trimmed(text));
        case Element::Data:
            return isBase64(text);
        case Element::True:
        case Element::False:
            return trimmed(text).empty();
        default:
            return true;
        }
    }

    [[nodiscard]] bool characters(std::string_view more)
    {
        if (open.empty() || isContainer(open.back().element))
            return trimmed(more).empty();
        text += more;
        return true;
    }
};

void refuse(GError** error)
{
    g_set_error_literal(error, G_MARKUP_ERROR, G_MARKUP_ERROR_INVALID_CONTENT, "no property list");
}

void startElement(GMarkupParseContext*, const char* name, const char**, const char**, void* checker, GError** error)
{
    if (!static_cast<Checker*>(checker)->start(elementNamed(name)))
        refuse(error);
}

void endElement(GMarkupParseContext*, const char*, void* checker, GError** error)
{
    if (!static_cast<Checker*>(checker)->end())
        refuse(error);
}

void characters(GMarkupParseContext*, const char* text, gsize length, void* checker, GError** error)
{
    if (!static_cast<Checker*>(checker)->characters({text, length}))
        refuse(error);
}

}

bool isStrictXMLPropertyList(std::string_view text, int deepestNesting)
{
    if (text.empty())
        return false;
    constexpr GMarkupParser parser = {startElement, endElement, characters, nullptr, nullptr};
    Checker checker{deepestNesting, {}, {}};
    GMarkupParseContext* const context = g_markup_parse_context_new(&parser, G_MARKUP_TREAT_CDATA_AS_TEXT, &checker, nullptr);
    const bool isStrict = g_markup_parse_context_parse(context, text.data(), static_cast<gssize>(text.size()), nullptr)
        && g_markup_parse_context_end_parse(context, nullptr) && checker.sawRoot;
    g_markup_parse_context_free(context);
    return isStrict;
}
