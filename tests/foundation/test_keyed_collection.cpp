#include "foundation/KeyedCollection.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

std::vector<std::string> Keys(const KeyedCollection<int>& collection) {
    std::vector<std::string> keys;
    for (const auto& entry : collection)
        keys.push_back(entry.key);
    return keys;
}

TEST(KeyedCollection, KeepsInsertionOrderAndGivesNullForUnknownKeys) {
    KeyedCollection<int> collection;
    EXPECT_EQ(collection.First(), nullptr);
    collection.Add("b", std::make_shared<int>(2));
    collection.Add("a", std::make_shared<int>(1));
    collection.Add("c", std::make_shared<int>(3));
    EXPECT_EQ(Keys(collection), (std::vector<std::string>{"b", "a", "c"}));
    EXPECT_EQ(*collection.First(), 2);
    EXPECT_EQ(*collection.Item("a"), 1);
    EXPECT_EQ(collection.Item("A"), nullptr) << "keys compare case-sensitively";
    EXPECT_EQ(collection.Item(""), nullptr);
}

TEST(KeyedCollection, DuplicateKeyIsAnErrorForAddAndRefusedByTryAdd) {
    KeyedCollection<int> collection;
    collection.Add("k", std::make_shared<int>(1));
    try {
        collection.Add("k", std::make_shared<int>(2));
        FAIL() << "a second item under one key must be refused";
    } catch (const BxError& error) {
        EXPECT_EQ(error.Number, errors::kDuplicateKey);
    }
    EXPECT_FALSE(collection.TryAdd("k", std::make_shared<int>(3)));
    EXPECT_EQ(collection.Count(), 1u);
    EXPECT_EQ(*collection.Item("k"), 1);
}

TEST(KeyedCollection, RemovingAndInsertingKeepsLookupsRight) {
    KeyedCollection<int> collection;
    for (int i = 0; i < 5; ++i)
        collection.Add(std::to_string(i), std::make_shared<int>(i));
    EXPECT_TRUE(collection.Remove("1"));
    EXPECT_FALSE(collection.Remove("1"));
    EXPECT_TRUE(collection.TryInsertAt(0, "x", std::make_shared<int>(42)));
    EXPECT_EQ(Keys(collection), (std::vector<std::string>{"x", "0", "2", "3", "4"}));
    // Every remaining key still finds its own item after the shifts.
    for (const auto& entry : collection)
        EXPECT_EQ(collection.Item(entry.key), entry.item);
    collection.RemoveAt(2);
    EXPECT_EQ(collection.Item("2"), nullptr);
    EXPECT_EQ(*collection.Item("4"), 4);
    collection.Clear();
    EXPECT_TRUE(collection.Empty());
    EXPECT_EQ(collection.Item("x"), nullptr);
}

} // namespace
} // namespace bx
