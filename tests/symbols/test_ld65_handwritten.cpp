// Debug files written by hand: the bank rule, the path split, and files that are wrong in one
// particular way.

#include "support/TempFolder.h"
#include "symbols/Ld65SymbolLibrary.h"

#include <gtest/gtest.h>
#include <string>

namespace bx::symbols {
namespace {

// A complete small file: one source, one code segment at $8000, one bank segment at offset
// $C000 (bank 1), one segment linked at a 24-bit address (bank 2), one RAM segment.
const std::string kGood =
    "version\tmajor=2,minor=0\n"
    "info\tcsym=0,file=2,lib=0,line=5,mod=1,scope=1,seg=4,span=5,sym=3,type=0\n"
    "file\tid=0,name=\"a.asm\",size=10,mtime=0x1,mod=0\n"
    "file\tid=1,name=\"/abs/dir/b.asm\",size=10,mtime=0x1,mod=0\n"
    "line\tid=0,file=0,line=3,span=0\n"
    "line\tid=1,file=0,line=4,span=1\n"
    "line\tid=2,file=1,line=7,span=2\n"
    "line\tid=3,file=1,line=8,span=3\n"
    "line\tid=4,file=0,line=9,span=4\n"
    "mod\tid=0,name=\"a.o\",file=0\n"
    "seg\tid=0,name=\"CODE\",start=0x008000,size=0x0004,addrsize=absolute,"
    "type=ro,oname=\"rom.bin\",ooffs=0\n"
    "seg\tid=1,name=\"BANK1\",start=0x004000,size=0x0010,addrsize=absolute,"
    "type=ro,oname=\"rom.bin\",ooffs=49152\n"
    "seg\tid=2,name=\"FAR\",start=0x024000,size=0x0002,addrsize=far,"
    "type=ro,oname=\"far.bin\",ooffs=0\n"
    "seg\tid=3,name=\"BSS\",start=0x000200,size=0x0010,addrsize=absolute,"
    "type=rw\n"
    "span\tid=0,seg=0,start=0,size=2\n"
    "span\tid=1,seg=0,start=2,size=2\n"
    "span\tid=2,seg=1,start=6,size=3\n"
    "span\tid=3,seg=2,start=1,size=1\n"
    "span\tid=4,seg=3,start=0,size=16\n"
    "scope\tid=0,name=\"\",mod=0,size=4\n"
    "sym\tid=0,name=\"start\",addrsize=absolute,scope=0,def=0,val=0x8000,"
    "seg=0,type=lab\n"
    "sym\tid=1,name=\"far\",addrsize=absolute,scope=0,def=0,val=0x24001,"
    "seg=2,type=lab\n"
    "sym\tid=2,name=\"buf\",addrsize=absolute,scope=0,def=0,val=0x200,"
    "seg=3,type=lab\n";

std::string Replace(std::string text, const std::string& from, const std::string& to) {
    std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    if (at != std::string::npos)
        text.replace(at, from.size(), to);
    return text;
}

TEST(Ld65HandWritten, TheGoodFileAnswersWithEveryKindOfBank) {
    Ld65SymbolLibrary library;
    ASSERT_TRUE(library.LoadText(kGood, "good.sym")) << library.LoadError();
    EXPECT_EQ(library.GetAddress(0, 3), 0x8000);
    EXPECT_EQ(library.GetAddress(0, 4), 0x8002);
    EXPECT_EQ(library.GetAddress(1, 7), 0x14006) << "bank from the file offset";
    EXPECT_EQ(library.GetAddress(1, 8), 0x24001) << "bank from the segment's 24-bit start";
    EXPECT_EQ(library.GetAddress(0, 9), -1) << "only RAM bytes: no code";
    int32_t file = 0, line = 0;
    ASSERT_TRUE(library.FindSource(0x14008, file, line));
    EXPECT_EQ(file, 1);
    EXPECT_EQ(line, 7);
    EXPECT_FALSE(library.FindSource(0x14009, file, line));
    EXPECT_FALSE(library.FindSource(0x0200, file, line)) << "RAM is not code";
    std::string folder, name;
    ASSERT_TRUE(library.GetSourceFile(1, folder, name));
    EXPECT_EQ(folder, "\\abs\\dir");
    EXPECT_EQ(name, "b.asm");
    std::vector<std::string> seen;
    library.EnumerateSymbols("", [&](const SymbolDefinition& s) {
        seen.push_back(s.Name + " " + std::to_string(s.Address) + " " + s.Kind);
    });
    EXPECT_EQ(seen,
              (std::vector<std::string>{"start 32768 Code", "far 147457 Code", "buf 512 Data"}));
}

TEST(Ld65HandWritten, CarriageReturnLineEndsAndUnknownRecordsAndKeysAreAccepted) {
    std::string text;
    for (char c : kGood) {
        if (c == '\n')
            text += '\r';
        text += c;
    }
    text = Replace(text, "mod\tid=0", "future\tsomething=1\r\nmod\tid=0,newkey=\"x\"");
    Ld65SymbolLibrary library;
    ASSERT_TRUE(library.LoadText(text, "crlf.sym")) << library.LoadError();
    EXPECT_EQ(library.GetAddress(0, 4), 0x8002);
}

struct BadCase {
    const char* what;
    std::string text;
    const char* reason; // a part of the load error
};

TEST(Ld65HandWritten, MalformedFilesAreRefusedWithAReasonAndLeaveNothingLoaded) {
    const std::vector<BadCase> cases = {
        {"empty", "", "empty"},
        {"no version first", "info\tfile=0\n", "version record"},
        {"plain text", "hello world\n", "version record"},
        {"a later major version", Replace(kGood, "major=2", "major=3"),
         "version 3.0 of the debug file format isn't supported"},
        {"an older major version", Replace(kGood, "major=2", "major=1"), "version 1.0"},
        {"no info",
         Replace(kGood,
                 "info\tcsym=0,file=2,lib=0,line=5,mod=1,scope=1,seg=4,span=5,"
                 "sym=3,type=0\n",
                 ""),
         "ahead of the info record"},
        {"fewer records than announced", Replace(kGood, "line=5,mod", "line=6,mod"),
         "5 of 6 line records"},
        {"more records than announced", Replace(kGood, "sym=3,type", "sym=2,type"),
         "beyond the count"},
        {"an id given twice", Replace(kGood, "line\tid=1,", "line\tid=0,"), "appears twice"},
        {"a line of a file that isn't there", Replace(kGood, "id=2,file=1,", "id=2,file=2,"),
         "names file 2"},
        {"a span that isn't there", Replace(kGood, "line=4,span=1", "line=4,span=9"),
         "names span 9"},
        {"a segment that isn't there", Replace(kGood, "id=3,seg=2,", "id=3,seg=7,"),
         "names segment 7"},
        {"a number that is no number", Replace(kGood, "size=0x0004", "size=0xZZ"),
         "\"size\" is no number"},
        {"a missing key", Replace(kGood, "id=4,seg=3,start=0,size=16", "id=4,seg=3,start=0"),
         "no \"size\""},
        {"an unterminated string", Replace(kGood, "name=\"a.asm\"", "name=\"a.asm"),
         "can't be read"},
        {"a trailing comma", Replace(kGood, "mtime=0x1,mod=0\nfile", "mtime=0x1,\nfile"),
         "can't be read"},
        {"no line end at the end", kGood.substr(0, kGood.size() - 1), "no line end"},
        {"a huge count", Replace(kGood, "line=5,mod", "line=999999999,mod"), "out of range"},
        {"a segment past 24 bits", Replace(kGood, "start=0x024000", "start=0xFFFFFF"),
         "past 24-bit"},
        {"scopes inside each other",
         Replace(Replace(kGood, "scope=1,seg", "scope=2,seg"),
                 "scope\tid=0,name=\"\",mod=0,size=4\n",
                 "scope\tid=0,name=\"a\",mod=0,parent=1\nscope\tid=1,name=\"b\",mod=0,parent=0\n"),
         "contain each other"},
    };
    for (const BadCase& c : cases) {
        Ld65SymbolLibrary library;
        ASSERT_TRUE(library.LoadText(kGood, "first.sym")) << library.LoadError();
        EXPECT_FALSE(library.LoadText(c.text, "bad.sym")) << c.what;
        EXPECT_NE(library.LoadError().find(c.reason), std::string::npos)
            << c.what << ": " << library.LoadError();
        EXPECT_EQ(library.FileCount(), 0) << c.what;
        EXPECT_EQ(library.GetAddress(0, 3), -1) << c.what;
        EXPECT_EQ(library.EnumerateSymbols("", nullptr), 0) << c.what;
    }
}

TEST(Ld65HandWritten, TheReasonNamesTheFileAndTheLineWhereReadingStopped) {
    Ld65SymbolLibrary library;
    EXPECT_FALSE(library.LoadText(Replace(kGood, "size=0x0004", "size=0xZZ"), "\\p\\bad.sym"));
    EXPECT_EQ(library.LoadError(), "The symbol file /p/bad.sym can't be read (line 11): seg 0: "
                                   "\"size\" is no number");
}

TEST(Ld65HandWritten, LoadFileReadsFromDiskAndReportsAMissingFile) {
    test::TempFolder folder;
    Ld65SymbolLibrary library;
    EXPECT_TRUE(library.LoadFile(folder.WriteFile("x\\good.sym", kGood))) << library.LoadError();
    EXPECT_EQ(library.GetAddress(0, 3), 0x8000);
    EXPECT_FALSE(library.LoadFile(folder.Sub("missing.sym")));
    EXPECT_EQ(library.LoadError().rfind("Can't read the symbol file ", 0), 0u)
        << library.LoadError();
    EXPECT_EQ(library.GetAddress(0, 3), -1);
    EXPECT_FALSE(library.LoadFile(folder.Sub("x"))) << "a folder is no symbol file";
}

// ---- The bank rule ----------------------------------------------------------------------------

TEST(Ld65BankRule, AddressOfFollowsTheRomImageLayoutAndTheSegmentsOwnBank) {
    struct Case {
        int64_t segStart, offset, outputOffset, expected;
        const char* why;
    };
    for (Case c : {
             Case{0x8000, 0x10, 0, 0x8010, "unbanked area, mode 0"},
             Case{0x4000, 0, 0x8000, 0x04000, "bank 0 at offset $8000"},
             Case{0x4000, 6, 0xC000, 0x14006, "bank 1 at offset $C000"},
             Case{0x4000, 0x3FFF, 0x1C000, 0x57FFF, "last byte of bank 5"},
             Case{0x4000, 0, 0x0000, 0x4000, "mode 1: $4000 is unbanked at offset 0"},
             Case{0xC000, 2, 0xC000, 0x1C002, "mode 1: window $C000, bank 1"},
             Case{0xC000, 0, 0x4000, 0xC000, "mode 0: $C000 is unbanked at offset $4000"},
             Case{0x8000, 0, 0x10000, 0x8000, "outside the windows nothing is banked"},
             Case{0x0200, 0, -1, 0x0200, "RAM: in no output file"},
             Case{0x4000, 0, -1, 0x4000, "no output file, no bank from it"},
             Case{0x14000, 3, 0, 0x14003, "a 24-bit start is its own bank"},
             Case{0x24000, 0, 0xC000, 0x24000, "the own bank wins over the offset"},
         })
        EXPECT_EQ(Ld65SymbolLibrary::AddressOf(c.segStart, c.offset, c.outputOffset), c.expected)
            << c.why;
}

// ---- The path split ---------------------------------------------------------------------------

TEST(Ld65SourcePaths, RecordedPathsSplitIntoFolderAndNameInBackslashForm) {
    struct Case {
        const char* recorded;
        const char* folder;
        const char* name;
    };
    for (Case c : {
             Case{"main.asm", "", "main.asm"},
             Case{"src/b1.asm", "src", "b1.asm"},
             Case{"src/inc/m.inc", "src\\inc", "m.inc"},
             Case{"../lib/x.asm", "..\\lib", "x.asm"},
             Case{"/home/me/a.asm", "\\home\\me", "a.asm"},
             Case{"/a.asm", "\\", "a.asm"},
             Case{"C:\\work\\a.asm", "C:\\work", "a.asm"},
             Case{"dir/", "dir", ""},
         }) {
        std::string folder = "old", name = "old";
        Ld65SymbolLibrary::SplitSourcePath(c.recorded, folder, name);
        EXPECT_EQ(folder, c.folder) << c.recorded;
        EXPECT_EQ(name, c.name) << c.recorded;
    }
}

// ---- The look-up tables against a plain search ------------------------------------------------

// A generated file of overlapping spans in an unbanked segment and a bank, lines of source and
// of macro bodies, sparse and dense line numbers; every address of both areas and every line
// is looked up in the library and by a plain search over the records, and the two must agree.
TEST(Ld65LookupTables, FindSourceAndGetAddressAgreeWithAPlainSearchOverTheRecords) {
    struct Span {
        int seg, start, size;
    };
    struct Line {
        int file, line, type, span;
    };
    uint32_t seed = 99;
    auto next = [&seed](uint32_t range) {
        seed = seed * 1664525u + 1013904223u;
        return static_cast<int>((seed >> 8) % range);
    };
    std::vector<Span> spans;
    std::vector<Line> lines;
    for (int i = 0; i < 600; ++i) {
        int seg = next(2);
        int size = 1 + next(i % 7 == 0 ? 300 : 6); // some long spans that cover many others
        spans.push_back({seg, next(0x1200 - size), size});
        int file = next(3);
        int line = file == 2 ? 1 + next(1000000) : 1 + next(400); // file 2: scattered lines
        lines.push_back({file, line, next(4) == 0 ? 2 : 0, i});
    }
    std::string text =
        "version\tmajor=2,minor=0\ninfo\tfile=3,line=" + std::to_string(lines.size()) +
        ",seg=2,span=" + std::to_string(spans.size()) + ",sym=0,scope=0,mod=0\n";
    for (int f = 0; f < 3; ++f)
        text += "file\tid=" + std::to_string(f) + ",name=\"f" + std::to_string(f) + ".asm\"\n";
    for (std::size_t i = 0; i < lines.size(); ++i)
        text += "line\tid=" + std::to_string(i) + ",file=" + std::to_string(lines[i].file) +
                ",line=" + std::to_string(lines[i].line) +
                ",type=" + std::to_string(lines[i].type) +
                ",span=" + std::to_string(lines[i].span) + "\n";
    text += "seg\tid=0,name=\"CODE\",start=0x8000,size=0x1200,type=ro,oname=\"r\",ooffs=0\n"
            "seg\tid=1,name=\"BANK3\",start=0x4000,size=0x1200,type=ro,oname=\"r\",ooffs=" +
            std::to_string(5 * 0x4000) + "\n";
    for (std::size_t i = 0; i < spans.size(); ++i)
        text += "span\tid=" + std::to_string(i) + ",seg=" + std::to_string(spans[i].seg) +
                ",start=" + std::to_string(spans[i].start) +
                ",size=" + std::to_string(spans[i].size) + "\n";
    Ld65SymbolLibrary library;
    ASSERT_TRUE(library.LoadText(text, "generated.sym")) << library.LoadError();

    auto base = [](int seg) { return seg == 0 ? 0x8000 : 3 * 65536 + 0x4000; };
    for (int seg = 0; seg < 2; ++seg)
        for (int offset = -2; offset < 0x1202; ++offset) {
            int32_t address = base(seg) + offset;
            const Line* best = nullptr;
            for (const Line& l : lines) {
                const Span& s = spans[static_cast<std::size_t>(l.span)];
                if (s.seg != seg || offset < s.start || offset >= s.start + s.size)
                    continue;
                if (best == nullptr)
                    best = &l;
                const Span& b = spans[static_cast<std::size_t>(best->span)];
                bool macro = l.type == 2, bestMacro = best->type == 2;
                if (macro != bestMacro ? !macro : s.size < b.size)
                    best = &l; // lines come in record order, so the earlier wins a tie
            }
            int32_t file = -1, line = -1;
            bool found = library.FindSource(address, file, line);
            ASSERT_EQ(found, best != nullptr) << std::hex << address;
            if (best != nullptr) {
                ASSERT_EQ(file, best->file) << std::hex << address;
                ASSERT_EQ(line, best->line) << std::hex << address;
            }
        }
    for (const Line& probe : lines)
        for (int delta : {-1, 0, 1}) {
            int32_t lowest = -1;
            for (const Line& l : lines)
                if (l.file == probe.file && l.line == probe.line + delta) {
                    const Span& s = spans[static_cast<std::size_t>(l.span)];
                    int32_t address = base(s.seg) + s.start;
                    if (lowest < 0 || address < lowest)
                        lowest = address;
                }
            ASSERT_EQ(library.GetAddress(probe.file, probe.line + delta), lowest)
                << "file " << probe.file << " line " << probe.line + delta;
        }
}

} // namespace
} // namespace bx::symbols
