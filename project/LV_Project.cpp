#include "project/LV_Project.h"

#include <algorithm>
#include <charconv>
#include <set>

#include "core/registry/LV_Vendor.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"
#include "project/LV_ConfigXML.h"

namespace lv {

namespace {

constexpr std::string_view kVersionSection = "Version";
constexpr std::string_view kPropertiesSection = "Properties";
constexpr std::string_view kVariablesSection = "EnvironmentVariables";
constexpr std::string_view kScriptSection = "Script";
constexpr std::string_view kReportSection = "Report";
constexpr std::string_view kBookmarksSection = "ModelBookmarks";
constexpr std::string_view kVariableItem = "Variable";
constexpr std::string_view kNodeItem = "Node";
constexpr std::string_view kVersionParam = "Version";

std::string Text(std::string_view key, std::initializer_list<TLVFormatArg> args) {
  return Format(LVText(key), args);
}

// A failure whose message is already complete and must reach the caller unwrapped.
class EProjectOpen : public ELVError {
 public:
  using ELVError::ELVError;
};

std::unique_ptr<TLVConfig> NewConfig() {
  auto config = std::make_unique<TLVConfig>();
  config->SetVendor(LVXMLConfigVendor());
  return config;
}

void WriteVersion(TLVConfig& config) {
  TLVConfigNode& version = config.Root().Nodes().Add(kVersionSection);
  version.Params().Add("Application", "Lumivera");
  version.Params().Add(kVersionParam, LumiveraVersion());
  version.Params().Add("FileFormat", "1");
}

// The writer's version, or nothing when the file has no version information.
std::optional<std::string> ReadVersion(const TLVConfig& config) {
  const TLVConfigNode* version = config.Root().Nodes().FindSection(kVersionSection);
  if (!version) return std::nullopt;
  const std::string* text = version->Params().Find(kVersionParam);
  if (!text || text->empty()) return std::nullopt;
  return *text;
}

// Asks about a file without version information and warns about one of a later
// version; raises when the user does not want to go on.
void CheckVersion(const TLVConfig& config, const std::string& fileName, ILVProjectUI& ui) {
  std::optional<std::string> version = ReadVersion(config);
  if (!version) {
    if (!ui.Confirm(Text("SProjectNoVersion", {fileName}))) {
      throw EProjectOpen("ErrProjectOpenDeclined", {fileName});
    }
    return;
  }
  if (CompareVersions(*version, LumiveraVersion()) > 0) {
    ui.Warning(Text("SProjectLaterVersion", {fileName, *version, LumiveraVersion()}));
  }
}

// Whether bytes can be an XML document: markup after an optional byte-order mark and
// blanks (the XML reader itself handles UTF-16).
bool LooksLikeXml(std::string_view bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) return true;
  size_t first = bytes.find_first_not_of(" \t\r\n");
  return first != std::string_view::npos && bytes[first] == '<';
}

// Reads bare XML, telling a document of another kind from a damaged one.
void LoadXml(TLVConfig& config, std::string_view bytes, const std::string& fileName) {
  if (!LooksLikeXml(bytes)) throw EProjectOpen("ErrProjectUnknownFormat", {fileName});
  try {
    config.LoadFromString(bytes);
  } catch (const ELVError& e) {
    if (e.Key() == "ErrConfigXmlRoot") throw EProjectOpen("ErrProjectUnknownFormat", {fileName});
    throw;
  }
}

const TLVPropertyTable<TLVProject>& ProjectSections();

}  // namespace

std::string_view LumiveraVersion() {
  return "1.0.0";
}

int CompareVersions(std::string_view a, std::string_view b) {
  auto next = [](std::string_view& text) {
    uint64_t value = 0;
    size_t dot = text.find('.');
    std::string_view part = text.substr(0, dot);
    std::from_chars(part.data(), part.data() + part.size(), value);
    text = dot == std::string_view::npos ? std::string_view() : text.substr(dot + 1);
    return value;
  };
  while (!a.empty() || !b.empty()) {
    uint64_t x = next(a);
    uint64_t y = next(b);
    if (x != y) return x < y ? -1 : 1;
  }
  return 0;
}

