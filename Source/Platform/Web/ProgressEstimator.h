#pragma once

#include "Platform/Engine/PageEngine.h"

#include <cstdint>
#include <unordered_map>
#include <unordered_set>

// Estimates how far a view's load has come. A round goes from the first document that starts to load while none is loading to the
// end of the last one. Within a round the estimate grows with the bytes that have come, from 0.1 to below 1, and never falls; at
// the round's end it is 1, and stays so until the next round or request.
class ProgressEstimator {
public:
    // Names a document that is loading; only compared.
    using Document = const void*;

    // A load was asked for, which will start soon: 0 unless something is loading.
    void loadRequested();
    // True when this starts a round. A document that is counted already changes nothing.
    [[nodiscard]] bool documentStarted(Document document);
    // True when this ends the round. A document that is not counted changes nothing.
    [[nodiscard]] bool documentEnded(Document document);

    void resourceRequested(const ResourceID& resource);
    // `expectedLength` in bytes; negative when unknown.
    void resourceResponded(const ResourceID& resource, int64_t expectedLength);
    void resourceReceivedData(const ResourceID& resource, int64_t length);
    // Finished or failed.
    void resourceEnded(const ResourceID& resource);

    [[nodiscard]] double value() const { return _value; }
    [[nodiscard]] bool isLoading() const { return !_documents.empty(); }

private:
    struct Bytes {
        double expected = 0;
        double received = 0;
    };
    void update();

    double _value = 0;
    std::unordered_set<Document> _documents;
    std::unordered_map<ResourceID, Bytes> _resources;   // of this round, under way
    Bytes _total;                                       // of all of this round
};
