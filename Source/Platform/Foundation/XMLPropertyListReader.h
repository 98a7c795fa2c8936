#pragma once

#include "Platform/Foundation/Value.h"

#include <string_view>

// What an XML property list holds. Absent unless `text` is exactly one: well-formed UTF-8, known elements in their places, a
// value for every key, and numbers, dates and data that can be read exactly, with at most `deepestNesting` containers inside each
// other. Of entries with the same key the last counts. Linear in the size of the text; never recurses.
//
// XMLTokens is all the XML that this takes, at three times the speed of GLib's parser or Expat: settings may hold lists of
// 100,000 hosts. libplist takes whatever resembles a property list.
[[nodiscard]] Value valueOfXMLPropertyList(std::string_view text, int deepestNesting);
