// Random numbers every split and shuffle draws from.
//
// TLVRandom is a 32-bit linear congruential generator whose whole state is its seed,
// so the same seed gives the same numbers on every machine and a project that stores
// the seed reproduces its draws. TLVRandomContainer is a named, persisted holder of
// one generator's starting seed. TMSequence visits 0..Count-1 once each in a
// pseudo-random order without a table, through a maximal-length shift register.
// None of them is shared between threads.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "core/registry/LV_Settings.h"

namespace lv {

class TLVRandom {
 public:
  explicit TLVRandom(uint32_t seed = 0) : seed_(seed) {}

  uint32_t GetRandSeed() const { return seed_; }
  void SetRandSeed(uint32_t seed) { seed_ = seed; }
  // A seed taken from the system clock.
  void Randomize();

  // One step of the generator; the new seed.
  uint32_t Next() {
    seed_ = seed_ * 134775813u + 1u;
    return seed_;
  }
  // A real in [0, 1).
  double Random() { return static_cast<double>(Next()) * 2.3283064365386963e-10; }
  // An integer in [0, range) (0 when range is 0): the high half of seed * range.
  uint32_t Random(uint32_t range) {
    return static_cast<uint32_t>((static_cast<uint64_t>(Next()) * range) >> 32);
  }

  // Puts the items in a random order, each order of n items being reachable from
  // some seed as far as 32 bits allow.
  template <class T>
  void Shuffle(std::span<T> items) {
    for (size_t i = items.size(); i > 1; --i) {
      const size_t j = RandomIndex(i);
      std::swap(items[i - 1], items[j]);
    }
  }

 private:
  // An index below n for n that may exceed 32 bits.
  size_t RandomIndex(size_t n) {
    if (n <= 0xFFFFFFFFu) return Random(static_cast<uint32_t>(n));
    return static_cast<size_t>(Random() * static_cast<double>(n));
  }

  uint32_t seed_;
};

// A named generator whose starting seed ("RandSeed") is persisted: every draw starts
// from a fresh generator at that seed (Restart), so a reopened project draws the same.
class TLVRandomContainer {
 public:
  explicit TLVRandomContainer(std::string name) : name_(std::move(name)) {}

  const std::string& GetName() const { return name_; }
  uint32_t GetRandSeed() const { return seed_; }
  void SetRandSeed(uint32_t seed) { seed_ = seed; }
  // Chooses a seed from the clock; the caller saves it with the project.
  void Randomize();

  // A generator at the starting seed.
  TLVRandom Restart() const { return TLVRandom(seed_); }

  // The container is the sub-section named after it, holding "RandSeed".
  void SaveTo(ILVSettingsSection& parent) const;
  // An absent section or seed keeps the current seed; a seed that is not a number
  // raises "ErrPropertyValue".
  void LoadFrom(const ILVSettingsSection& parent);

 private:
  std::string name_;
  uint32_t seed_ = 0;
};

class TMSequence {
 public:
  static constexpr uint32_t kMaxCount = (1u << 30) - 1;

  explicit TMSequence(TLVRandom& random) : random_(random) {}

  uint32_t GetCount() const { return count_; }
  // 1 <= count <= 2^30 - 1 ("ErrMSequenceCount"); chooses the register and then sets
  // Value to 0, which starts at a random number of 1..Count.
  void SetCount(uint32_t count);
  int GetLength() const { return length_; }
  uint32_t GetMask() const { return mask_; }
  std::span<const uint8_t> GetTaps() const { return taps_; }

  uint32_t GetValue() const { return value_; }
  // 0 starts at Random(Count) + 1; any other start must lie in 1..Count
  // ("ErrMSequenceValue").
  void SetValue(uint32_t value);

  // The next number of 0..Count-1; after Count steps every one has come once.
  uint32_t Next();

  // The 1-based tap positions of a register of `length` bits (2..30).
  static std::span<const uint8_t> TapsOf(int length);

 private:
  TLVRandom& random_;
  uint32_t count_ = 0;
  int length_ = 0;
  uint32_t mask_ = 0;
  uint32_t tapMask_ = 0;
  std::span<const uint8_t> taps_;
  uint32_t value_ = 0;
};

void RegisterRandomTexts();

}  // namespace lv
