#include "project/LV_Config.h"

#include "core/platform/LV_ReadFile.h"
#include "core/platform/LV_SafeFile.h"
#include "core/registry/LV_Properties.h"
#include "core/registry/LV_Vendor.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

bool IsValidConfigName(std::string_view name) {
  if (name.empty()) return false;
  auto letter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; };
  if (!letter(name[0])) return false;
  for (char c : name) {
    if (!letter(c) && !(c >= '0' && c <= '9') && c != '-' && c != '.') return false;
  }
  return true;
}

void CheckConfigName(std::string_view name) {
  if (!IsValidConfigName(name)) throw ELVError("ErrConfigBadName", {name});
}

// --- TLVConfigParamList ---

const std::string* TLVConfigParamList::Find(std::string_view name) const {
  for (const TParam& param : items_) {
    if (param.name == name) {
      param.used = true;
      return &param.value;
    }
  }
  return nullptr;
}

TLVConfigParamList::TParam* TLVConfigParamList::FindParam(std::string_view name) {
  for (TParam& param : items_) {
    if (param.name == name) return &param;
  }
  return nullptr;
}

void TLVConfigParamList::CheckWritable(std::string_view name) const {
  if (config_ && config_->ReadOnly()) throw ELVError("ErrPropretyCanNotBeWriten", {name});
}

void TLVConfigParamList::Add(std::string_view name, std::string_view value) {
  CheckWritable(name);
  CheckConfigName(name);
  if (FindParam(name)) throw ELVError("ErrParameterAlreadyExist", {name});
  items_.push_back({std::string(name), std::string(value)});
}

void TLVConfigParamList::Set(std::string_view name, std::string_view value) {
  CheckWritable(name);
  if (TParam* param = FindParam(name)) {
    param->value = value;
    return;
  }
  CheckConfigName(name);
  items_.push_back({std::string(name), std::string(value)});
}

bool TLVConfigParamList::Remove(std::string_view name) {
  CheckWritable(name);
  for (auto it = items_.begin(); it != items_.end(); ++it) {
    if (it->name == name) {
      items_.erase(it);
      return true;
    }
  }
  return false;
}

void TLVConfigParamList::Rename(std::string_view oldName, std::string_view newName) {
  CheckWritable(oldName);
  CheckConfigName(newName);
  if (oldName == newName) {
    if (!FindParam(oldName)) throw ELVError("ErrPropretyNotFound", {oldName});
    return;
  }
  if (FindParam(newName)) throw ELVError("ErrParameterAlreadyExist", {newName});
  TParam* param = FindParam(oldName);
  if (!param) throw ELVError("ErrPropretyNotFound", {oldName});
  param->name = newName;
}

void TLVConfigParamList::Clear() {
  CheckWritable({});
  items_.clear();
}

std::string TLVConfigParamList::ReadString(std::string_view name) const {
  const std::string* value = Find(name);
  if (!value) throw ELVError("ErrPropertyNotFound", {name});
  return *value;
}

std::string TLVConfigParamList::ReadString(std::string_view name,
                                           std::string_view defaultValue) const {
  const std::string* value = Find(name);
  return value ? *value : std::string(defaultValue);
}

namespace {

int32_t ParseInteger(std::string_view text) {
  std::optional<int32_t> value = TLVPropertyCodec<int32_t>::FromText(text);
  if (!value) throw ELVError("ErrInvalidInteger", {text});
  return *value;
}

uint8_t ParseByte(std::string_view text) {
  int32_t value = ParseInteger(text);
  if (value < 0 || value > 255) throw ELVError("ErrIsNotValidByteValue", {value});
  return static_cast<uint8_t>(value);
}

char ParseChar(std::string_view text) {
  if (text.size() != 1) throw ELVError("ErrStrNotSingleChar", {text});
  return text[0];
}

}  // namespace

int32_t TLVConfigParamList::ReadInteger(std::string_view name) const {
  return ParseInteger(ReadString(name));
}
int32_t TLVConfigParamList::ReadInteger(std::string_view name, int32_t defaultValue) const {
  const std::string* value = Find(name);
  return value ? ParseInteger(*value) : defaultValue;
}
uint8_t TLVConfigParamList::ReadByte(std::string_view name) const {
  return ParseByte(ReadString(name));
}
uint8_t TLVConfigParamList::ReadByte(std::string_view name, uint8_t defaultValue) const {
  const std::string* value = Find(name);
  return value ? ParseByte(*value) : defaultValue;
}
char TLVConfigParamList::ReadChar(std::string_view name) const {
  return ParseChar(ReadString(name));
}
char TLVConfigParamList::ReadChar(std::string_view name, char defaultValue) const {
  const std::string* value = Find(name);
  return value ? ParseChar(*value) : defaultValue;
}

