#include "Platform/Print/PDFPages.h"

#include "Platform/Print/PDFFile.h"
#include "Platform/Print/PagePlacement.h"

#include <algorithm>
#include <cmath>
#include <qpdf/Pl_Buffer.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <string>
#include <vector>

namespace {

using Placements = std::map<QPDFObjGen, PagePlacement>;

std::string text(double number)
{
    return QPDFObjectHandle::newReal(number, 6).unparse();
}

QPDFObjectHandle::Rectangle boxOf(const QPDFObjectHandle& page)
{
    return QPDFPageObjectHelper(page).getAttribute("/MediaBox", false).getArrayAsRectangle();
}

void setBox(PDFFile& file, QPDFObjectHandle page, const QPDFObjectHandle::Rectangle& box)
{
    page.replaceKey("/MediaBox",
        QPDFObjectHandle::newArray({QPDFObjectHandle::newReal(text(box.llx)), QPDFObjectHandle::newReal(text(box.lly)),
            QPDFObjectHandle::newReal(text(box.urx)), QPDFObjectHandle::newReal(text(box.ury))}));
    for (const char* key : {"/CropBox", "/TrimBox", "/BleedBox", "/ArtBox"})
        page.removeKey(key);
    file.changed(page);
}

// A pattern's matrix leads from the pattern to the page, whatever the contents have set.
void scalePatterns(PDFFile& file, QPDFObjectHandle page, double factor, std::map<QPDFObjGen, QPDFObjectHandle>& scaled)
{
    QPDFObjectHandle resources = QPDFPageObjectHelper(page).getAttribute("/Resources", true);
    QPDFObjectHandle patterns = resources.isDictionary() ? resources.getKey("/Pattern") : QPDFObjectHandle();
    if (!patterns.isInitialized() || !patterns.isDictionary())
        return;
    // Others may use the same ones.
    patterns = patterns.shallowCopy();
    for (const std::string& name : patterns.getKeys()) {
        QPDFObjectHandle pattern = patterns.getKey(name);
        const auto known = scaled.find(pattern.getObjGen());
        if (pattern.isIndirect() && known != scaled.end()) {
            patterns.replaceKey(name, known->second);
            continue;
        }
        QPDFObjectHandle copy = pattern.isStream() ? pattern.copyStream() : pattern.shallowCopy();
        QPDFObjectHandle dictionary = copy.isStream() ? copy.getDict() : copy;
        QPDFObjectHandle matrix = dictionary.getKey("/Matrix");
        std::vector<double> numbers = {1, 0, 0, 1, 0, 0};
        for (int index = 0; matrix.isArray() && index < std::min(6, matrix.getArrayNItems()); ++index)
            numbers[static_cast<size_t>(index)] = matrix.getArrayItem(index).getNumericValue();
        std::vector<QPDFObjectHandle> items;
        for (const double number : numbers)
            items.push_back(QPDFObjectHandle::newReal(number * factor, 9));
        dictionary.replaceKey("/Matrix", QPDFObjectHandle::newArray(items));
        if (copy.isStream())
            file.changed(copy);
        else
            copy = file.add(copy);
        if (pattern.isIndirect())
            scaled.emplace(pattern.getObjGen(), copy);
        patterns.replaceKey(name, copy);
    }
    resources = resources.shallowCopy();
    resources.replaceKey("/Pattern", patterns);
    page.replaceKey("/Resources", resources);
    file.changed(page);
}

// Scales what the page itself draws.
void scaleContents(PDFFile& file, QPDFObjectHandle page, double factor, std::map<QPDFObjGen, QPDFObjectHandle>& scaled)
{
    const std::string scale = QPDFObjectHandle::newReal(factor, 9).unparse();
    std::vector<QPDFObjectHandle> contents = {file.addStream("q " + scale + " 0 0 " + scale + " 0 0 cm\n")};
    QPDFObjectHandle old = page.getKey("/Contents");
    if (old.isArray()) {
        const std::vector<QPDFObjectHandle> all = old.getArrayAsVector();
        contents.insert(contents.end(), all.begin(), all.end());
    } else if (old.isStream()) {
        contents.push_back(old);
    }
    contents.push_back(file.addStream("\nQ\n"));
    page.replaceKey("/Contents", QPDFObjectHandle::newArray(contents));
    file.changed(page);
    scalePatterns(file, page, factor, scaled);
}

void scalePages(PDFFile& file, double factor)
{
    Placements placements;
    std::map<QPDFObjGen, QPDFObjectHandle> scaled;
    for (const QPDFObjectHandle& page : file.pages()) {
        placements[page.getObjGen()] = {page, factor, 0, 0};
        scaleContents(file, page, factor, scaled);
        const QPDFObjectHandle::Rectangle box = boxOf(page);
        setBox(file, page, {box.llx * factor, box.lly * factor, box.urx * factor, box.ury * factor});
    }
    PlacedMarks(file, placements).move();
}

// Draws all pages on the first one, below each other, and leaves that one only. Tags name places in the contents of pages,
// which these are no longer.
void stackPages(PDFFile& file)
{
    const std::vector<QPDFObjectHandle> pages = file.pages();
    double height = 0;
    double width = 0;
    for (const QPDFObjectHandle& page : pages) {
        const QPDFObjectHandle::Rectangle box = boxOf(page);
        height += box.ury - box.lly;
        width = std::max(width, box.urx - box.llx);
    }
    Placements placements;
    QPDFObjectHandle forms = QPDFObjectHandle::newDictionary();
    QPDFObjectHandle annotations = QPDFObjectHandle::newArray();
    std::string operators;
    double top = height;
    for (QPDFObjectHandle page : pages) {
        const QPDFObjectHandle::Rectangle box = boxOf(page);
        top -= box.ury - box.lly;
        QPDFObjectHandle form = QPDFPageObjectHelper(page).getFormXObjectForPage();
        // Its bytes are the page's contents, and those are about to change.
        Pl_Buffer contents("contents");
        QPDFPageObjectHelper(page).pipeContents(&contents);
        form.replaceStreamData(contents.getBufferSharedPointer(), QPDFObjectHandle::newNull(), QPDFObjectHandle::newNull());
        form.getDict().removeKey("/StructParents");
        file.changed(form);
        const std::string name = "/Page" + std::to_string(placements.size());
        forms.replaceKey(name, form);
        operators += "q 1 0 0 1 " + text(-box.llx) + " " + text(top - box.lly) + " cm " + name + " Do Q\n";
        placements[page.getObjGen()] = {pages.front(), 1, -box.llx, top - box.lly};
        QPDFObjectHandle own = page.getKey("/Annots");
        for (int index = 0; own.isArray() && index < own.getArrayNItems(); ++index)
            annotations.appendItem(own.getArrayItem(index));
    }
    PlacedMarks(file, placements).move();

    QPDFObjectHandle first = pages.front();
    QPDFObjectHandle contents = QPDFObjectHandle::newStream(&file.pdf(), operators);
    file.changed(contents);
    first.replaceKey("/Contents", contents);
    first.replaceKey("/Resources", QPDFObjectHandle::newDictionary({{"/XObject", forms}}));
    first.replaceKey("/Annots", annotations);
    first.removeKey("/StructParents");
    setBox(file, first, {0, 0, width, height});
    QPDFObjectHandle root = file.pdf().getRoot();
    for (const char* key : {"/StructTreeRoot", "/MarkInfo"})
        root.removeKey(key);
    file.changed(root);
    QPDFObjectHandle tree = root.getKey("/Pages");
    first.replaceKey("/Parent", tree);
    tree.replaceKey("/Kids", QPDFObjectHandle::newArray({first}));
    tree.replaceKey("/Count", QPDFObjectHandle::newInteger(1));
    file.changed(tree);
}

}

