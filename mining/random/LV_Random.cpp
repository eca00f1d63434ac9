#include "mining/random/LV_Random.h"

#include <array>
#include <bit>
#include <chrono>
#include <cmath>
#include <random>

#include "core/registry/LV_Properties.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

namespace {

uint32_t ClockSeed() {
  // The clock alone would give neighbouring seeds to containers randomized in the same
  // instant; a pass through the runtime's generator spreads them.
  static std::mt19937 mixer(std::random_device{}());
  const auto ticks = std::chrono::system_clock::now().time_since_epoch().count();
  std::seed_seq seq{static_cast<uint32_t>(ticks), static_cast<uint32_t>(ticks >> 32),
                    static_cast<uint32_t>(mixer())};
  std::array<uint32_t, 1> out{};
  seq.generate(out.begin(), out.end());
  return out[0];
}

constexpr uint8_t kTaps2[] = {1, 2};
constexpr uint8_t kTaps3[] = {1, 3};
constexpr uint8_t kTaps4[] = {1, 4};
constexpr uint8_t kTaps5[] = {2, 5};
constexpr uint8_t kTaps6[] = {1, 6};
constexpr uint8_t kTaps7[] = {1, 7};
constexpr uint8_t kTaps8[] = {1, 2, 7, 8};
constexpr uint8_t kTaps9[] = {4, 9};
constexpr uint8_t kTaps10[] = {3, 10};
constexpr uint8_t kTaps11[] = {9, 11};
constexpr uint8_t kTaps12[] = {6, 8, 11, 12};
constexpr uint8_t kTaps13[] = {9, 10, 12, 13};
constexpr uint8_t kTaps14[] = {4, 8, 13, 14};
constexpr uint8_t kTaps15[] = {14, 15};
constexpr uint8_t kTaps16[] = {4, 13, 15, 16};
constexpr uint8_t kTaps17[] = {14, 17};
constexpr uint8_t kTaps18[] = {11, 18};
constexpr uint8_t kTaps19[] = {14, 17, 18, 19};
constexpr uint8_t kTaps20[] = {17, 20};
constexpr uint8_t kTaps21[] = {19, 21};
constexpr uint8_t kTaps22[] = {21, 22};
constexpr uint8_t kTaps23[] = {18, 23};
constexpr uint8_t kTaps24[] = {17, 22, 23, 24};
constexpr uint8_t kTaps25[] = {22, 25};
constexpr uint8_t kTaps26[] = {20, 24, 25, 26};
constexpr uint8_t kTaps27[] = {22, 25, 26, 27};
constexpr uint8_t kTaps28[] = {25, 28};
constexpr uint8_t kTaps29[] = {27, 29};
constexpr uint8_t kTaps30[] = {7, 28, 29, 30};

constexpr std::array<std::span<const uint8_t>, 29> kTapTable = {
    kTaps2,  kTaps3,  kTaps4,  kTaps5,  kTaps6,  kTaps7,  kTaps8,  kTaps9,  kTaps10, kTaps11,
    kTaps12, kTaps13, kTaps14, kTaps15, kTaps16, kTaps17, kTaps18, kTaps19, kTaps20, kTaps21,
    kTaps22, kTaps23, kTaps24, kTaps25, kTaps26, kTaps27, kTaps28, kTaps29, kTaps30};

}  // namespace

void TLVRandom::Randomize() {
  seed_ = ClockSeed();
}

void TLVRandomContainer::Randomize() {
  seed_ = ClockSeed();
}

void TLVRandomContainer::SaveTo(ILVSettingsSection& parent) const {
  parent.AddSection(name_).Put("RandSeed", std::to_string(seed_));
}

void TLVRandomContainer::LoadFrom(const ILVSettingsSection& parent) {
  const ILVSettingsSection* section = parent.FindSection(name_);
  if (!section) return;
  std::optional<std::string> text = section->Get("RandSeed");
  if (!text) return;
  // Seeds are unsigned; a negative text may come from a program that wrote them signed.
  std::optional<double> value = TLVPropertyCodec<double>::FromText(*text);
  // The range first: converting a huge value to an integer to test it is undefined.
  if (!value || !(*value >= -2147483648.0 && *value <= 4294967295.0) ||
      *value != std::trunc(*value)) {
    RaisePropertyValue("RandSeed", *text);
  }
  seed_ = static_cast<uint32_t>(static_cast<int64_t>(*value));
}

std::span<const uint8_t> TMSequence::TapsOf(int length) {
  if (length < 2 || length > 30) throw ELVError("ErrMSequenceCount", {int64_t{kMaxCount}});
  return kTapTable[static_cast<size_t>(length - 2)];
}

void TMSequence::SetCount(uint32_t count) {
  if (count < 1 || count > kMaxCount) throw ELVError("ErrMSequenceCount", {int64_t{kMaxCount}});
  int length = 2;
  while ((uint32_t{1} << length) - 1 < count) ++length;
  count_ = count;
  length_ = length;
  mask_ = (uint32_t{1} << length) - 1;
  taps_ = TapsOf(length);
  tapMask_ = 0;
  for (uint8_t tap : taps_) tapMask_ |= uint32_t{1} << (tap - 1);
  SetValue(0);
}

void TMSequence::SetValue(uint32_t value) {
  if (count_ == 0 || value > count_) {
    throw ELVError("ErrMSequenceValue", {int64_t{count_}});
  }
  value_ = value == 0 ? random_.Random(count_) + 1 : value;
}

uint32_t TMSequence::Next() {
  if (count_ == 0) throw ELVError("ErrMSequenceValue", {int64_t{count_}});
  for (;;) {
    const uint32_t feedback = std::popcount(value_ & tapMask_) & 1u;
    value_ = ((value_ << 1) | feedback) & mask_;
    if (value_ == 0) throw ELVError("ErrMSequenceState");
    if (value_ <= count_) return value_ - 1;
  }
}

void RegisterRandomTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrMSequenceCount", "ErrMSequenceValue", "ErrMSequenceState"});
}

}  // namespace lv
