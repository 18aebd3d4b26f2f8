#include "foundation/Common.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "support/TempFolder.h"

#include <array>
#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <span>

namespace bx {
namespace {

constexpr int32_t kMin32 = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax32 = std::numeric_limits<int32_t>::max();

// Checks f(input) against the expected value of every row; a failure names the row's input.
template <typename F, typename Rows>
void ExpectEach(F f, const Rows& rows) {
    for (const auto& [in, out] : rows)
        EXPECT_EQ(f(in), out) << "input: " << testing::PrintToString(in);
}

// ---- Number forms ---------------------------------------------------------------------------

TEST(CommonNumberForms, HexAndBinaryTextsHaveTheirWidthsAndReadIn32Bits) {
    // Hex2 works on 16 bits: negatives show four digits, wider values keep their low 16 bits.
    EXPECT_EQ(Hex2(5) + Hex2(300) + Hex2(-1) + Hex2(-32768) + Hex2(0x11170) + Hex2(0x10005),
              "0512CFFFF8000117005");
    EXPECT_EQ(Hex4(0xABC) + Hex4(65536) + Hex4(-1), "0ABC10000FFFFFFFF");
    EXPECT_EQ(Hex8(0x4000) + Hex8(-2), "00004000FFFFFFFE");
    // Leading digits only (a blank is no digit); beyond eight digits the low 32 bits remain.
    const std::pair<std::string, int32_t> hexToLong[] = {
        {"12G4", 0x12},       {" 12", 0},       {"4000:12", 0x4000},  {"aBcD", 0xABCD},
        {"80000000", kMin32}, {"FFFFFFFF", -1}, {"000000000FF", 255}, {"123456789", 0x23456789}};
    ExpectEach(HexToLong, hexToLong);
    const std::pair<std::string, int32_t> binToLong[] = {
        {"", 0}, {"00000101", 5}, {"102", -1}, {"1 0", -1}, {"1" + std::string(31, '0'), kMin32}};
    ExpectEach(BinToLong, binToLong);
    // Colons are allowed only when asked for, and then not counted.
    const std::tuple<const char*, bool, bool> hexTexts[] = {
        {"", false, false}, {"09AFaf", true, true}, {"01:4000", false, true},
        {":", false, true}, {"12 ", false, false},  {"$10", false, false}};
    for (const auto& [text, plain, colons] : hexTexts) {
        EXPECT_EQ(IsHexText(text, false), plain) << text;
        EXPECT_EQ(IsHexText(text, true), colons) << text;
    }
    EXPECT_EQ(Spaces(-5) + "|" + Spaces(4), "|    ");
}

TEST(CommonNumberForms, ParseNumberReadsEachFormIn32BitsAndWritesTheBankOnlyForBankAddresses) {
    // "$" hex without a bank never fails: bad digits end the number, "$:" leaves no bank; "%"
    // binary reports bad digits as -1.
    const std::pair<std::string, int32_t> dollarsAndPercents[] = {
        {"$fffc", 0xFFFC}, {"$FFFFFFFF", -1}, {"$:12", 0}, {"$", 0},
        {"$12G", 0x12},    {"%1010", 10},     {"%", 0},    {"%102", -1}};
    // Decimals round half to even and take exponents; blanks around them are accepted.
    const std::pair<std::string, int32_t> decimals[] = {
        {"12.5", 12}, {"13.5", 14}, {"-2.5", -2},  {"-3.5", -4},  {"2.5000001", 3},
        {"-7.6", -8}, {"+5", 5},    {"1.", 1},     {".6", 1},     {"1e3", 1000},
        {"25e-1", 2}, {"35E-1", 4}, {"1e-400", 0}, {"\t-3\t", -3}};
    // "&H" is hexadecimal in 32 bits; a tie at the edge of 32 bits goes to the even neighbour.
    const std::pair<std::string, int32_t> edges[] = {
        {"&h1f", 31},   {"&HFFFFFFFF", -1},     {"&H000000010", 16},
        {" &H10 ", 16}, {"2147483647", kMax32}, {"-2147483648.5", kMin32}};
    // Inner blanks, values outside 32 bits and other texts fail.
    const std::string zeros(400, '0');
    const std::string outside[] = {"2147483648", "2147483647.5", "-2147483649", "1e10",
                                   "&H123456789"};
    const std::string failing[] = {"1e",  "e3",    "1e3.5", "&H",   "&H1G",  "-&H10",
                                   "4 2", "   ",   "",      "abc",  ".",     "--1",
                                   "1-",  "1.2.3", "1,000", "0x10", "12abc", "1" + zeros};
    using Reads = std::span<const std::pair<std::string, int32_t>>;
    using Texts = std::span<const std::string>;
    auto parse = [](const std::string& text, bool expectFailed, int32_t expectBank = 77) {
        int32_t bank = 77;
        bool failed = !expectFailed; // each call sets it, whatever it was
        const int32_t value = ParseNumber(text, bank, failed);
        EXPECT_EQ(failed, expectFailed) << '"' << text << '"';
        EXPECT_EQ(bank, expectBank) << '"' << text << '"';
        return value;
    };
    // Only the "$BB:AAAA" form writes the bank.
    for (const auto& [text, value, bank] : {std::tuple{"$01:4000", 0x4000, 1},
                                            {"$FF:FFFF", 0xFFFF, 0xFF},
                                            {"$0A:", 0, 10},
                                            {"$1x:12", 0x12, 1}})
        EXPECT_EQ(parse(text, false, bank), value) << text;
    for (Reads table : {Reads(dollarsAndPercents), Reads(decimals), Reads(edges)})
        for (const auto& [text, value] : table)
            EXPECT_EQ(parse(text, false), value) << '"' << text << '"';
    for (Texts table : {Texts(outside), Texts(failing)})
        for (const std::string& text : table)
            EXPECT_EQ(parse(text, true), 0) << '"' << text << '"';
    EXPECT_EQ(parse("0." + zeros + "1", false), 0);
}

TEST(CommonNumberForms, ArrayIndexLeadingNumberAndFractions) {
    // The base is the text ahead of the first "["; the index takes any number form and runs to
    // the "]" or the end; -1 when there is no usable index.
    const std::tuple<const char*, const char*, int32_t> arrays[] = {
        {"tbl[3]", "tbl", 3},         {"tbl[$10]", "tbl", 16}, {"tbl[%11]", "tbl", 3},
        {"tbl[&H1F]", "tbl", 31},     {"tbl[2.5]", "tbl", 2},  {"tbl[ 7 ]", "tbl", 7},
        {"tbl[$01:0010]", "tbl", 16}, {"tbl[3].x", "tbl", 3},  {"a[1][2]", "a", 1},
        {"tbl[12", "tbl", 12},        {"tbl[5", "tbl", -1},    {"a[", "a", -1},
        {"[3]", "[3]", -1},           {"tbl", "tbl", -1},      {"", "", -1},
        {"tbl[]x", "tbl", -1},        {"tbl[x]", "tbl", -1},   {"tbl[1e]", "tbl", -1}};
    for (const auto& [text, base, index] : arrays) {
        EXPECT_EQ(ArrayBaseName(text), base) << text;
        EXPECT_EQ(ArrayIndexOf(text), index) << text;
    }
    const std::pair<std::string, double> leading[] = {
        {"12abc", 12.0}, {"-2.5e1x", -25.0}, {".5", 0.5},     {"1.2.3", 1.2},
        {"1e", 1.0},     {"  7 ", 7.0},      {"1 2", 1.0},    {"&HFFFF", 65535.0},
        {"&Hxyz", 0.0},  {"abc", 0.0},       {"1e-400", 0.0}, {"&HFFFFFFFF", -1.0}};
    ExpectEach(LeadingNumber, leading);
    EXPECT_EQ(LeadingNumber("1e400"), std::numeric_limits<double>::infinity());
    // A fraction is a share of the extent (only each side's leading number counts; a zero
    // denominator gives 0), a plain number its own value.
    const std::tuple<const char*, int32_t, float> fractions[] = {
        {"3/4", 1000, 750.0f}, {"1/2", 0, 0.0f},       {" 1 / 2 ", 800, 400.0f},
        {"1.5/3", 90, 45.0f},  {"1/2/4", 800, 400.0f}, {"1x/2y", 800, 400.0f},
        {"/2", 800, 0.0f},     {"120", 800, 120.0f},   {"-10", 800, -10.0f},
        {"abc", 800, 0.0f},    {"1/0", 800, 0.0f},     {"1/abc", 800, 0.0f}};
    for (const auto& [text, extent, value] : fractions)
        EXPECT_FLOAT_EQ(ParseFractionText(text, extent), value) << text;
    EXPECT_FLOAT_EQ(ParseFractionText("1/3", 100), static_cast<float>(100.0 / 3.0));
}

TEST(CommonNumberForms, WindowSharesBecomeTwipsPerAxisTruncatedDownWithin32Bits) {
    // Left and Width use the width and the horizontal factor, Top and Height the vertical ones.
    // A share is narrowed to single precision first: 33.333332f * 15 is 499.99998, not 500.
    const std::tuple<WindowLayoutText, int32_t, double, double, std::array<int32_t, 4>> rows[] = {
        {{"1/2", "1/2", "1/1", "120"}, 1000, 10.0, 20.0, {5000, 3000, 10000, 2400}},
        {{"0.9", "-0.5", "1/3", "2.75"}, 100, 1.0, 1.0, {0, -1, 33, 2}},
        {{"1/3", "7", "0", "abc"}, 100, 15.0, 12.5, {499, 87, 0, 0}},
        {{"1e30", "-1e30", "1/0", "1e400"}, 800, 15.0, 15.0, {kMax32, kMin32, 0, kMax32}}};
    for (const auto& [record, width, twipsX, twipsY, expected] : rows) {
        const WindowRect rect = PlaceWindowByDesktop(record, width, 300, twipsX, twipsY);
        EXPECT_EQ((std::array{rect.Left, rect.Top, rect.Width, rect.Height}), expected)
            << record.Left << " " << record.Top << " " << record.Width << " " << record.Height;
    }
}

// ---- Texts ----------------------------------------------------------------------------------

TEST(CommonTexts, PathPiecesCutAtBackslashesOnlyAndAtTheFirstDotOfTheName) {
    // path, StripExtension, GetExtension, FileNameOf, DirectoryOf
    const std::array<const char*, 5> rows[] = {
        {"C:\\a.b\\x.TAR.gz", "C:\\a.b\\x", "tar.gz", "x.TAR.gz", "C:\\a.b\\"},
        {"C:\\my.dir\\file", "C:\\my.dir\\file", "", "file", "C:\\my.dir\\"},
        {"x.", "x", "", "x.", ""},
        {"\\.Hidden", "\\", "hidden", ".Hidden", ""},
        {"a.b/C", "a", "b/c", "a.b/C", ""},
        {"d\\f.\xC3\x84X", "d\\f", "\xC3\x84x", "f.\xC3\x84X", "d\\"},
        {"\\\\server\\share\\", "\\\\server\\share\\", "", "", "\\\\server\\share\\"},
        {"", "", "", "", ""}};
    for (const auto& [path, stripped, extension, name, directory] : rows) {
        EXPECT_EQ(StripExtension(path), stripped) << path;
        EXPECT_EQ(GetExtension(path), extension) << path;
        EXPECT_EQ(FileNameOf(path), name) << path;
        EXPECT_EQ(DirectoryOf(path), directory) << path;
    }
    // Only a whole leading folder is cut, compared exactly.
    const std::array<const char*, 3> relative[] = {
        {"\\p\\blinky\\src\\io.asm", "\\p\\blinky\\", "src\\io.asm"},
        {"\\p\\blinkyx\\main.asm", "\\p\\blinky\\", "\\p\\blinkyx\\main.asm"},
        {"\\p\\blinky\\", "\\p\\blinky\\", "\\p\\blinky\\"},
        {"\\P\\BLINKY\\main.asm", "\\p\\blinky\\", "\\P\\BLINKY\\main.asm"},
        {"main.asm", "", "main.asm"}};
    for (const auto& [path, folder, result] : relative)
        EXPECT_EQ(RelativeToFolder(path, folder), result) << path;
    EXPECT_TRUE(IsAbsolutePath("\\p\\a.asm") && IsAbsolutePath("C:a.asm"));
    EXPECT_FALSE(IsAbsolutePath("src\\a.asm"));
}

TEST(CommonTexts, ApplianceNamesHoldOnlyWhatFilesAndTheBuildCarry) {
    for (const char* good : {"demo", "KTR311.v2", "a_b-c"})
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

TEST(CommonTexts, BoolsUtf16ReplacingAndSplitting) {
    const std::pair<std::string, std::optional<bool>> bools[] = {
        {"True", true},       {" false ", false},  {"TRUE", true},     {"-1", true},
        {"0", false},         {"0.4", true},       {"", std::nullopt}, {"yes", std::nullopt},
        {"$1", std::nullopt}, {"%1", std::nullopt}};
    ExpectEach(TextToBool, bools);
    EXPECT_EQ(Utf8ToUtf16("\xC3\xA9"
                          "a\xF0\x9F\x98\x80\xFF\xC0\xAF"),
              u"\u00E9a\U0001F600\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(ReplaceAll("%i and %i", "%i", "%i%i"), "%i%i and %i%i");
    EXPECT_EQ(ReplaceAll("abc", "", "x"), "abc");
    using namespace std::string_literals;
    EXPECT_EQ(SplitText("a\0\0"s, '\0'), (std::vector<std::string>{"a", "", ""}));
    EXPECT_EQ(SplitText("", ','), (std::vector<std::string>{""}));
}

// ---- Files and folders ----------------------------------------------------------------------

// Puts the process's current directory back at the end of a test.
struct CurrentDirectoryGuard {
    std::string saved = platform::CurrentDirectory();
    ~CurrentDirectoryGuard() { platform::SetCurrentDirectory(saved); }
};

TEST(CommonFiles, StampsOrderByTimeAsTextAndMissingFilesHaveNoStampOrLength) {
    test::TempFolder folder;
    for (const std::string& path : {folder.Sub("missing.txt"), folder.Path(), std::string()}) {
        EXPECT_EQ(GetFileWriteTime(path), 0u) << path;
        EXPECT_EQ(GetFileLength(path), -1) << path;
    }
    const std::string newer = folder.WriteFile("sub\\five.bin", "12345");
    const std::string older = folder.WriteFile("older.s", "");
    EXPECT_EQ(GetFileLength(newer), 5);
    EXPECT_EQ(GetFileLength(older), 0);
    std::filesystem::last_write_time(folder.Native() / "older.s",
                                     std::filesystem::file_time_type::clock::now() -
                                         std::chrono::hours(48));
    // High half first in sixteen digits, so that text order is time order.
    EXPECT_EQ(FileTimeText(0x0123456789ABCDEFull), "0123456789ABCDEF");
    EXPECT_LT(FileTimeText(GetFileWriteTime(older)), FileTimeText(GetFileWriteTime(newer)));
}

TEST(CommonFiles, ChangeDirRefusesWhatIsNoFolderAndMakeDirectoriesCreatesParents) {
    CurrentDirectoryGuard guard;
    test::TempFolder folder;
    // Creates missing parents; only the last creation counts, so an existing folder gives false.
    EXPECT_TRUE(MakeDirectories(folder.Sub("work\\b\\c\\"))); // a trailing backslash is ignored
    EXPECT_FALSE(MakeDirectories(folder.Sub("work\\b\\c")));
    EXPECT_FALSE(MakeDirectories(""));
    const std::string file = folder.WriteFile("plain.txt", "p");
    EXPECT_FALSE(MakeDirectories(file + "\\sub\\leaf"));
    EXPECT_TRUE(platform::FileExists(file));
    const std::string missing = folder.Sub("no such folder");
    try {
        ChangeDirAndDrive(missing);
        ADD_FAILURE() << "no error for a missing folder";
    } catch (const BxError& error) {
        EXPECT_EQ(error.Number, errors::kPathNotFound);
        EXPECT_EQ(error.Source, "Common");
        EXPECT_NE(error.Description.find(missing), std::string::npos) << error.Description;
    }
    EXPECT_THROW(ChangeDirAndDrive(""), BxError);
    EXPECT_THROW(ChangeDirAndDrive(file), BxError);
}

} // namespace
} // namespace bx
