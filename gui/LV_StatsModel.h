// The column statistics of a table as a Qt table model: one row per column with its
// caption and type, then the statistics the engine computes (LV_ColumnStats.h), each
// under its display text. The statistics are computed elsewhere (on the worker
// thread) and handed over whole. UI thread only.
#pragma once

#include <QAbstractTableModel>
#include <QString>
#include <memory>
#include <vector>

#include "core/columns/LV_ColumnInfo.h"
#include "core/sources/LV_Progress.h"

namespace lv {

class TLVStatsModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  struct TColumnStats {
    QString caption;
    TLVDataType type = TLVDataType::dtNone;
    std::shared_ptr<TLVStatInfo> stats;
  };

  explicit TLVStatsModel(QObject* parent = nullptr) : QAbstractTableModel(parent) {}

  void SetStats(std::vector<TColumnStats> columns);
  // Reads the descriptions of `source` and computes its statistics (every row, by
  // blocks), reporting to `progress`; for the worker thread.
  static std::vector<TColumnStats> Compute(ILVDataSource& source, ILVProgress& progress);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation,
                      int role = Qt::DisplayRole) const override;

 private:
  std::vector<TColumnStats> columns_;
};

void RegisterStatsModelTexts();

}  // namespace lv
