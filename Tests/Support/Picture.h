#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace support {

// Red, green and blue bytes of a picture, row by row from the top.
struct Picture {
    size_t width = 0;
    size_t height = 0;
    std::vector<uint8_t> bytes;

    [[nodiscard]] uint32_t pixelAt(size_t x, size_t y) const;   // 0xrrggbb
};

// Each throws when the file is no picture of that kind. The second reads binary PPM files, as pdftoppm writes them.
[[nodiscard]] Picture readPNG(const std::string& path);
[[nodiscard]] Picture readPPM(const std::string& path);

// The share of pixels, 0 to 1, of `picture` that are not as in `original`. Two programs never smooth an edge alike, so a pixel
// counts as the same when each of its colours lies, but for an eighth of the whole range, between those of the original's pixel
// and its eight neighbours. 1 when the sizes differ.
[[nodiscard]] double differingShare(const Picture& picture, const Picture& original);
// How two pictures differ at all, in words; empty when every pixel is the same.
[[nodiscard]] std::string differenceOf(const Picture& a, const Picture& b);

}
