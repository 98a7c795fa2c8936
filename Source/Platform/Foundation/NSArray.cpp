#include "Platform/Foundation/NSArray.h"

#include "Platform/Foundation/CollectionDescription.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/Value.h"

#include <algorithm>

namespace {

[[noreturn]] void raiseAbsentElement(const char16_t* operation)
{
    throw NSException(NSInvalidArgumentException, NSString::stringWithFormat(u"-[NSArray %S]: object cannot be nil", operation));
}

[[noreturn]] void raiseIndexBeyondBounds(const char16_t* operation, size_t index, size_t count)
{
    const NSString bounds = count == 0 ? NSString(u"bounds for empty array")
                                       : NSString::stringWithFormat(u"bounds [0 .. %llu]", static_cast<uint64_t>(count - 1));
    throw NSException(NSRangeException,
        NSString::stringWithFormat(u"-[NSArray %S]: index %llu beyond %@", operation, static_cast<uint64_t>(index), bounds));
}

}

NSArray::NSArray(std::initializer_list<Value> elements) : NSArray(std::vector<Value>(elements)) { }

NSArray::NSArray(std::vector<Value> elements)
{
    if (std::any_of(elements.begin(), elements.end(), [](const Value& element) { return element.isAbsent(); }))
        raiseAbsentElement(u"initWithObjects:");
    _elements = std::make_shared<std::vector<Value>>(std::move(elements));
}

size_t NSArray::count() const
{
    return _elements ? _elements->size() : 0;
}

const Value& NSArray::objectAtIndex(size_t index) const
{
    if (index >= count())
        raiseIndexBeyondBounds(u"objectAtIndex:", index, count());
    return (*_elements)[index];
}

const Value* NSArray::begin() const
{
    return _elements ? _elements->data() : nullptr;
}

const Value* NSArray::end() const
{
    return _elements ? _elements->data() + _elements->size() : nullptr;
}

bool NSArray::containsObject(const Value& object) const
{
    return std::any_of(begin(), end(), [&](const Value& element) { return element.isEqual(object); });
}

NSString NSArray::componentsJoinedByString(const NSString& separator) const
{
    if (!_elements)
        return {};
    std::u16string joined;
    for (const Value& element : *this) {
        if (&element != begin())
            joined.append(separator.units());
        const NSString text = element.description();
        joined.append(text.units());
    }
    return joined;
}

NSString NSArray::description() const
{
    return _elements ? NSString(describeArray(*this, 0)) : NSString();
}

void NSArray::addObject(Value object)
{
    insertObject(std::move(object), count());
}

void NSArray::insertObject(Value object, size_t index)
{
    if (object.isAbsent())
        raiseAbsentElement(u"insertObject:atIndex:");
    if (index > count())
        raiseIndexBeyondBounds(u"insertObject:atIndex:", index, count());
    std::vector<Value>& elements = mutableElements();
    elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(index), std::move(object));
}

void NSArray::removeObject(const Value& object)
{
    if (!containsObject(object))
        return;
    const Value removed = object;   // it may be one of the elements
    std::erase_if(mutableElements(), [&](const Value& element) { return element.isEqual(removed); });
}

void NSArray::removeAllObjects()
{
    if (_elements)
        _elements = std::make_shared<std::vector<Value>>();
}

std::vector<Value>& NSArray::mutableElements()
{
    if (!_elements)
        _elements = std::make_shared<std::vector<Value>>();
    else if (_elements.use_count() > 1)
        _elements = std::make_shared<std::vector<Value>>(*_elements);
    return *_elements;
}

bool operator==(const NSArray& a, const NSArray& b)
{
    if (a._elements == b._elements)
        return true;
    return a._elements && b._elements && *a._elements == *b._elements;
}
