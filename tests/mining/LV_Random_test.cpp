#include "mining/random/LV_Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <vector>

#include "core/LV_TestSection.h"
#include "core/text/LV_Errors.h"

namespace lv {
namespace {

TEST(Random, SameSeedGivesTheSameNumbersEverywhere) {
  // Steps worked out by hand: seed * 134775813 + 1 modulo 2^32.
  TLVRandom random(1);
  EXPECT_EQ(random.Next(), 134775814u);
  EXPECT_DOUBLE_EQ(random.Random(), 3698175007.0 * 2.3283064365386963e-10);
  EXPECT_EQ(random.GetRandSeed(), 3698175007u);
  EXPECT_EQ(random.Next(), 870078620u);
  TLVRandom top(0xFFFFFFFFu);
  EXPECT_EQ(top.Next(), 4160191484u);

  // An integer draw is the high half of seed * range, so it stays below the range.
  TLVRandom a(42), b(42);
  for (int i = 0; i < 1000; ++i) {
    const uint32_t x = a.Random(7);
    EXPECT_LT(x, 7u);
    EXPECT_EQ(x, static_cast<uint32_t>((uint64_t{b.Next()} * 7) >> 32));
  }
  EXPECT_EQ(TLVRandom(5).Random(0), 0u);
}

TEST(Random, ShuffleIsAPermutationThatTheSeedRepeats) {
  std::vector<int> first(1000), second(1000), sorted(1000);
  std::iota(first.begin(), first.end(), 0);
  std::iota(sorted.begin(), sorted.end(), 0);
  second = first;
  TLVRandom(99).Shuffle(std::span(first));
  TLVRandom(99).Shuffle(std::span(second));
  EXPECT_EQ(first, second);
  EXPECT_NE(first, sorted);
  std::vector<int> back = first;
  std::sort(back.begin(), back.end());
  EXPECT_EQ(back, sorted);
  // Every position can receive every item: the last item lands anywhere over seeds.
  std::vector<bool> seen(5, false);
  for (uint32_t seed = 0; seed < 200; ++seed) {
    std::vector<int> five = {0, 1, 2, 3, 4};
    TLVRandom(seed).Shuffle(std::span(five));
    seen[static_cast<size_t>(std::find(five.begin(), five.end(), 4) - five.begin())] = true;
  }
  EXPECT_EQ(std::count(seen.begin(), seen.end(), true), 5);
}

TEST(Random, ContainerPersistsItsStartingSeed) {
  TLVRandomContainer container("Indexes");
  container.SetRandSeed(3000000000u);
  TLVRandom g = container.Restart();
  g.Next();
  EXPECT_EQ(container.Restart().GetRandSeed(), 3000000000u);

  test::TMapSection section;
  container.SaveTo(section);
  ASSERT_NE(section.FindSection("Indexes"), nullptr);
  EXPECT_EQ(section.FindSection("Indexes")->Get("RandSeed"), "3000000000");

  TLVRandomContainer loaded("Indexes");
  loaded.LoadFrom(section);
  EXPECT_EQ(loaded.GetRandSeed(), 3000000000u);

  // A seed written signed reads as the same 32 bits; a bad text changes nothing.
  test::TMapSection signedSeed;
  signedSeed.AddSection("Indexes").Put("RandSeed", "-1");
  loaded.LoadFrom(signedSeed);
  EXPECT_EQ(loaded.GetRandSeed(), 0xFFFFFFFFu);
  for (const char* text : {"12x", "1e49", "-1e49", "4294967296", "2.5"}) {
    test::TMapSection bad;
    bad.AddSection("Indexes").Put("RandSeed", text);
    EXPECT_THROW(loaded.LoadFrom(bad), ELVError) << text;
    EXPECT_EQ(loaded.GetRandSeed(), 0xFFFFFFFFu) << text;
  }
}

TEST(MSequence, VisitsEveryNumberOnceForEveryRegisterLength) {
  TLVRandom random(7);
  TMSequence sequence(random);
  for (int length = 2; length <= 20; ++length) {
    // The full register and a count just above the next smaller one both visit all.
    const uint32_t full = (uint32_t{1} << length) - 1;
    for (uint32_t count : {full, (full >> 1) + 1}) {
      sequence.SetCount(count);
      ASSERT_EQ(sequence.GetLength(), count == 1 ? 2 : length) << count;
      ASSERT_EQ(sequence.GetMask(), (uint32_t{1} << sequence.GetLength()) - 1);
      std::vector<bool> seen(count, false);
      for (uint32_t i = 0; i < count; ++i) {
        const uint32_t x = sequence.Next();
        ASSERT_LT(x, count);
        ASSERT_FALSE(seen[x]) << "length " << length << " count " << count << " repeats " << x;
        seen[x] = true;
      }
    }
  }
  // Longer registers take too long to walk here; their taps must end at the top bit.
  for (int length = 21; length <= 30; ++length) {
    EXPECT_EQ(TMSequence::TapsOf(length).back(), length);
  }
}

TEST(MSequence, CountAndStartAreChecked) {
  TLVRandom random(1);
  TMSequence sequence(random);
  EXPECT_THROW(sequence.SetCount(0), ELVError);
  EXPECT_THROW(sequence.SetCount(TMSequence::kMaxCount + 1), ELVError);
  EXPECT_EQ(sequence.GetCount(), 0u);
  EXPECT_THROW(sequence.Next(), ELVError);

  sequence.SetCount(TMSequence::kMaxCount);
  EXPECT_EQ(sequence.GetLength(), 30);
  sequence.SetCount(5);
  EXPECT_EQ(sequence.GetLength(), 3);
  EXPECT_EQ(std::vector<uint8_t>(sequence.GetTaps().begin(), sequence.GetTaps().end()),
            (std::vector<uint8_t>{1, 3}));
  EXPECT_GE(sequence.GetValue(), 1u);
  EXPECT_LE(sequence.GetValue(), 5u);
  EXPECT_THROW(sequence.SetValue(6), ELVError);

  // From state 1 with taps 1 and 3: 011, then 111 and 110 (above 5, skipped), 101, 010,
  // 100, 001.
  sequence.SetValue(1);
  std::vector<uint32_t> order;
  for (int i = 0; i < 5; ++i) order.push_back(sequence.Next());
  EXPECT_EQ(order, (std::vector<uint32_t>{2, 4, 1, 3, 0}));
}

}  // namespace
}  // namespace lv
