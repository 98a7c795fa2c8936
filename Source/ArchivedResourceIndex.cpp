#include "ArchivedResourceIndex.h"

#include "Platform/Foundation/NSException.h"

void ArchivedResourceIndex::setResource(const WebResource& resource, const NSString& key)
{
    if (!key)
        throw NSException(NSInvalidArgumentException, u"A resource without an address cannot be found by it.");
    const auto [known, isNew] = _placeOfKey.try_emplace(key.units(), _entries.size());
    if (!isNew) {
        _entries[known->second].resource = resource;
        return;
    }
    _entries.push_back({key, resource});
    // A name holds no "/", so a key ends in "/" and that name exactly when the name is all that follows the key's last "/". The
    // one component that is a "/" itself is looked for as "//".
    const size_t slash = key.units().rfind(u'/');
    if (slash == std::u16string_view::npos)
        return;
    _firstPlaceOfName.try_emplace(key.units().substr(slash + 1), known->second);
    if (!_firstPlaceOfRoot && key.units().ends_with(u"//"))
        _firstPlaceOfRoot = known->second;
}

WebResource ArchivedResourceIndex::resourceForKey(const NSString& key) const
{
    const auto found = key ? _placeOfKey.find(key.units()) : _placeOfKey.end();
    return found == _placeOfKey.end() ? WebResource() : _entries[found->second].resource;
}

WebResource ArchivedResourceIndex::resourceForFileName(const NSString& name) const
{
    if (name == NSString(u"/"))
        return _firstPlaceOfRoot ? _entries[*_firstPlaceOfRoot].resource : WebResource();
    const auto found = _firstPlaceOfName.find(name.units());
    return found == _firstPlaceOfName.end() ? WebResource() : _entries[found->second].resource;
}
