// Training of a self-organising map, in epochs, over a sequence of teaching intervals.
//
// Each interval plans a number of epochs with a schedule of the neighbourhood radius
// and of the learning rate (LVSOMScheduleValue). A global epoch g belongs to the first
// interval whose counts, subtracted in order, leave g below its own count; a continued
// training resumes at the teacher's current epoch, so its schedule goes on where it
// stopped. The teacher keeps the sum of the intervals' counts as its maximum epoch
// count; setting that maximum spreads the new total over the intervals.
//
// One epoch presents every complete training row (in a shuffled order drawn anew
// every RandomOrderEpochStep epochs) and moves the best-matching node and its grid
// neighbours towards it. Rows are taken in blocks of kTeachBlockRows: the best nodes of
// a block are found against the weights at the block's start, then every node takes
// the block's rows one after another, each step being w += c * (x - w) with c the rate
// times the neighbourhood weight. Those steps unroll into one linear combination per
// node, computed as a matrix product. On a large map the rows of a block (for the
// search) and the nodes (for the update) are split between two threads, always at the
// same places, so the result depends on the seed and the data only, never on the
// threads.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mining/random/LV_Random.h"
#include "mining/som/LV_SOM.h"
#include "mining/teachers/LV_Teacher.h"

namespace lv {

// The value of a parameter going from `begin` to `end` with `modification`, at epoch
// t of an interval of n epochs. The linear schedule reaches `end` on the last epoch;
// the back-proportional one, begin * (end / begin)^(t / n), stays short of it.
double LVSOMScheduleValue(double begin, double end, TLVParamModificationType modification,
                          int32_t t, int32_t n);

// Below this many weights (nodes times inputs, 4096 by default) a map trains on one
// thread. Tests change it to run either way.
int64_t LVSOMMinWeightsForThreads();
void LVSetSOMMinWeightsForThreads(int64_t weights);

class TLVSOMTeachIntervals;

class TLVSOMTeachInterval {
 public:
  const std::string& GetName() const { return name_; }
  void SetName(std::string value) { name_ = std::move(value); }
  const std::string& GetDisplayName() const { return displayName_; }
  void SetDisplayName(std::string value) { displayName_ = std::move(value); }

  int32_t GetEpochCount() const { return epochCount_; }
  // A negative count is refused ("ErrSOMEpochCount") and not stored.
  void SetEpochCount(int32_t value);
  double GetRadiusBegin() const { return radiusBegin_; }
  void SetRadiusBegin(double value) { Set(radiusBegin_, value); }
  double GetRadiusEnd() const { return radiusEnd_; }
  void SetRadiusEnd(double value) { Set(radiusEnd_, value); }
  TLVParamModificationType GetRadiusModification() const { return radiusModification_; }
  void SetRadiusModification(TLVParamModificationType value) { Set(radiusModification_, value); }
  double GetRateBegin() const { return rateBegin_; }
  void SetRateBegin(double value) { Set(rateBegin_, value); }
  double GetRateEnd() const { return rateEnd_; }
  void SetRateEnd(double value) { Set(rateEnd_, value); }
  TLVParamModificationType GetRateModification() const { return rateModification_; }
  void SetRateModification(TLVParamModificationType value) { Set(rateModification_, value); }

  double Radius(int32_t t) const {
    return LVSOMScheduleValue(radiusBegin_, radiusEnd_, radiusModification_, t, epochCount_);
  }
  double Rate(int32_t t) const {
    return LVSOMScheduleValue(rateBegin_, rateEnd_, rateModification_, t, epochCount_);
  }

  // The properties in their order, then read back the same way.
  void SaveTo(ILVSettingsSection& section) const;
  void LoadFrom(const ILVSettingsSection& section);

 private:
  friend class TLVSOMTeachIntervals;
  template <class V>
  void Set(V& field, V value) {
    if (field == value) return;
    field = value;
    Changed();
  }
  void Changed();

  TLVSOMTeachIntervals* owner_ = nullptr;
  std::string name_;
  std::string displayName_;
  int32_t epochCount_ = 500;
  double radiusBegin_ = 10;
  double radiusEnd_ = 0.1;
  TLVParamModificationType radiusModification_ = TLVParamModificationType::pmtBackProportional;
  double rateBegin_ = 0.3;
  double rateEnd_ = 0.005;
  TLVParamModificationType rateModification_ = TLVParamModificationType::pmtBackProportional;
};

// Where a global epoch falls: the interval and the epoch within it.
struct TLVSOMIntervalPos {
  int32_t interval = 0;
  int32_t epoch = 0;
};

class TLVSOMTeachIntervals {
 public:
  // `changed` is told after every change, or once at the end of an update bracket.
  explicit TLVSOMTeachIntervals(std::function<void()> changed = {})
      : changed_(std::move(changed)) {}
  TLVSOMTeachIntervals(const TLVSOMTeachIntervals&) = delete;
  TLVSOMTeachIntervals& operator=(const TLVSOMTeachIntervals&) = delete;

