#include "Platform/Engine/DevTools/PaperStyle.h"

#include <nlohmann/json.hpp>

namespace {

std::string points(double length)
{
    return nlohmann::json(length).dump() + "pt";
}

// What applies to any page, also to those that the document's sheets tell apart by their place.
std::string pageRules(const PrintSettings& settings)
{
    std::string body = "{size:auto!important;page-orientation:upright!important;margin:" + points(settings.topMargin) + " "
        + points(settings.rightMargin) + " " + points(settings.bottomMargin) + " " + points(settings.leftMargin)
        + "!important;padding:0!important;border:none!important;";
    for (const char* side : {"top-left-corner", "top-left", "top-center", "top-right", "top-right-corner", "left-top",
             "left-middle", "left-bottom", "right-top", "right-middle", "right-bottom", "bottom-left-corner", "bottom-left",
             "bottom-center", "bottom-right", "bottom-right-corner"})
        body += std::string("@") + side + "{content:none!important}";
    body += "}";
    return "@page" + body + "@page :first,:left,:right,:first:left,:first:right" + body;
}

// Stronger than what the document's sheets say of single elements. Breaks are of no use on one page.
constexpr std::string_view unbrokenRules =
    ":not(#\\0#\\0#\\0),:not(#\\0#\\0#\\0)::before,:not(#\\0#\\0#\\0)::after{page:auto!important;"
    "break-before:auto!important;break-after:auto!important;break-inside:auto!important}";

// What the document's sheets say as important of pages would win over what comes later, so it is taken out where the sheet may be changed.
constexpr std::string_view layOver = R"JS(((rules) => {
    const removePageRules = (list) => {
        for (let index = list.cssRules.length; index--;) {
            const rule = list.cssRules[index];
            if (rule instanceof CSSPageRule)
                list.deleteRule(index);
            else if (rule instanceof CSSGroupingRule)
                removePageRules(rule);
        }
    };
    for (const sheet of [...document.styleSheets, ...document.adoptedStyleSheets]) {
        try {
            removePageRules(sheet);
        } catch (refused) {
            // It came from elsewhere.
        }
    }
    const key = '__paperStyle';
    const before = globalThis[key];
    const sheet = new CSSStyleSheet();
    sheet.replaceSync(rules);
    globalThis[key] = sheet;
    document.adoptedStyleSheets = [...document.adoptedStyleSheets.filter((each) => each !== before), sheet];
}))JS";

}

std::string scriptForPaperStyle(const PrintSettings& settings)
{
    std::string rules = pageRules(settings);
    if (settings.isUnbroken)
        rules += unbrokenRules;
    return std::string(layOver) + "(" + nlohmann::json(rules).dump() + ")";
}
