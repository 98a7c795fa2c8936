#pragma once

#include "Platform/Foundation/NSException.h"
#include "QVRException.h"

#include <optional>
#include <string>

namespace support {

// The platform's exception that `operation` throws, as "NAME: REASON".
std::string reasonOf(const auto& operation)
{
    try {
        operation();
    } catch (const NSException& exception) {
        return exception.name().UTF8() + ": " + exception.reason().UTF8();
    }
    return "nothing raised";
}

// The library's exception that `operation` throws; none when it throws nothing.
std::optional<QVRException> thrownBy(const auto& operation)
{
    try {
        operation();
    } catch (const QVRException& exception) {
        return exception;
    }
    return {};
}

}
