#include "Platform/Foundation/ASCII.h"
#include "Platform/Foundation/NSURLComponents.h"
#include "QVRProcessInfo.h"
#include "QVRSettings.h"
#include "QVRStringComparison.h"
#include "QVRStringMunging.h"
#include "Tools/ArchiveLoader.h"
#include "Tools/SourceFile.h"

#include <algorithm>
#include <utility>

// The address that is really loaded, the main request, and the rules for single sites.

namespace {

// A link-sharing site whose present layout is empty without its scripts; its older one is not.
Value builtInHostSubstitutions()
{
    return NSArray{NSArray{u"www.reddit.com", u"old.reddit.com"}};
}

// Sites that show more without their scripts: they cover their text, or show it only as it is scrolled to.
Value builtInHostsWithoutJavaScript()
{
    return NSArray{
        u"www.nytimes.com",
        u"cooking.nytimes.com",
        u"www.washingtonpost.com",
        u"www.wsj.com",
        u"www.latimes.com",
        u"www.theguardian.com",
        u"www.newyorker.com",
        u"www.theatlantic.com",
        u"www.economist.com",
        u"www.quora.com",
        u"community.brackenlow.com",
        u"meta.discourse.org",
        u"try.discourse.org",
        u"discuss.python.org",
        u"users.rust-lang.org",
        u"discourse.llvm.org",
        u"discourse.ubuntu.com",
        u"discuss.elastic.co",
        u"forum.gitlab.com",
        u"forums.swift.org",
    };
}

// What a setting that should be a list holds of a list; anything else is none.
NSArray listForKey(const NSString& key, const Value& defaultValue)
{
    return qvrObjectForKey(key, HostDomain, defaultValue).array();
}

char16_t smallLetter(char16_t unit)
{
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

// A host that is looked for in lists. They can be long, and nearly all hosts are ASCII, where letter case needs no tables.
class SoughtHost {
public:
    explicit SoughtHost(NSString host) : _host(std::move(host)), _isASCII(isASCII(_host.units())) { }

    // Whether the entry is this host in any letter case; where ASCII does not tell, `compare` is asked with the entry and the
    // host.
    [[nodiscard]] bool is(const NSString& entry, bool (*compare)(const NSString&, const NSString&)) const
    {
        if (!entry || !_host)
            return false;
        if (!_isASCII || !isASCII(entry.units()))
            return compare(entry, _host);
        return std::equal(entry.units().begin(), entry.units().end(), _host.units().begin(), _host.units().end(),
            [](char16_t a, char16_t b) { return smallLetter(a) == smallLetter(b); });
    }

private:
    NSString _host;
    bool _isASCII;
};

bool isSameInLowerCase(const NSString& a, const NSString& b)
{
    return a.lowercaseString() == b.lowercaseString();
}

bool isSameWithoutCase(const NSString& a, const NSString& b)
{
    return qvrCaseInsensitiveIsEqual(a, b);
}

// The first entry of a list of hosts that is the address's host; absent when none is. Entries that are no texts match nothing.
NSString entryForHost(const NSArray& hosts, const NSURL& url)
{
    const SoughtHost host(url.host());
    for (const Value& entry : hosts) {
        if (const NSString& text = entry.string(); host.is(text, isSameWithoutCase))
            return text;
    }
    return {};
}

}

NSURL ArchiveLoader::ensureWebURL(const NSURL& url)
{
    const NSString scheme = url.scheme().lowercaseString();
    if (scheme == NSString(u"http") || scheme == NSString(u"https") || scheme == NSString(u"file"))
        return url;
    // Deliberate: a text without a scheme becomes "http:" alone; no host is guessed.
    return NSURL::URLWithString(NSString::stringWithFormat(u"http:%@", qvrSubstringFromString(url.description(), u":")));
}

NSURL ArchiveLoader::processURL(const NSURL& url)
{
    NSURL current = url;
    if (qvrIsMacOSAtLeast10_9()) {
        NSURLComponents components = NSURLComponents::componentsWithURL(current, false);
        SoughtHost host(components.host());
        for (const NSArray& pairs : {listForKey(u"WebToolHostSubstitutions", builtInHostSubstitutions()),
                 listForKey(u"WebToolExtraHostSubstitutions", NSArray())}) {
            for (const Value& entry : pairs) {
                const NSArray& pair = entry.array();
                if (pair.count() < 2 || !pair[1].is(Value::Kind::String) || !host.is(pair[0].string(), isSameInLowerCase))
                    continue;
                components.setHost(pair[1].string());
                if (const NSURL substituted = components.URL())
                    current = substituted;
                // The next pair sees what this one made.
                components = NSURLComponents::componentsWithURL(current, false);
                host = SoughtHost(components.host());
            }
        }
    }
    _processingPrefix = qvrObjectForKey(u"WebToolURLProcessingPrefix", HostDomain, {}).string();
    if (!_processingPrefix)
        return current;
    return NSURL::URLWithString(NSString::stringWithFormat(u"%@%@", _processingPrefix, current.absoluteString()));
}

NSMutableURLRequest ArchiveLoader::requestForURL(const NSURL& url) const
{
    auto request =
        NSMutableURLRequest::requestWithURL(url, NSURLRequestReloadIgnoringLocalCacheData, static_cast<double>(webToolTimeout()));
    // Deliberate: without port, query and fragment.
    request.setValue(NSString::stringWithFormat(u"%@://%@%@", url.scheme(), url.host(), url.path()), u"Referer");
    return request;
}

bool ArchiveLoader::shouldUseJavaScriptForURL(const NSURL& url) const
{
    if (!qvrBoolForKey(u"EnableJavaScriptForWebTool", HostDomain, true))
        return false;
    for (const NSArray& hosts : {listForKey(u"WebToolBuiltInNonJavaScriptDomains", builtInHostsWithoutJavaScript()),
             listForKey(u"WebToolNonJavaScriptDomains", NSArray())}) {
        if (const NSString entry = entryForHost(hosts, url)) {
            logFile(sourceFile, __LINE__, __func__, u"Disabling JavaScript because of domain: %@", entry);
            return false;
        }
    }
    return true;
}

bool ArchiveLoader::shouldUseSinglePageForURL(const NSURL& url) const
{
    const NSString entry = entryForHost(listForKey(u"WebToolSinglePageDomains", NSArray()), url);
    if (entry)
        logFile(sourceFile, __LINE__, __func__, u"Forcing single page mode because of domain: %@", entry);
    return !entry.isAbsent();
}

bool ArchiveLoader::doesURLUseClientRedirect(const NSURL& url) const
{
    const NSString entry = entryForHost(listForKey(u"WebToolClientRedirectDomains", NSArray()), url);
    if (entry)
        logFile(sourceFile, __LINE__, __func__, u"Using CDN workaround for domain: %@", entry);
    return !entry.isAbsent();
}
