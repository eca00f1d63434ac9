// A project: the scenario tree with every node's settings, the project's properties
// and environment variables, the prepared reports and the bookmarks on nodes. It is
// saved to one project file and opened from it (bare XML, or the protected container
// of LV_ProjectFile.h), and branches of its scenario can be saved and loaded on their
// own.
//
// The root sections of the file, in order: "Version", "Properties",
// "EnvironmentVariables", "Script" (one "Node" per root, nested as the tree is),
// "Report" (only when the project has reports), "ModelBookmarks".
//
// Saving writes a temporary file and renames it into place, so a failure leaves the
// file that was there untouched. Opening builds the project anew; a failure closes it
// (nothing half-opened remains). Questions, warnings and passwords go through an
// ILVProjectUI that the caller supplies: the desktop shell shows dialogs, an unattended
// run answers by its own rules (docs/command-line.md).
//
// A setting that nothing reads on opening (a misspelt attribute, a list item under the
// wrong name) is reported as a warning naming the node and the setting; a project set
// to load strictly refuses the file instead.
//
// The project's environment variables live in the project scope (evtProj) of the
// TLVEnvVariables it is given: opening replaces that scope, closing empties it.
// Single-threaded.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/registry/LV_Collection.h"
#include "core/registry/LV_Properties.h"
#include "core/text/LV_Format.h"
#include "env/LV_EnvVariables.h"
#include "project/LV_Config.h"
#include "project/LV_ModelTree.h"
#include "project/LV_ProjectFile.h"
#include "project/LV_ProjectProperties.h"

namespace lv {

// The version of this program, written into "Version" and compared on opening.
std::string_view LumiveraVersion();
// Compares dotted versions numerically ("1.10" > "1.9"); missing parts count as 0.
int CompareVersions(std::string_view a, std::string_view b);

// What opening and branch loading ask of whoever drives them.
class ILVProjectUI {
 public:
  virtual ~ILVProjectUI() = default;
  virtual void Warning(const std::string& message) = 0;
  virtual bool Confirm(const std::string& question) = 0;
  // The password asked for with `prompt`, or nothing when none is given.
  virtual std::optional<std::string> AskPassword(const std::string& prompt) = 0;
};

// What a protected project is opened for: the password must be the project's, or the
// special one of the viewer or the batch run respectively.
enum class TProjectOpenMode : uint8_t { pomEdit, pomViewer, pomBatch };

class TModelBookmark : public TLVCollectionItem {
 public:
  const std::string& GetNodeID() const { return nodeID_; }
  void SetNodeID(const std::string& value) { nodeID_ = value; }
  static const TLVPropertyTable<TModelBookmark>& Properties();

 private:
  std::string nodeID_;
};
using TModelBookmarks = TLVCollectionOf<TModelBookmark>;

class TLVProject {
 public:
  explicit TLVProject(TLVEnvVariables& variables = LVEnvVariables());
  ~TLVProject();
  TLVProject(const TLVProject&) = delete;
  TLVProject& operator=(const TLVProject&) = delete;

  TProjectProperties& Properties() { return properties_; }
  const TProjectProperties& Properties() const { return properties_; }
  TLVEnvVariables& Variables() { return variables_; }
  const std::filesystem::path& FileName() const { return fileName_; }
  bool Modified() const { return modified_; }
  void SetModified(bool value) { modified_ = value; }
  // The password a protected project was opened with (paProject for a bare file).
  TProjectAccess Access() const { return access_; }

