#pragma once
// The symbol library of the studio: reads the debug-information file that ld65 writes with
// --dbgfile (the templates name it <Title>.sym) and answers the SymbolLibrary questions from
// flat, sorted tables built once at load.
//
// The file is text, one record per line: a record type ("version", "info", "file", "line",
// "mod", "seg", "span", "scope", "sym", "type", "csym", "lib"), a tab, and comma-separated
// key=value pairs; values are decimal or 0x-hexadecimal numbers, quoted strings, or id lists
// joined by "+". The reader accepts major version 2, skips record types and keys it doesn't
// know (a later minor version may add them), and refuses anything else it can't make sense of:
// a missing or unknown major version, a record it can't split, a missing key it needs, an id
// out of range or given twice, a reference to a record that isn't there, and a record count
// that doesn't match the "info" line (which is how a file cut off at a line end shows).
//
// What counts as code: a span of bytes that the linker wrote into an output file (its segment
// has an "oname"). Lines whose only spans lie in RAM segments (.res in BSS, zero page) produce
// no code: GetAddress gives -1 for them and FindSource never answers with them.
//
// Banks. A segment linked at a 24-bit address carries its bank in the high bits of its start
// (start=0x014000 is bank 1). Otherwise a byte in the bank window ($4000-$7FFF or $C000-$FFFF)
// that the linker placed at file offset (b + 2) * $4000 or beyond in its output file belongs
// to bank b: that is the ROM image layout the power-on loads, 32 KB of unbanked area first,
// then one 16 KB slice per bank. Everything else is bank 0.
//
// Which line FindSource gives where several lines cover an address: a line of the source
// itself before a line of a macro body (so a macro call shows as the line that called it),
// then the smallest covering span (the innermost), then the line listed first in the file.
//
// UI thread only, like the interface.

#include "debug/SymbolLibrary.h"

#include <cstdint>
#include <string>
#include <vector>

namespace bx::symbols {

class Ld65SymbolLibrary : public SymbolLibrary {
public:
    bool LoadFile(const std::string& path) override;
    std::string LoadError() const override { return loadError_; }
    bool GetSourceFile(int32_t index, std::string& folder, std::string& name) override;
    int32_t GetAddress(int32_t fileIndex, int32_t line) override;
    bool FindSource(int32_t address, int32_t& fileIndex, int32_t& line) override;
    int32_t EnumerateSymbols(const std::string& kindFilter,
                             const std::function<void(const SymbolDefinition&)>& onSymbol) override;

    // Reads a debug file from text already in memory (the path only names it in LoadError).
    // LoadFile reads the file and calls this.
    bool LoadText(const std::string& text, const std::string& path);

    // Sizes of the tables, for the command line and the tests.
    int32_t FileCount() const { return static_cast<int32_t>(files_.size()); }
    int32_t SymbolCount() const { return static_cast<int32_t>(symbols_.size()); }

    // The address form of a byte that lies offset bytes into a segment linked at segStart,
    // which the linker wrote at file offset outputOffset (negative: the segment is in no
    // output file). The bank rule above, as one function so that the tests can pin it down.
    static int64_t AddressOf(int64_t segStart, int64_t offset, int64_t outputOffset);

    // The folder and name ld65 recorded for a file ("inc/macros.inc"), in the backslash form:
    // the folder is everything ahead of the last separator, without it ("inc"); "\" for a
    // file in the root; empty for a bare name.
    static void SplitSourcePath(const std::string& recorded, std::string& folder,
                                std::string& name);

private:
    struct SourceFile {
        std::string Folder;
        std::string Name;
    };
    // One line's code address, keyed (file << 32 | line) and sorted by the key.
    struct LineAddress {
        uint64_t Key;
        int32_t Address;
    };
    // Where GetAddress finds the lines of one file: a dense run of addresses indexed by line
    // (most files: their lines with code lie close together), or for a file whose line
    // numbers are scattered, its sorted part of lineAddresses_.
    struct FileLines {
        int32_t FirstLine = 0;
        int32_t LastLine = -1; // below FirstLine: no line with code
        std::size_t Begin = 0; // into denseAddresses_ or lineAddresses_
        std::size_t End = 0;
        bool Dense = true;
    };

    void Clear();
    void BuildLineTables();
    void BuildRangeBuckets();

    std::string loadError_;
    std::vector<SourceFile> files_;
    std::vector<LineAddress> lineAddresses_;
    std::vector<FileLines> fileLines_;
    std::vector<int32_t> denseAddresses_;
    // FindSource's map: rangeStarts_[i] up to rangeStarts_[i + 1] (exclusive) belongs to
    // rangeSources_[i]; a file of -1 is a gap. The last entry is always a gap.
    struct RangeSource {
        int32_t File;
        int32_t Line;
    };
    std::vector<int64_t> rangeStarts_;
    std::vector<RangeSource> rangeSources_;
    // rangeBuckets_[k]: the first range starting at or above k << kBucketShift, so that a
    // look-up searches one bucket's few ranges instead of the whole map.
    std::vector<uint32_t> rangeBuckets_;
    std::vector<SymbolDefinition> symbols_;
};

} // namespace bx::symbols
