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

TEST(KeyedCollection, KeepsOrderRefusesDuplicatesAndKeepsLookupsRightAcrossChanges) {
    KeyedCollection<int> collection;
    EXPECT_EQ(collection.First(), nullptr);
    for (int i : {3, 0, 1, 2, 4})
        collection.Add(std::to_string(i), std::make_shared<int>(i));
    EXPECT_EQ(*collection.First(), 3);
    EXPECT_EQ(collection.Item("x"), nullptr);
    EXPECT_EQ(collection.Item(""), nullptr);
    try {
        collection.Add("1", std::make_shared<int>(7));
        ADD_FAILURE() << "a second item under one key must be refused";
    } catch (const BxError& error) {
        EXPECT_EQ(error.Number, errors::kDuplicateKey);
    }
    EXPECT_FALSE(collection.TryAdd("1", std::make_shared<int>(7)));
    EXPECT_EQ(*collection.Item("1"), 1);
    EXPECT_TRUE(collection.Remove("1"));
    EXPECT_FALSE(collection.Remove("1"));
    EXPECT_TRUE(collection.TryInsertAt(0, "X", std::make_shared<int>(42)));
    EXPECT_FALSE(collection.TryInsertAt(0, "X", std::make_shared<int>(43)));
    collection.RemoveAt(2);
    EXPECT_EQ(Keys(collection), (std::vector<std::string>{"X", "3", "2", "4"}));
    // Every remaining key still finds its own item after the shifts; keys are case-sensitive.
    for (const auto& entry : collection)
        EXPECT_EQ(collection.Item(entry.key), entry.item) << entry.key;
    EXPECT_EQ(collection.Item("x"), nullptr);
    EXPECT_EQ(collection.Item("0"), nullptr);
    collection.Clear();
    EXPECT_TRUE(collection.Empty());
    EXPECT_EQ(collection.Item("X"), nullptr);
}

} // namespace
} // namespace bx
