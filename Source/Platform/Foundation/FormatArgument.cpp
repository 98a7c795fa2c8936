#include "Platform/Foundation/FormatArgument.h"

#include "Platform/Foundation/Value.h"

#include <unicode/utf16.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <locale.h>
#include <optional>

namespace {

constexpr int largestWidth = 1 << 20;

// One conversion as it is written, with "*" already replaced by its argument.
struct Conversion {
    std::string flags;
    std::optional<int> width;
    std::optional<int> precision;
    std::u16string modifier;
    char16_t letter = 0;
    const FormatArgument* argument = nullptr;

    [[nodiscard]] bool isLeftAligned() const { return flags.find('-') != std::string::npos; }
};

template <typename... Handlers>
struct Overloaded : Handlers... {
    using Handlers::operator()...;
};
template <typename... Handlers>
Overloaded(Handlers...) -> Overloaded<Handlers...>;

int64_t truncated(long double real)
{
    if (std::isnan(real))
        return 0;
    if (real >= 0x1p63L)
        return std::numeric_limits<int64_t>::max();
    return real <= -0x1p63L ? std::numeric_limits<int64_t>::min() : static_cast<int64_t>(real);
}

// An argument as the integer conversions read it; its 64 bits are the same for signed and unsigned ones.
uint64_t integerOf(const FormatArgument& argument)
{
    return std::visit(Overloaded{
                          [](const NSString& string) { return static_cast<uint64_t>(string.integerValue()); },
                          [](const char* text) { return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(text)); },
                          [](int64_t integer) { return static_cast<uint64_t>(integer); },
                          [](uint64_t integer) { return integer; },
                          [](long double real) { return static_cast<uint64_t>(truncated(real)); },
                          [](const void* pointer) { return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(pointer)); },
                      },
        argument.held());
}

long double realOf(const FormatArgument& argument)
{
    return std::visit(Overloaded{
                          [](const NSString& string) { return static_cast<long double>(string.doubleValue()); },
                          [](const char*) { return 0.0L; },
                          [](int64_t integer) { return static_cast<long double>(integer); },
                          [](uint64_t integer) { return static_cast<long double>(integer); },
                          [](long double real) { return real; },
                          [](const void*) { return 0.0L; },
                      },
        argument.held());
}

// Cuts `integer` to the size that the length modifier names.
int64_t signedOfSize(uint64_t integer, std::u16string_view modifier)
{
    if (modifier == u"hh")
        return static_cast<int8_t>(integer);
    if (modifier == u"h")
        return static_cast<int16_t>(integer);
    return modifier.empty() ? static_cast<int32_t>(integer) : static_cast<int64_t>(integer);
}

uint64_t unsignedOfSize(uint64_t integer, std::u16string_view modifier)
{
    if (modifier == u"hh")
        return static_cast<uint8_t>(integer);
    if (modifier == u"h")
        return static_cast<uint16_t>(integer);
    return modifier.empty() ? static_cast<uint32_t>(integer) : integer;
}

// Numbers look the same whatever locale the process has chosen.
class NeutralLocale {
public:
    NeutralLocale() : _previous(uselocale(neutral())) { }
    NeutralLocale(const NeutralLocale&) = delete;
    NeutralLocale& operator=(const NeutralLocale&) = delete;
    ~NeutralLocale() { uselocale(_previous); }

private:
    static locale_t neutral()
    {
        static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
        return locale;
    }
    locale_t _previous;
};

// What printf writes for `number` with the conversion's flags, width and precision; `tail` is its length modifier and letter.
template <typename Number>
void appendNumber(std::u16string& output, const Conversion& conversion, std::string_view tail, Number number)
{
    std::string format = "%" + conversion.flags;
    if (conversion.width)
        format += std::to_string(*conversion.width);
    if (conversion.precision)
        format += '.' + std::to_string(*conversion.precision);
    format += tail;

    char buffer[128];
// The format is built here for the type of `number`.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int length = std::snprintf(buffer, sizeof buffer, format.c_str(), number);
    if (length < static_cast<int>(sizeof buffer)) {
        output.append(buffer, buffer + std::max(length, 0));
        return;
    }
    std::string text(static_cast<size_t>(length) + 1, '\0');
    std::snprintf(text.data(), text.size(), format.c_str(), number);
#pragma GCC diagnostic pop
    output.append(text.begin(), text.end() - 1);
}

