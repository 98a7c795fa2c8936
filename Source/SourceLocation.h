#pragma once

// Where in the source a call stands. As a default argument, SourceLocation::current() is the place of the caller.
struct SourceLocation {
    const char* file;   // as the compiler was given it
    unsigned long line;
    const char* function;   // the compiler's name of the enclosing function

    [[nodiscard]] static constexpr SourceLocation current(const char* currentFile = __builtin_FILE(),
        unsigned long currentLine = __builtin_LINE(), const char* currentFunction = __builtin_FUNCTION())
    {
        return {currentFile, currentLine, currentFunction};
    }
};
