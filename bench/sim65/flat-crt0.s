; Start-up code for a cc65 program as a flat 64 KB image for tessarine-cli cpu-run: the image
; is loaded at $0200 and started there; main()'s result decides which trap the run ends on.
;   $0200  JMP start
;   $0203  success: JMP success      main() returned 0
;   $0206  failure: JMP failure      main() returned anything else
; The image holds code and initialised data at their run addresses, so nothing is copied;
; only BSS is cleared. The C stack grows down from the end of the MAIN area (flat.cfg).
        .setcpu "65C02"
        .export __STARTUP__ : absolute = 1
        .import _main, zerobss
        .import __STACK_START__, __STACK_SIZE__
        .include "zeropage.inc"

        .segment "STARTUP"
        jmp start
success:
        jmp success
failure:
        jmp failure

start:  ldx #$FF
        txs
        cld
        lda #<(__STACK_START__ + __STACK_SIZE__)
        sta sp
        lda #>(__STACK_START__ + __STACK_SIZE__)
        sta sp + 1
        jsr zerobss
        jsr _main
        stx tmp1
        ora tmp1
        bne failure
        beq success
