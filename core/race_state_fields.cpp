#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include "core/race_state.h"
#include "core/race_state_fields.h"

namespace vm {

namespace {

// FNV-1a over 64 bits. Every value goes in as a fixed number of little-endian bytes, so a hash
// means the same on every machine.
class Fnv1a {
 public:
  void Bytes(std::uint64_t v, int count) {
    for (int i = 0; i < count; ++i) {
      hash_ ^= (v >> (8 * i)) & 0xFFu;
      hash_ *= 0x100000001B3ull;
    }
  }
  std::uint64_t Value() const { return hash_; }

 private:
  std::uint64_t hash_ = 0xCBF29CE484222325ull;
};

void Hash(Fnv1a& h, int v) { h.Bytes(static_cast<std::uint64_t>(static_cast<std::int64_t>(v)), 8); }
void Hash(Fnv1a& h, bool v) { h.Bytes(v ? 1 : 0, 1); }
void Hash(Fnv1a& h, char v) { h.Bytes(static_cast<unsigned char>(v), 1); }
// -0.0 hashes as 0.0, since the two compare equal.
void Hash(Fnv1a& h, double v) { h.Bytes(std::bit_cast<std::uint64_t>(v == 0 ? 0.0 : v), 8); }
void Hash(Fnv1a& h, const std::string& s) {
  h.Bytes(s.size(), 8);
  for (const char c : s) Hash(h, c);
}
void Hash(Fnv1a& h, const ApexCell& c) {
  Hash(h, c.Lane);
  Hash(h, c.Space);
}
void Hash(Fnv1a& h, const TableRow& r) {
  Hash(h, r.DiceCount);
  Hash(h, r.RangeLow);
  Hash(h, r.RangeHigh);
}
void Hash(Fnv1a& h, const CarRatings& r) {
#define VM_HASH(field) Hash(h, r.field);
  VM_CAR_RATINGS_FIELDS(VM_HASH)
#undef VM_HASH
}
void Hash(Fnv1a& h, const PitQueueEntry& e) {
#define VM_HASH(field) Hash(h, e.field);
  VM_PIT_QUEUE_FIELDS(VM_HASH)
#undef VM_HASH
}
template <class T, size_t N>
void Hash(Fnv1a& h, const std::array<T, N>& a) {
  for (const T& e : a) Hash(h, e);
}
template <class T>
void Hash(Fnv1a& h, const std::vector<T>& v) {
  h.Bytes(v.size(), 8);
  for (const T& e : v) Hash(h, e);
}
void Hash(Fnv1a& h, const ResultTables& tables) {
  for (const TableInfo& info : AllTables())
    for (int i = 0; i < info.RowCount; ++i) Hash(h, RowOf(tables, info.Id, i));
}
void HashGrid(Fnv1a& h, const Track& t) {
#define VM_HASH(field) Hash(h, t.field);
  VM_TRACK_GRID_FIELDS(VM_HASH)
#undef VM_HASH
}
void Hash(Fnv1a& h, const Track& t) {
#define VM_HASH(field) Hash(h, t.field);
  VM_TRACK_HEADER_FIELDS(VM_HASH)
  VM_TRACK_SCALAR_FIELDS(VM_HASH)
#undef VM_HASH
  HashGrid(h, t);
}

}  // namespace

bool operator==(const CarRatings& a, const CarRatings& b) {
#define VM_EQUAL(field) &&a.field == b.field
  return true VM_CAR_RATINGS_FIELDS(VM_EQUAL);
#undef VM_EQUAL
}

bool operator==(const PitQueueEntry& a, const PitQueueEntry& b) {
#define VM_EQUAL(field) &&a.field == b.field
  return true VM_PIT_QUEUE_FIELDS(VM_EQUAL);
#undef VM_EQUAL
}

bool operator==(const RaceState& a, const RaceState& b) {
#define VM_EQUAL(field) &&a.field == b.field
  return true VM_RACE_STATE_FIELDS(VM_EQUAL);
#undef VM_EQUAL
}

std::uint64_t RaceStateHash(const RaceState& rs) {
  Fnv1a h;
#define VM_HASH(field) Hash(h, rs.field);
  VM_RACE_STATE_FIELDS(VM_HASH)
#undef VM_HASH
  return h.Value();
}

std::uint64_t TrackGridHash(const Track& t) {
  Fnv1a h;
  HashGrid(h, t);
  return h.Value();
}

}  // namespace vm
