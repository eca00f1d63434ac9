// The hash tree of item sets: sets are stored and found by their contents.
//
// An interior node has a depth (the root 0) and a table of TableSize slots; a slot is
// empty, an interior node one level deeper, or the head of a chain of entries. An
// entry holds its set (the key), a value (the owner's record of the set), the next
// entry and the chain's length counted from itself. A chain that reaches
// ChainThreshold entries turns into a deeper node when one more set arrives, as long
// as the depth stays within MaxDepth; an insertion that cannot be placed fails and
// leaves the tree as it was. Entries are kept in one pool with a free list, and keys
// in one flat array, so a tree of a million candidates makes a handful of allocations.
//
// A tree is used by one thread at a time while it changes; lookups of a finished tree
// may run on several threads at once.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace lv {

// A set of item numbers, ascending.
using TIndexSet = std::vector<int32_t>;

// What a slot of an interior node holds.
enum class TLVHashSlotKind : uint8_t { hskEmpty, hskNode, hskChain };

class TLVHashInteriorNode {
 public:
  TLVHashInteriorNode(int32_t depth, int32_t tableSize)
      : depth_(depth), slots_(static_cast<size_t>(tableSize), 0) {}
  int32_t Depth() const { return depth_; }
  int32_t TableSize() const { return static_cast<int32_t>(slots_.size()); }

 private:
  friend class TLVHashTree;
  int32_t depth_;
  // 0: empty; n > 0: chain whose head is entry n - 1; n < 0: node -n - 1 of the tree.
  std::vector<int32_t> slots_;
};

class TLVHashTree {
 public:
  using TValue = int32_t;

  TLVHashTree();

  int32_t GetTableSize() const { return tableSize_; }
  // Empties the tree and resizes the root's table; below 2 is refused ("ErrHashTableSize").
  void SetTableSize(int32_t value);
  int32_t GetChainThreshold() const { return chainThreshold_; }
  // This setter and SetMaxDepth empty the tree too, so that a full chain always holds
  // exactly ChainThreshold entries.
  void SetChainThreshold(int32_t value);  // at least 1 ("ErrHashChainThreshold")
  int32_t GetMaxDepth() const { return maxDepth_; }
  void SetMaxDepth(int32_t value);  // at least 0 ("ErrHashMaxDepth")
  const TLVHashInteriorNode& Root() const { return nodes_.front(); }

  // Removes every set; the sizes stay.
  void Clear();
  // Stores `set` with `value`; false when it cannot be placed (the tree is unchanged).
  bool Insert(std::span<const int32_t> set, TValue value);
  // The value of the first entry whose set equals `set`, or null.
  const TValue* Find(std::span<const int32_t> set) const;
  // The value of the first entry whose set begins with `item` (for one-item sets), or null.
  const TValue* FindItem(int32_t item) const;

  int32_t Count() const { return count_; }

  // The slot of `set` in a node of depth `depth`: the item at position depth mod k,
  // x, gives (((x mod (T - 1)) + 1) * depth + x mod T) mod T in wrapping signed 32-bit
  // arithmetic (a negative result is brought into the table by adding T).
  int32_t SlotOf(int32_t depth, std::span<const int32_t> set) const {
    return SlotOfItem(depth, set[static_cast<size_t>(depth % static_cast<int32_t>(set.size()))]);
  }
  int32_t SlotOfItem(int32_t depth, int32_t x) const {
    const auto t = static_cast<uint32_t>(tableSize_);
    const int32_t high = x % (tableSize_ - 1) + 1;
    const auto wrapped =
        static_cast<int32_t>(static_cast<uint32_t>(high) * static_cast<uint32_t>(depth) +
                             static_cast<uint32_t>(x % tableSize_));
    const int32_t slot = wrapped % static_cast<int32_t>(t);
    return slot < 0 ? slot + tableSize_ : slot;
  }

