#include "Platform/Foundation/NSUserDefaults.h"

#include "Platform/Foundation/NSProcessInfo.h"
#include "Platform/Foundation/PreferencesStore.h"

const NSUserDefaults& NSUserDefaults::standardUserDefaults()
{
    static const NSUserDefaults defaults;
    return defaults;
}

Value NSUserDefaults::objectForKey(const NSString& key) const
{
    return PreferencesStore::sharedStore()->valueForKey(key, NSProcessInfo::processInfo().processName());
}

NSDictionary NSUserDefaults::persistentDomainForName(const NSString& name) const
{
    return PreferencesStore::sharedStore()->domainForName(name);
}

NSDictionary NSUserDefaults::dictionaryRepresentation() const
{
    const auto store = PreferencesStore::sharedStore();
    NSDictionary all = NSDictionary::dictionary();
    all.addEntriesFromDictionary(store->domainForName(NSGlobalDomain));
    all.addEntriesFromDictionary(store->domainForName(NSProcessInfo::processInfo().processName()));
    return all;
}

NSString NSUserDefaults::description() const
{
    return NSString::stringWithFormat(u"<NSUserDefaults: %p>", static_cast<const void*>(this));
}
