#include "Platform/Print/PagePlacement.h"

namespace {

// Deeper trees of names are none that a program has made.
constexpr int deepestTree = 64;

QPDFObjectHandle ownerOf(const QPDFObjectHandle& object, const QPDFObjectHandle& owner)
{
    return object.isIndirect() ? object : owner;
}

}

bool PlacedMarks::isFirstVisit(const QPDFObjectHandle& object)
{
    return !object.isIndirect() || _visited.insert(object.getObjGen()).second;
}

void PlacedMarks::move()
{
    for (const auto& [page, placement] : _placements)
        moveAnnotations(_file.pdf().getObject(page), placement);
    QPDFObjectHandle root = _file.pdf().getRoot();
    QPDFObjectHandle named = root.getKey("/Dests");
    if (named.isDictionary()) {
        for (const std::string& name : named.getKeys())
            moveTarget(named.getKey(name), ownerOf(named, root));
    }
    if (root.getKey("/Names").isDictionary())
        moveNames(root.getKey("/Names").getKey("/Dests"), 0);
    if (root.getKey("/Outlines").isDictionary())
        moveOutline(root.getKey("/Outlines"));
}

void PlacedMarks::moveAnnotations(QPDFObjectHandle page, const PagePlacement& placement)
{
    QPDFObjectHandle annotations = page.getKey("/Annots");
    if (!annotations.isArray())
        return;
    for (QPDFObjectHandle annotation : annotations.getArrayAsVector()) {
        if (!annotation.isDictionary() || !isFirstVisit(annotation))
            continue;
        const Owner owner = ownerOf(annotation, ownerOf(annotations, page));
        for (const char* key : {"/Rect", "/QuadPoints"})
            moveNumbers(annotation.getKey(key), placement, owner);
        moveTargetsOf(annotation, owner);
    }
}

// x and y in turn.
void PlacedMarks::moveNumbers(QPDFObjectHandle array, const PagePlacement& placement, const Owner& owner)
{
    if (!array.isArray() || !isFirstVisit(array))
        return;
    for (int index = 0; index < array.getArrayNItems(); ++index) {
        const double number = array.getArrayItem(index).getNumericValue();
        array.setArrayItem(index, QPDFObjectHandle::newReal(index % 2 ? placement.movedY(number) : placement.movedX(number)));
    }
    _file.changed(ownerOf(array, owner));
}

void PlacedMarks::moveTargetsOf(QPDFObjectHandle holder, const Owner& owner)
{
    moveTarget(holder.getKey("/Dest"), owner);
    QPDFObjectHandle action = holder.getKey("/A");
    if (action.isDictionary())
        moveTarget(action.getKey("/D"), ownerOf(action, owner));
}

void PlacedMarks::moveTarget(QPDFObjectHandle target, const Owner& owner)
{
    if (target.isDictionary()) {
        if (isFirstVisit(target))
            moveTarget(target.getKey("/D"), ownerOf(target, owner));
        return;
    }
    if (!target.isArray() || target.getArrayNItems() < 2 || !isFirstVisit(target))
        return;
    const auto found = _placements.find(target.getArrayItem(0).getObjGen());
    if (found == _placements.end())
        return;
    const PagePlacement& placement = found->second;
    target.setArrayItem(0, placement.page);
    QPDFObjectHandle view = target.getArrayItem(1);
    const std::string kind = view.isName() ? view.getName() : std::string();
    // Which of the numbers that follow are places across and which are places upwards.
    const std::string_view numbers = kind == "/XYZ" ? "xy"
        : kind == "/FitH" || kind == "/FitBH"       ? "y"
        : kind == "/FitV" || kind == "/FitBV"       ? "x"
        : kind == "/FitR"                           ? "xyxy"
                                                    : "";
    for (int index = 0; index < static_cast<int>(numbers.size()) && index + 2 < target.getArrayNItems(); ++index) {
        QPDFObjectHandle number = target.getArrayItem(index + 2);
        if (!number.isNumber())
            continue;
        const double value = number.getNumericValue();
        target.setArrayItem(index + 2,
            QPDFObjectHandle::newReal(
                numbers[static_cast<size_t>(index)] == 'x' ? placement.movedX(value) : placement.movedY(value)));
    }
    _file.changed(ownerOf(target, owner));
}

void PlacedMarks::moveNames(QPDFObjectHandle node, int depth)
{
    if (!node.isDictionary() || depth > deepestTree || !isFirstVisit(node))
        return;
    QPDFObjectHandle names = node.getKey("/Names");
    for (int index = 1; names.isArray() && index < names.getArrayNItems(); index += 2)
        moveTarget(names.getArrayItem(index), ownerOf(names, ownerOf(node, _file.pdf().getRoot())));
    QPDFObjectHandle kids = node.getKey("/Kids");
    for (int index = 0; kids.isArray() && index < kids.getArrayNItems(); ++index)
        moveNames(kids.getArrayItem(index), depth + 1);
}

void PlacedMarks::moveOutline(QPDFObjectHandle root)
{
    std::vector<QPDFObjectHandle> waiting = {root.getKey("/First")};
    while (!waiting.empty()) {
        QPDFObjectHandle item = waiting.back();
        waiting.pop_back();
        if (!item.isDictionary() || !item.isIndirect() || !isFirstVisit(item))
            continue;
        moveTargetsOf(item, item);
        waiting.push_back(item.getKey("/Next"));
        waiting.push_back(item.getKey("/First"));
    }
}
