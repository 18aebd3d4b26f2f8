/* The C program of the cpu-run speed comparison: the classic byte sieve (1899 primes below
 * 16382) and a bitwise CRC-32 over a 4 KB buffer, each repeated, compiled by cc65. It checks
 * its own results and returns 0 when they are right, so that both runners report a wrong
 * simulation: sim65 by the exit code, cpu-run by the trap it ends on (flat-crt0.s). */
#include <string.h>

#define SIEVE_SIZE 8191
#define SIEVE_ROUNDS 40
#define BUFFER_SIZE 4096
#define CRC_ROUNDS 16
#define EXPECTED_CRC 0x462C1E21UL /* zlib.crc32 of the same 4096 bytes */

static unsigned char flags[SIEVE_SIZE + 1];
static unsigned char buffer[BUFFER_SIZE];

static unsigned sieve(void) {
    unsigned i, k, prime, count = 0;
    memset(flags, 1, sizeof flags);
    for (i = 0; i <= SIEVE_SIZE; ++i) {
        if (flags[i]) {
            prime = i + i + 3;
            for (k = i + prime; k <= SIEVE_SIZE; k += prime)
                flags[k] = 0;
            ++count;
        }
    }
    return count;
}

static unsigned long crc32(const unsigned char* data, unsigned length) {
    unsigned long crc = 0xFFFFFFFFUL;
    unsigned char bit;
    while (length--) {
        crc ^= *data++;
        for (bit = 0; bit < 8; ++bit)
            crc = (crc & 1) ? (crc >> 1) ^ 0xEDB88320UL : crc >> 1;
    }
    return ~crc;
}

int main(void) {
    unsigned i, round;
    int failures = 0;
    for (round = 0; round < SIEVE_ROUNDS; ++round)
        if (sieve() != 1899)
            ++failures;
    for (i = 0; i < BUFFER_SIZE; ++i)
        buffer[i] = (unsigned char)(i * 7 + (i >> 8));
    for (round = 0; round < CRC_ROUNDS; ++round)
        if (crc32(buffer, BUFFER_SIZE) != EXPECTED_CRC)
            ++failures;
    return failures;
}
