#include "Platform/Foundation/NSUnarchiver.h"

#include "Platform/Foundation/NSArchiver.h"
#include "Platform/Foundation/TypedStream.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

// Values of one archive, shared ones counted as often as they are used.
constexpr uint64_t mostValues = 1'000'000;
constexpr int longestClassChain = 64;
// Of type strings, class names and C strings, which are copied wherever they are referred to.
constexpr size_t longestSharedString = 1024;   // bytes

// Thrown inside this file only: why the bytes are no archive.
struct Corrupt {
    const char16_t* reason;
};

// One value of an object: a number, text or bytes, or another object.
struct Item {
    char type = 0;   // of the type string, '[' for an array of bytes
    int64_t integer = 0;
    double real = 0;
    std::string bytes;
    Value object;
};

class Reader {
public:
    explicit Reader(std::string_view bytes) : _rest(bytes) { }

    Value readArchive()
    {
        if (integer(signedHead()) != TypedStream::version || unsharedString() != TypedStream::littleEndianSignature)
            throw Corrupt{u"The data is no typed stream of version 4."};
        integer(signedHead());   // any system's
        std::vector<Item> items;
        typedValues(signedHead(), -1, items);
        if (items.size() != 1 || items[0].type != '@' || !_rest.empty())
            throw Corrupt{u"The archive does not hold exactly one object."};
        return items[0].object;
    }

private:
    // An object, class or C string that was read before.
    struct Known {
        enum { Unfinished, Class, CString, Object } kind = Unfinished;
        std::string text;   // class name or C string
        Value object;
        uint64_t weight = 1;   // values in it, itself included
    };

    std::string_view take(size_t count)
    {
        if (count > _rest.size())
            throw Corrupt{u"The archive ends too early."};
        const std::string_view taken = _rest.substr(0, count);
        _rest.remove_prefix(count);
        return taken;
    }

    int signedHead() { return static_cast<int8_t>(take(1)[0]); }

    uint64_t littleEndian(size_t size)
    {
        const std::string_view bytes = take(size);
        uint64_t number = 0;
        for (size_t i = size; i > 0; --i)
            number = number << 8 | static_cast<unsigned char>(bytes[i - 1]);
        return number;
    }

    int64_t integer(int head)
    {
        switch (head) {
        case TypedStream::IntegerOfTwoBytes:
            return static_cast<int16_t>(littleEndian(2));
        case TypedStream::IntegerOfFourBytes:
            return static_cast<int32_t>(littleEndian(4));
        case TypedStream::IntegerOfEightBytes:
            return static_cast<int64_t>(littleEndian(8));
        default:
            if (head >= TypedStream::lowestTag && head <= TypedStream::highestTag)
                throw Corrupt{u"A number is expected where the archive has none."};
            return head;
        }
    }

    // Lengths and unsigned types have no sign in any form.
    uint64_t unsignedInteger(int head)
    {
        switch (head) {
        case TypedStream::IntegerOfTwoBytes:
            return littleEndian(2);
        case TypedStream::IntegerOfFourBytes:
            return littleEndian(4);
        case TypedStream::IntegerOfEightBytes:
            return littleEndian(8);
        default:
            return static_cast<uint64_t>(integer(head)) & 0xff;
        }
    }

    double real(int head, bool isDouble)
    {
        if (head != TypedStream::FloatingPoint)
            return static_cast<double>(integer(head));
        return isDouble ? std::bit_cast<double>(littleEndian(8))
                        : static_cast<double>(std::bit_cast<float>(static_cast<uint32_t>(littleEndian(4))));
    }

    std::string unsharedString() { return std::string(take(unsignedInteger(signedHead()))); }

    std::string sharedString(int head)
    {
        if (head == TypedStream::New) {
            _strings.push_back(unsharedString());
            if (_strings.back().size() > longestSharedString)
                throw Corrupt{u"A type or name in the archive is too long."};
            return _strings.back();
        }
        const int64_t number = integer(head) - TypedStream::firstReference;
        if (number < 0 || static_cast<uint64_t>(number) >= _strings.size())
            throw Corrupt{u"The archive refers to a string that it does not have."};
        return _strings[static_cast<size_t>(number)];
    }

    const Known& knownAt(int64_t reference) const
    {
        const int64_t number = reference - TypedStream::firstReference;
        if (number < 0 || static_cast<uint64_t>(number) >= _known.size())
            throw Corrupt{u"The archive refers to an object that it does not have."};
        return _known[static_cast<size_t>(number)];
    }

