#include "mining/assoc/LV_HashTrees.h"

#include <gtest/gtest.h>

#include <vector>

#include "LV_TestHelpers.h"

namespace lv {
namespace {

// Items y > 5 whose one-item slot at depth 1 is the same, so that {5, y} sets share a
// root slot (5) and a slot of a node of depth 1.
std::vector<int32_t> SharingDepthOne(const TLVHashTree& tree, size_t count) {
  std::vector<int32_t> items;
  const int32_t wanted = tree.SlotOfItem(1, 6);
  for (int32_t y = 6; items.size() < count; ++y) {
    if (tree.SlotOfItem(1, y) == wanted) items.push_back(y);
  }
  return items;
}

TEST(HashTree, SlotFormulaFollowsTheItemsOfTheSetInTurn) {
  TLVHashTree tree;
  EXPECT_EQ(tree.GetTableSize(), 701);
  EXPECT_EQ(tree.GetChainThreshold(), 7);
  EXPECT_EQ(tree.GetMaxDepth(), 20000);
  const std::vector<int32_t> five{5};
  const std::vector<int32_t> far{706};
  EXPECT_EQ(tree.SlotOf(0, five), 5);
  EXPECT_EQ(tree.SlotOf(0, far), 5);
  // Depth 1 of {3, 1000}: x = 1000, ((1000 mod 700) + 1) * 1 + 1000 mod 701 = 301 + 299.
  const std::vector<int32_t> pair{3, 1000};
  EXPECT_EQ(tree.SlotOf(1, pair), 600);
  // Depth 2 wraps to the first item: ((3 + 1) * 2 + 3) mod 701.
  EXPECT_EQ(tree.SlotOf(2, pair), 11);
  // Depth 3: (301 * 3 + 299) mod 701 = 1202 mod 701.
  EXPECT_EQ(tree.SlotOf(3, pair), 501);
}

TEST(HashTree, SetsOfOneSlotShareTheChainUntilTheEighthMakesANode) {
  TLVHashTree tree;
  ASSERT_TRUE(tree.Insert(std::vector<int32_t>{5}, 50));
  ASSERT_TRUE(tree.Insert(std::vector<int32_t>{706}, 51));
  EXPECT_EQ(tree.SlotKind(tree.Root(), 5), TLVHashSlotKind::hskChain);
  EXPECT_EQ(tree.ChainLength(tree.Root(), 5), 2);
  EXPECT_EQ(*tree.Find(std::vector<int32_t>{5}), 50);
  EXPECT_EQ(*tree.FindItem(706), 51);
  EXPECT_EQ(tree.Find(std::vector<int32_t>{1407 + 701}), nullptr);
  EXPECT_EQ(tree.FindItem(4), nullptr);

  for (int32_t k = 2; k < 7; ++k)
    ASSERT_TRUE(tree.Insert(std::vector<int32_t>{5 + 701 * k}, 50 + k));
  EXPECT_EQ(tree.ChainLength(tree.Root(), 5), 7);
  EXPECT_EQ(tree.EntriesAllocated(), 7);
  ASSERT_TRUE(tree.Insert(std::vector<int32_t>{5 + 701 * 7}, 57));
  ASSERT_EQ(tree.SlotKind(tree.Root(), 5), TLVHashSlotKind::hskNode);
  const TLVHashInteriorNode& node = tree.ChildNode(tree.Root(), 5);
  EXPECT_EQ(node.Depth(), 1);
  EXPECT_EQ(node.TableSize(), 701);
  int32_t inNode = 0;
  for (int32_t s = 0; s < node.TableSize(); ++s) inNode += tree.ChainLength(node, s);
  EXPECT_EQ(inNode, 8);
  EXPECT_EQ(tree.Count(), 8);
  for (int32_t k = 0; k < 8; ++k) {
    EXPECT_EQ(*tree.Find(std::vector<int32_t>{5 + 701 * k}), 50 + k) << k;
    EXPECT_EQ(*tree.FindItem(5 + 701 * k), 50 + k) << k;
  }
  // The old chain's entries went to the free list and are taken before new ones.
  EXPECT_EQ(tree.EntriesAllocated(), 15);
  EXPECT_EQ(tree.FreeEntries(), 7);
  ASSERT_TRUE(tree.Insert(std::vector<int32_t>{9}, 9));
  EXPECT_EQ(tree.EntriesAllocated(), 15);
  EXPECT_EQ(tree.FreeEntries(), 6);
  EXPECT_EQ(*tree.Find(std::vector<int32_t>{9}), 9);
}

TEST(HashTree, AFullChainAtMaxDepthRefusesTheSetAndChangesNothing) {
  // At depth 2 the sets hash by their first item again, which they share.
  for (int32_t maxDepth : {0, 1, 2}) {
    TLVHashTree tree;
    tree.SetMaxDepth(maxDepth);
    const std::vector<int32_t> ys = SharingDepthOne(tree, 8);
    for (size_t i = 0; i < 7; ++i)
      ASSERT_TRUE(tree.Insert(std::vector<int32_t>{5, ys[i]}, int32_t(i)));
    const int32_t allocated = tree.EntriesAllocated();
    // Deeper nodes are tried and discarded: all eight share their slots.
    EXPECT_FALSE(tree.Insert(std::vector<int32_t>{5, ys[7]}, 7)) << maxDepth;
    EXPECT_EQ(tree.SlotKind(tree.Root(), 5), TLVHashSlotKind::hskChain);
    EXPECT_EQ(tree.ChainLength(tree.Root(), 5), 7);
    EXPECT_EQ(tree.Count(), 7);
    EXPECT_EQ(tree.EntriesAllocated(), allocated);
    EXPECT_EQ(tree.FreeEntries(), 0);
    EXPECT_EQ(tree.Find(std::vector<int32_t>{5, ys[7]}), nullptr);
    for (size_t i = 0; i < 7; ++i)
      EXPECT_EQ(*tree.Find(std::vector<int32_t>{5, ys[i]}), int32_t(i));
  }
}

TEST(HashTree, AChainThatStaysTogetherGoesDownAsManyLevelsAsItNeeds) {
  TLVHashTree tree;
  tree.SetMaxDepth(3);
  const std::vector<int32_t> ys = SharingDepthOne(tree, 8);
  for (size_t i = 0; i < 8; ++i)
    ASSERT_TRUE(tree.Insert(std::vector<int32_t>{5, ys[i]}, int32_t(i)));
  const TLVHashInteriorNode& one = tree.ChildNode(tree.Root(), 5);
  const int32_t shared = tree.SlotOfItem(1, ys[0]);
  ASSERT_EQ(tree.SlotKind(one, shared), TLVHashSlotKind::hskNode);
  const TLVHashInteriorNode& two = tree.ChildNode(one, shared);
  EXPECT_EQ(two.Depth(), 2);
  ASSERT_EQ(tree.SlotKind(two, tree.SlotOfItem(2, 5)), TLVHashSlotKind::hskNode);
  const TLVHashInteriorNode& three = tree.ChildNode(two, tree.SlotOfItem(2, 5));
  EXPECT_EQ(three.Depth(), 3);
  for (size_t i = 0; i < 8; ++i) EXPECT_EQ(tree.ChainLength(three, tree.SlotOfItem(3, ys[i])), 1);
  for (size_t i = 0; i < 8; ++i) EXPECT_EQ(*tree.Find(std::vector<int32_t>{5, ys[i]}), int32_t(i));
  EXPECT_EQ(tree.Find(std::vector<int32_t>{5, ys[0] + 1}), nullptr);
}

TEST(HashTree, SizesAreCheckedAndANewTableSizeEmptiesTheTree) {
  TLVHashTree tree;
  ASSERT_TRUE(tree.Insert(std::vector<int32_t>{1, 2}, 1));
  tree.SetTableSize(11);
  EXPECT_EQ(tree.Root().TableSize(), 11);
  EXPECT_EQ(tree.Count(), 0);
  EXPECT_EQ(tree.Find(std::vector<int32_t>{1, 2}), nullptr);
  EXPECT_EQ(test::KeyOf([&] { tree.SetTableSize(1); }), "ErrHashTableSize");
  EXPECT_EQ(test::KeyOf([&] { tree.SetChainThreshold(0); }), "ErrHashChainThreshold");
  EXPECT_EQ(test::KeyOf([&] { tree.SetMaxDepth(-1); }), "ErrHashMaxDepth");
  EXPECT_EQ(tree.GetTableSize(), 11);
  EXPECT_FALSE(tree.Insert(std::vector<int32_t>{}, 0));
}

TEST(HashForest, EachPowerHasItsTreeAndOtherPowersFindNothing) {
  TLVHashForest forest;
  ASSERT_TRUE(forest.Insert(std::vector<int32_t>{3}, 0));
  ASSERT_TRUE(forest.Insert(std::vector<int32_t>{1, 3, 4}, 1));
  EXPECT_EQ(forest.TreeCount(), 3);
  EXPECT_EQ(forest.FindTree(2)->Count(), 0);
  EXPECT_EQ(*forest.Find(std::vector<int32_t>{1, 3, 4}), 1);
  EXPECT_EQ(*forest.Find(std::vector<int32_t>{3}), 0);
  EXPECT_EQ(forest.Find(std::vector<int32_t>{1, 3}), nullptr);
  EXPECT_EQ(forest.Find(std::vector<int32_t>{1, 2, 3, 4}), nullptr);
  EXPECT_EQ(forest.Find(std::vector<int32_t>{}), nullptr);
}

}  // namespace
}  // namespace lv