const TLVPropertyTable<TModelBookmark>& TModelBookmark::Properties() {
  static const auto table = [] {
    TLVPropertyTable<TModelBookmark> t;
    t.Add("Name", &TModelBookmark::GetName, &TModelBookmark::SetName, std::string())
        .Add("Caption", &TModelBookmark::StoredDisplayName, &TModelBookmark::SetDisplayName,
             std::string())
        .Add("NodeID", &TModelBookmark::GetNodeID, &TModelBookmark::SetNodeID, std::string());
    return t;
  }();
  return table;
}

namespace {

const TLVPropertyTable<TLVProject>& ProjectSections() {
  static const auto table = [] {
    TLVPropertyTable<TLVProject> t;
    t.AddCollection(
        kBookmarksSection, "Bookmark", [](auto& project) -> auto& { return project.Bookmarks(); },
        TModelBookmark::Properties());
    return t;
  }();
  return table;
}

}  // namespace

// --- TLVProject ---

namespace {
bool strictProjectLoading = false;
}  // namespace

void SetStrictProjectLoading(bool value) {
  strictProjectLoading = value;
}
bool StrictProjectLoading() {
  return strictProjectLoading;
}

TLVProject::TLVProject(TLVEnvVariables& variables)
    : variables_(variables), strictLoading_(strictProjectLoading) {
  EnsureStandardVariables();
}

TLVProject::~TLVProject() {
  roots_.clear();
  variables_.ClearScope(TLVEnvVarType::evtProj);
}

void TLVProject::EnsureStandardVariables() {
  // The locale the project's texts were prepared in (Russian) and whether floating-point
  // exceptions are masked during a run; every project carries both.
  if (!variables_.Variables().FindInScope("LocaleID", TLVEnvVarType::evtProj)) {
    variables_.Add("LocaleID", TLVEnvVarType::evtProj, "1049", TLVDataType::dtInteger);
  }
  if (!variables_.Variables().FindInScope("DisableFloatExceptions", TLVEnvVarType::evtProj)) {
    variables_.Add("DisableFloatExceptions", TLVEnvVarType::evtProj, "True",
                   TLVDataType::dtBoolean);
  }
}

TModelTreeNode& TLVProject::AddNode(TModelTreeNode* parent, std::string_view vendorID) {
  std::unique_ptr<TModelTreeNode> node = NewModelTreeNode(vendorID);
  modified_ = true;
  if (parent) return parent->AdoptChild(std::move(node));
  roots_.push_back(std::move(node));
  return *roots_.back();
}

void TLVProject::ForEachNode(const std::function<void(TModelTreeNode&)>& visit) const {
  for (const auto& root : roots_) root->ForEach(visit);
}

TModelTreeNode* TLVProject::FindNode(std::string_view id) const {
  TModelTreeNode* found = nullptr;
  ForEachNode([&](TModelTreeNode& node) {
    if (!found && node.GetID() == id) found = &node;
  });
  return found;
}

int32_t TLVProject::NodeCount() const {
  int32_t count = 0;
  for (const auto& root : roots_) count += root->CountWithDescendants();
  return count;
}

std::unique_ptr<TModelTreeNode> TLVProject::Detach(TModelTreeNode& node) {
  if (TModelTreeNode* parent = node.Parent()) return parent->ReleaseChild(parent->IndexOf(&node));
  for (auto it = roots_.begin(); it != roots_.end(); ++it) {
    if (it->get() == &node) {
      std::unique_ptr<TModelTreeNode> detached = std::move(*it);
      roots_.erase(it);
      return detached;
    }
  }
  return nullptr;
}

bool TLVProject::CloseNode(TModelTreeNode& node, ILVProjectUI& ui) {
  if (!ui.Confirm(Text("SCloseNode", {node.DisplayCaption()}))) return false;
  Detach(node);
  modified_ = true;
  return true;
}

