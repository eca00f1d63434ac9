#include <gtest/gtest.h>

#include <map>

#include "core/registry/LV_Properties.h"

namespace lv {
namespace {

class TSettings {
 public:
  const std::string& GetTitle() const { return title_; }
  void SetTitle(const std::string& v) { title_ = v; }
  int32_t GetLimit() const { return limit_; }
  void SetLimit(int32_t v) {
    if (v < 0) throw ELVError("ErrDataSize", {"Limit", v});
    limit_ = v;
  }
  double GetRate() const { return rate_; }
  void SetRate(double v) { rate_ = v; }
  bool GetOn() const { return on_; }
  void SetOn(bool v) { on_ = v; }
  char GetSeparator() const { return separator_; }
  void SetSeparator(char v) { separator_ = v; }
  TLVDataStatus GetStatus() const { return status_; }
  void SetStatus(TLVDataStatus v) { status_ = v; }

  static const TLVPropertyTable<TSettings>& Properties() {
    static const auto table = [] {
      TLVPropertyTable<TSettings> t;
      t.Add("Title", &TSettings::GetTitle, &TSettings::SetTitle, std::string("Без имени"))
          .Add("Limit", &TSettings::GetLimit, &TSettings::SetLimit, 10)
          .Add("Rate", &TSettings::GetRate, &TSettings::SetRate, 0.1)
          .Add("On", &TSettings::GetOn, &TSettings::SetOn, true)
          .Add("Separator", &TSettings::GetSeparator, &TSettings::SetSeparator, ';')
          .Add("Status", &TSettings::GetStatus, &TSettings::SetStatus, TLVDataStatus::dsInput);
      return t;
    }();
    return table;
  }

 private:
  std::string title_;
  int32_t limit_ = 0;
  double rate_ = 0;
  bool on_ = false;
  char separator_ = 0;
  TLVDataStatus status_ = TLVDataStatus::dsUnUsable;
};

class TMoreSettings : public TSettings {
 public:
  int32_t GetExtra() const { return extra_; }
  void SetExtra(int32_t v) { extra_ = v; }

 private:
  int32_t extra_ = 0;
};

using TStore = std::map<std::string, std::string>;

TStore Save(const TSettings& s) {
  TStore store;
  TSettings::Properties().Save(s,
                               [&](const std::string& k, const std::string& v) { store[k] = v; });
  return store;
}

void Load(TSettings& s, const TStore& store) {
  TSettings::Properties().Load(s, [&](const std::string& k) -> std::optional<std::string> {
    auto it = store.find(k);
    return it == store.end() ? std::nullopt : std::optional(it->second);
  });
}

TEST(Properties, SaveAndLoadRoundTripEveryTypeInLocaleFreeText) {
  TSettings s;
  TSettings::Properties().ApplyDefaults(s);
  EXPECT_EQ(s.GetTitle(), "Без имени");
  EXPECT_EQ(s.GetSeparator(), ';');
  for (const auto& p : TSettings::Properties().Items()) EXPECT_TRUE(p.IsDefault(s)) << p.Name();
  s.SetTitle("Продажи; 2024");
  s.SetLimit(7);
  s.SetRate(0.1 + 0.2);  // not representable briefly: must still read back exactly
  s.SetOn(false);
  s.SetSeparator('\t');
  s.SetStatus(TLVDataStatus::dsTransactionID);
  TStore store = Save(s);
  EXPECT_EQ(store["Rate"], "0.30000000000000004");
  EXPECT_EQ(store["On"], "False");
  EXPECT_EQ(store["Status"], "dsTransactionID");
  TSettings copy;
  Load(copy, store);
  EXPECT_EQ(Save(copy), store);
  EXPECT_EQ(copy.GetRate(), 0.1 + 0.2);
  // Absent properties take their defaults.
  TSettings partial;
  Load(partial, {{"Limit", "3"}});
  EXPECT_EQ(partial.GetLimit(), 3);
  EXPECT_EQ(partial.GetStatus(), TLVDataStatus::dsInput);
  EXPECT_EQ(TSettings::Properties().Find("Status")->Enumeration()->typeName, "TLVDataStatus");
}

TEST(Properties, BadTextsAndRefusingSettersRaise) {
  TSettings s;
  TSettings::Properties().ApplyDefaults(s);
  const auto& table = TSettings::Properties();
  for (auto [name, text] :
       std::initializer_list<std::pair<const char*, const char*>>{{"Limit", "12x"},
                                                                  {"Limit", ""},
                                                                  {"Limit", "99999999999"},
                                                                  {"Rate", "1,5"},
                                                                  {"On", "да"},
                                                                  {"Separator", ";;"},
                                                                  {"Status", "dsinput"}}) {
    try {
      table.Find(name)->Set(s, text);
      ADD_FAILURE() << name << "=" << text;
    } catch (const ELVError& e) {
      EXPECT_EQ(e.Key(), "ErrPropertyValue");
      EXPECT_NE(std::string(e.what()).find(name), std::string::npos);
    }
  }
  EXPECT_THROW(table.Find("Limit")->Set(s, "-1"), ELVError);
  EXPECT_EQ(s.GetLimit(), 10);
  table.Find("On")->Set(s, "FALSE");
  EXPECT_FALSE(s.GetOn());
}

TEST(Properties, DerivedTablesInheritTheBaseOnesInOrder) {
  TLVPropertyTable<TMoreSettings> table;
  table.Inherit(TSettings::Properties())
      .Add("Extra", &TMoreSettings::GetExtra, &TMoreSettings::SetExtra, 5);
  ASSERT_EQ(table.Items().size(), 7u);
  EXPECT_EQ(table.Items().front().Name(), "Title");
  TMoreSettings s;
  table.ApplyDefaults(s);
  EXPECT_EQ(s.GetExtra(), 5);
  EXPECT_EQ(s.GetLimit(), 10);
}

}  // namespace
}  // namespace lv
