#pragma once

#include <cstdint>
#include <string_view>

// The constants of the typed-stream format, as its files have them.
namespace TypedStream {

inline constexpr int8_t version = 4;
inline constexpr std::string_view littleEndianSignature = "streamtyped";
inline constexpr int systemVersion = 1000;

// First bytes that are no small number. Anything from lowestTag to highestTag as a number takes the two-byte form.
enum Tag : int8_t {
    IntegerOfTwoBytes = -127,
    IntegerOfFourBytes = -126,
    FloatingPoint = -125,
    New = -124,
    Nil = -123,
    EndOfObject = -122,
    IntegerOfEightBytes = -121,
};
inline constexpr int lowestTag = -128;
inline constexpr int highestTag = -111;

// Strings, and classes and objects together, are numbered from here when they are first written.
inline constexpr int firstReference = -110;

}