bool TLVProject::MoveBranch(TModelTreeNode& node, TModelTreeNode* newParent, ILVProjectUI& ui) {
  for (TModelTreeNode* n = newParent; n; n = n->Parent()) {
    if (n == &node) throw ELVError("ErrBranchIntoItself");
  }
  if (newParent && !newParent->CanHaveChildren()) RequireDataSource(newParent->Handler());
  if (!ui.Confirm(Text("SMoveBranch", {node.DisplayCaption()}))) return false;
  std::unique_ptr<TModelTreeNode> branch = Detach(node);
  if (newParent) {
    newParent->AdoptChild(std::move(branch));
  } else {
    roots_.push_back(std::move(branch));
  }
  modified_ = true;
  return true;
}

void TLVProject::ClearNeedsSetup(TModelTreeNode& node) {
  for (const std::string& id : node.Handler().NodeReferences()) {
    if (!FindNode(id)) throw ELVError("ErrNodeCannotRetune");
  }
  node.SetNeedsSetup(false);
}

// --- saving ---

TProjectKeyRing TLVProject::PrepareKeyRing() const {
  if (access_ != TProjectAccess::paProject && keyRing_) throw ELVError("ErrProjectReadOnlyAccess");
  TProjectKeyRing ring = keyRing_ ? *keyRing_ : TProjectKeyRing(kdfLimits_);
  for (TProjectAccess access :
       {TProjectAccess::paProject, TProjectAccess::paViewer, TProjectAccess::paBatch}) {
    const std::string& password = properties_.GetPassword(access);
    if (!password.empty()) {
      ring.SetSlot(access, password);
    } else if (!ring.HasSlot(access)) {
      throw ELVError(access == TProjectAccess::paProject  ? "ErrProjectPasswordMissing"
                     : access == TProjectAccess::paViewer ? "ErrViewerPasswordMissing"
                                                          : "ErrBatchPasswordMissing");
    }
  }
  return ring;
}

void TLVProject::WriteSections(TLVConfig& config, TProjectFile* container) const {
  WriteVersion(config);
  TProjectProperties::Properties().Save(properties_, config.Root().Nodes().Add(kPropertiesSection));
  if (container) container->AddChunk(kChunkVersion, config.SaveToString());

  TLVConfigNode& variables = config.Root().Nodes().Add(kVariablesSection);
  for (int32_t i = 0; i < variables_.Variables().Count(); ++i) {
    const TLVEnvVarCollectionItem& item = variables_.Variables()[i];
    if (item.GetVarType() != TLVEnvVarType::evtProj) continue;
    TLVConfigNode& entry = variables.Nodes().AddItem(kVariableItem);
    entry.Params().Add("VarName", item.GetVarName());
    entry.Params().Add("DataType", ValueName(item.GetDataType()));
    entry.Params().Add("TheValue", item.GetTheValue());
  }

  TLVConfigNode& script = config.Root().Nodes().Add(kScriptSection);
  for (const auto& root : roots_) root->Save(script.Nodes().AddItem(kNodeItem));

  if (reports_.Root().Nodes().Count() > 0) {
    TLVConfigNode& reports = config.Root().Nodes().Add(kReportSection);
    for (int32_t i = 0; i < reports_.Root().Nodes().Count(); ++i) {
      reports.Nodes().AddCopy(reports_.Root().Nodes()[i]);
    }
  }
  ProjectSections().Save(*this, config.Root());
}

