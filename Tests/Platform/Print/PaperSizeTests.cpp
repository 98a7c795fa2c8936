#include "Platform/Print/PaperSize.h"
#include "Support/EnvironmentVariable.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <memory>

namespace {

struct Row {
    const char* paper;
    const char* locale;
    NSSize expected;
};

void expectNear(NSSize size, NSSize expected)
{
    EXPECT_NEAR(size.width, expected.width, 0.5);
    EXPECT_NEAR(size.height, expected.height, 0.5);
}

constexpr NSSize a4 = {595.28, 841.89};
constexpr NSSize letter = {612, 792};

TEST(UsualPaperSize, IsTheSystemsElseTheLocalesElseLetter)
{
    const support::TemporaryFolder folder;
    const std::string missing = folder.pathOf("missing");
    const support::EnvironmentVariable file("PAPERCONF", missing.c_str());
    for (const Row& row : {
             Row{"a4", "en_US.UTF-8", a4},
             Row{"letter", "de_DE.UTF-8", letter},
             Row{"a5", "C", {419.53, 595.28}},
             Row{"no such paper", "de_DE.UTF-8", a4},
             Row{"no such paper", "en_US.UTF-8", letter},
             Row{"", "de_DE.UTF-8", a4},
             Row{"", "de_DE@euro", a4},
             Row{"", "fr_CA.UTF-8", letter},
             Row{"", "en_US.UTF-8", letter},
             Row{"", "C", letter},
             Row{"", "C.UTF-8", letter},
             Row{"", "POSIX", letter},
             Row{"", "nonsense", letter},
             Row{"", "", letter},
         }) {
        SCOPED_TRACE(std::string(row.paper) + " " + row.locale);
        const support::EnvironmentVariable paper("PAPERSIZE", row.paper);
        const support::EnvironmentVariable all("LC_ALL", row.locale);
        const support::EnvironmentVariable language("LANG", "C.UTF-8");
        const support::EnvironmentVariable ofPaper("LC_PAPER", "");
        expectNear(usualPaperSize(), row.expected);
    }
}

TEST(UsualPaperSize, IsTheOneInTheSystemsFile)
{
    const support::TemporaryFolder folder;
    const support::EnvironmentVariable paper("PAPERSIZE", nullptr);
    const std::string path = folder.write("papersize", "# the usual one\na3\n");
    const support::EnvironmentVariable file("PAPERCONF", path.c_str());
    expectNear(usualPaperSize(), {841.89, 1190.55});
}

TEST(UsualPaperSize, FollowsTheLocaleOfPaperBeforeTheLanguage)
{
    const support::TemporaryFolder folder;
    const std::string missing = folder.pathOf("missing");
    const support::EnvironmentVariable file("PAPERCONF", missing.c_str());
    const support::EnvironmentVariable paper("PAPERSIZE", "");
    const support::EnvironmentVariable all("LC_ALL", "");
    const support::EnvironmentVariable language("LANG", "en_US.UTF-8");
    const support::EnvironmentVariable ofPaper("LC_PAPER", "de_DE.UTF-8");
    expectNear(usualPaperSize(), a4);
}

}
