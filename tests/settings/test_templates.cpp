// The template and plug-in deliveries: the stamp comparison in whole seconds, the unpacking of
// real cabinet files made with gcab, what is deleted before, and the integrity check with its
// one box per missing folder.
#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "platform/Archive.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"
#include "settings/Templates.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace bx {
namespace {

const char* kSettings =
    R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR">)"
    R"(<Body Model="KTR310" TemplateDir="KTR310"/><Body Model="KTR640" TemplateDir="KTR640"/>)"
    R"(</MCU></GlobalSettings>)";

bool HaveGcab() {
    return std::system("command -v gcab >/dev/null 2>&1") == 0;
}

// Packs the files (paths relative to folder, "/" form) into a cabinet file.
void MakeCab(const std::filesystem::path& folder, const std::string& files,
             const std::filesystem::path& cab) {
    const std::string command =
        "cd '" + folder.string() + "' && gcab -c '" + cab.string() + "' " + files + " >/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

// Sets a file's modification time to a local wall-clock time plus a fraction of a second.
void SetLocalTime(const std::filesystem::path& file, const DateStamp& when, long nanoseconds = 0) {
    std::tm fields{};
    fields.tm_year = when.Year - 1900;
    fields.tm_mon = when.Month - 1;
    fields.tm_mday = when.Day;
    fields.tm_hour = when.Hour;
    fields.tm_min = when.Minute;
    fields.tm_sec = when.Second;
    fields.tm_isdst = -1;
    struct timespec times[2];
    times[0].tv_sec = times[1].tv_sec = std::mktime(&fields);
    times[0].tv_nsec = times[1].tv_nsec = nanoseconds;
    ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
}

constexpr DateStamp kArchiveTime{2026, 3, 4, 10, 20, 30};

class TemplatesTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!HaveGcab())
            GTEST_SKIP() << "gcab is not installed; the tests build their cabinet files with it";
        ASSERT_TRUE(settings.LoadXml(kSettings));
        root = program.Native() / "Templates" / "Sarnova";
        std::filesystem::create_directories(root);
        // The delivery: both body folders, one with a sub-folder.
        source.WriteFile("KTR310/main.asm", "; 310\n");
        source.WriteFile("KTR310/inc/sfr.inc", "P0 = $00\n");
        source.WriteFile("KTR640/main.asm", "; 640\n");
        MakeCab(source.Native(), "KTR310/main.asm KTR310/inc/sfr.inc KTR640/main.asm",
                root / "templates.cab");
        SetLocalTime(root / "templates.cab", kArchiveTime);
    }

    test::TempFolder program;
    test::TempFolder source;
    std::filesystem::path root;
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

TEST(ArchiveStamp, ComparesInWholeSecondsAndZeroIsEarlierThanAll) {
    const DateStamp stamp{2026, 3, 4, 10, 20, 30};
    EXPECT_TRUE(ArchiveIsNewer(stamp, {2026, 3, 4, 10, 20, 31}));
    EXPECT_FALSE(ArchiveIsNewer(stamp, stamp));
    EXPECT_FALSE(ArchiveIsNewer(stamp, {2026, 3, 4, 10, 20, 29}));
    EXPECT_TRUE(ArchiveIsNewer(DateStamp{}, {1990, 1, 1, 0, 0, 0}));
}

TEST_F(TemplatesTest, NewerArchiveReplacesTheFoldersSetsTheStampAndGoes) {
    // An old body folder and a loose file of the root: the folder goes, the file stays.
    program.WriteFile("Templates/Sarnova/OLD/x.tpl", "old");
    program.WriteFile("Templates/Sarnova/readme.txt", "kept");
    settings.TemplatesModifiedDate = {2026, 3, 4, 10, 20, 29}; // one second earlier
    RecordingNotice notice;
    EXPECT_EQ(UnpackTemplates(settings, diagnoser, &notice), UnpackResult::Unpacked);
    EXPECT_EQ(program.ReadFile("Templates/Sarnova/KTR310/main.asm"), "; 310\n");
    EXPECT_EQ(program.ReadFile("Templates/Sarnova/KTR310/inc/sfr.inc"), "P0 = $00\n");
    EXPECT_EQ(program.ReadFile("Templates/Sarnova/KTR640/main.asm"), "; 640\n");
    EXPECT_FALSE(std::filesystem::exists(root / "OLD"));
    EXPECT_TRUE(std::filesystem::exists(root / "readme.txt"));
    EXPECT_FALSE(std::filesystem::exists(root / "templates.cab"));
    EXPECT_EQ(settings.TemplatesModifiedDate, kArchiveTime);
    EXPECT_TRUE(settings.IsDirty());
    EXPECT_EQ(notice.calls,
              (std::vector<std::string>{
                  std::string("Show ") + kUnpackNoticeTitle + " " + kUnpackNoticeText, "Hide"}));
}

