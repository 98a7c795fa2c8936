#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace support {

// A property list, XML or binary, as libplist reads it: a reader for tests that shares no code with what they test.
// Texts are UTF-8. Questions about a node of the wrong kind throw std::runtime_error.
class PropertyList {
public:
    explicit PropertyList(std::string_view bytes);

    [[nodiscard]] bool isDictionary() const;
    [[nodiscard]] std::vector<std::string> keys() const;   // of a dictionary, in order
    [[nodiscard]] bool has(std::string_view key) const;
    [[nodiscard]] PropertyList at(const std::string& key) const;
    [[nodiscard]] std::vector<PropertyList> elements() const;   // of an array
    // The value under a key of a dictionary; absent when there is none or it is of another kind.
    [[nodiscard]] std::optional<std::string> text(const std::string& key) const;
    [[nodiscard]] std::optional<std::string> data(const std::string& key) const;
    [[nodiscard]] std::optional<bool> boolean(const std::string& key) const;

private:
    PropertyList(std::shared_ptr<void> root, void* node);
    std::shared_ptr<void> _root;   // owns the whole list
    void* _node;
};

}
