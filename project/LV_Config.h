// The configuration tree: what every object of a project is saved into and loaded
// from. A TLVConfig holds one root TLVConfigNode; a node has an ordered list of named
// text parameters (TLVConfigParamList) and an ordered list of child nodes
// (TLVConfigNodes). A configuration vendor (TLVConfigVendor, e.g. the XML vendor of
// LV_ConfigXML.h) turns the tree into bytes and back.
//
// Names: a parameter name occurs once per node ("ErrParameterAlreadyExist"), and so
// does the name of a child section ("ErrConfigNodeAlreadyExist"); a list of like items
// is written as child items that all bear the list's name. Names are XML names of
// ASCII letters, digits, "_", "-" and ".", so that every vendor can write them.
//
// Reading leaves a trace: a parameter found by name and a child found by name are
// marked as used, so that after an object has loaded itself from a node the names it
// did not know can be listed (UnusedNames) and reported instead of silently ignored.
//
// Ownership: a node owns its parameters and children; references handed out stay
// valid until the node is deleted or the tree destroyed. A parameter list may be held
// through ParamsRef() (a shared reference); a node whose list is so held cannot be
// deleted. A tree is used by one thread at a time.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/columns/LV_Types.h"
#include "core/columns/LV_Value.h"
#include "core/registry/LV_Settings.h"

namespace lv {

class TLVConfig;
class TLVConfigNode;

// Raises "ErrConfigBadName" unless `name` can name a node or a parameter.
void CheckConfigName(std::string_view name);
bool IsValidConfigName(std::string_view name);

class TLVConfigParamList {
 public:
  explicit TLVConfigParamList(const TLVConfig* config = nullptr) : config_(config) {}

  int32_t Count() const { return static_cast<int32_t>(items_.size()); }
  const std::string& Name(int32_t index) const {
    return items_.at(static_cast<size_t>(index)).name;
  }
  const std::string& Value(int32_t index) const {
    return items_.at(static_cast<size_t>(index)).value;
  }
  // Whether parameter `index` has been found by name since it was added.
  bool Used(int32_t index) const { return items_.at(static_cast<size_t>(index)).used; }
  // The value of `name`, or null; marks the parameter as used.
  const std::string* Find(std::string_view name) const;
  bool Has(std::string_view name) const { return Find(name) != nullptr; }

  // Adds a new parameter; raises "ErrParameterAlreadyExist" when the name is taken.
  void Add(std::string_view name, std::string_view value);
  // Adds the parameter or replaces its value.
  void Set(std::string_view name, std::string_view value);
  bool Remove(std::string_view name);
  // Renames a parameter in place; raises "ErrPropretyNotFound" for a missing one and
  // "ErrParameterAlreadyExist" when the new name is taken. For settings converters.
  void Rename(std::string_view oldName, std::string_view newName);
  void Clear();

  // Typed reading. Without a default, a missing parameter raises "ErrPropertyNotFound".
  std::string ReadString(std::string_view name) const;
  std::string ReadString(std::string_view name, std::string_view defaultValue) const;
  // Decimal integers; "ErrInvalidInteger" for anything else.
  int32_t ReadInteger(std::string_view name) const;
  int32_t ReadInteger(std::string_view name, int32_t defaultValue) const;
  // An integer in 0..255; "ErrIsNotValidByteValue" for one outside.
  uint8_t ReadByte(std::string_view name) const;
  uint8_t ReadByte(std::string_view name, uint8_t defaultValue) const;
  // Exactly one character (one UTF-8 code point is not enough: one byte);
  // "ErrStrNotSingleChar" otherwise.
  char ReadChar(std::string_view name) const;
  char ReadChar(std::string_view name, char defaultValue) const;
  // A value of `type` written in the locale-free forms of the property tables; a
  // missing or empty text is a null value. "ErrUnsupportedPropertyType" for dtNone.
  TLVValue ReadValue(std::string_view name, TLVDataType type) const;

