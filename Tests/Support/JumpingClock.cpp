// A system clock that is set while a program runs, for a program that is started with this library preloaded. When the file named
// by JUMPING_CLOCK_FILE appears, the clock is JUMPING_CLOCK_SECONDS later (or earlier, when negative) from then on.

#include <cstdlib>
#include <dlfcn.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

namespace {

time_t jump()
{
    const char* file = getenv("JUMPING_CLOCK_FILE");
    const char* seconds = getenv("JUMPING_CLOCK_SECONDS");
    return file && seconds && access(file, F_OK) == 0 ? strtol(seconds, nullptr, 10) : 0;
}

}

extern "C" {

int clock_gettime(clockid_t clock, timespec* now)
{
    static const auto original = reinterpret_cast<decltype(&clock_gettime)>(dlsym(RTLD_NEXT, "clock_gettime"));
    const int result = original(clock, now);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE))
        now->tv_sec += jump();
    return result;
}

int gettimeofday(timeval* __restrict now, void* __restrict)
{
    timespec exact;
    if (clock_gettime(CLOCK_REALTIME, &exact) != 0)
        return -1;
    now->tv_sec = exact.tv_sec;
    now->tv_usec = exact.tv_nsec / 1000;
    return 0;
}

time_t time(time_t* result)
{
    timespec exact;
    if (clock_gettime(CLOCK_REALTIME, &exact) != 0)
        return -1;
    if (result)
        *result = exact.tv_sec;
    return exact.tv_sec;
}
}
