#pragma once

#include "Platform/Foundation/Value.h"

#include <ostream>

// How failed expectations show the platform's values. Include it in tests that compare them.

inline void PrintTo(const NSString& string, std::ostream* out)
{
    *out << (string ? '"' + string.UTF8() + '"' : "absent");
}

inline void PrintTo(const Value& value, std::ostream* out)
{
    PrintTo(value.description(), out);
}

inline void PrintTo(const NSDictionary& dictionary, std::ostream* out)
{
    PrintTo(dictionary ? dictionary.description() : NSString(), out);
}

inline void PrintTo(const NSArray& array, std::ostream* out)
{
    PrintTo(array ? array.description() : NSString(), out);
}

inline void PrintTo(const NSError& error, std::ostream* out)
{
    PrintTo(error ? error.description() : NSString(), out);
}
