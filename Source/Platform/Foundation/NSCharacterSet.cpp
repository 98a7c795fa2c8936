#include "Platform/Foundation/NSCharacterSet.h"

#include "Platform/Foundation/ICUText.h"
#include "Platform/Foundation/URLSyntax.h"

#include <unicode/uniset.h>
#include <unicode/utf16.h>

#include <algorithm>

// Frozen, so that asking is fast and safe from any thread.
struct NSCharacterSet::Contents {
    explicit Contents(icu::UnicodeSet set) : members(std::move(set))
    {
        members.compact().freeze();
        if (members.isBogus())
            throw std::bad_alloc();
    }

    icu::UnicodeSet members;
};

namespace {

icu::UnicodeSet charactersOf(std::u16string_view text)
{
    icu::UnicodeSet set;
    for (size_t index = 0; index < text.size();) {
        UChar32 character = 0;
        U16_NEXT(text.data(), index, text.size(), character);
        set.add(character);
    }
    return set;
}

icu::UnicodeSet setOfASCII(std::string_view characters)
{
    icu::UnicodeSet set;
    for (const char character : characters)
        set.add(static_cast<UChar32>(character));
    return set;
}

icu::UnicodeSet setOfPattern(const char16_t* pattern)
{
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeSet set(icu::UnicodeString(pattern), status);
    expectSuccess(status);
    return set;
}

}

NSCharacterSet::NSCharacterSet(std::shared_ptr<const Contents> contents) : _contents(std::move(contents)) { }

NSCharacterSet NSCharacterSet::characterSetWithCharactersInString(const NSString& string)
{
    return string ? NSCharacterSet(std::make_shared<const Contents>(charactersOf(string.units()))) : NSCharacterSet();
}

NSCharacterSet NSCharacterSet::characterSetWithRange(NSRange range)
{
    icu::UnicodeSet set;
    constexpr uint64_t last = UCHAR_MAX_VALUE;
    if (range.length > 0 && range.location <= last) {
        const uint64_t end = range.location + std::min(range.length - 1, last - range.location);
        set.add(static_cast<UChar32>(range.location), static_cast<UChar32>(end));
    }
    return NSCharacterSet(std::make_shared<const Contents>(std::move(set)));
}

NSCharacterSet NSCharacterSet::whitespaceCharacterSet()
{
    static const auto contents = std::make_shared<const Contents>(setOfPattern(u"[[:Zs:]\\u0009]"));
    return NSCharacterSet(contents);
}

NSCharacterSet NSCharacterSet::newlineCharacterSet()
{
    static const auto contents = std::make_shared<const Contents>(setOfPattern(u"[\\u000A-\\u000D\\u0085\\u2028\\u2029]"));
    return NSCharacterSet(contents);
}

NSCharacterSet NSCharacterSet::whitespaceAndNewlineCharacterSet()
{
    static const auto contents = std::make_shared<const Contents>(setOfPattern(u"[[:Zs:]\\u0009-\\u000D\\u0085\\u2028\\u2029]"));
    return NSCharacterSet(contents);
}

NSCharacterSet NSCharacterSet::letterCharacterSet()
{
    static const auto contents = std::make_shared<const Contents>(setOfPattern(u"[[:L:][:M:]]"));
    return NSCharacterSet(contents);
}

NSCharacterSet NSCharacterSet::alphanumericCharacterSet()
{
    static const auto contents = std::make_shared<const Contents>(setOfPattern(u"[[:L:][:M:][:N:]]"));
    return NSCharacterSet(contents);
}

NSCharacterSet NSCharacterSet::decimalDigitCharacterSet()
{
    static const auto contents = std::make_shared<const Contents>(setOfPattern(u"[:Nd:]"));
    return NSCharacterSet(contents);
}

NSCharacterSet NSCharacterSet::punctuationCharacterSet()
{
    static const auto contents = std::make_shared<const Contents>(setOfPattern(u"[:P:]"));
    return NSCharacterSet(contents);
}

NSCharacterSet NSCharacterSet::controlCharacterSet()
{
    static const auto contents = std::make_shared<const Contents>(setOfPattern(u"[[:Cc:][:Cf:]]"));
    return NSCharacterSet(contents);
}

NSCharacterSet NSCharacterSet::URLUserAllowedCharacterSet()
{
    static const auto contents = std::make_shared<const Contents>(setOfASCII(URLUserAllowedCharacters));
    return NSCharacterSet(contents);
}

NSCharacterSet NSCharacterSet::URLPasswordAllowedCharacterSet()
{
    static const auto contents = std::make_shared<const Contents>(setOfASCII(URLPasswordAllowedCharacters));
    return NSCharacterSet(contents);
}

NSCharacterSet NSCharacterSet::URLHostAllowedCharacterSet()
{
    static const auto contents = std::make_shared<const Contents>(setOfASCII(URLHostAllowedCharacters));
    return NSCharacterSet(contents);
}

NSCharacterSet NSCharacterSet::URLPathAllowedCharacterSet()
{
    static const auto contents = std::make_shared<const Contents>(setOfASCII(URLPathAllowedCharacters));
    return NSCharacterSet(contents);
}

NSCharacterSet NSCharacterSet::URLQueryAllowedCharacterSet()
{
    static const auto contents = std::make_shared<const Contents>(setOfASCII(URLQueryAllowedCharacters));
    return NSCharacterSet(contents);
}

NSCharacterSet NSCharacterSet::URLFragmentAllowedCharacterSet()
{
    static const auto contents = std::make_shared<const Contents>(setOfASCII(URLFragmentAllowedCharacters));
    return NSCharacterSet(contents);
}

bool NSCharacterSet::longCharacterIsMember(char32_t character) const
{
    return _contents && character <= UCHAR_MAX_VALUE && _contents->members.contains(static_cast<UChar32>(character));
}

NSCharacterSet NSCharacterSet::invertedSet() const
{
    if (!_contents)
        return {};
    const std::unique_ptr<icu::UnicodeSet> set(_contents->members.cloneAsThawed());
    return NSCharacterSet(std::make_shared<const Contents>(set->complement()));
}

void NSCharacterSet::addCharactersInString(const NSString& string)
{
    icu::UnicodeSet set = charactersOf(string.units());
    if (_contents)
        set.addAll(_contents->members);
    _contents = std::make_shared<const Contents>(std::move(set));
}

void NSCharacterSet::removeCharactersInString(const NSString& string)
{
    if (!_contents)
        return;
    const std::unique_ptr<icu::UnicodeSet> set(_contents->members.cloneAsThawed());
    set->removeAll(charactersOf(string.units()));
    _contents = std::make_shared<const Contents>(*set);
}

void NSCharacterSet::formUnionWithCharacterSet(const NSCharacterSet& other)
{
    if (!other._contents)
        return;
    icu::UnicodeSet set;
    set.addAll(other._contents->members);
    if (_contents)
        set.addAll(_contents->members);
    _contents = std::make_shared<const Contents>(std::move(set));
}

bool operator==(const NSCharacterSet& a, const NSCharacterSet& b)
{
    if (!a._contents || !b._contents)
        return a._contents == b._contents;
    return a._contents->members == b._contents->members;
}
