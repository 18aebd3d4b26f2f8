#include "appliance/Appliance.h"
#include "build/ApplianceBuildRules.h"
#include "foundation/Error.h"
#include "platform/ProgramFolder.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace bx {
namespace {

const std::string kUnplaced = "@FFFF:FFFFFFFF"; // load key suffix of bank and address -1

std::vector<std::string> GraphKeys(Appliance& appliance) {
    std::vector<std::string> keys;
    for (const auto& entry : appliance.BuildTargets())
        keys.push_back(entry.key);
    return keys;
}

std::vector<std::string> SourceKeys(Appliance& appliance, const std::string& output) {
    std::vector<std::string> keys;
    auto target = appliance.BuildTargets().Item(output);
    if (target && target->Sources)
        for (const auto& entry : *target->Sources)
            keys.push_back(entry.key);
    return keys;
}

std::vector<std::string> LoadKeys(Appliance& appliance) {
    std::vector<std::string> keys;
    for (const auto& entry : appliance.LoadImages())
        keys.push_back(entry.key);
    return keys;
}

using Keys = std::vector<std::string>;

// ---- Adding steps ------------------------------------------------------------------------------

TEST(AddBuildStep, PutsProductAndSourceInTheGraphAndOnlyTheProductInTheLoadList) {
    Appliance appliance;
    auto object = appliance.AddBuildStep("a.obj", "asm %i", "a.asm");

    EXPECT_TRUE(appliance.IsDirty());
    ASSERT_EQ(GraphKeys(appliance), (Keys{"a.obj", "a.asm"}));
    EXPECT_EQ(object, appliance.BuildTargets().Item("a.obj"));
    EXPECT_EQ(object->Make, "asm %i");
    ASSERT_EQ(SourceKeys(appliance, "a.obj"), Keys{"a.asm"});
    auto source = appliance.BuildTargets().Item("a.asm");
    EXPECT_EQ(object->Sources->Item("a.asm"), source) << "one object in graph and Sources";
    EXPECT_EQ(source->Make, "");
    ASSERT_NE(source->Sources, nullptr) << "a source gets an empty list, not a null one";
    EXPECT_TRUE(source->Sources->Empty());

    ASSERT_EQ(LoadKeys(appliance), Keys{"a.obj" + kUnplaced});
    auto image = appliance.LoadImages().First();
    EXPECT_EQ(image->Content, object);
    EXPECT_EQ(image->Bank, -1);
    EXPECT_EQ(image->Start, -1);
}

TEST(AddBuildStep, TheSameStepTwiceIsHarmless) {
    Appliance appliance;
    auto first = appliance.AddBuildStep("a.obj", "cmd", "a.asm");
    auto second = appliance.AddBuildStep("a.obj", "cmd", "a.asm");
    EXPECT_EQ(first, second);
    EXPECT_EQ(GraphKeys(appliance), (Keys{"a.obj", "a.asm"}));
    EXPECT_EQ(SourceKeys(appliance, "a.obj"), Keys{"a.asm"});
    EXPECT_EQ(LoadKeys(appliance), Keys{"a.obj" + kUnplaced});
}

TEST(AddBuildStep, AnotherCommandForAnExistingStepIsTheBuildStepErrorAndChangesNothing) {
    Appliance appliance;
    appliance.AddBuildStep("a.obj", "cmd", "a.asm");
    try {
        appliance.AddBuildStep("a.obj", "other", "b.asm");
        FAIL() << "a different command must be refused";
    } catch (const BxError& error) {
        EXPECT_EQ(error.Number, static_cast<int32_t>(0x80040001u));
        EXPECT_EQ(error.Number, errors::kBuildStep);
        EXPECT_EQ(error.Source, "Appliance Object");
        EXPECT_EQ(error.Description, "Existing build target has a different build command.");
    }
    EXPECT_EQ(appliance.BuildTargets().Item("a.obj")->Make, "cmd");
    EXPECT_EQ(GraphKeys(appliance), (Keys{"a.obj", "a.asm"})) << "the new source isn't added";
    EXPECT_EQ(SourceKeys(appliance, "a.obj"), Keys{"a.asm"});

    // The empty command differs too, and the old one isn't empty.
    EXPECT_THROW(appliance.AddBuildStep("a.obj", "", ""), BxError);
    EXPECT_EQ(appliance.BuildTargets().Item("a.obj")->Make, "cmd");
}

TEST(AddBuildStep, AFileKnownOnlyAsASourceTakesItsCommandLater) {
    Appliance appliance;
    appliance.AddBuildStep("x.bin", "link %i", "a.obj");
    EXPECT_EQ(appliance.BuildTargets().Item("a.obj")->Make, "");
    appliance.AddBuildStep("a.obj", "asm %i", "a.asm");

    EXPECT_EQ(appliance.BuildTargets().Item("a.obj")->Make, "asm %i");
    EXPECT_EQ(SourceKeys(appliance, "a.obj"), Keys{"a.asm"});
    EXPECT_EQ(GraphKeys(appliance), (Keys{"x.bin", "a.obj", "a.asm"}));
    EXPECT_EQ(LoadKeys(appliance), Keys{"x.bin" + kUnplaced})
        << "what is built into something isn't loaded by itself";
}

TEST(AddBuildStep, SourcesKeepTheirOrderAndAreHeldOnce) {
    Appliance appliance;
    appliance.AddBuildStep("x.bin", "link", "b.obj");
    appliance.AddBuildStep("x.bin", "link", "a.obj");
    appliance.AddBuildStep("x.bin", "link", "b.obj");
    EXPECT_EQ(SourceKeys(appliance, "x.bin"), (Keys{"b.obj", "a.obj"}));
}

TEST(AddBuildStep, AFileThatBecomesASourceLeavesTheLoadListPlacedOrNot) {
    Appliance appliance;
    appliance.AddBuildStep("a.obj", "", "");
    appliance.AddBuildStep("b.obj", "", "");
    appliance.LabelLoadAddr("b.obj", 0, 1, 0x4000, 16);
    ASSERT_EQ(LoadKeys(appliance), (Keys{"a.obj" + kUnplaced, "b.obj@01:4000"}));

    appliance.AddBuildStep("x.bin", "link", "a.obj");
    appliance.AddBuildStep("x.bin", "link", "b.obj");
    EXPECT_EQ(LoadKeys(appliance), Keys{"x.bin" + kUnplaced});
    EXPECT_EQ(SourceKeys(appliance, "x.bin"), (Keys{"a.obj", "b.obj"}));
}

TEST(AddBuildStep, AStaleLoadEntryIsPointedAtTheNewTarget) {
    Appliance appliance;
    auto stale = std::make_shared<BuildTarget>(BuildTarget{"a.obj", "", nullptr});
    appliance.LoadImages().Add(stale, -1, -1);
    auto object = appliance.AddBuildStep("a.obj", "cmd", "a.asm");
    ASSERT_EQ(appliance.LoadImages().Count(), 1u);
    EXPECT_EQ(appliance.LoadImages().First()->Content, object);
}

TEST(AddBuildStep, AProductPlacedBeforeItHadAStepGetsASourceList) {
    Appliance appliance;
    appliance.LabelLoadAddr("x.bin", 0, 0, 0x8000, 4);
    ASSERT_EQ(appliance.BuildTargets().Item("x.bin")->Sources, nullptr);
    appliance.AddBuildStep("x.bin", "link", "a.obj");
    EXPECT_EQ(appliance.BuildTargets().Item("x.bin")->Make, "link");
    EXPECT_EQ(SourceKeys(appliance, "x.bin"), Keys{"a.obj"});
}

TEST(AddBuildStep, NamesBelowTheWorkingFolderAreKeptRelativeToIt) {
    Appliance appliance;
    appliance.Folder = "C:\\w\\";
    appliance.AddBuildStep("C:\\w\\a.obj", "cmd", "C:\\w\\src\\a.asm");
    appliance.AddBuildStep("C:\\w\\x.bin", "link", "C:\\other\\lib.obj");
    appliance.AddBuildStep("C:\\w\\", "", "");      // not longer than the folder
    appliance.AddBuildStep("c:\\w\\y.bin", "", ""); // compared exactly
    EXPECT_EQ(GraphKeys(appliance), (Keys{"a.obj", "src\\a.asm", "x.bin", "C:\\other\\lib.obj",
                                          "C:\\w\\", "c:\\w\\y.bin"}));

    Appliance noFolder;
    noFolder.AddBuildStep("C:\\w\\a.obj", "cmd", "");
    EXPECT_EQ(GraphKeys(noFolder), Keys{"C:\\w\\a.obj"});
}

// ---- Ready-made files take their place at once -------------------------------------------------

class ReadyMadeFiles : public ::testing::Test {
protected:
    test::TempFolder work;
    Appliance appliance;

