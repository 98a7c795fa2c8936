#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURLRequest.h"
#include "Platform/Foundation/NSURLResponse.h"

#include <concepts>
#include <cstdint>
#include <memory>

class NSURLProtocol;
class Value;

// Whether an answer may be kept for later; the numbers are the platform's.
enum NSURLCacheStoragePolicy : uint64_t {
    NSURLCacheStorageAllowed = 0,
    NSURLCacheStorageAllowedInMemoryOnly = 1,
    NSURLCacheStorageNotAllowed = 2,
};

// Who is told what a protocol has loaded: one response, data in any number of pieces, and then the end or an error. What comes
// after that does not count.
class NSURLProtocolClient {
public:
    virtual ~NSURLProtocolClient() = default;

    virtual void URLProtocolDidReceiveResponse(
        NSURLProtocol& protocol, const NSURLResponse& response, NSURLCacheStoragePolicy cacheStoragePolicy) = 0;
    virtual void URLProtocolDidLoadData(NSURLProtocol& protocol, const NSData& data) = 0;
    virtual void URLProtocolDidFinishLoading(NSURLProtocol& protocol) = 0;
    virtual void URLProtocolDidFailWithError(NSURLProtocol& protocol, const NSError& error) = 0;
};

// Loads what it claims in place of the network. A program derives classes from it and registers them; every request of a view is
// then offered to them before it is sent. Main thread only.
//
// A protocol class is constructed from a request and a client, and has two operations on the class:
//
//     static bool canInitWithRequest(const NSURLRequest& request);
//     static NSURLRequest canonicalRequestForRequest(const NSURLRequest& request);
class NSURLProtocol {
public:
    // `client` is borrowed and must outlive the protocol; null for none.
    NSURLProtocol(NSURLRequest request, NSURLProtocolClient* client) : _request(std::move(request)), _client(client) { }
    NSURLProtocol(const NSURLProtocol&) = delete;
    NSURLProtocol& operator=(const NSURLProtocol&) = delete;
    virtual ~NSURLProtocol() = default;

    [[nodiscard]] NSURLRequest request() const { return _request; }
    [[nodiscard]] NSURLProtocolClient* client() const { return _client; }

    // Begins to tell the client, at once or later.
    virtual void startLoading() = 0;
    // Nothing more is wanted. Called once, also when everything has been told.
    virtual void stopLoading() = 0;

    // Makes the class one that requests are offered to, the latest first. False, and nothing happens, when
    // it is registered already.
    template <std::derived_from<NSURLProtocol> Protocol>
    static bool registerClass()
    {
        return registerClass(
            {&identityOf<Protocol>, Protocol::canInitWithRequest, Protocol::canonicalRequestForRequest, make<Protocol>});
    }
    // Requests that it has claimed already stay its own.
    template <std::derived_from<NSURLProtocol> Protocol>
    static void unregisterClass()
    {
        unregisterClass(&identityOf<Protocol>);
    }
    [[nodiscard]] static bool hasRegisteredClasses();
    // A protocol of the first registered class that claims `request`, made with the request that this class makes of it; null
    // when no class claims it. `client` as the constructor says.
    [[nodiscard]] static std::unique_ptr<NSURLProtocol> protocolForRequest(
        const NSURLRequest& request, NSURLProtocolClient* client);

    // Protocol properties are values of any kind that travel inside a request, are copied with it, and are never sent.
    // The value under `key`; absent when there is none.
    [[nodiscard]] static Value propertyForKey(const NSString& key, const NSURLRequest& inRequest);
    // Sets or replaces; neither value nor key may be absent.
    static void setProperty(const Value& value, const NSString& forKey, NSMutableURLRequest& inRequest);
    static void removePropertyForKey(const NSString& key, NSMutableURLRequest& inRequest);

private:
    struct Registration {
        const void* identity;   // one for each class
        bool (*canInit)(const NSURLRequest& request);
        NSURLRequest (*canonical)(const NSURLRequest& request);
        std::unique_ptr<NSURLProtocol> (*make)(NSURLRequest request, NSURLProtocolClient* client);
    };
    struct Registry;

    template <typename Protocol>
    static inline char identityOf = 0;   // only its address counts
    template <typename Protocol>
    static std::unique_ptr<NSURLProtocol> make(NSURLRequest request, NSURLProtocolClient* client)
    {
        return std::make_unique<Protocol>(std::move(request), client);
    }
    static Registry& registry();
    static bool registerClass(const Registration& registration);
    static void unregisterClass(const void* identity);

    NSURLRequest _request;
    NSURLProtocolClient* _client;
};
