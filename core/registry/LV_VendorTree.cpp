#include "core/registry/LV_VendorTree.h"

#include <functional>
#include <map>

namespace lv {

std::string TLVVisualClassVendorTreeNode::Caption() const {
  return vendor_ ? vendor_->Caption() : group_->Caption();
}

TLVVisualClassVendorTree::TLVVisualClassVendorTree(const TLVVisualClassVendorList& vendors,
                                                   const TLVVendorGroup& root)
    : vendors_(vendors) {
  root_.group_ = &root;
  Rebuild();
}

void TLVVisualClassVendorTree::Rebuild() {
  root_.children_.clear();
  const TLVVendorGroup& root = *root_.group_;

  // Vendors by the group they name, already in catalogue order.
  std::map<const TLVVendorGroup*, std::vector<TLVVisualClassVendor*>> byGroup;
  for (TLVVisualClassVendor* vendor : vendors_.VendorsWithin(root)) {
    byGroup[&vendor->Group()].push_back(vendor);
  }

  // A group's node holds its own vendors first, then its non-empty subgroups in
  // catalogue order; a subgroup with nothing to show is left out.
  std::function<void(TLVVisualClassVendorTreeNode&)> fill =
      [&](TLVVisualClassVendorTreeNode& node) {
        auto own = byGroup.find(node.group_);
        if (own != byGroup.end()) {
          for (TLVVisualClassVendor* vendor : own->second) {
            auto child = std::make_unique<TLVVisualClassVendorTreeNode>();
            child->vendor_ = vendor;
            child->parent_ = &node;
            node.children_.push_back(std::move(child));
          }
        }
        for (const TLVVendorGroup* group : AllVendorGroups()) {
          if (group->Parent() != node.group_) continue;
          auto child = std::make_unique<TLVVisualClassVendorTreeNode>();
          child->group_ = group;
          child->parent_ = &node;
          fill(*child);
          if (child->Count() > 0) node.children_.push_back(std::move(child));
        }
      };
  fill(root_);
}

const TLVVisualClassVendorTreeNode* TLVVisualClassVendorTree::FindVendor(
    const TLVVisualClassVendor& vendor) const {
  std::function<const TLVVisualClassVendorTreeNode*(const TLVVisualClassVendorTreeNode&)> find =
      [&](const TLVVisualClassVendorTreeNode& node) -> const TLVVisualClassVendorTreeNode* {
    if (node.Vendor() == &vendor) return &node;
    for (int32_t i = 0; i < node.Count(); ++i) {
      if (const auto* hit = find(node[i])) return hit;
    }
    return nullptr;
  };
  return find(root_);
}

std::string TLVVisualClassVendorTree::ToText() const {
  std::string text;
  std::function<void(const TLVVisualClassVendorTreeNode&, size_t)> put =
      [&](const TLVVisualClassVendorTreeNode& node, size_t depth) {
        text.append(depth * 2, ' ');
        text += node.Caption();
        text += '\n';
        for (int32_t i = 0; i < node.Count(); ++i) put(node[i], depth + 1);
      };
  put(root_, 0);
  return text;
}

}  // namespace lv
