#include "Platform/Foundation/NSArchiver.h"

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/TypedStream.h"

#include <bit>
#include <cmath>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace {

// The classes of what is archived, their versions and superclasses.
struct ArchivedClass {
    const char* name;
    int version;
    const ArchivedClass* superclass;
};

constexpr ArchivedClass objectClass = {"NSObject", 0, nullptr};
constexpr ArchivedClass errorClass = {"NSError", 0, &objectClass};
constexpr ArchivedClass stringClass = {"NSString", 1, &objectClass};
constexpr ArchivedClass dictionaryClass = {"NSDictionary", 0, &objectClass};
constexpr ArchivedClass arrayClass = {"NSArray", 0, &objectClass};
constexpr ArchivedClass urlClass = {"NSURL", 0, &objectClass};
constexpr ArchivedClass valueClass = {"NSValue", 0, &objectClass};
constexpr ArchivedClass numberClass = {"NSNumber", 0, &valueClass};
constexpr ArchivedClass dateClass = {"NSDate", 0, &objectClass};
constexpr ArchivedClass dataClass = {"NSData", 0, &objectClass};
constexpr ArchivedClass nullClass = {"NSNull", 0, &objectClass};

class Archiver {
public:
    NSData archive(const Value& root)
    {
        integer(TypedStream::version);
        string(TypedStream::littleEndianSignature);
        integer(TypedStream::systemVersion);
        typedObject(root, 0);
        return NSData(std::move(_bytes));
    }

private:
    void byte(int value) { _bytes.push_back(static_cast<std::byte>(value & 0xff)); }

    void raw(std::string_view bytes)
    {
        const auto* const first = reinterpret_cast<const std::byte*>(bytes.data());
        _bytes.insert(_bytes.end(), first, first + bytes.size());
    }

    void littleEndian(uint64_t number, int size)
    {
        for (int i = 0; i < size; ++i)
            byte(static_cast<int>(number >> (8 * i) & 0xff));
    }

    // The shortest form.
    void integer(int64_t number)
    {
        if (number > TypedStream::highestTag && number <= std::numeric_limits<int8_t>::max()) {
            byte(static_cast<int>(number));
        } else if (number >= std::numeric_limits<int16_t>::min() && number <= std::numeric_limits<int16_t>::max()) {
            byte(TypedStream::IntegerOfTwoBytes);
            littleEndian(static_cast<uint64_t>(number), 2);
        } else if (number >= std::numeric_limits<int32_t>::min() && number <= std::numeric_limits<int32_t>::max()) {
            byte(TypedStream::IntegerOfFourBytes);
            littleEndian(static_cast<uint64_t>(number), 4);
        } else {
            byte(TypedStream::IntegerOfEightBytes);
            littleEndian(static_cast<uint64_t>(number), 8);
        }
    }

    // A whole number is written as one.
    void real(double number)
    {
        const bool isWhole = number == std::trunc(number) && std::abs(number) <= std::numeric_limits<int32_t>::max()
            && !(number == 0 && std::signbit(number));
        if (isWhole) {
            integer(static_cast<int64_t>(number));
        } else {
            byte(TypedStream::FloatingPoint);
            littleEndian(std::bit_cast<uint64_t>(number), 8);
        }
    }

    void string(std::string_view bytes)
    {
        integer(count(bytes.size()));
        raw(bytes);
    }

    void reference(size_t number) { integer(static_cast<int64_t>(number) + TypedStream::firstReference); }

    // A string that is written once and referred to afterwards.
    void sharedString(const std::string& text)
    {
        const auto [entry, isNew] = _strings.try_emplace(text, _strings.size());
        if (!isNew) {
            reference(entry->second);
            return;
        }
        byte(TypedStream::New);
        string(text);
    }

    // A C string is an object of its own that holds a shared string.
    void cString(const std::string& text)
    {
        const auto [entry, isNew] = _cStrings.try_emplace(text, _objectCount);
        if (!isNew) {
            reference(entry->second);
            return;
        }
        ++_objectCount;
        byte(TypedStream::New);
        sharedString(text);
    }

    void classChain(const ArchivedClass* archivedClass)
    {
        for (; archivedClass; archivedClass = archivedClass->superclass) {
            const auto [entry, isNew] = _classes.try_emplace(archivedClass, _objectCount);
            if (!isNew) {
                reference(entry->second);
                return;
            }
            ++_objectCount;
            byte(TypedStream::New);
            sharedString(archivedClass->name);
            integer(archivedClass->version);
        }
        byte(TypedStream::Nil);
    }

