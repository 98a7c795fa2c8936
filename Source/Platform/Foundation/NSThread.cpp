#include "Platform/Foundation/NSThread.h"

#include "Platform/Foundation/NSString.h"

#include <cerrno>
#include <pthread.h>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr size_t LongestSystemName = 15;   // bytes; Linux keeps 16 with the final NUL

}

NSThread& NSThread::currentThread()
{
    thread_local NSThread thread;
    return thread;
}

bool NSThread::isMainThread()
{
    thread_local const bool isMain = ::syscall(SYS_gettid) == ::getpid();
    return isMain;
}

NSString NSThread::name() const
{
    char name[LongestSystemName + 1] = {};
    if (::pthread_getname_np(::pthread_self(), name, sizeof name) != 0)
        return u"";
    const std::string inherited = std::string(program_invocation_short_name).substr(0, LongestSystemName);
    return name == inherited ? NSString(u"") : NSString::stringWithRepairedUTF8(name);
}

void NSThread::setName(const NSString& name)
{
    std::string text = name.UTF8();
    if (text.size() > LongestSystemName) {
        size_t length = LongestSystemName;
        while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80)
            --length;
        text.resize(length);
    }
    ::pthread_setname_np(::pthread_self(), text.c_str());
}
