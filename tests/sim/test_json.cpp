// The small JSON reader behind the single-step test tools.
#include "sim/Json.h"

#include <cstdint>
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
        "[1e999]",
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
    EXPECT_NO_THROW(ParseJson(std::string(100, '[') + std::string(100, ']')));
}

// Every cut of a document is an error; damaged bytes give a document or a JsonError, never
// anything else.
TEST(Json, DamagedDocumentsEitherParseOrRaiseJsonErrorNeverAnythingElse) {
    const std::string good =
        R"([{"name": "x", "a": [1, 2.5e1, -0], "s": "\u00e9\n", "t": true, "n": null}])";
    for (std::size_t cut = 0; cut < good.size(); ++cut)
        EXPECT_THROW(ParseJson(good.substr(0, cut)), JsonError) << cut;
    uint32_t seed = 12345;
    for (int i = 0; i < 3000; ++i) {
        std::string text = good;
        for (int flips = 0; flips < 3; ++flips) {
            seed = seed * 1103515245u + 12345u;
            text[(seed >> 8) % text.size()] = static_cast<char>(seed >> 24);
        }
        try {
            ParseJson(text);
        } catch (const JsonError&) {
        }
    }
}

} // namespace
} // namespace bx::sim
