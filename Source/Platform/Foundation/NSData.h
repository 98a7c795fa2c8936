#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class NSError;
class NSString;

// How NSData::writeToFile writes.
enum NSDataWritingOptions : uint64_t { NSDataWritingNone = 0, NSDataWritingAtomic = 1 };

// Immutable bytes; copies share them. A default-constructed one is absent, which differs from empty.
class NSData {
public:
    NSData() = default;
    explicit NSData(std::vector<std::byte> bytes) : _bytes(std::make_shared<const std::vector<std::byte>>(std::move(bytes))) { }
    explicit NSData(std::span<const std::byte> bytes) : NSData(std::vector<std::byte>(bytes.begin(), bytes.end())) { }
    [[nodiscard]] static NSData dataWithBytes(std::string_view bytes);
    // The file's bytes; absent when it cannot be read, and then the error goes to `*error` if given.
    [[nodiscard]] static NSData dataWithContentsOfFile(const NSString& path, NSError* error = nullptr);

    [[nodiscard]] bool isAbsent() const { return _bytes == nullptr; }
    explicit operator bool() const { return _bytes != nullptr; }
    [[nodiscard]] size_t length() const { return _bytes ? _bytes->size() : 0; }
    [[nodiscard]] std::span<const std::byte> bytes() const
    {
        return _bytes ? std::span<const std::byte>(*_bytes) : std::span<const std::byte>();
    }
    // The same bytes as characters. Valid while this data or a copy of it lives.
    [[nodiscard]] std::string_view characters() const { return {reinterpret_cast<const char*>(bytes().data()), length()}; }
    // "{length = 3, bytes = 0x010203}"; more than 24 bytes are shortened in the middle.
    [[nodiscard]] NSString description() const;
    friend bool operator==(const NSData& a, const NSData& b)
    {
        return a.isAbsent() == b.isAbsent() && a.characters() == b.characters();
    }

    // Writes all bytes to `path`. With NSDataWritingAtomic a new file takes the place of the old one in one step (see
    // AtomicFile), so that an old file survives any failure and no part of a new one is seen. False on failure; then the error
    // (with the path under NSFilePathErrorKey) goes to `*error` if given, and nothing new is left behind.
    [[nodiscard]] bool writeToFile(const NSString& path, NSDataWritingOptions options, NSError* error = nullptr) const;

private:
    std::shared_ptr<const std::vector<std::byte>> _bytes;
};
