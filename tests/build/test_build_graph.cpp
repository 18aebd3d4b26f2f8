// The build graph as the appliance keeps it: which steps add and remove which targets and load
// entries, how a command's placeholders expand, the default commands and products, and the
// editor's "add a source file".
#include "appliance/Appliance.h"
#include "build/ApplianceBuildRules.h"
#include "foundation/Error.h"
#include "platform/ProgramFolder.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <gtest/gtest.h>
#include <sstream>

namespace bx {
namespace {

// The graph in one line: each target in order as "key=make[sources]", "=make" only with a
// command and "[...]" only with a source list.
std::string Graph(Appliance& appliance) {
    std::string text;
    for (const auto& entry : appliance.BuildTargets()) {
        text += (text.empty() ? "" : " ") + entry.key;
        if (!entry.item->Make.empty())
            text += "=" + entry.item->Make;
        if (const auto& sources = entry.item->Sources) {
            std::string list;
            for (const auto& source : *sources)
                list += (list.empty() ? "" : ",") + source.key;
            text += "[" + list + "]";
        }
    }
    return text;
}

// The load list's keys, the suffix of an unplaced entry left out.
std::string Loads(Appliance& appliance) {
    std::string text;
    for (const auto& entry : appliance.LoadImages()) {
        std::string key = entry.key;
        if (key.ends_with("@FFFF:FFFFFFFF"))
            key.resize(key.size() - 14);
        text += (text.empty() ? "" : " ") + key;
    }
    return text;
}

// Runs a script of steps: "out<src:make" adds a step, "-name" removes one, "@name" places a
// file at 01:4000 with 16 bytes.
void Steps(Appliance& appliance, const std::string& script) {
    std::istringstream steps(script);
    for (std::string step; std::getline(steps, step, ';');) {
        step.erase(0, step.find_first_not_of(' '));
        if (step[0] == '-') {
            appliance.RemoveBuildStep(step.substr(1));
        } else if (step[0] == '@') {
            appliance.LabelLoadAddr(step.substr(1), 0, 1, 0x4000, 16);
        } else {
            const std::size_t from = step.find('<'), make = step.rfind(':');
            appliance.AddBuildStep(step.substr(0, from), step.substr(make + 1),
                                   step.substr(from + 1, make - from - 1));
        }
    }
}

TEST(BuildGraph, StepsAddAndRemoveTargetsAndLoadEntries) {
    // x.bin is linked from a.obj and b.obj, each assembled from its source.
    const std::string linked = "a.obj<a.asm:asm; b.obj<b.asm:asm; x.bin<a.obj:link; "
                               "x.bin<b.obj:link; ";
    struct Row {
        std::string script, graph, loads;
    };
    const Row rows[] = {
        // Product and source enter the graph (a source with an empty list), only the product
        // the load list; the same step twice is harmless.
        {"a.obj<a.asm:asm %i; a.obj<a.asm:asm %i", "a.obj=asm %i[a.asm] a.asm[]", "a.obj"},
        // A file known only as a source takes its command later; what is built into something
        // isn't loaded by itself.
        {"x.bin<a.obj:link; a.obj<a.asm:asm", "x.bin=link[a.obj] a.obj=asm[a.asm] a.asm[]",
         "x.bin"},
        // Sources keep their order and are held once.
        {"x.bin<b.obj:link; x.bin<a.obj:link; x.bin<b.obj:link",
         "x.bin=link[b.obj,a.obj] b.obj[] a.obj[]", "x.bin"},
        // A file that becomes a source leaves the load list, placed or not.
        {"a.obj<:; b.obj<:; @b.obj; x.bin<a.obj:link; x.bin<b.obj:link",
         "a.obj[] b.obj[] x.bin=link[a.obj,b.obj]", "x.bin"},
        // A product placed before it had a step gets a source list.
        {"@x.bin; x.bin<a.obj:link", "x.bin=link[a.obj] a.obj[]", "x.bin@01:4000"},
        // A product keeps going while it has a source left; the source that is built into
        // nothing now becomes loadable.
        {linked + "-a.obj", "a.asm[] b.obj=asm[b.asm] b.asm[] x.bin=link[b.obj]", "x.bin a.asm"},
        // A product that loses its last source goes with it (its own load entry is
        // RemoveLoadItem's business); the cascade climbs the whole chain.
        {linked + "-a.obj; -b.obj", "a.asm[] b.asm[]", "x.bin a.asm b.asm"},
        {"a.obj<a.asm:asm; x.bin<a.obj:link; y.rom<x.bin:pack; -a.asm", "", "y.rom"},
        // Removing a product makes its sources loadable again.
        {linked + "-x.bin", "a.obj=asm[a.asm] a.asm[] b.obj=asm[b.asm] b.asm[]",
         "x.bin a.obj b.obj"},
        // A shared source gets one load entry; an unknown name changes nothing.
        {"a.obj<inc:asm; b.obj<inc:asm; -a.obj; -b.obj; -nothing", "inc[]", "a.obj b.obj inc"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.script);
        Appliance appliance;
        Steps(appliance, row.script);
        EXPECT_EQ(Graph(appliance), row.graph);
        EXPECT_EQ(Loads(appliance), row.loads);
        EXPECT_TRUE(appliance.IsDirty());
    }
    Appliance fresh;
    fresh.RemoveBuildStep("nothing.obj");
    EXPECT_TRUE(fresh.IsDirty()) << "also for an unknown name";
}

TEST(BuildGraph, AnotherCommandForAnExistingStepIsTheBuildStepErrorAndChangesNothing) {
    Appliance appliance;
    Steps(appliance, "a.obj<a.asm:cmd");
    try {
        appliance.AddBuildStep("a.obj", "other", "b.asm");
        ADD_FAILURE() << "a different command must be refused";
    } catch (const BxError& error) {
        EXPECT_EQ(error.Number, static_cast<int32_t>(0x80040001u));
        EXPECT_EQ(error.Source, "Appliance Object");
        EXPECT_EQ(error.Description, "Existing build target has a different build command.");
    }
    EXPECT_THROW(appliance.AddBuildStep("a.obj", "", ""), BxError) << "the empty one differs too";
    EXPECT_EQ(Graph(appliance), "a.obj=cmd[a.asm] a.asm[]");
}

TEST(BuildGraph, NamesBelowTheWorkingFolderAreKeptRelativeAndReadyMadeFilesArePlacedAtOnce) {
    // Only a longer name that begins with the folder exactly loses it.
    Appliance named;
    named.Folder = "C:\\w\\";
    Steps(named, "C:\\w\\a.obj<C:\\w\\src\\a.asm:cmd; C:\\w\\x.bin<C:\\other\\lib.obj:link; "
                 "C:\\w\\<:; c:\\w\\y.bin<:");
    EXPECT_EQ(Graph(named), "a.obj=cmd[src\\a.asm] src\\a.asm[] x.bin=link[C:\\other\\lib.obj] "
                            "C:\\other\\lib.obj[] C:\\w\\[] c:\\w\\y.bin[]");
    // Only a waiting file with content and no source is placed, at the cursor, under its
    // relative name; a relative name is measured in the appliance's folder, not the current one.
    test::TempFolder work, elsewhere;
    Appliance appliance;
    appliance.Folder = work.Path() + "\\";
    appliance.NextBank = 2;
    appliance.NextAddress = 0x4000;
    const std::string far = elsewhere.WriteFile("far.bin", "abc");
    work.WriteFile("obj\\lib.bin", std::string(100, 'x'));
    work.WriteFile("empty.bin", "");
    work.WriteFile("a.obj", "x");
    Steps(appliance, "empty.bin<:; missing.bin<:; a.obj<a.asm:asm; " + work.Sub("obj\\lib.bin") +
                         "<:; obj\\lib.bin<:; " + far + "<:");
    EXPECT_EQ(Loads(appliance),
              "empty.bin missing.bin a.obj obj\\lib.bin@02:4000 " + far + "@02:4064");
    EXPECT_EQ(appliance.NextAddress, 0x4000 + 100 + 3);
    EXPECT_EQ(appliance.LoadImages().Item("obj\\lib.bin", 0x4000, 2)->Size, 100);
}

TEST(BuildGraph, CommandsExpandTheirPlaceholdersExactly) {
    // The program's folder, the steps (the first target's command is expanded), forward
    // slashes or not, and the command as it is run.
    const std::tuple<const char*, const char*, bool, const char*> rows[] = {
        {"C:\\p",
         "obj\\a.o<a.asm:asm %i -o %o -l %n.lst && echo %o; obj\\a.o<b.inc:asm %i -o %o -l %n.lst "
         "&& echo %o",
         false, "asm \"a.asm\" \"b.inc\"  -o obj\\a.o -l obj\\a.lst && echo obj\\a.o"},
        // Forward slashes turn every backslash of the finished text.
        {"C:\\p", "obj\\a.o<src\\a.asm:%tools%\\asm %i -o %o", true,
         "C:/p/asm \"src/a.asm\"  -o obj/a.o"},
        // Only the exact placeholders count; no sources give no inputs.
        {"C:\\p", "a.o<a.asm:%tools% %TOOLS%\\ %I %N %O %", false, "%tools% %TOOLS%\\ %I %N %O %"},
        {"C:\\p", "x.bin<:link %i-%o", false, "link -x.bin"},
        // Placeholders inside the tools folder: "%i" and "%n" only where the stored command
        // asks for them, "%o" always.
        {"C:\\%i%n%o", "a.o<:%tools%\\asm", false, "C:\\%i%na.o\\asm"},
        {"C:\\%i%n%o", "a.o<:%tools%\\asm %n", false, "C:\\%iaa.o\\asm a"}};
    for (const auto& [tools, script, forwardSlashes, expanded] : rows) {
        platform::ScopedProgramFolder programFolder(tools);
        Appliance appliance;
        Steps(appliance, script);
        EXPECT_EQ(appliance.ExpandMake(*appliance.BuildTargets().First(), forwardSlashes), expanded)
            << script;
    }
}

TEST(BuildGraph, DefaultStepsOfASourceFileAndWhatAddingOneDoes) {
    Appliance appliance;
    appliance.Folder = "C:\\w\\";
    appliance.RunTarget()->OutputPath = "demo.rom";
    appliance.BuildAssociations().Add("tar.gz", "unpack %i", "bin");
    appliance.BuildAssociations().Add("asm", "ca65 %i", "obj");
    appliance.BuildAssociations().Add("obj", "ld65 %i", "rom");
    appliance.BuildAssociations().Add("inc", "", "");
    // Everything behind the first dot of the name is the kind of file: the command counts the
    // folder's dots, the product doesn't; the final step's kind of file makes the run target.
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"x.tar.gz", "unpack %i", "x.bin"},
        {"C:\\my.dir\\a.asm", "", "a.obj"},
        {"src\\main.asm", "ca65 %i", "main.obj"},
        {"asm", "", ""},
        {"b.obj", "ld65 %i", "demo.rom"},
        {"defs.inc", "", ""},
        {"src\\unknown", "", ""},
        {"x.c", "", ""}};
    for (const auto& [file, command, output] : rows) {
        EXPECT_EQ(appliance.DefaultBuildCommand(file), command) << file;
        EXPECT_EQ(appliance.DefaultOutputPath(file), output) << file;
    }
    // Adding a file says what became of it: the result, the boxes and the hand-overs. An
    // assembler source gets its assemble and link steps; any other file is a plain file.
    auto add = [&appliance](const std::string& path) {
        int handedOver = 0;
        test::ScriptedPrompter prompter;
        const bool added =
            AddSourceToAppliance(appliance, path, prompter, [&](Appliance&) { ++handedOver; });
        std::string boxes;
        for (const auto& box : prompter.Boxes())
            boxes += " | " + box.title + ": " + box.text;
        return (added ? "added" : "refused") + std::string(handedOver ? " and handed on" : "") +
               boxes;
    };
    EXPECT_EQ(add("C:\\w\\src\\a.asm"), "added and handed on");
    EXPECT_EQ(add("C:\\w\\font.bin"), "added");
    EXPECT_EQ(Graph(appliance),
              "a.obj=ca65 %i[src\\a.asm] src\\a.asm[] demo.rom=ld65 %i[a.obj] font.bin[]");
    EXPECT_EQ(appliance.QuoteLeafFiles(), "\"src\\a.asm\" \"font.bin\" ");
    EXPECT_EQ(QuoteSources(appliance.BuildTargets().Item("demo.rom")->Sources.get()), "\"a.obj\" ");
    EXPECT_EQ(QuoteSources(nullptr), "");
    // A file that stands with another command is refused; a failed link step takes the
    // assemble step back out, and the source stays, loadable.
    const std::string box = "refused | Add Source File: The file you are to add already exists "
                            "in the appliance.";
    Steps(appliance, "font.bin<font.txt:make font; b.obj<:other");
    EXPECT_EQ(add("font.bin"), box);
    EXPECT_EQ(add("b.asm"), box);
    appliance.RunTarget()->OutputPath = "x.rom";
    Steps(appliance, "x.rom<main.obj:another linker");
    EXPECT_EQ(add("c.asm"), box);
    // Without both associations no step is added, but the file is handed on.
    appliance.BuildAssociations().Remove("obj");
    EXPECT_EQ(add("d.asm"), "added and handed on");
    EXPECT_EQ(Graph(appliance), "a.obj=ca65 %i[src\\a.asm] src\\a.asm[] demo.rom=ld65 %i[a.obj] "
                                "font.bin=make font[font.txt] font.txt[] b.obj=other[] "
                                "x.rom=another linker[main.obj] main.obj[] c.asm[]");
    // c.obj's own load entry stays: taking a step back doesn't remove it.
    EXPECT_EQ(Loads(appliance), "demo.rom font.bin b.obj x.rom c.obj c.asm");
}

} // namespace
} // namespace bx
