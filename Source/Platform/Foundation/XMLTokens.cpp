#include "Platform/Foundation/XMLTokens.h"

#include <glib.h>
#include <simdjson.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <utility>

namespace {

// Beyond ASCII every character counts as one that may stand in a name.
bool isInName(char c)
{
    return g_ascii_isalnum(c) || c == '-' || c == '.' || c == '_' || c == ':' || static_cast<unsigned char>(c) >= 0x80;
}

// Each of these takes something off the front of the text.

bool take(std::string_view& text, std::string_view prefix)
{
    const bool isThere = text.starts_with(prefix);
    text.remove_prefix(isThere ? prefix.size() : 0);
    return isThere;
}

bool take(std::string_view& text, char first)
{
    const bool isThere = text.starts_with(first);
    text.remove_prefix(isThere ? 1 : 0);
    return isThere;
}

// What stands before the first `end`; everything when there is none.
std::string_view takeBefore(std::string_view& text, const auto& end)
{
    const std::string_view taken = text.substr(0, text.find(end));
    text.remove_prefix(taken.size());
    return taken;
}

template <typename Condition>
std::string_view takeWhile(std::string_view& text, Condition condition)
{
    size_t size = 0;
    while (size < text.size() && condition(text[size]))
        ++size;
    const std::string_view taken = text.substr(0, size);
    text.remove_prefix(size);
    return taken;
}

std::string_view takeName(std::string_view& text)
{
    return takeWhile(text, [](char c) { return isInName(c); });
}

// Whether there were some.
bool takeBlanks(std::string_view& text)
{
    return !takeWhile(text, [](char c) { return isXMLBlank(c); }).empty();
}

bool appendCharacter(std::string& text, uint32_t number)
{
    if (number == 0 || number == 0xfffe || number == 0xffff || !g_unichar_validate(number))
        return false;
    char bytes[6];
    text.append(bytes, static_cast<size_t>(g_unichar_to_utf8(number, bytes)));
    return true;
}

// What a reference stands for, which is told without "&" and ";".
bool appendReferenced(std::string& text, std::string_view name)
{
    constexpr std::pair<std::string_view, char> declared[] = {
        {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};
    for (const auto& [known, character] : declared) {
        if (name == known) {
            text += character;
            return true;
        }
    }
    if (!take(name, '#'))
        return false;
    const int base = take(name, 'x') ? 16 : 10;
    uint32_t number = 0;
    const auto [rest, failure] = std::from_chars(name.data(), name.data() + name.size(), number, base);
    return failure == std::errc() && rest == name.data() + name.size() && appendCharacter(text, number);
}

// The text with its references replaced, where it has some, and with line feeds as its line ends; nothing when a reference is
// none.
std::optional<std::string> replaced(std::string_view text, bool hasReferences)
{
    std::string result;
    while (true) {
        result += takeWhile(text, [&](char c) { return c != '\r' && !(hasReferences && c == '&'); });
        if (text.empty())
            return result;
        if (take(text, '\r')) {
            take(text, '\n');
            result += '\n';
            continue;
        }
        text.remove_prefix(1);
        const std::string_view name = takeBefore(text, ';');
        if (!take(text, ';') || !appendReferenced(result, name))
            return {};
    }
}

}

XMLTokens::XMLTokens(std::string_view document)
    : _rest(document),
      _isPlain(document.find('&') == std::string_view::npos && document.find('\r') == std::string_view::npos),
      _isValid(simdjson::validate_utf8(document) && document.find('\0') == std::string_view::npos)
{
}

XMLTokens::Kind XMLTokens::next()
{
    if (std::exchange(_owesEndTag, false))
        return Kind::EndTag;
    while (_isValid && !_rest.empty()) {
        if (!take(_rest, '<'))
            return textOf(takeBefore(_rest, '<'), true);
        if (take(_rest, '/'))
            return endTag();
        if (take(_rest, '?'))
            _isValid = passUntil("?>");
        else if (!take(_rest, '!'))
            return startTag();
        else if (take(_rest, "[CDATA["))
            return textSection();
        else if (take(_rest, "--"))
            _isValid = passUntil("-->");
        else
            _isValid = take(_rest, "DOCTYPE") && passDeclaration();
    }
    return _isValid ? Kind::End : Kind::Fault;
}

XMLTokens::Kind XMLTokens::textOf(std::string_view raw, bool hasReferences)
{
    _content = raw;
    const auto holds = [raw](char c) { return raw.find(c) != std::string_view::npos; };
    if (_isPlain || !(holds('\r') || (hasReferences && holds('&'))))
        return Kind::Text;
    auto text = replaced(raw, hasReferences);
    if (!text)
        return Kind::Fault;
    _replaced = std::move(*text);
    _content = _replaced;
    return Kind::Text;
}

XMLTokens::Kind XMLTokens::textSection()
{
    const std::string_view raw = takeBefore(_rest, "]]>");
    return take(_rest, "]]>") ? textOf(raw, false) : Kind::Fault;
}

XMLTokens::Kind XMLTokens::startTag()
{
    _content = takeName(_rest);
    while (takeBlanks(_rest) && !_rest.empty() && isInName(_rest.front())) {
        if (!passAttribute())
            return Kind::Fault;
    }
    _owesEndTag = take(_rest, '/');
    return !_content.empty() && take(_rest, '>') ? Kind::StartTag : Kind::Fault;
}

XMLTokens::Kind XMLTokens::endTag()
{
    _content = takeName(_rest);
    takeBlanks(_rest);
    return !_content.empty() && take(_rest, '>') ? Kind::EndTag : Kind::Fault;
}

bool XMLTokens::passAttribute()
{
    takeName(_rest);
    takeBlanks(_rest);
    const bool hasSign = take(_rest, '=');
    takeBlanks(_rest);
    const char quote = _rest.starts_with('\'') ? '\'' : '"';
    if (!hasSign || !take(_rest, quote))
        return false;
    const std::string_view value = takeBefore(_rest, quote);
    return take(_rest, quote) && value.find('<') == std::string_view::npos && replaced(value, true).has_value();
}

bool XMLTokens::passUntil(std::string_view end)
{
    takeBefore(_rest, end);
    return take(_rest, end);
}

// Its beginning was passed. It may hold other declarations in angle brackets of their own.
bool XMLTokens::passDeclaration()
{
    size_t open = 1;
    takeWhile(_rest, [&open](char c) {
        open += c == '<' ? 1 : 0;
        open -= c == '>' ? 1 : 0;
        return open > 0;
    });
    return take(_rest, '>');
}
