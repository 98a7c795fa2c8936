#pragma once

// Operations on strings, by subject. They are small and pure, safe from any thread, and never change what they are given.
//
// Lengths and indexes count UTF-16 units unless an operation says that it works on composed character sequences (what a reader
// takes for one character: a base with its marks, a surrogate pair, an emoji sequence). An absent string is accepted everywhere:
// asked for a string, array or data it gives an absent one, asked a question it answers false, 0 or NSOrderedSame.

#include "QVRStringCharacters.h"
#include "QVRStringComparison.h"
#include "QVRStringCreation.h"
#include "QVRStringFourCharCodes.h"
#include "QVRStringLines.h"
#include "QVRStringMunging.h"
#include "QVRStringPercentEscapes.h"
#include "QVRStringPunctuation.h"
