#pragma once

#include "Platform/Foundation/LoadErrors.h"

#include <string_view>

// The platform's error for the engine's name of a network failure ("net::ERR_CONNECTION_REFUSED", with or without "net::"), with
// the failing address as loadError adds it. A name without a counterpart gives NSURLErrorUnknown with the name as failure reason.
// The names are those of the engine's network error list.
[[nodiscard]] NSError errorFromEngineName(std::string_view name, const NSURL& url);