    void SetUp() override {
        appliance.Folder = work.Path() + "\\";
        appliance.NextBank = 2;
        appliance.NextAddress = 0x4000;
    }
};

TEST_F(ReadyMadeFiles, AFileWithContentIsPlacedAtTheCursorUnderItsRelativeName) {
    work.WriteFile("lib.bin", std::string(100, 'x'));
    appliance.AddBuildStep(work.Sub("lib.bin"), "", "");

    ASSERT_EQ(LoadKeys(appliance), Keys{"lib.bin@02:4000"});
    auto image = appliance.LoadImages().First();
    EXPECT_EQ(image->Size, 100);
    EXPECT_EQ(image->Offset, 0);
    EXPECT_EQ(image->Content, appliance.BuildTargets().Item("lib.bin"));
    EXPECT_EQ(appliance.NextBank, 2);
    EXPECT_EQ(appliance.NextAddress, 0x4000 + 100);
}

TEST_F(ReadyMadeFiles, ARelativeNameIsMeasuredInTheAppliancesFolderNotTheCurrentOne) {
    work.WriteFile("obj\\lib.bin", std::string(7, 'x'));
    appliance.AddBuildStep("obj\\lib.bin", "", "");
    EXPECT_EQ(LoadKeys(appliance), Keys{"obj\\lib.bin@02:4000"});
}

TEST_F(ReadyMadeFiles, AFileOutsideTheFolderIsMeasuredWhereItIs) {
    test::TempFolder elsewhere;
    const std::string path = elsewhere.WriteFile("far.bin", "abc");
    appliance.AddBuildStep(path, "", "");
    EXPECT_EQ(LoadKeys(appliance), Keys{path + "@02:4000"});
    EXPECT_EQ(appliance.LoadImages().First()->Size, 3);
}

TEST_F(ReadyMadeFiles, OnlyAWaitingFileWithContentAndNoSourceIsPlaced) {
    work.WriteFile("empty.bin", "");
    work.WriteFile("lib.bin", std::string(16, 'x'));
    work.WriteFile("a.obj", std::string(16, 'x'));
    appliance.AddBuildStep("empty.bin", "", "");
    appliance.AddBuildStep("missing.bin", "", "");
    appliance.AddBuildStep("a.obj", "asm", "a.asm");
    appliance.AddBuildStep("lib.bin", "", "");
    appliance.AddBuildStep("lib.bin", "", ""); // already placed: not placed again
    EXPECT_EQ(LoadKeys(appliance), (Keys{"empty.bin" + kUnplaced, "missing.bin" + kUnplaced,
                                         "a.obj" + kUnplaced, "lib.bin@02:4000"}));
    EXPECT_EQ(appliance.NextAddress, 0x4000 + 16);
}

// ---- Removing steps ----------------------------------------------------------------------------

// x.bin is linked from a.obj and b.obj, each assembled from its source.
class RemovingSteps : public ::testing::Test {
protected:
    Appliance appliance;

