// The file-system service: path forms, what exists, copy and delete (never a read-only file),
// stamps, folders, the current directory and the one save routine.
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "support/TempFolder.h"

#include <array>
#include <chrono>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bx::platform {
namespace {

namespace fs = std::filesystem;
using bx::test::TempFolder;
using Names = std::vector<std::string>;

void MakeReadOnly(const TempFolder& folder, const std::string& relative) {
    fs::permissions(folder.Native() / ToNativePath(relative),
                    fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
}

TEST(Paths, SeparatorsAreSwappedBothWaysAndNothingElseChanges) {
    const std::pair<const char*, const char*> rows[] = {
        {"C:\\Projects\\demo.bxa", "C:/Projects/demo.bxa"},
        {"\\tmp\\a b\\\xC3\xA9t\xC3\xA9.s", "/tmp/a b/\xC3\xA9t\xC3\xA9.s"},
        {"folder\\", "folder/"},
        {"\\\\server\\share", "//server/share"},
        {"", ""}};
    for (const auto& [backslashed, native] : rows) {
        EXPECT_EQ(ToNativePath(backslashed), native);
        EXPECT_EQ(FromNativePath(native), backslashed);
    }
}

TEST(FileSystem, ExistenceSizesStampsAndContentsOfFilesFoldersAndMissingPaths) {
    TempFolder folder;
    const std::string bytes("line\r\nnul\0end\xFF", 14);
    const std::string file = folder.WriteFile("sub\\a.bin", bytes);
    EXPECT_TRUE(FileExists(file) && !FolderExists(file));
    EXPECT_EQ(FileSize(file), std::optional<uint64_t>(14));
    EXPECT_EQ(ReadFile(file), std::optional<std::string>(bytes));
    EXPECT_EQ(ReadFileSlice(file, 2, 3), std::optional<std::string>("ne\r"));
    EXPECT_EQ(ReadFileSlice(file, 12, 5), std::optional<std::string>("d\xFF"));
    EXPECT_EQ(ReadFileSlice(file, 20, 5), std::optional<std::string>(""));
    for (const char* sub : {"sub", "sub\\"})
        EXPECT_TRUE(FolderExists(folder.Sub(sub)) && !FileExists(folder.Sub(sub))) << sub;
    for (const std::string& path :
         {folder.Sub("absent"), folder.Sub("absent\\a"), folder.Path(), std::string()}) {
        EXPECT_FALSE(FileExists(path)) << path;
        EXPECT_FALSE(LastWriteTime(path) || FileSize(path) || ReadFile(path)) << path;
    }
    EXPECT_EQ(ReadFileSlice(folder.Sub("absent"), 0, 1), std::nullopt);
    // The stamp counts 100 ns units and grows when the file is written.
    const auto earlier = fs::file_time_type::clock::now() - std::chrono::hours(1);
    fs::last_write_time(folder.Native() / "sub/a.bin", earlier);
    const std::optional<uint64_t> first = LastWriteTime(file);
    fs::last_write_time(folder.Native() / "sub/a.bin", earlier + std::chrono::seconds(1));
    ASSERT_TRUE(first && LastWriteTime(file));
    EXPECT_EQ(*LastWriteTime(file) - *first, 10'000'000u);
    ASSERT_TRUE(AppendToFile(file, "y"));
    EXPECT_GT(*LastWriteTime(file), *first + 10'000'000u);
}

TEST(FileSystem, LastWriteIsGivenAsLocalWallClockFieldsCutToTheSecond) {
    TempFolder folder;
    const std::string file = folder.WriteFile("a.cab", "x");
    std::tm fields{};
    ::strptime("2026-11-21 09:08:07", "%Y-%m-%d %H:%M:%S", &fields);
    fields.tm_isdst = -1;
    struct timespec times[2];
    times[0].tv_sec = times[1].tv_sec = std::mktime(&fields);
    times[0].tv_nsec = times[1].tv_nsec = 999999999;
    ASSERT_EQ(::utimensat(AT_FDCWD, (folder.Native() / "a.cab").c_str(), times, 0), 0);
    const auto local = LastWriteLocalTime(file);
    ASSERT_TRUE(local);
    EXPECT_EQ((std::array{local->Year, local->Month, local->Day, local->Hour, local->Minute,
                          local->Second}),
              (std::array{2026, 11, 21, 9, 8, 7}));
    EXPECT_FALSE(LastWriteLocalTime(folder.Sub("missing")));
}

TEST(FileSystem, CopyNeedsASourceATargetFolderAndOverwriteForAnExistingTarget) {
    const std::string source("a\0b\xFF", 4), old = "the old and longer content";
    const std::tuple<const char*, const char*, bool, bool, std::optional<std::string>> rows[] = {
        {"from.bin", "new.bin", false, true, source},
        {"from.bin", "to.txt", false, false, old},
        {"from.bin", "to.txt", true, true, source},
        {"from.bin", "from.bin", true, false, source},
        {"absent.txt", "new.bin", true, false, std::nullopt},
        {"from.bin", "absent\\to.txt", true, false, std::nullopt}};
    for (const auto& [from, to, overwrite, copied, target] : rows) {
        SCOPED_TRACE(std::string(from) + " -> " + to);
        TempFolder folder;
        folder.WriteFile("from.bin", source);
        folder.WriteFile("to.txt", old);
        EXPECT_EQ(CopyFile(folder.Sub(from), folder.Sub(to), overwrite), copied);
        EXPECT_EQ(ReadFile(folder.Sub(to)), target);
        EXPECT_EQ(folder.ReadFile("from.bin"), source);
    }
}

TEST(FileSystem, DeleteTakesWritableFilesOnlyAndWildcardsSkipALeadingDot) {
    TempFolder folder;
    for (const char* name : {"a.cfg", "locked.cfg", "sub\\b.cfg", "dir.cfg\\x"})
        folder.WriteFile(name, "x");
    MakeReadOnly(folder, "locked.cfg");
    EXPECT_FALSE(DeleteFile(folder.Sub("locked.cfg")));
    EXPECT_FALSE(DeleteFile(folder.Sub("sub")));
    EXPECT_EQ(DeleteFiles(folder.Sub("*.cfg")), 1);
    EXPECT_FALSE(DeleteFile(folder.Sub("a.cfg"))) << "already gone";
    EXPECT_EQ(ListFolder(folder.Path()), (Names{"dir.cfg", "locked.cfg", "sub"}));
    EXPECT_TRUE(DeleteFile(folder.Sub("sub\\b.cfg")));

    const std::tuple<Names, const char*, int, Names> rows[] = {
        {{"main.obj", "util.obj", "main.s", "main.obj.bak"},
         "*.obj",
         2,
         {"main.obj.bak", "main.s"}},
        {{"a1.bin", "a22.bin", "a.bin"}, "a?.bin", 1, {"a.bin", "a22.bin"}},
        {{"a.bin", "a22.bin"}, "?*.bin", 2, {}},
        {{"demo.rom", "demo.romx"}, "demo.rom", 1, {"demo.romx"}},
        {{"main.s"}, "absent\\*.s", 0, {"main.s"}},
        {{".demo.bxa.tmp1-0", "x.tmp"}, "*", 1, {".demo.bxa.tmp1-0"}},
        {{".demo.bxa.tmp1-0"}, ".*", 1, {}}};
    for (const auto& [files, pattern, deleted, remaining] : rows) {
        SCOPED_TRACE(pattern);
        TempFolder patterns;
        for (const std::string& name : files)
            patterns.WriteFile(name, "x");
        EXPECT_EQ(DeleteFiles(patterns.Sub(pattern)), deleted);
        EXPECT_EQ(ListFolder(patterns.Path()), remaining);
    }
}

TEST(FileSystem, FoldersAndTheCurrentDirectory) {
    TempFolder folder;
    folder.WriteFile("taken", "x");
    EXPECT_TRUE(CreateFolder(folder.Sub("new\\")));
    EXPECT_FALSE(CreateFolder(folder.Sub("new")));
    EXPECT_FALSE(CreateFolder(folder.Sub("a\\b"))) << "the parent must exist";
    EXPECT_FALSE(CreateFolder(folder.Sub("taken")));
    EXPECT_FALSE(CreateFolder(""));
    EXPECT_EQ(ListFolder(folder.Path()), (Names{"new", "taken"}));
    EXPECT_EQ(ListFolder(folder.Sub("absent")), Names{});

    // The current directory reads back in backslash form; relative paths follow it.
    ScopedCurrentDirectory keep;
    const std::string expected = FromNativePath(fs::canonical(folder.Native()).string());
    ASSERT_TRUE(SetCurrentDirectory(folder.Path() + "\\"));
    EXPECT_EQ(CurrentDirectory(), expected);
    EXPECT_FALSE(SetCurrentDirectory(folder.Sub("absent")));
    EXPECT_FALSE(SetCurrentDirectory(""));
    EXPECT_EQ(CurrentDirectory(), expected);
    EXPECT_TRUE(FileExists("taken"));
    EXPECT_EQ(DeleteFiles("t*"), 1);
}

TEST(FileSystemSave, ReplacesTheWholeFileOrFailsWithTheOldOneKeptAndNoTemporaryLeft) {
    TempFolder folder;
    const std::string path = folder.WriteFile("settings.gss", std::string(10000, 'o'));
    ASSERT_TRUE(WriteFileAtomic(path, std::string("a\0b\r\n", 5)));
    EXPECT_EQ(folder.ReadFile("settings.gss"), std::string("a\0b\r\n", 5));
    ASSERT_TRUE(WriteFileAtomic(folder.Sub("new.txt"), "new"));
    ASSERT_TRUE(CreateFolder(folder.Sub("dir")));
    std::string whyNot;
    EXPECT_FALSE(WriteFileAtomic(folder.Sub("absent\\x.txt"), "x", &whyNot));
    EXPECT_EQ(whyNot, "No such file or directory");
    EXPECT_FALSE(WriteFileAtomic(folder.Sub("dir"), "x"));
    EXPECT_FALSE(AppendToFile(folder.Sub("absent\\log.txt"), "x"));
    EXPECT_FALSE(AppendToFile(folder.Sub("dir"), "x"));
    // A write that stops half-way, as on a full disk, keeps the old file.
    rlimit previous{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &previous), 0);
    auto previousSignal = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limited = previous;
    limited.rlim_cur = 100;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limited), 0);
    const bool written = WriteFileAtomic(folder.Sub("new.txt"), std::string(100000, 'n'));
    ::setrlimit(RLIMIT_FSIZE, &previous);
    std::signal(SIGXFSZ, previousSignal);
    EXPECT_FALSE(written);
    EXPECT_EQ(folder.ReadFile("new.txt"), "new");
    EXPECT_EQ(ListFolder(folder.Path()), (Names{"dir", "new.txt", "settings.gss"}));
}