TLVValue TLVConfigParamList::ReadValue(std::string_view name, TLVDataType type) const {
  const std::string* text = Find(name);
  if (type == TLVDataType::dtNone) throw ELVError("ErrUnsupportedPropertyType", {name});
  if (!text || text->empty()) return TLVValue::Null(type);
  auto bad = [&]() -> TLVValue { RaisePropertyValue(name, *text); };
  switch (type) {
    case TLVDataType::dtString:
      return TLVValue::String(TLVText::Make(*text));
    case TLVDataType::dtInteger:
      return TLVValue::Integer(ParseInteger(*text));
    case TLVDataType::dtBoolean: {
      auto b = TLVPropertyCodec<bool>::FromText(*text);
      return b ? TLVValue::Boolean(*b) : bad();
    }
    case TLVDataType::dtFloat:
    case TLVDataType::dtDateTime: {
      auto x = TLVPropertyCodec<double>::FromText(*text);
      if (!x) return bad();
      return type == TLVDataType::dtFloat ? TLVValue::Float(*x) : TLVValue::DateTime(*x);
    }
    case TLVDataType::dtNone:
      break;
  }
  throw ELVError("ErrUnsupportedPropertyType", {name});
}

void TLVConfigParamList::WriteInteger(std::string_view name, int32_t value) {
  Set(name, std::to_string(value));
}

void TLVConfigParamList::WriteChar(std::string_view name, char value) {
  Set(name, std::string_view(&value, 1));
}

// --- TLVConfigNodes ---

TLVConfigNode& TLVConfigNodes::Append(std::string_view name, bool item) {
  if (config_ && config_->ReadOnly()) throw ELVError("ErrPropretyCanNotBeWriten", {name});
  CheckConfigName(name);
  for (const auto& child : items_) {
    if (child->Name() == name && !(item && child->IsItem())) {
      throw ELVError("ErrConfigNodeAlreadyExist", {name});
    }
  }
  items_.push_back(std::make_unique<TLVConfigNode>(config_, owner_, std::string(name), item));
  return *items_.back();
}

TLVConfigNode& TLVConfigNodes::Add(std::string_view name) {
  return Append(name, false);
}
TLVConfigNode& TLVConfigNodes::AddItem(std::string_view name) {
  return Append(name, true);
}

TLVConfigNode* TLVConfigNodes::Find(std::string_view name) const {
  for (const auto& child : items_) {
    if (child->Name() == name) {
      child->used_ = true;
      return child.get();
    }
  }
  return nullptr;
}

TLVConfigNode* TLVConfigNodes::FindSection(std::string_view name) const {
  TLVConfigNode* found = nullptr;
  for (const auto& child : items_) {
    if (child->Name() != name) continue;
    if (found) throw ELVError("ErrConfigNodeAlreadyExist", {name});
    found = child.get();
  }
  if (found) found->used_ = true;
  return found;
}

std::vector<TLVConfigNode*> TLVConfigNodes::FindAll(std::string_view name) const {
  std::vector<TLVConfigNode*> result;
  for (const auto& child : items_) {
    if (child->Name() == name) {
      child->used_ = true;
      result.push_back(child.get());
    }
  }
  return result;
}

void TLVConfigNodes::Delete(int32_t index) {
  TLVConfigNode& node = (*this)[index];
  if (config_ && config_->ReadOnly()) throw ELVError("ErrPropretyCanNotBeWriten", {node.Name()});
  long holders = node.params_.use_count() - 1;
  if (holders > 0) throw ELVError("ErrDeleteAttrListIntfRefCount", {holders});
  items_.erase(items_.begin() + index);
}

void TLVConfigNodes::Clear() {
  while (!items_.empty()) Delete(Count() - 1);
}

TLVConfigNode& TLVConfigNodes::AddCopy(const TLVConfigNode& source) {
  for (const TLVConfigNode* n = owner_; n; n = n->Parent()) {
    if (n == &source) throw ELVError("ErrWrongSubNodesClass");
  }
  TLVConfigNode& copy = Append(source.Name(), true);
  copy.item_ = source.IsItem();
  for (int32_t i = 0; i < source.Params().Count(); ++i) {
    copy.Params().Add(source.Params().Name(i), source.Params().Value(i));
  }
  for (int32_t i = 0; i < source.Nodes().Count(); ++i) copy.Nodes().AddCopy(source.Nodes()[i]);
  return copy;
}

// --- TLVConfigNode ---

TLVConfigNode::TLVConfigNode(TLVConfig* config, TLVConfigNode* parent, std::string name, bool item)
    : config_(config),
      parent_(parent),
      name_(std::move(name)),
      item_(item),
      params_(std::make_shared<TLVConfigParamList>(config)),
      nodes_(config, this) {}

