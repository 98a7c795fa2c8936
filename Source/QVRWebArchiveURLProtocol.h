#pragma once

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSURLProtocol.h"
#include "Platform/Foundation/NSURLRequest.h"
#include "Platform/Foundation/Value.h"

// The archived-resource record: what a request is to be answered with, in place of the network. It travels inside the request, is
// copied with it, and is never sent. Entries, each left out when the resource has no such value: "url" (an address), "mimeType"
// (a string), "data" (data), "textEncodingName" (a string).
inline const NSString QVRArchivedResourceKey = u"QVRArchivedResourceKey";

// The record of `request`; absent when it has none.
[[nodiscard]] NSDictionary qvrArchivedResource(const NSURLRequest& request);
// Attaches `record`, in place of an earlier one. An absent record takes that away.
void qvrSetArchivedResource(NSMutableURLRequest& request, const NSDictionary& record);

// Answers requests that carry an archived-resource record, from the record alone, and all requests of four schemes that stand for
// content of programs: x-msg, x-webdoc, safari-resource and safari-reader. A program that shows archives registers it
// (NSURLProtocol::registerClass<QVRWebArchiveURLProtocol>()).
class QVRWebArchiveURLProtocol : public NSURLProtocol {
public:
    using NSURLProtocol::NSURLProtocol;

    // Schemes are compared in the letter case that they are written in.
    [[nodiscard]] static bool canInitWithRequest(const NSURLRequest& request);
    // The request itself.
    [[nodiscard]] static NSURLRequest canonicalRequestForRequest(const NSURLRequest& request);

    // The whole answer is given before it returns. It never fails: without a record it is empty.
    void startLoading() override;
    void stopLoading() override { }

    // The parts of the answer: the response, which leads to the second, and the data with the end. Nothing without a client. The
    // argument does not count.
    void qvrSendResponse(const Value& ignored = {});
    void qvrSendData(const Value& ignored = {});
};
