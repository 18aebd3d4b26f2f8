// Emulation speed of the KTR simulator through the Emulator interface, unthrottled, on its worker
// thread (the path the command line takes): (a) the 65C02 extended-opcodes test program on the
// KTR640, (b) a tight loop, (c) the same loop with 100 execute breakpoints and a read/write
// range set elsewhere, (d) the starter program of the shipped templates (main.asm, assembled and
// linked with ca65/ld65 for the KTR311 when the bench runs) with the board's devices wired to the
// hub as the KTR311 template wires them and its timer interrupt stepping the LEDs. The figures are
// emulated instructions and cycles per second of processor time of the process (the worker does all
// the work while the benchmark's thread sleeps), so that other load on the machine doesn't count
// against them; "instr/s wall" is the same per second of real time.
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
#include <string>
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

void LoadLoop(sim::KtrEmulator& emu) {
    emu.SetModel(emulator_model::kKTR311);
    Write(emu, 0x8000, kLoop);
    Write(emu, 0xFFFC, {0x00, 0x80});
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
    LoadLoop(emu);
    RunForASecond(state, emu);
}
BENCHMARK(BM_KtrTightLoop)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

// (c)
void BM_KtrTightLoopWithBreakpoints(benchmark::State& state) {
    platform::QueueDispatcher dispatcher;
    sim::KtrEmulator emu(dispatcher);
    LoadLoop(emu);
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

// (d): the shipped starter program, built the way the KTR311 template's build rules build it.
// Empty with the reason in why when the tools are missing or fail.
std::vector<uint8_t> BuildStarterProgram(std::string& why) {
    const std::filesystem::path include =
        std::filesystem::path(BX_SOURCE_DIR) / "data/Templates/Sarnova/include";
    if (std::system("command -v ca65 > /dev/null 2>&1 && command -v ld65 > /dev/null 2>&1") != 0) {
        why = "ca65/ld65 (cc65) are not installed: the starter program can't be built";
        return {};
    }
    std::string pattern = (std::filesystem::temp_directory_path() / "bx-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        why = "no temporary folder for the starter program";
        return {};
    }
    const std::filesystem::path dir = pattern;
    const auto quote = [](const std::filesystem::path& p) {
        std::string quoted = "'";
        quoted += p.string();
        quoted += '\'';
        return quoted;
    };
    const std::string assemble = "ca65 --cpu 65C02 -g -I " + quote(include) + " -o " +
                                 quote(dir / "main.o") + " " + quote(include / "main.asm") + " > " +
                                 quote(dir / "log") + " 2>&1";
    const std::string link = "ld65 -C " + quote(include / "ktr311.cfg") + " -o " +
                             quote(dir / "main.rom") + " " + quote(dir / "main.o") + " >> " +
                             quote(dir / "log") + " 2>&1";
    std::vector<uint8_t> image;
    if (std::system(assemble.c_str()) == 0 && std::system(link.c_str()) == 0) {
        std::ifstream in(dir / "main.rom", std::ios::binary);
        image.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    } else {
        std::ifstream log(dir / "log");
        why = "the starter program did not build: " +
              std::string(std::istreambuf_iterator<char>(log), std::istreambuf_iterator<char>());
    }
    std::filesystem::remove_all(dir);
    return image;
}

// The starter program on the KTR311, with the board's devices wired (d) or with no hub at all
// (the same program's speed when nothing listens: beside (d) it shows what the devices cost).
void RunStarterProgram(benchmark::State& state, bool withDevices) {
    std::string why;
    std::vector<uint8_t> image = BuildStarterProgram(why);
    if (image.empty()) {
        state.SkipWithError(why.c_str());
        return;
    }
    platform::QueueDispatcher dispatcher;
    auto hub = sim::SimHub::Create();
    hub->SetParameter("Multiplier", 1);
    hub->SetParameter("Divider", 1);
    hub->Start();
    sim::SimSpeaker speaker;
    sim::SimSimpleUI ui;
    sim::SimKeypad keypad;
    sim::KtrEmulator emu(dispatcher);
    emu.SetModel(emulator_model::kKTR311);
    if (withDevices) {
        emu.AttachHub(hub->HubHandle(), device_id::kEmulator);
        speaker.Connect(hub->HubHandle(), device_id::kSpeaker);
        ui.Connect(hub->HubHandle(), device_id::kSimpleUI);
        keypad.Connect(hub->HubHandle(), device_id::kKeypad);
        keypad.SetParameter("Rows", "4");
        keypad.SetParameter("Columns", "4");
        keypad.SetParameter("Keys", "1 2 3 A 4 5 6 B 7 8 9 C * 0 # D");
        // The KTR311 template's wiring: SimpleUI LED on P0 (out), Button on P1 (in); Keypad
        // Row on P2.4-7 (out), Column on P2.0-3 (in); Speaker Audio on the DAC.
        hub->ConnectDigital(device_id::kEmulator, sim::port_id::kP0, 0xFF, device_id::kSimpleUI,
                            sim::SimSimpleUI::kLed, 0xFF);
        hub->ConnectDigital(device_id::kSimpleUI, sim::SimSimpleUI::kButton, 0xFF,
                            device_id::kEmulator, sim::port_id::kP1, 0xFF);
        hub->ConnectDigital(device_id::kEmulator, sim::port_id::kP2, 0xF0, device_id::kKeypad,
                            sim::SimKeypad::kRow, 0x0F);
        hub->ConnectDigital(device_id::kKeypad, sim::SimKeypad::kColumn, 0x0F, device_id::kEmulator,
                            sim::port_id::kP2, 0x0F);
        hub->ConnectAnalog(device_id::kEmulator, sim::port_id::kDac, device_id::kSpeaker,
                           sim::SimSpeaker::kAudio);
    }
    // The ROM image as power-on loads it: the fixed 32 KB at $8000, then bank b at (b + 2) * 16 KB.
    const int32_t banks = emu.GetValue("Bank") + 1;
    image.resize(static_cast<std::size_t>(banks + 2) * 0x4000, 0xFF);
    Write(emu, 0x8000, std::vector<uint8_t>(image.begin(), image.begin() + 0x8000));
    for (int32_t b = 0; b < banks; ++b) {
        const auto from = image.begin() + (b + 2) * 0x4000;
        Write(emu, b * 65536 + 0x4000, std::vector<uint8_t>(from, from + 0x4000));
    }
    emu.Reset();
    RunForASecond(state, emu);
    // The run was the program's own, interrupts included: its timer's interrupt reaches the
    // handler (at $FFFE) within another quarter second of simulated time.
    const int32_t handler = image[0x7FFE] | image[0x7FFF] << 8;
    bool inHandler = false;
    emu.BreakHit.Connect(
        [&](int32_t, int32_t address, int32_t) { inHandler = address == handler; });
    emu.SetBreak(handler, 1, 1);
    emu.Run();
    if (!dispatcher.RunUntil([&] { return inHandler; }, 10s)) {
        state.SkipWithError("the starter program's timer interrupt was not taken");
        return;
    }
    if (withDevices) {
        std::vector<int16_t> samples;
        speaker.TakeSamples(samples);
        state.counters["samples"] = benchmark::Counter(static_cast<double>(samples.size()));
    }
}

// (d)
void BM_KtrStarterProgramWithDevices(benchmark::State& state) {
    RunStarterProgram(state, true);
}
BENCHMARK(BM_KtrStarterProgramWithDevices)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

void BM_KtrStarterProgramWithoutDevices(benchmark::State& state) {
    RunStarterProgram(state, false);
}
BENCHMARK(BM_KtrStarterProgramWithoutDevices)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

} // namespace

BENCHMARK_MAIN();
