// Serves a folder over HTTP on loopback, from memory, as cheaply as it can, and besides "/gibibyte.bin", so many bytes that
// nothing compresses. Usage: bench-server <folder>
// Prints its address and serves until its standard input ends.

#include "Support/TemporaryFolder.h"
#include "Support/TestServer.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <unistd.h>

namespace {

constexpr size_t gibibyte = size_t{1} << 30;

// The same block again and again, of bytes without a pattern.
void sendGibibyte(support::Exchange& exchange)
{
    static const std::string block = [] {
        std::string bytes(size_t{1} << 20, '\0');
        std::minstd_rand random(1);
        for (char& byte : bytes)
            byte = static_cast<char>(random() >> 8);
        return bytes;
    }();
    support::Response response = support::typed("application/octet-stream", "");
    response.declaredLength = gibibyte;
    bool goesOn = exchange.sendHead(response);
    for (size_t sent = 0; goesOn && sent < gibibyte; sent += block.size())
        goesOn = exchange.send(block);
}

}

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <folder>\n", argv[0]);
        return 2;
    }
    support::TestServer server;
    const std::filesystem::path folder = argv[1];
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file())
            continue;
        const support::Response response =
            support::typed(support::contentTypeForName(entry.path().filename()), support::readFile(entry.path()));
        const auto bytes = std::make_shared<const std::string>(support::wireBytes(response, "GET"));
        server.onRaw("/" + entry.path().lexically_relative(folder).string(),
            [bytes](support::Exchange& exchange) { exchange.send(*bytes); });
    }
    server.onRaw("/gibibyte.bin", sendGibibyte);
    std::printf("%s\n", server.url("/").c_str());
    std::fflush(stdout);
    char ignored;
    while (read(0, &ignored, 1) > 0) { }
    return 0;
}
