#include "core/random.h"
#include "ui/console.h"
#include "ui/scripted_console.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vm {
namespace {

std::vector<double> Draw(Random& r, int n) {
  std::vector<double> out;
  for (int i = 0; i < n; ++i) out.push_back(r.Rnd());
  return out;
}

// ---------------------------------------------------------------------------------------------
// Random

TEST(RandomTest, GoldenValuesOfASeededSequence) {
  // Saved races and replays depend on these; a change to the generator must be deliberate.
  Random r(12345);
  EXPECT_EQ(r.Rnd(), 0x1.7cd46c6e82c1ap-1);
  EXPECT_EQ(r.Rnd(), 0x1.0a555031bd344p-3);
  EXPECT_EQ(r.Rnd(), 0x1.ed3a2dbd32a9ap-1);

  Random dice(12345);
  std::vector<int> rolls;
  for (int i = 0; i < 10; ++i) rolls.push_back(dice.Die());
  EXPECT_EQ(rolls, (std::vector<int>{5, 1, 6, 1, 4, 1, 1, 2, 3, 6}));
}

TEST(RandomTest, SameSeedSameSequenceDifferentSeedsDiffer) {
  Random a(42), b(42), c(43), zero(0);
  const std::vector<double> first = Draw(a, 1000);
  EXPECT_EQ(first, Draw(b, 1000));
  const std::vector<double> other = Draw(c, 1000);
  int same = 0;
  for (size_t i = 0; i < first.size(); ++i) same += first[i] == other[i];
  EXPECT_EQ(same, 0);
  // Seed 0 must not leave the generator stuck.
  const std::vector<double> z = Draw(zero, 3);
  EXPECT_NE(z[0], z[1]);
  EXPECT_NE(z[1], z[2]);

  Random byDefault;
  Random one(1);
  EXPECT_EQ(Draw(byDefault, 5), Draw(one, 5));
}

TEST(RandomTest, AScriptComesFirstAndThenTheGeneratorCarriesOnUntouched) {
  Random scripted(99);
  scripted.Script({0.25, 0.75});
  scripted.Script({0.0});  // appended behind the first
  EXPECT_EQ(scripted.ScriptLeft(), 3u);
  EXPECT_EQ(Draw(scripted, 3), (std::vector<double>{0.25, 0.75, 0.0}));
  EXPECT_EQ(scripted.ScriptLeft(), 0u);

  Random fresh(99);
  EXPECT_EQ(Draw(scripted, 50), Draw(fresh, 50));
  EXPECT_EQ(scripted.Draws(), 53u);  // scripted draws count as draws
  EXPECT_EQ(fresh.Draws(), 50u);
}

TEST(RandomTest, ScriptedValuesFeedTheDieAtItsEdges) {
  const struct {
    double rnd;
    int die;
  } cases[] = {{0.0, 1}, {0.999999, 6}, {1.0 / 6, 2}, {0.5, 4}, {0.1666, 1}, {0.34, 3}, {std::nextafter(1.0, 0.0), 6}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.rnd);
    Random r(1);
    r.Script({c.rnd});
    EXPECT_EQ(r.Die(), c.die);
    EXPECT_EQ(r.Die(), static_cast<int>(std::floor(Random(1).Rnd() * 6 + 1)));  // then the generator's own
  }
}

TEST(RandomTest, ScriptRejectsValuesOutsideTheUnitInterval) {
  for (double bad : {1.0, -0.1, 1.5, -1e-300, std::numeric_limits<double>::quiet_NaN(),
                     std::numeric_limits<double>::infinity()}) {
    SCOPED_TRACE(bad);
    Random r(5);
    EXPECT_THROW(r.Script({0.2, bad}), std::invalid_argument);
    // A rejected script must not leave a part of itself queued.
    EXPECT_EQ(r.ScriptLeft(), 0u);
    Random fresh(5);
    EXPECT_EQ(r.Rnd(), fresh.Rnd());
  }
}

