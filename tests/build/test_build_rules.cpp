#include "build/BuildRules.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

TEST(BuildTargets, OneTargetStandsInTheGraphAndInItsParentsSources) {
    BuildTargets graph;
    auto source = graph.Add(nullptr, "", "src\\main.asm");
    auto sources = std::make_shared<BuildTargets>();
    sources->AddItem(source);
    auto object = graph.Add(sources, "ca65 %i", "main.o");
    EXPECT_EQ(object->Sources, sources);
    EXPECT_EQ(graph.Item("main.o")->Sources->Item("src\\main.asm"), source);
    source->Make = "changed";
    EXPECT_EQ(object->Sources->First()->Make, "changed");
    EXPECT_EQ(graph.Item("nothing"), nullptr);
    EXPECT_THROW(graph.Add(nullptr, "", "main.o"), BxError);
    graph.Remove("absent"); // ignored
    EXPECT_EQ(graph.Count(), 2u);
}

TEST(BuildAssociations, KeyedByExtension) {
    BuildAssociations associations;
    auto asm65 = associations.Add("asm", "ca65 %i -o %o", "o");
    EXPECT_EQ(associations.Item("asm"), asm65);
    EXPECT_EQ(asm65->To, "o");
    EXPECT_EQ(associations.Item("ASM"), nullptr);
}

} // namespace
} // namespace bx
