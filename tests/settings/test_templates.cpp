// The template and plug-in deliveries: the stamp comparison in whole seconds, the unpacking of
// real cabinet files made with gcab, what is deleted before, and the integrity check with its
// one box per missing folder.
#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"
#include "settings/Templates.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>

namespace bx {
namespace {

namespace fs = std::filesystem;

constexpr DateStamp kArchiveTime{2026, 3, 4, 10, 20, 30};

class TemplatesTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::system("command -v gcab >/dev/null 2>&1") != 0)
            GTEST_SKIP() << "gcab is not installed; the tests build their cabinet files with it";
        ASSERT_TRUE(settings.LoadXml(
            R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR">)"
            R"(<Body Model="KTR310" TemplateDir="KTR310"/><Body Model="KTR640" TemplateDir="KTR640"/>)"
            R"(</MCU></GlobalSettings>)"));
        // The delivery: both body folders, one with a sub-folder.
        source.WriteFile("KTR310/main.asm", "; 310\n");
        source.WriteFile("KTR310/inc/sfr.inc", "P0 = $00\n");
        source.WriteFile("KTR640/main.asm", "; 640\n");
        fs::create_directories(root);
        Pack("KTR310/main.asm KTR310/inc/sfr.inc KTR640/main.asm", root / "templates.cab");
    }
    // Packs files of the delivery into a cabinet file made at the archive's local time (and a
    // fraction of a second).
    void Pack(const std::string& files, const fs::path& cab, const std::string& fraction = "") {
        const std::string command = "cd '" + source.Native().string() + "' && gcab -c '" +
                                    cab.string() + "' " + files + " >/dev/null && touch -d '" +
                                    kArchiveTime.ToIsoText() + fraction + "' '" + cab.string() +
                                    "'";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }

    test::TempFolder program;
    test::TempFolder source;
    fs::path root = program.Native() / "Templates" / "Sarnova";
    platform::ScopedProgramFolder useProgram{program.Path()};
    Diagnoser diagnoser{program.Sub("vkbx.log")};
    test::ScriptedPrompter prompter;
    GlobalSettings settings{prompter};
};

struct RecordingNotice : UnpackNotice {
    void Show(const std::string& title, const std::string& text) override {
        calls.push_back("Show " + title + " " + text);
    }
    void Hide() override { calls.push_back("Hide"); }
    std::vector<std::string> calls;
};

TEST_F(TemplatesTest, ANewerArchiveReplacesTheFoldersSetsTheStampAndGoesOnce) {
    // An old body folder and a loose file of the root: the folder goes, the file stays.
    program.WriteFile("Templates/Sarnova/OLD/x.tpl", "old");
    program.WriteFile("Templates/Sarnova/readme.txt", "kept");
    settings.TemplatesModifiedDate = {2026, 3, 4, 10, 20, 29}; // one second earlier
    settings.Save(true);                                       // clears the dirty flag
    RecordingNotice notice;
    EXPECT_EQ(UnpackTemplates(settings, diagnoser, &notice), UnpackResult::Unpacked);
    EXPECT_EQ(program.ReadFile("Templates/Sarnova/KTR310/inc/sfr.inc"), "P0 = $00\n");
    EXPECT_EQ(program.ReadFile("Templates/Sarnova/KTR640/main.asm"), "; 640\n");
    EXPECT_EQ(platform::ListFolder(program.Sub("Templates\\Sarnova")),
              (std::vector<std::string>{"KTR310", "KTR640", "readme.txt"}));
    EXPECT_EQ(settings.TemplatesModifiedDate, kArchiveTime);
    EXPECT_TRUE(settings.IsDirty());
    EXPECT_EQ(notice.calls,
              (std::vector<std::string>{
                  std::string("Show ") + kUnpackNoticeTitle + " " + kUnpackNoticeText, "Hide"}));
    // The next start finds no archive and leaves the person's own files alone.
    program.WriteFile("Templates/Sarnova/KTR310/mine.asm", "user's own");
    EXPECT_EQ(UnpackTemplates(settings, diagnoser, nullptr), UnpackResult::NoArchive);
    EXPECT_EQ(program.ReadFile("Templates/Sarnova/KTR310/mine.asm"), "user's own");
    EXPECT_NE(program.ReadFile("vkbx.log").find("M1 S1010 Templates not found\n"),
              std::string::npos);
}

TEST_F(TemplatesTest, AnArchiveOfTheStampsSecondOrOlderStaysInPlace) {
    for (DateStamp stamp : {kArchiveTime, DateStamp{2027, 1, 1, 0, 0, 0}}) {
        // A fraction of a second doesn't make it newer.
        Pack("KTR310/main.asm", root / "templates.cab", ".7");
        settings.TemplatesModifiedDate = stamp;
        settings.Save(true);
        EXPECT_EQ(UnpackTemplates(settings, diagnoser, nullptr), UnpackResult::AlreadyUnpacked);
        EXPECT_TRUE(fs::exists(root / "templates.cab"));
        EXPECT_FALSE(fs::exists(root / "KTR310"));
        EXPECT_FALSE(settings.IsDirty());
    }
}

TEST_F(TemplatesTest, IntegrityCheckShowsOneBoxPerMissingFolderAndTheStartUpStopsThen) {
    fs::remove(root / "templates.cab");
    EXPECT_FALSE(PrepareTemplatesAndPlugIns(settings, prompter, diagnoser, nullptr));
    std::vector<std::string> boxes;
    for (const test::RecordedBox& box : prompter.Boxes())
        boxes.push_back(box.title + ": " + box.text);
    const std::string missing = "' specified in the global template does not exist. ";
    EXPECT_EQ(boxes,
              (std::vector<std::string>{
                  "Checking Folder Integrity: Folder '" + (root / "KTR310/").string() + missing,
                  "Checking Folder Integrity: Folder '" + (root / "KTR640/").string() + missing,
                  "Checking Templates: Templates unusable. Please contact Sarnova."}));
    EXPECT_EQ(prompter.Boxes()[2].icon, Icon::Critical);
    // Settings of a refused version have no body table to check.
    test::ScriptedPrompter quiet;
    GlobalSettings refused(quiet);
    EXPECT_THROW(CheckTemplateIntegrity(refused, prompter), BxError);
}

TEST_F(TemplatesTest, PlugInsReplaceEveryFileOfTheirFolderAndUnpackIntoTheProgramsFolder) {
    program.WriteFile("PlugIns/old.so", "old");
    program.WriteFile("PlugIns/oldsub/x", "old");
    source.WriteFile("PlugIns/beeper.ext", "new");
    Pack("PlugIns/beeper.ext", program.Native() / "PlugIns.cab");
    EXPECT_TRUE(PrepareTemplatesAndPlugIns(settings, prompter, diagnoser, nullptr));
    EXPECT_TRUE(prompter.Boxes().empty());
    EXPECT_EQ(platform::ListFolder(program.Sub("PlugIns")),
              (std::vector<std::string>{"beeper.ext"}));
    EXPECT_FALSE(fs::exists(program.Native() / "PlugIns.cab"));
    EXPECT_TRUE(settings.PlugInsModifiedDate.IsSet());
    EXPECT_EQ(UnpackPlugIns(settings), UnpackResult::NoArchive);
}

} // namespace
} // namespace bx
