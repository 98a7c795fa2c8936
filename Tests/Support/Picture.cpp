#include "Support/Picture.h"

#include "Support/TemporaryFolder.h"

#include <algorithm>
#include <png.h>
#include <sstream>
#include <stdexcept>

namespace support {

namespace {

constexpr int tolerance = 32;

}

Picture readPNG(const std::string& path)
{
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str()))
        throw std::runtime_error(path + " is no PNG: " + image.message);
    image.format = PNG_FORMAT_RGB;
    Picture picture = {image.width, image.height, std::vector<uint8_t>(PNG_IMAGE_SIZE(image))};
    if (!png_image_finish_read(&image, nullptr, picture.bytes.data(), 0, nullptr))
        throw std::runtime_error(path + " is broken: " + image.message);
    return picture;
}

Picture readPPM(const std::string& path)
{
    std::istringstream file(readFile(path));
    std::string kind;
    int largest = 0;
    Picture picture;
    file >> kind >> picture.width >> picture.height >> largest;
    file.get();
    if (!file || kind != "P6" || largest != 255)
        throw std::runtime_error(path + " is no PPM");
    picture.bytes.resize(picture.width * picture.height * 3);
    file.read(reinterpret_cast<char*>(picture.bytes.data()), static_cast<std::streamsize>(picture.bytes.size()));
    if (!file)
        throw std::runtime_error(path + " is cut short");
    return picture;
}

double differingShare(const Picture& picture, const Picture& original)
{
    if (picture.width != original.width || picture.height != original.height || picture.bytes.empty())
        return 1;
    const size_t width = picture.width;
    const size_t height = picture.height;
    size_t differing = 0;
    for (size_t y = 0; y < height; ++y) {
        for (size_t x = 0; x < width; ++x) {
            const uint8_t* pixel = &picture.bytes[(y * width + x) * 3];
            const uint8_t* same = &original.bytes[(y * width + x) * 3];
            if (std::equal(pixel, pixel + 3, same))
                continue;
            bool isNear = true;
            for (size_t colour = 0; colour < 3 && isNear; ++colour) {
                int lowest = 255;
                int highest = 0;
                for (size_t row = y ? y - 1 : 0; row <= std::min(y + 1, height - 1); ++row) {
                    for (size_t column = x ? x - 1 : 0; column <= std::min(x + 1, width - 1); ++column) {
                        const int value = original.bytes[(row * width + column) * 3 + colour];
                        lowest = std::min(lowest, value);
                        highest = std::max(highest, value);
                    }
                }
                isNear = pixel[colour] >= lowest - tolerance && pixel[colour] <= highest + tolerance;
            }
            differing += isNear ? 0 : 1;
        }
    }
    return static_cast<double>(differing) / static_cast<double>(width * height);
}

uint32_t Picture::pixelAt(size_t x, size_t y) const
{
    const uint8_t* const pixel = bytes.data() + (y * width + x) * 3;
    return uint32_t(pixel[0]) << 16 | uint32_t(pixel[1]) << 8 | pixel[2];
}

std::string differenceOf(const Picture& a, const Picture& b)
{
    const auto size = [](const Picture& picture) {
        return std::to_string(picture.width) + " x " + std::to_string(picture.height);
    };
    if (a.width != b.width || a.height != b.height)
        return size(a) + " and " + size(b);
    size_t count = 0;
    std::string first;
    for (size_t y = 0; y < a.height; ++y) {
        for (size_t x = 0; x < a.width; ++x) {
            if (a.pixelAt(x, y) != b.pixelAt(x, y) && count++ == 0)
                first = std::to_string(x) + ", " + std::to_string(y);
        }
    }
    return count ? std::to_string(count) + " of " + size(a) + " pixels, the first at " + first : std::string();
}

}
