#include "Platform/Print/PaperSize.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <paper.h>
#include <string_view>
#include <unicode/ulocdata.h>

namespace {

constexpr NSSize letter = {612, 792};
constexpr double pointsPerMillimetre = 72 / 25.4;

// A variable's value; empty when it is not set.
std::string_view variable(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::optional<NSSize> paperOfSystem()
{
    if (paperinit() != 0)
        return {};
    struct Done {
        ~Done() { paperdone(); }
    } const done;
    // Where nothing is set the library has an answer of its own, which is nobody's wish.
    const char* file = systempapersizefile();
    std::error_code ignored;
    if (variable("PAPERSIZE").empty() && (!file || !std::filesystem::exists(file, ignored)))
        return {};
    const std::unique_ptr<char, decltype(&std::free)> name(systempapername(), std::free);
    const struct paper* paper = name ? paperinfo(name.get()) : nullptr;
    if (!paper)
        return {};
    return NSSize{paperpswidth(paper), paperpsheight(paper)};
}

std::optional<NSSize> paperOfLocale()
{
    std::string_view locale;
    for (const char* name : {"LC_ALL", "LC_PAPER", "LANG"}) {
        locale = variable(name);
        if (!locale.empty())
            break;
    }
    // "C" and "POSIX" speak for no country, nor does a language alone.
    const std::string name(locale.substr(0, locale.find_first_of(".@")));
    if (name.find('_') == std::string::npos)
        return {};
    int32_t height = 0;
    int32_t width = 0;
    UErrorCode status = U_ZERO_ERROR;
    ulocdata_getPaperSize(name.c_str(), &height, &width, &status);
    if (U_FAILURE(status) || width <= 0 || height <= 0)
        return {};
    // Letter is told rounded to millimetres.
    if (width == 216 && height == 279)
        return letter;
    return NSSize{width * pointsPerMillimetre, height * pointsPerMillimetre};
}

}

NSSize usualPaperSize()
{
    if (const auto paper = paperOfSystem())
        return *paper;
    return paperOfLocale().value_or(letter);
}
