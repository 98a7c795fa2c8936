#pragma once

#include <gio/gio.h>

// The proxies that the environment's http_proxy, https_proxy, all_proxy and no_proxy name (in capitals too, but for HTTP_PROXY,
// which a web server's client can set). Loopback addresses are reached directly, as in the view. None when the environment names
// no proxy; otherwise owned by the caller.
[[nodiscard]] GProxyResolver* newProxyResolverFromEnvironment();
