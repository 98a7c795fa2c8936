#include "Platform/Network/DownloadTest.h"
#include "Support/SampleFiles.h"
#include "Support/Subprocess.h"

#include <gio/gio.h>

namespace {

// Makes the process trust the certificates of a PEM file, and nothing else, while this object lives.
class Trust {
public:
    explicit Trust(const std::string& certificatePath)
    {
        GTlsDatabase* const database = g_tls_file_database_new(certificatePath.c_str(), nullptr);
        g_tls_backend_set_default_database(g_tls_backend_get_default(), database);
        g_object_unref(database);
    }
    Trust(const Trust&) = delete;
    Trust& operator=(const Trust&) = delete;
    ~Trust() { g_tls_backend_set_default_database(g_tls_backend_get_default(), nullptr); }
};

class SecureDownload : public DownloadTest {
protected:
    // A PEM file with key and certificate for 127.0.0.1 and localhost, valid between these days (as "20200131").
    [[nodiscard]] std::string certificateFor(const std::string& begin, const std::string& end) const
    {
        const support::TemporaryFolder work;
        const std::string key = work.pathOf("key.pem");
        const std::string request = work.pathOf("request.pem");
        const std::string signedRequest = work.pathOf("certificate.pem");
        work.write("index", "");
        work.write("serial", "01\n");
        const std::string configuration = work.write("configuration",
            "[ca]\ndefault_ca = d\n[d]\ndatabase = " + work.pathOf("index") + "\nserial = " + work.pathOf("serial")
                + "\nnew_certs_dir = " + work.path().string()
                + "\ndefault_md = sha256\npolicy = p\nx509_extensions = e\n[p]\ncommonName = supplied\n"
                  "[e]\nsubjectAltName = DNS:localhost,IP:127.0.0.1\nbasicConstraints = critical,CA:TRUE\n");
        support::runHelper({"openssl", "req", "-new", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
            "-subj", "/CN=localhost", "-keyout", key, "-out", request});
        support::runHelper({"openssl", "ca", "-batch", "-selfsign", "-notext", "-config", configuration, "-keyfile", key, "-in",
            request, "-startdate", begin + "000000Z", "-enddate", end + "000000Z", "-out", signedRequest});
        return keys.write("dated.pem", support::readFile(key) + support::readFile(signedRequest));
    }
    [[nodiscard]] static int64_t codeOf(support::TestServer& secureServer, const std::string& host, const std::string& folder)
    {
        secureServer.on("/x", support::typed("text/plain", "secret"));
        Downloading download(secureServer.url("/x", host), folder);
        EXPECT_TRUE(download.ends());
        if (download.isFinished)
            return 0;
        EXPECT_EQ(failingAddress(download.error), secureServer.url("/x", host));
        return download.error.code();
    }

    const support::TemporaryFolder keys;
    const std::string certificate = keys.write("certificate.pem", support::selfSignedCertificate());
};

TEST_F(SecureDownload, NeedsACertificateThatIsTrusted)
{
    support::TestServer secureServer(certificate);
    EXPECT_EQ(codeOf(secureServer, "127.0.0.1", folder()), NSURLErrorServerCertificateHasUnknownRoot);
    EXPECT_TRUE(secureServer.requests().empty());
    EXPECT_EQ(names(), std::vector<std::string>());
    const Trust trust(certificate);
    EXPECT_EQ(codeOf(secureServer, "127.0.0.1", folder()), 0);
    EXPECT_EQ(codeOf(secureServer, "localhost", folder()), 0);
    EXPECT_EQ(support::readFile(temporaryFolder.pathOf("x.txt")), "secret");
}

TEST_F(SecureDownload, NeedsACertificateForTheHost)
{
    support::TestServer secureServer(certificate);
    const Trust trust(certificate);
    EXPECT_EQ(codeOf(secureServer, "127.0.0.2", folder()), NSURLErrorServerCertificateUntrusted);
}

TEST_F(SecureDownload, NeedsACertificateOfTheseDays)
{
    for (const auto& [begin, end] : {std::pair("20200101", "20200201"), std::pair("20990101", "20990201")}) {
        SCOPED_TRACE(begin);
        const std::string dated = certificateFor(begin, end);
        support::TestServer secureServer(dated);
        const Trust trust(dated);
        EXPECT_EQ(codeOf(secureServer, "127.0.0.1", folder()), NSURLErrorServerCertificateHasBadDate);
    }
}

TEST_F(SecureDownload, NeedsAServerThatSpeaksTLS)
{
    server.on("/x", support::typed("text/plain", "x"));
    Downloading download("https://" + server.authority() + "/x", folder());
    ASSERT_TRUE(download.fails());
    EXPECT_EQ(download.error.code(), NSURLErrorSecureConnectionFailed);
}

TEST_F(SecureDownload, KeepsSecretsWhenARedirectLeavesTLS)
{
    support::TestServer secureServer(certificate);
    const Trust trust(certificate);
    secureServer.on("/from", support::redirect(server.url("/to")).with("Set-Cookie", "b=2; Secure; Path=/"));
    server.on("/to", support::typed("text/plain", "x"));
    NSMutableURLRequest request = requestFor(secureServer.url("/from"));
    request.setValue(u"a=1", u"Cookie");
    request.setValue(u"https://127.0.0.1/page", u"Referer");
    request.setValue(u"Visitor/1.0", u"User-Agent");
    Downloading download(request, folder());
    ASSERT_TRUE(download.finishes());
    EXPECT_EQ(secureServer.requests("/from").at(0).header("Cookie"), "a=1");
    EXPECT_EQ(secureServer.requests("/from").at(0).header("Referer"), "https://127.0.0.1/page");
    const support::Request second = server.requests("/to").at(0);
    EXPECT_FALSE(second.header("Cookie"));
    EXPECT_FALSE(second.header("Referer"));
    EXPECT_EQ(second.header("User-Agent"), "Visitor/1.0");
}

TEST_F(SecureDownload, AsksForAllContentCodings)
{
    support::TestServer secureServer(certificate);
    const Trust trust(certificate);
    secureServer.on("/x", support::brotlied(support::typed("text/plain", "packed")));
    Downloading download(secureServer.url("/x"), folder());
    ASSERT_TRUE(download.finishes());
    EXPECT_EQ(support::readFile(download.path), "packed");
    EXPECT_EQ(secureServer.requests("/x").at(0).header("Accept-Encoding"), "gzip, deflate, br");
}

TEST_F(SecureDownload, EndsWhenTheServerStaysSilent)
{
    support::TestServer secureServer(certificate);
    const Trust trust(certificate);
    secureServer.hold("/x");
    Downloading download(requestFor(secureServer.url("/x"), 0.5), folder());
    ASSERT_TRUE(download.fails());
    EXPECT_EQ(download.error.code(), NSURLErrorTimedOut);
}

}
