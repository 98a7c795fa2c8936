#include "Platform/Foundation/NSDebug.h"

#include <cstdlib>
#include <string_view>

bool NSDebugEnabled = [] {
    const char* const value = std::getenv("NSDebugEnabled");
    const std::string_view text = value ? value : "";
    return text == "YES" || text == "TRUE" || text == "1";
}();
