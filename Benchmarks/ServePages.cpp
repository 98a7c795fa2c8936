// Serves a folder over HTTP on loopback, from memory, as cheaply as it can. Usage: bench-server <folder>
// Prints its address and serves until its standard input ends.

#include "Support/TemporaryFolder.h"
#include "Support/TestServer.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <unistd.h>

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
    std::printf("%s\n", server.url("/").c_str());
    std::fflush(stdout);
    char ignored;
    while (read(0, &ignored, 1) > 0) { }
    return 0;
}