// A precision never cuts a surrogate pair.
void appendText(std::u16string& output, const Conversion& conversion, std::u16string_view text)
{
    if (conversion.precision && static_cast<size_t>(*conversion.precision) < text.size()) {
        size_t length = static_cast<size_t>(*conversion.precision);
        if (length > 0 && U16_IS_LEAD(text[length - 1]) && U16_IS_TRAIL(text[length]))
            --length;
        text = text.substr(0, length);
    }
    const size_t width = static_cast<size_t>(conversion.width.value_or(0));
    const size_t padding = width > text.size() ? width - text.size() : 0;
    if (!conversion.isLeftAligned())
        output.append(padding, u' ');
    output.append(text);
    if (conversion.isLeftAligned())
        output.append(padding, u' ');
}

// The UTF-8 text at `bytes`, of which no more than `limit` bytes are read. A character that the limit cuts is left out.
NSString textOfBytes(const char* bytes, std::optional<int> limit)
{
    if (!bytes)
        return u"(null)";
    if (!limit)
        return NSString::stringWithRepairedUTF8(bytes);
    std::string_view text(bytes, strnlen(bytes, static_cast<size_t>(*limit)));
    if (text.size() == static_cast<size_t>(*limit)) {
        size_t start = text.size();
        while (start > 0 && text.size() - start < 3 && (static_cast<unsigned char>(text[start - 1]) & 0xc0) == 0x80)
            --start;
        if (start > 0) {
            const auto lead = static_cast<unsigned char>(text[start - 1]);
            const size_t needed = lead > 0xf4 ? 1 : lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : lead >= 0xc0 ? 2 : 1;
            if (needed > text.size() - start + 1)
                text = text.substr(0, start - 1);
        }
    }
    return NSString::stringWithRepairedUTF8(text);
}

NSString hexadecimalAddress(const void* pointer)
{
    return NSString::stringWithFormat(u"0x%llx", static_cast<uint64_t>(reinterpret_cast<uintptr_t>(pointer)));
}

// An argument as "%@", "%s" and "%S" show it. The precision of "%s" counts bytes, and is spent here.
NSString textOf(const FormatArgument& argument, std::optional<int> byteLimit)
{
    return std::visit(Overloaded{
                          [](const NSString& string) { return string ? string : NSString(u"(null)"); },
                          [&](const char* text) { return textOfBytes(text, byteLimit); },
                          [](int64_t integer) { return NSString::stringWithFormat(u"%lld", integer); },
                          [](uint64_t integer) { return NSString::stringWithFormat(u"%llu", integer); },
                          [](long double real) { return NSStringFromDouble(static_cast<double>(real)); },
                          [](const void* pointer) { return pointer ? hexadecimalAddress(pointer) : NSString(u"(null)"); },
                      },
        argument.held());
}

NSString addressOf(const FormatArgument& argument)
{
    if (const NSString* const string = std::get_if<NSString>(&argument.held()))
        return hexadecimalAddress(string->isAbsent() ? nullptr : string->units().data());
    return hexadecimalAddress(reinterpret_cast<const void*>(static_cast<uintptr_t>(integerOf(argument))));
}

std::u16string characterOf(uint64_t integer, bool isWide)
{
    if (!isWide)
        return std::u16string(1, static_cast<unsigned char>(integer));
    const auto codePoint = static_cast<uint32_t>(integer);
    if (codePoint > 0xffff && codePoint <= 0x10ffff)
        return {U16_LEAD(codePoint), U16_TRAIL(codePoint)};
    return std::u16string(1, static_cast<char16_t>(codePoint));
}

// Reads a format from its start to its end.
class FormatReader {
public:
    FormatReader(std::u16string_view format, FormatArguments arguments) : _format(format), _arguments(arguments) { }

    std::u16string expanded()
    {
        _output.reserve(_format.size() + 16 * _arguments.size());
        while (_position < _format.size()) {
            const size_t percent = std::min(_format.find(u'%', _position), _format.size());
            _output.append(_format.substr(_position, percent - _position));
            _position = percent;
            if (percent < _format.size())
                expandConversion();
        }
        return std::move(_output);
    }

private:
    [[nodiscard]] char16_t current() const { return _position < _format.size() ? _format[_position] : u'\0'; }

    bool skip(char16_t unit)
    {
        if (current() != unit)
            return false;
        ++_position;
        return true;
    }

    std::optional<int> readNumber()
    {
        std::optional<int> number;
        for (; current() >= u'0' && current() <= u'9'; ++_position)
            number = std::min(number.value_or(0) * 10 + (current() - u'0'), largestWidth);
        return number;
    }

    // "3$": the place of an argument, counted from 1. Reads nothing when that is not what stands here.
    std::optional<int> readPlace()
    {
        const size_t start = _position;
        const auto number = readNumber();
        if (number && skip(u'$'))
            return number;
        _position = start;
        return {};
    }

