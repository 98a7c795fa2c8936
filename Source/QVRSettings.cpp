#include "QVRSettings.h"

#include "Platform/Foundation/CFPreferences.h"
#include "QVRFunctions.h"

static void checkKey(const NSString& key, const NSUserDefaults& defaults, const char* operation,
    const SourceLocation& location = SourceLocation::current())
{
    QVRFunctions::checkPrecondition(static_cast<bool>(key), "key", &defaults, operation, location);
}

bool qvrBoolForKey(const NSUserDefaults& defaults, const NSString& key, const NSString& domain, bool defaultValue)
{
    checkKey(key, defaults, "-[NSUserDefaults(QVR) qvrBoolForKey:domain:defaultValue:]");
    // Deliberate: true beforehand, so that a store which leaves the flag alone counts as having the value.
    bool existsAndIsValid = true;
    const bool value = CFPreferencesGetAppBooleanValue(key, domain, &existsAndIsValid);
    return existsAndIsValid ? value : defaultValue;
}

int64_t qvrIntegerForKey(const NSUserDefaults& defaults, const NSString& key, const NSString& domain, int64_t defaultValue)
{
    checkKey(key, defaults, "-[NSUserDefaults(QVR) qvrIntegerForKey:domain:defaultValue:]");
    bool existsAndIsValid = true;   // as above
    const int64_t value = CFPreferencesGetAppIntegerValue(key, domain, &existsAndIsValid);
    return existsAndIsValid ? value : defaultValue;
}

Value qvrObjectForKey(const NSUserDefaults& defaults, const NSString& key, const NSString& domain, const Value& defaultValue)
{
    checkKey(key, defaults, "-[NSUserDefaults(QVR) qvrObjectForKey:domain:defaultValue:]");
    Value value = CFPreferencesCopyAppValue(key, domain);
    return value ? value : defaultValue;
}

bool qvrBoolForKey(const NSString& key, const NSString& domain, bool defaultValue)
{
    return qvrBoolForKey(NSUserDefaults::standardUserDefaults(), key, domain, defaultValue);
}

int64_t qvrIntegerForKey(const NSString& key, const NSString& domain, int64_t defaultValue)
{
    return qvrIntegerForKey(NSUserDefaults::standardUserDefaults(), key, domain, defaultValue);
}

Value qvrObjectForKey(const NSString& key, const NSString& domain, const Value& defaultValue)
{
    return qvrObjectForKey(NSUserDefaults::standardUserDefaults(), key, domain, defaultValue);
}

Value qvrObjectForKey(const NSUserDefaults& defaults, const NSString& key, const Value& defaultValue)
{
    checkKey(key, defaults, "-[NSUserDefaults(QVR) qvrObjectForKey:defaultValue:]");
    Value value = defaults.objectForKey(key);
    return value ? value : defaultValue;
}

NSString qvrStringForKey(const NSUserDefaults& defaults, const NSString& key, const NSString& defaultValue)
{
    checkKey(key, defaults, "-[NSUserDefaults(QVR) qvrStringForKey:defaultValue:]");
    const Value value = defaults.objectForKey(key);
    return value.is(Value::Kind::String) ? value.string() : defaultValue;
}

bool qvrBoolForKey(const NSUserDefaults& defaults, const NSString& key, bool defaultValue)
{
    checkKey(key, defaults, "-[NSUserDefaults(QVR) qvrBoolForKey:defaultValue:]");
    const Value value = defaults.objectForKey(key);
    return value.answersNumberConversions() ? value.boolValue() : defaultValue;
}

int64_t qvrIntegerForKey(const NSUserDefaults& defaults, const NSString& key, int64_t defaultValue)
{
    checkKey(key, defaults, "-[NSUserDefaults(QVR) qvrIntegerForKey:defaultValue:]");
    const Value value = defaults.objectForKey(key);
    return value.answersNumberConversions() ? value.integerValue() : defaultValue;
}

double qvrDoubleForKey(const NSUserDefaults& defaults, const NSString& key, double defaultValue)
{
    checkKey(key, defaults, "-[NSUserDefaults(QVR) qvrDoubleForKey:defaultValue:]");
    const Value value = defaults.objectForKey(key);
    return value.answersNumberConversions() ? value.doubleValue() : defaultValue;
}

NSSize qvrSizeForKey(const NSUserDefaults& defaults, const NSString& key, NSSize defaultValue)
{
    return NSSizeFromString(qvrStringForKey(defaults, key, NSStringFromSize(defaultValue)));
}
