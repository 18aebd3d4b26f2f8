// The small JSON reader behind the single-step test tools.
#include "sim/Json.h"

#include <gtest/gtest.h>
#include <string>

namespace bx::sim {
namespace {

TEST(Json, ReadsNestedValuesInDocumentOrder) {
    JsonValue v = ParseJson(R"( {"name": "ed 1", "n": [1, -2.5, 3e2, 0],
        "flags": {"t": true, "f": false, "z": null}, "s": "a\"b\\c\/\n\u00e9\ud83d\ude00"} )");
    ASSERT_TRUE(v.IsObject());
    ASSERT_EQ(v.Members().size(), 4u);
    EXPECT_EQ(v.Members()[0].first, "name");
    EXPECT_EQ(v.Find("name")->AsString(), "ed 1");
    const auto& n = v.Find("n")->Items();
    ASSERT_EQ(n.size(), 4u);
    EXPECT_EQ(n[0].AsNumber(), 1);
    EXPECT_EQ(n[1].AsNumber(), -2.5);
    EXPECT_EQ(n[2].AsNumber(), 300);
    EXPECT_TRUE(v.Find("flags")->Find("t")->AsBool());
    EXPECT_FALSE(v.Find("flags")->Find("f")->AsBool());
    EXPECT_TRUE(v.Find("flags")->Find("z")->IsNull());
    EXPECT_EQ(v.Find("s")->AsString(), "a\"b\\c/\n\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(v.Find("missing"), nullptr);
    EXPECT_TRUE(ParseJson("[]").Items().empty());
}

TEST(Json, RejectsMalformedInputWithItsPosition) {
    const char* bad[] = {
        "",          "[1,]",        "{\"a\" 1}",     "[1 2]", "{\"a\":1,}", "\"open",
        "[01]",      "[1.]",        "[1e]",          "[-]",   "tru",        "nul",
        "[\"\\x\"]", "[\"\\u12\"]", "[\"\\ud800\"]", "{1:2}", "[1] x",      "[\"a\nb\"]",
        "{",         "[",           "[\"\\",         "[+1]",  "[.5]",       "[\"\\udc00\"]",
    };
    for (const char* text : bad)
        EXPECT_THROW(ParseJson(text), JsonError) << text;
    try {
        ParseJson("[1,\n  2,\n  x]");
        FAIL() << "no error";
    } catch (const JsonError& e) {
        EXPECT_NE(std::string(e.what()).find("line 3, column 3"), std::string::npos) << e.what();
    }
}

TEST(Json, RefusesNestingDeepEnoughToExhaustTheStack) {
    EXPECT_THROW(ParseJson(std::string(100000, '[')), JsonError);
    std::string fine = std::string(100, '[') + std::string(100, ']');
    EXPECT_NO_THROW(ParseJson(fine));
}

} // namespace
} // namespace bx::sim