    const FormatArgument* argumentAt(std::optional<int> place)
    {
        const size_t index = place ? static_cast<size_t>(*place) - 1 : _nextArgument++;
        return index < _arguments.size() ? &_arguments[index] : nullptr;
    }

    // A number or "*", which takes it from an argument.
    std::optional<int> readNumberOrArgument()
    {
        if (!skip(u'*'))
            return readNumber();
        const FormatArgument* const argument = argumentAt(readPlace());
        if (!argument)
            return {};
        const int64_t number = signedOfSize(integerOf(*argument), u"");
        return static_cast<int>(std::clamp<int64_t>(number, -largestWidth, largestWidth));
    }

    void expandConversion()
    {
        const size_t start = _position++;
        if (skip(u'%')) {
            _output.push_back(u'%');
            return;
        }
        Conversion conversion;
        const auto place = readPlace();
        for (; std::u16string_view(u"-+ #0'").find(current()) != std::u16string_view::npos && current(); ++_position) {
            // Grouping digits is the locale's business, and numbers are written without one.
            if (current() != u'\'')
                conversion.flags.push_back(static_cast<char>(current()));
        }
        conversion.width = readNumberOrArgument();
        if (conversion.width && *conversion.width < 0) {
            conversion.flags.push_back('-');
            conversion.width = -*conversion.width;
        }
        if (skip(u'.')) {
            const bool isGiven = current() == u'*';
            conversion.precision = readNumberOrArgument();
            if (!conversion.precision && !isGiven)
                conversion.precision = 0;
            if (conversion.precision && *conversion.precision < 0)
                conversion.precision.reset();
        }
        while (current() && std::u16string_view(u"hlqjztL").find(current()) != std::u16string_view::npos)
            conversion.modifier.push_back(_format[_position++]);
        conversion.letter = current();
        if (!conversion.letter
            || std::u16string_view(u"@diDuUoOxXfFeEgGaAcCsSpn").find(conversion.letter) == std::u16string_view::npos) {
            _output.append(_format.substr(start, _position - start));
            return;
        }
        ++_position;
        conversion.argument = argumentAt(place);
        if (conversion.argument)
            append(conversion);
    }

    void append(Conversion& conversion)
    {
        const FormatArgument& argument = *conversion.argument;
        switch (conversion.letter) {
        case u'd':
        case u'i':
        case u'D':
            appendNumber(
                _output, conversion, "lld", static_cast<long long>(signedOfSize(integerOf(argument), conversion.modifier)));
            break;
        case u'u':
        case u'U':
        case u'o':
        case u'O':
        case u'x':
        case u'X': {
            const char letter = conversion.letter == u'U' ? 'u' : conversion.letter == u'O' ? 'o' : char(conversion.letter);
            appendNumber(_output, conversion, std::string("ll") + letter,
                static_cast<unsigned long long>(unsignedOfSize(integerOf(argument), conversion.modifier)));
            break;
        }
        case u'f':
        case u'F':
        case u'e':
        case u'E':
        case u'g':
        case u'G':
        case u'a':
        case u'A': {
            const NeutralLocale locale;
            const char letter = static_cast<char>(conversion.letter);
            if (conversion.modifier == u"L")
                appendNumber(_output, conversion, std::string("L") + letter, realOf(argument));
            else
                appendNumber(_output, conversion, std::string(1, letter), static_cast<double>(realOf(argument)));
            break;
        }
        case u'c':
        case u'C':
            conversion.precision.reset();
            appendText(
                _output, conversion, characterOf(integerOf(argument), conversion.letter == u'C' || !conversion.modifier.empty()));
            break;
        case u's': {
            const NSString text = textOf(argument, conversion.precision);
            if (std::holds_alternative<const char*>(argument.held()) && std::get<const char*>(argument.held()))
                conversion.precision.reset();
            appendText(_output, conversion, text.units());
            break;
        }
        case u'S':
        case u'@':
            appendText(_output, conversion, textOf(argument, {}).units());
            break;
        case u'p':
            conversion.precision.reset();
            appendText(_output, conversion, addressOf(argument).units());
            break;
        default:
            // "%n" takes its argument and never writes through it.
            break;
        }
    }

    std::u16string_view _format;
    FormatArguments _arguments;
    size_t _position = 0;
    size_t _nextArgument = 0;
    std::u16string _output;
};

}

NSString NSStringWithFormatArguments(const NSString& format, FormatArguments arguments)
{
    return format ? NSString(FormatReader(format.units(), arguments).expanded()) : NSString();
}
