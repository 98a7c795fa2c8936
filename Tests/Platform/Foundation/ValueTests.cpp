#include "Platform/Foundation/Value.h"

#include "Platform/Foundation/NSException.h"
#include "Support/Printing.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

class Ticket : public NSObject {
public:
    explicit Ticket(int number) : _number(number) { }
    Class classObject() const override { return Class("Ticket"); }
    NSString description() const override { return NSString::stringWithFormat(u"ticket %d", _number); }
    bool isEqual(const NSObject& other) const override
    {
        const auto* const ticket = dynamic_cast<const Ticket*>(&other);
        return ticket && ticket->_number == _number;
    }
    bool conformsToCoding() const override { return true; }

private:
    int _number;
};

class Plain : public NSObject { };

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

// One value of each kind.
std::vector<Value> oneOfEach()
{
    return {Value(), NSNull(), true, 7, 1.5, u"text", NSData::dataWithBytes("x"),
        NSDate::dateWithTimeIntervalSinceReferenceDate(0), NSArray{1}, NSDictionary{{u"a", 1}},
        NSURL::URLWithString(u"http://h/"), NSError(u"D", 3), Class("NSView"), std::make_shared<Ticket>(1)};
}

}

TEST(Value, KnowsItsKind)
{
    using Kind = Value::Kind;
    const std::vector<Value> values = oneOfEach();
    const Kind kinds[] = {Kind::Absent, Kind::Null, Kind::Boolean, Kind::Integer, Kind::Real, Kind::String, Kind::Data,
        Kind::Date, Kind::Array, Kind::Dictionary, Kind::URL, Kind::Error, Kind::Class, Kind::Object};
    ASSERT_EQ(values.size(), std::size(kinds));
    for (size_t index = 0; index < values.size(); ++index) {
        EXPECT_EQ(values[index].kind(), kinds[index]) << index;
        EXPECT_TRUE(values[index].is(kinds[index])) << index;
        EXPECT_EQ(values[index].isAbsent(), index == 0) << index;
        EXPECT_EQ(bool(values[index]), index != 0) << index;
        EXPECT_EQ(values[index].isNumber(), index >= 2 && index <= 4) << index;
        EXPECT_EQ(values[index].answersNumberConversions(), index >= 2 && index <= 5) << index;
    }
}

TEST(Value, IsAbsentWhenMadeOfSomethingAbsent)
{
    for (const Value& value : {Value(nullptr), Value(NSString()), Value(NSData()), Value(NSDate()), Value(NSArray()),
             Value(NSDictionary()), Value(NSURL()), Value(NSError()), Value(std::shared_ptr<const NSObject>()),
             Value(std::shared_ptr<Ticket>()), Value(static_cast<const char16_t*>(nullptr))})
        EXPECT_TRUE(value.isAbsent());
}

TEST(Value, GivesWhatItHoldsAndNothingElse)
{
    for (const Value& value : oneOfEach()) {
        using Kind = Value::Kind;
        EXPECT_EQ(bool(value.string()), value.is(Kind::String));
        EXPECT_EQ(bool(value.data()), value.is(Kind::Data));
        EXPECT_EQ(bool(value.date()), value.is(Kind::Date));
        EXPECT_EQ(bool(value.array()), value.is(Kind::Array));
        EXPECT_EQ(bool(value.dictionary()), value.is(Kind::Dictionary));
        EXPECT_EQ(bool(value.url()), value.is(Kind::URL));
        EXPECT_EQ(bool(value.error()), value.is(Kind::Error));
        EXPECT_EQ(bool(value.object()), value.is(Kind::Object));
    }
    EXPECT_EQ(Value(u"text").string(), NSString(u"text"));
    EXPECT_EQ(Value(NSArray{1}).array()[0].integerValue(), 1);
    EXPECT_EQ(Value(Class("NSView")).heldClass(), Class("NSView"));
}

TEST(Value, ConvertsNumbersAndStrings)
{
    const struct {
        Value value;
        bool boolean;
        int64_t integer;
        double real;
    } rows[] = {
        {true, true, 1, 1},
        {false, false, 0, 0},
        {7, true, 7, 7},
        {0, false, 0, 0},
        {-1, true, -1, -1},
        {1.9, true, 1, 1.9},
        {-1.9, true, -1, -1.9},
        {0.0, false, 0, 0},
        {0.5, true, 0, 0.5},
        {1e300, true, INT64_MAX, 1e300},
        {-1e300, true, INT64_MIN, -1e300},
        {u"YES", true, 0, 0},
        {u"2.5", true, 2, 2.5},
        {u"no", false, 0, 0},
        {NSNull(), false, 0, 0},
        {NSArray{1}, false, 0, 0},
        {NSData::dataWithBytes("1"), false, 0, 0},
        {Value(), false, 0, 0},
    };
    for (const auto& [value, boolean, integer, real] : rows) {
        EXPECT_EQ(value.boolValue(), boolean) << value.description().UTF8();
        EXPECT_EQ(value.integerValue(), integer) << value.description().UTF8();
        EXPECT_EQ(value.doubleValue(), real) << value.description().UTF8();
    }
    EXPECT_EQ(Value(notANumber).integerValue(), 0);
}

