// Emulation speed of the 65C02 core, unthrottled, on the flat RAM bus: the 65C02
// extended-opcodes test program (a broad instruction mix) and two tight loops. The figures are
// emulated instructions and cycles per second of host time.
#include "sim/Cpu65C02.h"
#include "sim/FlatRamBus.h"
#include "sim/TrapRunner.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <vector>

namespace {

using bx::sim::Cpu65C02;
using bx::sim::FlatRamBus;

// The shared test data: $BX_SHARED_DIR when set, else the "shared" folder beside the source
// tree, as the test suites find it.
std::filesystem::path SharedFolder() {
    if (const char* env = std::getenv("BX_SHARED_DIR"))
        return env;
#ifdef BX_SHARED_DIR
    return BX_SHARED_DIR;
#else
    return std::filesystem::path(__FILE__).parent_path().parent_path().parent_path() / "shared";
#endif
}

const std::filesystem::path kExtendedTest =
    SharedFolder() / "cputests/dormann/65C02_extended_opcodes_test.bin";
constexpr uint16_t kExtendedSuccess = 0x24F1;
constexpr uint64_t kExtendedCycles = 66'907'084; // from $0400 to the success trap

void Report(benchmark::State& state, uint64_t instructions, uint64_t cycles) {
    state.counters["instr/s"] =
        benchmark::Counter(static_cast<double>(instructions), benchmark::Counter::kIsRate);
    state.counters["cycles/s"] =
        benchmark::Counter(static_cast<double>(cycles), benchmark::Counter::kIsRate);
}

std::vector<uint8_t> ReadImage(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Run(): the path the simulator's worker thread takes, a cycle budget per slice.
void BM_ExtendedOpcodesTestRun(benchmark::State& state) {
    const std::vector<uint8_t> image = ReadImage(kExtendedTest);
    if (image.empty()) {
        state.SkipWithError(("CPU test program data is absent: " + kExtendedTest.string()).c_str());
        return;
    }
    uint64_t instructions = 0, cycles = 0;
    auto bus = std::make_unique<FlatRamBus>();
    for (auto _ : state) {
        state.PauseTiming();
        bus->Load(0, image);
        Cpu65C02<FlatRamBus> cpu(*bus);
        cpu.Registers().PC = 0x0400;
        state.ResumeTiming();
        while (cpu.Cycles() < kExtendedCycles)
            cpu.Run(100'000);
        if (cpu.Registers().PC != kExtendedSuccess) {
            state.SkipWithError("the test program did not reach its success trap");
            return;
        }
        instructions += cpu.Instructions();
        cycles += cpu.Cycles();
    }
    Report(state, instructions, cycles);
}
BENCHMARK(BM_ExtendedOpcodesTestRun)->Unit(benchmark::kMillisecond);

// Step() with a trap check after every instruction: the path of cpu-run and the tests.
void BM_ExtendedOpcodesTestStepToTrap(benchmark::State& state) {
    const std::vector<uint8_t> image = ReadImage(kExtendedTest);
    if (image.empty()) {
        state.SkipWithError(("CPU test program data is absent: " + kExtendedTest.string()).c_str());
        return;
    }
    uint64_t instructions = 0, cycles = 0;
    auto bus = std::make_unique<FlatRamBus>();
    for (auto _ : state) {
        state.PauseTiming();
        bus->Load(0, image);
        Cpu65C02<FlatRamBus> cpu(*bus);
        cpu.Registers().PC = 0x0400;
        state.ResumeTiming();
        bx::sim::TrapRunResult result = bx::sim::RunUntilTrap(cpu, 100'000'000);
        if (result.Address != kExtendedSuccess) {
            state.SkipWithError("the test program did not reach its success trap");
            return;
        }
        instructions += result.Instructions;
        cycles += result.Cycles;
    }
    Report(state, instructions, cycles);
}
BENCHMARK(BM_ExtendedOpcodesTestStepToTrap)->Unit(benchmark::kMillisecond);

void RunLoop(benchmark::State& state, std::initializer_list<uint8_t> code) {
    auto bus = std::make_unique<FlatRamBus>();
    uint16_t a = 0x0200;
    for (uint8_t b : code)
        bus->Memory[a++] = b;
    Cpu65C02<FlatRamBus> cpu(*bus);
    cpu.Registers().PC = 0x0200;
    for (auto _ : state)
        cpu.Run(1'000'000);
    Report(state, cpu.Instructions(), cpu.Cycles());
}

// loop: INX; DEY; BNE loop; JMP loop - register-only, branch-heavy.
void BM_TightLoopRegisters(benchmark::State& state) {
    RunLoop(state, {0xE8, 0x88, 0xD0, 0xFC, 0x4C, 0x00, 0x02});
}
BENCHMARK(BM_TightLoopRegisters);

// loop: LDA $0300,X; CLC; ADC #1; STA $0300,X; INX; BNE loop; JMP loop - memory traffic.
void BM_TightLoopMemory(benchmark::State& state) {
    RunLoop(state, {0xBD, 0x00, 0x03, 0x18, 0x69, 0x01, 0x9D, 0x00, 0x03, 0xE8, 0xD0, 0xF4, 0x4C,
                    0x00, 0x02});
}
BENCHMARK(BM_TightLoopMemory);

} // namespace

BENCHMARK_MAIN();
