#pragma once

#include "Platform/Engine/DevTools/EngineLink.h"

// Answers what would otherwise stop a page until somebody comes: dialogs, downloads, windows of their own,
// questions for permission.
class Interruptions {
public:
    explicit Interruptions(EngineLink& link) : _link(link) { }

    // Refuses downloads and permissions for good. To be sent once, to the engine as a whole.
    void refuseForGood();
    // Takes dialogs and new windows of a page; anything else is left alone.
    void handle(const Message& event);
    // Closes a window that the page opened, before it loads anything. `target` is what the engine tells of it, `session` its own.
    void closeWindow(const JSONView& target, const std::string& session);

private:
    EngineLink& _link;
};