  int32_t Count() const { return static_cast<int32_t>(items_.size()); }
  TLVSOMTeachInterval& operator[](int32_t i) { return *items_[static_cast<size_t>(i)]; }
  const TLVSOMTeachInterval& operator[](int32_t i) const { return *items_[static_cast<size_t>(i)]; }
  // A new interval with the default settings, at the end.
  TLVSOMTeachInterval& Add();
  void Delete(int32_t i);
  void Clear();
  // Takes over the intervals of `other`, which is left empty.
  void Assign(TLVSOMTeachIntervals& other);

  void BeginUpdate() { ++updates_; }
  void EndUpdate();

  int64_t EpochSum() const;
  // The interval of global epoch g, or nothing past the last one.
  std::optional<TLVSOMIntervalPos> Locate(int64_t g) const;

  // "Count", then an "Item" per interval.
  void SaveTo(ILVSettingsSection& section) const;
  void LoadFrom(const ILVSettingsSection& section);

 private:
  friend class TLVSOMTeachInterval;
  void Changed();

  std::vector<std::unique_ptr<TLVSOMTeachInterval>> items_;
  std::function<void()> changed_;
  int32_t updates_ = 0;
  bool pending_ = false;
};

class TLVSOMTeacher : public TLVEpochTeacher {
 public:
  // Rows whose best nodes are found against the same weights.
  static constexpr TLVRowIndex kTeachBlockRows = 64;

  TLVSOMTeacher();

  // The map being trained is the teacher's kernel.
  TLVCustomSOM* GetSOM() const { return dynamic_cast<TLVCustomSOM*>(GetKernel().get()); }

  TLVSOMInitType GetInitType() const { return initType_; }
  void SetInitType(TLVSOMInitType value) { initType_ = value; }
  TLVSOMNeighborType GetNeighborType() const { return neighborType_; }
  void SetNeighborType(TLVSOMNeighborType value) { neighborType_ = value; }
  bool GetRandomOrder() const { return randomOrder_; }
  void SetRandomOrder(bool value) { randomOrder_ = value; }
  int32_t GetRandomOrderEpochStep() const { return randomOrderEpochStep_; }
  // At least 1.
  void SetRandomOrderEpochStep(int32_t value);
  // The seed of the initialisation and of the row orders.
  TLVRandomContainer& Random() { return random_; }

  TLVSOMTeachIntervals& TeachIntervals() { return intervals_; }
  const TLVSOMTeachIntervals& TeachIntervals() const { return intervals_; }
  // Leaves exactly one interval, with the default settings and the radius asked for
  // (10 when the request is negative).
  void ResetTeachIntervals(double radiusBegin = -1);
  // The kept sum of the intervals' epoch counts.
  int64_t GetEpochSum() const { return epochSum_; }
  // Spreads a total of `value` epochs over the intervals, in one update bracket.
  void SetMaxEpochCount(int32_t value) override;

  // Neighbourhood weight of a node at grid distance d from the best node, for radius
  // r: ntBubble 1 within r, ntGaussian exp(-d^2 / (2 r^2)) (r is the bell's standard
  // deviation); with r = 0 only the best node itself.
  double Neighbourhood(double d, double r) const;

  void SaveTo(ILVSettingsSection& section) const override;
  void LoadFrom(const ILVSettingsSection& section) override;

 protected:
  void CheckTeach() const override;
  void StartTeach() override;
  void DoTeach(ILVProgress* progress) override;
  void TeachEpoch(ILVProgress* progress) override;

 private:
  void IntervalsChanged();
  // The training rows, complete ones only, row-major.
  std::vector<double> LoadRows(TLVRowIndex& count) const;
  void Initialise(TLVCustomSOM& som, const std::vector<double>& rows, TLVRowIndex count) const;

  TLVSOMInitType initType_ = TLVSOMInitType::itEigenVect;
  TLVSOMNeighborType neighborType_ = TLVSOMNeighborType::ntBubble;
  bool randomOrder_ = true;
  int32_t randomOrderEpochStep_ = 20;
  TLVRandomContainer random_{"Random"};
  TLVSOMTeachIntervals intervals_;
  int64_t epochSum_ = 0;

  // State of a running training.
  std::vector<double> rows_;
  TLVRowIndex rowCount_ = 0;
  std::vector<TLVRowIndex> order_;
};

void RegisterSOMTeacherTexts();

}  // namespace lv
