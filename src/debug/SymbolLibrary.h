#pragma once
// SymbolLibrary: reads the symbol file of a build and answers the debugger's questions about
// it: which source files took part, which address a source line starts at, which line an
// address belongs to, and which symbols the program defines. The Symbler (src/debug/) wraps it
// for the rest of the studio; the reader of ld65 debug files (src/symbols/) implements it.
//
// Addresses are in the Emulator's address form, bank * 65536 + the 16-bit address. A symbol or
// line in the bank window carries the bank it was linked into; everything else carries bank 0.
// The bank follows from where the code lies in the ROM image: the first 32 KB of the image are
// the unbanked area (bank 0), bank b starts at file offset (b + 2) * $4000; a segment linked at
// a 24-bit address carries its bank in the address itself. FindSource compares addresses as
// they are given, so an address outside the bank window is asked for with bank 0.
//
// Source lines are numbered from 1, as the debug views number them. A source file's index is
// the symbol file's own number for it (ld65's file id): the numbers run from 0 without gaps,
// and they are what the views, the tabs and the command line show.
//
// Errors: LoadFile reports an unreadable or malformed file by its result; any other failure
// throws BxError (the caller of the load catches it and counts the symbols as not loaded).
// Every query on a library with nothing loaded gives its empty answer.
//
// Threads: UI thread only, one call at a time. EnumerateSymbols calls its handler on the
// calling thread before it returns; the handler must not call back into the library.

#include <cstdint>
#include <functional>
#include <string>

namespace bx {

// One symbol, as EnumerateSymbols reports it.
struct SymbolDefinition {
    std::string Name;
    // The symbol's value in the address form.
    int32_t Address = 0;
    // "Code" for a label in a read-only segment (program code, and also a table in ROM: the
    // linker can't tell the two apart), "Data" for a label in a writable segment (RAM, zero
    // page), "Equate" for a name assigned a plain number. The Symbler treats every kind that
    // contains "Code" as a code label.
    std::string Kind;
};

class SymbolLibrary {
public:
    virtual ~SymbolLibrary() = default;

    // Reads the symbol file at path (the system's backslash form), replacing whatever was
    // loaded before. False when the file is missing or can't be read as a symbol file; the
    // library then holds nothing, and LoadError() says why.
    virtual bool LoadFile(const std::string& path) = 0;

    // Why the last LoadFile gave false, in words a trace line or a message can carry (the
    // path, the line of the file where reading stopped, what was wrong there); empty after a
    // load that worked or before any load.
    virtual std::string LoadError() const { return {}; }

    // The source file with this index. folder and name are in the backslash form: name is the
    // file's name, folder the path ahead of it as the build recorded it (relative to the
    // appliance's folder, where the build ran, or rooted), with or without a final separator,
    // or empty. False, leaving folder and name empty, for an index with no file.
    virtual bool GetSourceFile(int32_t index, std::string& folder, std::string& name) = 0;

    // The address of the first byte of code that line (from 1) of file fileIndex produced;
    // a value below 1 (-1) for a line that produced no code or a file or line that doesn't
    // exist.
    virtual int32_t GetAddress(int32_t fileIndex, int32_t line) = 0;

    // The source line whose code covers address: true with fileIndex and line (from 1) set;
    // false, leaving them untouched, when no line covers it.
    virtual bool FindSource(int32_t address, int32_t& fileIndex, int32_t& line) = 0;

    // Calls onSymbol once for each symbol, before it returns, and returns how many it
    // reported. kindFilter "Code" reports only the symbols whose kind contains "Code" (any
    // other text likewise: the kinds containing it, without regard to case); the empty text
    // reports all of them.
    virtual int32_t
    EnumerateSymbols(const std::string& kindFilter,
                     const std::function<void(const SymbolDefinition&)>& onSymbol) = 0;
};

} // namespace bx
