#include "mining/assoc/LV_AssociationRulesTeacher.h"

#include <algorithm>
#include <atomic>

#include "core/platform/LV_RowParts.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

namespace {

// Transactions counted per progress step of the support count.
constexpr int32_t kTransactionsPerStep = 4096;

// Whether `count` transactions of `total` make a support within [low, high]; the
// shares are compared as the user gave them, so equal limits accept exactly one count.
bool SupportWithin(int32_t count, int32_t total, double low, double high) {
  const double support = static_cast<double>(count) / total;
  return support >= low && support <= high;
}

// The transactions again, keeping only the items that `keep` marks and only those
// transactions that still hold at least `minItems` of them.
TLVTransactions Reduce(const TLVTransactions& from, const std::vector<uint8_t>& keep,
                       int32_t minItems) {
  TLVTransactions reduced;
  std::vector<int32_t> items;
  for (int32_t t = 0; t < from.Count(); ++t) {
    items.clear();
    for (const int32_t item : from[t]) {
      if (keep[static_cast<size_t>(item)]) items.push_back(item);
    }
    if (static_cast<int32_t>(items.size()) >= minItems) reduced.Add(items);
  }
  return reduced;
}

// Candidates of power k + 1 from the frequent sets of power k (ascending): every two
// sets that share their first k - 1 items give their union.
TLVAssnItemSets Join(const TLVAssnItemSets& frequent) {
  TLVAssnItemSets candidates;
  for (size_t i = 0; i < frequent.size(); ++i) {
    const TIndexSet& a = frequent[i].items;
    for (size_t j = i + 1; j < frequent.size(); ++j) {
      const TIndexSet& b = frequent[j].items;
      if (!std::equal(a.begin(), a.end() - 1, b.begin())) break;
      TIndexSet joined = a;
      joined.push_back(b.back());
      candidates.push_back({std::move(joined), 0});
    }
  }
  return candidates;
}

// Removes the candidates of which a subset one item smaller is not among the frequent
// sets of the power below. The subsets without one of the last two items are the sets
// the candidate was joined from.
void Prune(TLVAssnItemSets& candidates, const TLVHashTree& frequent) {
  TIndexSet subset;
  std::erase_if(candidates, [&](const TLVAssnItemSet& candidate) {
    const size_t power = candidate.items.size();
    for (size_t drop = 0; drop + 2 < power; ++drop) {
      subset.clear();
      for (size_t i = 0; i < power; ++i) {
        if (i != drop) subset.push_back(candidate.items[i]);
      }
      if (!frequent.Find(subset)) return true;
    }
    return false;
  });
}

}  // namespace

// --- TLVAssociationRulesTeachDataSource ---

TLVTransactions TLVAssociationRulesTeachDataSource::Transactions(ILVProgress* progress) const {
  if (given_) return *given_;
  if (!source_) throw ELVError("ErrAssnNoSource");
  return source_->BuildTransactions(progress);
}

// --- TLVAssnRulesHashTree ---

void TLVAssnRulesHashTree::CountTransaction(TLVTransaction transaction, int32_t power,
                                            TCounter& counter) const {
  if (static_cast<int32_t>(transaction.size()) < power) return;
  ++counter.stamp;
  for (const int32_t item : transaction) counter.marks[static_cast<size_t>(item)] = counter.stamp;
  int32_t chosen[64];
  std::vector<int32_t> more;
  int32_t* positions = chosen;
  if (power > 64) {
    more.resize(static_cast<size_t>(power));
    positions = more.data();
  }
  Walk(Root(), transaction, power, 0, positions, counter);
}

void TLVAssnRulesHashTree::Walk(const TLVHashInteriorNode& node, TLVTransaction transaction,
                                int32_t power, size_t start, int32_t* chosen,
                                TCounter& counter) const {
  const int32_t depth = node.Depth();
  if (depth < power) {
    // The item at position `depth` of a subset: later ones must still find room.
    const size_t last = transaction.size() - static_cast<size_t>(power - depth);
    for (size_t p = start; p <= last; ++p) {
      const int32_t raw = RawSlot(node, SlotOfItem(depth, transaction[p]));
      if (raw == 0) continue;
      chosen[depth] = static_cast<int32_t>(p);
      if (raw < 0) {
        Walk(Node(-raw - 1), transaction, power, p + 1, chosen, counter);
      } else {
        CountChain(raw - 1, counter);
      }
    }
    return;
  }
  // Deeper than the power, the subset is complete and its slots follow from it.
  const TLVHashInteriorNode* at = &node;
  for (;;) {
    const int32_t d = at->Depth();
    const int32_t item = transaction[static_cast<size_t>(chosen[d % power])];
    const int32_t raw = RawSlot(*at, SlotOfItem(d, item));
    if (raw == 0) return;
    if (raw > 0) {
      CountChain(raw - 1, counter);
      return;
    }
    at = &Node(-raw - 1);
  }
}

