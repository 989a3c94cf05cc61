#include "core/random.h"

#include <chrono>
#include <cmath>
#include <stdexcept>

#include "core/textfile.h"

namespace vm {

namespace {

std::uint64_t SplitMix(std::uint64_t& x) {
  std::uint64_t z = (x += 0x9E3779B97F4A7C15ULL);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
  return z ^ (z >> 31);
}

std::uint64_t Rotl(std::uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }

}  // namespace

Random::Random(std::uint64_t seed) { Seed(seed); }

void Random::Seed(std::uint64_t seed) {
  std::uint64_t x = seed;
  for (auto& word : s_) word = SplitMix(x);
  draws_ = 0;
}

void Random::SeedFromClock() {
  Seed(static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count()));
}

// xoshiro256**: small, fast and the same everywhere, unlike the library's distributions.
std::uint64_t Random::Next() {
  const std::uint64_t result = Rotl(s_[1] * 5, 7) * 9;
  const std::uint64_t t = s_[1] << 17;
  s_[2] ^= s_[0];
  s_[3] ^= s_[1];
  s_[1] ^= s_[2];
  s_[0] ^= s_[3];
  s_[2] ^= t;
  s_[3] = Rotl(s_[3], 45);
  return result;
}

double Random::Rnd() {
  ++draws_;
  if (!script_.empty()) {
    const double v = script_.front();
    script_.pop_front();
    return v;
  }
  return static_cast<double>(Next() >> 11) * 0x1.0p-53;  // 53 random bits
}

RandomState Random::State() const {
  RandomState state;
  for (size_t i = 0; i < state.Words.size(); ++i) state.Words[i] = s_[i];
  state.Draws = draws_;
  return state;
}

void Random::Restore(const RandomState& state) {
  for (size_t i = 0; i < state.Words.size(); ++i) s_[i] = state.Words[i];
  draws_ = state.Draws;
  script_.clear();
}

int Random::Die() { return static_cast<int>(std::floor(Rnd() * 6 + 1)); }

void Random::Script(const std::vector<double>& values) {
  // Check all first: a rejected script must not leave a part of itself queued.
  for (double v : values) {
    if (!(v >= 0 && v < 1)) throw std::invalid_argument("a scripted random value must lie in [0, 1)");
  }
  script_.insert(script_.end(), values.begin(), values.end());
}

std::optional<std::vector<double>> ParseRndScript(std::string_view text, std::string* why) {
  std::vector<double> values;
  TextReader in(std::string(text), "--rnd");
  try {
    while (!in.AtEnd()) {
      const double v = in.ReadDouble("value " + std::to_string(values.size() + 1));
      if (!(v >= 0 && v < 1)) {
        if (why) *why = "value " + std::to_string(values.size() + 1) + " (" + FormatDouble(v) + ") is not in [0, 1)";
        return std::nullopt;
      }
      values.push_back(v);
    }
  } catch (const FileFormatError& e) {
    if (why) *why = e.Error().Message + " at " + e.Error().Field;
    return std::nullopt;
  }
  return values;
}

}  // namespace vm
