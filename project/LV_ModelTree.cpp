#include "project/LV_ModelTree.h"

#include <cstdio>
#include <random>

#include "core/registry/LV_Properties.h"
#include "core/registry/LV_Vendor.h"
#include "core/sources/LV_DataIntf.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "project/LV_ConfigConvert.h"

namespace lv {

namespace {

constexpr std::string_view kVendorParam = "Vendor";
constexpr std::string_view kCaptionParam = "Caption";
constexpr std::string_view kHandlerSection = "Handler";
constexpr std::string_view kViewsSection = "Views";
constexpr std::string_view kViewItem = "View";
constexpr std::string_view kNodeItem = "Node";

bool ReadFlag(const TLVConfigNode& element, std::string_view name) {
  const std::string* text = element.Params().Find(name);
  if (!text) return false;
  std::optional<bool> value = TLVPropertyCodec<bool>::FromText(*text);
  if (!value) RaisePropertyValue(name, *text);
  return *value;
}

// The handler's section; a node written by hand without one gets the defaults.
void LoadHandler(TLVComponent& handler, TLVConfigNode& element) {
  if (TLVConfigNode* section = element.Nodes().FindSection(kHandlerSection)) {
    LoadComponentSettings(handler, *section);
    return;
  }
  TLVConfig empty;
  LoadComponentSettings(handler, empty.Root());
}

}  // namespace

// --- views ---

TViewTreeNode::TViewTreeNode(const TLVComponentVendor& vendor, std::shared_ptr<TLVComponent> view)
    : vendor_(&vendor), view_(std::move(view)) {}

TViewTreeNode& TViewTreeNode::AddChild(std::unique_ptr<TViewTreeNode> child) {
  children_.push_back(std::move(child));
  children_.back()->ShowSource(source_);
  return *children_.back();
}

void TViewTreeNode::ShowSource(const std::shared_ptr<ILVDataSource>& source) {
  source_ = source;
  if (source_) view_->SetParentSource(source_);
  for (auto& child : children_) child->ShowSource(source_);
}

void TViewTreeNode::Save(TLVConfigNode& element) const {
  element.Params().Add(kVendorParam, vendor_->Identifier());
  if (!caption_.empty()) element.Params().Add(kCaptionParam, caption_);
  if (!description_.empty()) element.Params().Add("Description", description_);
  SaveComponentSettings(*view_, element.Nodes().Add(kHandlerSection));
  for (const auto& child : children_) child->Save(element.Nodes().AddItem(kViewItem));
}

TViewTreeNode& TViewTreeNode::Load(TLVConfigNode& element, const TPlacer& place) {
  std::string id = element.Params().ReadString(kVendorParam);
  TLVComponentVendor& vendor = LVComponentVendors().VendorByID(id);
  if (!dynamic_cast<TLVViewVendor*>(&vendor)) throw ELVError("ErrViewVendorExpected", {id});
  TViewTreeNode& view = place(std::make_unique<TViewTreeNode>(vendor, vendor.CreateComponent()));
  view.caption_ = element.Params().ReadString(kCaptionParam, "");
  view.description_ = element.Params().ReadString("Description", "");
  LoadHandler(*view.view_, element);
  for (TLVConfigNode* child : element.Nodes().FindAll(kViewItem)) {
    Load(*child, [&view](std::unique_ptr<TViewTreeNode> c) -> TViewTreeNode& {
      return view.AddChild(std::move(c));
    });
  }
  return view;
}

// --- scenario nodes ---

TModelTreeNode::TModelTreeNode(const TLVComponentVendor& vendor,
                               std::shared_ptr<TLVComponent> handler, std::string id)
    : vendor_(&vendor), handler_(std::move(handler)), id_(std::move(id)) {}

TModelTreeNode::~TModelTreeNode() {
  // Children go first: each holds its parent's table, and views hold this node's.
  views_.clear();
  while (!children_.empty()) children_.pop_back();
}

std::string TModelTreeNode::DisplayCaption() const {
  return caption_.empty() ? vendor_->Caption() : caption_;
}

int32_t TModelTreeNode::IndexOf(const TModelTreeNode* child) const {
  for (size_t i = 0; i < children_.size(); ++i) {
    if (children_[i].get() == child) return static_cast<int32_t>(i);
  }
  return -1;
}

TViewTreeNode& TModelTreeNode::AddView(std::unique_ptr<TViewTreeNode> view) {
  views_.push_back(std::move(view));
  views_.back()->ShowSource(handler_->GetDataSourceIntf());
  return *views_.back();
}

bool TModelTreeNode::CanHaveChildren() const {
  return handler_->GetDataSourceIntf() != nullptr;
}

TModelTreeNode& TModelTreeNode::AdoptChild(std::unique_ptr<TModelTreeNode> child) {
  std::shared_ptr<ILVDataSource> source = RequireDataSource(*handler_);
  child->handler_->SetParentSource(std::move(source));
  child->parent_ = this;
  children_.push_back(std::move(child));
  return *children_.back();
}

std::unique_ptr<TModelTreeNode> TModelTreeNode::ReleaseChild(int32_t index) {
  auto it = children_.begin() + index;
  std::unique_ptr<TModelTreeNode> child = std::move(*it);
  children_.erase(it);
  child->parent_ = nullptr;
  child->handler_->SetParentSource(nullptr);
  return child;
}

void TModelTreeNode::ForEach(const std::function<void(TModelTreeNode&)>& visit) {
  visit(*this);
  for (auto& child : children_) child->ForEach(visit);
}

int32_t TModelTreeNode::CountWithDescendants() const {
  int32_t count = 1;
  for (const auto& child : children_) count += child->CountWithDescendants();
  return count;
}

void TModelTreeNode::Save(TLVConfigNode& element) const {
  element.Params().Add(kVendorParam, vendor_->Identifier());
  element.Params().Add("ID", id_);
  if (!caption_.empty()) element.Params().Add(kCaptionParam, caption_);
  if (needsSetup_) element.Params().Add("NeedsSetup", "True");
  SaveComponentSettings(*handler_, element.Nodes().Add(kHandlerSection));
  if (!views_.empty()) {
    TLVConfigNode& views = element.Nodes().Add(kViewsSection);
    for (const auto& view : views_) view->Save(views.Nodes().AddItem(kViewItem));
  }
  for (const auto& child : children_) child->Save(element.Nodes().AddItem(kNodeItem));
}

namespace {

TLVComponentVendor& NodeVendor(std::string_view vendorID) {
  TLVComponentVendor& vendor = LVComponentVendors().VendorByID(vendorID);
  TLVComponentType type = vendor.ComponentType();
  if (dynamic_cast<TLVViewVendor*>(&vendor) || dynamic_cast<TLVConnectionVendor*>(&vendor) ||
      type == TLVComponentType::ctView || type == TLVComponentType::ctConnection) {
    throw ELVError("ErrNodeVendorExpected", {vendorID});
  }
  return vendor;
}

}  // namespace

std::string NewNodeID() {
  static std::mt19937_64 generator{std::random_device{}()};
  uint64_t a = generator();
  uint64_t b = generator();
  char text[40];
  std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%04X-%012llX}", static_cast<unsigned>(a >> 32),
                static_cast<unsigned>((a >> 16) & 0xFFFF), static_cast<unsigned>(a & 0xFFFF),
                static_cast<unsigned>(b >> 48),
                static_cast<unsigned long long>(b & 0xFFFFFFFFFFFFull));
  return text;
}

