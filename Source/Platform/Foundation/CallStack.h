#pragma once

#include "Platform/Foundation/NSString.h"

#include <cstddef>
#include <vector>

// The functions that were active at some moment: return addresses, the innermost first, at most maximumDepth of them.
class CallStack {
public:
    static constexpr size_t maximumDepth = 64;

    // An empty one.
    CallStack() = default;
    // That of the caller, without its `skippedFrames` innermost ones. Empty where the C++ runtime cannot walk the stack.
    [[nodiscard]] static CallStack current(size_t skippedFrames = 0);

    [[nodiscard]] bool isEmpty() const { return _returnAddresses.empty(); }
    [[nodiscard]] const std::vector<void*>& returnAddresses() const { return _returnAddresses; }

    // A line for each frame: "INDEX MODULE ADDRESS FUNCTION + OFFSET". Names are demangled; "???" stands for a function that its
    // module does not export. Absent when empty.
    [[nodiscard]] NSString description() const;
    // The functions' names joined by " < ", without those that have none. Absent when there is no name at all.
    [[nodiscard]] NSString functionNames() const;

private:
    std::vector<void*> _returnAddresses;
};