TEST_F(TemplatesTest, ArchiveOfTheStampsSecondIsNotUnpackedEvenWithAFraction) {
    SetLocalTime(root / "templates.cab", kArchiveTime, 700000000);
    settings.TemplatesModifiedDate = kArchiveTime;
    settings.Save(true); // clears the dirty flag
    EXPECT_EQ(UnpackTemplates(settings, diagnoser, nullptr), UnpackResult::AlreadyUnpacked);
    EXPECT_TRUE(std::filesystem::exists(root / "templates.cab"));
    EXPECT_FALSE(std::filesystem::exists(root / "KTR310"));
    EXPECT_FALSE(settings.IsDirty());
}

TEST_F(TemplatesTest, ArchiveOlderThanTheStampStaysInPlace) {
    settings.TemplatesModifiedDate = {2027, 1, 1, 0, 0, 0};
    EXPECT_EQ(UnpackTemplates(settings, diagnoser, nullptr), UnpackResult::AlreadyUnpacked);
    EXPECT_TRUE(std::filesystem::exists(root / "templates.cab"));
}

TEST_F(TemplatesTest, ZeroStampUnpacksAndASecondStartWithTheArchiveGoneLeavesAllAlone) {
    EXPECT_EQ(UnpackTemplates(settings, diagnoser, nullptr), UnpackResult::Unpacked);
    program.WriteFile("Templates/Sarnova/KTR310/mine.asm", "user's own");
    EXPECT_EQ(UnpackTemplates(settings, diagnoser, nullptr), UnpackResult::NoArchive);
    EXPECT_EQ(program.ReadFile("Templates/Sarnova/KTR310/mine.asm"), "user's own");
    const std::string log = program.ReadFile("vkbx.log");
    EXPECT_NE(log.find("M1 S1010 Templates not found\n"), std::string::npos) << log;
}

TEST_F(TemplatesTest, IntegrityCheckShowsOneBoxPerMissingFolder) {
    EXPECT_FALSE(CheckTemplateIntegrity(settings, prompter));
    ASSERT_EQ(prompter.Boxes().size(), 2u);
    EXPECT_EQ(prompter.Boxes()[0].title, "Checking Folder Integrity");
    EXPECT_EQ(prompter.Boxes()[0].text, "Folder '" + (root / "KTR310").string() +
                                            "/' specified in the global template does not exist. ");
    EXPECT_EQ(prompter.Boxes()[0].icon, Icon::Exclamation);
    EXPECT_NE(prompter.Boxes()[1].text.find("/KTR640/'"), std::string::npos);

    UnpackTemplates(settings, diagnoser, nullptr);
    EXPECT_TRUE(CheckTemplateIntegrity(settings, prompter));
    EXPECT_EQ(prompter.Boxes().size(), 2u);
}

TEST_F(TemplatesTest, IntegrityCheckWithoutABodyTableRaisesAnError) {
    test::ScriptedPrompter quiet;
    GlobalSettings refused(quiet);
    EXPECT_THROW(CheckTemplateIntegrity(refused, prompter), BxError);
}

TEST_F(TemplatesTest, StartUpStepStopsWithTheStopBoxWhenAFolderIsMissing) {
    std::filesystem::remove(root / "templates.cab");
    EXPECT_FALSE(PrepareTemplatesAndPlugIns(settings, prompter, diagnoser, nullptr));
    ASSERT_EQ(prompter.Boxes().size(), 3u);
    EXPECT_EQ(prompter.Boxes()[2].title, "Checking Templates");
    EXPECT_EQ(prompter.Boxes()[2].text, "Templates unusable. Please contact Sarnova.");
    EXPECT_EQ(prompter.Boxes()[2].icon, Icon::Critical);
}

TEST_F(TemplatesTest, PlugInsReplaceEveryFileOfTheirFolderAndUnpackIntoTheProgramsFolder) {
    program.WriteFile("PlugIns/old.so", "old");
    program.WriteFile("PlugIns/oldsub/x", "old");
    source.WriteFile("PlugIns/beeper.ext", "new");
    MakeCab(source.Native(), "PlugIns/beeper.ext", program.Native() / "PlugIns.cab");
    EXPECT_TRUE(PrepareTemplatesAndPlugIns(settings, prompter, diagnoser, nullptr));
    EXPECT_EQ(platform::ListFolder(program.Sub("PlugIns")),
              (std::vector<std::string>{"beeper.ext"}));
    EXPECT_FALSE(std::filesystem::exists(program.Native() / "PlugIns.cab"));
    EXPECT_TRUE(settings.PlugInsModifiedDate.IsSet());
    // No plug-in archive at all: nothing happens, nothing is said.
    EXPECT_EQ(UnpackPlugIns(settings), UnpackResult::NoArchive);
    EXPECT_EQ(platform::ListFolder(program.Sub("PlugIns")),
              (std::vector<std::string>{"beeper.ext"}));
}

TEST(ArchiveExtraction, BrokenArchiveIsReportedWithAReason) {
    test::TempFolder folder;
    const std::string bad = folder.WriteFile("bad.cab", "MSCF this is no cabinet");
    std::string reason;
    EXPECT_FALSE(platform::ExtractArchive(bad, folder.Path(), &reason));
    EXPECT_FALSE(reason.empty());
    EXPECT_FALSE(platform::ExtractArchive(folder.Sub("missing.cab"), folder.Path(), &reason));
}

} // namespace
} // namespace bx
