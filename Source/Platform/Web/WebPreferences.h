#pragma once

// What a view's pages may do and how they are printed. Takes effect with the next load or print.
class WebPreferences {
public:
    [[nodiscard]] bool isJavaScriptEnabled() const { return _javaScriptEnabled; }
    void setJavaScriptEnabled(bool enabled) { _javaScriptEnabled = enabled; }
    // Kept for those who ask; no page engine runs Java.
    [[nodiscard]] bool isJavaEnabled() const { return _javaEnabled; }
    void setJavaEnabled(bool enabled) { _javaEnabled = enabled; }
    [[nodiscard]] bool arePlugInsEnabled() const { return _plugInsEnabled; }
    void setPlugInsEnabled(bool enabled) { _plugInsEnabled = enabled; }
    [[nodiscard]] bool shouldPrintBackgrounds() const { return _shouldPrintBackgrounds; }
    void setShouldPrintBackgrounds(bool print) { _shouldPrintBackgrounds = print; }

private:
    bool _javaScriptEnabled = true;
    bool _javaEnabled = true;
    bool _plugInsEnabled = true;
    bool _shouldPrintBackgrounds = false;
};
