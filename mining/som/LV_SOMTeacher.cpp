#include "mining/som/LV_SOMTeacher.h"

#include <Eigen/Dense>
#include <algorithm>
#include <atomic>
#include <barrier>
#include <cmath>
#include <limits>
#include <numeric>
#include <thread>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "mining/LV_MiningSettings.h"

namespace lv {

namespace {

using TRowMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
using TColMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::ColMajor>;

// Rows normalized at once while the training rows are read.
constexpr TLVRowIndex kReadRows = 4096;

// The neighbourhood weights of one epoch, by the offset of a node from the best node.
// On either grid the distance depends only on the offset in columns and rows (and on a
// hexagonal grid on whether the best node's row is odd), so a small table serves every
// pair of nodes however large the map.
class TNeighbourTable {
 public:
  TNeighbourTable(const TLVCustomSOM& som, const TLVSOMTeacher& teacher, double radius, double rate)
      : xDim_(som.GetXDim()), yDim_(som.GetYDim()), stride_(2 * xDim_ - 1) {
    const size_t size = static_cast<size_t>(stride_) * (2 * yDim_ - 1);
    for (int32_t parity = 0; parity < 2; ++parity) {
      table_[parity].assign(size, 0.0);
      for (int32_t dr = -(yDim_ - 1); dr <= yDim_ - 1; ++dr) {
        for (int32_t dc = -(xDim_ - 1); dc <= xDim_ - 1; ++dc) {
          const double d = som.OffsetDistance(parity, dc, dr);
          table_[parity][static_cast<size_t>((dr + yDim_ - 1) * stride_ + dc + xDim_ - 1)] =
              rate * teacher.Neighbourhood(d, radius);
        }
      }
    }
  }

  // The weights of the nodes of grid row `row` (xDim of them) for best node `best`.
  const double* Row(int32_t best, int32_t row) const {
    const int32_t bestRow = best / xDim_;
    const int32_t bestColumn = best % xDim_;
    return table_[bestRow % 2].data() + (row - bestRow + yDim_ - 1) * stride_ +
           (xDim_ - 1 - bestColumn);
  }

