#include "cli/race_json.h"

#include <cstdio>
#include <string>
#include <vector>

#include "core/race_state_fields.h"

namespace vm {

namespace {

using Json = nlohmann::ordered_json;

Json ToJson(int v) { return v; }
Json ToJson(bool v) { return v; }
Json ToJson(double v) { return v; }
Json ToJson(const std::string& v) { return v; }
Json ToJson(char c) { return std::string(1, c); }

Json ToJson(const CarRatings& r) {
  Json j;
#define VM_ADD(field) j[#field] = ToJson(r.field);
  VM_CAR_RATINGS_FIELDS(VM_ADD)
#undef VM_ADD
  return j;
}

Json ToJson(const PitQueueEntry& e) {
  Json j;
#define VM_ADD(field) j[#field] = ToJson(e.field);
  VM_PIT_QUEUE_FIELDS(VM_ADD)
#undef VM_ADD
  return j;
}

template <class T, size_t N>
Json ToJson(const std::array<T, N>& a) {
  Json j = Json::array();
  for (const T& e : a) j.push_back(ToJson(e));
  return j;
}

template <class T>
Json ToJson(const std::vector<T>& v) {
  Json j = Json::array();
  for (const T& e : v) j.push_back(ToJson(e));
  return j;
}

// The tables by row name, as the table editor shows them.
Json ToJson(const ResultTables& tables) {
  Json j;
  for (const TableInfo& info : AllTables())
    for (int i = 0; i < info.RowCount; ++i) {
      const TableRow& r = RowOf(tables, info.Id, i);
      j[std::string(info.RowNames[static_cast<size_t>(i)])] = {
          {"DiceCount", r.DiceCount}, {"RangeLow", r.RangeLow}, {"RangeHigh", r.RangeHigh}};
    }
  return j;
}

std::string Hex(std::uint64_t v) {
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(v));
  return text;
}

// The grid tables come from the track file: a dump lists the occupied cells and hashes the rest.
Json ToJson(const Track& t) {
  Json j;
#define VM_ADD(field) j[#field] = ToJson(t.field);
  VM_TRACK_HEADER_FIELDS(VM_ADD)
  VM_TRACK_SCALAR_FIELDS(VM_ADD)
#undef VM_ADD
  Json cells = Json::array();
  for (int space = 0; space <= kMaxSpaces; ++space)
    for (int lane = 0; lane <= kMaxLanes + 1; ++lane)
      if (const int car = t.CellOccupant[static_cast<size_t>(space)][static_cast<size_t>(lane)])
        cells.push_back({{"space", space}, {"lane", lane}, {"car", car}});
  j["CellOccupant"] = cells;
  j["GridHash"] = Hex(TrackGridHash(t));
  return j;
}

}  // namespace

nlohmann::ordered_json RaceStateJson(const RaceState& rs, std::uint64_t rndDrawn) {
  Json j;
#define VM_ADD(field) j[#field] = ToJson(rs.field);
  VM_RACE_STATE_FIELDS(VM_ADD)
#undef VM_ADD
  j["StateHash"] = Hex(RaceStateHash(rs));
  j["RndDrawn"] = rndDrawn;
  return j;
}

}  // namespace vm
