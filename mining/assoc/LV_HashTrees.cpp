#include "mining/assoc/LV_HashTrees.h"

#include <algorithm>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

TLVHashTree::TLVHashTree() {
  Clear();
}

void TLVHashTree::SetTableSize(int32_t value) {
  if (value < 2) throw ELVError("ErrHashTableSize", {value});
  tableSize_ = value;
  Clear();
}

void TLVHashTree::SetChainThreshold(int32_t value) {
  if (value < 1) throw ELVError("ErrHashChainThreshold", {value});
  chainThreshold_ = value;
  Clear();
}

void TLVHashTree::SetMaxDepth(int32_t value) {
  if (value < 0) throw ELVError("ErrHashMaxDepth", {value});
  maxDepth_ = value;
  Clear();
}

void TLVHashTree::Clear() {
  nodes_.clear();
  nodes_.emplace_back(0, tableSize_);
  entries_.clear();
  keys_.clear();
  freeEntries_ = -1;
  count_ = 0;
}

int32_t TLVHashTree::NewNode(int32_t depth) {
  nodes_.emplace_back(depth, tableSize_);
  return static_cast<int32_t>(nodes_.size()) - 1;
}

int32_t TLVHashTree::NewEntry(std::span<const int32_t> set, TValue value, int32_t next) {
  const auto power = static_cast<int32_t>(set.size());
  int32_t index = freeEntries_;
  if (index >= 0) {
    freeEntries_ = entries_[static_cast<size_t>(index)].next;
  } else {
    index = static_cast<int32_t>(entries_.size());
    entries_.push_back({0, 0, 0, 0, -1, 0});
  }
  TEntry& entry = entries_[static_cast<size_t>(index)];
  if (entry.keyCapacity < power) {
    entry.keyOffset = static_cast<int32_t>(keys_.size());
    entry.keyCapacity = power;
    keys_.resize(keys_.size() + set.size());
  }
  std::copy(set.begin(), set.end(), keys_.begin() + entry.keyOffset);
  entry.power = power;
  entry.value = value;
  entry.next = next;
  entry.length = next < 0 ? 1 : entries_[static_cast<size_t>(next)].length + 1;
  ++count_;
  return index;
}

void TLVHashTree::FreeEntry(int32_t index) {
  entries_[static_cast<size_t>(index)].next = freeEntries_;
  freeEntries_ = index;
  --count_;
}

void TLVHashTree::FreeChain(int32_t head) {
  while (head >= 0) {
    const int32_t next = entries_[static_cast<size_t>(head)].next;
    FreeEntry(head);
    head = next;
  }
}

int32_t TLVHashTree::FreeEntries() const {
  int32_t count = 0;
  for (int32_t i = freeEntries_; i >= 0; i = entries_[static_cast<size_t>(i)].next) ++count;
  return count;
}

bool TLVHashTree::Insert(std::span<const int32_t> set, TValue value) {
  if (set.empty()) return false;
  return InsertAt(0, set, value);
}

bool TLVHashTree::InsertAt(int32_t nodeIndex, std::span<const int32_t> set, TValue value) {
  for (;;) {
    TLVHashInteriorNode& node = nodes_[static_cast<size_t>(nodeIndex)];
    const int32_t slot = SlotOf(node.depth_, set);
    const int32_t raw = node.slots_[static_cast<size_t>(slot)];
    if (raw < 0) {
      nodeIndex = -raw - 1;
      continue;
    }
    if (raw == 0 || entries_[static_cast<size_t>(raw - 1)].length < chainThreshold_) {
      const int32_t entry = NewEntry(set, value, raw - 1);
      nodes_[static_cast<size_t>(nodeIndex)].slots_[static_cast<size_t>(slot)] = entry + 1;
      return true;
    }
    if (node.depth_ >= maxDepth_) return false;
    return ConvertChain(nodeIndex, slot, set, value);
  }
}

