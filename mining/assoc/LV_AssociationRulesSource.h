// The input of association rules: the parent's table seen through a tuned source in
// which one discrete column has the purpose dsTransactionID and one discrete column
// dsItemID, and the transactions built from its rows.
//
// A transaction is the set of item numbers that occur in the rows of one transaction
// identifier. Item numbers follow the order of the item values (texts by the byte
// order of their UTF-8 form, numbers by value), so that number order is name order.
// The transactions are kept in one flat array: a million baskets are two allocations,
// not a million.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "core/sources/LV_Progress.h"
#include "core/sources/LV_TunedDataSource.h"
#include "mining/assoc/LV_HashTrees.h"
#include "mining/normalizers/LV_TunedNormDataSource.h"

namespace lv {

// One transaction: its item numbers, ascending, each once.
using TLVTransaction = std::span<const int32_t>;

class TLVTransactions {
 public:
  int32_t Count() const { return static_cast<int32_t>(offsets_.size()) - 1; }
  TLVTransaction operator[](int32_t index) const {
    const auto i = static_cast<size_t>(index);
    return {items_.data() + offsets_[i], static_cast<size_t>(offsets_[i + 1] - offsets_[i])};
  }
  // The names of the item numbers (the item values as texts).
  const std::vector<std::string>& ItemNames() const { return itemNames_; }
  int32_t ItemCount() const { return static_cast<int32_t>(itemNames_.size()); }
  int64_t TotalItems() const { return static_cast<int64_t>(items_.size()); }

  void Assign(std::vector<int64_t> offsets, std::vector<int32_t> items,
              std::vector<std::string> itemNames) {
    offsets_ = std::move(offsets);
    items_ = std::move(items);
    itemNames_ = std::move(itemNames);
  }
  // Adds a transaction (ascending item numbers), for callers that build them by hand.
  void Add(std::span<const int32_t> items) {
    items_.insert(items_.end(), items.begin(), items.end());
    offsets_.push_back(static_cast<int64_t>(items_.size()));
  }
  void SetItemNames(std::vector<std::string> names) { itemNames_ = std::move(names); }

 private:
  std::vector<int64_t> offsets_{0};
  std::vector<int32_t> items_;
  std::vector<std::string> itemNames_;
};

// The parent's columns as they are; the user gives the two purposes. A vendor of its
// own so that a project names what made the node's column list.
class TLVAssnRulesColumnsInfoVendor : public TLVDefaultColumnsInfoVendor {
 public:
  static constexpr std::string_view kName = "TLVAssnRulesColumnsInfoVendor";
  std::string_view GetName() const override { return kName; }
};

// Built on the models' tuned source for what it shares with them: every column's
// purpose and kind saved in the project and kept across rebuilds from the parent. Its
// normalizers are never used: transactions are read as they are.
class TLVAssnRulesTunedSource : public TLVTunedNormDataSource {
 public:
  TLVAssnRulesTunedSource();

  // The one column of each purpose, checked as CheckColumns does.
  int32_t TransactionColumn() const { return ColumnOf(TLVDataStatus::dsTransactionID); }
  int32_t ItemColumn() const { return ColumnOf(TLVDataStatus::dsItemID); }

  // From the descriptions alone: exactly one column of each purpose
  // ("ErrAssnColumnCount" with the purpose's display text), both discrete
  // ("ErrAssnNotDiscrete").
  void CheckColumns() const;

  // Reads the two columns by blocks and makes the transactions. Refused when a cell of
  // either is empty ("ErrAssnMissingValues") or when either holds fewer than two
  // distinct values ("ErrAssnTooFewUnique").
  TLVTransactions BuildTransactions(ILVProgress* progress = nullptr);

 private:
  int32_t ColumnOf(TLVDataStatus status) const;
};

void RegisterAssociationRulesSourceTexts();

}  // namespace lv
