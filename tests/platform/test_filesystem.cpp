#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "support/TempFolder.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/resource.h>

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

TEST(Paths, BackslashesBecomeSlashesAndNothingElseChanges) {
    EXPECT_EQ(ToNativePath("C:\\Projects\\Demo\\demo.bxa"), "C:/Projects/Demo/demo.bxa");
    EXPECT_EQ(ToNativePath("\\tmp\\a b\\\xC3\xA9t\xC3\xA9.s"), "/tmp/a b/\xC3\xA9t\xC3\xA9.s");
    EXPECT_EQ(ToNativePath("folder\\"), "folder/");
    EXPECT_EQ(ToNativePath("already/native"), "already/native");
    EXPECT_EQ(ToNativePath(""), "");
}

TEST(Paths, SlashesBecomeBackslashesAndNothingElseChanges) {
    EXPECT_EQ(FromNativePath("/tmp/bx/demo.bxa"), "\\tmp\\bx\\demo.bxa");
    EXPECT_EQ(FromNativePath("relative/x.s"), "relative\\x.s");
    EXPECT_EQ(FromNativePath("no separator"), "no separator");
    EXPECT_EQ(FromNativePath(""), "");
}

TEST(Paths, ConversionRoundTrips) {
    for (std::string path : {"\\a\\b\\c.txt", "C:\\d\\", "x", "\\\\server\\share"})
        EXPECT_EQ(FromNativePath(ToNativePath(path)), path);
}

// --- Existence --------------------------------------------------------------------------------

TEST(FileSystemExists, FilesAndFoldersAreToldApart) {
    TempFolder folder;
    std::string file = folder.WriteFile("sub\\a.txt", "x");
    EXPECT_TRUE(FileExists(file));
    EXPECT_FALSE(FolderExists(file));
    EXPECT_TRUE(FolderExists(folder.Sub("sub")));
    EXPECT_FALSE(FileExists(folder.Sub("sub")));
    EXPECT_TRUE(FolderExists(folder.Sub("sub\\")));
}

TEST(FileSystemExists, MissingAndEmptyPathsDoNotExist) {
    TempFolder folder;
    EXPECT_FALSE(FileExists(folder.Sub("absent.txt")));
    EXPECT_FALSE(FolderExists(folder.Sub("absent")));
    EXPECT_FALSE(FileExists(folder.Sub("absent\\a.txt")));
    EXPECT_FALSE(FileExists(""));
    EXPECT_FALSE(FolderExists(""));
}

// --- Copying ----------------------------------------------------------------------------------

TEST(FileSystemCopy, CopiesToANewFile) {
    TempFolder folder;
    std::string from = folder.WriteFile("from.bin", std::string("a\0b\xFF", 4));
    EXPECT_TRUE(CopyFile(from, folder.Sub("to.bin"), false));
    EXPECT_EQ(folder.ReadFile("to.bin"), std::string("a\0b\xFF", 4));
    EXPECT_EQ(folder.ReadFile("from.bin"), std::string("a\0b\xFF", 4));
}

TEST(FileSystemCopy, ExistingTargetIsKeptWithoutOverwrite) {
    TempFolder folder;
    std::string from = folder.WriteFile("from.txt", "new");
    std::string to = folder.WriteFile("to.txt", "old");
    EXPECT_FALSE(CopyFile(from, to, false));
    EXPECT_EQ(folder.ReadFile("to.txt"), "old");
}

TEST(FileSystemCopy, ExistingTargetIsReplacedWithOverwrite) {
    TempFolder folder;
    std::string from = folder.WriteFile("from.txt", "new");
    std::string to = folder.WriteFile("to.txt", "the old and longer content");
    EXPECT_TRUE(CopyFile(from, to, true));
    EXPECT_EQ(folder.ReadFile("to.txt"), "new");
}

TEST(FileSystemCopy, MissingSourceOrTargetFolderFails) {
    TempFolder folder;
    std::string from = folder.WriteFile("from.txt", "x");
    EXPECT_FALSE(CopyFile(folder.Sub("absent.txt"), folder.Sub("to.txt"), true));
    EXPECT_FALSE(FileExists(folder.Sub("to.txt")));
    EXPECT_FALSE(CopyFile(from, folder.Sub("absent\\to.txt"), true));
}

