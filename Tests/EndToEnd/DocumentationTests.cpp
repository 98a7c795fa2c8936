#include "EndToEnd/CaptureTest.h"

using namespace std::chrono_literals;
using namespace support;

namespace {

constexpr const char* documentation = "/usr/share/doc/python3-doc/html";

// Real pages: the manual of an installed package, over HTTP and from the disk.
class Documentation : public CaptureTest, public testing::WithParamInterface<const char*> {
protected:
    // The archive's addresses below `base`, without it; others as they are.
    static std::set<std::string> namesBelow(const std::string& base, const InspectedArchive& archive)
    {
        std::set<std::string> names;
        for (const std::string& address : archive.allURLs())
            names.insert(address.starts_with(base) ? address.substr(base.size()) : address);
        return names;
    }
};

TEST_P(Documentation, IsCompleteOverHTTPAndFromTheDisk)
{
    const std::string name = GetParam();
    ASSERT_TRUE(std::filesystem::exists(std::string(documentation) + "/" + name)) << "the package python3-doc is missing";
    server.serveFolder("/doc/", documentation);
    const Captured served = capture(url("/doc/" + name));
    expectArchive(served);

    // Everything that the server was asked for is in the archive, with its bytes.
    const std::set<std::string> archived = served.archive->allURLs();
    std::set<std::string> asked;
    for (const Request& request : server.requests())
        asked.insert(request.url());
    EXPECT_GE(asked.size(), 5U);
    for (const std::string& address : asked)
        EXPECT_TRUE(archived.contains(address)) << address << " is not in the archive";
    EXPECT_EQ(archived, asked);
    for (const ArchivedResource& resource : served.archive->resources) {
        const std::string path = resource.url.substr(url("/doc").size());
        const std::string file = documentation + path.substr(0, path.find('?'));
        EXPECT_TRUE(!std::filesystem::is_regular_file(file) || resource.data == readFile(file)) << resource.url;
    }

    const Captured fromDisk = capture("file://" + std::string(documentation) + "/" + name);
    expectArchive(fromDisk);
    EXPECT_EQ(fromDisk.record.title, served.record.title);
    EXPECT_EQ(
        namesBelow("file://" + std::string(documentation) + "/", *fromDisk.archive), namesBelow(url("/doc/"), *served.archive));
}

INSTANTIATE_TEST_SUITE_P(Pages, Documentation,
    testing::Values("index.html", "library/functions.html", "library/bisect.html", "whatsnew/3.11.html"),
    [](const testing::TestParamInfo<const char*>& row) {
        std::string name = row.param;
        std::erase_if(name, [](char character) { return !std::isalnum(static_cast<unsigned char>(character)); });
        return name;
    });

}