// What the person set on a file survives a save: read-only stays unwritten, the mode stays,
// a link stays a link.
TEST(FileSystemSave, KeepsModeLinksAndReadOnly) {
    TempFolder folder;
    const std::string locked = folder.WriteFile("locked.apl", "old");
    MakeReadOnly(folder, "locked.apl");
    std::string whyNot;
    EXPECT_FALSE(WriteFileAtomic(locked, "new", &whyNot));
    EXPECT_EQ(whyNot, "the file is read-only");
    EXPECT_EQ(folder.ReadFile("locked.apl"), "old");

    const std::string secret = folder.WriteFile("secret.apl", "old");
    fs::permissions(folder.Native() / "secret.apl", fs::perms::owner_read | fs::perms::owner_write);
    ASSERT_TRUE(WriteFileAtomic(secret, "new"));
    EXPECT_EQ(fs::status(folder.Native() / "secret.apl").permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);

    folder.WriteFile("real\\target.gss", "old");
    fs::create_symlink("real/target.gss", folder.Native() / "link.gss");
    ASSERT_TRUE(WriteFileAtomic(folder.Sub("link.gss"), "new"));
    EXPECT_TRUE(fs::is_symlink(folder.Native() / "link.gss"));
    EXPECT_EQ(folder.ReadFile("real\\target.gss"), "new");
}

TEST(FileSystemSave, ASaveOfAFileThisUserMayNotWriteIsRefusedWhereTheFolderWouldAllowIt) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "making a file of another user needs the superuser";
    TempFolder folder;
    const std::string path = folder.WriteFile("theirs.apl", "old");
    fs::permissions(folder.Native(), fs::perms::all); // anyone may replace files in it
    fs::permissions(folder.Native() / "theirs.apl",
                    fs::perms::owner_read | fs::perms::owner_write | fs::perms::others_read);
    const pid_t child = ::fork();
    if (child == 0) {
        std::string whyNot;
        ::_exit(::setgid(65534) == 0 && ::setuid(65534) == 0 &&
                        !WriteFileAtomic(path, "new", &whyNot) && whyNot == "the file is read-only"
                    ? 0
                    : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(folder.ReadFile("theirs.apl"), "old");
}

} // namespace
} // namespace bx::platform
