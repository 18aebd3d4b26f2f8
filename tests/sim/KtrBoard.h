#pragma once
// A KTR target for the MCU tests: a KtrEmulator with a queue dispatcher standing in for the UI
// thread, a program assembled from ca65 source at test time and loaded the way power-on loads
// a ROM image (the fixed 32 KB slice, then every bank), and a log of the BreakHit events.

#include "platform/QueueDispatcher.h"
#include "sim/KtrEmulator.h"
#include "support/Cc65.h"
#include "support/TempFolder.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace bx::sim::testing {

struct Stop {
    int32_t Bank, Address, Cond;
    bool operator==(const Stop&) const = default;
};

class KtrBoard {
public:
    explicit KtrBoard(int32_t model) : model_(model) {
        Emu = std::make_unique<KtrEmulator>(Dispatcher);
        Emu->SetModel(model);
        Emu->BreakHit.Connect([this](int32_t bank, int32_t address, int32_t cond) {
            Stops.push_back({bank, address, cond});
        });
    }
    ~KtrBoard() { Emu.reset(); }

    // Assembles source, writes the image like power-on, resets. Empty on success, else the
    // tools' complaint.
    std::string Load(const std::string& source) {
        const std::string include = BX_SOURCE_DIR "/data/Templates/Sarnova/include";
        const char* config = model_ == 7    ? "/ktr310.cfg"
                             : model_ == 13 ? "/ktr311.cfg"
                                            : "/ktr640.cfg";
        const test::Assembled a = test::Assemble(Folder, source, include + config, include);
        if (!a.Ok)
            return a.Log;
        Labels = a.Labels;
        const int32_t window = model_ == 24 ? 0xC000 : 0x4000, banks = Emu->GetValue("Bank") + 1;
        std::vector<uint8_t> image = a.Image;
        image.resize(static_cast<std::size_t>(banks + 2) * 0x4000, 0);
        // The fixed ROM (b = -1: 32 KB at offset 0, the other side of the window), then bank b at
        // offset (b + 2) * 16 KB.
        for (int32_t b = -1; b < banks; ++b) {
            const auto from = image.begin() + (b < 0 ? 0 : (b + 2) * 0x4000);
            Poke(b < 0 ? (window == 0x4000 ? 0x8000 : 0x4000) : b << 16 | window,
                 std::vector<uint8_t>(from, from + (b < 0 ? 0x8000 : 0x4000)));
        }
        Emu->Reset();
        return {};
    }

    int32_t Label(const std::string& name) const {
        return Labels.count(name) ? static_cast<int32_t>(Labels.at(name)) : -1;
    }
    uint8_t Peek(int32_t address) {
        int32_t count = 1;
        std::vector<uint8_t> data = Emu->ReadMemory(address, count);
        return data.empty() ? 0xEE : data[0];
    }
    void Poke(int32_t address, const std::vector<uint8_t>& bytes) {
        int32_t count = static_cast<int32_t>(bytes.size());
        Emu->WriteMemory(address, count, bytes);
    }
    // Moves the halted CPU to a label of the program.
    void JumpTo(const std::string& label) {
        bx::CpuState cpu = *Emu->GetCpuState();
        cpu.PC = static_cast<uint16_t>(Label(label));
        Emu->SetCpuState(cpu);
    }
    // The hub the emulator is attached to, created at the first call.
    SimHub& Hub() {
        if (!hub_) {
            hub_ = SimHub::Create();
            Emu->AttachHub(hub_->HubHandle(), device_id::kEmulator);
        }
        return *hub_;
    }

    // Lets the UI thread's queue run until n stops in all have arrived.
    bool WaitForStops(std::size_t n) {
        return Dispatcher.RunUntil([&] { return Stops.size() >= n; }, std::chrono::seconds(10));
    }
    // Run, then wait for the next stop.
    bool RunToStop() {
        Emu->Run();
        return WaitForStops(Stops.size() + 1);
    }
    // While the target runs: waits until it has run at least cycles more (the worker may be
    // slow to get a processor on a loaded machine). False after 20 s.
    bool Advance(uint64_t cycles) {
        const uint64_t target = Emu->Cycles() + cycles;
        for (int ms = 0; Emu->Cycles() < target && ms < 20'000; ++ms)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return Emu->Cycles() >= target;
    }
    // Run for at least cycles, then stop: for a program that is not meant to stop by itself.
    bool RunFor(uint64_t cycles) {
        Emu->Run();
        return Advance(cycles) && Emu->Stop();
    }

    platform::QueueDispatcher Dispatcher;
    std::unique_ptr<KtrEmulator> Emu;
    std::vector<Stop> Stops;
    std::map<std::string, uint32_t> Labels;
    test::TempFolder Folder;

private:
    int32_t model_;
    std::shared_ptr<SimHub> hub_;
};

// A test program around body: the register names, "put value, address" for an LDA #value
// and STA address, "copy from, to" for an LDA from and STA to, and the vectors pointing at the
// labels reset, irq and nmi, the latter two an RTI where body doesn't define them.
inline std::string Program(const std::string& body) {
    return ".include \"ktr.inc\"\n.macro put value, address\nlda #value\nsta address\n.endmacro\n"
           ".macro copy from, to\nlda from\nsta to\n.endmacro\n"
           ".segment \"VECTORS\"\n.word nmi, reset, irq\n.segment \"CODE\"\n" +
           body +
           "\n.segment \"CODE\"\n.ifndef nmi\nnmi: rti\n.endif\n.ifndef irq\nirq = nmi\n.endif\n";
}

} // namespace bx::sim::testing

// Assembles and loads a program into a board, failing the test with the tools' complaint.
#define LOAD(board, source)                                                                        \
    do {                                                                                           \
        const std::string complaint = (board).Load(source);                                        \
        ASSERT_TRUE(complaint.empty()) << complaint;                                               \
    } while (0)

// A board of the model with the program loaded; the test skips without ca65.
#define LOADED_BOARD(board, model, source)                                                         \
    SKIP_WITHOUT_BUILD_TOOLS();                                                                    \
    ::bx::sim::testing::KtrBoard board(model);                                                     \
    LOAD(board, source)
