#include "Platform/Web/ProgressEstimator.h"

#include <algorithm>

namespace {

constexpr double atStart = 0.1;
constexpr double beforeEnd = 0.95;
// What a load counts whose length is not known (yet).
constexpr double assumedLength = 16 * 1024;

}

void ProgressEstimator::loadRequested()
{
    if (_documents.empty())
        _value = 0;
}

bool ProgressEstimator::documentStarted(Document document)
{
    const bool startsRound = _documents.empty();
    _documents.insert(document);
    if (!startsRound)
        return false;
    _resources.clear();
    _total = {};
    _value = atStart;
    return true;
}

bool ProgressEstimator::documentEnded(Document document)
{
    if (_documents.erase(document) == 0 || !_documents.empty())
        return false;
    _resources.clear();
    _value = 1;
    return true;
}

void ProgressEstimator::resourceRequested(const ResourceID& resource)
{
    if (isLoading() && _resources.emplace(resource, Bytes{assumedLength, 0}).second)
        _total.expected += assumedLength;
}

void ProgressEstimator::resourceResponded(const ResourceID& resource, int64_t expectedLength)
{
    const auto found = _resources.find(resource);
    if (found == _resources.end() || expectedLength < 0)
        return;
    const double expected = std::max(static_cast<double>(expectedLength), found->second.received);
    _total.expected += expected - found->second.expected;
    found->second.expected = expected;
}

void ProgressEstimator::resourceReceivedData(const ResourceID& resource, int64_t length)
{
    const auto found = _resources.find(resource);
    if (found == _resources.end() || length <= 0)
        return;
    Bytes& bytes = found->second;
    bytes.received += static_cast<double>(length);
    _total.received += static_cast<double>(length);
    if (bytes.received > bytes.expected) {
        _total.expected += bytes.received - bytes.expected;
        bytes.expected = bytes.received;
    }
    update();
}

void ProgressEstimator::resourceEnded(const ResourceID& resource)
{
    const auto found = _resources.find(resource);
    if (found == _resources.end())
        return;
    _total.received += found->second.expected - found->second.received;
    _resources.erase(found);
    update();
}

void ProgressEstimator::update()
{
    if (isLoading() && _total.expected > 0)
        _value = std::max(_value, atStart + (beforeEnd - atStart) * std::min(_total.received / _total.expected, 1.0));
}
