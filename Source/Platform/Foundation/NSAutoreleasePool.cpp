#include "Platform/Foundation/NSAutoreleasePool.h"

#include <utility>
#include <vector>

namespace {

struct Frame {
    size_t serial;
    std::vector<std::shared_ptr<const void>> objects;

    // An object's end may put further objects here.
    void release()
    {
        while (!objects.empty()) {
            const auto last = std::move(objects.back());
            objects.pop_back();
        }
    }
};

// Told apart from the stack itself, because it can be asked after the stack's destruction.
thread_local bool threadEnds = false;

// Frames are held by pointer: they stay in place while objects that they let go open new ones.
struct Stack {
    std::vector<std::unique_ptr<Frame>> frames;
    size_t lastSerial = 0;

    Stack() { open(); }
    Stack(const Stack&) = delete;
    Stack& operator=(const Stack&) = delete;
    ~Stack()
    {
        closeDownTo(0);
        threadEnds = true;
    }
    size_t open()
    {
        frames.push_back(std::make_unique<Frame>(Frame{++lastSerial, {}}));
        return frames.size() - 1;
    }
    void closeDownTo(size_t place)
    {
        while (frames.size() > place) {
            const Frame* top = frames.back().get();
            frames.back()->release();
            // An object's end may have left a pool open above it, which then comes first.
            if (frames.back().get() == top)
                frames.pop_back();
        }
    }
};

Stack& stack()
{
    thread_local Stack stack;
    return stack;
}

}

NSAutoreleasePool::NSAutoreleasePool() : _place(Closed), _serial(0)
{
    if (threadEnds)
        return;
    _place = stack().open();
    _serial = stack().lastSerial;
}

void NSAutoreleasePool::drain()
{
    const size_t place = std::exchange(_place, Closed);
    if (place == Closed || threadEnds)
        return;
    // An enclosing pool may have closed this one, and another may have taken its place.
    auto& frames = stack().frames;
    if (place < frames.size() && frames[place]->serial == _serial)
        stack().closeDownTo(place);
}

void NSAutoreleasePool::autorelease(std::shared_ptr<const void> object)
{
    if (object && !threadEnds)
        stack().frames.back()->objects.push_back(std::move(object));
}
