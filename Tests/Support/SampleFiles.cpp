#include "Support/SampleFiles.h"

#include "Support/Subprocess.h"
#include "Support/TemporaryFolder.h"

#include <cstdint>
#include <vector>
#include <zlib.h>

namespace support {

namespace {

std::string bigEndian(uint32_t number)
{
    return {static_cast<char>(number >> 24), static_cast<char>(number >> 16), static_cast<char>(number >> 8),
        static_cast<char>(number)};
}

std::string littleEndian(uint32_t number, int bytes)
{
    std::string text;
    for (int index = 0; index < bytes; ++index)
        text += static_cast<char>(number >> (8 * index));
    return text;
}

std::string pngChunk(const std::string& type, const std::string& data)
{
    const std::string body = type + data;
    const auto checksum = crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size()));
    return bigEndian(static_cast<uint32_t>(data.size())) + body + bigEndian(static_cast<uint32_t>(checksum));
}

}

std::string pngImage(int red, int green, int blue, int width, int height)
{
    std::string rows;
    for (int row = 0; row < height; ++row) {
        rows += '\0';
        for (int column = 0; column < width; ++column)
            rows.append({static_cast<char>(red), static_cast<char>(green), static_cast<char>(blue)});
    }
    uLongf length = compressBound(rows.size());
    std::string packed(length, '\0');
    compress(reinterpret_cast<Bytef*>(packed.data()), &length, reinterpret_cast<const Bytef*>(rows.data()),
        static_cast<uLong>(rows.size()));
    packed.resize(length);
    const std::string header = bigEndian(static_cast<uint32_t>(width)) + bigEndian(static_cast<uint32_t>(height))
        + std::string("\x08\x02\0\0\0", 5);   // 8 bits, RGB, no interlace
    return "\x89PNG\r\n\x1a\n" + pngChunk("IHDR", header) + pngChunk("IDAT", packed) + pngChunk("IEND", {});
}

std::string svgImage(const std::string& fill)
{
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"10\" height=\"10\"><rect width=\"10\" height=\"10\" fill=\"" + fill
        + "\"/></svg>";
}

std::string wavSound(int samples)
{
    const auto size = static_cast<uint32_t>(samples);
    const uint32_t rate = 8000;
    return "RIFF" + littleEndian(36 + size, 4) + "WAVEfmt " + littleEndian(16, 4) + littleEndian(1, 2) + littleEndian(1, 2)
        + littleEndian(rate, 4) + littleEndian(rate, 4) + littleEndian(1, 2) + littleEndian(8, 2) + "data" + littleEndian(size, 4)
        + std::string(size, '\x80');
}

std::string font()
{
    return readFile("/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf");
}

std::string selfSignedCertificate()
{
    const TemporaryFolder folder;
    const std::string key = folder.pathOf("key.pem");
    const std::string certificate = folder.pathOf("certificate.pem");
    runHelper({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2",
        "-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1", "-keyout", key, "-out", certificate});
    return readFile(key) + readFile(certificate);
}

}
