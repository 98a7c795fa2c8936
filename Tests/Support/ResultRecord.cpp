#include "Support/ResultRecord.h"

#include "Support/PropertyListReader.h"
#include "Support/Subprocess.h"
#include "Support/TemporaryFolder.h"

#include <algorithm>
#include <stdexcept>

namespace support {

namespace {

constexpr std::string_view head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                  "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                  "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                  "<plist version=\"1.0\">\n";

}

ResultRecord readRecord(std::string_view bytes)
{
    const std::string shown = "in what should be a record: \"" + std::string(bytes.substr(0, 2000)) + "\"";
    if (!bytes.starts_with(head))
        throw std::runtime_error("another beginning " + shown);
    if (!bytes.ends_with("</plist>\n") || bytes.find("</plist>") != bytes.size() - 9)
        throw std::runtime_error("another end " + shown);
    const PropertyList list(bytes);
    if (!list.isDictionary())
        throw std::runtime_error("no dictionary " + shown);

    ResultRecord record;
    record.keys = list.keys();
    record.succeeded = list.boolean("succeeded");
    record.errorData = list.data("errorData");
    record.errorString = list.text("errorString");
    record.title = list.text("title");
    record.url = list.text("url");
    record.path = list.text("path");

    std::vector<std::string> expected;
    if (record.succeeded)
        expected.emplace_back("succeeded");
    if (record.errorData)
        expected.emplace_back("errorData");
    if (record.errorString)
        expected.emplace_back("errorString");
    if (record.title)
        expected.emplace_back("title");
    if (record.url)
        expected.emplace_back("url");
    if (record.path)
        expected.emplace_back("path");
    if (record.keys != expected)
        throw std::runtime_error("other keys, or another order or kind of values, " + shown);
    if (!record.succeeded)
        throw std::runtime_error("no \"succeeded\" " + shown);
    if (record.errorData.has_value() == *record.succeeded || record.errorString.has_value() == *record.succeeded)
        throw std::runtime_error("an error with success or the other way round " + shown);
    return record;
}

std::optional<std::string> ArchivedError::value(std::string_view key) const
{
    for (const auto& [name, text] : userInfo)
        if (name == key)
            return text;
    return {};
}

ArchivedError readArchivedError(std::string_view bytes)
{
    const TemporaryFolder folder;
    const PropertyList list(runHelper({"python3", "-I", "-B", READ_ERROR_SCRIPT, folder.write("error", bytes)}));
    ArchivedError error;
    error.domain = list.text("domain").value_or("");
    error.code = std::stoll(list.text("code").value_or(""));
    for (const PropertyList& entry : list.at("userInfo").elements())
        error.userInfo.emplace_back(entry.text("key").value_or(""), entry.text("value").value_or(""));
    return error;
}

}
