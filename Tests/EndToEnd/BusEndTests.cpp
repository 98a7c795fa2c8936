#include "EndToEnd/CaptureTest.h"
#include "Support/SessionBus.h"

using namespace std::chrono_literals;
using namespace support;

namespace {

class EndOfTheSessionBus : public CaptureTest { };

// Libraries may connect to the bus on their own, in a way that ends the process with it.
TEST_F(EndOfTheSessionBus, DoesNotEndADownload)
{
    server.onRaw("/file.zip", [](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Type: application/zip\r\nContent-Length: 6\r\n\r\nabc");
        // The view asks first and turns the file away.
        if (exchange.request().header("Sec-Fetch-Mode"))
            exchange.awaitClose();
        else if (exchange.awaitRelease())
            exchange.send("def");
        exchange.close();
    });
    size_t requests = 0;
    for (const std::optional<std::string>& proxy :
        {std::optional<std::string>(), std::optional<std::string>("http://127.0.0.1:9")}) {
        SCOPED_TRACE(proxy.value_or("no proxy"));
        SessionBus bus;
        environment["DBUS_SESSION_BUS_ADDRESS"] = bus.address();
        environment["http_proxy"] = proxy;
        const auto process = start(url("/file.zip"));
        requests += 2;
        ASSERT_TRUE(server.waitForRequests("/file.zip", requests));
        bus.kill();
        ASSERT_TRUE(process->waitForError("Distributed notifications are not sent: ", 10s));
        server.release("/file.zip");
        const Captured captured = finish(*process);
        EXPECT_TRUE(captured.record.hasSucceeded()) << captured.record.errorString.value_or("") << captured.process.error;
        ASSERT_TRUE(captured.record.path.has_value());
        EXPECT_EQ(readFile(*captured.record.path), "abcdef");
    }
}

}
