#include "mining/assoc/LV_AssociationRulesSource.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <unordered_map>

#include "core/columns/LV_Convert.h"
#include "core/registry/LV_Vendor.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_FormatSettings.h"
#include "core/text/LV_Localization.h"

namespace lv {

namespace {

struct TTextHash {
  using is_transparent = void;
  size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
};

// Gives each distinct value of a column a number in the order of first appearance,
// a block at a time; afterwards the numbers can be put into value order.
class TValueNumbering {
 public:
  explicit TValueNumbering(TLVDataType type) : type_(type) {}

  int32_t Count() const { return count_; }

  void NumberBlock(const TLVBlock& block, int32_t count, int32_t* out) {
    const uint8_t* valid = block.Valid();
    for (int32_t i = 0; i < count; ++i) {
      if (!valid[i]) throw ELVError("ErrAssnMissingValues");
    }
    switch (block.Type()) {
      case TLVDataType::dtInteger:
        for (int32_t i = 0; i < count; ++i) out[i] = NumberOf(integers_, block.Integers()[i]);
        break;
      case TLVDataType::dtString:
        for (int32_t i = 0; i < count; ++i) out[i] = NumberOfText(block.Strings()[i]);
        break;
      default:
        // +0.0 makes -0 and 0 one value.
        for (int32_t i = 0; i < count; ++i) out[i] = NumberOf(numbers_, block.Numbers()[i] + 0.0);
        break;
    }
  }

  // The names of the values in value order, and in `renumber` the new number of each
  // old one.
  std::vector<std::string> SortByValue(std::vector<int32_t>& renumber) const {
    std::vector<std::string> names(static_cast<size_t>(count_));
    std::vector<int32_t> order(static_cast<size_t>(count_));
    if (!integers_.empty()) {
      Sorted(integers_, order);
    } else if (!numbers_.empty()) {
      Sorted(numbers_, order);
    } else {
      Sorted(texts_, order);
    }
    renumber.assign(static_cast<size_t>(count_), 0);
    for (size_t rank = 0; rank < order.size(); ++rank) {
      renumber[static_cast<size_t>(order[rank])] = static_cast<int32_t>(rank);
    }
    for (const auto& [value, number] : integers_) {
      names[static_cast<size_t>(renumber[static_cast<size_t>(number)])] = std::to_string(value);
    }
    for (const auto& [value, number] : numbers_) {
      names[static_cast<size_t>(renumber[static_cast<size_t>(number)])] =
          ValueToText(type_ == TLVDataType::dtDateTime  ? TLVValue::DateTime(value)
                      : type_ == TLVDataType::dtBoolean ? TLVValue::Boolean(value != 0)
                                                        : TLVValue::Float(value),
                      DefaultFormatSettings());
    }
    for (const auto& [value, number] : texts_) {
      names[static_cast<size_t>(renumber[static_cast<size_t>(number)])] = value;
    }
    return names;
  }

 private:
  template <class Map, class Key>
  int32_t NumberOf(Map& map, const Key& key) {
    auto [it, added] = map.try_emplace(key, count_);
    if (added) ++count_;
    return it->second;
  }
  int32_t NumberOfText(std::string_view text) {
    auto it = texts_.find(text);
    if (it != texts_.end()) return it->second;
    texts_.emplace(std::string(text), count_);
    return count_++;
  }
  template <class Map>
  static void Sorted(const Map& map, std::vector<int32_t>& order) {
    std::vector<std::pair<typename Map::key_type, int32_t>> all(map.begin(), map.end());
    std::sort(all.begin(), all.end());
    for (size_t i = 0; i < all.size(); ++i) order[i] = all[i].second;
  }

