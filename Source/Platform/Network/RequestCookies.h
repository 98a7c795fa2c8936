#pragma once

#include "Platform/Network/HTTPAddress.h"

#include <libsoup/soup.h>
#include <string>
#include <string_view>
#include <vector>

// The cookies that a request brought with it. They go to the host of its address only, over TLS only when it is an https address,
// and each only as long as no answer has set a cookie of that name.
class RequestCookies {
public:
    // `field` as in "Cookie". Borrows `address`.
    RequestCookies(std::string_view field, GUri* address);

    // Adds what goes to the message's address to the "Cookie" field that it has already.
    void addTo(SoupMessage* message) const;
    // Forgets what the answer has set anew.
    void learnFrom(SoupMessage* message);

private:
    struct Cookie {
        std::string name;
        std::string text;   // "name=value"
    };
    GUri* const _address;
    std::vector<Cookie> _cookies;
};
