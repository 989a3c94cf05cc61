#include "core/numbers.h"

#include <gtest/gtest.h>

#include <optional>

namespace vm {
namespace {

TEST(Numbers, AcceptsWhatATextBoxHoldsAndNothingElse) {
  struct Case {
    const char* text;
    std::optional<double> number;
    std::optional<int> whole;
  };
  const Case cases[] = {
      {"42", 42, 42},           {" 42 ", 42, 42},        {"+7", 7, 7},           {"-3", -3, -3},
      {"2.5", 2.5, std::nullopt}, {"1e3", 1000, std::nullopt}, {"", std::nullopt, std::nullopt},
      {"   ", std::nullopt, std::nullopt}, {"+", std::nullopt, std::nullopt}, {"+-1", std::nullopt, std::nullopt},
      {"++1", std::nullopt, std::nullopt}, {"12x", std::nullopt, std::nullopt}, {"nan", std::nullopt, std::nullopt},
      {"inf", std::nullopt, std::nullopt}, {"-infinity", std::nullopt, std::nullopt}, {"1e999", std::nullopt, std::nullopt},
      {"99999999999", 99999999999.0, std::nullopt}, {"0x10", std::nullopt, std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(ParseNumber(c.text), c.number);
    EXPECT_EQ(ParseWholeNumber(c.text), c.whole);
  }
  EXPECT_EQ(ParseSeed("18446744073709551615"), 18446744073709551615ull);
  EXPECT_EQ(ParseSeed("-1"), std::nullopt);
}

}  // namespace
}  // namespace vm
