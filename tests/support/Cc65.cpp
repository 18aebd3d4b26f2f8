#include "support/Cc65.h"

#include <array>
#include <cstdio>
#include <sstream>
#include <sys/wait.h>

namespace bx::test {

std::string ShellQuoted(const std::string& text) {
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

int RunCommand(const std::string& command, std::string& output) {
    output.clear();
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr)
        return -1;
    std::array<char, 4096> buffer;
    std::size_t n;
    while ((n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
        output.append(buffer.data(), n);
    const int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool BuildToolsPresent() {
    static const bool available = [] {
        std::string out;
        return RunCommand("command -v ca65 && command -v ld65 && command -v make", out) == 0;
    }();
    return available;
}

Assembled Assemble(const TempFolder& folder, const std::string& source,
                   const std::string& configPath, const std::string& includeFolder) {
    Assembled result;
    folder.WriteFile("prog.s", source);
    if (RunCommand("cd " + ShellQuoted(folder.Native().string()) + " && ca65 --cpu 65C02 -g -I " +
                       ShellQuoted(includeFolder) + " -o prog.o prog.s && ld65 -C " +
                       ShellQuoted(configPath) + " -Ln prog.lbl -o prog.bin prog.o",
                   result.Log) != 0)
        return result;
    const std::string image = folder.ReadFile("prog.bin");
    result.Image.assign(image.begin(), image.end());
    result.Ok = !result.Image.empty();
    result.Log = result.Ok ? "" : "ld65 wrote no output";
    // Lines of the form "al 00C012 .name".
    std::istringstream labels(folder.ReadFile("prog.lbl"));
    std::string al, value, name;
    while (labels >> al >> value >> name)
        if (al == "al" && name.size() > 1)
            result.Labels[name.substr(1)] = static_cast<uint32_t>(std::stoul(value, nullptr, 16));
    return result;
}

namespace {

// Runs a shell command, appending the command and its output to log; true on exit status 0.
bool RunLogged(const std::string& command, std::string& log) {
    std::string output;
    const bool ok = RunCommand(command, output) == 0;
    log += "$ " + command + "\n" + output;
    return ok;
}

} // namespace

const char* const kBankedRomConfig = R"(MEMORY {
    ZP:    start = $0000, size = $0100, type = rw, file = "";
    RAM:   start = $0200, size = $3E00, type = rw, file = "";
    ROM:   start = $8000, size = $8000, type = ro, file = %O, fill = yes, fillval = $FF;
    BANK0: start = $4000, size = $4000, type = ro, file = %O, fill = yes, fillval = $FF;
    BANK1: start = $4000, size = $4000, type = ro, file = %O, fill = yes, fillval = $FF;
    BANK2: start = $4000, size = $4000, type = ro, file = %O, fill = yes, fillval = $FF;
    BANK3: start = $4000, size = $4000, type = ro, file = %O, fill = yes, fillval = $FF;
}
SEGMENTS {
    ZEROPAGE: load = ZP, type = zp;
    BSS:      load = RAM, type = bss;
    CODE:     load = ROM, type = ro;
    RODATA:   load = ROM, type = ro;
    VECTORS:  load = ROM, type = ro, start = $FFFA;
    BANK0:    load = BANK0, type = ro, optional = yes;
    BANK1:    load = BANK1, type = ro, optional = yes;
    BANK2:    load = BANK2, type = ro, optional = yes;
    BANK3:    load = BANK3, type = ro, optional = yes;
}
)";

Cc65Build AssembleAndLink(const TempFolder& folder, const std::vector<std::string>& sources,
                          const std::string& config, const std::string& output,
                          const std::string& dbgFile) {
    Cc65Build build;
    folder.WriteFile("rom.cfg", config);
    const std::string cd = "cd " + ShellQuoted(folder.Native().string()) + " && ";
    std::string objects;
    for (std::size_t i = 0; i < sources.size(); ++i) {
        std::string object = "obj" + std::to_string(i) + ".o";
        if (!RunLogged(cd + "ca65 -g " + ShellQuoted(sources[i]) + " -o " + object, build.Log))
            return build;
        objects += " " + object;
    }
    build.Ok = RunLogged(cd + "ld65 -C rom.cfg -o " + ShellQuoted(output) + " --dbgfile " +
                             ShellQuoted(dbgFile) + objects,
                         build.Log);
    return build;
}

std::vector<std::string> WriteBankedProgram(const TempFolder& folder) {
    folder.WriteFile("main.asm",                     //
                     "; unbanked code at $8000\n"    // 1
                     ".include \"inc/macros.inc\"\n" // 2
                     ".import bank1fn, bank2fn\n"    // 3
                     ".export reset\n"               // 4
                     ".segment \"ZEROPAGE\"\n"       // 5
                     "counter: .res 1\n"             // 6  00:0000, no code
                     ".segment \"BSS\"\n"            // 7
                     "buffer: .res 16\n"             // 8  00:0200, no code
                     ".segment \"CODE\"\n"           // 9
                     "reset:\n"                      // 10
                     "    ldx #$FF\n"                // 11 8000
                     "    txs\n"                     // 12 8002
                     "    add2 PORTVAL\n"            // 13 8003-8007
                     "loop:\n"                       // 14
                     "    jsr bank1fn\n"             // 15 8008
                     "    jsr bank2fn\n"             // 16 800B
                     "    inc counter\n"             // 17 800E
                     "    jmp loop\n"                // 18 8010
                     "nmi: rti\n"                    // 19 8013
                     ".segment \"RODATA\"\n"         // 20
                     "table: .byte 1, 2, 3, 4\n"     // 21 8014-8017
                     ".segment \"VECTORS\"\n"        // 22
                     "    .word nmi, reset, nmi\n"); // 23 FFFA-FFFF
    folder.WriteFile("inc/macros.inc",               //
                     "; shared by the program\n"     // 1
                     "PORTVAL = $10\n"               // 2
                     ".macro add2 val\n"             // 3
                     "    clc\n"                     // 4 8003
                     "    adc #val\n"                // 5 8004
                     "    adc #val\n"                // 6 8006
                     ".endmacro\n");                 // 7
    folder.WriteFile("src/b1.asm",                   //
                     "; code in bank 1\n"            // 1
                     ".export bank1fn\n"             // 2
                     ".segment \"BANK1\"\n"          // 3
                     "    nop\n"                     // 4 01:4000
                     "    nop\n"                     // 5 01:4001
                     "bank1fn:\n"                    // 6
                     "    lda #1\n"                  // 7 01:4002
                     "    ldx #2\n"                  // 8 01:4004
                     "    ldy #3\n"                  // 9 01:4006
                     "    rts\n");                   // 10 01:4008
    folder.WriteFile("src/b2.asm",                   //
                     "; code in bank 2\n"            // 1
                     ".export bank2fn\n"             // 2
                     ".segment \"BANK2\"\n"          // 3
                     "bank2fn:\n"                    // 4
                     "    lda #$22\n"                // 5 02:4000
                     "    rts\n");                   // 6 02:4002
    return {"main.asm", "src/b1.asm", "src/b2.asm"};
}

Cc65Build BuildBankedProgram(const TempFolder& folder) {
    return AssembleAndLink(folder, WriteBankedProgram(folder), kBankedRomConfig, "rom.bin",
                           "rom.sym");
}

} // namespace bx::test
