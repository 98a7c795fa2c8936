#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSURL.h"

#include <memory>

// What a PDF says of itself: keys of the document attributes. Values are strings unless said otherwise.
inline const NSString PDFDocumentTitleAttribute = u"Title";
inline const NSString PDFDocumentAuthorAttribute = u"Author";
inline const NSString PDFDocumentSubjectAttribute = u"Subject";
inline const NSString PDFDocumentCreatorAttribute = u"Creator";             // the program that the document was made with
inline const NSString PDFDocumentProducerAttribute = u"Producer";           // the program that made a PDF of it
inline const NSString PDFDocumentCreationDateAttribute = u"CreationDate";   // date
inline const NSString PDFDocumentModificationDateAttribute = u"ModDate";    // date
inline const NSString PDFDocumentKeywordsAttribute = u"Keywords";           // array of strings

class PDFFile;

// A PDF. A default-constructed one is absent: it has no pages and no attributes and cannot be written. Copies are the same
// document. Main thread only.
class PDFDocument {
public:
    PDFDocument() = default;
    // Absent when the file cannot be read as a PDF. It may be replaced or removed later.
    [[nodiscard]] static PDFDocument initWithURL(const NSURL& url);
    [[nodiscard]] static PDFDocument initWithData(const NSData& data);

    [[nodiscard]] bool isAbsent() const { return _file == nullptr; }
    explicit operator bool() const { return _file != nullptr; }
    [[nodiscard]] size_t pageCount() const;

    // Present and empty when the document says nothing; absent for an absent document. Entries that are no
    // text count as not there.
    [[nodiscard]] NSDictionary documentAttributes() const;
    // Replaces them. An attribute that is equal to what the document says stays byte for byte; one that is not among `attributes`
    // is removed; any text can be a value. What else the document says of itself is kept.
    void setDocumentAttributes(const NSDictionary& attributes);

    // The whole document; absent when there is none or it is broken.
    [[nodiscard]] NSData dataRepresentation() const;
    // Writes the same bytes, atomically, without holding them all in memory. False on failure; then the error goes to `*error` if
    // given. An absent document fails without an error.
    [[nodiscard]] bool writeToFile(const NSString& path, NSError* error = nullptr) const;

private:
    explicit PDFDocument(std::shared_ptr<PDFFile> file) : _file(std::move(file)) { }
    std::shared_ptr<PDFFile> _file;
};
