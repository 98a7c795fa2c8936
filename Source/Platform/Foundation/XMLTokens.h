#pragma once

#include <string>
#include <string_view>

[[nodiscard]] inline bool isXMLBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// Walks an XML document by its tags and text. Each of them must be whole, the document must be UTF-8 without null characters, and
// references must be the five that are always declared or numbers of characters. Which tags belong together is left to who knows
// the elements. Comments, processing instructions and the document type are passed over; attributes are checked and then left
// out. Borrows the document. Linear in its size.
class XMLTokens {
public:
    enum class Kind { StartTag, EndTag, Text, End, Fault };

    explicit XMLTokens(std::string_view document);

    // Moves to the next token. An empty-element tag makes two, its start and its end. Text may come in parts. Not to be asked
    // again behind the end or a fault.
    Kind next();
    // The tag's name; or the text, with its references replaced and line feeds as its line ends. Valid until the next move.
    [[nodiscard]] std::string_view content() const { return _content; }

private:
    Kind textOf(std::string_view raw, bool hasReferences);
    Kind textSection();
    Kind startTag();
    Kind endTag();
    bool passAttribute();
    bool passDeclaration();
    bool passUntil(std::string_view end);

    std::string_view _rest;   // of the document
    std::string_view _content;
    std::string _replaced;   // the content, where it is not as in the document
    bool _isPlain;           // all of the document: its text is as it stands there
    bool _isValid;
    bool _owesEndTag = false;   // of an empty element
};
