#include "QVRStringPunctuation.h"

NSString qvrEllipsis()
{
    return u"\u2026";
}

NSString qvrEnDash()
{
    return u"\u2013";
}

NSString qvrEmDash()
{
    return u"\u2014";
}

NSString qvrLeftDoubleQuote()
{
    return u"\u201C";
}

NSString qvrRightDoubleQuote()
{
    return u"\u201D";
}

NSString qvrLeftSingleQuote()
{
    return u"\u2018";
}

NSString qvrRightSingleQuote()
{
    return u"\u2019";
}

NSString qvrLeftDoubleGuillemet()
{
    return u"\u00AB";
}

NSString qvrRightDoubleGuillemet()
{
    return u"\u00BB";
}

NSString qvrLeftSingleGuillemet()
{
    return u"\u2039";
}

NSString qvrRightSingleGuillemet()
{
    return u"\u203A";
}

NSString qvrDoubleQuotedString(const NSString& string)
{
    if (!string)
        return {};
    std::u16string quoted;
    quoted.reserve(string.length() + 2);
    quoted.append(u"\u201C").append(string.units()).append(u"\u201D");
    return quoted;
}
