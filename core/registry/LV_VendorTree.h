// Catalogue trees: the vendors of one catalogue arranged under their groups, as the
// wizards that add nodes show them. A tree is a snapshot taken when it is built: it
// holds the visible vendors only, leaves out groups that would stay empty, and keeps
// catalogue order (groups by AllVendorGroups, vendors by registration). Rebuild it
// after switching a vendor's Visible. A tree refers to the list's vendors and must not
// outlive the list.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/registry/LV_Vendor.h"

namespace lv {

class TLVVisualClassVendorTreeNode {
 public:
  // Exactly one of the two is set: a node shows a group or a vendor.
  const TLVVendorGroup* Group() const { return group_; }
  TLVVisualClassVendor* Vendor() const { return vendor_; }
  std::string Caption() const;

  TLVVisualClassVendorTreeNode* Parent() const { return parent_; }
  int32_t Count() const { return static_cast<int32_t>(children_.size()); }
  TLVVisualClassVendorTreeNode& operator[](int32_t index) const {
    return *children_.at(static_cast<size_t>(index));
  }

 private:
  friend class TLVVisualClassVendorTree;
  const TLVVendorGroup* group_ = nullptr;
  TLVVisualClassVendor* vendor_ = nullptr;
  TLVVisualClassVendorTreeNode* parent_ = nullptr;
  std::vector<std::unique_ptr<TLVVisualClassVendorTreeNode>> children_;
};

class TLVVisualClassVendorTree {
 public:
  TLVVisualClassVendorTree(const TLVVisualClassVendorList& vendors, const TLVVendorGroup& root);
  virtual ~TLVVisualClassVendorTree() = default;

  void Rebuild();
  const TLVVisualClassVendorTreeNode& Root() const { return root_; }
  // The node of `vendor`, or null when the tree does not show it.
  const TLVVisualClassVendorTreeNode* FindVendor(const TLVVisualClassVendor& vendor) const;
  // The captions indented by two blanks per level, one per line: for logs and tests.
  std::string ToText() const;

 private:
  const TLVVisualClassVendorList& vendors_;
  TLVVisualClassVendorTreeNode root_;
};

// The catalogue of node kinds under one of the five roots.
class TLVVendorComponentTree : public TLVVisualClassVendorTree {
 public:
  TLVVendorComponentTree(const TLVComponentVendorList& vendors, const TLVVendorGroup& root)
      : TLVVisualClassVendorTree(vendors, root) {}

  // The node kind a vendor node stands for (null for a group node).
  static TLVComponentVendor* ComponentVendor(const TLVVisualClassVendorTreeNode& node) {
    return static_cast<TLVComponentVendor*>(node.Vendor());
  }
};

// The catalogue of connection kinds.
class TLVConnectionVendorTree : public TLVVendorComponentTree {
 public:
  explicit TLVConnectionVendorTree(const TLVConnectionVendorList& vendors)
      : TLVVendorComponentTree(vendors, LVVendorGroup<TLVVendorGroupConnection>()) {}

  static TLVConnectionVendor* ConnectionVendor(const TLVVisualClassVendorTreeNode& node) {
    return static_cast<TLVConnectionVendor*>(node.Vendor());
  }
};

}  // namespace lv
