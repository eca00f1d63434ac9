#include "mining/som/LV_SOM.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "core/LV_TestSection.h"
#include "core/LV_TestTable.h"
#include "core/registry/LV_Vendor.h"
#include "mining/LV_MiningTestHelpers.h"
#include "mining/random/LV_Random.h"
#include "mining/som/LV_SOMTeacher.h"
#include "mining/som/LV_SOMVendor.h"
#include "mining/som/LV_SOMWithClusters.h"

namespace lv {
namespace {

using P = TLVParamModificationType;

// Rows of `width` float columns "x1".."xN" from `row(i, j)`.
template <class F>
std::shared_ptr<test::TTestTable> Table(int rows, int width, F value) {
  std::vector<test::TTestTable::TColumn> columns;
  for (int j = 0; j < width; ++j)
    columns.push_back({"x" + std::to_string(j + 1), TLVDataType::dtFloat});
  std::vector<std::vector<TLVValue>> data;
  for (int i = 0; i < rows; ++i) {
    std::vector<TLVValue> row;
    for (int j = 0; j < width; ++j) row.push_back(TLVValue::Float(value(i, j)));
    data.push_back(std::move(row));
  }
  return std::make_shared<test::TTestTable>(std::move(columns), std::move(data));
}

// Two tight blobs in three dimensions, around (0,0,0) and (10,10,10), alternating.
std::shared_ptr<test::TTestTable> TwoBlobs(int rows = 400) {
  TLVRandom random(77);
  return Table(rows, 3, [&random](int i, int) { return (i % 2) * 10 + random.Random() - 0.5; });
}

// A map node over `table` with every column an input, all rows for training.
void MapOver(TLVSOM& model, std::shared_ptr<test::TTestTable> table, int32_t x, int32_t y) {
  model.SetParentSource(std::move(table));
  TLVTunedNormDataSource& tuned = model.TunedNormDataSource();
  for (int32_t i = 0; i < tuned.Columns().Count(); ++i) {
    tuned.Columns()[i].SetDataStatus(TLVDataStatus::dsInput);
  }
  model.TeachDataSource().SetPercent(TLVDataSourceType::dstTeach, 100);
  model.SOM().SetXDim(x);
  model.SOM().SetYDim(y);
  model.SOMTeacher().Random().SetRandSeed(12345);
}

void Plan(TLVSOMTeacher& teacher, int32_t epochs, double radius, TLVSOMNeighborType type) {
  teacher.ResetTeachIntervals(radius);
  teacher.TeachIntervals()[0].SetEpochCount(epochs);
  teacher.SetNeighborType(type);
}

TEST(SOMSchedule, EndsAndHalfwayValuesOfBothModes) {
  EXPECT_EQ(LVSOMScheduleValue(0.3, 0.005, P::pmtLinear, 0, 500), 0.3);
  EXPECT_EQ(LVSOMScheduleValue(0.3, 0.005, P::pmtLinear, 499, 500), 0.005);
  EXPECT_NEAR(LVSOMScheduleValue(0.3, 0.005, P::pmtLinear, 1, 500), 0.3 - 0.295 / 499, 1e-15);
  EXPECT_EQ(LVSOMScheduleValue(10, 0.1, P::pmtBackProportional, 0, 500), 10);
  EXPECT_NEAR(LVSOMScheduleValue(10, 0.1, P::pmtBackProportional, 250, 500), 1, 1e-12);
  // The back-proportional schedule divides by N and stays above its end.
  EXPECT_GT(LVSOMScheduleValue(10, 0.1, P::pmtBackProportional, 499, 500), 0.1 * 1.009);
  for (P mode : {P::pmtLinear, P::pmtBackProportional}) {
    for (int t : {0, 7, 499}) EXPECT_EQ(LVSOMScheduleValue(2.5, 2.5, mode, t, 500), 2.5);
  }
  // A linear interval of one epoch (or none) stays at its beginning.
  EXPECT_EQ(LVSOMScheduleValue(3, 1, P::pmtLinear, 0, 1), 3);
  EXPECT_EQ(LVSOMScheduleValue(3, 1, P::pmtLinear, 0, 0), 3);
}

TEST(SOMIntervals, GlobalEpochsFallIntoTheirIntervalAndTheSumIsKept) {
  TLVSOMTeacher teacher;
  EXPECT_EQ(teacher.GetEpochSum(), 500);
  EXPECT_EQ(teacher.GetMaxEpochCount(), 500);
  teacher.TeachIntervals()[0].SetEpochCount(300);
  teacher.TeachIntervals().Add().SetEpochCount(200);
  EXPECT_EQ(teacher.GetEpochSum(), 800 - 300);
  EXPECT_EQ(teacher.GetMaxEpochCount(), 500);
  const TLVSOMTeachIntervals& intervals = teacher.TeachIntervals();
  auto at = [&intervals](int64_t g) {
    auto pos = intervals.Locate(g);
    return pos ? std::make_pair(pos->interval, pos->epoch) : std::make_pair(-1, -1);
  };
  EXPECT_EQ(at(0), std::make_pair(0, 0));
  EXPECT_EQ(at(299), std::make_pair(0, 299));
  EXPECT_EQ(at(300), std::make_pair(1, 0));
  EXPECT_EQ(at(499), std::make_pair(1, 199));
  EXPECT_EQ(at(500), std::make_pair(-1, -1));

  // A negative count is refused and the old one kept.
  EXPECT_EQ(test::ErrorText([&] { teacher.TeachIntervals()[1].SetEpochCount(-1); }),
            "Количество эпох должно быть больше нуля");
  EXPECT_EQ(intervals[1].GetEpochCount(), 200);
  // An empty interval is skipped over.
  teacher.TeachIntervals()[0].SetEpochCount(0);
  EXPECT_EQ(at(0), std::make_pair(1, 0));
  EXPECT_EQ(teacher.GetEpochSum(), 200);
}

TEST(SOMIntervals, SettingTheTotalRoundsHalvesToEvenInOneBracket) {
  TLVSOMTeacher teacher;
  TLVSOMTeachIntervals& intervals = teacher.TeachIntervals();
  auto counts = [&intervals] {
    std::vector<int32_t> list;
    for (int32_t i = 0; i < intervals.Count(); ++i) list.push_back(intervals[i].GetEpochCount());
    return list;
  };
  intervals[0].SetEpochCount(300);
  intervals.Add().SetEpochCount(200);
  teacher.SetMaxEpochCount(600);
  EXPECT_EQ(counts(), (std::vector<int32_t>{300, 300}));
  intervals[1].SetEpochCount(200);
  teacher.SetMaxEpochCount(250);
  EXPECT_EQ(counts(), (std::vector<int32_t>{150, 100}));
  EXPECT_EQ(teacher.GetEpochSum(), 250);
  EXPECT_EQ(teacher.GetMaxEpochCount(), 250);
  // 3 and 1 scaled to 2 are 1.5 and 0.5: to even, 2 and 0.
  intervals[0].SetEpochCount(3);
  intervals[1].SetEpochCount(1);
  teacher.SetMaxEpochCount(2);
  EXPECT_EQ(counts(), (std::vector<int32_t>{2, 0}));
  EXPECT_EQ(teacher.GetEpochSum(), 2);
  EXPECT_THROW(teacher.SetMaxEpochCount(0), ELVError);
  EXPECT_EQ(counts(), (std::vector<int32_t>{2, 0}));

  // A bracket reports its changes once, at its end.
  int calls = 0;
  TLVSOMTeachIntervals counted([&calls] { ++calls; });
  counted.BeginUpdate();
  counted.Add().SetEpochCount(10);
  counted.Add().SetRateEnd(0.5);
  EXPECT_EQ(calls, 0);
  counted.EndUpdate();
  EXPECT_EQ(calls, 1);
  counted[0].SetEpochCount(10);  // unchanged: no report
  EXPECT_EQ(calls, 1);
}

TEST(SOMIntervals, ResetLeavesOneDefaultInterval) {
  TLVSOMTeacher teacher;
  teacher.TeachIntervals().Add();
  teacher.TeachIntervals().Add();
  teacher.TeachIntervals()[0].SetRateBegin(0.9);
  teacher.ResetTeachIntervals(4);
  ASSERT_EQ(teacher.TeachIntervals().Count(), 1);
  const TLVSOMTeachInterval& interval = teacher.TeachIntervals()[0];
  EXPECT_EQ(interval.GetEpochCount(), 500);
  EXPECT_EQ(interval.GetRadiusBegin(), 4);
  EXPECT_EQ(interval.GetRadiusEnd(), 0.1);
  EXPECT_EQ(interval.GetRadiusModification(), P::pmtBackProportional);
  EXPECT_EQ(interval.GetRateBegin(), 0.3);
  EXPECT_EQ(interval.GetRateEnd(), 0.005);
  EXPECT_EQ(interval.GetRateModification(), P::pmtBackProportional);
  teacher.TeachIntervals().Clear();
  teacher.ResetTeachIntervals(-1);
  ASSERT_EQ(teacher.TeachIntervals().Count(), 1);
  EXPECT_EQ(teacher.TeachIntervals()[0].GetRadiusBegin(), 10);
  EXPECT_EQ(teacher.GetInitType(), TLVSOMInitType::itEigenVect);
  EXPECT_EQ(teacher.GetNeighborType(), TLVSOMNeighborType::ntBubble);
  EXPECT_TRUE(teacher.GetRandomOrder());
  EXPECT_EQ(teacher.GetRandomOrderEpochStep(), 20);
}

TEST(SOMGrid, NodesRowByRowAndTheirNeighbours) {
  TLVCustomSOM som;
  EXPECT_EQ(som.GetXDim(), 16);
  EXPECT_EQ(som.GetYDim(), 12);
  EXPECT_EQ(som.GetTopolType(), TLVSOMTopolType::sttHexagonal);
  const TLVSOMNodes nodes = som.Nodes();
  ASSERT_EQ(nodes.size(), 192u);
  EXPECT_EQ(nodes[17].column, 1);
  EXPECT_EQ(nodes[17].row, 1);
  EXPECT_EQ(nodes[191].column, 15);
  EXPECT_EQ(nodes[191].row, 11);
  // An inner node of a hexagonal grid has six neighbours at distance 1, a rectangular
  // one four; every other node is farther than 1.
  auto neighbours = [&som](int32_t node) {
    int count = 0;
    for (int32_t other = 0; other < som.NodeCount(); ++other) {
      const double d = som.GridDistance(node, other);
      if (other != node && d < 1.01) {
        EXPECT_NEAR(d, 1, 1e-12);
        ++count;
      }
    }
    return count;
  };
  EXPECT_EQ(neighbours(17), 6);
  EXPECT_EQ(neighbours(16 * 2 + 5), 6);
  EXPECT_TRUE(som.Adjacent(17, 2));           // odd row: up-right is column + 1
  EXPECT_FALSE(som.Adjacent(17, 0));          // and up-left two columns back is not
  EXPECT_TRUE(som.Adjacent(32 + 5, 16 + 4));  // even row: up-left is column - 1
  EXPECT_NEAR(som.GridDistance(0, 2 * 16), std::sqrt(3.0), 1e-12);
  som.SetTopolType(TLVSOMTopolType::sttRectangular);
  EXPECT_EQ(neighbours(17), 4);
  EXPECT_NEAR(som.GridDistance(0, 17), std::sqrt(2.0), 1e-12);
  EXPECT_THROW(som.SetXDim(0), ELVError);
  EXPECT_THROW(som.SetYDim(TLVCustomSOM::kMaxDim + 1), ELVError);
  EXPECT_EQ(som.GetXDim(), 16);

  TLVSOMTeacher teacher;
  EXPECT_EQ(teacher.Neighbourhood(2, 2), 1);
  EXPECT_EQ(teacher.Neighbourhood(2.01, 2), 0);
  EXPECT_EQ(teacher.Neighbourhood(0, 0), 1);
  EXPECT_EQ(teacher.Neighbourhood(1, 0), 0);
  teacher.SetNeighborType(TLVSOMNeighborType::ntGaussian);
  EXPECT_NEAR(teacher.Neighbourhood(2, 2), std::exp(-0.5), 1e-15);
  EXPECT_EQ(teacher.Neighbourhood(0, 3), 1);
}

TEST(SOMInit, EigenvectorsOfAHandComputedCovariance) {
  // Around (5, -3): covariance [[10/3, 2], [2, 10/3]], eigenvalues 16/3 along (1, 1)
  // and 4/3 along (1, -1).
  const double points[4][2] = {{2, 2}, {-2, -2}, {1, -1}, {-1, 1}};
  TLVSOM model;
  MapOver(model, Table(4, 2, [&points](int i, int j) { return points[i][j] + (j == 0 ? 5 : -3); }),
          16, 12);
  Plan(model.SOMTeacher(), 0, -1, TLVSOMNeighborType::ntBubble);
  model.Teach(nullptr);
  const TLVSOMNode node = model.SOM().Node(17);
  ASSERT_EQ(node.weights.size(), 2u);
  const double x = 2.0 / 15 - 1;
  const double y = 2.0 / 11 - 1;
  const double dx = node.weights[0] - 5;
  const double dy = node.weights[1] + 3;
  // An eigenvector's sign is free: compare the lengths along the two axes.
  EXPECT_NEAR(std::abs(dx + dy) / std::sqrt(2.0), std::abs(x) * std::sqrt(16.0 / 3), 1e-12);
  EXPECT_NEAR(std::abs(dx - dy) / std::sqrt(2.0), std::abs(y) * std::sqrt(4.0 / 3), 1e-12);
  // The corners span the plane: node 0 and the last node are opposite about the mean.
  const TLVSOMNode first = model.SOM().Node(0);
  const TLVSOMNode last = model.SOM().Node(16 * 12 - 1);
  EXPECT_NEAR(first.weights[0] + last.weights[0], 10, 1e-12);
  EXPECT_NEAR(first.weights[1] + last.weights[1], -6, 1e-12);
}

TEST(SOMInit, EigenvectorsNeedTwoInputsAndTwoNonZeroEigenvalues) {
  TLVSOM one;
  MapOver(one, Table(10, 1, [](int i, int) { return i; }), 4, 3);
  EXPECT_EQ(test::ErrorText([&] { one.Teach(nullptr); }),
            "Невозможно инициализировать карту при помощи собственных векторов.\r\n"
            "Выберете другой метод инициализации.");
  EXPECT_FALSE(one.SOM().Trained());
  // Two columns that move together span a line: the second eigenvalue is zero.
  TLVSOM line;
  MapOver(line, Table(10, 2, [](int i, int j) { return i * (j + 1.0); }), 4, 3);
  EXPECT_EQ(test::ErrorText([&] { line.Teach(nullptr); }),
            "Собственное значение равно нулю.\r\nВыберете другой метод инициализации.");
  // The other starts do not care.
  for (TLVSOMInitType type : {TLVSOMInitType::itRandom, TLVSOMInitType::itSamples}) {
    line.SOMTeacher().SetInitType(type);
    Plan(line.SOMTeacher(), 0, -1, TLVSOMNeighborType::ntBubble);
    ASSERT_NO_THROW(line.Teach(nullptr));
    for (int32_t n = 0; n < line.SOM().NodeCount(); ++n) {
      const std::span<const double> w = line.SOM().Node(n).weights;
      EXPECT_TRUE(w[0] >= 0 && w[0] <= 9) << n;
      EXPECT_TRUE(w[1] >= 0 && w[1] <= 18) << n;
      // A sample is a row of the data.
      if (type == TLVSOMInitType::itSamples) {
        EXPECT_EQ(w[1], 2 * w[0]) << n;
      }
    }
  }
}

TEST(SOMTeach, BestNodesAgreeWithADirectSearch) {
  TLVSOM model;
  MapOver(model, TwoBlobs(300), 5, 4);
  model.SOMTeacher().SetInitType(TLVSOMInitType::itRandom);
  Plan(model.SOMTeacher(), 3, 2, TLVSOMNeighborType::ntGaussian);
  model.Teach(nullptr);
  const TLVSOMWithClusters& som = model.SOM();
  ILVDataSource& out = *model.GetDataSourceIntf();
  const int32_t nodeColumn = out.GetColumnsInfo().IndexOfColumn("SOM_NODE");
  ASSERT_GE(nodeColumn, 0);
  for (TLVRowIndex row = 0; row < 300; ++row) {
    int32_t best = -1;
    double bestDistance = 1e300;
    for (int32_t n = 0; n < som.NodeCount(); ++n) {
      double d = 0;
      for (int32_t j = 0; j < 3; ++j) {
        const double diff = out.GetNumber(row, j) - som.Node(n).weights[static_cast<size_t>(j)];
        d += diff * diff;
      }
      if (d < bestDistance) {
        bestDistance = d;
        best = n;
      }
    }
    ASSERT_EQ(out.GetNumber(row, nodeColumn), best) << row;
  }
}

TEST(SOMTeach, AnEpochMovesTheNeighboursTowardsEachRowInTurn) {
  // Three rows in their own order, a radius that covers the whole 3 x 2 map and a rate
  // of 0.5: every node goes halfway to the first row, then the second, then the third.
  const double points[3][2] = {{0, 0}, {4, 8}, {-2, 6}};
  auto train = [&points](int32_t epochs) {
    TLVSOM model;
    MapOver(model, Table(3, 2, [&points](int i, int j) { return points[i][j]; }), 3, 2);
    TLVSOMTeacher& teacher = model.SOMTeacher();
    teacher.SetInitType(TLVSOMInitType::itRandom);
    teacher.SetRandomOrder(false);
    Plan(teacher, epochs, 5, TLVSOMNeighborType::ntBubble);
    teacher.TeachIntervals()[0].SetRateBegin(0.5);
    teacher.TeachIntervals()[0].SetRateEnd(0.5);
    model.Teach(nullptr);
    return model.SOM().Weights();
  };
  std::vector<double> expected = train(0);
  for (size_t k = 0; k < expected.size(); ++k) {
    for (const auto& point : points) expected[k] += 0.5 * (point[k % 2] - expected[k]);
  }
  const std::vector<double> trained = train(1);
  ASSERT_EQ(trained.size(), expected.size());
  for (size_t k = 0; k < expected.size(); ++k) EXPECT_NEAR(trained[k], expected[k], 1e-12) << k;

  // A back-proportional rate from 0 has no value after its first epoch (0 times an
  // infinite ratio): those epochs move nothing instead of spoiling the weights.
  TLVSOM model;
  MapOver(model, Table(3, 2, [&points](int i, int j) { return points[i][j]; }), 3, 2);
  model.SOMTeacher().SetInitType(TLVSOMInitType::itRandom);
  Plan(model.SOMTeacher(), 3, 5, TLVSOMNeighborType::ntBubble);
  model.SOMTeacher().TeachIntervals()[0].SetRateBegin(0);
  model.SOMTeacher().TeachIntervals()[0].SetRateEnd(0.1);
  model.Teach(nullptr);
  EXPECT_EQ(model.SOM().Weights(), train(0));
}

TEST(SOMTeach, AnOrderedMapSeparatesTwoClearClusters) {
  for (TLVSOMTopolType topol : {TLVSOMTopolType::sttHexagonal, TLVSOMTopolType::sttRectangular}) {
    for (TLVSOMNeighborType type : {TLVSOMNeighborType::ntBubble, TLVSOMNeighborType::ntGaussian}) {
      TLVSOM model;
      MapOver(model, TwoBlobs(), 6, 4);
      model.SOM().SetTopolType(topol);
      Plan(model.SOMTeacher(), 30, 3, type);
      model.Teach(nullptr);
      const TLVSOMWithClusters& som = model.SOM();
      EXPECT_EQ(model.Teacher().GetResult(), TLVTeachResult::trFinished);
      EXPECT_EQ(model.SOMTeacher().GetCurrentEpoch(), 30);
      EXPECT_EQ(som.Quality().rows, 400);
      // Rows lie within about half a unit of the blob centre: a trained map is closer.
      EXPECT_LT(som.Quality().quantizationError, 0.5);
      EXPECT_EQ(som.ClustersFound(), 2);
      EXPECT_TRUE(model.TeachSummary().starts_with(
          "Обучение завершено. Карта 6x4: обучающих строк 400, ошибка квантования 0,"))
          << model.TeachSummary();
      EXPECT_TRUE(model.TeachSummary().ends_with(", кластеров 2.")) << model.TeachSummary();
      int64_t hits = 0;
      for (int64_t h : som.Hits()) hits += h;
      EXPECT_EQ(hits, 400);

      ILVDataSource& out = *model.GetDataSourceIntf();
      const int32_t nodeColumn = out.GetColumnsInfo().IndexOfColumn("SOM_NODE");
      const int32_t clusterColumn = out.GetColumnsInfo().IndexOfColumn("SOM_CLUSTER");
      ASSERT_GE(clusterColumn, 0);
      EXPECT_EQ(out.GetColumnsInfo().GetColumnInfo(clusterColumn)->GetDataType(),
                TLVDataType::dtInteger);
      std::vector<int> blobOfNode(static_cast<size_t>(som.NodeCount()), -1);
      const int32_t clusterOfFirst = static_cast<int32_t>(out.GetNumber(0, clusterColumn));
      for (TLVRowIndex row = 0; row < 400; ++row) {
        const int blob = row % 2;
        const auto node = static_cast<size_t>(out.GetNumber(row, nodeColumn));
        // No node answers to both blobs, and the clusters are the blobs.
        EXPECT_NE(blobOfNode[node], 1 - blob) << row;
        blobOfNode[node] = blob;
        EXPECT_EQ(out.GetNumber(row, clusterColumn) == clusterOfFirst, blob == 0) << row;
      }
      // The border between the blobs shows in the U-matrix: its largest value is far
      // above its smallest.
      const auto [low, high] = std::minmax_element(som.UMatrix().begin(), som.UMatrix().end());
      EXPECT_GT(*high, 5 * *low);
    }
  }
}

TEST(SOMTeach, AMapOfASquareIsOrderedAndNearItsRows) {
  // A 20 x 20 lattice in the unit square on a 5 x 5 rectangular map: the map unfolds
  // over the square, so best and second-best nodes are neighbours for nearly all rows.
  TLVSOM model;
  MapOver(model, Table(400, 2, [](int i, int j) { return (j == 0 ? i % 20 : i / 20) / 19.0; }), 5,
          5);
  model.SOM().SetTopolType(TLVSOMTopolType::sttRectangular);
  Plan(model.SOMTeacher(), 40, 2, TLVSOMNeighborType::ntGaussian);
  model.SOMTeacher().TeachIntervals()[0].SetRadiusEnd(0.5);
  model.Teach(nullptr);
  const TLVSOMQuality& quality = model.SOM().Quality();
  EXPECT_LT(quality.topographicError, 0.1);
  EXPECT_LT(quality.quantizationError, 0.12);
  EXPECT_NEAR(quality.quantizationErrorSq, quality.quantizationError * quality.quantizationError,
              0.01);
  // Neighbouring nodes lie closer together than the nodes at the map's two ends.
  const TLVSOMWithClusters& som = model.SOM();
  auto apart = [&som](int32_t a, int32_t b) {
    return std::hypot(som.Node(a).weights[0] - som.Node(b).weights[0],
                      som.Node(a).weights[1] - som.Node(b).weights[1]);
  };
  EXPECT_LT(apart(12, 13), apart(0, 24) / 3);
  EXPECT_LT(apart(12, 17), apart(4, 20) / 3);
}

TEST(SOMTeach, SameSeedSameMapAndAContinuedTrainingGoesOnWhereItStopped) {
  auto train = [](uint32_t seed, int32_t first, int32_t second, bool split) {
    TLVSOM model;
    MapOver(model, TwoBlobs(250), 4, 3);
    TLVSOMTeacher& teacher = model.SOMTeacher();
    teacher.Random().SetRandSeed(seed);
    teacher.SetRandomOrderEpochStep(3);
    Plan(teacher, first, 2, TLVSOMNeighborType::ntGaussian);
    TLVSOMTeachInterval& later = teacher.TeachIntervals().Add();
    later.SetEpochCount(second);
    later.SetRadiusBegin(1);
    later.SetRadiusModification(P::pmtLinear);
    if (split) {
      // Train the first interval alone, then plan the second and go on.
      later.SetEpochCount(0);
      model.Teach(nullptr);
      EXPECT_EQ(teacher.GetCurrentEpoch(), first);
      later.SetEpochCount(second);
      teacher.SetInitKernel(false);
      model.Teach(nullptr);
      EXPECT_EQ(teacher.GetResult(), TLVTeachResult::trFinished);
    } else {
      model.Teach(nullptr);
    }
    EXPECT_EQ(teacher.GetCurrentEpoch(), first + second);
    return model.SOM().Weights();
  };
  const std::vector<double> whole = train(5, 7, 5, false);
  EXPECT_EQ(train(5, 7, 5, false), whole);
  EXPECT_EQ(train(5, 7, 5, true), whole);
  EXPECT_NE(train(6, 7, 5, false), whole);
}

TEST(SOMTeach, OneThreadOrTwoTrainTheSameMap) {
  auto train = [](int64_t minWeights) {
    const int64_t before = LVSOMMinWeightsForThreads();
    LVSetSOMMinWeightsForThreads(minWeights);
    TLVSOM model;
    MapOver(model, TwoBlobs(1000), 7, 5);
    Plan(model.SOMTeacher(), 4, 3, TLVSOMNeighborType::ntGaussian);
    model.Teach(nullptr);
    LVSetSOMMinWeightsForThreads(before);
    return model.SOM().Weights();
  };
  EXPECT_EQ(train(0), train(std::numeric_limits<int64_t>::max()));
}

TEST(SOMTeach, EachMissingPieceHasItsMessage) {
  TLVSOMTeacher teacher;
  EXPECT_EQ(test::ErrorText([&] { teacher.Teach(nullptr); }),
            "Невозможно начать процесс обучения карты Кохонена.\rНет ссылки на обучаемую карту.");
  teacher.SetKernel(std::make_shared<TLVSOMWithClusters>());
  EXPECT_EQ(test::ErrorText([&] { teacher.Teach(nullptr); }),
            "Невозможно начать процесс обучения карты Кохонена.\rНет ссылки на источник данных.");

  TLVSOM model;
  MapOver(model, TwoBlobs(40), 3, 3);
  Plan(model.SOMTeacher(), 2, 1, TLVSOMNeighborType::ntBubble);
  // A failed training puts the node's objects back: reach them afresh each time.
  auto status = [&model](int32_t column, TLVDataStatus value) {
    model.TunedNormDataSource().Columns()[column].SetDataStatus(value);
  };
  for (int32_t i = 0; i < 3; ++i) status(i, TLVDataStatus::dsUsable);
  EXPECT_EQ(test::ErrorText([&] { model.Teach(nullptr); }),
            "Количество входных столбцов должно быть больше нуля.");
  for (int32_t i = 0; i < 3; ++i) status(i, TLVDataStatus::dsInput);
  model.SOMTeacher().TeachIntervals().Clear();
  EXPECT_EQ(test::ErrorText([&] { model.Teach(nullptr); }),
            "Количество интервалов обучения должно быть больше 0");
  Plan(model.SOMTeacher(), 2, 1, TLVSOMNeighborType::ntBubble);
  model.Teach(nullptr);
  const std::vector<double> before = model.SOM().Weights();

  // A continued map must see the inputs it was trained on.
  status(2, TLVDataStatus::dsUsable);
  model.SOMTeacher().SetInitKernel(false);
  EXPECT_EQ(test::ErrorText([&] { model.Teach(nullptr); }),
            "Невозможно продолжить обучение карты Кохонена.\rКоличество входных столбцов "
            "источника данных не совпадает с количеством входов нейросети.");
  EXPECT_EQ(model.SOM().Weights(), before);
  EXPECT_EQ(model.Teacher().GetResult(), TLVTeachResult::trAborted);
}

TEST(SOMPersistence, AReopenedMapAnswersTheSameAndABadOneIsRefused) {
  auto table = TwoBlobs(200);
  TLVSOM model;
  MapOver(model, table, 5, 3);
  model.SOM().SetTopolType(TLVSOMTopolType::sttRectangular);
  model.SOM().SetClusterCount(3);
  TLVSOMTeacher& teacher = model.SOMTeacher();
  Plan(teacher, 6, 2, TLVSOMNeighborType::ntGaussian);
  teacher.SetInitType(TLVSOMInitType::itSamples);
  teacher.SetRandomOrder(false);
  teacher.SetRandomOrderEpochStep(4);
  teacher.TeachIntervals().Add().SetEpochCount(3);
  teacher.TeachIntervals()[1].SetRateModification(P::pmtLinear);
  teacher.TeachIntervals()[1].SetName("Доводка");
  model.Teach(nullptr);

  test::TMapSection saved;
  model.SaveSettingsTo(saved);
  TLVSOM reopened;
  reopened.LoadSettingsFrom(saved);
  reopened.SetParentSource(table);
  const TLVSOMWithClusters& som = reopened.SOM();
  EXPECT_TRUE(som.Trained());
  EXPECT_EQ(som.GetXDim(), 5);
  EXPECT_EQ(som.GetTopolType(), TLVSOMTopolType::sttRectangular);
  EXPECT_EQ(som.GetClusterCount(), 3);
  EXPECT_EQ(som.Weights(), model.SOM().Weights());
  EXPECT_EQ(som.Clusters(), model.SOM().Clusters());
  EXPECT_EQ(som.Hits(), model.SOM().Hits());
  EXPECT_EQ(som.UMatrix(), model.SOM().UMatrix());
  EXPECT_EQ(som.Quality().quantizationError, model.SOM().Quality().quantizationError);
  const TLVSOMTeacher& read = reopened.SOMTeacher();
  EXPECT_EQ(read.GetInitType(), TLVSOMInitType::itSamples);
  EXPECT_EQ(read.GetNeighborType(), TLVSOMNeighborType::ntGaussian);
  EXPECT_FALSE(read.GetRandomOrder());
  EXPECT_EQ(read.GetRandomOrderEpochStep(), 4);
  EXPECT_EQ(read.GetEpochSum(), 9);
  EXPECT_EQ(read.GetCurrentEpoch(), 9);
  EXPECT_EQ(read.TeachIntervals()[1].GetName(), "Доводка");
  EXPECT_EQ(read.TeachIntervals()[1].GetRateModification(), P::pmtLinear);
  EXPECT_EQ(read.TeachIntervals()[0].GetRadiusBegin(), 2);
  ILVDataSource& a = *model.GetDataSourceIntf();
  ILVDataSource& b = *reopened.GetDataSourceIntf();
  const int32_t cluster = a.GetColumnsInfo().IndexOfColumn("SOM_CLUSTER");
  for (TLVRowIndex row : {0, 1, 99, 199}) {
    EXPECT_EQ(b.GetNumber(row, cluster), a.GetNumber(row, cluster));
    EXPECT_EQ(b.GetNumber(row, cluster - 1), a.GetNumber(row, cluster - 1));
  }

  // A node list cut short, a grid beyond bounds, a cluster that is no cluster, or a
  // negative epoch count, leaves the node as it was.
  for (const char* damage : {"Weights", "XDim", "Clusters", "EpochCount"}) {
    test::TMapSection damaged;
    model.SaveSettingsTo(damaged);
    auto edit = [](const ILVSettingsSection* section) {
      return const_cast<ILVSettingsSection*>(section);
    };
    ILVSettingsSection* kernel = edit(damaged.FindSection("Kernel"));
    if (std::string(damage) == "Weights") {
      edit(kernel->FindSection("Nodes"))->Put("Count", "14");
    } else if (std::string(damage) == "XDim") {
      kernel->Put("XDim", "100000");
    } else if (std::string(damage) == "Clusters") {
      std::string clusters = kernel->Get("Clusters").value_or("");
      kernel->Put("Clusters", "-1" + clusters.substr(clusters.find(';')));
    } else {
      edit(damaged.FindSection("Teacher")->FindSection("TeachIntervals")->Items("Item")[0])
          ->Put("EpochCount", "-3");
    }
    EXPECT_THROW(reopened.LoadSettingsFrom(damaged), ELVError) << damage;
    EXPECT_EQ(reopened.SOM().Weights(), model.SOM().Weights()) << damage;
    EXPECT_EQ(reopened.SOMTeacher().TeachIntervals()[0].GetEpochCount(), 6) << damage;
  }
}

TEST(SOMPersistence, TheMapIsInTheDataMiningCatalogue) {
  RegisterSOMVendor();
  const TLVComponentVendor* vendor = LVComponentVendors().FindByID("SOM");
  ASSERT_NE(vendor, nullptr);
  auto node = vendor->CreateComponent();
  EXPECT_NE(dynamic_cast<TLVSOM*>(node.get()), nullptr);
}

}  // namespace
}  // namespace lv