    std::string cString(int head)
    {
        if (head == TypedStream::Nil)
            return {};
        if (head == TypedStream::New) {
            const size_t index = reserve();
            const std::string text = sharedString(signedHead());
            _known[index].kind = Known::CString;
            _known[index].text = text;
            return text;
        }
        const Known& found = knownAt(integer(head));
        if (found.kind != Known::CString)
            throw Corrupt{u"The archive refers to something else than a C string."};
        return found.text;
    }

    // The name of the class that stands here with its superclasses.
    std::string className(int head)
    {
        std::string name;
        for (int i = 0; i < longestClassChain; ++i) {
            if (head == TypedStream::New) {
                const size_t index = reserve();
                const std::string text = sharedString(signedHead());
                integer(signedHead());   // its version
                _known[index].kind = Known::Class;
                _known[index].text = text;
                if (i == 0)
                    name = text;
                head = signedHead();
                continue;
            }
            if (head != TypedStream::Nil) {
                const Known& found = knownAt(integer(head));
                if (found.kind != Known::Class)
                    throw Corrupt{u"The archive refers to something else than a class."};
                if (i == 0)
                    name = found.text;
            }
            return name;
        }
        throw Corrupt{u"A class of the archive has too many superclasses."};
    }

    size_t reserve()
    {
        if (_known.size() >= mostValues)
            throw Corrupt{u"The archive has too many objects."};
        _known.emplace_back();
        return _known.size() - 1;
    }

    // Adds the values of an object that is part of another one.
    void addWeight(uint64_t& weight, uint64_t more)
    {
        weight += more;
        if (weight > mostValues)
            throw Corrupt{u"The archive holds too many values."};
    }

    Value object(int head, int depth, uint64_t& weight)
    {
        if (head == TypedStream::Nil)
            return {};
        if (head != TypedStream::New) {
            const Known& found = knownAt(integer(head));
            if (found.kind != Known::Object)
                throw Corrupt{u"The archive refers to something else than a finished object."};
            addWeight(weight, found.weight);
            return found.object;
        }
        if (depth == NSArchiver::deepestNesting)
            throw Corrupt{u"The objects of the archive lie too deep inside each other."};
        const size_t index = reserve();
        const std::string name = className(signedHead());
        std::vector<Item> items;
        uint64_t ownWeight = 1;
        for (int next = signedHead(); next != TypedStream::EndOfObject; next = signedHead())
            addWeight(ownWeight, typedValues(next, depth, items));
        Value value = make(name, items);
        _known[index] = {Known::Object, {}, value, ownWeight};
        addWeight(weight, ownWeight);
        return value;
    }

    // Appends the values that a type string announces; returns how many values lie in them.
    uint64_t typedValues(int head, int depth, std::vector<Item>& items)
    {
        const std::string types = sharedString(head);
        uint64_t weight = 0;
        for (size_t i = 0; i < types.size(); ++i) {
            Item item;
            item.type = types[i];
            addWeight(weight, 1);
            addWeight(_valuesRead, 1);   // also what lies in objects that are not finished yet
            switch (types[i]) {
            case 'c':
                item.integer = signedHead();
                break;
            case 'C':
            case 'B':
                item.integer = signedHead() & 0xff;
                break;
            case 's':
            case 'i':
            case 'l':
            case 'q':
                item.integer = integer(signedHead());
                break;
            case 'S':
            case 'I':
            case 'L':
            case 'Q':
                item.integer = fitting(unsignedInteger(signedHead()));
                break;
            case 'f':
            case 'd':
                item.real = real(signedHead(), types[i] == 'd');
                break;
            case '+':
                item.bytes = unsharedString();
                break;
            case '*':
                item.bytes = cString(signedHead());
                break;
            case '@':
                item.object = object(signedHead(), depth + 1, weight);
                break;
            case '[':
                item.bytes = take(byteArrayLength(types, i));
                break;
            default:
                throw Corrupt{u"The archive holds values of an unknown type."};
            }
            items.push_back(std::move(item));
        }
        return weight;
    }