    void SetUp() override {
        appliance.AddBuildStep("a.obj", "asm", "a.asm");
        appliance.AddBuildStep("b.obj", "asm", "b.asm");
        appliance.AddBuildStep("x.bin", "link", "a.obj");
        appliance.AddBuildStep("x.bin", "link", "b.obj");
        ASSERT_EQ(LoadKeys(appliance), Keys{"x.bin" + kUnplaced});
    }
};

TEST_F(RemovingSteps, AProductKeepsGoingWhileItHasASourceLeft) {
    appliance.RemoveBuildStep("a.obj");
    EXPECT_EQ(GraphKeys(appliance), (Keys{"a.asm", "b.obj", "b.asm", "x.bin"}));
    EXPECT_EQ(SourceKeys(appliance, "x.bin"), Keys{"b.obj"});
    // a.asm isn't built into anything now, so it became a loadable file.
    EXPECT_EQ(LoadKeys(appliance), (Keys{"x.bin" + kUnplaced, "a.asm" + kUnplaced}));
    EXPECT_EQ(appliance.LoadImages().Item("a.asm", -1, -1)->Content,
              appliance.BuildTargets().Item("a.asm"));
}

TEST_F(RemovingSteps, AProductThatLosesItsLastSourceGoesWithIt) {
    appliance.RemoveBuildStep("a.obj");
    appliance.RemoveBuildStep("b.obj");
    EXPECT_EQ(GraphKeys(appliance), (Keys{"a.asm", "b.asm"}));
    EXPECT_EQ(appliance.BuildTargets().Item("x.bin"), nullptr);
}

TEST(RemoveBuildStep, TheCascadeClimbsTheWholeChain) {
    Appliance chain;
    chain.AddBuildStep("a.obj", "asm", "a.asm");
    chain.AddBuildStep("x.bin", "link", "a.obj");
    chain.AddBuildStep("y.rom", "pack", "x.bin");
    chain.RemoveBuildStep("a.asm");
    EXPECT_TRUE(chain.BuildTargets().Empty());
    // The product's own entry is RemoveLoadItem's business, not RemoveBuildStep's.
    EXPECT_EQ(LoadKeys(chain), Keys{"y.rom" + kUnplaced});
}

TEST_F(RemovingSteps, RemovingAProductMakesItsSourcesLoadableAgain) {
    appliance.RemoveBuildStep("x.bin");
    EXPECT_EQ(GraphKeys(appliance), (Keys{"a.obj", "a.asm", "b.obj", "b.asm"}));
    EXPECT_EQ(LoadKeys(appliance),
              (Keys{"x.bin" + kUnplaced, "a.obj" + kUnplaced, "b.obj" + kUnplaced}));
    EXPECT_EQ(appliance.LoadImages().Item("b.obj", -1, -1)->Content,
              appliance.BuildTargets().Item("b.obj"));
}

TEST_F(RemovingSteps, ASharedSourceGetsOnlyOneLoadEntry) {
    appliance.AddBuildStep("a.obj", "asm", "defs.inc");
    appliance.AddBuildStep("b.obj", "asm", "defs.inc");
    appliance.RemoveBuildStep("a.obj");
    appliance.RemoveBuildStep("b.obj");
    EXPECT_NE(appliance.LoadImages().Item("defs.inc", -1, -1), nullptr);
    int entries = 0;
    for (const auto& entry : appliance.LoadImages())
        entries += entry.item->Content->OutputPath == "defs.inc";
    EXPECT_EQ(entries, 1);
}

TEST(RemoveBuildStep, MarksTheApplianceDirtyEvenForAnUnknownName) {
    Appliance fresh;
    ASSERT_FALSE(fresh.IsDirty());
    fresh.RemoveBuildStep("nothing.obj");
    EXPECT_TRUE(fresh.IsDirty());
}

TEST_F(RemovingSteps, AnUnknownNameChangesNeitherGraphNorLoadList) {
    appliance.RemoveBuildStep("nothing.obj");
    EXPECT_EQ(GraphKeys(appliance), (Keys{"a.obj", "a.asm", "b.obj", "b.asm", "x.bin"}));
    EXPECT_EQ(LoadKeys(appliance), Keys{"x.bin" + kUnplaced});
}

// ---- Command expansion -------------------------------------------------------------------------

class ExpandingCommands : public ::testing::Test {
protected:
    platform::ScopedProgramFolder tools{"C:\\p"};
    Appliance appliance;