  // What slot `slot` of `node` holds, and for a node the node, for a chain the
  // length recorded at its head.
  TLVHashSlotKind SlotKind(const TLVHashInteriorNode& node, int32_t slot) const;
  const TLVHashInteriorNode& ChildNode(const TLVHashInteriorNode& node, int32_t slot) const;
  int32_t ChainLength(const TLVHashInteriorNode& node, int32_t slot) const;
  // Entries in use and entries waiting on the free list.
  int32_t EntriesAllocated() const { return static_cast<int32_t>(entries_.size()); }
  int32_t FreeEntries() const;

  // The raw structure, for walks that follow the slots themselves (the support count).
  struct TEntry {
    int32_t keyOffset;
    int32_t keyCapacity;
    int32_t power;
    TValue value;
    int32_t next;    // -1 at the end of a chain, or on the free list the next free
    int32_t length;  // the chain's length counted from this entry
  };
  std::span<const int32_t> KeyOf(const TEntry& entry) const {
    return {keys_.data() + entry.keyOffset, static_cast<size_t>(entry.power)};
  }
  const TEntry& Entry(int32_t index) const { return entries_[static_cast<size_t>(index)]; }
  const TLVHashInteriorNode& Node(int32_t index) const {
    return nodes_[static_cast<size_t>(index)];
  }
  int32_t RawSlot(const TLVHashInteriorNode& node, int32_t slot) const {
    return node.slots_[static_cast<size_t>(slot)];
  }

 private:
  bool InsertAt(int32_t nodeIndex, std::span<const int32_t> set, TValue value);
  bool ConvertChain(int32_t nodeIndex, int32_t slot, std::span<const int32_t> set, TValue value);
  int32_t NewEntry(std::span<const int32_t> set, TValue value, int32_t next);
  void FreeEntry(int32_t index);
  void FreeChain(int32_t head);
  int32_t NewNode(int32_t depth);
  // Follows the slots that `slotAt(depth)` gives from the root to a chain, and returns
  // the value of its first entry that `matches`, or null.
  template <class SlotAt, class Matches>
  const TValue* Descend(SlotAt slotAt, Matches matches) const {
    const TLVHashInteriorNode* node = &nodes_.front();
    for (;;) {
      const int32_t raw = RawSlot(*node, slotAt(node->depth_));
      if (raw == 0) return nullptr;
      if (raw < 0) {
        node = &nodes_[static_cast<size_t>(-raw - 1)];
        continue;
      }
      for (int32_t e = raw - 1; e >= 0; e = entries_[static_cast<size_t>(e)].next) {
        const TEntry& entry = entries_[static_cast<size_t>(e)];
        if (matches(entry)) return &entry.value;
      }
      return nullptr;
    }
  }

  int32_t tableSize_ = 701;
  int32_t chainThreshold_ = 7;
  int32_t maxDepth_ = 20000;
  std::vector<TLVHashInteriorNode> nodes_;  // nodes_[0] is the root
  std::vector<TEntry> entries_;
  std::vector<int32_t> keys_;
  int32_t freeEntries_ = -1;
  int32_t count_ = 0;
};

// One hash tree per power of item set: the tree of power k is at position k - 1.
class TLVHashForest {
 public:
  int32_t TreeCount() const { return static_cast<int32_t>(trees_.size()); }
  // The tree of power `power`, made (with the trees below it) when missing.
  TLVHashTree& Tree(int32_t power);
  // The tree of power `power`, or null.
  const TLVHashTree* FindTree(int32_t power) const;
  void Clear() { trees_.clear(); }
  bool Insert(std::span<const int32_t> set, TLVHashTree::TValue value) {
    return Tree(static_cast<int32_t>(set.size())).Insert(set, value);
  }
  // Nothing is found for a set whose power has no tree.
  const TLVHashTree::TValue* Find(std::span<const int32_t> set) const;

 private:
  std::vector<std::unique_ptr<TLVHashTree>> trees_;
};

void RegisterHashTreeTexts();

}  // namespace lv
