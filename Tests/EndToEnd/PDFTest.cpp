#include "EndToEnd/PDFTest.h"

#include <filesystem>
#include <numeric>
#include <regex>
#include <sstream>
#include <stdexcept>

using namespace support;

PDFTest::PDFTest()
{
    environment["PAPERSIZE"] = "letter";
}

Captured PDFTest::print(const std::string& markup, const std::string& mode)
{
    server.on("/page.html", html(markup));
    return capture(url("/page.html"), mode);
}

void PDFTest::expectPDF(const Captured& captured) const
{
    if (!captured.record.hasSucceeded() || captured.record.path != pdfPath())
        throw std::runtime_error(
            "no PDF; error: " + captured.record.errorString.value_or("none") + "; standard error:\n" + captured.process.error);
    EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "title", "url", "path"}));
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>{"page.pdf"});
    static_cast<void>(runHelper({"qpdf", "--check", pdfPath()}));
}

std::map<std::string, std::string> PDFTest::information() const
{
    std::map<std::string, std::string> result;
    std::istringstream lines(runHelper({"pdfinfo", pdfPath()}));
    for (std::string line; std::getline(lines, line);) {
        const size_t colon = line.find(':');
        const size_t value = line.find_first_not_of(' ', colon + 1);
        result[line.substr(0, colon)] = value == std::string::npos ? "" : line.substr(value);
    }
    return result;
}

std::pair<double, double> PDFTest::pageSize() const
{
    std::istringstream size(information()["Page size"]);
    double width = 0;
    double height = 0;
    std::string times;
    size >> width >> times >> height;
    std::smatch found;
    const std::string plain = plainForm();
    const double unit = std::regex_search(plain, found, std::regex("/UserUnit ([0-9.]+)")) ? std::stod(found[1]) : 1;
    return {width * unit, height * unit};
}

std::string PDFTest::texts() const
{
    return runHelper({"pdftotext", "-raw", pdfPath(), "-"});
}

std::vector<PDFTest::Word> PDFTest::words() const
{
    const std::string page = runHelper({"pdftotext", "-bbox", pdfPath(), "-"});
    std::vector<Word> result;
    int number = 0;
    std::istringstream lines(page);
    const std::regex form("<word xMin=\"(.*)\" yMin=\"(.*)\" xMax=\"(.*)\" yMax=\"(.*)\">(.*)</word>");
    for (std::string line; std::getline(lines, line);) {
        std::smatch found;
        if (line.find("<page ") != std::string::npos)
            ++number;
        else if (std::regex_search(line, found, form))
            result.push_back(
                {found[5], number, std::stod(found[1]), std::stod(found[2]), std::stod(found[3]), std::stod(found[4])});
    }
    return result;
}

std::vector<int> PDFTest::numbersAfter(const std::string& prefix) const
{
    std::vector<int> result;
    const std::string all = texts();
    for (size_t at = all.find(prefix); at != std::string::npos; at = all.find(prefix, at + 1))
        result.push_back(std::atoi(all.c_str() + at + prefix.size()));
    return result;
}

std::vector<int> PDFTest::numbersUpTo(int count)
{
    std::vector<int> result(static_cast<size_t>(count));
    std::iota(result.begin(), result.end(), 1);
    return result;
}

std::string PDFTest::plainForm() const
{
    return runHelper({"qpdf", "--qdf", "--object-streams=disable", pdfPath(), "-"});
}