TEST(Value, DescribesItself)
{
    const std::string texts[] = {"", "<null>", "1", "7", "1.5", "text", "{length = 1, bytes = 0x78}", "2001-01-01 00:00:00 +0000",
        "(\n    1\n)", "{\n    a = 1;\n}", "http://h/", NSError(u"D", 3).description().UTF8(), "NSView", "ticket 1"};
    const std::vector<Value> values = oneOfEach();
    for (size_t index = 0; index < values.size(); ++index) {
        EXPECT_EQ(values[index].description().UTF8(), texts[index]) << index;
    }
    EXPECT_TRUE(Value().description().isAbsent());
    EXPECT_EQ(Value(false).description(), NSString(u"0"));
    EXPECT_EQ(Value(INT64_MIN).description(), NSString(u"-9223372036854775808"));
    EXPECT_EQ(Value(1.0).description(), NSString(u"1"));
}

TEST(Value, KnowsTheClassOfWhatItHolds)
{
    const char* const names[] = {"", "NSNull", "NSNumber", "NSNumber", "NSNumber", "NSString", "NSData", "NSDate", "NSArray",
        "NSDictionary", "NSURL", "NSError", "NSView", "Ticket"};
    const std::vector<Value> values = oneOfEach();
    for (size_t index = 1; index < values.size(); ++index)
        EXPECT_EQ(NSStringFromClass(values[index].classObject()).UTF8(), names[index]);
    EXPECT_THROW((void)Value().classObject(), NSException);
}

TEST(Value, IsEqualWithEqualContents)
{
    const std::vector<Value> values = oneOfEach();
    const std::vector<Value> others = oneOfEach();
    for (size_t i = 0; i < values.size(); ++i) {
        for (size_t j = 0; j < values.size(); ++j) {
            EXPECT_EQ(values[i].isEqual(others[j]), i == j && i != 0) << i << " " << j;
            EXPECT_EQ(values[i] == others[j], i == j) << i << " " << j;
        }
    }
    EXPECT_FALSE(Value(std::make_shared<Ticket>(1)).isEqual(Value(std::make_shared<Ticket>(2))));
    const auto plain = std::make_shared<Plain>();
    EXPECT_TRUE(Value(plain).isEqual(Value(plain)));
    EXPECT_FALSE(Value(plain).isEqual(Value(std::make_shared<Plain>())));
    EXPECT_FALSE(Value(u"é").isEqual(u"e\u0301"));
}

TEST(Value, ComparesNumbersByValueWhateverTheirKind)
{
    const struct {
        Value a;
        Value b;
        bool isEqual;
    } rows[] = {
        {true, 1, true},
        {false, 0.0, true},
        {true, 2, false},
        {1, 1.0, true},
        {1, 1.5, false},
        {0.0, -0.0, true},
        {INT64_MAX, 9223372036854775808.0, false},
        {INT64_MIN, -9223372036854775808.0, true},
        {int64_t(9007199254740993), 9007199254740992.0, false},
        {notANumber, notANumber, true},
        {notANumber, 0, false},
        {1, u"1", false},
    };
    for (const auto& [a, b, isEqual] : rows) {
        EXPECT_EQ(a.isEqual(b), isEqual) << a.description().UTF8() << " " << b.description().UTF8();
        EXPECT_EQ(b.isEqual(a), isEqual) << a.description().UTF8() << " " << b.description().UTF8();
    }
}

TEST(Value, CanBeArchivedUnlessItIsAClassOrADifficultObject)
{
    for (const Value& value : oneOfEach())
        EXPECT_EQ(value.conformsToCoding(), !value.isAbsent() && !value.is(Value::Kind::Class));
    EXPECT_FALSE(Value(std::make_shared<Plain>()).conformsToCoding());
}

TEST(NSObject, DescribesItselfByClassAndAddress)
{
    const Plain plain;
    const NSString expected = NSString::stringWithFormat(u"<NSObject: %p>", static_cast<const void*>(&plain));
    EXPECT_EQ(plain.description(), expected);
    EXPECT_TRUE(expected.hasPrefix(u"<NSObject: 0x"));
    EXPECT_FALSE(plain.conformsToCoding());
    EXPECT_TRUE(plain.answersClassMembership());
}
