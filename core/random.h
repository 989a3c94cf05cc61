// The game's one random generator. Every draw of the rules comes from Rnd(), in a fixed order,
// so the same seed (or the same script) gives the same race on every machine.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vm {

// Where the generator stands: enough to carry a race on with the very values it would have drawn.
struct RandomState {
  std::array<std::uint64_t, 4> Words{};
  std::uint64_t Draws = 0;
};

class Random {
 public:
  explicit Random(std::uint64_t seed = 1);

  // Restarts the sequence from a seed.
  void Seed(std::uint64_t seed);
  // Seeds from the clock, as the game does at start-up.
  void SeedFromClock();

  // A number in [0, 1): the next scripted value if any is left, otherwise the generator's.
  double Rnd();
  // One six-sided die: Int(Rnd x 6 + 1).
  int Die();

  // Values handed out first, in order, before the generator's own. Each must lie in [0, 1).
  void Script(const std::vector<double>& values);
  std::size_t ScriptLeft() const { return script_.size(); }
  // How many values Rnd() has handed out since the last seed.
  std::uint64_t Draws() const { return draws_; }

  // The generator's own state; scripted values still queued are not part of it.
  RandomState State() const;
  // Puts the generator back where State() found it, dropping any scripted values.
  void Restore(const RandomState& state);

 private:
  std::uint64_t Next();
  std::uint64_t s_[4]{};
  std::deque<double> script_;
  std::uint64_t draws_ = 0;
};

// Parses "0.5,0.99,.25" into values in [0, 1); nullopt (with a reason in *why) on bad input.
std::optional<std::vector<double>> ParseRndScript(std::string_view text, std::string* why = nullptr);

}  // namespace vm
