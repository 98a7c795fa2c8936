#include "QVRStringLines.h"

#include "Platform/Foundation/Value.h"

#include <vector>

NSArray qvrComponentsSeparatedByLineSeparators(const NSString& string)
{
    if (!string)
        return {};
    std::vector<Value> lines;
    for (size_t start = 0; start < string.length();) {
        const NSLineRange line = string.lineRangeForRange({start, 0});
        lines.emplace_back(string.substringWithRange({line.start, line.contentsEnd - line.start}));
        start = line.end;
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