  TLVDataType type_;
  int32_t count_ = 0;
  std::unordered_map<int32_t, int32_t> integers_;
  std::unordered_map<double, int32_t> numbers_;
  std::unordered_map<std::string, int32_t, TTextHash, std::equal_to<>> texts_;
};

}  // namespace

TLVAssnRulesTunedSource::TLVAssnRulesTunedSource() {
  SetColumnsInfoVendor(std::make_shared<TLVAssnRulesColumnsInfoVendor>());
}

int32_t TLVAssnRulesTunedSource::ColumnOf(TLVDataStatus status) const {
  int32_t found = -1;
  int32_t count = 0;
  for (int32_t i = 0; i < Columns().Count(); ++i) {
    if (Columns()[i].GetDataStatus() != status) continue;
    if (count++ == 0) found = i;
  }
  if (count != 1) throw ELVError("ErrAssnColumnCount", {DisplayText(status)});
  return found;
}

void TLVAssnRulesTunedSource::CheckColumns() const {
  for (const int32_t column : {TransactionColumn(), ItemColumn()}) {
    if (Columns()[column].GetDataKind() != TLVDataKind::dkDiscrete) {
      throw ELVError("ErrAssnNotDiscrete");
    }
  }
}

TLVTransactions TLVAssnRulesTunedSource::BuildTransactions(ILVProgress* progress) {
  CheckColumns();
  const int32_t tidColumn = TransactionColumn();
  const int32_t itemColumn = ItemColumn();
  TLVLockGuard lock(*this);
  const TLVRowIndex rows = GetRowCount();
  TLVProgressScope scope(progress, LVText("SAssnStageTransactions"), rows);
  TValueNumbering tids(Columns()[tidColumn].GetDataType());
  TValueNumbering items(Columns()[itemColumn].GetDataType());
  std::vector<int32_t> rowTid(static_cast<size_t>(rows));
  std::vector<int32_t> rowItem(static_cast<size_t>(rows));
  TLVBlock tidBlock;
  TLVBlock itemBlock;
  for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) {
    const auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows - first));
    ReadBlock(tidColumn, first, count, tidBlock);
    ReadBlock(itemColumn, first, count, itemBlock);
    tids.NumberBlock(tidBlock, count, rowTid.data() + first);
    items.NumberBlock(itemBlock, count, rowItem.data() + first);
    scope.Step(first + count);
  }
  if (tids.Count() < 2 || items.Count() < 2) throw ELVError("ErrAssnTooFewUnique");

  std::vector<int32_t> renumber;
  std::vector<std::string> names = items.SortByValue(renumber);
  // Rows grouped by transaction (a counting sort), then each transaction's items
  // sorted and made unique in place.
  std::vector<int64_t> start(static_cast<size_t>(tids.Count()) + 1, 0);
  for (const int32_t tid : rowTid) ++start[static_cast<size_t>(tid) + 1];
  std::partial_sum(start.begin(), start.end(), start.begin());
  std::vector<int64_t> fill(start.begin(), start.end() - 1);
  std::vector<int32_t> grouped(static_cast<size_t>(rows));
  for (size_t r = 0; r < rowTid.size(); ++r) {
    grouped[static_cast<size_t>(fill[static_cast<size_t>(rowTid[r])]++)] =
        renumber[static_cast<size_t>(rowItem[r])];
  }
  std::vector<int64_t> offsets{0};
  offsets.reserve(start.size());
  int64_t kept = 0;
  for (size_t t = 0; t + 1 < start.size(); ++t) {
    auto begin = grouped.begin() + start[t];
    auto end = grouped.begin() + start[t + 1];
    std::sort(begin, end);
    end = std::unique(begin, end);
    kept = std::copy(begin, end, grouped.begin() + kept) - grouped.begin();
    offsets.push_back(kept);
  }
  grouped.resize(static_cast<size_t>(kept));
  TLVTransactions transactions;
  transactions.Assign(std::move(offsets), std::move(grouped), std::move(names));
  return transactions;
}

void RegisterAssociationRulesSourceTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrAssnColumnCount", "ErrAssnNotDiscrete",
                                            "ErrAssnMissingValues", "ErrAssnTooFewUnique",
                                            "SAssnStageTransactions"});
  TLVColumnsInfoVendorList& vendors = LVColumnsInfoVendors();
  if (!vendors.Find(TLVAssnRulesColumnsInfoVendor::kName)) {
    vendors.Add(std::make_shared<TLVAssnRulesColumnsInfoVendor>());
  }
}

}  // namespace lv