void TLVAssnRulesHashTree::CountChain(int32_t head, TCounter& counter) const {
  for (int32_t e = head; e >= 0;) {
    const TEntry& entry = Entry(e);
    e = entry.next;
    const auto value = static_cast<size_t>(entry.value);
    if (counter.seen[value] == counter.stamp) continue;
    const std::span<const int32_t> key = KeyOf(entry);
    const bool contained = std::all_of(key.begin(), key.end(), [&](int32_t item) {
      return counter.marks[static_cast<size_t>(item)] == counter.stamp;
    });
    if (!contained) continue;
    counter.seen[value] = counter.stamp;
    ++counter.counts[value];
  }
}

// --- TLVAssociationRulesTeacher ---

void TLVAssociationRulesTeacher::SetMinSupport(double value) {
  if (!(value > 0 && value <= 1)) throw ELVError("ErrAssnSupportRange", {value});
  minSupport_ = value;
}

void TLVAssociationRulesTeacher::SetMaxSupport(double value) {
  if (!(value > 0 && value <= 1)) throw ELVError("ErrAssnSupportRange", {value});
  maxSupport_ = value;
}

void TLVAssociationRulesTeacher::SetMinConfidence(double value) {
  if (!(value >= 0 && value <= 1)) throw ELVError("ErrAssnConfidenceRange", {value});
  minConfidence_ = value;
}

void TLVAssociationRulesTeacher::SetMaxConfidence(double value) {
  if (!(value >= 0 && value <= 1)) throw ELVError("ErrAssnConfidenceRange", {value});
  maxConfidence_ = value;
}

void TLVAssociationRulesTeacher::SetMaxItemSetPower(int32_t value) {
  if (value < 0) throw ELVError("ErrAssnMaxPower", {value});
  maxItemSetPower_ = value;
}

const TLVPropertyTable<TLVAssociationRulesTeacher>& TLVAssociationRulesTeacher::Properties() {
  static const auto table = [] {
    using T = TLVAssociationRulesTeacher;
    TLVPropertyTable<T> t;
    t.Add("MinSupport", &T::GetMinSupport, &T::SetMinSupport, 0.05)
        .Add("MaxSupport", &T::GetMaxSupport, &T::SetMaxSupport, 1.0)
        .Add("MinConfidence", &T::GetMinConfidence, &T::SetMinConfidence, 0.6)
        .Add("MaxConfidence", &T::GetMaxConfidence, &T::SetMaxConfidence, 1.0)
        .Add("MaxItemSetPower", &T::GetMaxItemSetPower, &T::SetMaxItemSetPower, 0);
    return t;
  }();
  return table;
}

void TLVAssociationRulesTeacher::CheckLimits() const {
  if (minSupport_ > maxSupport_) throw ELVError("ErrAssnMinSupportGreaterMax");
  if (minConfidence_ > maxConfidence_) throw ELVError("ErrAssnMinConfidenceGreaterMax");
  if (!data_ || !data_->Assigned()) throw ELVError("ErrAssnNoSource");
  if (!rules_) throw ELVError("ErrAssnNoRules");
}

namespace {

// The state of one search, so that Teach reads as its stages.
class TSearch {
 public:
  TSearch(TLVAssociationRulesTeacher& teacher, ILVProgress* progress)
      : teacher_(teacher), progress_(progress) {}

