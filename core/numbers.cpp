#include "core/numbers.h"

#include <charconv>
#include <cmath>

namespace vm {

namespace {

// Strips surrounding blanks and one leading '+', which from_chars refuses; empty when nothing is left.
std::string_view Bare(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  text = text.substr(first, text.find_last_not_of(" \t") - first + 1);
  if (text.front() == '+') {
    text.remove_prefix(1);
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) return {};
  }
  return text;
}

template <typename T>
std::optional<T> FromChars(std::string_view text) {
  text = Bare(text);
  if (text.empty()) return std::nullopt;
  T value{};
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

}  // namespace

std::optional<double> ParseNumber(std::string_view text) {
  std::optional<double> value = FromChars<double>(text);
  if (!value || !std::isfinite(*value)) return std::nullopt;
  return value;
}

std::optional<int> ParseWholeNumber(std::string_view text) { return FromChars<int>(text); }

std::optional<std::uint64_t> ParseSeed(std::string_view text) { return FromChars<std::uint64_t>(text); }

}  // namespace vm
