#pragma once

#include "Platform/Print/PDFFile.h"

#include <map>
#include <vector>

// Where a page's contents come to lie: `scale` times as large, then moved by `x` and `y`, on the page `page`.
struct PagePlacement {
    QPDFObjectHandle page;
    double scale = 1;
    double x = 0;
    double y = 0;

    [[nodiscard]] double movedX(double value) const { return value * scale + x; }
    [[nodiscard]] double movedY(double value) const { return value * scale + y; }
};

// Moves all that points at places on pages, but is not among their contents: links and other annotations, named
// destinations and the outline.
class PlacedMarks {
public:
    // `placements` by the page that the contents come from.
    PlacedMarks(PDFFile& file, const std::map<QPDFObjGen, PagePlacement>& placements) : _file(file), _placements(placements) { }
    void move();

private:
    // The object that must be written when something in it changes.
    using Owner = QPDFObjectHandle;
    void moveAnnotations(QPDFObjectHandle page, const PagePlacement& placement);
    void moveNumbers(QPDFObjectHandle array, const PagePlacement& placement, const Owner& owner);
    // Of a link, an outline item or a name: the array itself or a dictionary that has it.
    void moveTarget(QPDFObjectHandle target, const Owner& owner);
    void moveTargetsOf(QPDFObjectHandle holder, const Owner& owner);
    void moveNames(QPDFObjectHandle node, int depth);
    void moveOutline(QPDFObjectHandle root);
    [[nodiscard]] bool isFirstVisit(const QPDFObjectHandle& object);

    PDFFile& _file;
    const std::map<QPDFObjGen, PagePlacement>& _placements;
    std::set<QPDFObjGen> _visited;
};
