; The busy loop of the cpu-run speed comparison: 400 x 256 x 256 passes of a load, an add and
; a store through abs,X, then the two outer counters. It is the C main() of a cc65 program, so
; that the same object runs in sim65 (linked with sim65c02.lib) and as a flat image for
; tessarine-cli cpu-run (linked with flat-crt0.s and flat.cfg). Returns 0.
        .setcpu "65C02"
        .export _main

table   = $1000                 ; free RAM in both memory layouts

        .bss
count:  .res 2                  ; outer passes left, 400 = $0190

        .code
_main:  lda #<400
        sta count
        lda #>400 + 1           ; the high byte counts the wraps of the low byte, plus one
        sta count + 1
        ldx #0
        ldy #0
outer:
middle:
inner:  lda table,x
        adc #1
        sta table,x
        inx
        bne inner
        dey
        bne middle
        dec count
        bne outer
        dec count + 1
        bne outer
        lda #0
        tax
        rts
