#pragma once
// The one table of the 65C02 instruction set: mnemonic, addressing mode, length in bytes, base
// cycle count and the penalties that can add to it. The disassembler prints from it and the
// tests check the core's behaviour against it; the core itself executes from a switch for speed
// and is held to this table by those tests, so the table stays the single source of truth.

#include <array>
#include <cstdint>

namespace bx::sim {

enum class AddrMode : uint8_t {
    Implied,                 // INX, RTS, WAI
    Accumulator,             // ASL A, INC A
    Immediate,               // LDA #$12
    ZeroPage,                // LDA $12, RMB2 $12
    ZeroPageX,               // LDA $12,X
    ZeroPageY,               // LDX $12,Y
    Absolute,                // LDA $1234, JMP $1234
    AbsoluteX,               // LDA $1234,X
    AbsoluteY,               // LDA $1234,Y
    AbsoluteIndirect,        // JMP ($1234)
    AbsoluteIndexedIndirect, // JMP ($1234,X)
    ZeroPageIndirect,        // LDA ($12)
    ZeroPageIndexedIndirect, // LDA ($12,X)
    ZeroPageIndirectIndexed, // LDA ($12),Y
    Relative,                // BNE $C005
    ZeroPageRelative,        // BBR3 $12,$C005
};

// Penalty flags: when an instruction can take more than its base cycles.
enum OpcodeFlags : uint8_t {
    kPageCrossPenalty = 0x01, // +1 when the indexed address crosses a page
    kBranchPenalty = 0x02,    // +1 when taken (not for BRA, whose base counts it), +1 on page cross
    kDecimalPenalty = 0x04,   // +1 when D is set (ADC, SBC)
    kUndefined = 0x08,        // an undefined opcode that the WDC part executes as a NOP
};

struct OpcodeInfo {
    const char* Mnemonic; // upper case; "NOP" for the undefined opcodes
    AddrMode Mode;
    uint8_t Length; // bytes as an assembler emits them (BRK is 1; the CPU skips one more byte)
    uint8_t Cycles; // base cycles, no penalties
    uint8_t Flags;  // OpcodeFlags
};

// The whole instruction set, indexed by opcode.
const std::array<OpcodeInfo, 256>& OpcodeTable();
inline const OpcodeInfo& OpcodeInfoOf(uint8_t opcode) {
    return OpcodeTable()[opcode];
}

} // namespace bx::sim
