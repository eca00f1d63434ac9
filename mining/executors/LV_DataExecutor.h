// Executors apply a trained kernel to every row of the tuned normalized source and
// offer the rows with the model's results added.
//
// TLVCustomExecutor holds the settings and the checks made when the output opens (a
// kernel, an active source, valid suffixes, the kernel's columns still present with
// the right purposes and types). TLVCustomDataExecutor is the output table: the
// source's columns passed through, each with its role (TLVExecutorColumnType), then a
// result column per output ("<name>_OUT", or the output replaced in place) and an
// error column per output ("<name>_ERR": the mean over its components of
// ((result - target) / width of the range)^2), then the kernel's further results
// ("<first output><suffix>"). TLVDataExecutor computes a block of
// rows at a time: the inputs are normalized a block at once and the kernel runs once
// per block for all result and error columns. Single-threaded, like every source.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/LV_DerivedDataSource.h"
#include "mining/LV_MiningTypes.h"
#include "mining/normalizers/LV_TunedNormDataSource.h"
#include "mining/teachers/LV_AnalyticKernel.h"

namespace lv {

class TLVCustomExecutor {
 public:
  virtual ~TLVCustomExecutor() = default;

  const std::shared_ptr<TLVAnalyticKernel>& GetKernel() const { return kernel_; }
  bool GetReplaceOutputs() const { return replaceOutputs_; }
  const std::string& GetOutputPostfix() const { return outputPostfix_; }
  const std::string& GetErrorPostfix() const { return errorPostfix_; }
  bool GetAddError() const { return addError_; }
  bool GetAutoRefresh() const { return autoRefresh_; }
  // The purposes of the source's columns that are left out of the output.
  TLVEnumSet<TLVDataStatus> GetUnUsableDataStatus() const { return unUsable_; }

  // Whether `postfix` may end a column name: letters, digits and '_' only, not empty.
  static bool IsValidPostfix(std::string_view postfix);

 protected:
  // Raises the first failed check of an executor about to open over `source`.
  void CheckOpen(TLVTunedNormDataSource* source) const;

  std::shared_ptr<TLVAnalyticKernel> kernel_;
  bool replaceOutputs_ = false;
  std::string outputPostfix_ = "_OUT";
  std::string errorPostfix_ = "_ERR";
  bool addError_ = true;
  bool autoRefresh_ = true;
  TLVEnumSet<TLVDataStatus> unUsable_{TLVDataStatus::dsUnUsable};
};

class TLVCustomDataExecutor : public TLVDerivedDataSource, public TLVCustomExecutor {
 public:
  TLVTunedNormDataSource* GetTunedNormDataSource() const;
  void SetTunedNormDataSource(std::shared_ptr<TLVTunedNormDataSource> source);
  void SetKernel(std::shared_ptr<TLVAnalyticKernel> kernel);

  void SetReplaceOutputs(bool value);
  void SetOutputPostfix(const std::string& value);
  void SetErrorPostfix(const std::string& value);
  void SetAddError(bool value);
  void SetAutoRefresh(bool value) { autoRefresh_ = value; }
  void SetUnUsableDataStatus(TLVEnumSet<TLVDataStatus> value);

  // The role of every output column, and the positions of the target, result and
  // error columns (one per kernel output, in the kernel's order; -1 where absent).
  const std::vector<TLVExecutorColumnType>& ColumnTypes() const { return columnTypes_; }
  const std::vector<int32_t>& OutputColumnIndexes() const { return outputIndexes_; }
  const std::vector<int32_t>& CalculateColumnIndexes() const { return calculateIndexes_; }
  const std::vector<int32_t>& ErrorColumnIndexes() const { return errorIndexes_; }

  // "AutoRefresh", "ReplaceOutputs", "OutputPostfix", "ErrorPostfix", "AddError",
  // "UnUsableDataStatus".
  void SaveSettingsTo(ILVSettingsSection& section) const override;
  void LoadSettingsFrom(const ILVSettingsSection& section) override;

 protected:
  void DefineColumns() override;
  void DoOpen() override;
  void DoClose() override;

  // Per result or error column: which kernel output it shows.
  struct TComputed {
    int32_t output = -1;  // position among the kernel's outputs
    bool error = false;
    int32_t extra = -1;  // position among the kernel's further results
  };
  const std::vector<TComputed>& Computed() const { return computed_; }

 private:
  void Changed();

  std::vector<TLVExecutorColumnType> columnTypes_;
  std::vector<int32_t> outputIndexes_;
  std::vector<int32_t> calculateIndexes_;
  std::vector<int32_t> errorIndexes_;
  std::vector<TComputed> computed_;       // per column
  std::vector<std::string> outputNames_;  // the outputs the columns were defined for
};

class TLVDataExecutor : public TLVCustomDataExecutor {
 protected:
  void ComputeBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override;
  void DoClose() override;

 private:
  // The kernel's results and the targets of the block last computed, column-major.
  void ComputeRun(TLVRowIndex first, int32_t count);

  TLVRowIndex cachedFirst_ = -1;
  int32_t cachedCount_ = 0;
  std::vector<double> inputs_;
  std::vector<double> results_;
  std::vector<double> targets_;
  std::vector<double> extras_;
  std::vector<int32_t> outputOffsets_;  // first component of each kernel output
};

void RegisterDataExecutorTexts();

}  // namespace lv
