// The scenario tree. Every node (TModelTreeNode) owns its handler, a component made by
// the vendor the node names, and the tree of visualisers attached to it
// (TViewTreeNode). A child reads its parent's table: when a node is placed under a
// parent, its handler is plugged into the parent's data source.
//
// In the project file a node is one "Node" element: the parameters "Vendor" (the
// kind's persisted identifier), "ID" (unique within the project), "Caption" and, when
// set, "NeedsSetup"; the sub-section "Handler" with the handler's settings and their
// "ClassVersion"; "Views" with one "View" per visualiser (nested as their tree is);
// then one "Node" per child, in order.
//
// Nodes are owned by their parent (roots by the project); pointers stay valid until
// the node is closed. Single-threaded.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/sources/LV_Component.h"
#include "project/LV_Config.h"

namespace lv {

class TLVComponentVendor;

class TViewTreeNode {
 public:
  using TPlacer = std::function<TViewTreeNode&(std::unique_ptr<TViewTreeNode>)>;

  TViewTreeNode(const TLVComponentVendor& vendor, std::shared_ptr<TLVComponent> view);

  const TLVComponentVendor& Vendor() const { return *vendor_; }
  TLVComponent& View() const { return *view_; }
  const std::string& GetCaption() const { return caption_; }
  void SetCaption(std::string_view value) { caption_ = value; }
  const std::string& GetDescription() const { return description_; }
  void SetDescription(std::string_view value) { description_ = value; }

  int32_t ChildCount() const { return static_cast<int32_t>(children_.size()); }
  TViewTreeNode& Child(int32_t index) const { return *children_.at(static_cast<size_t>(index)); }
  // Places a sub-view, showing the same table as this view.
  TViewTreeNode& AddChild(std::unique_ptr<TViewTreeNode> child);
  // Plugs the view (and its sub-views) into the table it shows.
  void ShowSource(const std::shared_ptr<ILVDataSource>& source);

  void Save(TLVConfigNode& element) const;
  // The view read from `element`, made by the vendor it names ("ErrViewVendorExpected"
  // unless that is a visualiser's), placed through `place` before its settings load.
  static TViewTreeNode& Load(TLVConfigNode& element, const TPlacer& place);

 private:
  const TLVComponentVendor* vendor_;
  std::shared_ptr<TLVComponent> view_;
  std::string caption_;
  std::string description_;
  std::shared_ptr<ILVDataSource> source_;
  std::vector<std::unique_ptr<TViewTreeNode>> children_;
};

class TModelTreeNode {
 public:
  TModelTreeNode(const TLVComponentVendor& vendor, std::shared_ptr<TLVComponent> handler,
                 std::string id);
  ~TModelTreeNode();
  TModelTreeNode(const TModelTreeNode&) = delete;
  TModelTreeNode& operator=(const TModelTreeNode&) = delete;

  const TLVComponentVendor& Vendor() const { return *vendor_; }
  TLVComponent& Handler() const { return *handler_; }
  const std::shared_ptr<TLVComponent>& SharedHandler() const { return handler_; }
  const std::string& GetID() const { return id_; }
  // The caption shown in the tree; empty shows the kind's caption.
  const std::string& GetCaption() const { return caption_; }
  void SetCaption(std::string_view value) { caption_ = value; }
  std::string DisplayCaption() const;
  // Set when the node refers to nodes that are not in the scenario (after a branch was
  // loaded): it must be set up again before it runs.
  bool GetNeedsSetup() const { return needsSetup_; }
  void SetNeedsSetup(bool value) { needsSetup_ = value; }

  TModelTreeNode* Parent() const { return parent_; }
  int32_t ChildCount() const { return static_cast<int32_t>(children_.size()); }
  TModelTreeNode& Child(int32_t index) const { return *children_.at(static_cast<size_t>(index)); }
  int32_t IndexOf(const TModelTreeNode* child) const;

  int32_t ViewCount() const { return static_cast<int32_t>(views_.size()); }
  TViewTreeNode& View(int32_t index) const { return *views_.at(static_cast<size_t>(index)); }
  TViewTreeNode& AddView(std::unique_ptr<TViewTreeNode> view);

  // Whether children may be placed here: the handler offers a table.
  bool CanHaveChildren() const;
  // Places `child` last among the children and plugs it into this node's table.
  // Raises "Компонент не поддерживает ILVDataSource." when this node offers none.
  TModelTreeNode& AdoptChild(std::unique_ptr<TModelTreeNode> child);
  // Takes child `index` out of the tree (unplugged from this node).
  std::unique_ptr<TModelTreeNode> ReleaseChild(int32_t index);

  // This node and its descendants, depth-first in tree order.
  void ForEach(const std::function<void(TModelTreeNode&)>& visit);
  int32_t CountWithDescendants() const;

  // The "Node" element of this node and its descendants.
  void Save(TLVConfigNode& element) const;

 private:
  const TLVComponentVendor* vendor_;
  std::shared_ptr<TLVComponent> handler_;
  std::string id_;
  std::string caption_;
  bool needsSetup_ = false;
  TModelTreeNode* parent_ = nullptr;
  std::vector<std::unique_ptr<TModelTreeNode>> children_;
  std::vector<std::unique_ptr<TViewTreeNode>> views_;
};

// A new node of the kind `vendorID` with a fresh identifier (not yet in a tree).
std::unique_ptr<TModelTreeNode> NewModelTreeNode(std::string_view vendorID);
// A fresh node identifier ("{8C2F6A3E-...}").
std::string NewNodeID();

// The nodes read from one "Node" element: the node is made, placed under `parent`
// (null for a root, which is then not plugged anywhere) through `place`, and only then
// given its settings, so that a handler reading its parent's columns finds them.
// `place` returns the node in its final home. Identifiers are taken through
// `assignID`, which may replace one already in use. Once a node's settings and views
// are loaded, `unknown` is told every parameter and section of its element that
// nothing read (a misspelt setting), as paths below the element; it may raise.
// A failure to load a node's settings is raised naming the node ("ErrNodeSettings").
using TNodePlacer = std::function<TModelTreeNode&(std::unique_ptr<TModelTreeNode>)>;
using TNodeIDAssigner = std::function<std::string(std::string_view savedID)>;
using TUnknownSettings =
    std::function<void(const TModelTreeNode& node, const std::vector<std::string>& names)>;
TModelTreeNode& LoadModelTreeNode(TLVConfigNode& element, const TNodePlacer& place,
                                  const TNodeIDAssigner& assignID, const TUnknownSettings& unknown);

void RegisterModelTreeTexts();

}  // namespace lv
