#include "editor/AsmSyntax.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace bx {

namespace {

// The 65C02's mnemonics, upper case and sorted; the bit instructions carry their bit number
// in ca65's syntax, and INA/DEA are ca65's names for INC A/DEC A.
constexpr std::string_view kMnemonics[] = {
    "ADC", "AND", "ASL", "BCC", "BCS", "BEQ", "BIT", "BMI", "BNE", "BPL", "BRA", "BRK",
    "BVC", "BVS", "CLC", "CLD", "CLI", "CLV", "CMP", "CPX", "CPY", "DEA", "DEC", "DEX",
    "DEY", "EOR", "INA", "INC", "INX", "INY", "JMP", "JSR", "LDA", "LDX", "LDY", "LSR",
    "NOP", "ORA", "PHA", "PHP", "PHX", "PHY", "PLA", "PLP", "PLX", "PLY", "ROL", "ROR",
    "RTI", "RTS", "SBC", "SEC", "SED", "SEI", "STA", "STP", "STX", "STY", "STZ", "TAX",
    "TAY", "TRB", "TSB", "TSX", "TXA", "TXS", "TYA", "WAI"};
static_assert(std::is_sorted(std::begin(kMnemonics), std::end(kMnemonics)));

char16_t Upper(char16_t c) {
    return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - u'a' + u'A') : c;
}

bool IsLetter(char16_t c) {
    return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z');
}

bool IsDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}

bool IsHexDigit(char16_t c) {
    return IsDigit(c) || (c >= u'A' && c <= u'F') || (c >= u'a' && c <= u'f');
}

bool IsIdentStart(char16_t c) {
    return IsLetter(c) || c == u'_' || c == u'@';
}

bool IsIdentChar(char16_t c) {
    return IsIdentStart(c) || IsDigit(c);
}

bool IsBlank(char16_t c) {
    return c == u' ' || c == u'\t';
}

std::size_t SkipBlanks(std::u16string_view line, std::size_t at) {
    while (at < line.size() && IsBlank(line[at]))
        ++at;
    return at;
}

// The end of a number that starts at at, or at itself when none starts there.
std::size_t NumberEnd(std::u16string_view line, std::size_t at) {
    const std::size_t size = line.size();
    std::size_t end = at;
    if (line[at] == u'$') {
        for (end = at + 1; end < size && IsHexDigit(line[end]); ++end) {
        }
        return end > at + 1 ? end : at;
    }
    if (line[at] == u'%') {
        for (end = at + 1; end < size && (line[end] == u'0' || line[end] == u'1'); ++end) {
        }
        return end > at + 1 ? end : at;
    }
    if (!IsDigit(line[at]))
        return at;
    // Decimal, or hexadecimal with an "h" behind ("0FFh").
    for (end = at; end < size && IsHexDigit(line[end]); ++end) {
    }
    if (end < size && (line[end] == u'h' || line[end] == u'H'))
        return end + 1;
    for (end = at; end < size && IsDigit(line[end]); ++end) {
    }
    return end;
}

} // namespace

bool IsAsmMnemonic(std::u16string_view word) {
    if (word.size() == 4 && IsDigit(word[3]) && word[3] <= u'7') {
        std::string head;
        for (std::size_t i = 0; i < 3; ++i)
            head += static_cast<char>(Upper(word[i]));
        return head == "RMB" || head == "SMB" || head == "BBR" || head == "BBS";
    }
    if (word.size() != 3)
        return false;
    std::string upper;
    for (char16_t c : word) {
        if (!IsLetter(c))
            return false;
        upper += static_cast<char>(Upper(c));
    }
    return std::binary_search(std::begin(kMnemonics), std::end(kMnemonics), upper);
}

std::vector<AsmSpan> ColourAsmLine(std::u16string_view line) {
    std::vector<AsmSpan> spans;
    const std::size_t size = line.size();
    auto add = [&spans](std::size_t start, std::size_t end, AsmToken kind) {
        spans.push_back({static_cast<int>(start), static_cast<int>(end - start), kind});
    };
    // Until the instruction (or directive) of the line was seen, a word is a label, a symbol
    // being defined, a mnemonic or a macro's name.
    bool instructionPlace = true;
    std::size_t at = 0;
    while (at < size) {
        const char16_t c = line[at];
        if (IsBlank(c)) {
            ++at;
            continue;
        }
        if (c == u';') {
            add(at, size, AsmToken::Comment);
            break;
        }
        if (c == u'"' || c == u'\'') {
            std::size_t end = line.find(c, at + 1);
            end = end == std::u16string_view::npos ? size : end + 1;
            add(at, end, AsmToken::String);
            at = end;
            instructionPlace = false;
            continue;
        }
        if (c == u'.' && at + 1 < size && IsLetter(line[at + 1])) {
            std::size_t end = at + 1;
            while (end < size && IsIdentChar(line[end]))
                ++end;
            add(at, end, AsmToken::Directive);
            at = end;
            instructionPlace = false;
            continue;
        }
        if (c == u':' && instructionPlace) {
            // An unnamed label (":"), as ca65 writes it.
            add(at, at + 1, AsmToken::Label);
            ++at;
            continue;
        }
        if (IsIdentStart(c)) {
            std::size_t end = at;
            while (end < size && IsIdentChar(line[end]))
                ++end;
            if (instructionPlace) {
                // A label's colon follows its name at once ("bra :-" is a branch).
                if (end < size && line[end] == u':' && (end + 1 >= size || line[end + 1] != u'=')) {
                    add(at, end + 1, AsmToken::Label);
                    at = end + 1;
                    continue;
                }
                const std::size_t next = SkipBlanks(line, end);
                if (next < size && (line[next] == u'=' || line.substr(next, 2) == u":=")) {
                    add(at, end, AsmToken::Label);
                } else if (IsAsmMnemonic(line.substr(at, end - at))) {
                    add(at, end, AsmToken::Mnemonic);
                }
                instructionPlace = false;
            }
            at = end;
            continue;
        }
        const std::size_t numberEnd = NumberEnd(line, at);
        if (numberEnd > at) {
            add(at, numberEnd, AsmToken::Number);
            at = numberEnd;
            continue;
        }
        ++at;
    }
    return spans;
}

} // namespace bx
