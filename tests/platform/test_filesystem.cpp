#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "support/TempFolder.h"

#include <chrono>
#include <csignal>
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

// --- Path conversion --------------------------------------------------------------------------

TEST(Paths, SeparatorsAreSwappedBothWaysAndNothingElseChanges) {
    struct Row {
        std::string backslashed, native;
    };
    const Row rows[] = {
        {"C:\\Projects\\Demo\\demo.bxa", "C:/Projects/Demo/demo.bxa"},
        {"\\tmp\\a b\\\xC3\xA9t\xC3\xA9.s", "/tmp/a b/\xC3\xA9t\xC3\xA9.s"},
        {"folder\\", "folder/"},
        {"relative\\x.s", "relative/x.s"},
        {"\\\\server\\share", "//server/share"},
        {"no separator", "no separator"},
        {"", ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.backslashed);
        EXPECT_EQ(ToNativePath(row.backslashed), row.native);
        EXPECT_EQ(FromNativePath(row.native), row.backslashed);
        EXPECT_EQ(FromNativePath(ToNativePath(row.backslashed)), row.backslashed);
    }
    EXPECT_EQ(ToNativePath("already/native"), "already/native");
}

// --- Existence --------------------------------------------------------------------------------

TEST(FileSystemExists, FilesFoldersAndMissingPathsAreToldApart) {
    TempFolder folder;
    folder.WriteFile("sub\\a.txt", "x");
    struct Row {
        std::string path;
        bool file, folder;
    };
    const Row rows[] = {
        {folder.Sub("sub\\a.txt"), true, false},
        {folder.Sub("sub"), false, true},
        {folder.Sub("sub\\"), false, true},
        {folder.Sub("absent.txt"), false, false},
        {folder.Sub("absent"), false, false},
        {folder.Sub("absent\\a.txt"), false, false},
        {"", false, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.path);
        EXPECT_EQ(FileExists(row.path), row.file);
        EXPECT_EQ(FolderExists(row.path), row.folder);
    }
}

// --- Copying ----------------------------------------------------------------------------------

TEST(FileSystemCopy, CopiesUnlessTargetExistsWithoutOverwriteOrSourceTargetFolderIsMissing) {
    const std::string source("a\0b\xFF", 4), old = "the old and longer content";
    struct Row {
        const char* from;
        const char* to;
        bool overwrite, copied;
        std::optional<std::string> target; // the target's content afterwards
    };
    const Row rows[] = {
        {"from.bin", "new.bin", false, true, source},
        {"from.bin", "to.txt", false, false, old},
        {"from.bin", "to.txt", true, true, source},
        {"from.bin", "from.bin", true, false, source},
        {"absent.txt", "new.bin", true, false, std::nullopt},
        {"from.bin", "absent\\to.txt", true, false, std::nullopt},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.from) + " -> " + row.to);
        TempFolder folder;
        folder.WriteFile("from.bin", source);
        folder.WriteFile("to.txt", old);
        EXPECT_EQ(CopyFile(folder.Sub(row.from), folder.Sub(row.to), row.overwrite), row.copied);
        EXPECT_EQ(ReadFile(folder.Sub(row.to)), row.target);
        EXPECT_EQ(folder.ReadFile("from.bin"), source);
    }
}

// --- Deleting ---------------------------------------------------------------------------------

TEST(FileSystemDelete, DeletesOneWritableFileButNeverAFolderOrReadOnlyFile) {
    TempFolder folder;
    std::string file = folder.WriteFile("a.txt", "x");
    std::string locked = folder.WriteFile("locked.rom", "x");
    MakeReadOnly(folder, "locked.rom");
    ASSERT_TRUE(CreateFolder(folder.Sub("sub")));
    EXPECT_TRUE(DeleteFile(file));
    EXPECT_FALSE(DeleteFile(file)) << "already gone";
    EXPECT_FALSE(DeleteFile(folder.Sub("sub")));
    EXPECT_FALSE(DeleteFile(locked));
    EXPECT_EQ(ListFolder(folder.Path()), (Names{"locked.rom", "sub"}));
}

