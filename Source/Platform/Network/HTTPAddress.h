#pragma once

#include <glib.h>
#include <memory>
#include <string>
#include <string_view>

struct URIUnref {
    void operator()(GUri* uri) const { g_uri_unref(uri); }
};
using URIPointer = std::unique_ptr<GUri, URIUnref>;

// The address that `text` is, seen from `base` if given. What browsers take but what may not stand in an address (blanks,
// characters beyond ASCII) is percent-escaped first. None when it still is no address.
[[nodiscard]] URIPointer parsedAddress(std::string_view text, GUri* base = nullptr);

// Whether it is an http or https address with a host.
[[nodiscard]] bool isWebAddress(GUri* uri);
[[nodiscard]] bool isWebScheme(std::string_view scheme);
[[nodiscard]] bool isSecure(GUri* uri);
[[nodiscard]] bool haveSameHost(GUri* a, GUri* b);
// Scheme, host and port.
[[nodiscard]] bool haveSameOrigin(GUri* a, GUri* b);
[[nodiscard]] std::string textOf(GUri* uri);
