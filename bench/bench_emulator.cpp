// Emulation speed of the KTR simulator through the Emulator interface, unthrottled, on its worker
// thread (the path the command line takes): (a) the 65C02 extended-opcodes test program on the
// KTR640, (b) a tight loop, (c) the same loop with 100 execute breakpoints and a read/write
// range set elsewhere, (d) the loop with devices wired to the hub and the timer interrupt
// driving LEDs and the DAC every 1,000 or 4,000 cycles. The figures are emulated instructions and
// cycles per second of processor time of the process (the worker does all the work while the
// benchmark's thread sleeps), so that other load on the machine doesn't count against them;
// "instr/s wall" is the same per second of real time.
#include "platform/QueueDispatcher.h"
#include "sim/KtrEmulator.h"
#include "sim/SimDevices.h"
#include "sim/SimHub.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <time.h>
#include <vector>

namespace {

using namespace bx;
using namespace std::chrono_literals;

std::filesystem::path SharedFolder() {
    if (const char* env = std::getenv("BX_SHARED_DIR"))
        return env;
    return std::filesystem::path(__FILE__).parent_path().parent_path().parent_path() / "shared";
}

double ProcessCpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

void Report(benchmark::State& state, uint64_t instructions, uint64_t cycles, double wall,
            double cpu) {
    state.counters["instr/s"] = benchmark::Counter(static_cast<double>(instructions) / cpu);
    state.counters["cycles/s"] = benchmark::Counter(static_cast<double>(cycles) / cpu);
    state.counters["instr/s wall"] = benchmark::Counter(static_cast<double>(instructions) / wall);
}

void Write(sim::KtrEmulator& emu, int32_t address, const std::vector<uint8_t>& bytes) {
    int32_t count = static_cast<int32_t>(bytes.size());
    emu.WriteMemory(address, count, bytes);
}

// (b) at $8000 on the KTR311: a loop of loads, adds, stores, increments and a branch.
//   8000 A2 00     LDX #0
//   8002 E8        loop: INX
//   8003 A5 10     LDA $10
//   8005 18        CLC
//   8006 69 01     ADC #1
//   8008 85 10     STA $10
//   800A C8        INY
//   800B D0 F5     BNE loop
//   800D 4C 02 80  JMP loop
const std::vector<uint8_t> kLoop = {0xA2, 0x00, 0xE8, 0xA5, 0x10, 0x18, 0x69, 0x01,
                                    0x85, 0x10, 0xC8, 0xD0, 0xF5, 0x4C, 0x02, 0x80};

// (d) start-up at $8100: timer reload 999 (1,000 cycles; the benchmark patches it), IRQ enabled, P0
// all outputs, run, CLI, then the loop. Handler at $8200: acknowledge, INC P0 (the LEDs count),
// toggle the DAC.
//   8100 A9 E7 85 CB   LDA #$E7 / STA TRLDL
//   8104 A9 03 85 CC   LDA #$03 / STA TRLDH
//   8108 A9 01 85 CE   LDA #IRQ_TIMER / STA IER
//   810C A9 FF 85 C3   LDA #$FF / STA P0DIR
//   8110 A9 80 85 C8   LDA #TCTL_RUN / STA TCTL
//   8114 58            CLI
//   8115 4C 00 80      JMP $8000
//   8200 48            PHA
//   8201 A9 01 85 CD   LDA #IRQ_TIMER / STA IFR
//   8205 E6 C2         INC P0
//   8207 A5 C1 49 80   LDA DAC / EOR #$80
//   820B 85 C1         STA DAC
//   820D 68            PLA
//   820E 40            RTI
const std::vector<uint8_t> kTimerStart = {0xA9, 0xE7, 0x85, 0xCB, 0xA9, 0x03, 0x85, 0xCC,
                                          0xA9, 0x01, 0x85, 0xCE, 0xA9, 0xFF, 0x85, 0xC3,
                                          0xA9, 0x80, 0x85, 0xC8, 0x58, 0x4C, 0x00, 0x80};
const std::vector<uint8_t> kTimerIrq = {0x48, 0xA9, 0x01, 0x85, 0xCD, 0xE6, 0xC2, 0xA5,
                                        0xC1, 0x49, 0x80, 0x85, 0xC1, 0x68, 0x40};

// Runs the emulator unthrottled for about a second of host time and reports its speed.
void RunForASecond(benchmark::State& state, sim::KtrEmulator& emu) {
    emu.SetUnthrottled(true);
    uint64_t instructions = 0, cycles = 0;
    double seconds = 0, cpuSeconds = 0;
    for (auto _ : state) {
        const uint64_t i0 = emu.Instructions(), c0 = emu.Cycles();
        const auto t0 = std::chrono::steady_clock::now();
        const double cpu0 = ProcessCpuSeconds();
        emu.Run();
        std::this_thread::sleep_for(1s);
        emu.Stop();
        const auto t1 = std::chrono::steady_clock::now();
        cpuSeconds += ProcessCpuSeconds() - cpu0;
        const double s = std::chrono::duration<double>(t1 - t0).count();
        state.SetIterationTime(s);
        seconds += s;
        instructions += emu.Instructions() - i0;
        cycles += emu.Cycles() - c0;
    }
    Report(state, instructions, cycles, seconds, cpuSeconds);
}

void LoadLoop(sim::KtrEmulator& emu, uint16_t resetVector) {
    emu.SetModel(emulator_model::kKTR311);
    Write(emu, 0x8000, kLoop);
    Write(emu, 0x8100, kTimerStart);
    Write(emu, 0x8200, kTimerIrq);
    Write(emu, 0xFFFA,
          {0x0E, 0x82, static_cast<uint8_t>(resetVector), static_cast<uint8_t>(resetVector >> 8),
           0x00, 0x82});
    emu.Reset();
}

// (a)
void BM_KtrExtendedOpcodesTest(benchmark::State& state) {
    const auto file = SharedFolder() / "cputests/dormann/65C02_extended_opcodes_test.bin";
    std::ifstream in(file, std::ios::binary);
    const std::vector<uint8_t> image{std::istreambuf_iterator<char>(in),
                                     std::istreambuf_iterator<char>()};
    if (image.size() != 0x10000) {
        state.SkipWithError(("CPU test program data is absent: " + file.string()).c_str());
        return;
    }
    platform::QueueDispatcher dispatcher;
    uint64_t instructions = 0, cycles = 0;
    double seconds = 0, cpuSeconds = 0;
    for (auto _ : state) {
        sim::KtrEmulator emu(dispatcher);
        emu.SetModel(emulator_model::kKTR640);
        // Everything but the SFR block: zero page, data and code are RAM on the KTR640.
        Write(emu, 0x0000, std::vector<uint8_t>(image.begin(), image.begin() + 0xC0));
        Write(emu, 0x0100, std::vector<uint8_t>(image.begin() + 0x100, image.end()));
        auto cpu = *emu.GetCpuState();
        cpu.PC = 0x0400;
        emu.SetCpuState(cpu);
        emu.SetBreak(0x24F1, 1, 1); // the success trap
        emu.SetUnthrottled(true);
        bool stopped = false;
        int32_t where = -1;
        emu.BreakHit.Connect([&](int32_t, int32_t address, int32_t) {
            stopped = true;
            where = address;
        });
        const uint64_t i0 = emu.Instructions(), c0 = emu.Cycles();
        const auto t0 = std::chrono::steady_clock::now();
        const double cpu0 = ProcessCpuSeconds();
        emu.Run();
        dispatcher.RunUntil([&] { return stopped; }, 60s);
        const auto t1 = std::chrono::steady_clock::now();
        cpuSeconds += ProcessCpuSeconds() - cpu0;
        if (where != 0x24F1) {
            state.SkipWithError("the test program did not reach its success trap");
            return;
        }
        const double s = std::chrono::duration<double>(t1 - t0).count();
        state.SetIterationTime(s);
        seconds += s;
        instructions += emu.Instructions() - i0;
        cycles += emu.Cycles() - c0;
    }
    Report(state, instructions, cycles, seconds, cpuSeconds);
}
BENCHMARK(BM_KtrExtendedOpcodesTest)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

// (a) without the emulator's thread: the machine run on the benchmark's own thread in slices
// of a million cycles, as the worker runs it. Beside BM_ExtendedOpcodesTestRun of bench_cpu
// (flat RAM) it shows what the MCU's memory map costs.
void BM_KtrMachineExtendedOpcodesTest(benchmark::State& state) {
    const auto file = SharedFolder() / "cputests/dormann/65C02_extended_opcodes_test.bin";
    std::ifstream in(file, std::ios::binary);
    const std::vector<uint8_t> image{std::istreambuf_iterator<char>(in),
                                     std::istreambuf_iterator<char>()};
    if (image.size() != 0x10000) {
        state.SkipWithError(("CPU test program data is absent: " + file.string()).c_str());
        return;
    }
    uint64_t instructions = 0, cycles = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto machine = std::make_unique<sim::KtrMachine>(*sim::FindKtrModel(24), nullptr);
        for (uint32_t a = 0; a < 0x10000; ++a)
            if (a < sim::sfr::kBase || a >= sim::sfr::kEnd)
                machine->Poke(0, static_cast<uint16_t>(a), image[a]);
        machine->Registers().PC = 0x0400;
        machine->ChangeBreak(0, 0x24F1, 1, true);
        machine->BreaksChanged();
        const uint64_t i0 = machine->Instructions(), c0 = machine->Cycles();
        state.ResumeTiming();
        sim::MachineStop stop;
        bool first = true;
        do {
            stop = machine->RunFor(1'000'000, !first);
            first = false;
        } while (stop.Cause == sim::StopCause::None);
        if (stop.Address != 0x24F1) {
            state.SkipWithError("the test program did not reach its success trap");
            return;
        }
        instructions += machine->Instructions() - i0;
        cycles += machine->Cycles() - c0;
    }
    state.counters["instr/s"] =
        benchmark::Counter(static_cast<double>(instructions), benchmark::Counter::kIsRate);
    state.counters["cycles/s"] =
        benchmark::Counter(static_cast<double>(cycles), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_KtrMachineExtendedOpcodesTest)->Unit(benchmark::kMillisecond);

// (b)
void BM_KtrTightLoop(benchmark::State& state) {
    platform::QueueDispatcher dispatcher;
    sim::KtrEmulator emu(dispatcher);
    LoadLoop(emu, 0x8000);
    RunForASecond(state, emu);
}
BENCHMARK(BM_KtrTightLoop)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

// (c)
void BM_KtrTightLoopWithBreakpoints(benchmark::State& state) {
    platform::QueueDispatcher dispatcher;
    sim::KtrEmulator emu(dispatcher);
    LoadLoop(emu, 0x8000);
    for (int i = 0; i < 100; ++i) {
        // Code addresses elsewhere in the fixed ROM and in the banks.
        const int32_t address = i < 50 ? 0x9000 + i * 3 : ((i % 14) << 16) + 0x4000 + i * 7;
        emu.SetBreak(address, 1, 1);
    }
    emu.SetBreak(0x0300, 2 | 4, 0x100); // a read/write range
    RunForASecond(state, emu);
}
BENCHMARK(BM_KtrTightLoopWithBreakpoints)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

// (d)
void BM_KtrDevicesAndTimerInterrupt(benchmark::State& state) {
    platform::QueueDispatcher dispatcher;
    auto hub = sim::SimHub::Create();
    hub->SetParameter("Multiplier", 1);
    hub->SetParameter("Divider", 1);
    hub->Start();
    sim::SimSpeaker speaker;
    sim::SimSimpleUI ui;
    sim::SimKeypad keypad;
    sim::KtrEmulator emu(dispatcher);
    emu.AttachHub(hub->HubHandle(), device_id::kEmulator);
    speaker.Connect(hub->HubHandle(), device_id::kSpeaker);
    ui.Connect(hub->HubHandle(), device_id::kSimpleUI);
    keypad.Connect(hub->HubHandle(), device_id::kKeypad);
    hub->ConnectDigital(2002, 0, 0xFF, 2003, 0, 0xFF);
    hub->ConnectDigital(2003, 1, 0xFF, 2002, 1, 0xFF);
    hub->ConnectDigital(2002, 2, 0xF0, 2004, 0, 0x0F);
    hub->ConnectDigital(2004, 1, 0x0F, 2002, 2, 0x0F);
    hub->ConnectAnalog(2002, 3, 2001, 0);
    LoadLoop(emu, 0x8100);
    // The timer period in cycles is the benchmark's argument: the reload is one less.
    const auto reload = static_cast<uint16_t>(state.range(0) - 1);
    Write(emu, 0x8101, {static_cast<uint8_t>(reload)});
    Write(emu, 0x8105, {static_cast<uint8_t>(reload >> 8)});
    RunForASecond(state, emu);
    std::vector<int16_t> samples;
    speaker.TakeSamples(samples);
    state.counters["samples"] = benchmark::Counter(static_cast<double>(samples.size()));
}
// An interrupt every 1,000 cycles (4 kHz at 4 MHz) and every 4,000 (a 1 ms tick).
BENCHMARK(BM_KtrDevicesAndTimerInterrupt)
    ->Arg(1000)
    ->Arg(4000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

} // namespace

BENCHMARK_MAIN();