TEST(FileSystemDeletePattern, WildcardsMatchNamesInTheFolderButNotALeadingDot) {
    struct Row {
        Names files;
        std::string pattern;
        int deleted;
        Names remaining;
    };
    const Row rows[] = {
        {{"main.obj", "util.obj", "main.s", "obj.txt", "main.obj.bak"},
         "*.obj",
         2,
         {"main.obj.bak", "main.s", "obj.txt"}},
        {{"a1.bin", "a22.bin", "b3.bin", "a.bin"}, "a?.bin", 1, {"a.bin", "a22.bin", "b3.bin"}},
        {{"a.bin", "a22.bin", "b3.bin"}, "?*.bin", 3, {}},
        {{"demo.rom", "demo.romx"}, "demo.rom", 1, {"demo.romx"}},
        {{"main.s"}, "*.obj", 0, {"main.s"}},
        {{"main.s"}, "absent\\*.obj", 0, {"main.s"}},
        {{".demo.bxa.tmp1-0", "x.tmp"}, "*", 1, {".demo.bxa.tmp1-0"}},
        {{".demo.bxa.tmp1-0"}, ".*", 1, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.pattern);
        TempFolder folder;
        for (const std::string& name : row.files)
            folder.WriteFile(name, "x");
        EXPECT_EQ(DeleteFiles(folder.Sub(row.pattern)), row.deleted);
        EXPECT_EQ(ListFolder(folder.Path()), row.remaining);
    }
}

TEST(FileSystemDeletePattern, FoldersSubfoldersAndReadOnlyFilesStay) {
    TempFolder folder;
    folder.WriteFile("a.cfg", "x");
    folder.WriteFile("locked.cfg", "x");
    folder.WriteFile("sub\\b.cfg", "x");
    ASSERT_TRUE(CreateFolder(folder.Sub("dir.cfg")));
    MakeReadOnly(folder, "locked.cfg");
    EXPECT_EQ(DeleteFiles(folder.Sub("*.cfg")), 1);
    EXPECT_EQ(ListFolder(folder.Path()), (Names{"dir.cfg", "locked.cfg", "sub"}));
    EXPECT_TRUE(FileExists(folder.Sub("sub\\b.cfg")));
}

// --- Stamps, sizes and contents ---------------------------------------------------------------

TEST(FileSystemStamps, StampCountsHundredNanosecondUnitsAndGrowsWhenTheFileIsWritten) {
    TempFolder folder;
    std::string file = folder.WriteFile("a.s", "x");
    fs::path native = folder.Native() / "a.s";
    auto earlier = fs::file_time_type::clock::now() - std::chrono::hours(1);
    fs::last_write_time(native, earlier);
    std::optional<uint64_t> first = LastWriteTime(file);
    fs::last_write_time(native, earlier + std::chrono::seconds(1));
    std::optional<uint64_t> second = LastWriteTime(file);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(*second - *first, 10'000'000u);
    ASSERT_TRUE(AppendToFile(file, "y"));
    std::optional<uint64_t> rewritten = LastWriteTime(file);
    ASSERT_TRUE(rewritten);
    EXPECT_GT(*rewritten, *second);
}

TEST(FileSystemSizes, SizeIsTheByteCountAndReadGivesTheBytesExactly) {
    TempFolder folder;
    const std::string rows[] = {"", "12345", "\xC3\xA9", std::string("line\r\nnul\0end\xFF", 15)};
    int n = 0;
    for (const std::string& bytes : rows) {
        SCOPED_TRACE(bytes);
        std::string path = folder.WriteFile("f" + std::to_string(n++), bytes);
        EXPECT_EQ(FileSize(path), std::optional<uint64_t>(bytes.size()));
        EXPECT_EQ(ReadFile(path), std::optional<std::string>(bytes));
    }
}

TEST(FileSystemSizes, MissingFileFolderOrEmptyPathHasNoStampSizeOrContent) {
    TempFolder folder;
    for (const std::string& path : {folder.Sub("absent"), folder.Path(), std::string()}) {
        SCOPED_TRACE(path);
        EXPECT_FALSE(LastWriteTime(path).has_value());
        EXPECT_FALSE(FileSize(path).has_value());
        EXPECT_FALSE(ReadFile(path).has_value());
    }
}

// --- Folders ----------------------------------------------------------------------------------

