#include "Platform/Print/PDFDocument.h"

#include "Platform/Foundation/AtomicFile.h"
#include "Platform/Foundation/Value.h"
#include "Platform/Print/PDFFile.h"

#include <array>
#include <cmath>
#include <ctime>
#include <qpdf/QUtil.hh>

namespace {

enum class Form { Text, Date, List };
struct Attribute {
    const NSString& name;
    const char* key;
    Form form = Form::Text;
};

const std::array<Attribute, 8>& attributesOfDocuments()
{
    static const std::array<Attribute, 8> all = {{{PDFDocumentTitleAttribute, "/Title"}, {PDFDocumentAuthorAttribute, "/Author"},
        {PDFDocumentSubjectAttribute, "/Subject"}, {PDFDocumentCreatorAttribute, "/Creator"},
        {PDFDocumentProducerAttribute, "/Producer"}, {PDFDocumentCreationDateAttribute, "/CreationDate", Form::Date},
        {PDFDocumentModificationDateAttribute, "/ModDate", Form::Date}, {PDFDocumentKeywordsAttribute, "/Keywords", Form::List}}};
    return all;
}

NSDate dateFromText(const std::string& text)
{
    QUtil::QPDFTime parts;
    if (!QUtil::pdf_time_to_qpdf_time(text, &parts))
        return {};
    std::tm broken = {};
    broken.tm_year = parts.year - 1900;
    broken.tm_mon = parts.month - 1;
    broken.tm_mday = parts.day;
    broken.tm_hour = parts.hour;
    broken.tm_min = parts.minute + parts.tz_delta;
    broken.tm_sec = parts.second;
    return NSDate::dateWithTimeIntervalSinceReferenceDate(static_cast<double>(timegm(&broken)) - NSTimeIntervalSince1970);
}

std::string textFromDate(const NSDate& date)
{
    const auto seconds = static_cast<time_t>(std::floor(date.timeIntervalSinceReferenceDate() + NSTimeIntervalSince1970));
    std::tm broken = {};
    gmtime_r(&seconds, &broken);
    return QUtil::qpdf_time_to_pdf_time(
        {broken.tm_year + 1900, broken.tm_mon + 1, broken.tm_mday, broken.tm_hour, broken.tm_min, broken.tm_sec, 0});
}

Value valueOf(QPDFObjectHandle object, Form form)
{
    if (!object.isString())
        return {};
    if (form == Form::Date)
        return dateFromText(object.getStringValue());
    const NSString text = NSString::stringWithRepairedUTF8(object.getUTF8Value());
    if (form == Form::Text)
        return text;
    NSArray words = NSArray(std::vector<Value>());
    const std::u16string_view units = text.units();
    for (size_t begin = 0; begin <= units.size();) {
        const size_t end = std::min(units.find(u',', begin), units.size());
        std::u16string_view word = units.substr(begin, end - begin);
        while (word.starts_with(u' '))
            word.remove_prefix(1);
        if (!word.empty())
            words.addObject(NSString(word));
        begin = end + 1;
    }
    return words;
}

QPDFObjectHandle objectOf(const Value& value, Form form)
{
    if (form == Form::Date)
        return value.date() ? QPDFObjectHandle::newString(textFromDate(value.date())) : QPDFObjectHandle();
    if (form == Form::List && value.array()) {
        std::string list;
        for (const Value& word : value.array())
            list += (list.empty() ? "" : ", ") + word.string().UTF8();
        return QPDFObjectHandle::newUnicodeString(list);
    }
    return value.string() ? QPDFObjectHandle::newUnicodeString(value.string().UTF8()) : QPDFObjectHandle();
}

}

PDFDocument PDFDocument::initWithURL(const NSURL& url)
{
    return PDFDocument(url.isFileURL() ? PDFFile::fromPath(url.path()) : nullptr);
}

PDFDocument PDFDocument::initWithData(const NSData& data)
{
    return PDFDocument(PDFFile::fromData(data));
}

size_t PDFDocument::pageCount() const
{
    return _file ? _file->pages().size() : 0;
}

NSDictionary PDFDocument::documentAttributes() const
{
    if (!_file)
        return {};
    NSDictionary attributes = NSDictionary::dictionary();
    QPDFObjectHandle info = _file->pdf().getTrailer().getKey("/Info");
    for (const Attribute& each : attributesOfDocuments()) {
        const Value value = info.isDictionary() ? valueOf(info.getKey(each.key), each.form) : Value();
        if (value)
            attributes.setObject(value, each.name);
    }
    return attributes;
}

void PDFDocument::setDocumentAttributes(const NSDictionary& attributes)
{
    if (!_file)
        return;
    QPDFObjectHandle trailer = _file->pdf().getTrailer();
    QPDFObjectHandle info = trailer.getKey("/Info");
    // Information without a number is changed in a copy, which then gets one.
    const bool hasNumber = info.isDictionary() && info.isIndirect();
    if (!hasNumber)
        info = info.isDictionary() ? info.shallowCopy() : QPDFObjectHandle::newDictionary();
    for (const Attribute& each : attributesOfDocuments()) {
        const Value& wanted = attributes[each.name];
        if (wanted == valueOf(info.getKey(each.key), each.form))
            continue;
        const QPDFObjectHandle object = objectOf(wanted, each.form);
        if (object.isInitialized())
            info.replaceKey(each.key, object);
        else
            info.removeKey(each.key);
        if (hasNumber)
            _file->changed(info);
    }
    if (!hasNumber)
        trailer.replaceKey("/Info", _file->add(info));
}

NSData PDFDocument::dataRepresentation() const
{
    return _file ? _file->data() : NSData();
}

bool PDFDocument::writeToFile(const NSString& path, NSError* error) const
{
    if (!_file)
        return false;
    NSError failure;
    const std::unique_ptr<AtomicFile> file = AtomicFile::open(path, &failure);
    bool isWritten = false;
    try {
        isWritten =
            file && _file->write([&](std::string_view bytes) { return file->write(bytes, &failure); }) && file->commit(&failure);
    } catch (const std::exception& broken) {
        failure = NSError(NSCocoaErrorDomain, NSFileWriteUnknownError,
            {{NSFilePathErrorKey, path}, {NSDebugDescriptionErrorKey, NSString::stringWithRepairedUTF8(broken.what())}});
    }
    if (!isWritten && error)
        *error = failure;
    return isWritten;
}