void TLVProject::Save(const std::filesystem::path& path) {
  std::filesystem::path target = path.empty() ? fileName_ : path;
  if (target.empty()) throw ELVError("ErrProjectNoFileName");
  std::optional<TProjectKeyRing> ring;
  try {
    std::unique_ptr<TLVConfig> config = NewConfig();
    std::string bytes;
    if (properties_.GetProtected()) {
      ring = PrepareKeyRing();
      TProjectFile container;
      WriteSections(*config, &container);
      container.AddChunk(kChunkData, ring->Seal(config->SaveToString()));
      bytes = container.Bytes();
    } else {
      WriteSections(*config, nullptr);
      bytes = config->SaveToString();
    }
    WriteFileAtomically(target, bytes);
  } catch (const ELVError& e) {
    throw ELVError("ErrProjectSave", {std::string_view(e.what())});
  }
  keyRing_ = std::move(ring);
  if (keyRing_) access_ = TProjectAccess::paProject;
  properties_.ForgetPasswords();
  fileName_ = target;
  modified_ = false;
}

// --- opening ---

std::function<std::string(std::string_view)> TLVProject::IDAssigner(std::vector<std::string>& taken,
                                                                    size_t existing) const {
  return [&taken, existing](std::string_view saved) {
    // Identifiers are what bookmarks and other nodes refer to, so one written twice in
    // a file (a node copied by hand) leaves those references ambiguous: the file is
    // refused rather than guessed at. A node that takes the identifier of one the
    // project already had (the first `existing` of `taken`: the same branch loaded
    // twice) gets a new one.
    std::string id(saved);
    auto end = taken.begin() + static_cast<ptrdiff_t>(existing);
    if (!id.empty() && std::find(end, taken.end(), id) != taken.end()) {
      throw ELVError("ErrDuplicateNodeID", {id});
    }
    if (id.empty() || std::find(taken.begin(), end, id) != end) id = NewNodeID();
    taken.push_back(id);
    return id;
  };
}

void TLVProject::ReportUnknown(ILVProjectUI& ui, std::string_view key,
                               std::initializer_list<TLVFormatArg> args) const {
  if (strictLoading_) throw ELVError(key, args);
  ui.Warning(Text(key, args));
}

TUnknownSettings TLVProject::UnknownSettings(ILVProjectUI& ui) const {
  return [this, &ui](const TModelTreeNode& node, const std::vector<std::string>& names) {
    for (const std::string& name : names) {
      ReportUnknown(ui, "ErrUnknownNodeSetting", {node.DisplayCaption(), name});
    }
  };
}

void TLVProject::ReadSections(TLVConfig& config, const std::string& fileName, ILVProjectUI& ui) {
  CheckVersion(config, fileName, ui);
  TLVConfigNode& root = config.Root();
  if (const TLVConfigNode* properties = root.Nodes().FindSection(kPropertiesSection)) {
    TProjectProperties::Properties().Load(properties_, *properties);
  }
  if (const TLVConfigNode* variables = root.Nodes().FindSection(kVariablesSection)) {
    for (const TLVConfigNode* entry : variables->Nodes().FindAll(kVariableItem)) {
      std::string typeName = entry->Params().ReadString("DataType", "dtString");
      std::optional<TLVDataType> type = EnumFromName<TLVDataType>(typeName);
      if (!type) RaisePropertyValue("DataType", typeName);
      variables_.Put(entry->Params().ReadString("VarName"), TLVEnvVarType::evtProj,
                     entry->Params().ReadString("TheValue", ""), *type);
    }
  }
  EnsureStandardVariables();
  std::vector<std::string> taken;
  auto assignID = IDAssigner(taken, 0);
  if (TLVConfigNode* script = root.Nodes().FindSection(kScriptSection)) {
    for (TLVConfigNode* element : script->Nodes().FindAll(kNodeItem)) {
      LoadModelTreeNode(
          *element,
          [this](std::unique_ptr<TModelTreeNode> node) -> TModelTreeNode& {
            roots_.push_back(std::move(node));
            return *roots_.back();
          },
          assignID, UnknownSettings(ui));
    }
  }
  if (const TLVConfigNode* reports = root.Nodes().FindSection(kReportSection)) {
    reports->MarkUsed(true);
    for (int32_t i = 0; i < reports->Nodes().Count(); ++i) {
      reports_.Root().Nodes().AddCopy(reports->Nodes()[i]);
    }
  }
  ProjectSections().Load(*this, root);
  // What "Version" holds besides the version describes the writer; nothing to apply.
  if (const TLVConfigNode* version = root.Nodes().FindSection(kVersionSection)) {
    version->MarkUsed(true);
  }
  for (const std::string& name : root.UnusedNames(kNodeItem)) {
    ReportUnknown(ui, "ErrUnknownProjectSetting", {name});
  }
}