TEST(FileSystemCopy, CopyOntoItselfFailsAndKeepsTheFile) {
    TempFolder folder;
    std::string file = folder.WriteFile("same.txt", "content");
    EXPECT_FALSE(CopyFile(file, file, true));
    EXPECT_EQ(folder.ReadFile("same.txt"), "content");
}

// --- Deleting ---------------------------------------------------------------------------------

TEST(FileSystemDelete, DeletesOneFileAndReportsIt) {
    TempFolder folder;
    std::string file = folder.WriteFile("a.txt", "x");
    EXPECT_TRUE(DeleteFile(file));
    EXPECT_FALSE(FileExists(file));
    EXPECT_FALSE(DeleteFile(file));
}

TEST(FileSystemDelete, FolderIsNotDeletedAsAFile) {
    TempFolder folder;
    ASSERT_TRUE(CreateFolder(folder.Sub("sub")));
    EXPECT_FALSE(DeleteFile(folder.Sub("sub")));
    EXPECT_TRUE(FolderExists(folder.Sub("sub")));
}

TEST(FileSystemDelete, ReadOnlyFileIsNotOverridden) {
    TempFolder folder;
    std::string file = folder.WriteFile("locked.rom", "x");
    MakeReadOnly(folder, "locked.rom");
    EXPECT_FALSE(DeleteFile(file));
    EXPECT_TRUE(FileExists(file));
}

TEST(FileSystemDeletePattern, StarMatchesAnyRunOfCharacters) {
    TempFolder folder;
    for (const char* name : {"main.obj", "util.obj", "main.s", "obj.txt", "main.obj.bak"})
        folder.WriteFile(name, "x");
    EXPECT_EQ(DeleteFiles(folder.Sub("*.obj")), 2);
    EXPECT_EQ(ListFolder(folder.Path()), (Names{"main.obj.bak", "main.s", "obj.txt"}));
}

TEST(FileSystemDeletePattern, QuestionMarkMatchesExactlyOneCharacter) {
    TempFolder folder;
    for (const char* name : {"a1.bin", "a22.bin", "b3.bin", "a.bin"})
        folder.WriteFile(name, "x");
    EXPECT_EQ(DeleteFiles(folder.Sub("a?.bin")), 1);
    EXPECT_EQ(ListFolder(folder.Path()), (Names{"a.bin", "a22.bin", "b3.bin"}));
    EXPECT_EQ(DeleteFiles(folder.Sub("?*.bin")), 3);
    EXPECT_EQ(ListFolder(folder.Path()), Names{});
}

TEST(FileSystemDeletePattern, NameWithoutWildcardDeletesThatFileOnly) {
    TempFolder folder;
    folder.WriteFile("demo.rom", "x");
    folder.WriteFile("demo.romx", "x");
    EXPECT_EQ(DeleteFiles(folder.Sub("demo.rom")), 1);
    EXPECT_EQ(ListFolder(folder.Path()), Names{"demo.romx"});
}

