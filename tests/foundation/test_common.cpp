#include "foundation/Common.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "support/TempFolder.h"

#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace bx {
namespace {

constexpr int32_t kMin32 = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax32 = std::numeric_limits<int32_t>::max();

// ---- Number forms ---------------------------------------------------------------------------

TEST(CommonNumberForms, HexTextsHaveMinimumWidthsAndNeverTruncate) {
    EXPECT_EQ(Hex2(5), "05");
    EXPECT_EQ(Hex2(255), "FF");
    EXPECT_EQ(Hex2(300), "12C");
    // Hex2 works on 16 bits: negatives show four digits, wider values keep their low 16 bits.
    EXPECT_EQ(Hex2(-1), "FFFF");
    EXPECT_EQ(Hex2(-32768), "8000");
    EXPECT_EQ(Hex2(0x11170), "1170");
    EXPECT_EQ(Hex2(0x10005), "05");
    EXPECT_EQ(Hex4(0xABC), "0ABC");
    EXPECT_EQ(Hex4(65536), "10000");
    EXPECT_EQ(Hex4(-1), "FFFFFFFF");
    EXPECT_EQ(Hex4(kMin32), "80000000");
    EXPECT_EQ(Hex8(0), "00000000");
    EXPECT_EQ(Hex8(0x4000), "00004000");
    EXPECT_EQ(Hex8(0x12345678), "12345678");
    EXPECT_EQ(Hex8(-2), "FFFFFFFE");
}

TEST(CommonNumberForms, HexToLongReadsLeadingDigitsIn32Bits) {
    EXPECT_EQ(HexToLong("12G4"), 0x12);
    EXPECT_EQ(HexToLong(""), 0);
    EXPECT_EQ(HexToLong("G1"), 0);
    EXPECT_EQ(HexToLong(" 12"), 0); // a blank is no digit either
    EXPECT_EQ(HexToLong("4000:12"), 0x4000);
    EXPECT_EQ(HexToLong("FFFF"), 65535);
    EXPECT_EQ(HexToLong("aBcD"), 0xABCD);
    EXPECT_EQ(HexToLong("80000000"), kMin32);
    EXPECT_EQ(HexToLong("FFFFFFFF"), -1);
    EXPECT_EQ(HexToLong("0000000000FF"), 0xFF);
    // Beyond eight digits only the low 32 bits remain.
    EXPECT_EQ(HexToLong("123456789"), 0x23456789);
}

TEST(CommonNumberForms, HexTextsReadBackToTheirValue) {
    for (int32_t value : {0, 0x7F, 0x100, 0xFFFF, 0x10000, kMax32, -1, kMin32}) {
        EXPECT_EQ(HexToLong(Hex4(value)), value) << value;
        EXPECT_EQ(HexToLong(Hex8(value)), value) << value;
    }
    for (int32_t value = 0; value <= 0x7FFF; value += 0x1F)
        EXPECT_EQ(HexToLong(Hex2(value)), value) << value;
}

TEST(CommonNumberForms, BinToLongGivesMinusOneForAnyForeignCharacter) {
    EXPECT_EQ(BinToLong(""), 0);
    EXPECT_EQ(BinToLong("1010"), 10);
    EXPECT_EQ(BinToLong("00000101"), 5);
    EXPECT_EQ(BinToLong("102"), -1);
    EXPECT_EQ(BinToLong("2"), -1);
    EXPECT_EQ(BinToLong("1 0"), -1);
    EXPECT_EQ(BinToLong("1" + std::string(31, '0')), kMin32);
    EXPECT_EQ(BinToLong("0" + std::string(31, '1')), kMax32);
}

TEST(CommonNumberForms, IsHexTextAcceptsDigitsAndOptionallyColons) {
    EXPECT_FALSE(IsHexText("", false));
    EXPECT_FALSE(IsHexText("", true));
    EXPECT_TRUE(IsHexText("0123456789ABCDEFabcdef", false));
    EXPECT_FALSE(IsHexText("01:4000", false));
    EXPECT_TRUE(IsHexText("01:4000", true));
    // Colons are not counted.
    EXPECT_TRUE(IsHexText("1:2:3", true));
    EXPECT_TRUE(IsHexText(":", true));
    EXPECT_FALSE(IsHexText("G", true));
    EXPECT_FALSE(IsHexText("12 ", true));
    EXPECT_FALSE(IsHexText("$10", false));
}

TEST(CommonNumberForms, SpacesGivesCountBlanks) {
    EXPECT_EQ(Spaces(0), "");
    EXPECT_EQ(Spaces(-5), "");
    EXPECT_EQ(Spaces(1), " ");
    EXPECT_EQ(Spaces(4), "    ");
}

// ---- ParseNumber ----------------------------------------------------------------------------

struct ParseCase {
    std::string text;
    int32_t value;
    bool failed;
};

void ExpectParses(const std::vector<ParseCase>& cases) {
    for (const ParseCase& c : cases) {
        int32_t bank = 77;
        bool failed = !c.failed;
        EXPECT_EQ(ParseNumber(c.text, bank, failed), c.value) << '"' << c.text << '"';
        EXPECT_EQ(failed, c.failed) << '"' << c.text << '"';
        EXPECT_EQ(bank, 77) << '"' << c.text << '"';
    }
}

TEST(CommonParseNumber, DollarBankAddressWritesTheBank) {
    struct Case {
        std::string text;
        int32_t value, bank;
    };
    const std::vector<Case> cases{
        {"$01:4000", 0x4000, 1}, {"$1:2", 2, 1},          {"$FF:FFFF", 0xFFFF, 0xFF},
        {"$0A:", 0, 10},         {"$00:C000", 0xC000, 0}, {"$1x:12", 0x12, 1},
    };
    for (const Case& c : cases) {
        int32_t bank = 77;
        bool failed = true;
        EXPECT_EQ(ParseNumber(c.text, bank, failed), c.value) << c.text;
        EXPECT_EQ(bank, c.bank) << c.text;
        EXPECT_FALSE(failed) << c.text;
    }
}

TEST(CommonParseNumber, EachFormIsReadIn32BitsAndNonNumbersFailWithoutTouchingTheBank) {
    // Each call sets failed, whatever it was before, and leaves the bank as it was.
    // "$" hex without a bank never fails: bad digits end the number; "$:" leaves no bank.
    ExpectParses({
        {"$4000", 0x4000, false},
        {"$1F", 0x1F, false},
        {"$fffc", 0xFFFC, false},
        {"$FFFFFFFF", -1, false},
        {"$:12", 0, false},
        {"$", 0, false},
        {"$ZZ", 0, false},
        {"$12G", 0x12, false},
    });
    // "%" binary reports bad digits as -1 without failing.
    ExpectParses({
        {"%1010", 10, false},
        {"%", 0, false},
        {"%102", -1, false},
        {"%1 ", -1, false},
    });
    // Decimals round half to even and take exponents.
    ExpectParses({
        {"12.5", 12, false},   {"13.5", 14, false}, {"0.5", 0, false},       {"1.5", 2, false},
        {"-2.5", -2, false},   {"-3.5", -4, false}, {"2.5000001", 3, false}, {"-7.6", -8, false},
        {"+5", 5, false},      {"1.", 1, false},    {".6", 1, false},        {"1e3", 1000, false},
        {"1e+3", 1000, false}, {"25e-1", 2, false}, {"35E-1", 4, false},     {"-2.5E-1", 0, false},
        {"1e-400", 0, false},  {"1e", 0, true},     {"e3", 0, true},         {"1e3.5", 0, true},
    });
    // "&H" is hexadecimal in 32 bits.
    ExpectParses({
        {"&H10", 16, false},
        {"&h1f", 31, false},
        {"&HFFFF", 65535, false},
        {"&HFFFFFFFF", -1, false},
        {"&H000000010", 16, false},
        {"&H", 0, true},
        {"&H1G", 0, true},
        {"&H123456789", 0, true},
        {"-&H10", 0, true},
    });
    // Surrounding blanks are accepted, inner ones are not.
    ExpectParses({
        {" 42", 42, false},
        {"\t-3\t", -3, false},
        {" &H10 ", 16, false},
        {"4 2", 0, true},
        {"   ", 0, true},
    });
    // Values outside 32 bits fail; a tie at the edge goes to the even neighbour, in range.
    ExpectParses({
        {"2147483647", kMax32, false},
        {"-2147483648", kMin32, false},
        {"-2147483648.5", kMin32, false},
        {"2147483648", 0, true},
        {"2147483647.5", 0, true},
        {"-2147483649", 0, true},
        {"1e10", 0, true},
        {"1e400", 0, true},
        {"1" + std::string(400, '0'), 0, true},
        {"0." + std::string(400, '0') + "1", 0, false},
    });
    // Non-numbers fail.
    ExpectParses({
        {"", 0, true},
        {"abc", 0, true},
        {".", 0, true},
        {"--1", 0, true},
        {"1-", 0, true},
        {"1.2.3", 0, true},
        {"1,000", 0, true},
        {"0x10", 0, true},
        {"12abc", 0, true},
    });
}

// ---- Arrays and fractions -------------------------------------------------------------------

TEST(CommonArrays, BaseIsTheTextAheadOfTheFirstBracketAndIndexAnyNumberFormInside) {
    struct Row {
        const char* text;
        const char* base;
        int32_t index; // -1: no usable index
    };
    const Row rows[] = {
        {"tbl[3]", "tbl", 3},
        {"tbl[$10]", "tbl", 16},
        {"tbl[%11]", "tbl", 3},
        {"tbl[&H1F]", "tbl", 31},
        {"tbl[2.5]", "tbl", 2},
        {"tbl[ 7 ]", "tbl", 7},
        {"tbl[$01:0010]", "tbl", 16},
        {"tbl[0]", "tbl", 0},
        {"tbl[3].x", "tbl", 3}, // what follows the "]" is ignored
        {"a[1][2]", "a", 1},
        {"tbl[12", "tbl", 12}, // without a "]" the index runs to the end
        {"tbl[5", "tbl", -1},  // "[" with what follows is shorter than three
        {"a[", "a", -1},
        {"tbl[", "tbl", -1},
        {"[3]", "[3]", -1},
        {"tbl", "tbl", -1},
        {"", "", -1},
        {"tbl[]", "tbl", -1},
        {"tbl[]x", "tbl", -1},
        {"tbl[x]", "tbl", -1},
        {"tbl[1e]", "tbl", -1},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(ArrayBaseName(row.text), row.base) << row.text;
        EXPECT_EQ(ArrayIndexOf(row.text), row.index) << row.text;
    }
}

TEST(CommonFractions, LeadingNumberStopsAtTheFirstCharacterThatCannotContinue) {
    EXPECT_DOUBLE_EQ(LeadingNumber("120"), 120.0);
    EXPECT_DOUBLE_EQ(LeadingNumber("12abc"), 12.0);
    EXPECT_DOUBLE_EQ(LeadingNumber("-2.5e1x"), -25.0);
    EXPECT_DOUBLE_EQ(LeadingNumber(".5"), 0.5);
    EXPECT_DOUBLE_EQ(LeadingNumber("1.2.3"), 1.2);
    EXPECT_DOUBLE_EQ(LeadingNumber("1e"), 1.0);
    EXPECT_DOUBLE_EQ(LeadingNumber("  7 "), 7.0);
    EXPECT_DOUBLE_EQ(LeadingNumber("1 2"), 1.0);
    EXPECT_DOUBLE_EQ(LeadingNumber("&H1F"), 31.0);
    EXPECT_DOUBLE_EQ(LeadingNumber("&HFFFF"), 65535.0);
    EXPECT_DOUBLE_EQ(LeadingNumber("&HFFFFFFFF"), -1.0);
    EXPECT_DOUBLE_EQ(LeadingNumber("&Hxyz"), 0.0);
    EXPECT_DOUBLE_EQ(LeadingNumber(""), 0.0);
    EXPECT_DOUBLE_EQ(LeadingNumber("abc"), 0.0);
    EXPECT_EQ(LeadingNumber("1e400"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(LeadingNumber("1e-400"), 0.0);
}

TEST(CommonFractions, FractionIsAShareOfTheExtentAndAPlainNumberIsItsOwnValue) {
    struct Row {
        const char* text;
        int32_t extent;
        float value;
    };
    const Row rows[] = {
        {"1/2", 800, 400.0f},
        {"3/4", 1000, 750.0f},
        {"1/3", 100, static_cast<float>(100.0 / 3.0)},
        {"1/2", 0, 0.0f},
        {" 1 / 2 ", 800, 400.0f},
        {"1.5/3", 90, 45.0f},
        {"1/2/4", 800, 400.0f},
        {"1x/2y", 800, 400.0f}, // only each side's leading number counts
        {"/2", 800, 0.0f},      // nothing ahead of the "/"
        {"120", 800, 120.0f},
        {"2.5", 800, 2.5f},
        {"-10", 800, -10.0f},
        {"abc", 800, 0.0f},
        {"", 800, 0.0f},
        {"1/0", 800, 0.0f},
        {"0/0", 800, 0.0f},
        {"1/", 800, 0.0f},
        {"1/abc", 800, 0.0f}, // a zero
        {"-3/0", 800, 0.0f},  // denominator
    };
    for (const Row& row : rows)
        EXPECT_FLOAT_EQ(ParseFractionText(row.text, row.extent), row.value) << row.text;
}

// ---- Path texts -----------------------------------------------------------------------------

TEST(CommonPathTexts, StripExtensionCutsAtTheFirstDotOfTheFileName) {
    EXPECT_EQ(StripExtension("C:\\a.b\\x.tar.gz"), "C:\\a.b\\x");
    EXPECT_EQ(StripExtension("C:\\my.dir\\file"), "C:\\my.dir\\file");
    EXPECT_EQ(StripExtension("file.txt"), "file");
    EXPECT_EQ(StripExtension("x."), "x");
    EXPECT_EQ(StripExtension(".hidden"), "");
    EXPECT_EQ(StripExtension("a\\.b"), "a\\");
    EXPECT_EQ(StripExtension("noext"), "noext");
    EXPECT_EQ(StripExtension(""), "");
    // A forward slash is no separator: the dot ahead of it belongs to the file name.
    EXPECT_EQ(StripExtension("a.b/c"), "a");
    EXPECT_EQ(StripExtension("x\\a/b.c"), "x\\a/b");
}

TEST(CommonPathTexts, GetExtensionIsWhatFollowsTheSameDotInLowerCase) {
    EXPECT_EQ(GetExtension("x.TAR.GZ"), "tar.gz");
    EXPECT_EQ(GetExtension("C:\\a.b\\Main.Asm"), "asm");
    EXPECT_EQ(GetExtension("C:\\my.dir\\file"), "");
    EXPECT_EQ(GetExtension("x."), "");
    EXPECT_EQ(GetExtension(".Hidden"), "hidden");
    EXPECT_EQ(GetExtension(""), "");
    EXPECT_EQ(GetExtension("a.b/C"), "b/c");
    // Bytes of non-ASCII characters pass unchanged.
    EXPECT_EQ(GetExtension("f.\xC3\x84X"), "\xC3\x84x");
}

TEST(CommonPathTexts, FileNameOfIsWhatFollowsTheLastBackslash) {
    EXPECT_EQ(FileNameOf("C:\\d\\f.txt"), "f.txt");
    EXPECT_EQ(FileNameOf("C:\\d\\"), "");
    EXPECT_EQ(FileNameOf("f.txt"), "f.txt");
    EXPECT_EQ(FileNameOf("\\x"), "x");
    EXPECT_EQ(FileNameOf("a/b"), "a/b");
    EXPECT_EQ(FileNameOf(""), "");
}

TEST(CommonPathTexts, DirectoryOfKeepsTheLastBackslash) {
    EXPECT_EQ(DirectoryOf("a\\x"), "a\\");
    EXPECT_EQ(DirectoryOf("C:\\d\\f.txt"), "C:\\d\\");
    EXPECT_EQ(DirectoryOf("a\\b\\"), "a\\b\\");
    EXPECT_EQ(DirectoryOf("\\\\server\\share"), "\\\\server\\");
    EXPECT_EQ(DirectoryOf("\\x"), "");
    EXPECT_EQ(DirectoryOf("\\"), "");
    EXPECT_EQ(DirectoryOf("x"), "");
    EXPECT_EQ(DirectoryOf("a/b"), "");
    EXPECT_EQ(DirectoryOf(""), "");
}

TEST(CommonPathTexts, RelativeToFolderCutsOnlyAWholeLeadingFolder) {
    struct Case {
        const char* path;
        const char* folder;
        const char* relative;
    };
    const Case cases[] = {
        {"\\p\\blinky\\src\\io.asm", "\\p\\blinky\\", "src\\io.asm"},
        {"\\p\\blinkyx\\main.asm", "\\p\\blinky\\", "\\p\\blinkyx\\main.asm"},
        {"\\p\\blinky\\", "\\p\\blinky\\", "\\p\\blinky\\"},
        {"\\P\\BLINKY\\main.asm", "\\p\\blinky\\", "\\P\\BLINKY\\main.asm"},
        {"main.asm", "", "main.asm"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(RelativeToFolder(c.path, c.folder), c.relative) << c.path;
    EXPECT_TRUE(IsAbsolutePath("\\p\\a.asm"));
    EXPECT_TRUE(IsAbsolutePath("C:a.asm"));
    EXPECT_FALSE(IsAbsolutePath("src\\a.asm"));
}

TEST(CommonPathTexts, PiecesPutBackTogether) {
    for (const std::string path : {"C:\\a.b\\x.tar.gz", "dir\\file.s", "a\\b\\c"}) {
        EXPECT_EQ(DirectoryOf(path) + FileNameOf(path), path);
        std::string extension = GetExtension(path);
        EXPECT_EQ(extension.empty() ? StripExtension(path) : StripExtension(path) + "." + extension,
                  path);
    }
}

// ---- Files ----------------------------------------------------------------------------------

// Sets a file's modification time through the operating system, to order two stamps.
void SetModified(const test::TempFolder& folder, const std::string& relative,
                 std::chrono::seconds sinceNow) {
    auto native = folder.Native() / relative;
    std::filesystem::last_write_time(native,
                                     std::filesystem::file_time_type::clock::now() + sinceNow);
}

TEST(CommonPathTexts, ApplianceNamesHoldOnlyWhatFilesAndTheBuildCarry) {
    for (const char* good : {"demo", "KTR311.v2", "a_b-c", "A1"})
        EXPECT_EQ(ApplianceNameProblem(good), "") << good;
    for (const char* bad : {"", "../x", "..\\..\\y", "/abs", "C:x", "..", ".hidden", "-x", "my app",
                            "a;b", "a'b", "a%o%b", "a\"b", "tab\there"})
        EXPECT_EQ(ApplianceNameProblem(bad),
                  std::string("The name \"") + bad +
                      "\" can't be used for an appliance. A name may hold only the letters A-Z "
                      "and a-z, the digits 0-9, \"_\", \"-\" and \".\", and may not begin with "
                      "\"-\" or \".\".")
            << bad;
}

TEST(CommonFiles, AMissingFileFolderOrEmptyPathHasTimeZeroAndLengthMinusOne) {
    test::TempFolder folder;
    for (const std::string& path : {folder.Sub("missing.txt"), folder.Path(), std::string()}) {
        EXPECT_EQ(GetFileWriteTime(path), 0u) << path;
        EXPECT_EQ(GetFileLength(path), -1) << path;
    }
}

TEST(CommonFiles, FileTimeTextIsHighHalfFirstInSixteenDigits) {
    EXPECT_EQ(FileTimeText(0), "0000000000000000");
    EXPECT_EQ(FileTimeText(1), "0000000000000001");
    EXPECT_EQ(FileTimeText(0x0123456789ABCDEFull), "0123456789ABCDEF");
    EXPECT_EQ(FileTimeText(0xFFFFFFFF00000001ull), "FFFFFFFF00000001");
    EXPECT_EQ(FileTimeText(0x00000001FFFFFFFFull), "00000001FFFFFFFF");
    // Text order is time order, across the halves too.
    EXPECT_LT(FileTimeText(0x00000000FFFFFFFFull), FileTimeText(0x0000000100000000ull));
}

TEST(CommonFiles, StampsOfRealFilesOrderByTimeAsText) {
    test::TempFolder folder;
    std::string older = folder.WriteFile("older.s", "x");
    std::string newer = folder.WriteFile("newer.s", "y");
    SetModified(folder, "older.s", std::chrono::hours(-48));
    SetModified(folder, "newer.s", std::chrono::hours(-1));
    uint64_t olderStamp = GetFileWriteTime(older);
    uint64_t newerStamp = GetFileWriteTime(newer);
    EXPECT_NE(olderStamp, 0u);
    EXPECT_LT(olderStamp, newerStamp);
    EXPECT_LT(FileTimeText(olderStamp), FileTimeText(newerStamp));
    // Touching the older file again makes it the newer one.
    SetModified(folder, "older.s", std::chrono::seconds(0));
    EXPECT_GT(FileTimeText(GetFileWriteTime(older)), FileTimeText(newerStamp));
}

TEST(CommonFiles, LengthIsTheSizeInBytes) {
    test::TempFolder folder;
    EXPECT_EQ(GetFileLength(folder.WriteFile("five.bin", "12345")), 5);
    EXPECT_EQ(GetFileLength(folder.WriteFile("empty.bin", "")), 0);
    EXPECT_EQ(GetFileLength(folder.WriteFile("sub\\nested.bin", std::string(1000, 'x'))), 1000);
}

// Puts the process's current directory back at the end of a test.
class CurrentDirectoryGuard {
public:
    CurrentDirectoryGuard() : saved_(platform::CurrentDirectory()) {}
    ~CurrentDirectoryGuard() { platform::SetCurrentDirectory(saved_); }
    CurrentDirectoryGuard(const CurrentDirectoryGuard&) = delete;
    CurrentDirectoryGuard& operator=(const CurrentDirectoryGuard&) = delete;

private:
    std::string saved_;
};

TEST(CommonDirectories, ChangeDirMakesTheFolderCurrent) {
    CurrentDirectoryGuard guard;
    test::TempFolder folder;
    folder.WriteFile("work\\marker.txt", "m");
    ChangeDirAndDrive(folder.Sub("work"));
    EXPECT_TRUE(platform::FileExists("marker.txt"));
    // A path in drive form goes through the directory step; with no drives there is nothing more.
    folder.WriteFile("work\\Q:\\inner\\here.txt", "h");
    ChangeDirAndDrive("Q:\\inner");
    EXPECT_TRUE(platform::FileExists("here.txt"));
}

TEST(CommonDirectories, ChangeDirToAMissingFolderRaisesPathNotFound) {
    CurrentDirectoryGuard guard;
    test::TempFolder folder;
    folder.WriteFile("marker.txt", "m");
    ChangeDirAndDrive(folder.Path());
    std::string missing = folder.Sub("no such folder");
    try {
        ChangeDirAndDrive(missing);
        FAIL() << "no error for a missing folder";
    } catch (const BxError& error) {
        EXPECT_EQ(error.Number, errors::kPathNotFound);
        EXPECT_EQ(error.Source, "Common");
        EXPECT_NE(error.Description.find(missing), std::string::npos) << error.Description;
    }
    // The current directory stayed where it was.
    EXPECT_TRUE(platform::FileExists("marker.txt"));
    EXPECT_THROW(ChangeDirAndDrive(""), BxError);
    EXPECT_THROW(ChangeDirAndDrive("Z:\\no\\such\\folder"), BxError);
    EXPECT_THROW(ChangeDirAndDrive(folder.Sub("marker.txt")), BxError);
}

TEST(CommonDirectories, MakeDirectoriesCreatesMissingParentsAndReportsTheLastCreation) {
    CurrentDirectoryGuard guard;
    test::TempFolder folder;
    std::string deep = folder.Sub("a\\b\\c");
    EXPECT_TRUE(MakeDirectories(deep));
    EXPECT_TRUE(platform::FolderExists(folder.Sub("a")));
    EXPECT_TRUE(platform::FolderExists(folder.Sub("a\\b")));
    EXPECT_TRUE(platform::FolderExists(deep));
    // Only the last creation counts: an existing folder gives false, but nothing breaks.
    EXPECT_FALSE(MakeDirectories(deep));
    EXPECT_TRUE(MakeDirectories(folder.Sub("a\\b\\d")));
    EXPECT_TRUE(platform::FolderExists(folder.Sub("a\\b\\d")));
    // One trailing backslash is ignored.
    EXPECT_TRUE(MakeDirectories(folder.Sub("x\\y\\")));
    EXPECT_TRUE(platform::FolderExists(folder.Sub("x\\y")));
    EXPECT_FALSE(MakeDirectories(folder.Sub("x\\y")));
    EXPECT_FALSE(MakeDirectories(folder.Sub("x\\y\\")));
    // Relative paths start at the current folder.
    ChangeDirAndDrive(folder.Path());
    EXPECT_TRUE(MakeDirectories("rel\\one"));
    EXPECT_TRUE(platform::FolderExists(folder.Sub("rel\\one")));
    EXPECT_TRUE(MakeDirectories("top"));
    EXPECT_TRUE(platform::FolderExists(folder.Sub("top")));
}

TEST(CommonDirectories, MakeDirectoriesFailsWithoutCreatingAnything) {
    test::TempFolder folder;
    EXPECT_FALSE(MakeDirectories(""));
    // A file where a parent folder should be: it is left alone and the creation fails.
    std::string file = folder.WriteFile("plain.txt", "p");
    EXPECT_FALSE(MakeDirectories(file + "\\sub\\leaf"));
    EXPECT_TRUE(platform::FileExists(file));
    EXPECT_FALSE(platform::FolderExists(file + "\\sub"));
    EXPECT_FALSE(MakeDirectories(file));
}

// ---- Window placement -----------------------------------------------------------------------

TEST(CommonPlacement, SharesOfTheClientAreaBecomeTwipsPerAxisTruncatedDownWithin32Bits) {
    struct Row {
        WindowLayoutText record;
        int32_t width, height;
        double twipsX, twipsY;
        WindowRect rect;
    };
    const Row rows[] = {
        {{"1/2", "1/4", "120", "1/3"},
         800,
         600,
         15.0,
         15.0,
         {400 * 15, 150 * 15, 120 * 15, 200 * 15}},
        // Left and Width use the width and the horizontal factor; Top and Height the vertical.
        {{"1/2", "1/2", "1/1", "1/1"},
         1000,
         300,
         10.0,
         20.0,
         {500 * 10, 150 * 20, 1000 * 10, 300 * 20}},
        // Down, not towards zero.
        {{"0.9", "-0.5", "1/3", "2.75"}, 100, 100, 1.0, 1.0, {0, -1, 33, 2}},
        // The share is narrowed to single precision first: 33.333332f * 15 is 499.99998, where
        // double precision all through would give 500.
        {{"1/3", "7", "0", "abc"}, 100, 100, 15.0, 12.5, {499, 87, 0, 0}},
        {{"1e30", "-1e30", "1/0", "1e400"}, 800, 600, 15.0, 15.0, {kMax32, kMin32, 0, kMax32}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.record.Left + " " + row.record.Top + " " + row.record.Width + " " +
                     row.record.Height);
        WindowRect rect =
            PlaceWindowByDesktop(row.record, row.width, row.height, row.twipsX, row.twipsY);
        EXPECT_EQ(rect.Left, row.rect.Left);
        EXPECT_EQ(rect.Top, row.rect.Top);
        EXPECT_EQ(rect.Width, row.rect.Width);
        EXPECT_EQ(rect.Height, row.rect.Height);
    }
}

TEST(CommonTextForms, TextToBoolTakesTrueFalseAndDecimalNumbersOnly) {
    EXPECT_EQ(TextToBool("True"), true);
    EXPECT_EQ(TextToBool(" false "), false);
    EXPECT_EQ(TextToBool("TRUE"), true);
    EXPECT_EQ(TextToBool("-1"), true);
    EXPECT_EQ(TextToBool("0"), false);
    EXPECT_EQ(TextToBool("0.4"), true) << "non-zero before any rounding";
    EXPECT_EQ(TextToBool(""), std::nullopt);
    EXPECT_EQ(TextToBool("yes"), std::nullopt);
    EXPECT_EQ(TextToBool("$1"), std::nullopt);
    EXPECT_EQ(TextToBool("%1"), std::nullopt);
}

TEST(CommonTextForms, Utf8BecomesUtf16WithAReplacementForEachBadByte) {
    EXPECT_EQ(Utf8ToUtf16("\xC3\xA9"
                          "a\xF0\x9F\x98\x80\xFF\xC0\xAF"),
              u"\u00E9a\U0001F600\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(ReplaceAll("%i and %i", "%i", "%i%i"), "%i%i and %i%i");
    EXPECT_EQ(ReplaceAll("abc", "", "x"), "abc");
}

TEST(CommonTextForms, SplitTextKeepsEmptyPieces) {
    using namespace std::string_literals;
    EXPECT_EQ(SplitText("a\0b"s, '\0'), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(SplitText("a\0\0"s, '\0'), (std::vector<std::string>{"a", "", ""}));
    EXPECT_EQ(SplitText("", ','), (std::vector<std::string>{""}));
}

} // namespace
} // namespace bx