TEST(FileSystemFolders, CreateFolderMakesOneNewFolderUnderAnExistingParent) {
    struct Row {
        const char* path;
        bool created;
        Names listing;
    };
    const Row rows[] = {
        {"new", true, {"new", "taken"}},
        {"new\\", true, {"new", "taken"}},
        {"a\\b", false, {"taken"}},
        {"taken", false, {"taken"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.path);
        TempFolder folder;
        folder.WriteFile("taken", "x");
        EXPECT_EQ(CreateFolder(folder.Sub(row.path)), row.created);
        EXPECT_EQ(ListFolder(folder.Path()), row.listing);
        EXPECT_TRUE(FileExists(folder.Sub("taken")));
        EXPECT_FALSE(CreateFolder(folder.Sub(row.path))) << "a second time";
    }
    EXPECT_FALSE(CreateFolder(""));
}

TEST(FileSystemFolders, ListFolderGivesSortedNamesOfFilesAndFolders) {
    TempFolder folder;
    folder.WriteFile("b.txt", "x");
    folder.WriteFile("a.txt", "x");
    folder.WriteFile("c\\inner.txt", "x");
    EXPECT_EQ(ListFolder(folder.Path()), (Names{"a.txt", "b.txt", "c"}));
    EXPECT_EQ(ListFolder(folder.Sub("absent")), Names{});
}

TEST(FileSystemFolders, TempFolderExistsWithoutFinalBackslash) {
    std::string temp = bx::platform::TempFolder();
    EXPECT_TRUE(FolderExists(temp));
    ASSERT_FALSE(temp.empty());
    EXPECT_NE(temp.back(), '\\');
    EXPECT_EQ(temp.find('/'), std::string::npos);

    // A TMPDIR that names no folder is passed over, as the C library does, instead of
    // giving an empty text that would put temporary things at the root.
    const char* saved = std::getenv("TMPDIR");
    const std::string previous = saved ? saved : "";
    ::setenv("TMPDIR", "/no/such/folder", 1);
    const std::string fallback = bx::platform::TempFolder();
    saved ? ::setenv("TMPDIR", previous.c_str(), 1) : ::unsetenv("TMPDIR");
    EXPECT_EQ(fallback, "\\tmp");
}

// Puts the current directory back at the end of a test.
class CurrentDirectoryGuard {
public:
    CurrentDirectoryGuard() : saved_(fs::current_path()) {}
    ~CurrentDirectoryGuard() {
        std::error_code ec;
        fs::current_path(saved_, ec);
    }
    CurrentDirectoryGuard(const CurrentDirectoryGuard&) = delete;
    CurrentDirectoryGuard& operator=(const CurrentDirectoryGuard&) = delete;

private:
    fs::path saved_;
};

TEST(FileSystemCurrentDirectory, SetThenReadGivesTheFolderInBackslashFormAndMissingIsRefused) {
    CurrentDirectoryGuard guard;
    TempFolder folder;
    std::string expected = FromNativePath(fs::canonical(folder.Native()).string());
    ASSERT_TRUE(SetCurrentDirectory(folder.Path()));
    EXPECT_EQ(CurrentDirectory(), expected);
    EXPECT_NE(CurrentDirectory().back(), '\\');
    EXPECT_EQ(CurrentDirectory().find('/'), std::string::npos);
    EXPECT_FALSE(SetCurrentDirectory(folder.Sub("absent")));
    EXPECT_FALSE(SetCurrentDirectory(""));
    EXPECT_EQ(CurrentDirectory(), expected);
}

TEST(FileSystemCurrentDirectory, RelativePathsFollowTheCurrentDirectory) {
    CurrentDirectoryGuard guard;
    TempFolder folder;
    folder.WriteFile("sub\\here.txt", "x");
    ASSERT_TRUE(SetCurrentDirectory(folder.Sub("sub\\")));
    EXPECT_TRUE(FileExists("here.txt"));
    EXPECT_EQ(DeleteFiles("*.txt"), 1);
    EXPECT_FALSE(FileExists(folder.Sub("sub\\here.txt")));
}

// --- Writes -----------------------------------------------------------------------------------

TEST(FileSystemReadWrite, AtomicWriteCreatesOrReplacesTheWholeFileAndLeavesNoTemporaryFile) {
    TempFolder folder;
    std::string bytes("a\0b\r\n", 5);
    ASSERT_TRUE(WriteFileAtomic(folder.Sub("new.bin"), bytes));
    EXPECT_EQ(ReadFile(folder.Sub("new.bin")), std::optional<std::string>(bytes));
    std::string path = folder.WriteFile("settings.gss", std::string(10000, 'o'));
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(WriteFileAtomic(path, "short " + std::to_string(i)));
    EXPECT_EQ(folder.ReadFile("settings.gss"), "short 2");
    EXPECT_EQ(ListFolder(folder.Path()), (Names{"new.bin", "settings.gss"}));
}

TEST(FileSystemReadWrite, AtomicWriteThatFailsHalfWayKeepsTheOldFile) {
    TempFolder folder;
    std::string path = folder.WriteFile("keep.txt", "old");
    rlimit previous{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &previous), 0);
    auto previousSignal = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limited = previous;
    limited.rlim_cur = 100; // below the content: the write stops as on a full disk
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limited), 0);
    bool written = WriteFileAtomic(path, std::string(100000, 'n'));
    ::setrlimit(RLIMIT_FSIZE, &previous);
    std::signal(SIGXFSZ, previousSignal);
    EXPECT_FALSE(written);
    EXPECT_EQ(folder.ReadFile("keep.txt"), "old");
    EXPECT_EQ(ListFolder(folder.Path()), Names{"keep.txt"});
}

