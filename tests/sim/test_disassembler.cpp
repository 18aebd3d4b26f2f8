// The disassembler's ca65 text for every addressing mode, branch targets, the zero-page size
// override and the undefined opcodes; and every opcode's text assembled again by ca65.
#include "sim/Disassembler.h"
#include "sim/OpcodeTable.h"
#include "support/Ca65.h"

#include <array>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <vector>

namespace bx::sim {
namespace {

struct Memory {
    std::array<uint8_t, 65536> Bytes{};
    ReadByteFn Reader() {
        return [this](uint16_t a) { return Bytes[a]; };
    }
};

Disassembly At(uint16_t address, std::initializer_list<uint8_t> bytes) {
    static Memory memory;
    memory.Bytes.fill(0);
    uint16_t a = address;
    for (uint8_t b : bytes)
        memory.Bytes[a++] = b;
    return Disassemble(memory.Reader(), address);
}

TEST(Disassembler, PrintsEveryAddressingModeInCa65Syntax) {
    struct Case {
        uint16_t At;
        std::initializer_list<uint8_t> Bytes;
        const char* Text;
        int Length;
    };
    const Case cases[] = {
        {0x0200, {0xE8}, "INX", 1},
        {0x0200, {0x0A}, "ASL A", 1},
        {0x0200, {0xA9, 0x12}, "LDA #$12", 2},
        {0x0200, {0xA5, 0x12}, "LDA $12", 2},
        {0x0200, {0xB5, 0x12}, "LDA $12,X", 2},
        {0x0200, {0xAD, 0x34, 0x12}, "LDA $1234", 3},
        {0x0200, {0x9D, 0x34, 0x12}, "STA $1234,X", 3},
        {0x0200, {0x6C, 0x34, 0x12}, "JMP ($1234)", 3},
        {0x0200, {0x7C, 0x34, 0x12}, "JMP ($1234,X)", 3},
        {0x0200, {0xB2, 0x12}, "LDA ($12)", 2},
        {0x0200, {0xA1, 0x12}, "LDA ($12,X)", 2},
        {0x0200, {0xB1, 0x12}, "LDA ($12),Y", 2},
        {0xC000, {0xD0, 0x03}, "BNE $C005", 2},
        {0xC010, {0x10, 0x80}, "BPL $BF92", 2},
        {0xC000, {0x3F, 0x12, 0x02}, "BBR3 $12,$C005", 3},
        {0xC000, {0xFF, 0x80, 0xFD}, "BBS7 $80,$C000", 3},
        {0x0200, {0x27, 0x44}, "RMB2 $44", 2},
        {0x0200, {0x4C, 0x12, 0x00}, "JMP $0012", 3},
        {0x0200, {0xAD, 0x12, 0x00}, "LDA a:$0012", 3},
        {0x0200, {0x1D, 0xFF, 0x00}, "ORA a:$00FF,X", 3},
        {0x0200, {0xCB}, "WAI", 1},
        {0x0200, {0x00, 0x55}, "BRK", 1},
        {0x0200, {0x02, 0x12}, ".byte $02,$12 ; NOP", 2},
        {0x0200, {0x03}, ".byte $03 ; NOP", 1},
        {0x0200, {0x5C, 0x34, 0x12}, ".byte $5C,$34,$12 ; NOP", 3},
    };
    for (const Case& c : cases) {
        Disassembly d = At(c.At, c.Bytes);
        EXPECT_EQ(d.Text, c.Text);
        EXPECT_EQ(d.Length, c.Length) << c.Text;
    }
    // The operand bytes of an instruction at the top of memory come from $0000 on.
    EXPECT_EQ(At(0xFFFF, {0x4C}).Text, "JMP $0000");
    EXPECT_EQ(At(0xFFFE, {0xD0, 0x00}).Text, "BNE $0000");
}

// Every opcode, disassembled and fed back to ca65 and ld65, gives back the same bytes: the
// lengths, modes and mnemonics of the whole table.
TEST(Disassembler, Ca65ReassemblesTheTextOfEveryOpcodeToTheSameBytes) {
    if (!test::Ca65Available())
        GTEST_SKIP() << test::kCa65Missing;
    static Memory memory;
    memory.Bytes.fill(0);
    std::vector<uint8_t> stream;
    for (int op = 0; op < 256; ++op) {
        const OpcodeInfo& info = OpcodeInfoOf(static_cast<uint8_t>(op));
        stream.push_back(static_cast<uint8_t>(op));
        if (info.Length > 1)
            stream.push_back(static_cast<uint8_t>(op * 7 + 3)); // forward and backward branches
        if (info.Length > 2)
            stream.push_back(op % 3 == 0 ? 0x00 : 0x12); // some operands below $0100
    }
    const uint16_t origin = 0x1000;
    for (std::size_t i = 0; i < stream.size(); ++i)
        memory.Bytes[origin + i] = stream[i];
    std::string source = ".segment \"CODE\"\n.org $1000\n";
    for (uint16_t a = origin; a < origin + stream.size();) {
        Disassembly d = Disassemble(memory.Reader(), a);
        source += "    " + d.Text + "\n";
        a = static_cast<uint16_t>(a + d.Length);
    }
    test::TempFolder folder;
    folder.WriteFile("flat.cfg", "MEMORY { RAM: start = $1000, size = $1000, file = %O; }\n"
                                 "SEGMENTS { CODE: load = RAM, type = rw; }\n");
    const test::Assembled assembled =
        test::Assemble(folder, source, (folder.Native() / "flat.cfg").string(), ".");
    ASSERT_TRUE(assembled.Ok) << assembled.Log << source;
    ASSERT_EQ(assembled.Image, stream);
}

} // namespace
} // namespace bx::sim
