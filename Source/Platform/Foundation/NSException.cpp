#include "Platform/Foundation/NSException.h"

#include "Platform/Foundation/Value.h"

#include <mutex>

NSException::NSException(NSString name, NSString reason, NSDictionary userInfo)
    : _name(std::move(name)), _reason(std::move(reason)), _userInfo(std::move(userInfo))
{
}

NSString NSException::description() const
{
    const NSString text = reason();
    return text ? text : _name;
}

const char* NSException::what() const noexcept
{
    // One exception can be looked at by several threads, and the reason is known only once the object is complete.
    static std::mutex mutex;
    try {
        const std::lock_guard lock(mutex);
        if (_what.empty())
            _what = description().UTF8();
        return _what.c_str();
    } catch (const std::exception&) {
        return "NSException";
    }
}