  // --- scenario ---
  int32_t RootCount() const { return static_cast<int32_t>(roots_.size()); }
  TModelTreeNode& Root(int32_t index) const { return *roots_.at(static_cast<size_t>(index)); }
  // A new node of kind `vendorID` under `parent` (a root when null).
  TModelTreeNode& AddNode(TModelTreeNode* parent, std::string_view vendorID);
  TModelTreeNode* FindNode(std::string_view id) const;
  // Every node, depth-first in tree order.
  void ForEachNode(const std::function<void(TModelTreeNode&)>& visit) const;
  int32_t NodeCount() const;
  // Closes `node` with its descendants after asking "Закрыть узел ...?"; false when
  // the answer was no.
  bool CloseNode(TModelTreeNode& node, ILVProjectUI& ui);
  // Moves the branch starting at `node` under `newParent` (a root when null) after
  // asking "Переместить ветвь ...?".
  bool MoveBranch(TModelTreeNode& node, TModelTreeNode* newParent, ILVProjectUI& ui);
  // Marks a node as set up again; raises "Для этого узла невозможно выполнить
  // перенастройку." while it still refers to nodes the scenario does not have.
  void ClearNeedsSetup(TModelTreeNode& node);

  TModelBookmarks& Bookmarks() { return bookmarks_; }
  const TModelBookmarks& Bookmarks() const { return bookmarks_; }
  // The prepared reports, kept as they were read: one child per report.
  TLVConfigNode& Reports() { return reports_.Root(); }

  // --- files ---
  // Saves to `path` (the current file name when empty). Raises "ErrProjectSave" with
  // the cause; "Не указано имя файла" when there is no name at all.
  void Save(const std::filesystem::path& path = {});
  void Open(const std::filesystem::path& path, ILVProjectUI& ui,
            TProjectOpenMode mode = TProjectOpenMode::pomEdit);
  // Empties the project.
  void Close();

  // Writes the branch starting at `node` to a file of its own.
  void SaveBranch(const TModelTreeNode& node, const std::filesystem::path& path) const;
  // Loads a branch file under `target` (an import or a handler node) and returns the
  // branch's first node.
  TModelTreeNode& LoadBranch(TModelTreeNode& target, const std::filesystem::path& path,
                             ILVProjectUI& ui);

  // Whether settings that nothing reads make opening and branch loading fail instead of
  // warn. A new project takes the process's choice (SetStrictProjectLoading).
  bool GetStrictLoading() const { return strictLoading_; }
  void SetStrictLoading(bool value) { strictLoading_ = value; }

  // Lets tests and benchmarks make protection cheaper; the default is the product's.
  void SetKdfLimits(TProjectKdfLimits limits) { kdfLimits_ = limits; }

 private:
  void WriteSections(TLVConfig& config, TProjectFile* container) const;
  void ReadSections(TLVConfig& config, const std::string& fileName, ILVProjectUI& ui);
  TProjectKeyRing PrepareKeyRing() const;
  void EnsureStandardVariables();
  std::function<std::string(std::string_view)> IDAssigner(std::vector<std::string>& taken,
                                                          size_t existing) const;
  // A warning through `ui`, or the error itself when loading strictly.
  void ReportUnknown(ILVProjectUI& ui, std::string_view key,
                     std::initializer_list<TLVFormatArg> args) const;
  TUnknownSettings UnknownSettings(ILVProjectUI& ui) const;
  std::unique_ptr<TModelTreeNode> Detach(TModelTreeNode& node);

  TLVEnvVariables& variables_;
  TProjectProperties properties_;
  std::vector<std::unique_ptr<TModelTreeNode>> roots_;
  TModelBookmarks bookmarks_;
  TLVConfig reports_{"Report"};
  std::filesystem::path fileName_;
  bool modified_ = false;
  TProjectAccess access_ = TProjectAccess::paProject;
  std::optional<TProjectKeyRing> keyRing_;
  TProjectKdfLimits kdfLimits_;
  bool strictLoading_;
};

// The strictness new projects load with (false, warnings only, until set): the
// application parameters choose it for a whole run.
void SetStrictProjectLoading(bool value);
bool StrictProjectLoading();

// What can be told of a project file without its password: its "Version" and
// "Properties" (from the chunk "LVER" of a protected file).
struct TProjectSummary {
  std::string version;  // empty when the file has none
  TProjectProperties properties;
  bool isProtected = false;
};
TProjectSummary PeekProject(const std::filesystem::path& path);

void RegisterProjectTexts();

}  // namespace lv
