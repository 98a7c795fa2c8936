#pragma once

class NSString;

// A thread of this process. There is one object per thread, so that its address tells threads apart.
class NSThread {
public:
    // The calling thread's object. It lives as long as its thread.
    [[nodiscard]] static NSThread& currentThread();
    [[nodiscard]] static bool isMainThread();
    NSThread(const NSThread&) = delete;
    NSThread& operator=(const NSThread&) = delete;

    // The name given to the calling thread by setName or pthread_setname_np; empty when it has none, never absent. A name that is
    // the program's own does not count: the system gives it to every thread. Of the calling thread's object only.
    [[nodiscard]] NSString name() const;
    // Names the calling thread. The system keeps the first 15 bytes of the UTF-8 form, cut between characters.
    void setName(const NSString& name);

private:
    NSThread() = default;
};
