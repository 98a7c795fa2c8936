#include "Platform/Foundation/NSAutoreleasePool.h"

#include <utility>
#include <vector>

namespace {

struct Frame {
    size_t serial;
    std::vector<std::shared_ptr<const void>> objects;
};

// Told apart from the stack itself, because it can be asked after the stack's destruction.
thread_local bool threadEnds = false;

struct Stack {
    std::vector<Frame> frames;
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
        frames.push_back({++lastSerial, {}});
        return frames.size() - 1;
    }
    void closeDownTo(size_t place)
    {
        // One object at a time: its end may put further ones here, and may open pools.
        while (frames.size() > place) {
            auto& objects = frames.back().objects;
            if (objects.empty()) {
                frames.pop_back();
                continue;
            }
            const auto newest = std::move(objects.back());
            objects.pop_back();
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
    if (place < frames.size() && frames[place].serial == _serial)
        stack().closeDownTo(place);
}

void NSAutoreleasePool::autorelease(std::shared_ptr<const void> object)
{
    if (object && !threadEnds)
        stack().frames.back().objects.push_back(std::move(object));
}