    static int64_t fitting(uint64_t number)
    {
        if (number > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()))
            throw Corrupt{u"A number of the archive is too large."};
        return static_cast<int64_t>(number);
    }

    // The length in "[12c]", which begins at `i`; `i` is moved to its end.
    static size_t byteArrayLength(const std::string& types, size_t& i)
    {
        size_t length = 0;
        const char* const last = types.data() + types.size();
        const auto [end, failure] = std::from_chars(types.data() + i + 1, last, length);
        if (failure != std::errc() || last - end < 2 || (end[0] != 'c' && end[0] != 'C') || end[1] != ']')
            throw Corrupt{u"The archive holds an array of an unknown type."};
        i = static_cast<size_t>(end + 1 - types.data());
        return length;
    }

    static void check(bool holds)
    {
        if (!holds)
            throw Corrupt{u"An object of the archive does not hold what its class has."};
    }

    // Whether `items` have exactly these types.
    static bool haveTypes(const std::vector<Item>& items, std::string_view types)
    {
        return std::equal(items.begin(), items.end(), types.begin(), types.end(),
            [](const Item& item, char type) { return item.type == type; });
    }

    // Whether `items` are a count and `perElement` objects for each counted element.
    static bool areCountedObjects(const std::vector<Item>& items, size_t perElement)
    {
        return !items.empty() && (items[0].type == 'i' || items[0].type == 'I') && items[0].integer >= 0
            && static_cast<uint64_t>(items[0].integer) <= items.size()
            && items.size() == 1 + static_cast<size_t>(items[0].integer) * perElement
            && std::all_of(items.begin() + 1, items.end(), [](const Item& item) { return item.type == '@' && item.object; });
    }

    static Value make(const std::string& name, std::vector<Item>& items)
    {
        if (name == "NSString" || name == "NSMutableString") {
            check(haveTypes(items, "+"));
            const NSString string = NSString::stringWithUTF8String(items[0].bytes);
            check(!string.isAbsent());
            return string;
        }
        if (name == "NSNumber" || name == "NSValue")
            return number(items);
        if (name == "NSArray" || name == "NSMutableArray") {
            check(areCountedObjects(items, 1));
            std::vector<Value> elements;
            for (size_t i = 1; i < items.size(); ++i)
                elements.push_back(items[i].object);
            return NSArray(std::move(elements));
        }
        if (name == "NSDictionary" || name == "NSMutableDictionary") {
            check(areCountedObjects(items, 2));
            NSDictionary dictionary = NSDictionary::dictionary();
            for (size_t i = 1; i < items.size(); i += 2) {
                check(items[i].object.is(Value::Kind::String));
                dictionary.setObject(items[i + 1].object, items[i].object.string());
            }
            return dictionary;
        }
        if (name == "NSData" || name == "NSMutableData") {
            check(haveTypes(items, "i[") && items[0].integer == static_cast<int64_t>(items[1].bytes.size()));
            return NSData::dataWithBytes(items[1].bytes);
        }
        if (name == "NSDate") {
            check(haveTypes(items, "d") && std::isfinite(items[0].real));
            return NSDate::dateWithTimeIntervalSinceReferenceDate(items[0].real);
        }
        if (name == "NSURL") {
            // An address that is relative to another one has none of its own.
            check(haveTypes(items, "c@") && items[0].integer == 0);
            const NSURL url = NSURL::URLWithString(items[1].object.string());
            check(!url.isAbsent());
            return url;
        }
        if (name == "NSError") {
            check(haveTypes(items, "q@@") || haveTypes(items, "i@@"));
            check(items[1].object.is(Value::Kind::String) && (!items[2].object || items[2].object.is(Value::Kind::Dictionary)));
            return NSError(items[1].object.string(), items[0].integer, items[2].object.dictionary());
        }
        if (name == "NSNull") {
            check(items.empty());
            return NSNull();
        }
        throw Corrupt{u"The archive holds an object of an unknown class."};
    }

    // A type as C string and a value of that type. A char of 0 or 1 is how booleans are kept.
    static Value number(const std::vector<Item>& items)
    {
        check(items.size() == 2 && items[0].type == '*' && items[0].bytes == std::string(1, items[1].type));
        const Item& item = items[1];
        if (std::strchr("fd", item.type))
            return item.real;
        check(std::strchr("cCsSiIlLqQB", item.type) != nullptr);
        if ((item.type == 'c' || item.type == 'B') && (item.integer == 0 || item.integer == 1))
            return item.integer == 1;
        return item.integer;
    }

    std::string_view _rest;
    std::vector<std::string> _strings;
    std::vector<Known> _known;
    uint64_t _valuesRead = 0;
};

}

Value NSUnarchiver::unarchiveObjectWithData(const NSData& data, NSError* error)
{
    try {
        return Reader(data.characters()).readArchive();
    } catch (const Corrupt& corrupt) {
        if (error)
            *error =
                NSError(NSCocoaErrorDomain, NSCoderReadCorruptError, {{NSDebugDescriptionErrorKey, NSString(corrupt.reason)}});
        return {};
    }
}