void TLVProject::Open(const std::filesystem::path& path, ILVProjectUI& ui, TProjectOpenMode mode) {
  Close();
  std::string fileName = path.string();
  try {
    std::string bytes = ReadWholeFile(path);
    std::unique_ptr<TLVConfig> config = NewConfig();
    std::optional<TProjectKeyRing> ring;
    TProjectAccess access = TProjectAccess::paProject;
    if (TProjectFile::HasSignature(bytes)) {
      std::optional<std::string_view> data = TProjectFile::FindChunk(bytes, kChunkData);
      if (!data) throw ELVError("ErrProjectNoData");
      TProjectAccess wanted = mode == TProjectOpenMode::pomEdit     ? TProjectAccess::paProject
                              : mode == TProjectOpenMode::pomViewer ? TProjectAccess::paViewer
                                                                    : TProjectAccess::paBatch;
      std::string prompt = PasswordPrompt(wanted);
      std::optional<std::string> password = ui.AskPassword(prompt);
      if (!password) throw EProjectOpen("ErrProjectProtected", {fileName, prompt});
      std::string xml;
      try {
        ring = TProjectKeyRing::Open(*data, *password, xml, access);
      } catch (const ELVError& e) {
        if (e.Key() != "SWrongPassword") throw;
      }
      // The project's own password opens it for anything; a special one only for its use.
      if (!ring || (access != TProjectAccess::paProject && access != wanted)) {
        throw EProjectOpen("ErrProjectProtected", {fileName, LVText("SWrongPassword")});
      }
      config->LoadFromString(xml);
      properties_.SetProtected(true);
    } else {
      LoadXml(*config, bytes, fileName);
    }
    ReadSections(*config, fileName, ui);
    keyRing_ = std::move(ring);
    access_ = access;
  } catch (const EProjectOpen&) {
    Close();
    throw;
  } catch (const ELVError& e) {
    Close();
    throw ELVError("ErrProjectRead", {fileName, std::string_view(e.what())});
  }
  fileName_ = path;
  modified_ = false;
}

void TLVProject::Close() {
  roots_.clear();
  bookmarks_.Clear();
  reports_.Clear();
  properties_ = TProjectProperties();
  variables_.ClearScope(TLVEnvVarType::evtProj);
  EnsureStandardVariables();
  keyRing_.reset();
  access_ = TProjectAccess::paProject;
  fileName_.clear();
  modified_ = false;
}

// --- branches ---

void TLVProject::SaveBranch(const TModelTreeNode& node, const std::filesystem::path& path) const {
  if (path.empty()) throw ELVError("ErrProjectNoFileName");
  try {
    std::unique_ptr<TLVConfig> config = NewConfig();
    WriteVersion(*config);
    node.Save(config->Root().Nodes().Add(kScriptSection).Nodes().AddItem(kNodeItem));
    WriteFileAtomically(path, config->SaveToString());
  } catch (const ELVError& e) {
    throw ELVError("ErrProjectSave", {std::string_view(e.what())});
  }
}

