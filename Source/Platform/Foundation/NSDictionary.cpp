#include "Platform/Foundation/NSDictionary.h"

#include "Platform/Foundation/CollectionDescription.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/Value.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

// Entries in their order, and beyond a handful also an index from key to place. The index borrows the keys' texts, which never
// change and which copies of the entries share.
struct NSDictionary::Storage {
    static constexpr size_t indexThreshold = 8;

    std::vector<Entry> entries;
    std::unordered_map<std::u16string_view, size_t> places;

    [[nodiscard]] size_t placeOf(const NSString& key) const
    {
        if (places.empty()) {
            const auto found =
                std::find_if(entries.begin(), entries.end(), [&](const Entry& entry) { return entry.first == key; });
            return static_cast<size_t>(found - entries.begin());
        }
        const auto found = key ? places.find(key.units()) : places.end();
        return found == places.end() ? entries.size() : found->second;
    }

    void append(const NSString& key, Value value)
    {
        entries.emplace_back(key, std::move(value));
        if (!places.empty())
            places.emplace(entries.back().first.units(), entries.size() - 1);
        else if (entries.size() > indexThreshold)
            rebuildIndex();
    }

    void remove(size_t place)
    {
        entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(place));
        places.clear();
        if (entries.size() > indexThreshold)
            rebuildIndex();
    }

    void rebuildIndex()
    {
        places.reserve(entries.size());
        for (size_t place = 0; place < entries.size(); ++place)
            places.emplace(entries[place].first.units(), place);
    }
};

NSDictionary::NSDictionary(std::initializer_list<Entry> entries) : _entries(std::make_shared<Storage>())
{
    for (const auto& [key, value] : entries)
        setObject(value, key);
}

NSDictionary NSDictionary::dictionary()
{
    NSDictionary empty;
    empty._entries = std::make_shared<Storage>();
    return empty;
}

size_t NSDictionary::count() const
{
    return _entries ? _entries->entries.size() : 0;
}

const Value& NSDictionary::objectForKey(const NSString& key) const
{
    static const Value absent;
    if (!_entries)
        return absent;
    const size_t place = _entries->placeOf(key);
    return place < count() ? _entries->entries[place].second : absent;
}

NSArray NSDictionary::allKeys() const
{
    if (!_entries)
        return {};
    std::vector<Value> keys;
    keys.reserve(count());
    for (const auto& [key, value] : *this)
        keys.emplace_back(key);
    return NSArray(std::move(keys));
}

const NSDictionary::Entry* NSDictionary::begin() const
{
    return _entries ? _entries->entries.data() : nullptr;
}

const NSDictionary::Entry* NSDictionary::end() const
{
    return begin() + count();
}

void NSDictionary::setObject(Value object, const NSString& forKey)
{
    if (!forKey)
        throw NSException(NSInvalidArgumentException, u"-[NSDictionary setObject:forKey:]: key cannot be nil");
    if (object.isAbsent()) {
        throw NSException(NSInvalidArgumentException,
            NSString::stringWithFormat(u"-[NSDictionary setObject:forKey:]: object cannot be nil (key: %@)", forKey));
    }
    const NSString key = forKey;   // it may belong to an entry
    Storage& storage = mutableStorage();
    const size_t place = storage.placeOf(key);
    if (place < storage.entries.size())
        storage.entries[place].second = std::move(object);
    else
        storage.append(key, std::move(object));
}

void NSDictionary::removeObjectForKey(const NSString& key)
{
    const size_t place = _entries ? _entries->placeOf(key) : 0;
    if (place < count())
        mutableStorage().remove(place);
}

void NSDictionary::addEntriesFromDictionary(const NSDictionary& other)
{
    const NSDictionary added = other;   // it may be this dictionary
    for (const auto& [key, value] : added)
        setObject(value, key);
}

NSString NSDictionary::description() const
{
    return _entries ? NSString(describeDictionary(*this, 0)) : NSString();
}

NSDictionary::Storage& NSDictionary::mutableStorage()
{
    if (!_entries)
        _entries = std::make_shared<Storage>();
    else if (_entries.use_count() > 1)
        _entries = std::make_shared<Storage>(*_entries);
    return *_entries;
}

bool operator==(const NSDictionary& a, const NSDictionary& b)
{
    if (a._entries == b._entries)
        return true;
    if (!a._entries || !b._entries || a.count() != b.count())
        return false;
    return std::all_of(
        a.begin(), a.end(), [&](const NSDictionary::Entry& entry) { return b.objectForKey(entry.first).isEqual(entry.second); });
}