    BuildTarget& Step(const std::string& output, const std::string& make,
                      std::vector<std::string> sources) {
        for (const auto& source : sources)
            appliance.AddBuildStep(output, make, source);
        if (sources.empty())
            appliance.AddBuildStep(output, make, "");
        return *appliance.BuildTargets().Item(output);
    }
};

TEST_F(ExpandingCommands, ToolsFolderAndQuotedSourcesWithTheirTrailingBlank) {
    ASSERT_EQ(appliance.ToolsPath(), "C:\\p\\");
    auto& target = Step("a.obj", "%tools%\\asm %i", {"a.asm"});
    EXPECT_EQ(appliance.ExpandMake(target, false), "C:\\p\\asm \"a.asm\" ");
}

TEST_F(ExpandingCommands, NameStemAndOutputEverywhereTheyStand) {
    auto& target = Step("obj\\a.o", "asm %i -o %o -l %n.lst ; echo %o", {"a.asm", "b.inc"});
    EXPECT_EQ(appliance.ExpandMake(target, false),
              "asm \"a.asm\" \"b.inc\"  -o obj\\a.o -l obj\\a.lst ; echo obj\\a.o");
}

TEST_F(ExpandingCommands, ForwardSlashesTurnEveryBackslashOfTheFinishedText) {
    auto& target = Step("obj\\a.o", "%tools%\\asm %i -o %o", {"src\\a.asm"});
    EXPECT_EQ(appliance.ExpandMake(target, true), "C:/p/asm \"src/a.asm\"  -o obj/a.o");
    EXPECT_EQ(appliance.ExpandMake(target, false), "C:\\p\\asm \"src\\a.asm\"  -o obj\\a.o");
}

TEST_F(ExpandingCommands, OnlyTheExactPlaceholdersCountAndNoSourcesGiveNoInputs) {
    auto& target = Step("a.o", "%tools% %TOOLS%\\ %I %N %O %", {"a.asm"});
    EXPECT_EQ(appliance.ExpandMake(target, false), "%tools% %TOOLS%\\ %I %N %O %");
    BuildTarget bare{"x.bin", "link %i-%o", nullptr};
    EXPECT_EQ(appliance.ExpandMake(bare, false), "link -x.bin");
}

TEST(ExpandMakeOrder, PlaceholdersInsideTheToolsFolderFollowTheStoredCommand) {
    platform::ScopedProgramFolder tools{"C:\\%i%n%o"};
    Appliance appliance;
    BuildTarget plain{"a.o", "%tools%\\asm", nullptr};
    // "%i" and "%n" only where the stored command asks for them; "%o" always.
    EXPECT_EQ(appliance.ExpandMake(plain, false), "C:\\%i%na.o\\asm");
    BuildTarget asking{"a.o", "%tools%\\asm %n", nullptr};
    EXPECT_EQ(appliance.ExpandMake(asking, false), "C:\\%iaa.o\\asm a");
}

// ---- Quoted lists ------------------------------------------------------------------------------

TEST(QuotedLists, SourcesOfATargetAndLeavesOfTheGraph) {
    EXPECT_EQ(QuoteSources(nullptr), "");
    Appliance appliance;
    appliance.AddBuildStep("x.bin", "link", "a.obj");
    appliance.AddBuildStep("x.bin", "link", "b.obj");
    appliance.AddBuildStep("a.obj", "asm", "src\\a.asm");
    appliance.LabelLoadAddr("data.bin", 0, 0, 0x8000, 4); // a target with no source list
    EXPECT_EQ(QuoteSources(appliance.BuildTargets().Item("x.bin")->Sources.get()),
              "\"a.obj\" \"b.obj\" ");
    EXPECT_EQ(QuoteSources(appliance.BuildTargets().Item("b.obj")->Sources.get()), "");
    EXPECT_EQ(appliance.QuoteLeafFiles(), "\"b.obj\" \"src\\a.asm\" \"data.bin\" ");
    EXPECT_EQ(Appliance().QuoteLeafFiles(), "");
}

// ---- Default commands and products ------------------------------------------------------------

TEST(DefaultLookups, EverythingBehindTheFirstDotOfTheNameCounts) {
    Appliance appliance;
    appliance.BuildAssociations().Add("tar.gz", "unpack %i", "bin");
    appliance.BuildAssociations().Add("gz", "gunzip %i", "tar");
    EXPECT_EQ(appliance.DefaultBuildCommand("x.tar.gz"), "unpack %i");
    EXPECT_EQ(appliance.DefaultOutputPath("x.tar.gz"), "x.bin");
}

TEST(DefaultLookups, TheCommandCountsFolderDotsAndTheProductDoesNot) {
    Appliance appliance;
    appliance.BuildAssociations().Add("asm", "ca65 %i", "obj");
    EXPECT_EQ(appliance.DefaultBuildCommand("C:\\my.dir\\a.asm"), "") << "looks up \"dir\\a.asm\"";
    EXPECT_EQ(appliance.DefaultOutputPath("C:\\my.dir\\a.asm"), "a.obj");
}

TEST(DefaultLookups, ANameWithoutADotHasNoCommandAndNoProductStem) {
    Appliance appliance;
    appliance.BuildAssociations().Add("asm", "ca65 %i", "obj");
    appliance.BuildAssociations().Add("link", "ld65 %i", "rom");
    appliance.RunTarget()->OutputPath = "demo.rom";
    EXPECT_EQ(appliance.DefaultBuildCommand("asm"), "");
    EXPECT_EQ(appliance.DefaultOutputPath("asm"), "") << "no stem to put \"obj\" behind";
    EXPECT_EQ(appliance.DefaultOutputPath("link"), "demo.rom")
        << "the final step's kind of file is the run target's output whatever its name";
    EXPECT_EQ(appliance.DefaultOutputPath("src\\unknown"), "");
}

// ---- Adding a source file through the editor ---------------------------------------------------

class AddingSourceFiles : public ::testing::Test {
protected:
    Appliance appliance;
    test::ScriptedPrompter prompter;
    int handedOver = 0;
    std::function<void(Appliance&)> sourceHost = [this](Appliance& handed) {
        EXPECT_EQ(&handed, &appliance);
        ++handedOver;
    };