NSData pdfAsOnePage(const NSData& pdf, NSRect rect)
{
    const std::unique_ptr<PDFFile> file = PDFFile::fromData(pdf);
    if (!file)
        return {};
    try {
        QPDFObjectHandle page = file->pages().front();
        if (file->pages().size() > 1)
            stackPages(*file);
        const double unit = std::max(1.0, std::ceil(std::max(rect.size.width, rect.size.height) / largestPageSide));
        if (unit > 1) {
            scalePages(*file, 1 / unit);
            page.replaceKey("/UserUnit", QPDFObjectHandle::newInteger(static_cast<long long>(unit)));
        }
        // The paper's size is rounded to what printers can do; what it shows hangs from the upper left corner.
        const QPDFObjectHandle::Rectangle box = boxOf(page);
        // A hair less, so that no reader makes one pixel more of what is lost in decimals.
        constexpr double hair = 2e-6;
        const double left = box.llx + rect.origin.x / unit;
        const double top = box.ury - rect.origin.y / unit;
        setBox(*file, page, {left, top - rect.size.height / unit + hair, left + rect.size.width / unit - hair, top});
        return file->data();
    } catch (const std::exception&) {
        return {};
    }
}

NSData pdfScaled(const NSData& pdf, double factor)
{
    const std::unique_ptr<PDFFile> file = PDFFile::fromData(pdf);
    if (!file)
        return {};
    try {
        scalePages(*file, factor);
        return file->data();
    } catch (const std::exception&) {
        return {};
    }
}
