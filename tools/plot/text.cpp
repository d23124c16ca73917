#include "tools/plot/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string_view>
#include <vector>

namespace zuvdr::tools {
namespace {

struct Character {
  char32_t code;
  std::string_view utf8;
};

constexpr Character kReplacement{0xFFFD, "\xEF\xBF\xBD"};

// Takes one character from the front of `text`, of malformed UTF-8 at least a byte.
Character take_character(std::string_view& text) {
  const std::string_view all = text;
  const auto byte = [&](std::size_t i) -> char32_t {
    return i < all.size() ? static_cast<unsigned char>(all[i]) : 0U;
  };
  const char32_t first = byte(0);
  const std::size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  char32_t code = length == 1 ? first : first & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0U) != 0x80U) {
      text.remove_prefix(i);
      return kReplacement;
    }
    code = code << 6U | (byte(i) & 0x3FU);
  }
  text.remove_prefix(length);
  constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool malformed = (first >= 0x80 && first < 0xC0) || first > 0xF4 || code < kLeast[length] ||
                         code > 0x10FFFF || (code >= 0xD800 && code < 0xE000);
  if (code == '\t' || code == '\n' || code == '\r') return {' ', " "};
  const bool control = code < 0x20 || (code >= 0x7F && code < 0xA0);
  if (malformed || control || code == 0xFFFE || code == 0xFFFF) return kReplacement;
  return {code, all.substr(0, length)};
}

std::vector<Character> characters_of(std::string_view text) {
  std::vector<Character> characters;
  while (!text.empty()) characters.push_back(take_character(text));
  return characters;
}

// In units of the font size.
double width_of(char32_t code) {
  constexpr std::string_view kNarrow = " !\"'(),-./:;I[\\]`fijlrt|";
  constexpr std::string_view kWide = "%@MWmw";
  if (code >= 0x80) return 1.08;
  const char c = static_cast<char>(code);
  if (kNarrow.find(c) != std::string_view::npos) return 0.46;
  if (kWide.find(c) != std::string_view::npos) return 1.08;
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ? 0.64 : 0.84;
}

}  // namespace

std::string escaped(const std::string& text) {
  std::string result;
  for (const Character& character : characters_of(text)) {
    switch (character.code) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      case '\'':
        result += "&apos;";
        break;
      default:
        result += character.utf8;
    }
  }
  return result;
}

double text_width(const std::string& text, double font_size) {
  double width = 0.0;
  for (const Character& character : characters_of(text)) width += width_of(character.code);
  return width * font_size;
}

std::string shortened(const std::string& text, double font_size, double width) {
  if (text_width(text, font_size) <= width) return text;
  const char* const ellipsis = "\xE2\x80\xA6";
  double room = width - text_width(ellipsis, font_size);
  std::string result;
  for (const Character& character : characters_of(text)) {
    room -= width_of(character.code) * font_size;
    if (room < 0.0) break;
    result += character.utf8;
  }
  return result + ellipsis;
}

std::string length_text(double metres) {
  const bool far = metres >= 999.5;
  const double number = far ? metres / 1e3 : metres;
  const int before_point = number > 0.0 ? static_cast<int>(std::floor(std::log10(number))) + 1 : 3;
  std::string digits = fmt::format("{:.{}f}", number, std::max(3 - before_point, 0));
  if (digits.find('.') != std::string::npos) {
    digits.erase(digits.find_last_not_of('0') + 1);
    if (digits.back() == '.') digits.pop_back();
  }
  return digits + (far ? " km" : " m");
}

std::string duration_text(double seconds) {
  const long whole = std::lround(seconds);
  if (whole < 120) return fmt::format("{} s", whole);
  return fmt::format("{} min {} s", whole / 60, whole % 60);
}

}  // namespace zuvdr::tools
