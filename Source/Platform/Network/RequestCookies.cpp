#include "Platform/Network/RequestCookies.h"

namespace {

std::string_view trimmed(std::string_view text)
{
    const size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

}

RequestCookies::RequestCookies(std::string_view field, GUri* address) : _address(address)
{
    while (!field.empty()) {
        const size_t end = field.find(';');
        const std::string_view text = trimmed(field.substr(0, end));
        if (!text.empty())
            _cookies.push_back({std::string(trimmed(text.substr(0, text.find('=')))), std::string(text)});
        field.remove_prefix(end == std::string_view::npos ? field.size() : end + 1);
    }
}

void RequestCookies::addTo(SoupMessage* message) const
{
    GUri* const uri = soup_message_get_uri(message);
    if (_cookies.empty() || !haveSameHost(uri, _address) || (isSecure(_address) && !isSecure(uri)))
        return;
    SoupMessageHeaders* const headers = soup_message_get_request_headers(message);
    const char* const others = soup_message_headers_get_list(headers, "Cookie");
    std::string field = others ? others : "";
    for (const Cookie& cookie : _cookies)
        field.append(field.empty() ? "" : "; ").append(cookie.text);
    soup_message_headers_replace(headers, "Cookie", field.c_str());
}

void RequestCookies::learnFrom(SoupMessage* message)
{
    if (!haveSameHost(soup_message_get_uri(message), _address))
        return;
    GSList* const set = soup_cookies_from_response(message);
    for (const GSList* each = set; each; each = each->next) {
        const char* const name = soup_cookie_get_name(static_cast<SoupCookie*>(each->data));
        std::erase_if(_cookies, [name](const Cookie& cookie) { return cookie.name == name; });
    }
    g_slist_free_full(set, [](gpointer cookie) { soup_cookie_free(static_cast<SoupCookie*>(cookie)); });
}
