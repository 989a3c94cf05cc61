#include "core/text_encoding.h"

namespace vm {

bool IsValidUtf8(std::string_view text) {
  size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    if (lead < 0x80) {
      ++i;
      continue;
    }
    int extra = 0;
    unsigned char low = 0x80, high = 0xBF;  // allowed range of the first continuation byte
    if (lead >= 0xC2 && lead <= 0xDF) {
      extra = 1;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      extra = 2;
      if (lead == 0xE0) low = 0xA0;   // overlong
      if (lead == 0xED) high = 0x9F;  // surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      extra = 3;
      if (lead == 0xF0) low = 0x90;   // overlong
      if (lead == 0xF4) high = 0x8F;  // above U+10FFFF
    } else {
      return false;
    }
    if (text.size() - i <= static_cast<size_t>(extra)) return false;  // cut off at the end
    for (int k = 1; k <= extra; ++k) {
      const auto c = static_cast<unsigned char>(text[i + static_cast<size_t>(k)]);
      if (c < (k == 1 ? low : 0x80) || c > (k == 1 ? high : 0xBF)) return false;
    }
    i += static_cast<size_t>(extra) + 1;
  }
  return true;
}

std::string DecodeFileText(std::string_view text) {
  if (IsValidUtf8(text)) return std::string(text);
  std::string out;
  out.reserve(text.size() * 2);
  for (const char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    if (c < 0x80) {
      out += ch;
    } else {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

}  // namespace vm
