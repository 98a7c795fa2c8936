#include "Platform/Print/PDFFile.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <qpdf/Buffer.hh>
#include <qpdf/Pipeline.hh>
#include <qpdf/QPDFLogger.hh>
#include <qpdf/QPDFWriter.hh>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

constexpr size_t pieceSize = 1 << 18;
// Within so many bytes of its end a file says where its cross-reference section is.
constexpr size_t tailSize = 1024;

// Thrown through the library when the sink has had enough.
struct SinkEnded final : std::runtime_error {
    SinkEnded() : std::runtime_error("the bytes are not wanted any more") { }
};

class SinkPipeline final : public Pipeline {
public:
    explicit SinkPipeline(const PDFFile::Sink& sink) : Pipeline("sink", nullptr), _sink(sink) { }
    void write(const unsigned char* bytes, size_t count) override
    {
        if (!_sink(std::string_view(reinterpret_cast<const char*>(bytes), count)))
            throw SinkEnded();
    }
    void finish() override { }

private:
    const PDFFile::Sink& _sink;
};

}

PDFFile::~PDFFile() = default;

std::unique_ptr<PDFFile> PDFFile::fromData(const NSData& data)
{
    std::unique_ptr<PDFFile> file(new PDFFile);
    file->_data = data;
    file->_length = data.length();
    return data && file->open() ? std::move(file) : nullptr;
}

std::unique_ptr<PDFFile> PDFFile::fromPath(const NSString& path)
{
    std::unique_ptr<PDFFile> file(new PDFFile);
    const std::optional<std::string> bytes = path.strictUTF8();
    if (!bytes)
        return nullptr;
    file->_file = {std::fopen(bytes->c_str(), "rbe"), std::fclose};
    struct stat status = {};
    if (!file->_file || ::fstat(::fileno(file->_file.get()), &status) != 0 || !S_ISREG(status.st_mode))
        return nullptr;
    file->_length = static_cast<size_t>(status.st_size);
    return file->open() ? std::move(file) : nullptr;
}