TEST(FileSystemDeletePattern, NoMatchOrMissingFolderDeletesNothing) {
    TempFolder folder;
    folder.WriteFile("main.s", "x");
    EXPECT_EQ(DeleteFiles(folder.Sub("*.obj")), 0);
    EXPECT_EQ(DeleteFiles(folder.Sub("absent\\*.obj")), 0);
    EXPECT_EQ(ListFolder(folder.Path()), Names{"main.s"});
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

TEST(FileSystemDeletePattern, WildcardDoesNotMatchTheDotOfAHiddenName) {
    TempFolder folder;
    folder.WriteFile(".demo.bxa.tmp1-0", "x");
    folder.WriteFile("x.tmp", "x");
    EXPECT_EQ(DeleteFiles(folder.Sub("*")), 1);
    EXPECT_EQ(ListFolder(folder.Path()), Names{".demo.bxa.tmp1-0"});
    EXPECT_EQ(DeleteFiles(folder.Sub(".*")), 1);
    EXPECT_EQ(ListFolder(folder.Path()), Names{});
}

// --- Stamps and sizes -------------------------------------------------------------------------

TEST(FileSystemStamps, LastWriteTimeCountsHundredNanosecondUnitsThatGrow) {
    TempFolder folder;
    std::string file = folder.WriteFile("a.s", "x");
    fs::path native = folder.Native() / "a.s";
    auto earlier = fs::file_time_type::clock::now() - std::chrono::hours(1);
    fs::last_write_time(native, earlier);
    std::optional<uint64_t> first = LastWriteTime(file);
    fs::last_write_time(native, earlier + std::chrono::seconds(1));
    std::optional<uint64_t> second = LastWriteTime(file);
    ASSERT_TRUE(first.has_value());
    ASSERT_TRUE(second.has_value());
    EXPECT_EQ(*second - *first, 10'000'000u);
}

TEST(FileSystemStamps, RewritingAFileGivesALaterStamp) {
    TempFolder folder;
    std::string file = folder.WriteFile("a.s", "x");
    fs::last_write_time(folder.Native() / "a.s",
                        fs::file_time_type::clock::now() - std::chrono::minutes(5));
    std::optional<uint64_t> before = LastWriteTime(file);
    ASSERT_TRUE(AppendToFile(file, "y"));
    std::optional<uint64_t> after = LastWriteTime(file);
    ASSERT_TRUE(before && after);
    EXPECT_GT(*after, *before);
}

TEST(FileSystemStamps, MissingFileOrFolderHasNoStamp) {
    TempFolder folder;
    EXPECT_FALSE(LastWriteTime(folder.Sub("absent.s")).has_value());
    EXPECT_FALSE(LastWriteTime(folder.Path()).has_value());
    EXPECT_FALSE(LastWriteTime("").has_value());
}

TEST(FileSystemSizes, SizeIsTheByteCount) {
    TempFolder folder;
    EXPECT_EQ(FileSize(folder.WriteFile("empty", "")), std::optional<uint64_t>(0));
    EXPECT_EQ(FileSize(folder.WriteFile("five", "12345")), std::optional<uint64_t>(5));
    EXPECT_EQ(FileSize(folder.WriteFile("utf8", "\xC3\xA9")), std::optional<uint64_t>(2));
}

TEST(FileSystemSizes, MissingFileOrFolderHasNoSize) {
    TempFolder folder;
    EXPECT_FALSE(FileSize(folder.Sub("absent")).has_value());
    EXPECT_FALSE(FileSize(folder.Path()).has_value());
    EXPECT_FALSE(FileSize("").has_value());
}

// --- Folders ----------------------------------------------------------------------------------

TEST(FileSystemFolders, CreateFolderMakesOneNewFolder) {
    TempFolder folder;
    EXPECT_TRUE(CreateFolder(folder.Sub("new")));
    EXPECT_TRUE(FolderExists(folder.Sub("new")));
    EXPECT_FALSE(CreateFolder(folder.Sub("new"))) << "it exists already";
}

TEST(FileSystemFolders, CreateFolderNeedsAnExistingParent) {
    TempFolder folder;
    EXPECT_FALSE(CreateFolder(folder.Sub("a\\b")));
    EXPECT_FALSE(FolderExists(folder.Sub("a")));
    EXPECT_FALSE(CreateFolder(""));
}

TEST(FileSystemFolders, TrailingBackslashMakesTheSameFolder) {
    TempFolder folder;
    EXPECT_TRUE(CreateFolder(folder.Sub("new\\")));
    EXPECT_TRUE(FolderExists(folder.Sub("new")));
    EXPECT_EQ(ListFolder(folder.Path()), Names{"new"});
}

TEST(FileSystemFolders, CreateFolderOverAFileFails) {
    TempFolder folder;
    folder.WriteFile("taken", "x");
    EXPECT_FALSE(CreateFolder(folder.Sub("taken")));
    EXPECT_TRUE(FileExists(folder.Sub("taken")));
}

TEST(FileSystemFolders, ListFolderGivesSortedNamesOfFilesAndFolders) {
    TempFolder folder;
    folder.WriteFile("b.txt", "x");
    folder.WriteFile("a.txt", "x");
    folder.WriteFile("c\\inner.txt", "x");
    EXPECT_EQ(ListFolder(folder.Path()), (Names{"a.txt", "b.txt", "c"}));
    EXPECT_EQ(ListFolder(folder.Sub("absent")), Names{});
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

TEST(FileSystemCurrentDirectory, SetThenReadGivesTheFolderInBackslashForm) {
    CurrentDirectoryGuard guard;
    TempFolder folder;
    std::string expected = FromNativePath(fs::canonical(folder.Native()).string());
    ASSERT_TRUE(SetCurrentDirectory(folder.Path()));
    EXPECT_EQ(CurrentDirectory(), expected);
    EXPECT_NE(CurrentDirectory().back(), '\\');
    EXPECT_EQ(CurrentDirectory().find('/'), std::string::npos);
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

TEST(FileSystemCurrentDirectory, MissingFolderIsRefusedAndNothingChanges) {
    CurrentDirectoryGuard guard;
    TempFolder folder;
    std::string before = CurrentDirectory();
    EXPECT_FALSE(SetCurrentDirectory(folder.Sub("absent")));
    EXPECT_FALSE(SetCurrentDirectory(""));
    EXPECT_EQ(CurrentDirectory(), before);
}

TEST(FileSystemFolders, TempFolderExistsWithoutFinalBackslash) {
    std::string temp = bx::platform::TempFolder();
    EXPECT_TRUE(FolderExists(temp));
    ASSERT_FALSE(temp.empty());
    EXPECT_NE(temp.back(), '\\');
    EXPECT_EQ(temp.find('/'), std::string::npos);
}

// --- Whole-file reads and writes --------------------------------------------------------------

TEST(FileSystemReadWrite, ReadGivesTheBytesExactly) {
    TempFolder folder;
    std::string bytes("line\r\nnul\0end\xFF", 15);
    EXPECT_EQ(ReadFile(folder.WriteFile("data.bin", bytes)), std::optional<std::string>(bytes));
    EXPECT_EQ(ReadFile(folder.WriteFile("empty", "")), std::optional<std::string>(""));
}

TEST(FileSystemReadWrite, MissingFileOrFolderReadsAsNothing) {
    TempFolder folder;
    EXPECT_FALSE(ReadFile(folder.Sub("absent")).has_value());
    EXPECT_FALSE(ReadFile(folder.Path()).has_value());
}

TEST(FileSystemReadWrite, AtomicWriteCreatesAFile) {
    TempFolder folder;
    std::string bytes("a\0b\r\n", 5);
    ASSERT_TRUE(WriteFileAtomic(folder.Sub("new.bin"), bytes));
    EXPECT_EQ(ReadFile(folder.Sub("new.bin")), std::optional<std::string>(bytes));
    EXPECT_EQ(ListFolder(folder.Path()), Names{"new.bin"});
}

TEST(FileSystemReadWrite, AtomicWriteReplacesTheWholeFileAndLeavesNoTemporaryFile) {
    TempFolder folder;
    std::string path = folder.WriteFile("settings.gss", std::string(10000, 'o'));
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(WriteFileAtomic(path, "short " + std::to_string(i)));
    EXPECT_EQ(folder.ReadFile("settings.gss"), "short 2");
    EXPECT_EQ(ListFolder(folder.Path()), Names{"settings.gss"});
}

TEST(FileSystemReadWrite, AtomicWriteIntoAMissingFolderFails) {
    TempFolder folder;
    EXPECT_FALSE(WriteFileAtomic(folder.Sub("absent\\x.txt"), "x"));
    EXPECT_EQ(ListFolder(folder.Path()), Names{});
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

TEST(FileSystemReadWrite, AppendCreatesThenAppends) {
    TempFolder folder;
    std::string path = folder.Sub("log.txt");
    ASSERT_TRUE(AppendToFile(path, "one\n"));
    ASSERT_TRUE(AppendToFile(path, "two\n"));
    ASSERT_TRUE(AppendToFile(path, ""));
    EXPECT_EQ(folder.ReadFile("log.txt"), "one\ntwo\n");
}

TEST(FileSystemReadWrite, AppendIntoAMissingFolderOrOntoAFolderFails) {
    TempFolder folder;
    EXPECT_FALSE(AppendToFile(folder.Sub("absent\\log.txt"), "x"));
    ASSERT_TRUE(CreateFolder(folder.Sub("dir")));
    EXPECT_FALSE(AppendToFile(folder.Sub("dir"), "x"));
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
