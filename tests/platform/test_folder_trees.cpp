// The file-system service's whole-folder operations and a file's time as local wall-clock
// fields, which the template deliveries and the new-appliance wizard rely on.
#include "platform/FileSystem.h"
#include "support/TempFolder.h"

#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace bx::platform {
namespace {

TEST(FolderTrees, CopyTakesEverythingAndOverwritesDeleteTakesEverythingReadOnlyIncluded) {
    test::TempFolder folder;
    folder.WriteFile("from\\a.txt", "new");
    folder.WriteFile("from\\sub\\deep\\b.txt", "b");
    folder.WriteFile("to\\a.txt", "old");
    EXPECT_TRUE(CopyFolderTree(folder.Sub("from"), folder.Sub("to")));
    EXPECT_EQ(folder.ReadFile("to/a.txt"), "new");
    EXPECT_EQ(folder.ReadFile("to/sub/deep/b.txt"), "b");
    EXPECT_EQ(ListSubfolders(folder.Path()), (std::vector<std::string>{"from", "to"}));
    EXPECT_EQ(ListSubfolders(folder.Sub("to")), (std::vector<std::string>{"sub"}));

    std::filesystem::permissions(folder.Native() / "to/sub/deep/b.txt",
                                 std::filesystem::perms::owner_read);
    EXPECT_TRUE(DeleteFolderTree(folder.Sub("to")));
    EXPECT_FALSE(FolderExists(folder.Sub("to")));
    EXPECT_FALSE(DeleteFolderTree(folder.Sub("to")));
    EXPECT_FALSE(DeleteFolderTree(folder.Sub("from\\a.txt"))); // a file is no folder
    EXPECT_FALSE(CopyFolderTree(folder.Sub("missing"), folder.Sub("to")));
}

TEST(FileTimes, LastWriteIsGivenAsLocalWallClockFields) {
    test::TempFolder folder;
    const std::string file = folder.WriteFile("a.cab", "x");
    std::tm fields{};
    fields.tm_year = 2026 - 1900;
    fields.tm_mon = 10;
    fields.tm_mday = 21;
    fields.tm_hour = 9;
    fields.tm_min = 8;
    fields.tm_sec = 7;
    fields.tm_isdst = -1;
    struct timespec times[2];
    times[0].tv_sec = times[1].tv_sec = std::mktime(&fields);
    times[0].tv_nsec = times[1].tv_nsec = 999999999;
    ASSERT_EQ(::utimensat(AT_FDCWD, (folder.Native() / "a.cab").c_str(), times, 0), 0);
    auto local = LastWriteLocalTime(file);
    ASSERT_TRUE(local);
    EXPECT_EQ(local->Year, 2026);
    EXPECT_EQ(local->Month, 11);
    EXPECT_EQ(local->Day, 21);
    EXPECT_EQ(local->Hour, 9);
    EXPECT_EQ(local->Minute, 8);
    EXPECT_EQ(local->Second, 7); // the fraction is cut, never rounded up
    EXPECT_FALSE(LastWriteLocalTime(folder.Sub("missing")));
}

} // namespace
} // namespace bx::platform
