#pragma once

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/Value.h"

// The calling program's own view of the settings: its domain, named like the process, then the global domain. Reads the shared
// PreferencesStore; without state of its own and safe to use from any thread.
class NSUserDefaults {
public:
    [[nodiscard]] static const NSUserDefaults& standardUserDefaults();

    // The value for `key`, of whatever kind it is; absent when neither domain has one.
    [[nodiscard]] Value objectForKey(const NSString& key) const;
    // The entries of that domain alone; absent when there is no such domain.
    [[nodiscard]] NSDictionary persistentDomainForName(const NSString& name) const;
    // All entries of both domains. Never absent.
    [[nodiscard]] NSDictionary dictionaryRepresentation() const;

    // "<NSUserDefaults: 0xaddress>".
    [[nodiscard]] NSString description() const;

private:
    NSUserDefaults() = default;
};
