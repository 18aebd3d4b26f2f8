// The pieces of a ca65 line that the editor colours.
#include "editor/AsmSyntax.h"

#include <gtest/gtest.h>

using namespace bx;

namespace {

// The line with each coloured piece in brackets behind its kind's letter:
// c comment, m mnemonic, d directive, l label, n number, s string.
std::string Marked(std::u16string_view line) {
    std::string out;
    std::size_t at = 0;
    for (const AsmSpan& span : ColourAsmLine(line)) {
        for (; at < static_cast<std::size_t>(span.Start); ++at)
            out += static_cast<char>(line[at]);
        out += "cmdlns"[static_cast<int>(span.Kind)];
        out += "[";
        for (; at < static_cast<std::size_t>(span.Start + span.Length); ++at)
            out += static_cast<char>(line[at]);
        out += "]";
    }
    for (; at < line.size(); ++at)
        out += static_cast<char>(line[at]);
    return out;
}

} // namespace

TEST(AsmSyntax, ColoursEachKindOfPiece) {
    struct Case {
        const char16_t* line;
        const char* marked;
    };
    const Case cases[] = {
        {u"loop:   LDA #$FF   ; count", "l[loop:]   m[LDA] #n[$FF]   c[; count]"},
        {u"  bbr3 $12, @next", "  m[bbr3] n[$12], @next"},
        {u"  RMB7 ZP\tWAI", "  m[RMB7] ZP\tWAI"},
        {u"  smb8 $10", "  smb8 n[$10]"},
        {u"\twai", "\tm[wai]"},
        {u"  .byte \"a;b\", 'x' ; c", "  d[.byte] s[\"a;b\"], s['x'] c[; c]"},
        {u"COUNT = %1010 + 255 - 0FFh", "l[COUNT] = n[%1010] + n[255] - n[0FFh]"},
        {u"@next: jsr wait", "l[@next:] m[jsr] wait"},
        {u"  lda #.hibyte(table)", "  m[lda] #d[.hibyte](table)"},
        {u"  mymacro 1", "  mymacro n[1]"},
        {u"P0DIR := $C3", "l[P0DIR] := n[$C3]"},
        {u":  bra :-", "l[:]  m[bra] :-"},
        {u"  .asciiz \"open", "  d[.asciiz] s[\"open]"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Marked(c.line), c.marked);
}
