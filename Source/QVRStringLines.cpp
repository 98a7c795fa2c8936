#include "QVRStringLines.h"

#include "Platform/Foundation/Value.h"

#include <algorithm>
#include <vector>

namespace {

constexpr std::u16string_view lineEnds = u"\n\r\u0085\u2028\u2029";

}

NSArray qvrComponentsSeparatedByLineSeparators(const NSString& string)
{
    if (!string)
        return {};
    const std::u16string_view units = string.units();
    std::vector<Value> lines;
    for (size_t start = 0; start < units.size();) {
        const size_t contentsEnd = std::min(units.find_first_of(lineEnds, start), units.size());
        lines.emplace_back(NSString(units.substr(start, contentsEnd - start)));
        const bool isPair = units.substr(contentsEnd, 2) == u"\r\n";
        start = contentsEnd + (isPair ? 2 : 1);
    }
    return NSArray(std::move(lines));
}

NSString qvrStringByNormalizingLineBreaks(const NSString& string)
{
    const std::u16string_view units = string.units();
    if (units.find(u'\r') == std::u16string_view::npos)
        return string;
    std::u16string normalized;
    normalized.reserve(units.size());
    for (size_t index = 0; index < units.size(); ++index) {
        const bool isReturn = units[index] == u'\r';
        normalized.push_back(isReturn ? u'\n' : units[index]);
        if (isReturn && index + 1 < units.size() && units[index + 1] == u'\n')
            ++index;
    }
    return normalized;
}
