#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace support {

using SettingList = std::vector<std::string>;
using SettingPairs = std::vector<SettingList>;
using Setting = std::variant<bool, int64_t, double, std::string, SettingList, SettingPairs>;
using Settings = std::map<std::string, Setting>;

// The text of a preferences file (XML property list) that holds these settings.
[[nodiscard]] std::string preferencesFile(const Settings& settings);

}
