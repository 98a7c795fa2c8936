#include "Platform/Foundation/NSStringPool.h"

#include "Platform/Foundation/ASCII.h"

#include <algorithm>
#include <new>
#include <utility>

NSString NSStringPool::stringWithUTF8String(std::string_view text)
{
    constexpr size_t longest = 1024;   // leaves little room unused at a block's end
    if (text.size() > longest || !isASCII(text))
        return NSString::stringWithUTF8String(text);
    constexpr size_t alignment = alignof(std::u16string_view);
    const size_t unitsSize = (text.size() * sizeof(char16_t) + alignment - 1) / alignment * alignment;
    const size_t size = sizeof(std::u16string_view) + unitsSize;
    if (!_block || size > sizeof(Block) - _used) {
        _block = std::make_shared_for_overwrite<Block>();
        _used = 0;
    }
    std::byte* const place = _block->bytes + std::exchange(_used, _used + size);
    auto* const units = reinterpret_cast<char16_t*>(place + sizeof(std::u16string_view));
    std::copy(text.begin(), text.end(), units);
    const auto* const view = new (place) std::u16string_view(units, text.size());
    return NSString(std::shared_ptr<const std::u16string_view>(_block, view));
}
