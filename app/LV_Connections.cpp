#include "app/LV_Connections.h"

#include <set>

#include "core/platform/LV_ReadFile.h"
#include "core/registry/LV_Vendor.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "env/LV_Logger.h"
#include "project/LV_ConfigXML.h"

namespace lv {

namespace {

constexpr std::string_view kRoot = "Connections";
constexpr std::string_view kItem = "Connection";

std::unique_ptr<TLVConfig> NewConnectionsConfig() {
  auto config = std::make_unique<TLVConfig>(kRoot);
  config->SetVendor(LVXMLConfigVendor());
  return config;
}

}  // namespace

TLVConnections::TLVConnections() : config_(NewConnectionsConfig()) {}

void TLVConnections::LoadFromText(std::string_view text, std::string_view fileName) {
  std::unique_ptr<TLVConfig> config = NewConnectionsConfig();
  try {
    config->LoadFromString(text);
    std::set<std::string> names;
    int32_t index = 0;
    for (const TLVConfigNode* item : config->Root().Nodes().FindAll(kItem)) {
      ++index;
      std::string name = item->Params().ReadString("Name", "");
      if (name.empty()) throw ELVError("ErrConnectionNoName", {index});
      item->Params().ReadString("Vendor");
      if (!names.insert(LVUpperCase(name)).second) throw ELVError("ErrConnectionTwice", {name});
    }
  } catch (const ELVError& e) {
    throw ELVError("ErrConnectionsFile", {fileName, std::string_view(e.what())});
  }
  config_ = std::move(config);
}

void TLVConnections::Load(const std::filesystem::path& path) {
  LoadFromText(LVReadWholeFile(path, "ErrConnectionsFile"), path.string());
  fileName_ = path;
}

int32_t TLVConnections::Count() const {
  return static_cast<int32_t>(config_->Root().Nodes().FindAll(kItem).size());
}

std::vector<std::string> TLVConnections::Names() const {
  std::vector<std::string> names;
  for (const TLVConfigNode* item : config_->Root().Nodes().FindAll(kItem)) {
    names.push_back(item->Params().ReadString("Name", ""));
  }
  return names;
}

const TLVConfigNode* TLVConnections::Find(std::string_view name) const {
  for (const TLVConfigNode* item : config_->Root().Nodes().FindAll(kItem)) {
    if (LVSameTextIgnoringCase(item->Params().ReadString("Name", ""), name)) return item;
  }
  return nullptr;
}

TLVConnections& LVConnections() {
  static TLVConnections connections;
  return connections;
}

void RegisterConnectionsTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrConnectionsFile", "ErrConnectionNoName", "ErrConnectionTwice"});
}

}  // namespace lv
