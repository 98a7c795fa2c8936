#pragma once

#include "Platform/Engine/DevTools/Connection.h"
#include "Platform/Engine/PageEngine.h"

#include <string>
#include <string_view>

// What the parts of the engine share: the connection, the page's session and the client that is told the news.
struct EngineLink {
    Connection* connection = nullptr;   // null until the engine is started
    std::string pageSession;            // empty until the page is attached
    PageEngineClient* client = nullptr;

    // The main frame's name toward the client. It stays the same whatever the engine calls it.
    static constexpr std::string_view mainFrameID = "main";
    // The engine's own id of the main frame; empty until the page is attached.
    std::string mainFrameTarget;

    [[nodiscard]] FrameID frameFromEngine(std::string_view engineID) const
    {
        return engineID.empty() || engineID == mainFrameTarget ? FrameID(mainFrameID) : FrameID(engineID);
    }

    void send(const std::string& session, std::string_view method, std::string_view parameters = "{}",
        Connection::ReplyHandler onReply = {}) const
    {
        if (connection)
            connection->send(session, method, parameters, std::move(onReply));
    }
};
