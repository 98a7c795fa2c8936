#include "Platform/Foundation/Value.h"

#include "Platform/Foundation/NSException.h"

#include <cmath>
#include <limits>

namespace {

// Whether both name the same number, without rounding either to the other's type.
bool isSameNumber(int64_t integer, double real)
{
    return real >= -0x1p63 && real < 0x1p63 && static_cast<int64_t>(real) == integer && std::trunc(real) == real;
}

}

// Each present thing goes in under its own kind; an absent one leaves the value absent.
Value::Value(NSString string)
{
    if (string)
        _held = std::move(string);
}

Value::Value(NSData data)
{
    if (data)
        _held = std::move(data);
}

Value::Value(NSDate date)
{
    if (date)
        _held = date;
}

Value::Value(NSArray array)
{
    if (array)
        _held = std::move(array);
}

Value::Value(NSDictionary dictionary)
{
    if (dictionary)
        _held = std::move(dictionary);
}

Value::Value(NSURL url)
{
    if (url)
        _held = std::move(url);
}

Value::Value(NSError error)
{
    if (error)
        _held = std::move(error);
}

Value::Value(std::shared_ptr<const NSObject> object)
{
    if (object)
        _held = std::move(object);
}

bool Value::isNumber() const
{
    return is(Kind::Boolean) || is(Kind::Integer) || is(Kind::Real);
}

NSData Value::data() const
{
    return heldOrAbsent<NSData>();
}

NSDate Value::date() const
{
    return heldOrAbsent<NSDate>();
}

NSDictionary Value::dictionary() const
{
    return heldOrAbsent<NSDictionary>();
}

NSURL Value::url() const
{
    return heldOrAbsent<NSURL>();
}

NSError Value::error() const
{
    return heldOrAbsent<NSError>();
}

std::shared_ptr<const NSObject> Value::object() const
{
    return heldOrAbsent<std::shared_ptr<const NSObject>>();
}

bool Value::boolValue() const
{
    switch (kind()) {
    case Kind::Boolean:
        return std::get<bool>(_held);
    case Kind::Integer:
        return std::get<int64_t>(_held) != 0;
    case Kind::Real:
        return std::get<double>(_held) != 0;
    case Kind::String:
        return std::get<NSString>(_held).boolValue();
    default:
        return false;
    }
}

int64_t Value::integerValue() const
{
    switch (kind()) {
    case Kind::Boolean:
        return std::get<bool>(_held);
    case Kind::Integer:
        return std::get<int64_t>(_held);
    case Kind::Real: {
        const double real = std::get<double>(_held);
        if (std::isnan(real))
            return 0;
        if (real >= 0x1p63)
            return std::numeric_limits<int64_t>::max();
        return real <= -0x1p63 ? std::numeric_limits<int64_t>::min() : static_cast<int64_t>(real);
    }
    case Kind::String:
        return std::get<NSString>(_held).integerValue();
    default:
        return 0;
    }
}

double Value::doubleValue() const
{
    switch (kind()) {
    case Kind::Boolean:
        return std::get<bool>(_held);
    case Kind::Integer:
        return static_cast<double>(std::get<int64_t>(_held));
    case Kind::Real:
        return std::get<double>(_held);
    case Kind::String:
        return std::get<NSString>(_held).doubleValue();
    default:
        return 0;
    }
}

::Class Value::classObject() const
{
    switch (kind()) {
    case Kind::Absent:
        break;
    case Kind::Null:
        return ::Class("NSNull");
    case Kind::Boolean:
    case Kind::Integer:
    case Kind::Real:
        return ::Class("NSNumber");
    case Kind::String:
        return ::Class("NSString");
    case Kind::Data:
        return ::Class("NSData");
    case Kind::Date:
        return ::Class("NSDate");
    case Kind::Array:
        return ::Class("NSArray");
    case Kind::Dictionary:
        return ::Class("NSDictionary");
    case Kind::URL:
        return ::Class("NSURL");
    case Kind::Error:
        return ::Class("NSError");
    case Kind::Class:
        return heldClass();
    case Kind::Object:
        return std::get<std::shared_ptr<const NSObject>>(_held)->classObject();
    }
    throw NSException(NSInternalInconsistencyException, u"An absent value has no class.");
}

NSString Value::description() const
{
    switch (kind()) {
    case Kind::Absent:
        break;
    case Kind::Null:
        return u"<null>";
    case Kind::Boolean:
        return std::get<bool>(_held) ? u"1" : u"0";
    case Kind::Integer:
        return NSString::stringWithFormat(u"%lld", std::get<int64_t>(_held));
    case Kind::Real:
        return NSStringFromDouble(std::get<double>(_held));
    case Kind::String:
        return std::get<NSString>(_held);
    case Kind::Data:
        return std::get<NSData>(_held).description();
    case Kind::Date:
        return std::get<NSDate>(_held).description();
    case Kind::Array:
        return std::get<NSArray>(_held).description();
    case Kind::Dictionary:
        return std::get<NSDictionary>(_held).description();
    case Kind::URL:
        return std::get<NSURL>(_held).description();
    case Kind::Error:
        return std::get<NSError>(_held).description();
    case Kind::Class:
        return heldClass().name();
    case Kind::Object:
        return std::get<std::shared_ptr<const NSObject>>(_held)->description();
    }
    return {};
}

bool Value::isEqual(const Value& other) const
{
    if (isAbsent() || other.isAbsent())
        return false;
    if (isNumber() && other.isNumber()) {
        const bool isReal = is(Kind::Real);
        if (isReal && other.is(Kind::Real)) {
            // Deliberate: as objects two NaNs are the same number.
            const double a = doubleValue();
            const double b = other.doubleValue();
            return a == b || (std::isnan(a) && std::isnan(b));
        }
        if (!isReal && !other.is(Kind::Real))
            return integerValue() == other.integerValue();
        return isReal ? isSameNumber(other.integerValue(), doubleValue()) : isSameNumber(integerValue(), other.doubleValue());
    }
    if (is(Kind::Object) && other.is(Kind::Object))
        return object()->isEqual(*other.object());
    return _held == other._held;
}

bool Value::conformsToCoding() const
{
    if (is(Kind::Object))
        return object()->conformsToCoding();
    return !isAbsent() && !is(Kind::Class);
}