  void WriteString(std::string_view name, std::string_view value) { Set(name, value); }
  void WriteInteger(std::string_view name, int32_t value);
  void WriteByte(std::string_view name, uint8_t value) { WriteInteger(name, value); }
  void WriteChar(std::string_view name, char value);

 private:
  struct TParam {
    std::string name;
    std::string value;
    mutable bool used = false;
  };
  void CheckWritable(std::string_view name) const;
  TParam* FindParam(std::string_view name);
  const TLVConfig* config_;
  std::vector<TParam> items_;
};

class TLVConfigNodes {
 public:
  TLVConfigNodes(TLVConfig* config, TLVConfigNode* owner) : config_(config), owner_(owner) {}
  TLVConfigNodes(const TLVConfigNodes&) = delete;
  TLVConfigNodes& operator=(const TLVConfigNodes&) = delete;

  int32_t Count() const { return static_cast<int32_t>(items_.size()); }
  TLVConfigNode& operator[](int32_t index) const { return *items_.at(static_cast<size_t>(index)); }

  // A new child section; raises "ErrConfigNodeAlreadyExist" when the name is taken.
  TLVConfigNode& Add(std::string_view name);
  // A new item of the list `name`; refused only when a section bears that name.
  TLVConfigNode& AddItem(std::string_view name);
  // The first child called `name`, or null. Finding marks what is found as used.
  TLVConfigNode* Find(std::string_view name) const;
  // The child section called `name`, or null; "ErrConfigNodeAlreadyExist" when the
  // name occurs more than once (a hand-edited file with a section written twice).
  TLVConfigNode* FindSection(std::string_view name) const;
  std::vector<TLVConfigNode*> FindAll(std::string_view name) const;

  // Deletes a child; "ErrDeleteAttrListIntfRefCount" while its parameters are held.
  void Delete(int32_t index);
  void Clear();

  // Appends a deep copy of `source` (of this tree or another). Copying a node into
  // its own subtree is refused with "ErrWrongSubNodesClass".
  TLVConfigNode& AddCopy(const TLVConfigNode& source);

 private:
  friend class TLVConfigNode;
  TLVConfigNode& Append(std::string_view name, bool item);
  TLVConfig* config_;
  TLVConfigNode* owner_;
  std::vector<std::unique_ptr<TLVConfigNode>> items_;
};

class TLVConfigNode : public ILVSettingsSection {
 public:
  TLVConfigNode(TLVConfig* config, TLVConfigNode* parent, std::string name, bool item);
  ~TLVConfigNode() override;
  TLVConfigNode(const TLVConfigNode&) = delete;
  TLVConfigNode& operator=(const TLVConfigNode&) = delete;

  const std::string& Name() const { return name_; }
  // Whether the node was made as an item of a list (AddItem). A file does not tell,
  // so every node read from one is an item; FindSection still finds a single one.
  bool IsItem() const { return item_; }
  TLVConfigNode* Parent() const { return parent_; }
  TLVConfig* Config() const { return config_; }
  // Number of ancestors (the root is 0).
  int32_t Depth() const;

  // Whether the node has been found by name (or marked) since it was made.
  bool Used() const { return used_; }
  // Marks the node, and with `deep` its parameters and descendants, as used: for
  // content kept as it was read rather than loaded by name.
  void MarkUsed(bool deep) const;
  // The parameters and children of this node that were never used, as paths below it
  // ("Delimeter", "Columns/Item"); a child that was used is looked into, one that was
  // not is named once. Children called `skip` are left out (they report themselves).
  std::vector<std::string> UnusedNames(std::string_view skip = {}) const;

  TLVConfigParamList& Params() { return *params_; }
  const TLVConfigParamList& Params() const { return *params_; }
  std::shared_ptr<TLVConfigParamList> ParamsRef() const { return params_; }
  TLVConfigNodes& Nodes() { return nodes_; }
  const TLVConfigNodes& Nodes() const { return nodes_; }

