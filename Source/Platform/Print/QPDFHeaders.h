#pragma once

// qpdf's main headers, for every file that uses the library: to be included before any other of its headers.

// Says that this code does without the library's old pointers.
#ifndef POINTERHOLDER_TRANSITION
#define POINTERHOLDER_TRANSITION 4
#endif

// Clang 14 cannot compile the library's JSON header as C++20 with GCC's library. Nothing here uses it.
#if defined(__clang__) && !defined(JSON_HH)
#define JSON_HH
class JSON;
#endif

#include <functional>
#include <map>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
