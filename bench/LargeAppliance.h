#pragma once
// The large appliance the debugger's benchmarks power on: 40 source files of 2,000 lines each,
// assembled with ca65 and linked with ld65 into a 1 MB ROM image for the KTR640 (the 32 KB
// fixed area and 62 banks). Module 0 is the fixed area with the reset vector; module f lies in
// bank f. Needs ca65 and ld65; ok stays false without them.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

constexpr int kFiles = 40;
constexpr int kLinesPerFile = 2000;
constexpr int kBanks = 62;

struct LargeAppliance {
    std::filesystem::path folder;
    bool ok = false;

    explicit LargeAppliance(const std::string& purpose) {
        namespace fs = std::filesystem;
        folder = fs::temp_directory_path() /
                 ("tessarine-bench-" + purpose + "-" + std::to_string(getpid()));
        fs::create_directories(folder);
        if (std::system("command -v ca65 >/dev/null 2>&1 && command -v ld65 >/dev/null 2>&1") != 0)
            return;
        // Bank mode 1: the fixed 32 KB at $4000-$BFFF, the window $C000-$FFFF, bank 0 under
        // the vectors.
        std::ofstream cfg(folder / "big.cfg");
        cfg << "MEMORY {\n  ZP: start = $0000, size = $00C0, type = rw;\n"
               "  ROM: start = $4000, size = $8000, type = ro, file = %O, fill = yes;\n"
               "  BANK0: start = $C000, size = $3FFA, type = ro, file = %O, fill = yes;\n"
               "  VECTORS: start = $FFFA, size = 6, type = ro, file = %O;\n";
        for (int b = 1; b < kBanks; ++b)
            cfg << "  BANK" << b << ": start = $C000, size = $4000, type = ro, file = %O, "
                << "fill = yes, bank = " << b << ";\n";
        cfg << "}\nSEGMENTS {\n  CODE: load = ROM, type = ro;\n  VECTORS: load = VECTORS, type = "
               "ro;\n";
        for (int b = 0; b < kBanks; ++b)
            cfg << "  BANK" << b << ": load = BANK" << b << ", type = ro, optional = yes;\n";
        cfg << "}\n";
        cfg.close();

        std::string objects;
        for (int f = 0; f < kFiles; ++f) {
            const std::string name = "module" + std::to_string(f);
            std::ofstream source(folder / (name + ".asm"));
            source << "        .setcpu \"65C02\"\n";
            source << (f == 0 ? "        .code\n"
                              : "        .segment \"BANK" + std::to_string(f) + "\"\n");
            if (f == 0)
                source << "reset:\n";
            for (int line = 2; line < kLinesPerFile - 4; ++line) {
                if (line % 4 == 0)
                    source << "; a comment line, as real sources have them\n";
                else
                    source << "        lda #$" << std::hex << (line & 0xFF) << std::dec
                           << "        ; line " << line << "\n";
            }
            if (f == 0)
                source << "        jmp reset\n        .segment \"VECTORS\"\n"
                          "        .word reset, reset, reset\n";
            else
                source << "        rts\n\n\n";
            source.close();
            objects += " " + name + ".o";
            const std::string assemble =
                "cd '" + folder.string() + "' && ca65 -g -o " + name + ".o " + name + ".asm";
            if (std::system(assemble.c_str()) != 0)
                return;
        }
        const std::string link = "cd '" + folder.string() +
                                 "' && ld65 -C big.cfg --dbgfile big.sym -o big.rom" + objects;
        ok = std::system(link.c_str()) == 0 && fs::file_size(folder / "big.rom") == (1u << 20);
    }
    ~LargeAppliance() { std::filesystem::remove_all(folder); }
};

} // namespace