  // ILVSettingsSection
  void Put(std::string_view name, std::string_view text) override { params_->Add(name, text); }
  std::optional<std::string> Get(std::string_view name) const override;
  ILVSettingsSection& AddSection(std::string_view name) override { return nodes_.Add(name); }
  const ILVSettingsSection* FindSection(std::string_view name) const override {
    return nodes_.FindSection(name);
  }
  ILVSettingsSection& AddItem(std::string_view name) override { return nodes_.AddItem(name); }
  std::vector<const ILVSettingsSection*> Items(std::string_view name) const override;

 private:
  friend class TLVConfigNodes;
  TLVConfig* config_;
  TLVConfigNode* parent_;
  std::string name_;
  bool item_;
  mutable bool used_ = false;
  std::shared_ptr<TLVConfigParamList> params_;
  TLVConfigNodes nodes_;
};

class TLVConfigVendor;

// A whole tree with the vendor that writes and reads it.
class TLVConfig {
 public:
  explicit TLVConfig(std::string_view rootName = "Lumivera");
  TLVConfig(const TLVConfig&) = delete;
  TLVConfig& operator=(const TLVConfig&) = delete;

  TLVConfigNode& Root() { return *root_; }
  const TLVConfigNode& Root() const { return *root_; }
  // Empties the tree; the root keeps its name.
  void Clear();

  const std::shared_ptr<const TLVConfigVendor>& Vendor() const { return vendor_; }
  void SetVendor(std::shared_ptr<const TLVConfigVendor> vendor) { vendor_ = std::move(vendor); }

  // A read-only tree refuses every change with "ErrPropretyCanNotBeWriten".
  bool ReadOnly() const { return readOnly_; }
  void SetReadOnly(bool value) { readOnly_ = value; }

  // Through the vendor; "ErrConfigSaveVendorNotAssigned" without one.
  std::string SaveToString() const;
  void LoadFromString(std::string_view bytes);

 private:
  const TLVConfigVendor& RequireVendor() const;
  std::unique_ptr<TLVConfigNode> root_;
  std::shared_ptr<const TLVConfigVendor> vendor_;
  bool readOnly_ = false;
};

// Turns a tree into bytes and back. Vendors are registered by name at start-up.
class TLVConfigVendor {
 public:
  virtual ~TLVConfigVendor() = default;
  virtual std::string_view GetName() const = 0;
  virtual std::string Write(const TLVConfig& config) const = 0;
  // Replaces the content of `config` with the tree in `bytes`; raises ELVError on
  // malformed input and leaves `config` empty then.
  virtual void Read(std::string_view bytes, TLVConfig& config) const = 0;
};

// The registry of configuration vendors: "ErrDuplicateRegistration" for a name
// registered twice, "ErrConfigVendorNotFound" for an unknown one. Filled at start-up,
// read-only afterwards.
class TLVConfigVendorList {
 public:
  void Add(std::shared_ptr<const TLVConfigVendor> vendor);
  std::shared_ptr<const TLVConfigVendor> Find(std::string_view name) const;
  std::shared_ptr<const TLVConfigVendor> Get(std::string_view name) const;
  int32_t Count() const { return static_cast<int32_t>(items_.size()); }

 private:
  std::vector<std::shared_ptr<const TLVConfigVendor>> items_;
};

TLVConfigVendorList& LVConfigVendors();

// Writes `bytes` to `path` through a temporary file in the same folder that is renamed
// into place, so a failure leaves what was there untouched (LV_SafeFile.h).
void WriteFileAtomically(const std::filesystem::path& path, std::string_view bytes);
// The whole file; raises "ErrFileRead" naming the file, with the reason (LV_ReadFile.h).
std::string ReadWholeFile(const std::filesystem::path& path);

void RegisterConfigTexts();

}  // namespace lv
