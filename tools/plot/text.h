// Words and numbers of a picture, and the room they take.
#pragma once

#include <string>

namespace zuvdr::tools {

// For any place in an XML document. What cannot stand there, or is not UTF-8, becomes U+FFFD.
std::string escaped(const std::string& text);

// The viewer chooses the font, so this is no less than the width in Verdana and DejaVu Sans, the
// widest in common use; pixels.
double text_width(const std::string& text, double font_size);

// The text, or as much of it as fits the width with an ellipsis.
std::string shortened(const std::string& text, double font_size, double width);

// "0.05 m", "284 m", "6.62 km", "2000 km": three digits or all before the point.
std::string length_text(double metres);

// "75 s", "8 min 10 s"
std::string duration_text(double seconds);

}  // namespace zuvdr::tools
