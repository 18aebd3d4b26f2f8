#include "debug/Breakpoints.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

using namespace std::string_literals;

TEST(Breakpoints, TextFormIsFourDecimalsSeparatedByNulAndRoundTrips) {
    Breakpoint line{0, 49152, 1, 1};
    EXPECT_EQ(line.AsString(), "0\0"s
                               "49152\0"s
                               "1\0"s
                               "1"s);
    Breakpoint copy;
    ASSERT_TRUE(copy.FromString(Breakpoint{3, -1, 16, 6}.AsString()));
    EXPECT_EQ(copy.AsString(), Breakpoint({3, -1, 16, 6}).AsString());
    EXPECT_EQ(copy.Start, -1);

    Breakpoint untouched{7, 7, 7, 7};
    EXPECT_FALSE(untouched.FromString("1\0"s
                                      "2\0"s
                                      "3"s))
        << "too few parts";
    EXPECT_FALSE(untouched.FromString("1\0"s
                                      "x\0"s
                                      "3\0"s
                                      "4"s))
        << "a part is no number";
    EXPECT_FALSE(untouched.FromString("1\0"s
                                      "\0"s
                                      "3\0"s
                                      "4"s))
        << "an empty part";
    EXPECT_EQ(untouched.Bank, 7);
}

TEST(Breakpoints, AllFourValuesAreTheKeyAndDuplicatesGiveNothing) {
    Breakpoints breakpoints;
    auto first = breakpoints.Add(0, 0x8000, 1, 1);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(breakpoints.Add(0, 0x8000, 1, 1), nullptr);
    EXPECT_NE(breakpoints.Add(0, 0x8000, 1, 2), nullptr) << "other flags, other record";
    EXPECT_EQ(breakpoints.Count(), 2u);
    EXPECT_EQ(breakpoints.Item(0, 0x8000, 1, 1), first);
    EXPECT_EQ(breakpoints.Item(0, 0x8000, 2, 1), nullptr);
    breakpoints.Remove(0, 0x8000, 1, 3); // not exactly a record: nothing happens
    EXPECT_EQ(breakpoints.Count(), 2u);
    breakpoints.Remove(0, 0x8000, 1, 1);
    EXPECT_EQ(breakpoints.Item(0, 0x8000, 1, 1), nullptr);
    EXPECT_EQ(breakpoints.Count(), 1u);
}

} // namespace
} // namespace bx
