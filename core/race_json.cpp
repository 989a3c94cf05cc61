#include "core/race_json.h"

#include <cstdio>
#include <limits>
#include <stdexcept>
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
  Json j = RaceStateFieldsJson(rs, {});
  j["StateHash"] = Hex(RaceStateHash(rs));
  j["RndDrawn"] = rndDrawn;
  return j;
}

nlohmann::ordered_json RaceStateFieldsJson(const RaceState& rs, const std::set<std::string, std::less<>>& skip) {
  Json j;
#define VM_ADD(field) \
  if (!skip.contains(#field)) j[#field] = ToJson(rs.field);
  VM_RACE_STATE_FIELDS(VM_ADD)
#undef VM_ADD
  return j;
}

namespace {

[[noreturn]] void Refuse(std::string_view what) { throw std::invalid_argument("bad field: " + std::string(what)); }

void FromJson(const Json& j, int& v) {
  if (!j.is_number_integer()) Refuse("integer expected");
  const long long n = j.get<long long>();
  if (n < std::numeric_limits<int>::min() || n > std::numeric_limits<int>::max()) Refuse("integer out of range");
  v = static_cast<int>(n);
}
void FromJson(const Json& j, bool& v) {
  if (!j.is_boolean()) Refuse("true or false expected");
  v = j.get<bool>();
}
void FromJson(const Json& j, double& v) {
  if (!j.is_number()) Refuse("number expected");
  v = j.get<double>();
}
void FromJson(const Json& j, std::string& v) {
  if (!j.is_string()) Refuse("text expected");
  v = j.get<std::string>();
}
void FromJson(const Json& j, char& c) {
  if (!j.is_string() || j.get_ref<const std::string&>().size() != 1) Refuse("one character expected");
  c = j.get_ref<const std::string&>()[0];
}

void FromJson(const Json& j, CarRatings& r) {
#define VM_GET(field) FromJson(j.at(#field), r.field);
  VM_CAR_RATINGS_FIELDS(VM_GET)
#undef VM_GET
}

void FromJson(const Json& j, PitQueueEntry& e) {
#define VM_GET(field) FromJson(j.at(#field), e.field);
  VM_PIT_QUEUE_FIELDS(VM_GET)
#undef VM_GET
}

template <class T, size_t N>
void FromJson(const Json& j, std::array<T, N>& a) {
  if (!j.is_array() || j.size() != N) Refuse("array of the wrong size");
  for (size_t i = 0; i < N; ++i) FromJson(j[i], a[i]);
}

template <class T>
void FromJson(const Json& j, std::vector<T>& v) {
  // No list of the race holds more than some hundreds of entries.
  if (!j.is_array() || j.size() > 100000) Refuse("list expected");
  v.assign(j.size(), T{});
  for (size_t i = 0; i < v.size(); ++i) FromJson(j[i], v[i]);
}

void FromJson(const Json& j, ResultTables& tables) {
  for (const TableInfo& info : AllTables())
    for (int i = 0; i < info.RowCount; ++i) {
      const Json& row = j.at(std::string(info.RowNames[static_cast<size_t>(i)]));
      TableRow& r = RowOf(tables, info.Id, i);
      FromJson(row.at("DiceCount"), r.DiceCount);
      FromJson(row.at("RangeLow"), r.RangeLow);
      FromJson(row.at("RangeHigh"), r.RangeHigh);
    }
}

// The track comes from its file, never from a peer.
void FromJson(const Json&, Track&) {}

}  // namespace

void ApplyRaceStateFieldsJson(RaceState& rs, const nlohmann::ordered_json& j,
                              const std::set<std::string, std::less<>>& skip) {
  if (!j.is_object()) Refuse("object expected");
#define VM_GET(field) \
  if (!skip.contains(#field) && j.contains(#field)) FromJson(j.at(#field), rs.field);
  VM_RACE_STATE_FIELDS(VM_GET)
#undef VM_GET
}

}  // namespace vm
