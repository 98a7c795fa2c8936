#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/Value.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <locale.h>

namespace {

bool isDigit(char16_t unit)
{
    return unit >= u'0' && unit <= u'9';
}

std::u16string_view withoutLeadingBlanks(std::u16string_view text)
{
    const auto first = std::find_if_not(text.begin(), text.end(), [](char16_t unit) { return u_isUWhiteSpace(unit); });
    return text.substr(static_cast<size_t>(first - text.begin()));
}

// Takes a sign off the front of `text`; true when it is "-".
bool takeSign(std::u16string_view& text)
{
    const bool isNegative = text.starts_with(u'-');
    if (isNegative || text.starts_with(u'+'))
        text.remove_prefix(1);
    return isNegative;
}

size_t countOfDigits(std::u16string_view text)
{
    return static_cast<size_t>(std::find_if_not(text.begin(), text.end(), isDigit) - text.begin());
}

}

int64_t NSString::integerValue() const
{
    std::u16string_view text = withoutLeadingBlanks(units());
    const bool isNegative = takeSign(text);
    constexpr uint64_t largest = std::numeric_limits<int64_t>::max();
    const uint64_t limit = isNegative ? largest + 1 : largest;
    uint64_t magnitude = 0;
    for (; !text.empty() && isDigit(text.front()) && magnitude < limit; text.remove_prefix(1)) {
        const uint64_t digit = text.front() - u'0';
        magnitude = magnitude > (limit - digit) / 10 ? limit : magnitude * 10 + digit;
    }
    return static_cast<int64_t>(isNegative ? uint64_t(0) - magnitude : magnitude);
}

double NSString::doubleValue() const
{
    std::u16string_view text = withoutLeadingBlanks(units());
    const std::u16string_view whole = text;
    takeSign(text);

    // 1. Digits with at most one point among them, at least one digit in all.
    const size_t integerDigits = countOfDigits(text);
    text.remove_prefix(integerDigits);
    size_t fractionDigits = 0;
    if (text.starts_with(u'.')) {
        fractionDigits = countOfDigits(text.substr(1));
        text.remove_prefix(1 + fractionDigits);
    }
    if (integerDigits + fractionDigits == 0)
        return 0;
    // 2. An exponent, when it has digits.
    if (text.starts_with(u'e') || text.starts_with(u'E')) {
        std::u16string_view exponent = text.substr(1);
        takeSign(exponent);
        if (const size_t exponentDigits = countOfDigits(exponent))
            text = exponent.substr(exponentDigits);
    }
    // 3. What was read so far is ASCII.
    const std::string number(whole.begin(), text.begin());
    static const locale_t neutralLocale = newlocale(LC_ALL_MASK, "C", nullptr);
    return strtod_l(number.c_str(), nullptr, neutralLocale);
}

bool NSString::boolValue() const
{
    std::u16string_view text = withoutLeadingBlanks(units());
    takeSign(text);
    const size_t zeros = std::min(text.find_first_not_of(u'0'), text.size());
    text.remove_prefix(zeros);
    return !text.empty() && std::u16string_view(u"YyTt123456789").find(text.front()) != std::u16string_view::npos;
}

NSString NSStringFromDouble(double number)
{
    if (std::isnan(number))
        return u"nan";
    if (std::isinf(number))
        return number < 0 ? u"-inf" : u"inf";
    char buffer[64];
    // The shortest digits that read back the same; the platform writes plain digits where "%0.16g" does.
    const auto exponential = std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::scientific);
    int exponent = 0;
    const char* const exponentStart = std::find(buffer, exponential.ptr, 'e') + 1;
    std::from_chars(exponentStart + (*exponentStart == '+'), exponential.ptr, exponent);
    if (exponent < -4 || exponent >= 16)
        return std::u16string(buffer, exponential.ptr);
    const auto plain = std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::fixed);
    return std::u16string(buffer, plain.ptr);
}
