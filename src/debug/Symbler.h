#pragma once
// Symbler: the debugger's hold on the symbols of a build. It owns the symbol library, loads the
// symbol file at each power-on, turns addresses into source lines and back, builds the full
// path of a source file from the folder and name the library recorded, and hands the symbols
// out as a Watches list. DebugMonitor keeps one for its whole life; the views and dialogs share
// it by reference.
//
// Every query first looks at Loaded() and gives its empty answer while nothing is loaded:
// GetPC -1, GetSourcePath "", GetLabelsAsWatches nullptr, GetSourceAt false.
//
// Trace log module 1030: 1100 and 1110 around the creation of the library, 1010 before a load,
// 1020 after it with "True" or "False".
//
// UI thread only.

#include "debug/SymbolLibrary.h"
#include "inspectors/Watch.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace bx {

class Diagnoser;

class Symbler {
public:
    // createLibrary makes the symbol library (DebugTargetFactory::CreateSymbolLibrary in the
    // studio); it is called once, here. Trace lines go to diagnoser, which must outlive this
    // object.
    Symbler(const std::function<std::unique_ptr<SymbolLibrary>()>& createLibrary,
            const Diagnoser& diagnoser);

    // True only after a ListFilePath whose load worked.
    bool Loaded() const { return loaded_; }
    const std::string& SymbolFilePath() const { return path_; }
    // Why the last load failed, as the library says it; for the power-on's trace and message.
    std::string LoadError() const;

    // Keeps path and loads it, replacing the symbols held so far. A failed load leaves nothing
    // loaded. Errors the library throws are not caught here: the power-on catches them.
    void ListFilePath(const std::string& path);

    // The symbols as watches of group "Symbol": every symbol, or with codeOnly the code labels
    // only (kind containing "Code"). A code label below $4000 and any other symbol at $4000 or
    // above are left out, so the list holds code labels of the ROM and data and equates of the
    // low 16 KB. nullptr while nothing is loaded.
    std::unique_ptr<Watches> GetLabelsAsWatches(bool codeOnly);

    // The full path of source file index: folder and name, joined with exactly one "\"; a
    // rooted name ("\x.asm", "D:\x.asm") stands alone. Empty for an index with no file.
    std::string GetSourcePath(int32_t index);

    // The address of the code of line in file; a value below 1 for a line without code, -1
    // while nothing is loaded.
    int32_t GetPC(int32_t file, int32_t line);

    // The source line of address (the address form, its bank inside it); bank is not used.
    bool GetSourceAt(int32_t bank, int32_t address, int32_t& file, int32_t& line);

    // The library's SymbolDefinition event: adds the symbol to the watches being collected
    // when its kind and address agree. Public so that the filter can be tested on its own.
    void SymbolDefinition(const std::string& name, int32_t address, const std::string& kind);

private:
    const Diagnoser& diagnoser_;
    bool loaded_ = false;
    std::string path_;
    std::unique_ptr<SymbolLibrary> symbols_;
    std::unique_ptr<Watches> collected_;
};

} // namespace bx
