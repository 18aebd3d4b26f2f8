#pragma once
// The 65C02 disassembler: one instruction to text in ca65 syntax, from the opcode table.
//
// Output rules: upper-case mnemonics; "$" hexadecimal with upper-case digits, two digits for a
// zero-page operand or an immediate, four for an absolute address; branch targets as absolute
// addresses ("BNE $C005", "BBR3 $12,$C005"); accumulator forms as "ASL A", "INC A". An
// absolute operand below $0100 is written "a:$0012" (except for JMP and JSR, which have no
// zero-page form), because ca65 would otherwise assemble the shorter zero-page instruction.
// Undefined opcodes come out as ".byte" lines carrying every byte of the instruction, with the
// NOP that the CPU executes in a comment: ".byte $02,$12 ; NOP" - ca65 assembles them back to
// the same bytes. BRK is one byte, as an assembler emits it; the signature byte the CPU skips
// is disassembled as the next instruction.

#include <cstdint>
#include <functional>
#include <string>

namespace bx::sim {

struct Disassembly {
    std::string Text;
    int Length = 1; // bytes of the instruction at the address, 1 to 3
};

using ReadByteFn = std::function<uint8_t(uint16_t)>;

// Disassembles the instruction at address; bytes past $FFFF wrap to $0000. readByte must be
// free of side effects (a peek, not a bus read).
Disassembly Disassemble(const ReadByteFn& readByte, uint16_t address);

} // namespace bx::sim
