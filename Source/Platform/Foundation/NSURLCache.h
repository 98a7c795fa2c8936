#pragma once

#include <cstdint>

// How much the loading system may keep of what it has fetched. The responses themselves are kept by the engine, which asks this
// object: with both capacities 0 it keeps nothing and reuses nothing. Main thread only.
class NSURLCache {
public:
    // The process's cache: 512 kB in memory and 10 MB on disk unless set otherwise.
    [[nodiscard]] static NSURLCache& sharedURLCache();

    // In bytes.
    void setMemoryCapacity(uint64_t capacity) { _memoryCapacity = capacity; }
    void setDiskCapacity(uint64_t capacity) { _diskCapacity = capacity; }
    [[nodiscard]] uint64_t memoryCapacity() const { return _memoryCapacity; }
    [[nodiscard]] uint64_t diskCapacity() const { return _diskCapacity; }

    // Asks for all responses kept so far to be dropped.
    void removeAllCachedResponses() { ++_generation; }
    // How often that has been asked. Whoever keeps responses drops them when this number has changed.
    [[nodiscard]] uint64_t generation() const { return _generation; }

private:
    uint64_t _memoryCapacity = 512'000;
    uint64_t _diskCapacity = 10'000'000;
    uint64_t _generation = 0;
};
