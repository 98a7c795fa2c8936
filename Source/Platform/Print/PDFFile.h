#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Print/QPDFHeaders.h"

#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string_view>

// A PDF file that is read and changed. What was changed is written behind the bytes that were there, which are not touched: that
// costs what the change costs, however large the file is, and keeps everything else as it was. A file of another make (no plain
// cross-reference table, encrypted, or repaired while it was read) is written anew.
class PDFFile {
public:
    // Takes the next bytes; false ends the writing.
    using Sink = std::function<bool(std::string_view bytes)>;

    // Null when the bytes, or the file, are no PDF with a page tree. The file may be replaced or removed while it is in use.
    [[nodiscard]] static std::unique_ptr<PDFFile> fromData(const NSData& data);
    [[nodiscard]] static std::unique_ptr<PDFFile> fromPath(const NSString& path);
    PDFFile(const PDFFile&) = delete;
    PDFFile& operator=(const PDFFile&) = delete;
    ~PDFFile();

    // For reading. Whoever changes an object in it says so with `changed`. May throw std::exception when an object is broken.
    [[nodiscard]] QPDF& pdf() { return _pdf; }
    [[nodiscard]] const std::vector<QPDFObjectHandle>& pages() { return _pdf.getAllPages(); }
    // `object`, which has a number of its own, is not as it was.
    void changed(const QPDFObjectHandle& object);
    // Gives `object`, which has none, a number.
    [[nodiscard]] QPDFObjectHandle add(const QPDFObjectHandle& object);
    // A stream of these bytes. What comes back is only good to stand for it in an array.
    [[nodiscard]] QPDFObjectHandle addStream(const std::string& bytes);

    // Writes the file as it is now. False when the sink ended it. May throw std::exception when an object is broken.
    [[nodiscard]] bool write(const Sink& sink);
    // The same bytes; absent when an object is broken.
    [[nodiscard]] NSData data();

private:
    PDFFile() = default;
    [[nodiscard]] bool open();
    [[nodiscard]] bool canAppend();
    [[nodiscard]] QPDFObjGen reserve();
    [[nodiscard]] bool copyOriginal(const Sink& sink);
    [[nodiscard]] std::string changes();

    NSData _data;                                                              // the original, or
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> _file{nullptr, nullptr};   // the original
    size_t _length = 0;
    QPDF _pdf;
    std::set<QPDFObjGen> _changed;
    // The texts of added streams: to make one, the library would read the whole file in search of a free number.
    std::map<QPDFObjGen, std::string> _addedStreams;
    bool _appends = false;
    int _nextNumber = 0;
    size_t _tableOffset = 0;   // of the last cross-reference section
};
