#pragma once

#include "Platform/Foundation/NSURLRequest.h"
#include "Platform/Network/ByteSource.h"
#include "Platform/Network/HTTPAddress.h"
#include "Platform/Network/RequestCookies.h"

#include <libsoup/soup.h>
#include <optional>
#include <vector>

// Fetches an http or https address: follows redirects (at most 20) within these schemes, keeps cookies on the way, undoes content
// codings, uses the environment's proxies, and verifies certificates. Answers of every status are answers; those that ask for
// credentials which the address does not have are errors.
class HTTPSource : public ByteSource {
public:
    explicit HTTPSource(NSURLRequest request);
    ~HTTPSource() override;

    [[nodiscard]] NSURL url() const override { return _url; }
    [[nodiscard]] int64_t lastArrival() const override;

protected:
    void startOpening() override;
    [[nodiscard]] NSError errorWhileReading(const GError& error) const override;

private:
    static void didSend(GObject* session, GAsyncResult* result, gpointer data);
    static void networkEvent(SoupMessage*, GSocketClientEvent event, GIOStream* connection, HTTPSource* self);
    static void starting(SoupMessage* message, HTTPSource* self);
    void makeSession();
    void send();
    void addHeaderFields(SoupMessage* message);
    void addBody(SoupMessage* message);
    void dropMessage();
    void receivedAnswer(ObjectPointer<GInputStream> stream);
    void openBody(ObjectPointer<GInputStream> stream);
    void followRedirect(const char* location, unsigned status);
    [[nodiscard]] NSURLResponse madeResponse() const;

    const NSURLRequest _request;
    URIPointer _firstAddress;
    URIPointer _address;   // of the present hop
    NSURL _url;            // the same
    std::string _method;
    bool _sendsBody = true;
    int _redirects = 0;
    std::optional<RequestCookies> _requestCookies;
    ObjectPointer<SoupSession> _session;
    ObjectPointer<SoupMessage> _message;
    ObjectPointer<GInputStream> _answer;            // held while a stream below it is read
    std::vector<ObjectPointer<GSocket>> _sockets;   // all that were connected; a hop may use an earlier one again
    int64_t _lastEvent = 0;                         // microseconds of the monotonic clock
};
