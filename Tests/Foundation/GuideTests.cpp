#include "Support/TemporaryFolder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

const std::filesystem::path testFolder = TEST_FOLDER;

// The C++ examples of a guide: what stands between a line "```cpp" and the next line "```".
std::vector<std::string> examplesOf(const std::string& guide)
{
    const std::string opening = "\n```cpp\n";
    const std::string closing = "\n```\n";
    std::vector<std::string> examples;
    for (size_t start = guide.find(opening); start != std::string::npos; start = guide.find(opening, start)) {
        start += opening.size();
        examples.push_back(guide.substr(start, guide.find(closing, start) - start));
    }
    return examples;
}

}

TEST(LibraryGuide, QuotesOnlyCodeThatTheTestsCompile)
{
    const std::vector<std::string> examples = examplesOf(support::readFile(testFolder / "../../docs/library.md"));
    std::string compiled;
    for (const auto& file : std::filesystem::directory_iterator(testFolder)) {
        if (file.path().filename().string().starts_with("Guide") && file.path().filename() != "GuideTests.cpp")
            compiled += support::readFile(file.path());
    }
    EXPECT_GE(examples.size(), 10u);
    for (const std::string& example : examples)
        EXPECT_NE(compiled.find('\n' + example + '\n'), std::string::npos) << "not compiled:\n" << example;
}
