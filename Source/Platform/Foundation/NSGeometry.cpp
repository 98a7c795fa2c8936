#include "Platform/Foundation/NSGeometry.h"

#include "Platform/Foundation/Value.h"

#include <array>
#include <cctype>
#include <charconv>
#include <string>
#include <string_view>

static NSString braced(double first, double second)
{
    return NSString::stringWithFormat(u"{%@, %@}", NSStringFromDouble(first), NSStringFromDouble(second));
}

NSString NSStringFromPoint(NSPoint point)
{
    return braced(point.x, point.y);
}

NSString NSStringFromSize(NSSize size)
{
    return braced(size.width, size.height);
}

NSString NSStringFromRect(NSRect rect)
{
    return NSString::stringWithFormat(u"{%@, %@}", NSStringFromPoint(rect.origin), NSStringFromSize(rect.size));
}

// Whether a number can begin at the start of `text`: a digit, after a sign and a decimal point if any.
static bool beginsNumber(std::string_view text)
{
    if (!text.empty() && (text.front() == '-' || text.front() == '+'))
        text.remove_prefix(1);
    if (!text.empty() && text.front() == '.')
        text.remove_prefix(1);
    return !text.empty() && std::isdigit(static_cast<unsigned char>(text.front()));
}

NSSize NSSizeFromString(const NSString& text)
{
    const std::string characters = text.UTF8();
    std::string_view rest = characters;
    std::array<double, 2> numbers = {0, 0};
    for (double& number : numbers) {
        while (!rest.empty() && !beginsNumber(rest))
            rest.remove_prefix(1);
        if (rest.empty())
            break;
        if (rest.front() == '+')
            rest.remove_prefix(1);
        // A number too large or too small for a double leaves 0.
        const auto result = std::from_chars(rest.data(), rest.data() + rest.size(), number);
        rest.remove_prefix(static_cast<size_t>(result.ptr - rest.data()));
    }
    return {numbers[0], numbers[1]};
}
