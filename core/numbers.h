// Numbers typed by people or written in plain-text descriptions: one parser, so every place accepts the same forms.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vm {

// Reads a decimal number: blanks around it and a leading '+' are allowed; nan, inf and trailing text are not.
std::optional<double> ParseNumber(std::string_view text);

// Reads a whole number in the same forms; nullopt when it has a fraction or does not fit.
std::optional<int> ParseWholeNumber(std::string_view text);

// Reads an unsigned 64-bit whole number (random seeds) in the same forms.
std::optional<std::uint64_t> ParseSeed(std::string_view text);

}  // namespace vm
