// The search for association rules, a batch process in stages: the transactions are
// built, the frequent one-item sets found, then power by power candidates are joined
// from the frequent sets, those with an infrequent subset removed, the rest put into
// a hash tree and their support counted over the transactions; last, rules are made
// from every frequent set.
//
// Support is a share of the transaction count; a set is frequent when its own support
// and the support of every one of its subsets lie within MinSupport..MaxSupport (the
// subsets are frequent by construction). A rule splits a frequent set S into any
// non-empty condition A and the non-empty rest C; its support is support(S), its
// confidence support(S) / support(A), its lift confidence / support(C). The model is
// filled only when the whole search succeeds; a failed or cancelled one leaves it as it
// was. One thread drives the teacher; the support count runs on the cores.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "core/registry/LV_Properties.h"
#include "core/sources/LV_Progress.h"
#include "mining/assoc/LV_AssociationRules.h"
#include "mining/assoc/LV_AssociationRulesSource.h"

namespace lv {

// Where the teacher takes its transactions from: the tuned source over the parent's
// rows, or transactions handed over as they are.
class TLVAssociationRulesTeachDataSource {
 public:
  void SetTunedSource(TLVAssnRulesTunedSource* source) { source_ = source; }
  TLVAssnRulesTunedSource* GetTunedSource() const { return source_; }
  void SetTransactions(TLVTransactions transactions) { given_ = std::move(transactions); }

  bool Assigned() const { return source_ != nullptr || given_.has_value(); }
  TLVTransactions Transactions(ILVProgress* progress) const;

 private:
  TLVAssnRulesTunedSource* source_ = nullptr;
  std::optional<TLVTransactions> given_;
};

// The hash tree of the candidates of one power, with the support count.
class TLVAssnRulesHashTree : public TLVHashTree {
 public:
  // One counting thread's scratch: the counts by candidate, and the stamps that make a
  // candidate count once per transaction and mark the transaction's items.
  struct TCounter {
    TCounter(int32_t candidates, int32_t items)
        : counts(static_cast<size_t>(candidates), 0),
          seen(static_cast<size_t>(candidates), -1),
          marks(static_cast<size_t>(items), -1) {}
    std::vector<int32_t> counts;
    std::vector<int32_t> seen;
    std::vector<int32_t> marks;
    int32_t stamp = 0;
  };

  // Raises the count of every stored set of power `power` that `transaction` contains.
  // The subsets of the transaction are enumerated along the tree's hashing: the item
  // at depth d < power is chosen among the transaction's remaining items, so only the
  // branches that a subset can reach are walked.
  void CountTransaction(TLVTransaction transaction, int32_t power, TCounter& counter) const;

 private:
  void Walk(const TLVHashInteriorNode& node, TLVTransaction transaction, int32_t power,
            size_t start, int32_t* chosen, TCounter& counter) const;
  void CountChain(int32_t head, TCounter& counter) const;
};

class TLVAssociationRulesTeacher {
 public:
  // (sender, power of the sets, candidates of that power, frequent sets found).
  using TCandidatesFindEvent =
      std::function<void(TLVAssociationRulesTeacher&, int32_t, int32_t, int32_t)>;

  TLVAssociationRules* GetAssociationRules() const { return rules_; }
  void SetAssociationRules(TLVAssociationRules* rules) { rules_ = rules; }
  TLVAssociationRulesTeachDataSource* GetTeachDataSource() const { return data_; }
  void SetTeachDataSource(TLVAssociationRulesTeachDataSource* data) { data_ = data; }

  // Support limits lie in (0, 1] ("ErrAssnSupportRange"), confidence limits in [0, 1]
  // ("ErrAssnConfidenceRange"); the order of each pair is checked when the search starts.
  double GetMinSupport() const { return minSupport_; }
  void SetMinSupport(double value);
  double GetMaxSupport() const { return maxSupport_; }
  void SetMaxSupport(double value);
  double GetMinConfidence() const { return minConfidence_; }
  void SetMinConfidence(double value);
  double GetMaxConfidence() const { return maxConfidence_; }
  void SetMaxConfidence(double value);
  // The largest power of a frequent set searched for; 0 searches without limit.
  int32_t GetMaxItemSetPower() const { return maxItemSetPower_; }
  void SetMaxItemSetPower(int32_t value);

  TCandidatesFindEvent OnCandidatesFindEvent;

  // The sizes of the candidates' hash trees (not persisted: the defaults serve every
  // table; a test makes them tiny to see a failed insertion stop the search).
  struct THashTreeShape {
    int32_t tableSize = 701;
    int32_t chainThreshold = 7;
    int32_t maxDepth = 20000;
  };
  THashTreeShape HashTreeShape;

  // Runs the search and fills the model. Raises on a refused setting, a bad input,
  // too many candidates ("ErrAssnTooManySets"), or ELVAbort when cancelled.
  void Teach(ILVProgress* progress = nullptr);

  // "MinSupport", "MaxSupport", "MinConfidence", "MaxConfidence", "MaxItemSetPower".
  static const TLVPropertyTable<TLVAssociationRulesTeacher>& Properties();

 private:
  void CheckLimits() const;

  TLVAssociationRules* rules_ = nullptr;
  TLVAssociationRulesTeachDataSource* data_ = nullptr;
  double minSupport_ = 0.05;
  double maxSupport_ = 1;
  double minConfidence_ = 0.6;
  double maxConfidence_ = 1;
  int32_t maxItemSetPower_ = 0;
};

void RegisterAssociationRulesTeacherTexts();

}  // namespace lv