 private:
  int32_t xDim_;
  int32_t yDim_;
  int32_t stride_;
  std::vector<double> table_[2];
};

std::atomic<int64_t> minWeightsForThreads{4096};

// Whether a second thread pays for its start and the two waits of every block: only on
// a machine of two cores or more, with enough rows, and with a map large enough that a
// block's work dwarfs the waits (on a machine shared with other work a wait can cost a
// time slice).
bool TwoThreads(TLVRowIndex rows, int64_t weights) {
  return std::thread::hardware_concurrency() >= 2 && rows >= 4 * TLVSOMTeacher::kTeachBlockRows &&
         weights >= minWeightsForThreads.load(std::memory_order_relaxed);
}

}  // namespace

int64_t LVSOMMinWeightsForThreads() {
  return minWeightsForThreads.load(std::memory_order_relaxed);
}

void LVSetSOMMinWeightsForThreads(int64_t weights) {
  minWeightsForThreads.store(weights, std::memory_order_relaxed);
}

double LVSOMScheduleValue(double begin, double end, TLVParamModificationType modification,
                          int32_t t, int32_t n) {
  if (begin == end) return begin;
  if (modification == TLVParamModificationType::pmtBackProportional) {
    return begin * std::pow(end / begin, static_cast<double>(t) / n);
  }
  // Written as a weighted mean so that the first and last epochs give begin and end
  // exactly.
  if (n > 1) {
    const double s = static_cast<double>(t) / (n - 1);
    return begin * (1 - s) + end * s;
  }
  return begin;
}

// --- TLVSOMTeachInterval ---

void TLVSOMTeachInterval::SetEpochCount(int32_t value) {
  if (value < 0) throw ELVError("ErrSOMEpochCount");
  Set(epochCount_, value);
}

void TLVSOMTeachInterval::Changed() {
  if (owner_) owner_->Changed();
}

void TLVSOMTeachInterval::SaveTo(ILVSettingsSection& section) const {
  section.Put("Name", name_);
  section.Put("DisplayName", displayName_);
  WriteSetting(section, "EpochCount", epochCount_);
  WriteSetting(section, "RadiusBegin", radiusBegin_);
  WriteSetting(section, "RadiusEnd", radiusEnd_);
  section.Put("RadiusModification", ValueName(radiusModification_));
  WriteSetting(section, "RateBegin", rateBegin_);
  WriteSetting(section, "RateEnd", rateEnd_);
  section.Put("RateModification", ValueName(rateModification_));
}

void TLVSOMTeachInterval::LoadFrom(const ILVSettingsSection& section) {
  TLVSOMTeachInterval read;
  read.name_ = section.Get("Name").value_or("");
  read.displayName_ = section.Get("DisplayName").value_or("");
  read.epochCount_ = ReadSetting(section, "EpochCount", read.epochCount_);
  if (read.epochCount_ < 0) RaisePropertyValue("EpochCount", std::to_string(read.epochCount_));
  read.radiusBegin_ = ReadSetting(section, "RadiusBegin", read.radiusBegin_);
  read.radiusEnd_ = ReadSetting(section, "RadiusEnd", read.radiusEnd_);
  read.radiusModification_ = ReadSetting(section, "RadiusModification", read.radiusModification_);
  read.rateBegin_ = ReadSetting(section, "RateBegin", read.rateBegin_);
  read.rateEnd_ = ReadSetting(section, "RateEnd", read.rateEnd_);
  read.rateModification_ = ReadSetting(section, "RateModification", read.rateModification_);
  read.owner_ = owner_;
  *this = read;
  Changed();
}

// --- TLVSOMTeachIntervals ---

TLVSOMTeachInterval& TLVSOMTeachIntervals::Add() {
  items_.push_back(std::make_unique<TLVSOMTeachInterval>());
  items_.back()->owner_ = this;
  Changed();
  return *items_.back();
}

void TLVSOMTeachIntervals::Delete(int32_t i) {
  items_.erase(items_.begin() + i);
  Changed();
}

void TLVSOMTeachIntervals::Clear() {
  items_.clear();
  Changed();
}

void TLVSOMTeachIntervals::Assign(TLVSOMTeachIntervals& other) {
  items_ = std::move(other.items_);
  other.items_.clear();
  for (auto& item : items_) item->owner_ = this;
  Changed();
}

void TLVSOMTeachIntervals::EndUpdate() {
  if (--updates_ > 0 || !pending_) return;
  pending_ = false;
  if (changed_) changed_();
}

void TLVSOMTeachIntervals::Changed() {
  if (updates_ > 0) {
    pending_ = true;
    return;
  }
  if (changed_) changed_();
}

int64_t TLVSOMTeachIntervals::EpochSum() const {
  int64_t sum = 0;
  for (const auto& item : items_) sum += item->GetEpochCount();
  return sum;
}

std::optional<TLVSOMIntervalPos> TLVSOMTeachIntervals::Locate(int64_t g) const {
  for (int32_t i = 0; i < Count(); ++i) {
    const int32_t count = items_[static_cast<size_t>(i)]->GetEpochCount();
    if (g < count) return TLVSOMIntervalPos{i, static_cast<int32_t>(g)};
    g -= count;
  }
  return std::nullopt;
}

void TLVSOMTeachIntervals::SaveTo(ILVSettingsSection& section) const {
  WriteSetting(section, "Count", Count());
  for (const auto& item : items_) item->SaveTo(section.AddItem("Item"));
}

void TLVSOMTeachIntervals::LoadFrom(const ILVSettingsSection& section) {
  std::vector<std::unique_ptr<TLVSOMTeachInterval>> read;
  for (const ILVSettingsSection* item : CountedItems(section, "Item")) {
    read.push_back(std::make_unique<TLVSOMTeachInterval>());
    read.back()->LoadFrom(*item);
  }
  items_ = std::move(read);
  for (auto& item : items_) item->owner_ = this;
  Changed();
}

// --- TLVSOMTeacher ---

TLVSOMTeacher::TLVSOMTeacher() : intervals_([this] { IntervalsChanged(); }) {
  random_.Randomize();
  ResetTeachIntervals();
}

void TLVSOMTeacher::IntervalsChanged() {
  epochSum_ = intervals_.EpochSum();
  // The epoch teacher's maximum must stay positive; a plan of no epochs keeps it.
  if (epochSum_ >= 1 && epochSum_ <= std::numeric_limits<int32_t>::max()) {
    TLVEpochTeacher::SetMaxEpochCount(static_cast<int32_t>(epochSum_));
  }
}

void TLVSOMTeacher::SetRandomOrderEpochStep(int32_t value) {
  if (value < 1) RaisePropertyValue("RandomOrderEpochStep", std::to_string(value));
  randomOrderEpochStep_ = value;
}

void TLVSOMTeacher::ResetTeachIntervals(double radiusBegin) {
  intervals_.BeginUpdate();
  while (intervals_.Count() > 1) intervals_.Delete(intervals_.Count() - 1);
  if (intervals_.Count() == 0) intervals_.Add();
  TLVSOMTeachInterval& interval = intervals_[0];
  interval.SetEpochCount(500);
  interval.SetRadiusBegin(radiusBegin < 0 ? 10.0 : radiusBegin);
  interval.SetRadiusEnd(0.1);
  interval.SetRadiusModification(TLVParamModificationType::pmtBackProportional);
  interval.SetRateBegin(0.3);
  interval.SetRateEnd(0.005);
  interval.SetRateModification(TLVParamModificationType::pmtBackProportional);
  intervals_.EndUpdate();
}

void TLVSOMTeacher::SetMaxEpochCount(int32_t value) {
  if (value < 1) RaisePropertyValue("MaxEpochCount", std::to_string(value));
  const int32_t count = intervals_.Count();
  if (count == 0) return;
  const int64_t sum = intervals_.EpochSum();
  const int64_t last = intervals_[count - 1].GetEpochCount();
  const int64_t rest = value - (sum - last);
  intervals_.BeginUpdate();
  if (rest >= 1) {
    intervals_[count - 1].SetEpochCount(static_cast<int32_t>(rest));
  } else {
    // The nearest integer, halves to even (the default rounding mode).
    for (int32_t i = 0; i < count; ++i) {
      const double share = static_cast<double>(intervals_[i].GetEpochCount()) / sum * value;
      intervals_[i].SetEpochCount(static_cast<int32_t>(std::nearbyint(share)));
    }
  }
  intervals_.EndUpdate();
}

double TLVSOMTeacher::Neighbourhood(double d, double r) const {
  if (r <= 0) return d == 0 ? 1.0 : 0.0;
  if (neighborType_ == TLVSOMNeighborType::ntBubble) return d <= r ? 1.0 : 0.0;
  return std::exp(-d * d / (2 * r * r));
}

void TLVSOMTeacher::CheckTeach() const {
  if (!GetSOM()) throw ELVError("ErrSOMNoMap");
  const TLVTeachDataSource* teach = GetTeachDataSource();
  if (!teach || !teach->GetTunedNormDataSource()) throw ELVError("ErrSOMNoData");
  if (teach->GetTunedNormDataSource()->InputColumns().empty()) throw ELVError("ErrSOMNoInputs");
  if (intervals_.Count() == 0) throw ELVError("ErrSOMNoIntervals");
}

void TLVSOMTeacher::StartTeach() {
  TLVEpochTeacher::StartTeach();
  if (GetState() != TLVTeacherState::tstContinueTeach) return;
  const TLVTunedNormDataSource& tuned = *GetTeachDataSource()->GetTunedNormDataSource();
  const std::vector<int32_t> inputs = tuned.InputColumns();
  std::vector<std::string> names;
  for (int32_t index : inputs) names.push_back(tuned.Columns()[index].GetName());
  const TLVCustomSOM& som = *GetSOM();
  if (som.InputNames() != names || som.InputWidth() != tuned.WidthOf(inputs)) {
    throw ELVError("ErrSOMContinueInputs");
  }
}

std::vector<double> TLVSOMTeacher::LoadRows(TLVRowIndex& count) const {
  TLVTeachDataSource& data = *GetTeachDataSource();
  TLVTunedNormDataSource& tuned = *data.GetTunedNormDataSource();
  const std::vector<TLVRowIndex>& rows = data.Rows(TLVDataSourceType::dstTeach);
  const std::vector<int32_t> inputs = tuned.InputColumns();
  const int32_t width = GetSOM()->InputWidth();
  const auto total = static_cast<TLVRowIndex>(rows.size());
  std::vector<double> result;
  result.reserve(static_cast<size_t>(total * width));
  std::vector<double> chunk;
  for (TLVRowIndex at = 0; at < total; at += kReadRows) {
    const TLVRowIndex n = std::min(kReadRows, total - at);
    chunk.resize(static_cast<size_t>(n * width));
    tuned.NormalizeRows(inputs, rows.data() + at, 0, n, chunk.data(), n);
    // Rows with a missing input take no part: the map cannot place them.
    for (TLVRowIndex i = 0; i < n; ++i) {
      bool complete = true;
      for (int32_t j = 0; j < width && complete; ++j) complete = std::isfinite(chunk[j * n + i]);
      if (!complete) continue;
      for (int32_t j = 0; j < width; ++j) result.push_back(chunk[j * n + i]);
    }
  }
  count = static_cast<TLVRowIndex>(result.size()) / std::max(1, width);
  return result;
}

void TLVSOMTeacher::Initialise(TLVCustomSOM& som, const std::vector<double>& rows,
                               TLVRowIndex count) const {
  const int32_t width = som.InputWidth();
  const int32_t nodes = som.NodeCount();
  const Eigen::Map<const TRowMatrix> x(rows.data(), count, width);
  TRowMatrix w(nodes, width);
  TLVRandom random = random_.Restart();
  switch (initType_) {
    case TLVSOMInitType::itRandom: {
      // Uniform within the range of each input over the training rows.
      const Eigen::RowVectorXd low = x.colwise().minCoeff();
      const Eigen::RowVectorXd high = x.colwise().maxCoeff();
      for (int32_t n = 0; n < nodes; ++n) {
        for (int32_t j = 0; j < width; ++j) {
          w(n, j) = low[j] + (high[j] - low[j]) * random.Random();
        }
      }
      break;
    }
    case TLVSOMInitType::itSamples: {
      // Distinct training rows drawn at random (repeated only when there are fewer
      // rows than nodes).
      std::vector<TLVRowIndex> picks(static_cast<size_t>(count));
      std::iota(picks.begin(), picks.end(), TLVRowIndex{0});
      random.Shuffle(std::span<TLVRowIndex>(picks));
      for (int32_t n = 0; n < nodes; ++n)
        w.row(n) = x.row(picks[static_cast<size_t>(n) % picks.size()]);
      break;
    }
    case TLVSOMInitType::itEigenVect: {
      if (width < 2) throw ELVError("ErrSOMEigenInit");
      const Eigen::RowVectorXd mean = x.colwise().mean();
      const TRowMatrix centred = x.rowwise() - mean;
      const Eigen::MatrixXd covariance =
          centred.transpose() * centred / static_cast<double>(std::max<TLVRowIndex>(1, count - 1));
      const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(covariance);
      // Eigenvalues come in ascending order: the two largest are the last two.
      const double l1 = solver.eigenvalues()[width - 1];
      const double l2 = solver.eigenvalues()[width - 2];
      // Rounding leaves a vanishing eigenvalue a tiny number of either sign.
      if (!(l1 > 0) || !(l2 > 1e-12 * l1)) throw ELVError("ErrSOMEigenZero");
      const Eigen::VectorXd e1 = solver.eigenvectors().col(width - 1);
      const Eigen::VectorXd e2 = solver.eigenvectors().col(width - 2);
      const Eigen::RowVectorXd a1 = (e1 * std::sqrt(l1) / e1.norm()).transpose();
      const Eigen::RowVectorXd a2 = (e2 * std::sqrt(l2) / e2.norm()).transpose();
      const int32_t xDim = som.GetXDim();
      const int32_t yDim = som.GetYDim();
      for (int32_t n = 0; n < nodes; ++n) {
        // A grid one node wide or high sits on the mean along that axis.
        const double gx = xDim > 1 ? 2.0 * (n % xDim) / (xDim - 1) - 1 : 0.0;
        const double gy = yDim > 1 ? 2.0 * (n / xDim) / (yDim - 1) - 1 : 0.0;
        w.row(n) = gx * a1 + mean + gy * a2;
      }
      break;
    }
  }
  som.SetWeights(std::vector<double>(w.data(), w.data() + w.size()));
}

void TLVSOMTeacher::DoTeach(ILVProgress* progress) {
  TLVCustomSOM& som = *GetSOM();
  rows_ = LoadRows(rowCount_);
  if (rowCount_ == 0) throw ELVError("ErrTeachSetEmpty");
  order_.clear();
  TLVProgressScope scope(progress, LVText("SSOMTeachCaption"), epochSum_);
  if (GetState() == TLVTeacherState::tstNewTeach) {
    SetCurrentEpoch(0);
    Initialise(som, rows_, rowCount_);
  }
  for (int64_t g = GetCurrentEpoch(); g < epochSum_; ++g) {
    TeachEpoch(progress);
    SetCurrentEpoch(static_cast<int32_t>(g + 1));
    scope.Step(g + 1);
  }
  som.Analyse(rows_.data(), rowCount_);
  rows_ = {};
  order_ = {};
}

void TLVSOMTeacher::TeachEpoch(ILVProgress* /*progress*/) {
  TLVCustomSOM& som = *GetSOM();
  const int32_t g = GetCurrentEpoch();
  const std::optional<TLVSOMIntervalPos> at = intervals_.Locate(g);
  if (!at) return;
  const TLVSOMTeachInterval& interval = intervals_[at->interval];
  // A back-proportional schedule with an end at or below zero has no value; such an
  // epoch moves nothing rather than spoil the weights.
  auto usable = [](double value) { return std::isfinite(value) && value > 0 ? value : 0.0; };
  const TNeighbourTable table(som, *this, usable(interval.Radius(at->epoch)),
                              usable(interval.Rate(at->epoch)));

  // The row order: drawn afresh at the start of every period of RandomOrderEpochStep
  // epochs, from a generator seeded by the period alone, so that a continued training
  // draws what an uninterrupted one would.
  if (order_.empty() || (randomOrder_ && g % randomOrderEpochStep_ == 0)) {
    order_.resize(static_cast<size_t>(rowCount_));
    std::iota(order_.begin(), order_.end(), TLVRowIndex{0});
    if (randomOrder_) {
      const auto period = static_cast<uint32_t>(g / randomOrderEpochStep_);
      TLVRandom random(random_.GetRandSeed() ^ (period * 2654435761u + 0x5bd1e995u));
      random.Shuffle(std::span<TLVRowIndex>(order_));
    }
  }

  const int32_t width = som.InputWidth();
  const int32_t nodes = som.NodeCount();
  const int32_t xDim = som.GetXDim();
  std::vector<double>& weights = som.weights_;
  std::vector<double> block(static_cast<size_t>(kTeachBlockRows * width));
  std::vector<int32_t> best(static_cast<size_t>(kTeachBlockRows));
  std::vector<double> sq(static_cast<size_t>(kTeachBlockRows));
  TColMatrix coefficients(nodes, kTeachBlockRows);
  Eigen::VectorXd keep(nodes);

  // Every block is cut into two halves of rows (for the search) and two halves of
  // nodes (for the update), always at the same places: one thread takes both halves
  // in turn, two take one each, and either way every number is computed alike.
  auto search = [&](int part, TLVRowIndex first, TLVRowIndex n) {
    const TLVRowIndex from = part * n / 2;
    const TLVRowIndex to = (part + 1) * n / 2;
    for (TLVRowIndex i = from; i < to; ++i) {
      const double* row = rows_.data() + order_[static_cast<size_t>(first + i)] * width;
      for (int32_t j = 0; j < width; ++j) block[j * n + i] = row[j];
    }
    som.FindBestNodes(block.data() + from, n, to - from, best.data() + from, sq.data() + from);
  };
  auto update = [&](int part, TLVRowIndex n) {
    const int32_t from = part * nodes / 2;
    const int32_t to = (part + 1) * nodes / 2;
    // Node k takes rows 0..n-1 in turn: w <- (1 - c_i) w + c_i x_i. Unrolled, the
    // final w is keep_k * w + sum_i coefficient(k, i) * x_i, where row i's coefficient
    // is c_i times the (1 - c) of every later row.
    keep.segment(from, to - from).setOnes();
    for (TLVRowIndex i = n - 1; i >= 0; --i) {
      double* column = coefficients.col(i).data();
      for (int32_t k = from; k < to;) {
        const int32_t row = k / xDim;
        const double* c = table.Row(best[i], row) - row * xDim;
        for (const int32_t end = std::min(to, (row + 1) * xDim); k < end; ++k) {
          column[k] = c[k] * keep[k];
          keep[k] *= 1 - c[k];
        }
      }
    }
    Eigen::Map<TRowMatrix> w(weights.data(), nodes, width);
    const Eigen::Map<const TColMatrix> x(block.data(), n, width);
    auto part_w = w.middleRows(from, to - from);
    part_w = keep.segment(from, to - from).asDiagonal() * part_w;
    part_w.noalias() += coefficients.block(from, 0, to - from, n) * x;
  };
  auto run = [&](std::span<const int> parts, std::barrier<>& sync) {
    for (TLVRowIndex first = 0; first < rowCount_; first += kTeachBlockRows) {
      const TLVRowIndex n = std::min(kTeachBlockRows, rowCount_ - first);
      for (int part : parts) search(part, first, n);
      sync.arrive_and_wait();
      for (int part : parts) update(part, n);
      sync.arrive_and_wait();
    }
  };
  static constexpr int kBoth[] = {0, 1};
  static constexpr int kFirst[] = {0};
  static constexpr int kSecond[] = {1};
  if (!TwoThreads(rowCount_, static_cast<int64_t>(nodes) * width)) {
    std::barrier<> alone(1);
    run(kBoth, alone);
    return;
  }
  std::barrier<> sync(2);
  std::thread helper([&] { run(kSecond, sync); });
  run(kFirst, sync);
  helper.join();
}

void TLVSOMTeacher::SaveTo(ILVSettingsSection& section) const {
  TLVEpochTeacher::SaveTo(section);
  section.Put("InitType", ValueName(initType_));
  section.Put("NeighborType", ValueName(neighborType_));
  intervals_.SaveTo(section.AddSection("TeachIntervals"));
  WriteSetting(section, "RandomOrder", randomOrder_);
  WriteSetting(section, "RandomOrderEpochStep", randomOrderEpochStep_);
  random_.SaveTo(section);
}

void TLVSOMTeacher::LoadFrom(const ILVSettingsSection& section) {
  const TLVSOMInitType initType = ReadSetting(section, "InitType", TLVSOMInitType::itEigenVect);
  const TLVSOMNeighborType neighborType =
      ReadSetting(section, "NeighborType", TLVSOMNeighborType::ntBubble);
  const bool randomOrder = ReadSetting(section, "RandomOrder", true);
  const int32_t step = ReadSetting(section, "RandomOrderEpochStep", 20);
  if (step < 1) RaisePropertyValue("RandomOrderEpochStep", std::to_string(step));
  TLVRandomContainer random = random_;
  random.LoadFrom(section);
  TLVSOMTeachIntervals intervals;
  if (const ILVSettingsSection* list = section.FindSection("TeachIntervals")) {
    intervals.LoadFrom(*list);
  }
  TLVEpochTeacher::LoadFrom(section);
  initType_ = initType;
  neighborType_ = neighborType;
  randomOrder_ = randomOrder;
  randomOrderEpochStep_ = step;
  random_ = random;
  if (section.FindSection("TeachIntervals")) {
    intervals_.Assign(intervals);
  } else {
    IntervalsChanged();
  }
}

void RegisterSOMTeacherTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrSOMNoMap",
                                            "ErrSOMNoData",
                                            "ErrSOMNoInputs",
                                            "ErrSOMNoIntervals",
                                            "ErrSOMContinueInputs",
                                            "ErrSOMEpochCount",
                                            "ErrSOMEigenInit",
                                            "ErrSOMEigenZero",
                                            "SSOMTeachCaption",
                                            "SOMTeachIntervalsCaption",
                                            "SOMEpochCountCaption",
                                            "SOMRadiusBeginCaption",
                                            "SOMRadiusEndCaption",
                                            "SOMRadiusModificationCaption",
                                            "SOMRateBeginCaption",
                                            "SOMRateEndCaption",
                                            "SOMRateModificationCaption",
                                            "SOMInitTypeCaption",
                                            "SOMNeighborTypeCaption",
                                            "SOMRandomOrderCaption",
                                            "SOMRandomOrderEpochStepCaption"});
}

}  // namespace lv
