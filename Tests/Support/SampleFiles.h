#pragma once

#include <string>

namespace support {

// Small, valid files that pages can load. Two with different arguments differ in their bytes.
[[nodiscard]] std::string pngImage(int red, int green, int blue, int width = 1, int height = 1);
[[nodiscard]] std::string svgImage(const std::string& fill);
[[nodiscard]] std::string wavSound(int samples);
// A TrueType font that is installed on the system.
[[nodiscard]] std::string font();
// A PEM file's text: a certificate for 127.0.0.1 and localhost with its key. It is signed by itself, so nothing trusts it.
[[nodiscard]] std::string selfSignedCertificate();

}
