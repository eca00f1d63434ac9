// A node's output table as a Qt table model, read through the data-source interface a
// block at a time and only for the rows a view asks for, so that a table of millions
// of rows opens at once and scrolls to its end without being loaded.
//
// Converted blocks are kept in a small cache (least recently used blocks dropped first)
// so that scrolling back does not read again. Sorting is a view of the rows: the
// sorting column is read in blocks once, and the rows are shown through the resulting
// order (missing values first); the source is never changed.
//
// The model holds the source open while it shows it. The source must not be changed
// or read by another thread meanwhile: the shell detaches the view (SetSource(null))
// before it runs a node. UI thread only.
#pragma once

#include <QAbstractTableModel>
#include <QString>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "core/sources/LV_DataIntf.h"

namespace lv {

class TLVTableModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  // True for a missing value.
  static constexpr int kIsNullRole = Qt::UserRole + 1;
  // How many converted blocks stay cached.
  static constexpr size_t kCachedBlocks = 256;

  explicit TLVTableModel(QObject* parent = nullptr);
  ~TLVTableModel() override;

  // Shows `source` (opening it; the engine's message is raised when it cannot be
  // opened, and the model is then empty), or nothing.
  void SetSource(std::shared_ptr<ILVDataSource> source);
  const std::shared_ptr<ILVDataSource>& Source() const { return source_; }
  // How many block reads the source has served to this model: what "on demand" means
  // can be checked by it.
  int64_t BlockReads() const { return blockReads_; }

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation,
                      int role = Qt::DisplayRole) const override;
  // Sorts the view by `column`; a column out of range restores the source's order.
  void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

 private:
  struct TCachedBlock {
    std::vector<QString> texts;
    std::vector<uint8_t> valid;
  };
  using TBlockKey = std::pair<int32_t, TLVRowIndex>;  // column, first row (of the order)

  const TCachedBlock& BlockFor(int32_t column, TLVRowIndex first) const;
  void ReadBlockInto(int32_t column, TLVRowIndex first, int32_t count, TCachedBlock& out) const;
  void Clear();

  std::shared_ptr<ILVDataSource> source_;
  TLVRowIndex rows_ = 0;
  int32_t columns_ = 0;
  // The rows in shown order when sorted; empty in the source's order.
  std::vector<TLVRowIndex> order_;
  mutable std::map<TBlockKey, TCachedBlock> cache_;
  mutable std::list<TBlockKey> recent_;  // front: most recently used
  mutable int64_t blockReads_ = 0;
};

void RegisterTableModelTexts();

}  // namespace lv