bool PDFFile::open()
{
    _pdf.setSuppressWarnings(true);
    try {
        if (_file)
            _pdf.processFile("PDF", _file.get(), false);
        else
            _pdf.processMemoryFile("PDF", _data.characters().data(), _length);
        if (_pdf.getAllPages().empty())
            return false;
        _appends = canAppend();
        _nextNumber = _pdf.getTrailer().getKey("/Size").getIntValueAsInt();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void PDFFile::changed(const QPDFObjectHandle& object)
{
    _changed.insert(object.getObjGen());
}

// A number that is free.
QPDFObjGen PDFFile::reserve()
{
    if (!_changed.empty())
        _nextNumber = std::max(_nextNumber, _changed.rbegin()->getObj() + 1);
    const QPDFObjGen name(_nextNumber++, 0);
    _changed.insert(name);
    return name;
}

QPDFObjectHandle PDFFile::add(const QPDFObjectHandle& object)
{
    if (!_appends)
        return _pdf.makeIndirectObject(object);
    const QPDFObjGen name = reserve();
    _pdf.replaceObject(name, object);
    return _pdf.getObject(name);
}

QPDFObjectHandle PDFFile::addStream(const std::string& bytes)
{
    if (!_appends)
        return QPDFObjectHandle::newStream(&_pdf, bytes);
    const QPDFObjGen name = reserve();
    _addedStreams[name] = "<</Length " + std::to_string(bytes.size()) + ">>\nstream\n" + bytes + "\nendstream";
    return _pdf.getObject(name);
}

bool PDFFile::copyOriginal(const Sink& sink)
{
    if (!_file)
        return sink(_data.characters());
    std::vector<char> piece(std::min(pieceSize, _length));
    if (std::fseek(_file.get(), 0, SEEK_SET) != 0)
        throw std::runtime_error("the file cannot be read again");
    for (size_t left = _length; left > 0;) {
        const size_t count = std::fread(piece.data(), 1, std::min(left, piece.size()), _file.get());
        if (count == 0)
            throw std::runtime_error("the file has become shorter");
        if (!sink(std::string_view(piece.data(), count)))
            return false;
        left -= count;
    }
    return true;
}

// Whether the file ends with a plain cross-reference table, which a plain one may follow.
bool PDFFile::canAppend()
{
    if (_pdf.anyWarnings() || _pdf.isEncrypted())
        return false;
    const auto bytesAt = [this](size_t offset, size_t count) {
        if (!_file)
            return std::string(_data.characters().substr(std::min(offset, _length), count));
        std::string bytes(count, '\0');
        if (std::fseek(_file.get(), static_cast<long>(offset), SEEK_SET) != 0)
            return std::string();
        bytes.resize(std::fread(bytes.data(), 1, count, _file.get()));
        return bytes;
    };
    const std::string tail = bytesAt(_length - std::min(tailSize, _length), tailSize);
    constexpr std::string_view mark = "startxref";
    const size_t place = tail.rfind(mark);
    if (place == std::string::npos)
        return false;
    const size_t digits = tail.find_first_of("0123456789", place + mark.size());
    if (digits == std::string::npos
        || std::from_chars(tail.data() + digits, tail.data() + tail.size(), _tableOffset).ec != std::errc())
        return false;
    return bytesAt(_tableOffset, 4) == "xref" && !_pdf.getTrailer().hasKey("/XRefStm");
}

// The changed objects, a cross-reference section of them and a trailer.
std::string PDFFile::changes()
{
    std::string text = "\n";
    std::vector<std::pair<QPDFObjGen, size_t>> places;
    for (const QPDFObjGen& name : _changed) {
        places.emplace_back(name, _length + text.size());
        text += std::to_string(name.getObj()) + " " + std::to_string(name.getGen()) + " obj\n";
        QPDFObjectHandle object = _pdf.getObject(name);
        if (const auto added = _addedStreams.find(name); added != _addedStreams.end()) {
            text += added->second;
        } else if (object.isStream()) {
            const std::shared_ptr<Buffer> bytes(object.getRawStreamData());
            QPDFObjectHandle dictionary = object.getDict().shallowCopy();
            dictionary.replaceKey("/Length", QPDFObjectHandle::newInteger(static_cast<long long>(bytes->getSize())));
            text += dictionary.unparse() + "\nstream\n";
            text.append(reinterpret_cast<const char*>(bytes->getBuffer()), bytes->getSize());
            text += "\nendstream";
        } else {
            text += object.unparseResolved();
        }
        text += "\nendobj\n";
    }
    const size_t table = _length + text.size();
    text += "xref\n";
    for (size_t first = 0; first < places.size();) {
        size_t last = first + 1;
        while (last < places.size() && places[last].first.getObj() == places[last - 1].first.getObj() + 1)
            ++last;
        text += std::to_string(places[first].first.getObj()) + " " + std::to_string(last - first) + "\n";
        for (; first < last; ++first) {
            std::array<char, 32> line{};
            std::snprintf(line.data(), line.size(), "%010zu %05d n \n", places[first].second, places[first].first.getGen());
            text += line.data();
        }
    }
    QPDFObjectHandle trailer = _pdf.getTrailer().shallowCopy();
    trailer.replaceKey("/Prev", QPDFObjectHandle::newInteger(static_cast<long long>(_tableOffset)));
    const int size = _changed.empty() ? 0 : _changed.rbegin()->getObj() + 1;
    trailer.replaceKey("/Size", QPDFObjectHandle::newInteger(std::max(_nextNumber, size)));
    text += "trailer\n" + trailer.unparse() + "\nstartxref\n" + std::to_string(table) + "\n%%EOF\n";
    return text;
}

bool PDFFile::write(const Sink& sink)
{
    if (_appends)
        return copyOriginal(sink) && (_changed.empty() || sink(changes()));
    SinkPipeline pipeline(sink);
    QPDFWriter writer(_pdf);
    writer.setOutputPipeline(&pipeline);
    writer.setStreamDataMode(qpdf_s_preserve);
    try {
        writer.write();
    } catch (const SinkEnded&) {
        return false;
    }
    return true;
}

NSData PDFFile::data()
{
    std::vector<std::byte> bytes;
    bytes.reserve(_length + pieceSize);
    try {
        const bool isWritten = write([&](std::string_view piece) {
            const auto* begin = reinterpret_cast<const std::byte*>(piece.data());
            bytes.insert(bytes.end(), begin, begin + piece.size());
            return true;
        });
        return isWritten ? NSData(std::move(bytes)) : NSData();
    } catch (const std::exception&) {
        return {};
    }
}
