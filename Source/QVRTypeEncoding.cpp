#include "QVRFunctions.h"

#include "Platform/Foundation/NSGeometry.h"
#include "Platform/Foundation/Value.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

// The value at `pointer`, which need not be aligned for its type.
template <typename Scalar>
static Scalar read(const void* pointer)
{
    Scalar value;
    std::memcpy(&value, pointer, sizeof value);
    return value;
}

template <typename Scalar>
static NSString formatted(const NSString& format, const void* pointer)
{
    return NSString::stringWithFormat(format, read<Scalar>(pointer));
}

static NSString stringFromCharacterOrBoolean(const void* pointer)
{
    const auto value = read<int8_t>(pointer);
    if (value == 1)
        return u"YES";
    if (value == 0)
        return u"NO";
    return NSString::stringWithFormat(u"'%c'", value);
}

// Deliberate: the digits may be missing.
static bool isCharacterArray(std::string_view encoding)
{
    if (encoding.size() < 3 || encoding.front() != '[' || !encoding.ends_with("c]"))
        return false;
    const std::string_view digits = encoding.substr(1, encoding.size() - 3);
    return std::ranges::all_of(digits, [](char character) { return character >= '0' && character <= '9'; });
}

// An array that is full has no NUL, so its size limits what is read.
static NSString stringFromCharacterArray(const void* pointer, std::string_view encoding)
{
    const auto* characters = static_cast<const char*>(pointer);
    const std::string digits(encoding.substr(1, encoding.size() - 3));
    const size_t length =
        digits.empty() ? std::strlen(characters) : strnlen(characters, std::strtoull(digits.c_str(), nullptr, 10));
    return NSString::stringWithFormat(u"%s", std::string(characters, length).c_str());
}

NSString QVRFunctions::stringFromPointer(const void* pointer, const char* typeEncoding)
{
    const std::string_view encoding = typeEncoding ? typeEncoding : "";
    if (encoding == "c")
        return stringFromCharacterOrBoolean(pointer);
    if (encoding == "s")
        return formatted<int16_t>(u"%hi", pointer);
    if (encoding == "S")
        return formatted<uint16_t>(u"%hu", pointer);
    if (encoding == "i")
        return formatted<int32_t>(u"%i", pointer);
    if (encoding == "I")
        return formatted<uint32_t>(u"%u", pointer);
    if (encoding == "q")
        return formatted<int64_t>(u"%li", pointer);
    if (encoding == "Q")
        return formatted<uint64_t>(u"%lu", pointer);
    if (encoding == "f")
        return formatted<float>(u"%f", pointer);
    if (encoding == "d")
        return formatted<double>(u"%f", pointer);
    if (encoding == "D")
        return formatted<long double>(u"%Lf", pointer);
    if (encoding == ":")
        return NSStringFromSelector(*static_cast<const Selector*>(pointer));
    if (encoding == "#")
        return NSStringFromClass(*static_cast<const Class*>(pointer));
    if (encoding == "^v")
        return formatted<const void*>(u"%p", pointer);
    if (encoding == "*" || encoding == "r*")
        return formatted<const char*>(u"%s", pointer);
    if (isCharacterArray(encoding))
        return stringFromCharacterArray(pointer, encoding);
    if (encoding == "{_NSRange=QQ}")
        return NSStringFromRange(read<NSRange>(pointer));
    if (encoding == "{CGPoint=dd}")
        return NSStringFromPoint(read<NSPoint>(pointer));
    if (encoding == "{CGSize=dd}")
        return NSStringFromSize(read<NSSize>(pointer));
    if (encoding == "{CGRect={CGPoint=dd}{CGSize=dd}}")
        return NSStringFromRect(read<NSRect>(pointer));
    if (encoding == "^{__CFString=}" || encoding == "r^{__CFString=}")
        return NSString::stringWithFormat(u"%@", *static_cast<const NSString*>(pointer));
    if (encoding == "@")
        return NSString::stringWithFormat(u"%@", *static_cast<const Value*>(pointer));

    const SourceLocation location = SourceLocation::current();
    assertionFailedForFile(location.file, location.line, Class("QVRFunctions"), Selector("stringFromPointer:typeEncoding:"),
        u"Unhandled type encoding: %s", typeEncoding);
    abortAfterAssertion("+[QVRFunctions stringFromPointer:typeEncoding:]", location.file, location.line, "(false)");
}
