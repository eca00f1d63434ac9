// A small in-memory table for tests of the data-source family: values given row by
// row, read through the base class's block primitive only.
#pragma once

#include <string>
#include <vector>

#include "core/sources/LV_DerivedDataSource.h"
#include "core/sources/LV_Progress.h"

namespace lv::test {

class TTestTable : public TLVDataSource {
 public:
  struct TColumn {
    std::string name;
    TLVDataType type;
  };
  TTestTable(std::vector<TColumn> columns, std::vector<std::vector<TLVValue>> rows)
      : rows_(std::move(rows)) {
    for (const auto& c : columns) Columns().AddColumn(c.name, c.type);
  }

  void SetRows(std::vector<std::vector<TLVValue>> rows) {
    rows_ = std::move(rows);
    Close();
    NotifyListeners(TLVNotifyReason::nrDataChanged);
  }
  void AddColumnLater(std::string name, TLVDataType type) {
    Columns().AddColumn(name, type);
    for (auto& row : rows_) row.push_back(TLVValue::Null(type));
  }

  std::vector<std::string> lockLog;
  int opens = 0;
  // Reads only look at the rows in memory, but a table says so only when asked to.
  bool concurrentReads = false;
  bool ConcurrentReads() const override { return concurrentReads; }

 protected:
  void DoOpen() override { ++opens; }
  TLVRowIndex DoGetRowCount() override { return static_cast<TLVRowIndex>(rows_.size()); }
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override {
    TLVDataType type = Columns()[column].GetDataType();
    out.Reset(type, count);
    for (int32_t i = 0; i < count; ++i) {
      const TLVValue& v = rows_[static_cast<size_t>(first + i)][static_cast<size_t>(column)];
      out.Valid()[i] = !v.IsNull();
      if (v.IsNull()) continue;
      if (type == TLVDataType::dtString) {
        out.Strings()[i] = out.Arena().Store(v.AsText());
      } else if (type == TLVDataType::dtInteger) {
        out.Integers()[i] = v.AsInteger();
      } else {
        out.Numbers()[i] = v.AsDouble();
      }
    }
  }
  void DoLock() override { lockLog.push_back("lock " + GetComponentName()); }
  void DoUnlock() override { lockLog.push_back("unlock " + GetComponentName()); }

 private:
  std::vector<std::vector<TLVValue>> rows_;
};

// Progress that records what it is told and cancels once the position reaches `at`
// (never for a negative `at`).
class TCancelAt : public ILVProgress {
 public:
  explicit TCancelAt(int64_t at) : at_(at) {}
  void Start(std::string_view caption, int64_t total) override {
    captions.emplace_back(caption);
    total_ = total;
  }
  void SetPosition(int64_t position) override { position_ = position; }
  bool Cancelled() const override { return at_ >= 0 && position_ >= at_; }
  void Finish() override { ++finished; }
  int64_t Position() const { return position_; }
  std::vector<std::string> captions;
  int finished = 0;

 private:
  int64_t at_, total_ = 0, position_ = 0;
};

// Counts what a source tells its listeners.
class TNotifyCounter : public ILVDataSourceListener {
 public:
  explicit TNotifyCounter(ILVDataSourceInfo& source) : source_(source) {
    source_.AddListener(this);
  }
  ~TNotifyCounter() override { source_.RemoveListener(this); }
  void OnNotifyDataSource(ILVDataSourceInfo&, TLVNotifyReason reason) override {
    reasons.push_back(reason);
  }
  size_t Count(TLVNotifyReason reason) const {
    size_t n = 0;
    for (auto r : reasons) n += r == reason;
    return n;
  }
  std::vector<TLVNotifyReason> reasons;

 private:
  ILVDataSourceInfo& source_;
};

// A derived source that passes the parent through and adds `name` = X * factor (X being
// the parent's column 1), counting the rows it computed.
template <class Base>
class TScaledX : public Base {
 public:
  TScaledX(double factor, std::string name) : factor_(factor), name_(std::move(name)) {}
  int computedRows = 0;

 protected:
  void DefineColumns() override {
    Base::DefineColumns();
    this->AddComputed(name_, TLVDataType::dtFloat);
  }
  void ComputeBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override {
    TLVBlock x;
    this->RequireParent().ReadBlock(1, first, count, x);
    out.Reset(this->Columns()[column].GetDataType(), count);
    for (int32_t i = 0; i < count; ++i) {
      out.Valid()[i] = x.Valid()[i];
      out.Numbers()[i] = x.Numbers()[i] * factor_;
    }
    computedRows += count;
  }

 private:
  double factor_;
  std::string name_;
};

// Every value of a column read by blocks.
inline std::vector<TLVValue> ReadColumn(ILVDataSource& source, int32_t column) {
  std::vector<TLVValue> values;
  TLVBlock block;
  TLVRowIndex rows = source.GetRowCount();
  for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) {
    auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows - first));
    source.ReadBlock(column, first, count, block);
    for (int32_t i = 0; i < count; ++i) {
      if (block.IsNull(i)) {
        values.push_back(TLVValue::Null(block.Type()));
      } else if (block.Type() == TLVDataType::dtString) {
        values.push_back(TLVValue::String(block.Strings()[i]));
      } else if (block.Type() == TLVDataType::dtInteger) {
        values.push_back(TLVValue::Integer(block.Integers()[i]));
      } else if (block.Type() == TLVDataType::dtBoolean) {
        values.push_back(TLVValue::Boolean(block.Numbers()[i] != 0));
      } else if (block.Type() == TLVDataType::dtDateTime) {
        values.push_back(TLVValue::DateTime(block.Numbers()[i]));
      } else {
        values.push_back(TLVValue::Float(block.Numbers()[i]));
      }
    }
  }
  return values;
}

// A table of `n` rows: ID (integer 0..n-1), X (float ID/2, missing every 7th row),
// NAME (text "n<ID>").
inline std::shared_ptr<TTestTable> MakeNumbers(int n) {
  std::vector<std::vector<TLVValue>> rows;
  for (int i = 0; i < n; ++i) {
    rows.push_back({TLVValue::Integer(i),
                    i % 7 == 3 ? TLVValue::Null(TLVDataType::dtFloat) : TLVValue::Float(i / 2.0),
                    TLVValue::String("n" + std::to_string(i))});
  }
  return std::make_shared<TTestTable>(
      std::vector<TTestTable::TColumn>{{"ID", TLVDataType::dtInteger},
                                       {"X", TLVDataType::dtFloat},
                                       {"NAME", TLVDataType::dtString}},
      std::move(rows));
}

}  // namespace lv::test
