#include "Tools/Replay/ReplayOptions.h"

#include "Platform/Foundation/Value.h"
#include "Support/Printing.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

using Output = ReplayOptions::Output;

std::optional<ReplayOptions> read(const std::vector<const char16_t*>& words, NSString* problem = nullptr)
{
    std::vector<Value> arguments = {u"twwebreplay"};
    for (const char16_t* word : words)
        arguments.emplace_back(word);
    NSString ignored;
    return replayOptionsFromArguments(NSArray(std::move(arguments)), problem ? problem : &ignored);
}

TEST(ReplayOptions, AreOfflineWithTheWorkaroundAndWithoutOutputUnlessSaidOtherwise)
{
    const auto options = read({u"a.webarchive"});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->archivePath, NSString(u"a.webarchive"));
    EXPECT_EQ(options->output, Output::None);
    EXPECT_TRUE(options->outputPath.isAbsent());
    EXPECT_TRUE(options->isOffline);
    EXPECT_TRUE(options->isWorkaroundEnabled);
    EXPECT_FALSE(options->wantsHelp);
}

TEST(ReplayOptions, StandInAnyOrder)
{
    const auto options = read({u"--no-workaround", u"--png", u"-o.png", u"--online", u"a", u"--online"});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->archivePath, NSString(u"a"));
    EXPECT_EQ(options->output, Output::PNG);
    EXPECT_EQ(options->outputPath, NSString(u"-o.png"));
    EXPECT_FALSE(options->isOffline);
    EXPECT_FALSE(options->isWorkaroundEnabled);
    EXPECT_EQ(read({u"a", u"--pdf", u"o"})->output, Output::PDF);
    EXPECT_EQ(read({u"a", u"--html", u"o"})->output, Output::HTML);
    EXPECT_EQ(read({u"--list", u"a"})->output, Output::List);
    EXPECT_TRUE(read({u"a", u"--offline", u"--offline"})->isOffline);
}

TEST(ReplayOptions, AskForHelpBeforeAllElse)
{
    EXPECT_TRUE(read({u"--help"})->wantsHelp);
    EXPECT_TRUE(read({u"a", u"--help", u"--unknown"})->wantsHelp);
}

struct Refused {
    std::vector<const char16_t*> words;
    const char16_t* problem;
};

TEST(ReplayOptions, AreRefusedWithTheReason)
{
    const Refused rows[] = {
        {{}, u"no archive is given"},
        {{u"--online"}, u"no archive is given"},
        {{u"a", u"b"}, u"only one archive can be shown, and b is a second one"},
        {{u"a", u"-x"}, u"unknown option -x"},
        {{u"a", u"--"}, u"unknown option --"},
        {{u"a", u"--pdf"}, u"--pdf needs a file"},
        {{u"a", u"--pdf", u"x", u"--png", u"y"}, u"only one of --pdf, --png, --html and --list can be given"},
        {{u"a", u"--list", u"--list"}, u"only one of --pdf, --png, --html and --list can be given"},
        {{u"a", u"--online", u"--offline"}, u"--offline and --online exclude each other"},
    };
    for (const Refused& row : rows) {
        NSString problem;
        EXPECT_FALSE(read(row.words, &problem));
        EXPECT_EQ(problem, NSString(row.problem));
    }
}

}
