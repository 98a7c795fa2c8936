#include "Platform/Foundation/CallStack.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <memory>
#include <string>
#include <string_view>

namespace {
struct Frame {
    std::string module = "???";
    std::string function;   // empty when it has no name
    size_t offset = 0;      // from the start of the function or, without a name, of the module
};
}

static std::string demangled(const char* symbol)
{
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(abi::__cxa_demangle(symbol, nullptr, nullptr, &status), &std::free);
    return name ? name.get() : symbol;
}

static Frame frameAt(const void* address)
{
    Frame frame;
    Dl_info information;
    if (!dladdr(address, &information))
        return frame;
    if (information.dli_fname) {
        const std::string_view path = information.dli_fname;
        frame.module = path.substr(path.rfind('/') + 1);
    }
    if (information.dli_sname)
        frame.function = demangled(information.dli_sname);
    const auto* start = static_cast<const char*>(information.dli_sname ? information.dli_saddr : information.dli_fbase);
    frame.offset = static_cast<size_t>(static_cast<const char*>(address) - start);
    return frame;
}

[[gnu::noinline]] CallStack CallStack::current(size_t skippedFrames)
{
    std::array<void*, maximumDepth> addresses;
    const auto count = static_cast<size_t>(backtrace(addresses.data(), maximumDepth));
    const auto end = addresses.begin() + count;
    // Before the caller comes this function's own frame and, where a sanitizer stands in for backtrace(), that one's.
    const auto caller = std::find(addresses.begin(), end, __builtin_return_address(0));
    CallStack stack;
    stack._returnAddresses.assign(caller + std::min<std::ptrdiff_t>(skippedFrames, end - caller), end);
    return stack;
}

NSString CallStack::description() const
{
    if (isEmpty())
        return {};
    std::string text;
    for (size_t index = 0; index < _returnAddresses.size(); ++index) {
        const Frame frame = frameAt(_returnAddresses[index]);
        std::array<char, 128> numbers;
        std::snprintf(numbers.data(), numbers.size(), "%-3zu ", index);
        text += (index ? "\n" : "") + std::string(numbers.data()) + frame.module;
        std::snprintf(numbers.data(), numbers.size(), " %p ", _returnAddresses[index]);
        text += numbers.data() + (frame.function.empty() ? "???" : frame.function) + " + " + std::to_string(frame.offset);
    }
    return NSString::stringWithRepairedUTF8(text);
}

NSString CallStack::functionNames() const
{
    std::string text;
    for (void* address : _returnAddresses) {
        if (const Frame frame = frameAt(address); !frame.function.empty())
            text += (text.empty() ? "" : " < ") + frame.function;
    }
    return text.empty() ? NSString() : NSString::stringWithRepairedUTF8(text);
}
