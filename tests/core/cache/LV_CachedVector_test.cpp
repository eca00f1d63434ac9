#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "LV_TestHelpers.h"
#include "core/cache/LV_CachedLinkVector.h"
#include "core/cache/LV_CachedVectorBoolean.h"
#include "core/cache/LV_CachedVectorComplex.h"
#include "core/cache/LV_CachedVectorDateTime.h"
#include "core/cache/LV_CachedVectorFloat.h"
#include "core/cache/LV_CachedVectorFloatZerro.h"
#include "core/cache/LV_CachedVectorInteger.h"
#include "core/cache/LV_CachedVectorString.h"
#include "core/text/LV_Errors.h"

namespace lv {
namespace {

// The message of the ELVError that `action` raises, prefixed by its key.
template <class F>
std::string Error(F&& action) {
  return test::Caught<ELVError>(action,
                                [](const ELVError& e) { return e.Key() + ": " + e.what(); });
}

int32_t RefCount(const TLVText& text) {
  return text.Item()->refCount.load();
}

std::vector<std::string> Texts(const TLVCachedVectorString& v) {
  std::vector<std::string> out;
  for (const TLVText& t : v) out.push_back(t.Str());
  return out;
}

bool Same(double a, double b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

// Applies the same seeded random edits to `v` and to a std::vector reference, calling
// check() after each one.
template <class V, class T, class Make, class Check>
void RandomEdits(V& v, std::vector<T>& ref, T blank, Make make, Check check) {
  std::mt19937 rng(20240611);
  auto pick = [&](size_t n) { return static_cast<TLVRowIndex>(rng() % n); };
  for (int step = 0; step < 3000; ++step) {
    T x = make(rng);
    TLVRowIndex at = ref.empty() ? 0 : pick(ref.size());
    switch (rng() % 7) {
      case 0:
      case 1:
        v.Add(x);
        ref.push_back(x);
        break;
      case 2:
        at = pick(ref.size() + 1);
        v.Insert(at, x);
        ref.insert(ref.begin() + at, x);
        break;
      case 3:
      case 4:
        if (ref.empty()) break;
        v.Set(at, x);
        ref[static_cast<size_t>(at)] = x;
        break;
      case 5:
        if (ref.empty()) break;
        v.Delete(at);
        ref.erase(ref.begin() + at);
        break;
      case 6:
        at = pick(ref.size() + 8);
        v.SetCount(at);
        ref.resize(static_cast<size_t>(at), blank);
        break;
    }
    ASSERT_EQ(v.Count(), static_cast<TLVRowIndex>(ref.size()));
    check(step);
    if (::testing::Test::HasFatalFailure()) return;
  }
}

TEST(CachedVectorGrowth, FullVectorGrowsByTheStepOfItsCapacity) {
  // Around each boundary of the rule: below 9, 9..64, above 64.
  const std::pair<TLVRowIndex, TLVRowIndex> cases[] = {{0, 4},   {8, 12},  {9, 25},
                                                       {64, 80}, {65, 81}, {100, 125}};
  for (auto [from, to] : cases) {
    TLVCachedVectorInteger added, inserted;
    for (auto* v : {&added, &inserted}) {
      v->SetCapacity(from);
      v->SetCount(from);
      ASSERT_EQ(v->Capacity(), from);
    }
    added.Add(1);
    inserted.Insert(0, 1);
    EXPECT_EQ(added.Capacity(), to) << "from " << from;
    EXPECT_EQ(inserted.Capacity(), to) << "from " << from;
  }

  std::vector<TLVRowIndex> seen;
  TLVCachedVectorFloat v;
  for (int i = 0; i < 120; ++i) {
    v.Add(i);
    if (seen.empty() || seen.back() != v.Capacity()) seen.push_back(v.Capacity());
  }
  EXPECT_EQ(seen, (std::vector<TLVRowIndex>{4, 8, 12, 28, 44, 60, 76, 95, 118, 147}));

  TLVCachedVectorInteger bulk;  // lands where 13 single appends would
  bulk.Append(std::vector<int32_t>(13, 7));
  EXPECT_EQ(bulk.Capacity(), 28);
}

TEST(CachedVectorGrowth, SetCountPastCapacityReservesTheStepOfTheRequestedCount) {
  TLVCachedVectorInteger v;
  const std::pair<TLVRowIndex, TLVRowIndex> steps[] = {{5, 9},   {9, 9},     {10, 26},
                                                       {64, 80}, {100, 125}, {3, 125}};
  for (auto [count, capacity] : steps) {
    v.SetCount(count);
    EXPECT_EQ(v.Capacity(), capacity) << "count " << count;
  }
  v.SetCapacity(3);
  EXPECT_EQ(v.Capacity(), 3);
  v.Clear();
  EXPECT_EQ(v.Count() + v.Capacity(), 0);
}

TEST(CachedVectorString, DroppedElementsReleaseTheirTexts) {
  TLVText text = TLVText::Make("Текст");
  {
    TLVCachedVectorString v;
    for (int i = 0; i < 10; ++i) v.Add(text);
    EXPECT_EQ(RefCount(text), 11);
    v.SetCount(4);
    EXPECT_EQ(RefCount(text), 5);
    v.Insert(1, "другой");  // shifting moves references, never copies them
    v.SetCapacity(v.Count());
    EXPECT_EQ(RefCount(text), 5);
    v.Delete(0, 2);
    v.Set(0, "x");
    EXPECT_EQ(RefCount(text), 3);
    TLVCachedVectorString copy = v;
    EXPECT_EQ(RefCount(text), 5);
    TLVCachedVectorString moved = std::move(copy);
    moved.Clear();
    EXPECT_EQ(RefCount(text), 3);
  }
  EXPECT_EQ(RefCount(text), 1);
}

TEST(CachedVectorString, EditsMatchAReferenceVector) {
  TLVCachedVectorString v;
  std::vector<std::string> ref;
  auto make = [](std::mt19937& rng) { return "s" + std::to_string(rng() % 1000); };
  RandomEdits(v, ref, std::string(), make, [&](int step) {
    ASSERT_EQ(Texts(v), ref) << "step " << step;
    ASSERT_LE(v.Count(), v.Capacity());
  });
}

TEST(CachedVector, ValuesTakenFromTheVectorItselfSurviveGrowth) {
  TLVCachedVectorString v;
  v.SetCapacity(2);
  v.Add("один");
  v.Add("два");
  v.Add(v[0]);  // full: the value lives in the storage being replaced
  v.SetCapacity(v.Count());
  v.Insert(0, v[2]);
  v.SetCapacity(v.Count());
  v.Append(v.Items().subspan(1));
  EXPECT_EQ(Texts(v),
            (std::vector<std::string>{"один", "один", "два", "один", "один", "два", "один"}));
}

TEST(CachedVector, BadIndexesAndCountsRaiseAndChangeNothing) {
  TLVCachedVectorInteger v;
  for (int i = 0; i < 5; ++i) v.Add(i);
  const std::string outOfRange = "ErrVectorIndex: Индекс 5 вне диапазона (0..4)";
  EXPECT_EQ(Error([&] { v.Get(5); }), outOfRange);
  EXPECT_EQ(Error([&] { v[5] = 1; }), outOfRange);
  EXPECT_EQ(Error([&] { v.Delete(5); }), outOfRange);
  EXPECT_EQ(Error([&] { v.Delete(3, 3); }), outOfRange);
  EXPECT_EQ(Error([&] { v.Set(-1, 1); }), "ErrVectorIndex: Индекс -1 вне диапазона (0..4)");
  EXPECT_EQ(Error([&] { v.Insert(6, 1); }), "ErrVectorIndex: Индекс 6 вне диапазона (0..5)");
  EXPECT_EQ(Error([&] { v.SetCount(-1); }).substr(0, 14), "ErrVectorCount");
  EXPECT_EQ(Error([&] { v.SetCount(v.kMaxCount + 1); }).substr(0, 14), "ErrVectorCount");
  EXPECT_EQ(Error([&] { v.SetCapacity(4); }).substr(0, 17), "ErrVectorCapacity");
  EXPECT_EQ(std::vector<int32_t>(v.begin(), v.end()), (std::vector<int32_t>{0, 1, 2, 3, 4}));
  EXPECT_EQ(v.Capacity(), 8);
  TLVCachedVectorInteger empty;
  EXPECT_EQ(Error([&] { empty.Get(0); }), "ErrVectorIndex: Индекс 0 вне диапазона (0..-1)");
}

TEST(CachedVectorFloatZerro, MatchesADenseReferenceOnRandomEdits) {
  // Mostly zeros, some values, an occasional missing one.
  auto make = [](std::mt19937& rng) {
    unsigned r = rng() % 10;
    return r < 6 ? 0.0 : r < 9 ? static_cast<double>(rng() % 100) - 50.0 : LVMissing();
  };
  TLVCachedVectorFloatZerro v;
  std::vector<double> ref;
  RandomEdits(v, ref, 0.0, make, [&](int step) {
    TLVRowIndex nonZero = 0;
    double sum = 0;
    for (size_t i = 0; i < ref.size(); ++i) {
      ASSERT_TRUE(Same(v[static_cast<TLVRowIndex>(i)], ref[i])) << "step " << step << " at " << i;
      nonZero += ref[i] != 0.0;
      sum += std::isnan(ref[i]) ? 0.0 : ref[i];
    }
    ASSERT_EQ(v.NonZeroCount(), nonZero);
    ASSERT_EQ(v.Sum(), sum);
    auto entries = v.Entries();
    for (size_t i = 1; i < entries.size(); ++i) ASSERT_LT(entries[i - 1].index, entries[i].index);
    if (ref.size() < 3) return;
    std::vector<double> dense(ref.size() - 2);
    v.CopyTo(1, static_cast<TLVRowIndex>(dense.size()), dense.data());
    for (size_t i = 0; i < dense.size(); ++i) ASSERT_TRUE(Same(dense[i], ref[i + 1]));
  });
}

TEST(CachedVectorFloatZerro, StoresOnlyNonZerosAndGrowsThemByTheRule) {
  TLVCachedVectorFloatZerro v;
  v.SetCount(1000);
  EXPECT_EQ(v.Get(999), 0.0);
  EXPECT_EQ(v.EntryCapacity(), 0);
  for (TLVRowIndex i = 0; i < 8; ++i) v.Set(i * 100, 1.5);
  EXPECT_EQ(v.EntryCapacity(), 8);
  v.Set(950, 2.0);
  EXPECT_EQ(v.EntryCapacity(), 12);
  v.Set(950, 0.0);
  v.Set(100, -0.0);
  v.Set(5, LVMissing());
  EXPECT_EQ(v.NonZeroCount(), 8);
  EXPECT_TRUE(v.IsMissing(5));
  v.SetCount(300);  // drops the entries at 300..700
  EXPECT_EQ(v.NonZeroCount(), 3);
}

TEST(CachedLinkVector, ReadsThroughToItsTarget) {
  TLVCachedVectorFloat target;
  for (double x : {10.0, LVMissing(), 30.0}) target.Add(x);
  TLVCachedLinkVector<TLVCachedVectorFloat> links(target);
  for (TLVRowIndex row : {TLVRowIndex{2}, TLVRowIndex{0}, kLVNoLink, TLVRowIndex{1}})
    links.Add(row);
  links.Add(3);  // just past the end until the target grows
  EXPECT_EQ(links.ValueAt(0), 30.0);
  EXPECT_EQ(links.Resolve(1), 0);
  EXPECT_TRUE(std::isnan(links.ValueAt(2)));
  EXPECT_TRUE(links.IsMissing(2) && links.IsMissing(3) && !links.IsMissing(0));
  EXPECT_EQ(Error([&] { links.ValueAt(4); }),
            "ErrVectorLink: Ссылка на строку 3 вне диапазона (0..2)");
  for (int i = 0; i < 100; ++i) target.Add(i + 100);  // moves the target's storage
  EXPECT_EQ(links.ValueAt(4), 100.0);
  EXPECT_EQ(links.ValueAt(0), 30.0);

  TLVCachedVectorString names;
  names.Add("Москва");
  TLVCachedLinkVector<TLVCachedVectorString> nameLinks(names);
  nameLinks.SetCount(2);  // new links point nowhere
  nameLinks.Set(1, 0);
  EXPECT_TRUE(nameLinks.IsMissing(0));
  EXPECT_EQ(nameLinks.ValueAt(1).View(), "Москва");
}

TEST(CachedVectorTypes, NewElementsAreMissingAndHelpersSkipThem) {
  TLVCachedVectorFloat f;
  for (double x : {3.0, 7.0, -1.0, 4.0}) f.Add(x);
  f.SetCount(2);
  f.SetCount(3);  // a dropped value does not come back
  f.Set(0, -1.0);
  f.Add(4.0);
  TLVVectorStatistics stats = f.Statistics();
  EXPECT_EQ(stats.presentCount, 3);
  EXPECT_EQ(stats.missingCount, 1);
  EXPECT_EQ(stats.min, -1.0);
  EXPECT_EQ(stats.max, 7.0);
  EXPECT_EQ(stats.sumSq, 66.0);
  EXPECT_EQ(stats.Mean(), 10.0 / 3);
  EXPECT_EQ(f.Sum(), 10.0);
  TLVCachedVectorDateTime dates;
  dates.SetCount(2);
  EXPECT_EQ(std::bit_cast<uint64_t>(dates[1]), 0xFFF8000000000000ull);
  EXPECT_TRUE(std::isnan(dates.Statistics().min) && std::isnan(dates.Statistics().Mean()));

  TLVCachedVectorBoolean b;
  b.SetCount(1);
  b.Add(true);
  b.Insert(0, false);
  EXPECT_EQ(b.TrueCount(), 1);
  EXPECT_EQ(b.MissingCount(), 1);
  EXPECT_EQ(b.AsDouble(0), 0.0);
  EXPECT_TRUE(std::isnan(b.AsDouble(1)));

  TLVCachedVectorString s;
  s.Add("абв");  // 3 characters in 6 bytes
  s.Add("abcd");
  s.SetCount(4);
  s.Set(3, "");  // empty is a value, not a missing one
  EXPECT_EQ(s.MissingCount(), 1);
  EXPECT_EQ(s.MaxLength(), 4);

  TLVCachedVectorInteger i;
  i.Append(std::vector<int32_t>{2'000'000'000, 2'000'000'000});
  i.SetCount(3);
  EXPECT_EQ(i.Sum(), 4'000'000'000);

  TLVCachedVectorComplex c;
  c.AssignReal(std::vector<double>{1.0, -2.0});
  c.SetCount(3);
  EXPECT_EQ(c[1], std::complex<double>(-2.0, 0.0));
  EXPECT_EQ(c[2], std::complex<double>(0.0, 0.0));
}

}  // namespace
}  // namespace lv
