#include "Platform/Engine/DevTools/PrintScripts.h"

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

// What the document's sheets say as important of pages would win over what comes later, so it is taken out where
// the sheet may be changed.
constexpr std::string_view layOver = R"JS(((rules, paperWidth, isUnbroken) => {
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
    const root = document.documentElement;
    const isFromRight = root && getComputedStyle(root).direction === 'rtl';
    // Printed at a scale, a document from right to left would slip off the paper; one whose body alone is so does not.
    if (isFromRight && document.body) {
        rules += ':root:not(#\\0#\\0#\\0){direction:ltr!important}:root>body:not(#\\0#\\0#\\0){direction:'
            + getComputedStyle(document.body).direction + '!important}';
    }
    if (isUnbroken && root && paperWidth > innerWidth + 0.5) {
        const box = root.getBoundingClientRect();
        const left = box.left + scrollX + (isFromRight ? paperWidth - innerWidth : 0);
        rules += ':root:not(#\\0#\\0#\\0){box-sizing:border-box!important;width:' + box.width + 'px!important;min-width:0!important;'
            + 'max-width:none!important;margin-left:' + left + 'px!important;margin-right:0!important;'
            + (getComputedStyle(root).position === 'static' ? 'position:relative!important' : '') + '}';
    }
    const before = globalThis.paperSheet;
    const sheet = globalThis.paperSheet = new CSSStyleSheet();
    sheet.replaceSync(rules);
    document.adoptedStyleSheets = [...document.adoptedStyleSheets.filter((each) => each !== before), sheet];
    if (isUnbroken)
        return;
    const isFixed = [];
    for (const element of document.querySelectorAll('*')) {
        const position = getComputedStyle(element).position;
        if (position === 'sticky') {
            element.style.setProperty('position', 'relative', 'important');
            element.style.setProperty('inset', 'auto', 'important');
        } else if (position === 'fixed') {
            isFixed.push([element, element.getBoundingClientRect()]);
        }
    }
    for (const [element] of isFixed)
        element.style.setProperty('position', 'absolute', 'important');
    for (const [element, place] of isFixed) {
        // Where something around it is what it is placed in now.
        const now = element.getBoundingClientRect();
        const right = place.left + scrollX - now.left - scrollX;
        const down = place.top - now.top - scrollY;
        if (!right && !down)
            continue;
        const style = getComputedStyle(element);
        const values = {left: parseFloat(style.left) + right + 'px', top: parseFloat(style.top) + down + 'px', right: 'auto',
            bottom: 'auto', width: style.width, height: style.height};
        for (const name in values)
            element.style.setProperty(name, values[name], 'important');
    }
}))JS";

// Values that may be lengths of the view's height, beside the height itself.
constexpr std::string_view measureHeights = R"JS((() => {
    const names = ['min-height', 'max-height', 'margin-top', 'margin-bottom', 'padding-top', 'padding-bottom', 'font-size',
        'line-height', 'row-gap', 'flex-basis'];
    const walker = document.createTreeWalker(document, NodeFilter.SHOW_ELEMENT, (element) =>
        getComputedStyle(element).position === 'fixed' ? NodeFilter.FILTER_REJECT : NodeFilter.FILTER_ACCEPT);
    const measures = new Map();
    while (walker.nextNode()) {
        const element = walker.currentNode;
        const style = getComputedStyle(element);
        if (element.style)
            measures.set(element, [element.getBoundingClientRect().height, names.map((name) => style.getPropertyValue(name))]);
    }
    globalThis.keepHeights = () => {
        for (const [element, [, values]] of measures) {
            const style = getComputedStyle(element);
            const changed = names.filter((name, index) => style.getPropertyValue(name) !== values[index]);
            for (const name of changed)
                element.style.setProperty(name, values[names.indexOf(name)], 'important');
        }
        // The innermost first: what is around them is often only as high as they are.
        const kept = new Set();
        for (let round = 0; round < 16; ++round) {
            const changed = new Set();
            for (const [element, [height]] of measures) {
                if (!kept.has(element) && Math.abs(element.getBoundingClientRect().height - height) > 0.5)
                    changed.add(element);
            }
            if (!changed.size)
                return;
            const outer = new Set([...changed].map((element) => element.parentElement));
            for (const element of changed) {
                if (outer.has(element))
                    continue;
                kept.add(element);
                const values = {'box-sizing': 'border-box', 'min-height': '0', 'max-height': 'none', 'flex-shrink': '0',
                    'flex-grow': '0', height: measures.get(element)[0] + 'px'};
                for (const name in values)
                    element.style.setProperty(name, values[name], 'important');
            }
        }
    };
})())JS";

constexpr std::string_view awaitImages = R"JS(new Promise((done) => {
    setTimeout(done, 3000);
    requestAnimationFrame(() => setTimeout(async () => {
        await Promise.all([...document.images].filter((image) => !image.complete).map((image) => new Promise((loaded) => {
            image.addEventListener('load', loaded, {once: true});
            image.addEventListener('error', loaded, {once: true});
        })));
        await document.fonts.ready;
        done();
    }));
}))JS";

}

std::string scriptForPaper(const PrintSettings& settings)
{
    std::string rules = pageRules(settings);
    if (settings.isUnbroken)
        rules += unbrokenRules;
    return std::string(layOver) + "(" + nlohmann::json(rules).dump() + ","
        + nlohmann::json(settings.paperSize.width / settings.scale).dump() + "," + (settings.isUnbroken ? "true" : "false") + ")";
}

std::string scriptToMeasureHeights()
{
    return std::string(measureHeights);
}

std::string scriptToKeepHeights()
{
    return "globalThis.keepHeights?.()";
}

std::string scriptToAwaitImages()
{
    return std::string(awaitImages);
}
