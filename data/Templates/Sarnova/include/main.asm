; main.asm - the starter program of every KTR body.
;
; It shows the board's three devices at work:
;   - the eight LEDs of SimpleUI on port P0 light one after the other, stepped by the timer's
;     interrupt;
;   - the 4x4 keypad is scanned on port P2 (rows on P2.4-P2.7, driven low one at a time;
;     columns on P2.0-P2.3, read back, low while a key of the driven row is held);
;   - while any key is held the speaker sounds a square-wave tone through the DAC.
; The watchdog is restarted on every pass, so the program also runs with option WDT on.

        .setcpu "65C02"
        .include "ktr.inc"

LED_STEP_RELOAD = 3905          ; (3905 + 1) * 256 cycles: about a quarter second at 4 MHz
TONE_HALF_PERIOD = 200          ; delay loop passes per half wave (5 cycles each): ~2 kHz at 4 MHz
DAC_MID  = $80
DAC_HIGH = $C0
DAC_LOW  = $40

        .zeropage
leds:   .res 1                  ; the LED pattern shown on P0
level:  .res 1                  ; the speaker's present DAC level
key:    .res 1                  ; $FF, or the row (high nibble) and column bits of a held key

        .code
reset:  sei
        cld
        ldx #$FF
        txs
        lda #$FF                ; P0: all eight lines drive LEDs
        sta P0DIR
        lda #$F0                ; P2: rows are outputs, columns inputs
        sta P2DIR
        sta P2                  ; no row driven low yet
        stz P1DIR               ; P1: the SimpleUI buttons, inputs
        lda #DAC_MID
        sta DAC
        sta level
        lda #$01
        sta leds
        sta P0
        lda #<LED_STEP_RELOAD   ; the timer paces the LEDs
        sta TRLDL
        lda #>LED_STEP_RELOAD
        sta TRLDH
        lda #TCTL_RUN | TCTL_DIV256
        sta TCTL
        lda #IRQ_TIMER          ; each underflow interrupts: the handler steps the LEDs
        sta IER
        cli

main:   lda #WDT_KEY            ; keep the watchdog quiet
        sta WDTCLR
        jsr scan_keypad
        lda key
        cmp #$FF
        beq @quiet
        jsr half_wave           ; a key is held: one more half wave of the tone
        bra main
@quiet: lda #DAC_MID            ; no key: the speaker rests at the mid level
        sta DAC
        sta level
        bra main

; Moves the lit LED one place on, from LED 7 back to LED 0.
next_led:
        lda leds
        asl a
        bne @show
        lda #$01
@show:  sta leds
        sta P0
        rts

; Scans the keypad row by row. Leaves in key the row bit (high nibble) and the column bits
; (low nibble, a held key's bit low) of the first row with a key held, or $FF.
scan_keypad:
        ldx #0
@row:   lda row_select,x        ; drive one row low, the others high
        sta P2
        lda P2                  ; the keypad answers at once: read the columns
        and #$0F
        cmp #$0F
        bne @held
        inx
        cpx #4
        bne @row
        lda #$FF
        bra @done
@held:  ora row_bits,x
@done:  sta key
        lda #$F0                ; release the rows
        sta P2
        rts

; Flips the DAC between its high and low level, then waits half a period of the tone.
half_wave:
        lda level
        cmp #DAC_HIGH
        beq @low
        lda #DAC_HIGH
        bra @out
@low:   lda #DAC_LOW
@out:   sta level
        sta DAC
        ldy #TONE_HALF_PERIOD
@wait:  dey
        bne @wait
        rts

; Every interrupt source shares one vector; only the timer's is enabled. The handler
; acknowledges the underflow (write 1 to clear) and moves the LEDs on.
irq:    pha
        lda #IRQ_TIMER
        sta IFR
        jsr next_led
        pla
nmi:    rti

        .rodata
row_select:
        .byte $E0, $D0, $B0, $70        ; row 0 to row 3 driven low
row_bits:
        .byte $E0, $D0, $B0, $70        ; the same patterns tag the held key's row

        .segment "VECTORS"
        .word nmi, reset, irq