TEST(RandomTest, ParseRndScriptReadsCommaListsAndNamesTheBadValue) {
  const struct {
    const char* text;
    std::optional<std::vector<double>> values;
    const char* mentions;  // in the reason for a refusal
  } cases[] = {
      {"0.5,0.99,.25", std::vector<double>{0.5, 0.99, 0.25}, ""},
      {" 0 , 0.125\n0.75 ", std::vector<double>{0.0, 0.125, 0.75}, ""},
      {"", std::vector<double>{}, ""},
      {"0.5,1", std::nullopt, "value 2"},      {"abc", std::nullopt, "value 1"},
      {"-0.1", std::nullopt, "value 1"},       {"0.25,0.5,7", std::nullopt, "value 3"},
      {"0.5,\"x\"", std::nullopt, "value 2"}, {"0.5,1e", std::nullopt, "value 2"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    std::string why;
    EXPECT_EQ(ParseRndScript(c.text, &why), c.values);
    EXPECT_NE(why.find(c.mentions), std::string::npos) << why;
    EXPECT_EQ(ParseRndScript(c.text), c.values);  // no place for a reason is fine too
  }
}

// ---------------------------------------------------------------------------------------------
// Console

TEST(ConsoleFileErrorTest, OnlyAMissingFileShowsTheCriticalMessage) {
  const std::string expected = "File  ' Tracks\\Oval.trk '  is missing or corrupt.  ";
  for (int number : {53, 0, 6, 13, 52, 54, 62, 75, -53, 530}) {
    SCOPED_TRACE(number);
    ScriptedConsole console;
    ReportFileError(console, number, "Tracks\\Oval.trk");
    EXPECT_EQ(console.Transcript(),
              number == 53 ? std::vector<std::string>{"MESSAGE Critical: " + expected} : std::vector<std::string>{});
    EXPECT_EQ(console.Messages().size(), number == 53 ? 1u : 0u);
  }
  EXPECT_EQ(FileErrorText(""), "File  '  '  is missing or corrupt.  ");
}

FileDialogRequest TrackDialog(bool save) {
  FileDialogRequest request;
  request.Save = save;
  request.Title = save ? "Save Track" : "Open Track";
  request.Filter = "Track Definition Files (*.trk)|*.trk";
  request.DefaultExtension = ".trk";
  return request;
}

TEST(ScriptedConsoleTest, AnswersInOrderAndKeepsATranscript) {
  ScriptedConsole console({"yes", "no", "file:Tracks/Oval.trk"});
  console.AddAnswer("cancel");
  EXPECT_EQ(console.AnswersLeft(), 4u);

  EXPECT_TRUE(console.AskYesNo("Save the race?", "Velomark"));
  console.ShowMessage("Race over.", "Velomark", MessageKind::Information);  // takes no answer
  EXPECT_FALSE(console.AskYesNo("Quit?", "Velomark"));
  EXPECT_EQ(console.ChooseFile(TrackDialog(false)), std::optional<std::string>("Tracks/Oval.trk"));
  EXPECT_EQ(console.ChooseFile(TrackDialog(true)), std::nullopt);
  console.ShowMessage("Careful.", "", MessageKind::Exclamation);
  EXPECT_EQ(console.AnswersLeft(), 0u);

  EXPECT_EQ(console.Transcript(), (std::vector<std::string>{
                                      "ASK Save the race? -> yes",
                                      "MESSAGE Information: Race over.",
                                      "ASK Quit? -> no",
                                      "OPEN FILE Track Definition Files (*.trk)|*.trk -> Tracks/Oval.trk",
                                      "SAVE FILE Track Definition Files (*.trk)|*.trk -> cancel",
                                      "MESSAGE Exclamation: Careful.",
                                  }));
  EXPECT_EQ(console.Messages(), (std::vector<std::string>{"Race over.", "Careful."}));
}

TEST(ScriptedConsoleTest, StrictModeThrowsWhenTheScriptRunsOutOrDoesNotFit) {
  {
    ScriptedConsole console;
    EXPECT_THROW(console.AskYesNo("Quit?", ""), ScriptError);
    EXPECT_THROW(console.ChooseFile(TrackDialog(false)), ScriptError);
  }
  const struct {
    const char* answer;
    bool fileDialog;
  } unfit[] = {{"maybe", false}, {"file:Tracks/Oval.trk", false}, {"cancel", false}, {"Yes", false},
               {"yes", true},    {"no", true},                    {"Tracks/Oval.trk", true}};
  for (const auto& c : unfit) {
    ScriptedConsole console({c.answer});
    if (c.fileDialog) EXPECT_THROW(console.ChooseFile(TrackDialog(false)), ScriptError) << c.answer;
    else EXPECT_THROW(console.AskYesNo("Quit?", ""), ScriptError) << c.answer;
  }
}

TEST(ScriptedConsoleTest, LenientModeTakesTheDefaults) {
  ScriptedConsole console({"maybe", "yes"}, /*strict=*/false);
  EXPECT_FALSE(console.AskYesNo("Quit?", ""));                  // does not fit: No
  EXPECT_EQ(console.ChooseFile(TrackDialog(false)), std::nullopt);  // does not fit: cancel
  EXPECT_EQ(console.AnswersLeft(), 0u);
  EXPECT_FALSE(console.AskYesNo("Save?", ""));                  // nothing left: No
  EXPECT_EQ(console.ChooseFile(TrackDialog(true)), std::nullopt);  // nothing left: cancel

  ASSERT_EQ(console.Transcript().size(), 4u);
  EXPECT_EQ(console.Transcript()[2], "ASK Save? -> no (default)");
  EXPECT_EQ(console.Transcript()[3], "SAVE FILE Track Definition Files (*.trk)|*.trk -> cancel (default)");
}

}  // namespace
}  // namespace vm
