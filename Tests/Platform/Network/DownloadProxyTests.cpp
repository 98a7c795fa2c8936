#include "Platform/Network/DownloadTest.h"
#include "Support/EnvironmentVariable.h"

using support::EnvironmentVariable;

namespace {

// The server is the proxy; it is asked for whole addresses.
class DownloadProxy : public DownloadTest {
protected:
    DownloadProxy() { server.on("http://elsewhere.test/x", support::typed("text/plain", "through the proxy")); }
    [[nodiscard]] bool passesThroughTheProxy()
    {
        const size_t before = server.requests("http://elsewhere.test/x").size();
        // No such host exists, so it can only be reached through the proxy.
        Downloading download("http://elsewhere.test/x", folder());
        return download.ends() && download.isFinished && support::readFile(download.path) == "through the proxy"
            && server.requests("http://elsewhere.test/x").size() == before + 1;
    }

    EnvironmentVariable http{"http_proxy", nullptr};
    EnvironmentVariable https{"https_proxy", nullptr};
    EnvironmentVariable httpsInCapitals{"HTTPS_PROXY", nullptr};
    EnvironmentVariable all{"all_proxy", nullptr};
    EnvironmentVariable allInCapitals{"ALL_PROXY", nullptr};
    EnvironmentVariable none{"no_proxy", nullptr};
    EnvironmentVariable noneInCapitals{"NO_PROXY", nullptr};
};

TEST_F(DownloadProxy, IsWhatTheEnvironmentNames)
{
    for (const char* const name : {"http_proxy", "all_proxy", "ALL_PROXY"}) {
        for (const std::string& value :
            {"http://" + server.authority(), "http://" + server.authority() + '/', server.authority()}) {
            SCOPED_TRACE(name + ('=' + value));
            const EnvironmentVariable proxy(name, value.c_str());
            EXPECT_TRUE(passesThroughTheProxy());
        }
    }
}

TEST_F(DownloadProxy, IsNotForLoopback)
{
    const EnvironmentVariable proxy("http_proxy", ("http://127.0.0.1:" + std::to_string(support::unusedPort())).c_str());
    server.on("/x", support::typed("text/plain", "directly"));
    for (const char* const host : {"127.0.0.1", "127.0.0.2", "localhost"}) {
        Downloading download(server.url("/x", host), folder());
        EXPECT_TRUE(download.finishes()) << host;
    }
}

TEST_F(DownloadProxy, IsNotForTheHostsThatTheEnvironmentExcepts)
{
    const EnvironmentVariable proxy("http_proxy", ("http://" + server.authority()).c_str());
    const std::string longName(70, 'a');
    const struct {
        const char* exceptions;
        bool passes;
    } rows[] = {
        {"", true},
        {"other.test, b.test", true},
        {"aa", false},
        {"other.test, aa", false},
        {".aa,other.test", false},
        {"*", false},
    };
    // A name that no name server is asked for.
    const std::string address = "http://" + longName + ".aa/x";
    server.on(address, support::typed("text/plain", "x"));
    for (const auto& [exceptions, passes] : rows) {
        SCOPED_TRACE(exceptions);
        const EnvironmentVariable excepted("no_proxy", exceptions);
        Downloading download(address, folder());
        ASSERT_TRUE(download.ends());
        EXPECT_EQ(download.isFinished, passes);
        EXPECT_EQ(download.error.code(), passes ? 0 : NSURLErrorCannotFindHost);
    }
}

TEST_F(DownloadProxy, ThatIsNotThereIsAConnectionThatCannotBeMade)
{
    const EnvironmentVariable proxy("http_proxy", ("http://127.0.0.1:" + std::to_string(support::unusedPort())).c_str());
    Downloading download("http://elsewhere.test/x", folder());
    ASSERT_TRUE(download.fails());
    EXPECT_EQ(download.error.code(), NSURLErrorCannotConnectToHost);
}

TEST_F(DownloadProxy, ThatAsksForCredentialsIsAFailure)
{
    server.on("http://elsewhere.test/x", support::status(407, "no").with("Proxy-Authenticate", "Basic realm=\"r\""));
    const EnvironmentVariable proxy("http_proxy", ("http://" + server.authority()).c_str());
    Downloading download("http://elsewhere.test/x", folder());
    ASSERT_TRUE(download.fails());
    EXPECT_EQ(download.error.code(), NSURLErrorUserAuthenticationRequired);
}

TEST_F(DownloadProxy, ForTLSIsAskedForATunnel)
{
    // This one refuses every tunnel.
    const EnvironmentVariable proxy("https_proxy", ("http://" + server.authority()).c_str());
    Downloading download("https://elsewhere.test/x", folder());
    ASSERT_TRUE(download.fails());
    EXPECT_EQ(download.error.code(), NSURLErrorCannotConnectToHost);
    ASSERT_EQ(server.requests().size(), 1u);
    EXPECT_EQ(server.requests()[0].method, "CONNECT");
    EXPECT_EQ(server.requests()[0].target, "elsewhere.test:443");
}

}
