#include "Support/Settings.h"

namespace support {

namespace {

std::string escaped(const std::string& text)
{
    std::string result;
    for (const char character : text) {
        if (character == '&')
            result += "&amp;";
        else if (character == '<')
            result += "&lt;";
        else
            result += character;
    }
    return result;
}

std::string element(bool value)
{
    return value ? "<true/>" : "<false/>";
}
std::string element(int64_t value)
{
    return "<integer>" + std::to_string(value) + "</integer>";
}
std::string element(double value)
{
    return "<real>" + std::to_string(value) + "</real>";
}
std::string element(const std::string& value)
{
    return "<string>" + escaped(value) + "</string>";
}

template <typename Element>
std::string element(const std::vector<Element>& values)
{
    std::string text = "<array>";
    for (const Element& value : values)
        text += element(value);
    return text + "</array>";
}

}

std::string preferencesFile(const Settings& settings)
{
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n";
    for (const auto& [key, setting] : settings) {
        text += "<key>" + escaped(key) + "</key>\n";
        text += std::visit([](const auto& value) { return element(value); }, setting) + "\n";
    }
    return text + "</dict>\n</plist>\n";
}

}
