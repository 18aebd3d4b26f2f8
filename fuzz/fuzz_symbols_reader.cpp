// libFuzzer target: arbitrary bytes through the ld65 debug-file reader. A broken or hostile
// file must be refused with a reason, never crash; what it accepts must answer look-ups.

#include "symbols/Ld65SymbolLibrary.h"

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    bx::symbols::Ld65SymbolLibrary library;
    const std::string input(reinterpret_cast<const char*>(data), size);
    if (!library.LoadText(input, "fuzz.sym"))
        return 0;
    // Touch every kind of answer once on what was accepted.
    int32_t file = 0, line = 0;
    library.FindSource(0x8000, file, line);
    library.GetAddress(0, 1);
    library.EnumerateSymbols("", [](const bx::SymbolDefinition&) {});
    return 0;
}