  TLVAssociationRules Run(const TLVTransactions& transactions) {
    total_ = transactions.Count();
    std::vector<std::string> names = transactions.ItemNames();
    // Transactions handed over without names get their numbers as names.
    for (int32_t t = 0; t < total_; ++t) {
      for (const int32_t item : transactions[t]) {
        while (static_cast<int32_t>(names.size()) <= item)
          names.push_back(std::to_string(names.size()));
      }
    }
    itemCount_ = static_cast<int32_t>(names.size());
    model_.BeginBuild(teacher_.GetMinSupport(), teacher_.GetMaxSupport(),
                      teacher_.GetMinConfidence(), teacher_.GetMaxConfidence(), std::move(names));
    model_.SetTransactionsCount(total_);
    TLVAssnItemSets frequent = OneItemSets(transactions);
    TLVTransactions current = ReduceTo(transactions, frequent, 2);
    for (int32_t power = 1; !frequent.empty(); ++power) {
      AddFrequent(frequent);
      const int32_t limit = teacher_.GetMaxItemSetPower();
      if (limit > 0 && power >= limit) break;
      frequent = NextLevel(current, frequent, power + 1);
      current = ReduceTo(current, frequent, power + 2);
    }
    MakeRules();
    model_.EndBuild();
    return std::move(model_);
  }

 private:
  bool Within(int32_t count) const {
    return SupportWithin(count, total_, teacher_.GetMinSupport(), teacher_.GetMaxSupport());
  }

  void Found(int32_t power, int32_t candidates, int32_t frequent) {
    if (teacher_.OnCandidatesFindEvent) {
      teacher_.OnCandidatesFindEvent(teacher_, power, candidates, frequent);
    }
  }

  TLVAssnItemSets OneItemSets(const TLVTransactions& transactions) {
    TLVProgressScope scope(progress_, LVText("SAssnStageOneItemSets"), transactions.Count());
    std::vector<int32_t> counts(static_cast<size_t>(itemCount_), 0);
    for (int32_t t = 0; t < transactions.Count(); ++t) {
      for (const int32_t item : transactions[t]) ++counts[static_cast<size_t>(item)];
      if ((t + 1) % kTransactionsPerStep == 0) scope.Step(t + 1);
    }
    TLVAssnItemSets frequent;
    for (size_t item = 0; item < counts.size(); ++item) {
      if (Within(counts[item])) frequent.push_back({{static_cast<int32_t>(item)}, counts[item]});
    }
    Found(1, itemCount_, static_cast<int32_t>(frequent.size()));
    return frequent;
  }

  // Only items of some frequent set can be in a candidate of the next power.
  TLVTransactions ReduceTo(const TLVTransactions& from, const TLVAssnItemSets& frequent,
                           int32_t minItems) const {
    std::vector<uint8_t> keep(static_cast<size_t>(itemCount_), 0);
    for (const TLVAssnItemSet& set : frequent) {
      for (const int32_t item : set.items) keep[static_cast<size_t>(item)] = 1;
    }
    return Reduce(from, keep, minItems);
  }

  void AddFrequent(const TLVAssnItemSets& frequent) {
    const auto base = static_cast<int32_t>(model_.LargeItemSets().size());
    TLVHashTree& tree = forest_.Tree(frequent.front().Power());
    for (size_t i = 0; i < frequent.size(); ++i) {
      if (!tree.Insert(frequent[i].items, base + static_cast<int32_t>(i))) {
        throw ELVError("ErrAssnTooManySets");
      }
    }
    model_.AddLevel(frequent);
  }

  TLVAssnItemSets NextLevel(const TLVTransactions& transactions, const TLVAssnItemSets& frequent,
                            int32_t power) {
    TLVAssnItemSets candidates;
    {
      TLVProgressScope scope(progress_, LVText("SAssnStageJoin"), -1);
      candidates = Join(frequent);
    }
    {
      TLVProgressScope scope(progress_, LVText("SAssnStagePrune"), -1);
      Prune(candidates, forest_.Tree(power - 1));
    }
    if (candidates.empty()) {
      Found(power, 0, 0);
      return {};
    }
    TLVAssnRulesHashTree tree;
    tree.SetTableSize(teacher_.HashTreeShape.tableSize);
    tree.SetChainThreshold(teacher_.HashTreeShape.chainThreshold);
    tree.SetMaxDepth(teacher_.HashTreeShape.maxDepth);
    {
      TLVProgressScope scope(progress_, LVText("SAssnStageHashTree"),
                             static_cast<int64_t>(candidates.size()));
      for (size_t i = 0; i < candidates.size(); ++i) {
        if (!tree.Insert(candidates[i].items, static_cast<int32_t>(i))) {
          throw ELVError("ErrAssnTooManySets");
        }
      }
    }
    CountSupport(tree, transactions, power, candidates);
    const auto candidateCount = static_cast<int32_t>(candidates.size());
    std::erase_if(candidates, [&](const TLVAssnItemSet& c) { return !Within(c.supportCount); });
    Found(power, candidateCount, static_cast<int32_t>(candidates.size()));
    return candidates;
  }