// Children are released one level at a time, so a deep tree does not recurse through
// the destructors of every level at once.
TLVConfigNode::~TLVConfigNode() {
  std::vector<std::unique_ptr<TLVConfigNode>> pending = std::move(nodes_.items_);
  while (!pending.empty()) {
    std::unique_ptr<TLVConfigNode> node = std::move(pending.back());
    pending.pop_back();
    for (auto& child : node->nodes_.items_) pending.push_back(std::move(child));
    node->nodes_.items_.clear();
  }
}

int32_t TLVConfigNode::Depth() const {
  int32_t depth = 0;
  for (const TLVConfigNode* n = parent_; n; n = n->parent_) ++depth;
  return depth;
}

void TLVConfigNode::MarkUsed(bool deep) const {
  used_ = true;
  if (!deep) return;
  for (int32_t i = 0; i < params_->Count(); ++i) params_->Find(params_->Name(i));
  for (const auto& child : nodes_.items_) child->MarkUsed(true);
}

std::vector<std::string> TLVConfigNode::UnusedNames(std::string_view skip) const {
  std::vector<std::string> names;
  for (int32_t i = 0; i < params_->Count(); ++i) {
    if (!params_->Used(i)) names.push_back(params_->Name(i));
  }
  for (const auto& child : nodes_.items_) {
    if (child->Name() == skip) continue;
    if (!child->used_) {
      names.push_back(child->Name());
      continue;
    }
    for (std::string& inner : child->UnusedNames(skip)) {
      names.push_back(child->Name() + "/" + inner);
    }
  }
  return names;
}

std::optional<std::string> TLVConfigNode::Get(std::string_view name) const {
  const std::string* value = params_->Find(name);
  return value ? std::optional<std::string>(*value) : std::nullopt;
}

std::vector<const ILVSettingsSection*> TLVConfigNode::Items(std::string_view name) const {
  std::vector<const ILVSettingsSection*> result;
  for (TLVConfigNode* node : nodes_.FindAll(name)) result.push_back(node);
  return result;
}

// --- TLVConfig ---

TLVConfig::TLVConfig(std::string_view rootName)
    : root_(std::make_unique<TLVConfigNode>(this, nullptr, std::string(rootName), false)) {
  CheckConfigName(rootName);
}

void TLVConfig::Clear() {
  bool readOnly = readOnly_;
  readOnly_ = false;
  root_->Params().Clear();
  root_->Nodes().Clear();
  readOnly_ = readOnly;
}

const TLVConfigVendor& TLVConfig::RequireVendor() const {
  if (!vendor_) throw ELVError("ErrConfigSaveVendorNotAssigned");
  return *vendor_;
}

std::string TLVConfig::SaveToString() const {
  return RequireVendor().Write(*this);
}

void TLVConfig::LoadFromString(std::string_view bytes) {
  RequireVendor().Read(bytes, *this);
}

// --- vendors ---

void TLVConfigVendorList::Add(std::shared_ptr<const TLVConfigVendor> vendor) {
  if (!vendor) throw ELVError("ErrConfigSaveVendorNotAssigned");
  if (Find(vendor->GetName())) throw ELVError("ErrDuplicateRegistration", {vendor->GetName()});
  items_.push_back(std::move(vendor));
}

std::shared_ptr<const TLVConfigVendor> TLVConfigVendorList::Find(std::string_view name) const {
  for (const auto& item : items_) {
    if (SameVendorName(item->GetName(), name)) return item;
  }
  return nullptr;
}

std::shared_ptr<const TLVConfigVendor> TLVConfigVendorList::Get(std::string_view name) const {
  auto item = Find(name);
  if (!item) throw ELVError("ErrConfigVendorNotFound", {name});
  return item;
}

TLVConfigVendorList& LVConfigVendors() {
  static TLVConfigVendorList list;
  return list;
}

// --- files ---

void WriteFileAtomically(const std::filesystem::path& path, std::string_view bytes) {
  TLVSafeFile file(path);
  file.Write(bytes);
  file.Commit();
}

std::string ReadWholeFile(const std::filesystem::path& path) {
  return LVReadWholeFile(path);
}

void RegisterConfigTexts() {
  // The first eighteen in the order of the configuration tree's message set.
  TLVLocalization::Instance().RegisterKeys(
      {"ErrVersionConflict", "ErrWrongSubNodesClass", "ErrConfigSaveVendorNotAssigned",
       "ErrConfigNodeAlreadyExist", "ErrConfigVendorNotFound", "ErrDuplicateRegistration",
       "ErrIsNotValidByteValue", "ErrConverterNotFound", "ErrParameterAlreadyExist",
       "ErrPropretyCanNotBeWriten", "ErrPropretyNotFound", "ErrRefToClassNotInitOrWrongClass",
       "ErrStrNotSingleChar", "ErrUnsupportedPropertyType", "ErrPropertyNotFound",
       "ErrConfigObjectVendorNotFound", "ErrInvalidInteger", "ErrDeleteAttrListIntfRefCount",
       "ErrConfigBadName"});
}

}  // namespace lv