// What the person set on a file survives a save: read-only stays unwritten, the mode stays,
// a link stays a link, and what a killed save left behind goes.
TEST(FileSystemReadWrite, SaveKeepsModeLinksAndReadOnlyAndRemovesStaleTemporaries) {
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

    // A process that ended (reaped at once) and one that runs (init) left temporaries.
    const pid_t gone = ::fork();
    if (gone == 0)
        ::_exit(0);
    ::waitpid(gone, nullptr, 0);
    const std::string stale = ".keep.txt.tmp" + std::to_string(gone) + "-0";
    folder.WriteFile(stale, "half");
    folder.WriteFile(".keep.txt.tmp1-0", "in progress");
    ASSERT_TRUE(WriteFileAtomic(folder.Sub("keep.txt"), "whole"));
    EXPECT_FALSE(fs::exists(folder.Native() / stale));
    EXPECT_TRUE(fs::exists(folder.Native() / ".keep.txt.tmp1-0"));
}

TEST(FileSystemReadWrite, SaveByAnotherUserOfAFileItMayNotWriteIsRefused) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "making a file of another user needs the superuser";
    TempFolder folder;
    const std::string path = folder.WriteFile("theirs.apl", "old");
    fs::permissions(folder.Native(), fs::perms::all); // anyone may replace files in it
    fs::permissions(folder.Native() / "theirs.apl", fs::perms::owner_read | fs::perms::owner_write |
                                                        fs::perms::group_read |
                                                        fs::perms::others_read);
    const pid_t child = ::fork();
    if (child == 0) {
        if (::setgid(65534) != 0 || ::setuid(65534) != 0)
            ::_exit(2);
        std::string whyNot;
        ::_exit(!WriteFileAtomic(path, "new", &whyNot) && whyNot == "the file is read-only" ? 0
                                                                                            : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(folder.ReadFile("theirs.apl"), "old");
}

TEST(FileSystemReadWrite, SliceReadsOnlyThePartAsked) {
    TempFolder folder;
    const std::string path = folder.WriteFile("image.rom", "0123456789");
    EXPECT_EQ(ReadFileSlice(path, 2, 3), std::optional<std::string>("234"));
    EXPECT_EQ(ReadFileSlice(path, 8, 5), std::optional<std::string>("89"));
    EXPECT_EQ(ReadFileSlice(path, 20, 5), std::optional<std::string>(""));
    EXPECT_EQ(ReadFileSlice(folder.Sub("absent.rom"), 0, 1), std::nullopt);
}

TEST(FileSystemReadWrite, AppendCreatesThenAppends) {
    TempFolder folder;
    std::string path = folder.Sub("log.txt");
    ASSERT_TRUE(AppendToFile(path, "one\n"));
    ASSERT_TRUE(AppendToFile(path, "two\n"));
    ASSERT_TRUE(AppendToFile(path, ""));
    EXPECT_EQ(folder.ReadFile("log.txt"), "one\ntwo\n");
}

TEST(FileSystemReadWrite, WritesIntoAMissingFolderOrOntoAFolderFail) {
    TempFolder folder;
    ASSERT_TRUE(CreateFolder(folder.Sub("dir")));
    std::string whyNot;
    EXPECT_FALSE(WriteFileAtomic(folder.Sub("absent\\x.txt"), "x", &whyNot));
    EXPECT_EQ(whyNot, "No such file or directory");
    EXPECT_FALSE(AppendToFile(folder.Sub("absent\\log.txt"), "x"));
    EXPECT_FALSE(AppendToFile(folder.Sub("dir"), "x"));
    EXPECT_EQ(ListFolder(folder.Path()), Names{"dir"});
}

// --- Priority ---------------------------------------------------------------------------------

TEST(FileSystemPriority, GrantedHighPriorityIsVisibleToTheSystem) {
    int before = ::getpriority(PRIO_PROCESS, 0);
    if (!SetHighPriority())
        GTEST_SKIP() << "raising the priority needs privilege this run doesn't have";
    EXPECT_LT(::getpriority(PRIO_PROCESS, 0), 0);
    ::setpriority(PRIO_PROCESS, 0, before);
}

} // namespace
} // namespace bx::platform
