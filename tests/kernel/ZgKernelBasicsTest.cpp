#include "kernel/ZgRandom.h"
#include "kernel/ZgUtf16.h"
#include "kernel/ZgVector3.h"

#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <vector>

TEST(ZgVector3, EqualityIsPerComponentWithinZero)
{
    const ZgVector3 p(1, -2, 3);
    EXPECT_TRUE(p == ZgVector3(1 + 1e-6, -2 - 1e-6, 3));
    EXPECT_TRUE(ZgVector3() == ZgVector3(9e-7, -9e-7, 9e-7));
    EXPECT_FALSE(p == ZgVector3(1, -2, 3 + 2e-6));
    EXPECT_FALSE(p == ZgVector3(1 - 2e-6, -2, 3));
    EXPECT_TRUE(p != ZgVector3(1, -2 + 2e-6, 3));
}

TEST(ZgUtf16, EncodesEveryLengthAndReplacesLoneSurrogates)
{
    std::string out = "stale";
    EXPECT_FALSE(ZgUtf16ToUtf8(nullptr, out));

    auto utf8 = [](std::initializer_list<unsigned short> units)
    {
        std::vector<unsigned short> s(units);
        s.push_back(0);
        std::string converted;
        EXPECT_TRUE(ZgUtf16ToUtf8(s.data(), converted));
        return converted;
    };
    EXPECT_EQ(utf8({}), "");
    EXPECT_EQ(utf8({'A', 0x7F}), "A\x7F");
    EXPECT_EQ(utf8({0x80, 0xE9, 0x7FF}), "\xC2\x80\xC3\xA9\xDF\xBF");
    EXPECT_EQ(utf8({0x800, 0x20AC, 0xFFFF}), "\xE0\xA0\x80\xE2\x82\xAC\xEF\xBF\xBF");
    // Surrogate pairs: U+1F600 and the last code point, U+10FFFF.
    EXPECT_EQ(utf8({0xD83D, 0xDE00, 0xDBFF, 0xDFFF}), "\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF");
    // A high surrogate without its low half, a low one alone, a high one at the end.
    EXPECT_EQ(utf8({0xD800, 'a', 0xDC00, 0xD800}), "\xEF\xBF\xBD"
                                                   "a\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(ZgRand, FollowsItsOwnSequenceApartFromRand)
{
    ZgSrand(1);
    std::uint32_t state = 1;
    for (int i = 0; i < 1000; ++i)
    {
        state = state * 214013u + 2531011u;
        ASSERT_EQ(ZgRand(), static_cast<int>((state >> 16) & 0x7fff)) << "draw " << i;
    }

    // Interleaving the two sources changes neither sequence.
    std::srand(12345);
    int expected[4];
    for (int& r : expected)
        r = std::rand();
    std::srand(12345);
    ZgSrand(7);
    state = 7;
    for (int r : expected)
    {
        state = state * 214013u + 2531011u;
        EXPECT_EQ(ZgRand(), static_cast<int>((state >> 16) & 0x7fff));
        EXPECT_EQ(std::rand(), r);
    }
}
