#pragma once
// The pieces of one line of ca65 assembly that the source editor colours: comments, the
// mnemonics of the WDC 65C02 (the bit instructions RMB, SMB, BBR and BBS with their bit
// number, WAI and STP included) in the instruction's place, control commands (".byte",
// ".proc", also ".hibyte(x)" inside an operand), labels and symbols being defined ("loop:",
// "@next:", "COUNT = 4"), numbers in every form ca65 reads ("$FF", "%1010", "255", "0FFh") and
// strings and characters. Each line stands on its own: ca65 has no comment or string that
// spans lines, so any line can be coloured without the ones before it.

#include <cstdint>
#include <string_view>
#include <vector>

namespace bx {

enum class AsmToken : uint8_t { Comment, Mnemonic, Directive, Label, Number, String };

struct AsmSpan {
    int Start = 0;
    int Length = 0;
    AsmToken Kind = AsmToken::Comment;
    bool operator==(const AsmSpan&) const = default;
};

// The coloured pieces of a line, left to right; what lies between them has the normal colour.
std::vector<AsmSpan> ColourAsmLine(std::u16string_view line);

// Whether word is a 65C02 mnemonic as ca65 reads it, in any case ("lda", "BBR7", "wai").
bool IsAsmMnemonic(std::u16string_view word);

} // namespace bx