    void beginObject(const ArchivedClass& archivedClass)
    {
        ++_objectCount;
        byte(TypedStream::New);
        classChain(&archivedClass);
    }

    void endObject() { byte(TypedStream::EndOfObject); }

    static int64_t count(size_t count)
    {
        if (count > static_cast<size_t>(std::numeric_limits<int32_t>::max()))
            throw NSException(NSInvalidArgumentException, u"An archive cannot hold so large an object.");
        return static_cast<int64_t>(count);
    }

    void typedCount(size_t number)
    {
        sharedString("i");
        integer(count(number));
    }

    void typedString(const NSString& text)
    {
        sharedString("+");
        string(text.UTF8());
    }

    void typedObject(const Value& value, int depth)
    {
        sharedString("@");
        object(value, depth);
    }

    void number(const Value& value)
    {
        beginObject(numberClass);
        const char* const type = value.is(Value::Kind::Boolean) ? "c" : value.is(Value::Kind::Integer) ? "q" : "d";
        sharedString("*");
        cString(type);
        sharedString(type);
        if (value.is(Value::Kind::Boolean))
            byte(value.boolValue() ? 1 : 0);
        else if (value.is(Value::Kind::Integer))
            integer(value.integerValue());
        else
            real(value.doubleValue());
        endObject();
    }

    void data(const NSData& data)
    {
        beginObject(dataClass);
        typedCount(data.length());
        sharedString("[" + std::to_string(data.length()) + "c]");
        raw(data.characters());
        endObject();
    }

    void error(const NSError& error, int depth)
    {
        beginObject(errorClass);
        sharedString("q");
        integer(error.code());
        typedObject(error.domain(), depth);
        typedObject(error.userInfo().count() > 0 ? Value(error.userInfo()) : Value(), depth);
        endObject();
    }

    // What lies `depth` objects deep.
    void object(const Value& value, int depth)
    {
        if (!value) {
            byte(TypedStream::Nil);
            return;
        }
        if (depth == NSArchiver::deepestNesting)
            throw NSException(NSInvalidArgumentException, u"The objects to archive lie too deep inside each other.");
        switch (value.kind()) {
        case Value::Kind::Null:
            beginObject(nullClass);
            endObject();
            break;
        case Value::Kind::Boolean:
        case Value::Kind::Integer:
        case Value::Kind::Real:
            number(value);
            break;
        case Value::Kind::String:
            beginObject(stringClass);
            typedString(value.string());
            endObject();
            break;
        case Value::Kind::Data:
            data(value.data());
            break;
        case Value::Kind::Date:
            beginObject(dateClass);
            sharedString("d");
            real(value.date().timeIntervalSinceReferenceDate());
            endObject();
            break;
        case Value::Kind::Array:
            beginObject(arrayClass);
            typedCount(value.array().count());
            for (const Value& element : value.array())
                typedObject(element, depth + 1);
            endObject();
            break;
        case Value::Kind::Dictionary:
            beginObject(dictionaryClass);
            typedCount(value.dictionary().count());
            for (const auto& [key, element] : value.dictionary()) {
                typedObject(key, depth + 1);
                typedObject(element, depth + 1);
            }
            endObject();
            break;
        case Value::Kind::URL:
            beginObject(urlClass);
            sharedString("c");
            byte(0);   // not relative to another address
            typedObject(value.url().absoluteString(), depth + 1);
            endObject();
            break;
        case Value::Kind::Error:
            error(value.error(), depth + 1);
            break;
        default:
            throw NSException(NSInvalidArgumentException,
                NSString::stringWithFormat(
                    u"An object of the class %@ cannot be archived.", NSStringFromClass(value.classObject())));
        }
    }

    std::vector<std::byte> _bytes;
    std::map<std::string, size_t> _strings;
    std::map<std::string, size_t> _cStrings;
    std::map<const ArchivedClass*, size_t> _classes;
    size_t _objectCount = 0;   // objects, classes and C strings
};

}

NSData NSArchiver::archivedDataWithRootObject(const Value& rootObject)
{
    return Archiver().archive(rootObject);
}
