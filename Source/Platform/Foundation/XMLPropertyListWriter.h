#pragma once

#include "Platform/Foundation/Value.h"

#include <string>

// `propertyList` (which must be one, see NSPropertyListSerialization::defectOfPropertyList) as an XML property list 1.0 in UTF-8,
// laid out as the platform does: a tab for each level, data in lines of at most 76 columns where a tab counts 8. The property
// list library is not used for this: it leaves carriage returns and control characters as they are, so that others cannot read
// the file, and its dates end in 2069.
[[nodiscard]] std::string XMLPropertyList(const Value& propertyList);
