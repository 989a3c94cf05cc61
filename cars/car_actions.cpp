#include "cars/car_actions.h"

#include <array>
#include <cmath>
#include <memory>

#include "cars/car_file.h"
#include "core/paths.h"
#include "core/track_file.h"

namespace vm {

namespace {

// The five ratings a design varies over, in their numbered order; the modifier takes no part.
constexpr std::array<Rating, 5> kVaried{Rating::StartSpeed, Rating::Acceleration, Rating::Deceleration,
                                        Rating::TopSpeed, Rating::WearPerLap};
constexpr std::array<Rating, kRatingCount> kAllRatings{Rating::StartSpeed, Rating::Acceleration, Rating::Deceleration,
                                                       Rating::TopSpeed,   Rating::WearPerLap,   Rating::DRM};

// Int(n * Rnd + 1): a whole number from 1 to n.
int Pick(Random& rng, int n) { return static_cast<int>(std::floor(n * rng.Rnd() + 1)); }

int StepOf(Rating rating) { return rating == Rating::WearPerLap ? 1 : 20; }

// The value above which a rating counts as high in the variation step.
int HighAbove(Rating rating) {
  switch (rating) {
    case Rating::TopSpeed: return 160;
    case Rating::WearPerLap: return 6;
    default: return 40;
  }
}

void Shift(RaceState& rs, int car, Rating rating, int steps) {
  SetRatingOf(rs, car, rating, RatingOf(rs, car, rating) + steps * StepOf(rating));
}

// A random design is always on the cost table, so its cost always exists.
int Cost(const RaceState& rs, int car) { return CarDesignCost(rs, car).value_or(0); }

// One move of the lowering or raising order: at most Times steps, never past Limit.
struct Move {
  Rating Which;
  int Limit;
  int Times;
};
constexpr std::array<Move, 5> kLowering{{{Rating::StartSpeed, 40, 2},
                                         {Rating::WearPerLap, 4, 3},
                                         {Rating::TopSpeed, 140, 2},
                                         {Rating::Deceleration, 40, 2},
                                         {Rating::Acceleration, 40, 2}}};
constexpr std::array<Move, 5> kRaising{{{Rating::Acceleration, 80, 1},
                                        {Rating::Deceleration, 80, 1},
                                        {Rating::TopSpeed, 180, 1},
                                        {Rating::WearPerLap, 8, 1},
                                        {Rating::StartSpeed, 80, 1}}};

// Brings a random design onto the design points as far as the floors and single raises allow.
void FitToPoints(RaceState& rs, int car) {
  const int points = rs.CarSetupPoints;
  for (const Move& m : kLowering)
    for (int i = 0; i < m.Times && Cost(rs, car) > points; ++i)
      if (RatingOf(rs, car, m.Which) > m.Limit) Shift(rs, car, m.Which, -1);
  if (Cost(rs, car) >= points) return;
  for (const Move& m : kRaising)
    if (Cost(rs, car) != points && RatingOf(rs, car, m.Which) < m.Limit) Shift(rs, car, m.Which, +1);
}

void RandomDesign(RaceState& rs, int car, Random& rng, bool alsoHumans) {
  rs.CarAcceleration[car] = Pick(rng, 2) == 1 ? 40 : 60;
  rs.CarDeceleration[car] = Pick(rng, 2) == 1 ? 40 : 60;
  rs.CarTopSpeed[car] = Pick(rng, 2) == 1 ? 160 : 180;
  rs.CarWearPerLap[car] = 4 + Pick(rng, 3);
  rs.CarStartSpeed[car] = 20 + 20 * Pick(rng, 3);
  rs.CarDRM[car] = 0;
  rs.CarRiskSS[car] = rs.CarRiskC[car] = rs.CarRiskD[car] = 0;
  rs.CarRiskCA[car] = rs.CarRiskA[car] = rs.CarRiskT[car] = 0;
  rs.CarWetTires[car] = false;
  if (alsoHumans) {
    rs.PitStrategy[car] = 0;
    rs.CarWearBonus[car] = 0;
    rs.CarQualifyBonus[car] = 0;
  }
  FitToPoints(rs, car);
}

}  // namespace

std::string TrackDefaultCarFile(const Track& track, std::string_view tracksFolder) {
  if (track.TrackDefaultCarFile.empty()) return "";
  return JoinPath(tracksFolder, track.TrackDefaultCarFile + ".crs");
}

void LoadTrackSetup(RaceState& rs, Random& rng, const Track& track, bool noRandomising, bool alsoHumans,
                    const TrackSetupFolders& folders) {
  // Step 1. A car file the track brings replaces the whole field, design points included.
  const std::string carFile = TrackDefaultCarFile(track, folders.Tracks);
  const bool fromFile =
      !carFile.empty() && !LoadCarFile(rs, carFile, folders.Cars, SetupPointsRule::Replace).has_value();
  // Step 2. Otherwise every car takes the track's recommended design.
  if (!fromFile) {
    for (int car = 1; car <= kMaxCars; ++car) {
      rs.CarStartSpeed[car] = track.DefaultStartSpeed;
      rs.CarAcceleration[car] = track.DefaultAcceleration;
      rs.CarDeceleration[car] = track.DefaultDeceleration;
      rs.CarTopSpeed[car] = track.DefaultTopSpeed;
      rs.CarWearPerLap[car] = track.DefaultWearPerLap;
      rs.CarDRM[car] = 0;
      rs.PitStrategy[car] = 0;
      rs.CarWearBonus[car] = 0;
      rs.CarQualifyBonus[car] = 0;
    }
  }
  // Step 3.
  if (noRandomising || !rs.AIRandomizeOptimumSetup) return;
  for (int car = 1; car <= kMaxCars; ++car)
    if (rs.CarIsAI[car] || alsoHumans) VaryTrackSetup(rs, car, rng);
}

std::optional<FileError> LoadTrackSetup(RaceState& rs, Random& rng, const std::string& trackFile, bool noRandomising,
                                        bool alsoHumans, const TrackSetupFolders& folders) {
  auto track = std::make_unique<Track>();
  if (std::optional<FileError> error = LoadTrack(*track, trackFile)) return error;
  LoadTrackSetup(rs, rng, *track, noRandomising, alsoHumans, folders);
  return std::nullopt;
}

void VaryTrackSetup(RaceState& rs, int car, Random& rng) {
  // Step 1.
  std::array<bool, kVaried.size()> high{};
  int marked = 0;
  for (size_t i = 0; i < kVaried.size(); ++i) {
    high[i] = RatingOf(rs, car, kVaried[i]) > HighAbove(kVaried[i]);
    marked += high[i] ? 1 : 0;
  }
  if (marked == static_cast<int>(kVaried.size())) return;
  // Steps 2 and 3: the k-th high rating goes down a step, then the k-th other one up.
  for (const bool lower : {true, false}) {
    int k = Pick(rng, lower ? marked : static_cast<int>(kVaried.size()) - marked);
    for (size_t i = 0; i < kVaried.size(); ++i) {
      if (high[i] != lower) continue;
      if (--k < 1) {
        Shift(rs, car, kVaried[i], lower ? -1 : +1);
        break;
      }
    }
  }
}

void RandomizeCarSetups(RaceState& rs, Random& rng, bool alsoHumans) {
  for (int car = 1; car <= kMaxCars; ++car)
    if (rs.CarIsAI[car] || alsoHumans) RandomDesign(rs, car, rng, alsoHumans);
}

int ProfileRisk(int drm) {
  const RatingScale& scale = ScaleOf(Rating::DRM);
  // The scale runs +2, 0, -1, -2; an unlisted modifier weighs as the cheaper neighbour.
  int index = 0;
  for (int i = 0; i < scale.Count; ++i)
    if (scale.Values[static_cast<size_t>(i)] >= drm) index = i;
  return 2 * index;
}

void RandomizeDriverProfiles(RaceState& rs, Random& rng) {
  for (int car = 1; car <= kMaxCars; ++car) {
    if (!rs.CarIsAI[car]) continue;
    rs.CarRaceProfile[car] = static_cast<int>(std::floor(rng.Rnd() * 3)) + 1;
    rs.CarLapProfile[car] = static_cast<int>(std::floor(rng.Rnd() * 3)) + 1;
    const double first = rng.Rnd();
    rs.PitStrategy[car] = static_cast<int>(std::floor(first + rng.Rnd()));
    const int risk = ProfileRisk(rs.CarDRM[car]);
    rs.CarRiskC[car] = rs.CarRiskSS[car] = rs.CarRiskCA[car] = risk;
    rs.CarRiskD[car] = rs.CarRiskA[car] = rs.CarRiskT[car] = risk;
  }
}

void CopyRatings(RaceState& rs, int from, bool computerOnly) {
  for (int car = 1; car <= kMaxCars; ++car) {
    if (car == from || (computerOnly && !rs.CarIsAI[car])) continue;
    for (Rating rating : kAllRatings) SetRatingOf(rs, car, rating, RatingOf(rs, from, rating));
  }
}

void CopyDriverProfile(RaceState& rs, int from) {
  for (int car = 1; car <= kMaxCars; ++car) {
    if (car == from) continue;
    rs.PitStrategy[car] = rs.PitStrategy[from];
    rs.CarRaceProfile[car] = rs.CarRaceProfile[from];
    rs.CarLapProfile[car] = rs.CarLapProfile[from];
    rs.CarRiskSS[car] = rs.CarRiskSS[from];
    rs.CarRiskC[car] = rs.CarRiskC[from];
    rs.CarRiskD[car] = rs.CarRiskD[from];
    rs.CarRiskCA[car] = rs.CarRiskCA[from];
    rs.CarRiskA[car] = rs.CarRiskA[from];
    rs.CarRiskT[car] = rs.CarRiskT[from];
    rs.CarWearBonus[car] = rs.CarWearBonus[from];
    rs.CarQualifyBonus[car] = rs.CarQualifyBonus[from];
  }
}

}  // namespace vm