TModelTreeNode& TLVProject::LoadBranch(TModelTreeNode& target, const std::filesystem::path& path,
                                       ILVProjectUI& ui) {
  std::string fileName = path.string();
  TLVComponentType kind = target.Vendor().ComponentType();
  if ((kind != TLVComponentType::ctImport && kind != TLVComponentType::ctAnalytic) ||
      !target.CanHaveChildren()) {
    throw ELVError("ErrBranchTarget", {fileName, target.DisplayCaption()});
  }
  std::unique_ptr<TLVConfig> config = NewConfig();
  TLVConfigNode* element = nullptr;
  try {
    std::string bytes = ReadWholeFile(path);
    if (LooksLikeXml(bytes)) config->LoadFromString(bytes);
    TLVConfigNode* script = config->Root().Nodes().FindSection(kScriptSection);
    element = script ? script->Nodes().Find(kNodeItem) : nullptr;
  } catch (const ELVError& e) {
    if (e.Key() != "ErrConfigXmlRoot") {
      throw ELVError("ErrProjectRead", {fileName, std::string_view(e.what())});
    }
  }
  if (!element) throw ELVError("ErrBranchNoInfo", {fileName});
  CheckVersion(*config, fileName, ui);

  std::vector<std::string> taken;
  ForEachNode([&taken](TModelTreeNode& node) { taken.push_back(node.GetID()); });
  size_t existing = taken.size();
  TModelTreeNode* placed = nullptr;
  try {
    LoadModelTreeNode(
        *element,
        [&](std::unique_ptr<TModelTreeNode> node) -> TModelTreeNode& {
          placed = &target.AdoptChild(std::move(node));
          return *placed;
        },
        IDAssigner(taken, existing), UnknownSettings(ui));
  } catch (const ELVError& e) {
    if (placed) target.ReleaseChild(target.IndexOf(placed));
    throw ELVError("ErrProjectRead", {fileName, std::string_view(e.what())});
  }
  modified_ = true;

  // Nodes that refer outside the branch have lost what they refer to.
  std::set<std::string> branch(taken.begin() + static_cast<ptrdiff_t>(existing), taken.end());
  bool outside = false;
  placed->ForEach([&](TModelTreeNode& node) {
    for (const std::string& id : node.Handler().NodeReferences()) {
      if (!branch.count(id)) {
        node.SetNeedsSetup(true);
        outside = true;
      }
    }
  });
  if (outside) ui.Warning(LVText("SBranchOutsideReferences"));
  return *placed;
}

// --- peeking ---

TProjectSummary PeekProject(const std::filesystem::path& path) {
  std::string fileName = path.string();
  TProjectSummary summary;
  try {
    std::string bytes = ReadWholeFile(path);
    std::unique_ptr<TLVConfig> config = NewConfig();
    if (TProjectFile::HasSignature(bytes)) {
      std::optional<std::string_view> header = TProjectFile::FindChunk(bytes, kChunkVersion);
      if (header) config->LoadFromString(*header);
      summary.isProtected = true;
    } else {
      LoadXml(*config, bytes, fileName);
    }
    summary.version = ReadVersion(*config).value_or("");
    if (const TLVConfigNode* p = config->Root().Nodes().FindSection(kPropertiesSection)) {
      TProjectProperties::Properties().Load(summary.properties, *p);
    }
  } catch (const EProjectOpen&) {
    throw;
  } catch (const ELVError& e) {
    throw ELVError("ErrProjectRead", {fileName, std::string_view(e.what())});
  }
  return summary;
}

void RegisterProjectTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrProjectNoFileName",
                                            "ErrProjectSave",
                                            "ErrProjectUnknownFormat",
                                            "ErrProjectRead",
                                            "ErrProjectProtected",
                                            "SProjectLaterVersion",
                                            "SProjectNoVersion",
                                            "ErrProjectOpenDeclined",
                                            "ErrBranchNoInfo",
                                            "ErrBranchTarget",
                                            "SBranchOutsideReferences",
                                            "SMoveBranch",
                                            "SCloseNode",
                                            "ErrNodeCannotRetune",
                                            "ErrProjectNoData",
                                            "ErrProjectReadOnlyAccess",
                                            "ErrBranchIntoItself",
                                            "ErrDuplicateNodeID",
                                            "ErrUnknownNodeSetting",
                                            "ErrUnknownProjectSetting"});
}

}  // namespace lv
