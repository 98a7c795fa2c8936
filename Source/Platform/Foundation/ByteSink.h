#pragma once

#include <cstddef>
#include <functional>
#include <span>

// Takes the next bytes of a stream, which are borrowed for the call. False stops the writer, which then reports a failure.
using ByteSink = std::function<bool(std::span<const std::byte> bytes)>;
