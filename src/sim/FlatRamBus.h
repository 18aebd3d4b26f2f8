#pragma once
// 64 KB of plain RAM as a Cpu65C02 bus: every address readable and writable, no side effects,
// dummy reads are free. The bus of the CPU tests, the benchmarks and the cpu-run command.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace bx::sim {

class FlatRamBus {
public:
    FlatRamBus() { Memory.fill(0); }

    uint8_t Read(uint16_t address) const { return Memory[address]; }
    void Write(uint16_t address, uint8_t value) { Memory[address] = value; }
    void DummyRead(uint16_t) const {}

    // Copies an image to start, wrapping at $FFFF; returns false (and copies nothing) when the
    // image is larger than 64 KB.
    bool Load(uint16_t start, std::span<const uint8_t> image) {
        if (image.size() > Memory.size())
            return false;
        for (std::size_t i = 0; i < image.size(); ++i)
            Memory[static_cast<uint16_t>(start + i)] = image[i];
        return true;
    }

    std::array<uint8_t, 65536> Memory;
};

} // namespace bx::sim
