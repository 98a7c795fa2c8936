#include "Platform/Foundation/XMLPropertyListWriter.h"

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <string_view>

namespace {

constexpr std::string_view head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                  "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                  "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                  "<plist version=\"1.0\">\n";
constexpr std::string_view tail = "</plist>\n";

constexpr int columns = 76;
constexpr int columnsPerTab = 8;
// Deeper data is not indented further, so that some room is left in its lines.
constexpr int mostDataTabs = 8;
constexpr double secondsPerDay = 86400;
constexpr int64_t daysFrom1970To2001 = 11323;

class Writer {
public:
    explicit Writer(std::string& out) : _out(out) { }

    void write(const Value& value, int level)
    {
        _out.append(static_cast<size_t>(level), '\t');
        switch (value.kind()) {
        case Value::Kind::Boolean:
            _out += value.boolValue() ? "<true/>\n" : "<false/>\n";
            break;
        case Value::Kind::Integer:
            element("integer", std::to_string(value.integerValue()));
            break;
        case Value::Kind::Real:
            element("real", realText(value.doubleValue()));
            break;
        case Value::Kind::Date:
            element("date", dateText(value.date().timeIntervalSinceReferenceDate()));
            break;
        case Value::Kind::Data:
            writeData(value.data(), std::min(level, mostDataTabs));
            break;
        case Value::Kind::Array:
            writeArray(value.array(), level);
            break;
        case Value::Kind::Dictionary:
            writeDictionary(value.dictionary(), level);
            break;
        default:
            textElement("string", value.string());
            break;
        }
    }

private:
    void element(std::string_view name, std::string_view content)
    {
        ((((_out += '<') += name) += '>') += content) += "</";
        (_out += name) += ">\n";
    }

    void textElement(std::string_view name, const NSString& text) { element(name, escaped(text.UTF8())); }

    static std::string escaped(std::string_view bytes)
    {
        std::string result;
        result.reserve(bytes.size());
        for (size_t i = 0; i < bytes.size(); ++i) {
            const auto byte = static_cast<unsigned char>(bytes[i]);
            if (byte == '&')
                result += "&amp;";
            else if (byte == '<')
                result += "&lt;";
            else if (byte == '>')
                result += "&gt;";
            else if (byte == '\r')
                result += "&#13;";   // a plain one would be read as a line feed
            else if (byte < 0x20 && byte != '\t' && byte != '\n')
                result += "\xef\xbf\xbd";
            else if (byte == 0xef && isNoncharacter(bytes.substr(i, 3))) {
                result += "\xef\xbf\xbd";
                i += 2;
            } else
                result += static_cast<char>(byte);
        }
        return result;
    }

    // U+FFFE and U+FFFF, which no XML document may hold.
    static bool isNoncharacter(std::string_view bytes) { return bytes == "\xef\xbf\xbe" || bytes == "\xef\xbf\xbf"; }

    static std::string realText(double real)
    {
        if (std::isinf(real))
            return real > 0 ? "+infinity" : "-infinity";
        return NSStringFromDouble(real).UTF8();
    }

    // The Gregorian date of a count of days since 1970-01-01, for any year that a double's seconds can name exactly.
    static std::string dateText(double seconds)
    {
        const double wholeSeconds = std::floor(seconds);
        const double days = std::floor(wholeSeconds / secondsPerDay);
        const auto secondOfDay = static_cast<int>(wholeSeconds - days * secondsPerDay);
        int64_t day = static_cast<int64_t>(days) + daysFrom1970To2001 + 719468;   // since 0000-03-01
        const int64_t era = (day >= 0 ? day : day - 146096) / 146097;             // of 400 years
        day -= era * 146097;
        const int64_t yearOfEra = (day - day / 1460 + day / 36524 - day / 146096) / 365;
        const int64_t dayOfYear = day - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
        const int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;   // from March
        const auto dayOfMonth = static_cast<int>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
        const auto month = static_cast<int>(shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9);
        const long long year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
        char text[64];
        std::snprintf(text, sizeof text, "%04lld-%02d-%02dT%02d:%02d:%02dZ", year, month, dayOfMonth, secondOfDay / 3600,
            secondOfDay / 60 % 60, secondOfDay % 60);
        return text;
    }

    void writeData(const NSData& data, int level)
    {
        const std::string indentation(static_cast<size_t>(level), '\t');
        const std::unique_ptr<char, decltype(&g_free)> encoded(
            g_base64_encode(reinterpret_cast<const guchar*>(data.bytes().data()), data.length()), g_free);
        std::string_view rest = encoded.get();
        // Whole groups of four characters.
        const auto lineLength = static_cast<size_t>((columns - level * columnsPerTab) / 4 * 4);
        _out += "<data>\n";
        while (!rest.empty()) {
            ((_out += indentation) += rest.substr(0, lineLength)) += '\n';
            rest.remove_prefix(std::min(lineLength, rest.size()));
        }
        (_out += indentation) += "</data>\n";
    }

    void writeArray(const NSArray& array, int level)
    {
        if (array.count() == 0) {
            _out += "<array/>\n";
            return;
        }
        _out += "<array>\n";
        for (const Value& element : array)
            write(element, level + 1);
        _out.append(static_cast<size_t>(level), '\t');
        _out += "</array>\n";
    }

    void writeDictionary(const NSDictionary& dictionary, int level)
    {
        if (dictionary.count() == 0) {
            _out += "<dict/>\n";
            return;
        }
        _out += "<dict>\n";
        for (const auto& [key, value] : dictionary) {
            _out.append(static_cast<size_t>(level) + 1, '\t');
            textElement("key", key);
            write(value, level + 1);
        }
        _out.append(static_cast<size_t>(level), '\t');
        _out += "</dict>\n";
    }

    std::string& _out;
};

}

std::string XMLPropertyList(const Value& propertyList)
{
    std::string out(head);
    Writer(out).write(propertyList, 0);
    out += tail;
    return out;
}