std::unique_ptr<TModelTreeNode> NewModelTreeNode(std::string_view vendorID) {
  TLVComponentVendor& vendor = NodeVendor(vendorID);
  return std::make_unique<TModelTreeNode>(vendor, vendor.CreateComponent(), NewNodeID());
}

TModelTreeNode& LoadModelTreeNode(TLVConfigNode& element, const TNodePlacer& place,
                                  const TNodeIDAssigner& assignID,
                                  const TUnknownSettings& unknown) {
  TLVComponentVendor& vendor = NodeVendor(element.Params().ReadString(kVendorParam));
  auto node = std::make_unique<TModelTreeNode>(vendor, vendor.CreateComponent(),
                                               assignID(element.Params().ReadString("ID", "")));
  node->SetCaption(element.Params().ReadString(kCaptionParam, ""));
  node->SetNeedsSetup(ReadFlag(element, "NeedsSetup"));
  TModelTreeNode& placed = place(std::move(node));
  try {
    LoadHandler(placed.Handler(), element);
  } catch (const ELVError& e) {
    // A project holds many nodes: the message says which one's settings are wrong.
    throw ELVError("ErrNodeSettings", {placed.DisplayCaption(), std::string_view(e.what())});
  }
  if (TLVConfigNode* views = element.Nodes().FindSection(kViewsSection)) {
    for (TLVConfigNode* view : views->Nodes().FindAll(kViewItem)) {
      TViewTreeNode::Load(*view, [&placed](std::unique_ptr<TViewTreeNode> v) -> TViewTreeNode& {
        return placed.AddView(std::move(v));
      });
    }
  }
  std::vector<TLVConfigNode*> children = element.Nodes().FindAll(kNodeItem);
  // The children report their own elements.
  std::vector<std::string> unused = element.UnusedNames(kNodeItem);
  if (!unused.empty()) unknown(placed, unused);
  for (TLVConfigNode* child : children) {
    LoadModelTreeNode(
        *child,
        [&placed](std::unique_ptr<TModelTreeNode> c) -> TModelTreeNode& {
          return placed.AdoptChild(std::move(c));
        },
        assignID, unknown);
  }
  return placed;
}

void RegisterModelTreeTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrViewVendorExpected", "ErrNodeVendorExpected", "ErrNodeSettings"});
}

}  // namespace lv
