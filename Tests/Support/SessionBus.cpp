#include "Support/SessionBus.h"

#include <algorithm>
#include <csignal>
#include <gio/gio.h>
#include <stdexcept>

namespace support {

using namespace std::chrono_literals;

SessionBus::SessionBus()
{
    const std::string configuration = _folder.write("bus.conf",
        "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\""
        " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
        "<busconfig><type>session</type><listen>"
            + address()
            + "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
              "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>\n");
    ProcessOptions options;
    options.arguments = {
        "/usr/bin/dbus-daemon", "--nofork", "--nopidfile", "--config-file=" + configuration, "--print-address=2"};
    _daemon.emplace(options);
    if (!_daemon->waitForError("unix:path=", 10s))
        throw std::runtime_error("dbus-daemon does not start");
}

void SessionBus::kill()
{
    _daemon->sendSignal(SIGKILL);
    (void)_daemon->wait(10s);
}

void SessionBus::suspend()
{
    _daemon->sendSignal(SIGSTOP);
}

void SessionBus::resume()
{
    _daemon->sendSignal(SIGCONT);
}

BusListener::BusListener(const std::string& address, const std::string& notificationName) : _context(g_main_context_new())
{
    g_main_context_push_thread_default(_context);
    _connection = g_dbus_connection_new_for_address_sync(address.c_str(),
        static_cast<GDBusConnectionFlags>(
            G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
    if (_connection) {
        const auto receive = [](GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* arguments,
                                 gpointer data) {
            const char* name = nullptr;
            const char* object = nullptr;
            GVariant* userInfo = nullptr;
            if (!g_variant_is_of_type(arguments, G_VARIANT_TYPE("(ssa{sv})"))) {
                static_cast<BusListener*>(data)->_notices.push_back(
                    {"", "", "", g_variant_get_type_string(arguments), std::chrono::steady_clock::now()});
                return;
            }
            g_variant_get(arguments, "(&s&s@a{sv})", &name, &object, &userInfo);
            char* text = g_variant_print(userInfo, FALSE);
            static_cast<BusListener*>(data)->_notices.push_back(
                {name, object, text, g_variant_get_type_string(arguments), std::chrono::steady_clock::now()});
            g_free(text);
            g_variant_unref(userInfo);
        };
        _subscription = g_dbus_connection_signal_subscribe(_connection, nullptr, "com.brackenlow.DistributedNotificationCenter",
            "Notification", "/com/brackenlow/DistributedNotificationCenter",
            notificationName.empty() ? nullptr : notificationName.c_str(), G_DBUS_SIGNAL_FLAGS_NONE, receive, this, nullptr);
        // The bus works in order: once it has answered this, it has taken the subscription.
        if (GVariant* answer = g_dbus_connection_call_sync(_connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                "org.freedesktop.DBus", "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, 10'000, nullptr, nullptr))
            g_variant_unref(answer);
    }
    g_main_context_pop_thread_default(_context);
    if (!_connection) {
        g_main_context_unref(_context);
        throw std::runtime_error("cannot connect to " + address);
    }
}

BusListener::~BusListener()
{
    g_dbus_connection_signal_unsubscribe(_connection, _subscription);
    g_object_unref(_connection);
    while (g_main_context_iteration(_context, FALSE)) { }
    g_main_context_unref(_context);
}

template <typename Condition>
void BusListener::iterateUntil(Condition condition, std::chrono::milliseconds timeout)
{
    bool expired = false;
    GSource* alarm = g_timeout_source_new(static_cast<unsigned>(timeout.count()));
    g_source_set_callback(
        alarm,
        [](gpointer data) {
            *static_cast<bool*>(data) = true;
            return G_SOURCE_REMOVE;
        },
        &expired, nullptr);
    g_source_attach(alarm, _context);
    while (!condition() && !expired)
        g_main_context_iteration(_context, TRUE);
    g_source_destroy(alarm);
    g_source_unref(alarm);
}

const std::vector<BusNotice>& BusListener::waitForNotices(size_t count, std::chrono::milliseconds timeout)
{
    iterateUntil([&] { return _notices.size() >= count; }, timeout);
    return _notices;
}

bool BusListener::waitUntil(
    const std::function<bool(const std::vector<BusNotice>&)>& condition, std::chrono::milliseconds timeout)
{
    iterateUntil([&] { return condition(_notices); }, timeout);
    return condition(_notices);
}

bool BusListener::waitForObject(const std::string& object, std::chrono::milliseconds timeout)
{
    const auto hasCome = [&] {
        return std::any_of(_notices.begin(), _notices.end(), [&](const BusNotice& notice) { return notice.object == object; });
    };
    iterateUntil(hasCome, timeout);
    return hasCome();
}

}
