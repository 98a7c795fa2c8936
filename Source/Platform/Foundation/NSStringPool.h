#pragma once

#include "Platform/Foundation/NSString.h"

#include <cstddef>
#include <memory>
#include <string_view>

// Makes strings whose texts stand one behind the other in a few blocks of memory, for readers of lists with many short ones. A
// block stays until the last string in it has gone.
class NSStringPool {
public:
    // As NSString::stringWithUTF8String: absent when `text` is not valid.
    [[nodiscard]] NSString stringWithUTF8String(std::string_view text);

private:
    struct Block {
        alignas(std::u16string_view) std::byte bytes[16 * 1024];
    };
    std::shared_ptr<Block> _block;
    size_t _used = 0;
};
