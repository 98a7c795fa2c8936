#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace support {

// The tool's answer as an outside reader (libplist) sees it.
struct ResultRecord {
    std::vector<std::string> keys;   // in their order
    std::optional<bool> succeeded;
    std::optional<std::string> errorData;   // bytes
    std::optional<std::string> errorString;
    std::optional<std::string> title;
    std::optional<std::string> url;
    std::optional<std::string> path;

    [[nodiscard]] bool hasSucceeded() const { return succeeded.value_or(false); }
};

// Throws std::runtime_error when the bytes are not exactly one record: an XML property list with the public document type, the
// known keys in their fixed order, each of its own kind, "errorData" and "errorString" exactly when it did not succeed.
[[nodiscard]] ResultRecord readRecord(std::string_view bytes);

// An archived error as an independent reader of its format (read_error.py) sees it.
struct ArchivedError {
    std::string domain;
    long long code = 0;
    // The user info, in order. URLs are given as their text.
    std::vector<std::pair<std::string, std::string>> userInfo;

    [[nodiscard]] std::optional<std::string> value(std::string_view key) const;
};
[[nodiscard]] ArchivedError readArchivedError(std::string_view bytes);

}
