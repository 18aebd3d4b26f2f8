#pragma once
// A KTR target for the MCU tests: a KtrEmulator with a queue dispatcher standing in for the UI
// thread, a program assembled from ca65 source at test time and loaded the way power-on loads
// a ROM image (the fixed 32 KB slice, then every bank), and a log of the BreakHit events.

#include "platform/QueueDispatcher.h"
#include "sim/KtrEmulator.h"
#include "support/Ca65.h"
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

inline std::string IncludeFolder() {
    return std::string(BX_SOURCE_DIR) + "/data/Templates/Sarnova/include";
}

inline std::string ConfigFor(int32_t model) {
    const char* name = model == 7 ? "ktr310" : model == 13 ? "ktr311" : "ktr640";
    return IncludeFolder() + "/" + name + ".cfg";
}

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
        const test::Assembled a =
            test::Assemble(Folder, source, ConfigFor(model_), IncludeFolder());
        if (!a.Ok)
            return a.Log;
        Labels = a.Labels;
        const bool mode1 = model_ == 24;
        std::vector<uint8_t> image = a.Image;
        const int32_t banks = Emu->GetValue("Bank") + 1;
        image.resize(static_cast<std::size_t>(banks + 2) * 0x4000, 0);
        auto slice = [&](std::size_t offset, int32_t address, int32_t length) {
            std::vector<uint8_t> bytes(image.begin() + static_cast<std::ptrdiff_t>(offset),
                                       image.begin() +
                                           static_cast<std::ptrdiff_t>(offset + length));
            int32_t count = length;
            Emu->WriteMemory(address, count, bytes);
        };
        slice(0, mode1 ? 0x4000 : 0x8000, 0x8000);
        for (int32_t b = 0; b < banks; ++b)
            slice(static_cast<std::size_t>(b + 2) * 0x4000, b * 65536 + (mode1 ? 0xC000 : 0x4000),
                  0x4000);
        Emu->Reset();
        return {};
    }

    int32_t Label(const std::string& name) const {
        auto it = Labels.find(name);
        return it == Labels.end() ? -1 : static_cast<int32_t>(it->second);
    }

    uint8_t Peek(int32_t address) {
        int32_t count = 1;
        std::vector<uint8_t> data = Emu->ReadMemory(address, count);
        return data.empty() ? 0xEE : data[0];
    }

    // Lets the UI thread's queue run until n stops in all have arrived.
    bool WaitForStops(std::size_t n,
                      std::chrono::milliseconds timeout = std::chrono::milliseconds(10000)) {
        return Dispatcher.RunUntil([&] { return Stops.size() >= n; }, timeout);
    }

    // While the target runs: waits until it has run at least cycles more (the worker may be
    // slow to get a processor on a loaded machine). False at the timeout.
    bool Advance(uint64_t cycles, std::chrono::milliseconds timeout = std::chrono::seconds(20)) {
        const uint64_t target = Emu->Cycles() + cycles;
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (Emu->Cycles() < target) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return true;
    }

    // Run, then wait for the next stop.
    bool RunToStop(std::chrono::milliseconds timeout = std::chrono::milliseconds(10000)) {
        const std::size_t n = Stops.size() + 1;
        Emu->Run();
        return WaitForStops(n, timeout);
    }

    platform::QueueDispatcher Dispatcher;
    std::unique_ptr<KtrEmulator> Emu;
    std::vector<Stop> Stops;
    std::map<std::string, uint32_t> Labels;
    test::TempFolder Folder;

private:
    int32_t model_;
};

// The start of every test program: the register names, a stack, and the vectors pointing at
// the labels reset, irq and nmi that the program defines.
inline std::string Program(const std::string& body) {
    return ".include \"ktr.inc\"\n"
           ".segment \"VECTORS\"\n"
           "    .word nmi, reset, irq\n"
           ".segment \"CODE\"\n" +
           body + "\n";
}

// Scans a 4x4 keypad wired with its rows on P2.4-P2.7 and its columns on P2.0-P2.3: drives one
// row low at a time and stores the column nibble of row r at $0200 + r, without end.
inline const std::string kKeypadScanProgram = Program(R"(
reset:  ldx #$FF
        txs
        lda #$F0
        sta P2DIR
scan:   ldx #0
        lda #%11100000   ; row 0 low
row:    ora #$0F
        sta P2
        pha
        lda P2
        and #$0F
        sta $0200,x
        pla
        sec
        rol a            ; next row low
        inx
        cpx #4
        bne row
        bra scan
irq:
nmi:    rti
)");

} // namespace bx::sim::testing

// Skips a test that needs ca65/ld65 when they are not installed, saying so.
#define REQUIRE_CA65()                                                                             \
    if (!::bx::test::Ca65Available())                                                              \
    GTEST_SKIP() << ::bx::test::kCa65Missing

// Assembles and loads a program into a board, failing the test with the tools' complaint.
#define LOAD(board, source)                                                                        \
    do {                                                                                           \
        const std::string complaint = (board).Load(source);                                        \
        ASSERT_TRUE(complaint.empty()) << complaint;                                               \
    } while (0)