// The chain and the new set go into a node one level deeper. Every one of them lands
// in one slot of the new node only when all of them share it; then the last one meets
// a full chain again and the conversion repeats a level deeper, with the chain's
// entries now in the reverse of the order in which they were inserted. Working out
// that depth first means that nothing is made before the insertion is known to
// succeed, and that a long run of levels costs no recursion.
bool TLVHashTree::ConvertChain(int32_t nodeIndex, int32_t slot, std::span<const int32_t> set,
                               TValue value) {
  struct TItem {
    TIndexSet key;
    TValue value;
  };
  std::vector<TItem> order;
  const int32_t head = nodes_[static_cast<size_t>(nodeIndex)].slots_[static_cast<size_t>(slot)] - 1;
  for (int32_t e = head; e >= 0; e = entries_[static_cast<size_t>(e)].next) {
    const TEntry& entry = entries_[static_cast<size_t>(e)];
    const std::span<const int32_t> key = KeyOf(entry);
    order.push_back({TIndexSet(key.begin(), key.end()), entry.value});
  }
  order.push_back({TIndexSet(set.begin(), set.end()), value});

  std::vector<int32_t> sharedSlots;  // the one slot of each level that all share
  int32_t depth = nodes_[static_cast<size_t>(nodeIndex)].depth_ + 1;
  for (;;) {
    const int32_t first = SlotOf(depth, order.front().key);
    const bool shared = std::all_of(order.begin(), order.end(), [&](const TItem& item) {
      return SlotOf(depth, item.key) == first;
    });
    if (!shared) break;
    if (depth >= maxDepth_) return false;
    std::reverse(order.begin(), order.end() - 1);
    sharedSlots.push_back(first);
    ++depth;
  }

  const int32_t top = NewNode(nodes_[static_cast<size_t>(nodeIndex)].depth_ + 1);
  int32_t last = top;
  for (const int32_t shared : sharedSlots) {
    const int32_t deeper = NewNode(nodes_[static_cast<size_t>(last)].depth_ + 1);
    nodes_[static_cast<size_t>(last)].slots_[static_cast<size_t>(shared)] = -deeper - 1;
    last = deeper;
  }
  for (const TItem& item : order) InsertAt(last, item.key, item.value);
  FreeChain(head);
  nodes_[static_cast<size_t>(nodeIndex)].slots_[static_cast<size_t>(slot)] = -top - 1;
  return true;
}

TLVHashSlotKind TLVHashTree::SlotKind(const TLVHashInteriorNode& node, int32_t slot) const {
  const int32_t raw = RawSlot(node, slot);
  return raw == 0 ? TLVHashSlotKind::hskEmpty
                  : (raw < 0 ? TLVHashSlotKind::hskNode : TLVHashSlotKind::hskChain);
}

const TLVHashInteriorNode& TLVHashTree::ChildNode(const TLVHashInteriorNode& node,
                                                  int32_t slot) const {
  return nodes_[static_cast<size_t>(-RawSlot(node, slot) - 1)];
}

int32_t TLVHashTree::ChainLength(const TLVHashInteriorNode& node, int32_t slot) const {
  const int32_t raw = RawSlot(node, slot);
  return raw > 0 ? entries_[static_cast<size_t>(raw - 1)].length : 0;
}

const TLVHashTree::TValue* TLVHashTree::Find(std::span<const int32_t> set) const {
  if (set.empty()) return nullptr;
  return Descend([&](int32_t depth) { return SlotOf(depth, set); },
                 [&](const TEntry& entry) { return std::ranges::equal(KeyOf(entry), set); });
}

const TLVHashTree::TValue* TLVHashTree::FindItem(int32_t item) const {
  return Descend(
      [&](int32_t depth) { return SlotOfItem(depth, item); },
      [&](const TEntry& entry) { return keys_[static_cast<size_t>(entry.keyOffset)] == item; });
}

TLVHashTree& TLVHashForest::Tree(int32_t power) {
  while (static_cast<int32_t>(trees_.size()) < power) {
    trees_.push_back(std::make_unique<TLVHashTree>());
  }
  return *trees_[static_cast<size_t>(power - 1)];
}

const TLVHashTree* TLVHashForest::FindTree(int32_t power) const {
  if (power < 1 || power > TreeCount()) return nullptr;
  return trees_[static_cast<size_t>(power - 1)].get();
}

const TLVHashTree::TValue* TLVHashForest::Find(std::span<const int32_t> set) const {
  const TLVHashTree* tree = FindTree(static_cast<int32_t>(set.size()));
  return tree ? tree->Find(set) : nullptr;
}

void RegisterHashTreeTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrHashTableSize", "ErrHashChainThreshold", "ErrHashMaxDepth"});
}

}  // namespace lv
