#include "sim/Disassembler.h"

#include "sim/OpcodeTable.h"

#include <cstring>

namespace bx::sim {

namespace {

std::string Hex(unsigned value, int digits) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string text = "$";
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
        text += kDigits[(value >> shift) & 0xF];
    return text;
}

// An absolute operand that ca65 would shrink to zero page gets the "a:" size override.
std::string AbsOperand(const OpcodeInfo& info, unsigned value) {
    bool hasNoZeroPageForm =
        std::strcmp(info.Mnemonic, "JMP") == 0 || std::strcmp(info.Mnemonic, "JSR") == 0;
    if (value < 0x100 && !hasNoZeroPageForm)
        return "a:" + Hex(value, 4);
    return Hex(value, 4);
}

} // namespace

Disassembly Disassemble(const ReadByteFn& readByte, uint16_t address) {
    const uint8_t opcode = readByte(address);
    const OpcodeInfo& info = OpcodeInfoOf(opcode);
    const uint8_t b1 = info.Length > 1 ? readByte(static_cast<uint16_t>(address + 1)) : 0;
    const uint8_t b2 = info.Length > 2 ? readByte(static_cast<uint16_t>(address + 2)) : 0;
    const unsigned word = static_cast<unsigned>(b1 | (b2 << 8));

    Disassembly result;
    result.Length = info.Length;

    if (info.Flags & kUndefined) {
        result.Text = ".byte " + Hex(opcode, 2);
        if (info.Length > 1)
            result.Text += "," + Hex(b1, 2);
        if (info.Length > 2)
            result.Text += "," + Hex(b2, 2);
        result.Text += " ; NOP";
        return result;
    }

    std::string operand;
    switch (info.Mode) {
    case AddrMode::Implied:
        break;
    case AddrMode::Accumulator:
        operand = "A";
        break;
    case AddrMode::Immediate:
        operand = "#" + Hex(b1, 2);
        break;
    case AddrMode::ZeroPage:
        operand = Hex(b1, 2);
        break;
    case AddrMode::ZeroPageX:
        operand = Hex(b1, 2) + ",X";
        break;
    case AddrMode::ZeroPageY:
        operand = Hex(b1, 2) + ",Y";
        break;
    case AddrMode::Absolute:
        operand = AbsOperand(info, word);
        break;
    case AddrMode::AbsoluteX:
        operand = AbsOperand(info, word) + ",X";
        break;
    case AddrMode::AbsoluteY:
        operand = AbsOperand(info, word) + ",Y";
        break;
    case AddrMode::AbsoluteIndirect:
        operand = "(" + Hex(word, 4) + ")";
        break;
    case AddrMode::AbsoluteIndexedIndirect:
        operand = "(" + Hex(word, 4) + ",X)";
        break;
    case AddrMode::ZeroPageIndirect:
        operand = "(" + Hex(b1, 2) + ")";
        break;
    case AddrMode::ZeroPageIndexedIndirect:
        operand = "(" + Hex(b1, 2) + ",X)";
        break;
    case AddrMode::ZeroPageIndirectIndexed:
        operand = "(" + Hex(b1, 2) + "),Y";
        break;
    case AddrMode::Relative: {
        unsigned target = (address + 2u + static_cast<unsigned>(static_cast<int8_t>(b1))) & 0xFFFF;
        operand = Hex(target, 4);
        break;
    }
    case AddrMode::ZeroPageRelative: {
        unsigned target = (address + 3u + static_cast<unsigned>(static_cast<int8_t>(b2))) & 0xFFFF;
        operand = Hex(b1, 2) + "," + Hex(target, 4);
        break;
    }
    }
    result.Text = info.Mnemonic;
    if (!operand.empty())
        result.Text += " " + operand;
    return result;
}

} // namespace bx::sim
