// The tables of the sorting and grouping benchmarks.
//
// PeerSales(): the sales file of the peer benchmark kit (2 million rows, `;`-separated,
// header id;date;region;product;qty;price;discount;flag;comment, '.' decimals,
// dd.mm.yyyy dates), read once through the text import as a user would set it up:
// the file named by $LV_PEERS_SALES (default /tmp/peers/data/sales.csv). Null when the
// file is not there; the benchmarks then skip.
//
// SyntheticSales(rows): id, region (one of 50 names), product (one of 1000 codes), qty
// (1..20) and price (0.01..1000, one value in a hundred missing) made in the row cache,
// for the 10-million-row runs.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>

#include "core/cache/LV_DataCache.h"
#include "core/sources/LV_CachedDataSource.h"
#include "io/LV_TextFile.h"

namespace lv::bench {

inline std::shared_ptr<TLVTextFile> PeerSales() {
  static std::shared_ptr<TLVTextFile> node = []() -> std::shared_ptr<TLVTextFile> {
    const char* given = std::getenv("LV_PEERS_SALES");
    const std::string path = given ? given : "/tmp/peers/data/sales.csv";
    if (!std::filesystem::exists(path)) return nullptr;
    auto text = std::make_shared<TLVTextFile>();
    text->SetFileName(path);
    text->SetDelimiter(TLVDelimiterType::dtSemicolon);
    text->SetDecimalPoint('.');
    text->SetDateDelimiter('.');
    text->SetDateFormat("dd.mm.yyyy");
    using enum TLVDataType;
    const std::pair<const char*, TLVDataType> columns[] = {
        {"id", dtInteger},     {"date", dtDateTime}, {"region", dtString},
        {"product", dtString}, {"qty", dtInteger},   {"price", dtFloat},
        {"discount", dtFloat}, {"flag", dtBoolean},  {"comment", dtString}};
    for (const auto& [name, type] : columns) {
      TLVTextFileColumn& column = text->ColumnDefs().AddDefinition();
      column.SetName(name);
      column.SetDataType(type);
      column.SetDataStatus(TLVDataStatus::dsInfo);
    }
    text->Refresh();
    return text;
  }();
  return node;
}

class TSyntheticSales : public TLVCachedDataSource {
 public:
  explicit TSyntheticSales(TLVRowIndex rows) : rows_(rows) {
    Columns().AddColumn("id", TLVDataType::dtInteger);
    Columns().AddColumn("region", TLVDataType::dtString);
    Columns().AddColumn("product", TLVDataType::dtString);
    Columns().AddColumn("qty", TLVDataType::dtInteger);
    Columns().AddColumn("price", TLVDataType::dtFloat);
  }

 protected:
  void FillCache(TLVDataCache& cache) override {
    std::mt19937_64 random(2026);
    std::vector<std::string> regions, products;
    for (int i = 0; i < 50; ++i) regions.push_back("Регион " + std::to_string(i * 7919 % 50));
    for (int i = 0; i < 1000; ++i) products.push_back("PRD-" + std::to_string(1000 + i));
    for (TLVRowIndex r = 0; r < rows_; ++r) {
      const uint64_t bits = random();
      cache.AppendRow();
      cache.SetInteger(r, 0, static_cast<int32_t>(r + 1));
      cache.SetString(r, 1, regions[bits % 50]);
      cache.SetString(r, 2, products[(bits >> 8) % 1000]);
      cache.SetInteger(r, 3, static_cast<int32_t>((bits >> 20) % 20 + 1));
      if ((bits >> 28) % 100 == 0) {
        cache.SetNull(r, 4);
      } else {
        cache.SetFloat(r, 4, static_cast<double>((bits >> 36) % 100000 + 1) / 100.0);
      }
    }
  }

 private:
  TLVRowIndex rows_;
};

inline std::shared_ptr<TSyntheticSales> SyntheticSales(TLVRowIndex rows) {
  static std::shared_ptr<TSyntheticSales> table;
  if (!table || table->GetRowCount() != rows) {
    table = std::make_shared<TSyntheticSales>(rows);
    table->Open();
  }
  return table;
}

}  // namespace lv::bench
