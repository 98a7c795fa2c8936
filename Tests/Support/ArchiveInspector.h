#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace support {

struct ArchivedResource {
    std::string url;
    std::string data;
    std::string mimeType;
    std::optional<std::string> textEncodingName;
    std::optional<std::string> frameName;
};

// A Web archive as libplist reads it: one frame's page, what the frame used, and the archives of its frames.
struct InspectedArchive {
    ArchivedResource main;
    std::vector<ArchivedResource> resources;
    std::vector<InspectedArchive> frames;

    // What this frame used under that address, fragment apart; absent when it is not there.
    [[nodiscard]] const ArchivedResource* resource(std::string_view url) const;
    // The addresses of what this frame used, in order.
    [[nodiscard]] std::vector<std::string> resourceURLs() const;
    // The addresses of everything in this archive and the archives of its frames, pages included.
    [[nodiscard]] std::set<std::string> allURLs() const;
    // The number of frames below this one.
    [[nodiscard]] size_t frameCount() const;
};

// Throws std::runtime_error with what is wrong when the file is no Web archive.
[[nodiscard]] InspectedArchive readArchive(const std::filesystem::path& path);

// What every Web archive must keep to and this one does not; empty when all is well.
[[nodiscard]] std::vector<std::string> faultsOf(const InspectedArchive& archive);

// One line for each resource, in order, frames depth-first: kind, address, type, encoding, frame name, length and checksum
// (CRC-32) of the bytes. The script read_archive.py prints the same of the same file.
[[nodiscard]] std::string inventoryOf(const InspectedArchive& archive);
// The same as Python's plistlib reads the file.
[[nodiscard]] std::string inventoryByPlistlib(const std::filesystem::path& path);
// The same after plistutil has turned the file into XML.
[[nodiscard]] std::string inventoryByPlistutil(const std::filesystem::path& path);

}
