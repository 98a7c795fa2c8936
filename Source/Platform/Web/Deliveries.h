#pragma once

#include <functional>
#include <vector>

// Calls to the outside that one piece of news leads to. They are collected while the state changes and made when it has changed:
// whoever is called may then do anything, and an exception does not keep the others from being told.
class Deliveries {
public:
    void add(std::function<void()> call) { _calls.push_back(std::move(call)); }
    // Makes every call, in order, and then throws again what was thrown first.
    void deliver();

private:
    std::vector<std::function<void()>> _calls;
};
