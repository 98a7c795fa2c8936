#pragma once

#include "Platform/Foundation/NSString.h"
#include "Platform/Web/WebResource.h"

#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

// Resources by the texts of their addresses, in the order in which the addresses were first set. Every operation takes constant
// time, however many there are.
class ArchivedResourceIndex {
public:
    ArchivedResourceIndex() = default;
    ArchivedResourceIndex(const ArchivedResourceIndex&) = delete;
    ArchivedResourceIndex& operator=(const ArchivedResourceIndex&) = delete;

    [[nodiscard]] size_t count() const { return _entries.size(); }
    // Sets or replaces; a replaced entry keeps its place. An absent key throws NSInvalidArgumentException.
    void setResource(const WebResource& resource, const NSString& key);
    // Absent when there is none.
    [[nodiscard]] WebResource resourceForKey(const NSString& key) const;
    // The resource of the first key that ends in "/" and `name`, which is the last component of some path: a text without "/", or
    // "/" itself. Absent when no key does.
    [[nodiscard]] WebResource resourceForFileName(const NSString& name) const;

private:
    struct Entry {
        NSString key;
        WebResource resource;
    };
    std::vector<Entry> _entries;
    // Places among the entries. The views are parts of the keys, whose texts stay where they are.
    std::unordered_map<std::u16string_view, size_t> _placeOfKey;
    std::unordered_map<std::u16string_view, size_t> _firstPlaceOfName;   // by what stands behind the key's last "/"
    std::optional<size_t> _firstPlaceOfRoot;                             // the first key that ends in "//"
};