  // Every transaction against the tree, in parts on the cores; each part counts into
  // its own counter and the counts are added up at the end.
  void CountSupport(const TLVAssnRulesHashTree& tree, const TLVTransactions& transactions,
                    int32_t power, TLVAssnItemSets& candidates) {
    TLVProgressScope scope(progress_, LVText("SAssnStageCount"), transactions.Count());
    const auto candidateCount = static_cast<int32_t>(candidates.size());
    const int parts = LVRowPartCount(transactions.TotalItems());
    std::vector<TLVAssnRulesHashTree::TCounter> counters;
    for (int p = 0; p < parts; ++p) counters.emplace_back(candidateCount, itemCount_);
    LVForBlocksInParts(
        parts, transactions.Count(), scope, [&](int part, TLVRowIndex first, int32_t count) {
          TLVAssnRulesHashTree::TCounter& counter = counters[static_cast<size_t>(part)];
          for (TLVRowIndex t = first; t < first + count; ++t) {
            tree.CountTransaction(transactions[static_cast<int32_t>(t)], power, counter);
          }
        });
    for (const TLVAssnRulesHashTree::TCounter& counter : counters) {
      for (size_t i = 0; i < candidates.size(); ++i)
        candidates[i].supportCount += counter.counts[i];
    }
  }

  void MakeRules() {
    const TLVAssnItemSets& sets = model_.LargeItemSets();
    TLVProgressScope scope(progress_, LVText("SAssnStageRules"), static_cast<int64_t>(sets.size()));
    TIndexSet antecedent;
    TIndexSet consequent;
    for (size_t s = 0; s < sets.size(); ++s) {
      const TIndexSet& items = sets[s].items;
      const auto power = static_cast<int32_t>(items.size());
      if (power < 2) continue;
      // Every split of the set into a non-empty condition and a non-empty rest, the
      // bits of `mask` choosing the condition's items.
      for (uint64_t mask = 1; mask + 1 < (uint64_t{1} << power); ++mask) {
        antecedent.clear();
        consequent.clear();
        for (int32_t i = 0; i < power; ++i) {
          ((mask >> i) & 1 ? antecedent : consequent).push_back(items[static_cast<size_t>(i)]);
        }
        const int32_t a = *forest_.Find(antecedent);
        const int32_t c = *forest_.Find(consequent);
        const double confidence =
            static_cast<double>(sets[s].supportCount) / sets[static_cast<size_t>(a)].supportCount;
        if (confidence < teacher_.GetMinConfidence() || confidence > teacher_.GetMaxConfidence()) {
          continue;
        }
        TLVAssociationRule rule;
        rule.largeItemSet = static_cast<int32_t>(s);
        rule.antecedentSet = a;
        rule.consequentSet = c;
        rule.support = static_cast<double>(sets[s].supportCount) / total_;
        rule.confidence = confidence;
        rule.lift = confidence * total_ / sets[static_cast<size_t>(c)].supportCount;
        model_.AddRule(rule);
      }
      scope.Step(static_cast<int64_t>(s) + 1);
    }
  }

  TLVAssociationRulesTeacher& teacher_;
  ILVProgress* progress_;
  int32_t total_ = 0;
  int32_t itemCount_ = 0;
  TLVAssociationRules model_;
  TLVHashForest forest_;
};

}  // namespace

void TLVAssociationRulesTeacher::Teach(ILVProgress* progress) {
  CheckLimits();
  const TLVTransactions transactions = data_->Transactions(progress);
  if (transactions.Count() == 0) throw ELVError("ErrAssnTooFewUnique");
  TSearch search(*this, progress);
  *rules_ = search.Run(transactions);
}

void RegisterAssociationRulesTeacherTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrAssnSupportRange", "ErrAssnConfidenceRange", "ErrAssnMaxPower",
       "ErrAssnMinSupportGreaterMax", "ErrAssnMinConfidenceGreaterMax", "ErrAssnNoSource",
       "ErrAssnNoRules", "SAssnStageOneItemSets", "SAssnStageJoin", "SAssnStagePrune",
       "SAssnStageHashTree", "SAssnStageCount", "SAssnStageRules"});
}

}  // namespace lv
