#include "Support/PropertyListReader.h"

#include <cstdlib>
#include <plist/plist.h>
#include <stdexcept>

namespace support {

namespace {

plist_t parsed(std::string_view bytes)
{
    plist_t root = nullptr;
    plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
    if (!root)
        throw std::runtime_error("no property list: " + std::string(bytes.substr(0, 200)));
    return root;
}

plist_t item(void* node, const std::string& key)
{
    return plist_get_node_type(node) == PLIST_DICT ? plist_dict_get_item(node, key.c_str()) : nullptr;
}

}

PropertyList::PropertyList(std::string_view bytes) : _root(parsed(bytes), plist_free), _node(_root.get()) { }

PropertyList::PropertyList(std::shared_ptr<void> root, void* node) : _root(std::move(root)), _node(node) { }

bool PropertyList::isDictionary() const
{
    return plist_get_node_type(_node) == PLIST_DICT;
}

std::vector<std::string> PropertyList::keys() const
{
    if (!isDictionary())
        throw std::runtime_error("not a dictionary");
    std::vector<std::string> keys;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(_node, &iterator);
    char* key = nullptr;
    plist_t value = nullptr;
    plist_dict_next_item(_node, iterator, &key, &value);
    while (key) {
        keys.emplace_back(key);
        free(key);
        key = nullptr;
        plist_dict_next_item(_node, iterator, &key, &value);
    }
    free(iterator);
    return keys;
}

bool PropertyList::has(std::string_view key) const
{
    return item(_node, std::string(key)) != nullptr;
}

PropertyList PropertyList::at(const std::string& key) const
{
    plist_t value = item(_node, key);
    if (!value)
        throw std::runtime_error("nothing under " + key);
    return {_root, value};
}

std::vector<PropertyList> PropertyList::elements() const
{
    if (plist_get_node_type(_node) != PLIST_ARRAY)
        throw std::runtime_error("not an array");
    std::vector<PropertyList> elements;
    const uint32_t count = plist_array_get_size(_node);
    for (uint32_t index = 0; index < count; ++index)
        elements.push_back({_root, plist_array_get_item(_node, index)});
    return elements;
}

std::optional<std::string> PropertyList::text(const std::string& key) const
{
    plist_t value = item(_node, key);
    if (!value || plist_get_node_type(value) != PLIST_STRING)
        return {};
    char* text = nullptr;
    plist_get_string_val(value, &text);
    const std::string result = text ? text : "";
    free(text);
    return result;
}

std::optional<std::string> PropertyList::data(const std::string& key) const
{
    plist_t value = item(_node, key);
    if (!value || plist_get_node_type(value) != PLIST_DATA)
        return {};
    uint64_t length = 0;
    const char* bytes = plist_get_data_ptr(value, &length);
    return bytes ? std::string(bytes, length) : std::string();
}

std::optional<bool> PropertyList::boolean(const std::string& key) const
{
    plist_t value = item(_node, key);
    if (!value || plist_get_node_type(value) != PLIST_BOOLEAN)
        return {};
    uint8_t flag = 0;
    plist_get_bool_val(value, &flag);
    return flag != 0;
}

}
