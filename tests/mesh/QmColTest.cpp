#include "mesh/QmCol.h"

#include "mesh/QmPstMesh.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <set>
#include <vector>

namespace
{
using Col = QmCol<QmPstMesh::vertex>;
using V = QmPstMesh::vertex;

std::vector<V*> walk(Col const& col)
{
    std::vector<V*> out;
    for (Col::Iter it = col.Begin(); !it.IsEnd(); it.Next())
        out.push_back(it.Get());
    return out;
}
} // namespace

TEST(QmCol, NewCollectionHoldsNoBlockAndWalksNothing)
{
    Col col;
    EXPECT_EQ(col.GetCount(), 0);
    EXPECT_EQ(col.GetNbBlock(), 0);
    EXPECT_EQ(col.GetBlockCurrent(), 256);
    EXPECT_TRUE(col.Begin().IsEnd());
}

TEST(QmCol, FirstElementMakesOne512ByteBlock)
{
    Col col;
    V* a = col.Take();
    EXPECT_EQ(col.GetCount(), 1);
    EXPECT_EQ(col.GetNbBlock(), 1);
    EXPECT_EQ(col.GetBlockCurrent(), 512);
    EXPECT_EQ(walk(col), std::vector<V*>{a});
}

TEST(QmCol, BlocksDoubleUpTo65536AndStayThere)
{
    Col col;
    std::vector<std::int32_t> sizes;
    int lastBlocks = 0;
    int sinceGrowth = 0;
    std::vector<int> perBlock;
    for (int i = 0; i < 20000; ++i)
    {
        col.Take();
        if (col.GetNbBlock() != lastBlocks)
        {
            if (lastBlocks > 0)
                perBlock.push_back(sinceGrowth);
            lastBlocks = col.GetNbBlock();
            sizes.push_back(col.GetBlockCurrent());
            sinceGrowth = 0;
        }
        ++sinceGrowth;
    }
    const std::vector<std::int32_t> expected = {512,   1024,  2048,  4096,  8192,
                                                16384, 32768, 65536, 65536, 65536};
    ASSERT_GE(sizes.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(sizes[i], expected[i]) << "block " << i;
    for (size_t i = expected.size(); i < sizes.size(); ++i)
        EXPECT_EQ(sizes[i], 65536);
    // A block holds (bytes - one link word) / slot size elements, and all are used before
    // the next block is made.
    for (size_t i = 0; i < perBlock.size(); ++i)
        EXPECT_EQ(perBlock[i], static_cast<int>((sizes[i] - sizeof(void*)) / sizeof(V)))
            << "block " << i;
}

TEST(QmCol, FreshBlockIsTakenInAscendingAddressOrder)
{
    Col col;
    V* prev = col.Take();
    for (int i = 1; i < 7; ++i)
    {
        V* cur = col.Take();
        EXPECT_EQ(reinterpret_cast<char*>(cur) - reinterpret_cast<char*>(prev),
                  static_cast<long>(sizeof(V)));
        prev = cur;
    }
}

TEST(QmCol, WalkIsNewestFirst)
{
    Col col;
    V* a = col.Take();
    V* b = col.Take();
    V* c = col.Take();
    EXPECT_EQ(walk(col), (std::vector<V*>{c, b, a}));
}

TEST(QmCol, LastFreedIsFirstTaken)
{
    Col col;
    V* a = col.Take();
    V* b = col.Take();
    V* c = col.Take();
    col.GiveBack(a);
    EXPECT_EQ(walk(col), (std::vector<V*>{c, b}));
    col.GiveBack(c);
    EXPECT_EQ(col.GetFreeHead(), static_cast<void const*>(c));
    EXPECT_EQ(col.Take(), c);
    EXPECT_EQ(col.Take(), a);
    EXPECT_EQ(col.GetCount(), 3);
    EXPECT_EQ(walk(col), (std::vector<V*>{a, c, b}));
}

TEST(QmCol, RemovingTheMiddleAndEndsKeepsChainsConsistent)
{
    Col col;
    std::vector<V*> all;
    for (int i = 0; i < 50; ++i)
        all.push_back(col.Take());
    std::set<V*> live(all.begin(), all.end());
    for (int i : {0, 49, 25, 24, 26, 1, 48})
    {
        col.GiveBack(all[i]);
        live.erase(all[i]);
    }
    std::vector<V*> w = walk(col);
    EXPECT_EQ(static_cast<int>(w.size()), col.GetCount());
    EXPECT_EQ(std::set<V*>(w.begin(), w.end()), live);
    ASSERT_FALSE(w.empty());
    EXPECT_EQ(w.front()->prev, nullptr);
    EXPECT_EQ(w.back()->next, nullptr);
    for (size_t i = 1; i < w.size(); ++i)
        EXPECT_EQ(w[i]->prev, w[i - 1]);
}

TEST(QmCol, ReleaseAllStartsAgainAt512)
{
    Col col;
    for (int i = 0; i < 5000; ++i)
        col.Take();
    ASSERT_EQ(col.GetBlockCurrent(), 65536);
    col.ReleaseAll();
    EXPECT_EQ(col.GetCount(), 0);
    EXPECT_EQ(col.GetNbBlock(), 0);
    EXPECT_TRUE(col.Begin().IsEnd());
    col.Take();
    EXPECT_EQ(col.GetBlockCurrent(), 512);
    EXPECT_EQ(col.GetNbBlock(), 1);
}

TEST(QmCol, RefillingAfterRemovingEverythingAllocatesNothing)
{
    Col col;
    std::vector<V*> all;
    for (int i = 0; i < 30000; ++i)
        all.push_back(col.Take());
    const int blocks = col.GetNbBlock();
    for (V* v : all)
        col.GiveBack(v);
    EXPECT_EQ(col.GetCount(), 0);
    std::set<V*> before(all.begin(), all.end());
    for (int i = 0; i < 30000; ++i)
        EXPECT_TRUE(before.count(col.Take())) << i;
    EXPECT_EQ(col.GetNbBlock(), blocks);
}
