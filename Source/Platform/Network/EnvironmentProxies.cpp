#include "Platform/Network/EnvironmentProxies.h"

#include <cstdlib>
#include <string>
#include <vector>

namespace {

std::string variable(const char* name, const char* capitals = nullptr)
{
    const char* value = std::getenv(name);
    if ((!value || !*value) && capitals)
        value = std::getenv(capitals);
    return value ? value : "";
}

// "host:port" is how many write the address of an http proxy.
std::string proxyAddress(const std::string& text)
{
    return text.empty() || text.find("://") != std::string::npos ? text : "http://" + text;
}

std::vector<std::string> directHosts(const std::string& list)
{
    std::vector<std::string> hosts = {"localhost", "127.0.0.0/8", "::1"};
    constexpr const char* separators = ", \t";
    for (size_t start = list.find_first_not_of(separators); start != std::string::npos;) {
        const size_t end = list.find_first_of(separators, start);
        hosts.push_back(list.substr(start, end == std::string::npos ? end : end - start));
        start = list.find_first_not_of(separators, end);
    }
    return hosts;
}

}

GProxyResolver* newProxyResolverFromEnvironment()
{
    const std::string all = proxyAddress(variable("all_proxy", "ALL_PROXY"));
    const std::string http = proxyAddress(variable("http_proxy"));
    const std::string https = proxyAddress(variable("https_proxy", "HTTPS_PROXY"));
    if (all.empty() && http.empty() && https.empty())
        return nullptr;

    const std::vector<std::string> hosts = directHosts(variable("no_proxy", "NO_PROXY"));
    std::vector<char*> texts;
    bool isOff = false;
    for (const std::string& host : hosts) {
        isOff = isOff || host == "*";
        texts.push_back(const_cast<char*>(host.c_str()));
    }
    texts.push_back(nullptr);
    GProxyResolver* const resolver = g_simple_proxy_resolver_new(isOff || all.empty() ? "direct://" : all.c_str(), texts.data());
    if (!isOff && !http.empty())
        g_simple_proxy_resolver_set_uri_proxy(G_SIMPLE_PROXY_RESOLVER(resolver), "http", http.c_str());
    if (!isOff && !https.empty())
        g_simple_proxy_resolver_set_uri_proxy(G_SIMPLE_PROXY_RESOLVER(resolver), "https", https.c_str());
    return resolver;
}