    void SetUp() override {
        appliance.Folder = "C:\\w\\";
        appliance.RunTarget()->OutputPath = "demo.rom";
        appliance.BuildAssociations().Add("asm", "%tools%\\ca65 %i -o %o", "obj");
        appliance.BuildAssociations().Add("obj", "%tools%\\ld65 %i -o %o", "rom");
    }

    void ExpectOneAlreadyThereBox() {
        ASSERT_EQ(prompter.Boxes().size(), 1u);
        const auto& box = prompter.Boxes()[0];
        EXPECT_EQ(box.title, "Add Source File");
        EXPECT_EQ(box.text, "The file you are to add already exists in the appliance.");
        EXPECT_EQ(box.buttons, Buttons::Ok);
        EXPECT_EQ(box.icon, Icon::Exclamation);
    }
};

TEST_F(AddingSourceFiles, AnAssemblerSourceGetsItsAssembleAndLinkSteps) {
    EXPECT_TRUE(AddSourceToAppliance(appliance, "C:\\w\\src\\a.asm", prompter, sourceHost));
    EXPECT_TRUE(prompter.Boxes().empty());
    EXPECT_EQ(handedOver, 1);
    EXPECT_EQ(GraphKeys(appliance), (Keys{"a.obj", "src\\a.asm", "demo.rom"}));
    EXPECT_EQ(appliance.BuildTargets().Item("a.obj")->Make, "%tools%\\ca65 %i -o %o");
    EXPECT_EQ(appliance.BuildTargets().Item("demo.rom")->Make, "%tools%\\ld65 %i -o %o");
    EXPECT_EQ(SourceKeys(appliance, "a.obj"), Keys{"src\\a.asm"});
    EXPECT_EQ(SourceKeys(appliance, "demo.rom"), Keys{"a.obj"});
    EXPECT_EQ(LoadKeys(appliance), Keys{"demo.rom" + kUnplaced});

    EXPECT_TRUE(AddSourceToAppliance(appliance, "b.asm", prompter, sourceHost));
    EXPECT_EQ(SourceKeys(appliance, "demo.rom"), (Keys{"a.obj", "b.obj"}));
    EXPECT_EQ(appliance.QuoteLeafFiles(), "\"src\\a.asm\" \"b.asm\" ");
    EXPECT_EQ(handedOver, 2);
}

TEST_F(AddingSourceFiles, AnyOtherFileIsAPlainFileAndIsNotHandedOn) {
    EXPECT_TRUE(AddSourceToAppliance(appliance, "C:\\w\\font.bin", prompter, sourceHost));
    EXPECT_EQ(GraphKeys(appliance), Keys{"font.bin"});
    EXPECT_EQ(appliance.BuildTargets().Item("font.bin")->Make, "");
    EXPECT_EQ(LoadKeys(appliance), Keys{"font.bin" + kUnplaced});
    EXPECT_TRUE(prompter.Boxes().empty());
    EXPECT_EQ(handedOver, 0);
}

TEST_F(AddingSourceFiles, APlainFileThatStandsWithACommandIsRefusedWithTheBox) {
    appliance.AddBuildStep("font.bin", "make font", "font.txt");
    EXPECT_FALSE(AddSourceToAppliance(appliance, "font.bin", prompter, sourceHost));
    ExpectOneAlreadyThereBox();
    EXPECT_EQ(appliance.BuildTargets().Item("font.bin")->Make, "make font");
    EXPECT_EQ(handedOver, 0);
}

TEST_F(AddingSourceFiles, WithoutBothAssociationsNoStepIsAddedButTheFileIsHandedOn) {
    appliance.BuildAssociations().Remove("obj");
    EXPECT_TRUE(AddSourceToAppliance(appliance, "a.asm", prompter, sourceHost));
    EXPECT_TRUE(appliance.BuildTargets().Empty());
    EXPECT_TRUE(prompter.Boxes().empty());
    EXPECT_EQ(handedOver, 1);
    EXPECT_TRUE(AddSourceToAppliance(appliance, "b.asm", prompter, nullptr))
        << "no source host to hand to is fine";
}

TEST_F(AddingSourceFiles, AFailedAssembleStepShowsTheBoxAndAddsNothing) {
    appliance.AddBuildStep("a.obj", "someone else's command", "");
    EXPECT_FALSE(AddSourceToAppliance(appliance, "a.asm", prompter, sourceHost));
    ExpectOneAlreadyThereBox();
    EXPECT_EQ(GraphKeys(appliance), Keys{"a.obj"});
    EXPECT_EQ(handedOver, 0);
}

TEST_F(AddingSourceFiles, AFailedLinkStepTakesTheAssembleStepBackOut) {
    appliance.AddBuildStep("demo.rom", "another linker", "main.obj");
    EXPECT_FALSE(AddSourceToAppliance(appliance, "a.asm", prompter, sourceHost));
    ExpectOneAlreadyThereBox();
    EXPECT_EQ(appliance.BuildTargets().Item("a.obj"), nullptr);
    EXPECT_EQ(SourceKeys(appliance, "demo.rom"), Keys{"main.obj"});
    // The source stays behind as a file of its own, loadable since nothing is built from it.
    EXPECT_EQ(GraphKeys(appliance), (Keys{"demo.rom", "main.obj", "a.asm"}));
    EXPECT_NE(appliance.LoadImages().Item("a.asm", -1, -1), nullptr);
    EXPECT_EQ(appliance.LoadImages().Item("a.obj", -1, -1)->Content->OutputPath, "a.obj")
        << "RemoveBuildStep leaves the product's own entry";
    EXPECT_EQ(handedOver, 0);
}

} // namespace
} // namespace bx
