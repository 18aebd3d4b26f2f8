#include "cli/CpuCommands.h"

#include "sim/Cpu65C02.h"
#include "sim/FlatRamBus.h"
#include "sim/KtrMachine.h"
#include "sim/SingleStepTest.h"
#include "sim/TrapRunner.h"

#include <charconv>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <ostream>

namespace bx::cli {

namespace {

std::string Hex4(unsigned value) {
    char text[8];
    std::snprintf(text, sizeof text, "$%04X", value & 0xFFFF);
    return text;
}

// "$C000", "0xC000" or decimal "49152"; nothing for anything else or a value above $FFFF.
std::optional<uint16_t> ParseAddress(const std::string& text) {
    std::string digits = text;
    int base = 10;
    if (!digits.empty() && digits[0] == '$') {
        digits = digits.substr(1);
        base = 16;
    } else if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
        digits = digits.substr(2);
        base = 16;
    }
    if (digits.empty() || digits.size() > 8)
        return std::nullopt;
    unsigned long value = 0;
    for (char c : digits) {
        int d;
        if (c >= '0' && c <= '9')
            d = c - '0';
        else if (base == 16 && c >= 'a' && c <= 'f')
            d = c - 'a' + 10;
        else if (base == 16 && c >= 'A' && c <= 'F')
            d = c - 'A' + 10;
        else
            return std::nullopt;
        value = value * static_cast<unsigned long>(base) + static_cast<unsigned long>(d);
    }
    if (value > 0xFFFF)
        return std::nullopt;
    return static_cast<uint16_t>(value);
}

// The flat image on a KTR: every byte of it that lands on memory of the model (bank 0 in the
// window) is written there as the debugger writes memory; bytes over the SFR block or where
// the model has no memory are left out and counted. The MCU's timers and interrupts are live.
// With a success address the run goes at full speed, in slices, with an execute breakpoint
// there; a trap elsewhere is noticed at the end of a slice of 10,000 cycles, so the counts of
// such a failure include the trap's repeats within that slice. Without one the run goes
// instruction by instruction and the counts are exact.
struct KtrRun {
    sim::TrapRunResult Result;
    std::size_t Skipped = 0;
    bool NoMemory = false;
};

KtrRun RunOnKtr(const sim::KtrModel& model, uint16_t load, uint16_t start,
                const std::vector<uint8_t>& bytes, uint64_t limit,
                std::optional<uint16_t> success) {
    KtrRun run;
    sim::TrapRunResult& result = run.Result;
    sim::KtrMachine machine(model, nullptr);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const uint16_t a = static_cast<uint16_t>(load + i);
        if ((a >= sim::sfr::kBase && a < sim::sfr::kEnd) || !machine.Poke(0, a, bytes[i]))
            ++run.Skipped;
    }
    machine.Registers().PC = start;
    const uint64_t cycles0 = machine.Cycles(), instructions0 = machine.Instructions();
    auto executed = [&] { return machine.Instructions() - instructions0; };
    // One instruction; true when the run ends here.
    auto stepAndJudge = [&] {
        const uint16_t pc = machine.Registers().PC;
        if (!machine.Exists(machine.Bank(), pc)) {
            // The debugger stops here too: there is nothing to execute.
            run.NoMemory = true;
            result.Address = pc;
            return true;
        }
        machine.StepInstruction();
        result.Address = pc;
        if (machine.CpuRunState() == sim::CpuState::Stopped)
            result.How = sim::TrapStop::Stopped;
        else if (machine.CpuRunState() == sim::CpuState::Waiting)
            result.How = sim::TrapStop::Waiting;
        else if (machine.Registers().PC == pc)
            result.How = sim::TrapStop::Trap;
        else
            return false;
        return true;
    };
    result.How = sim::TrapStop::Limit;
    bool ended = false;
    if (success) {
        machine.ChangeBreak(0, *success, 1, true);
        machine.BreaksChanged();
        bool first = true;
        while (!ended && executed() < limit) {
            const sim::MachineStop stop = machine.RunFor(10'000, !first);
            first = false;
            if (stop.Cause == sim::StopCause::Illegal) {
                run.NoMemory = true;
                result.Address = stop.Address;
                ended = true;
            } else if (stop.Cause == sim::StopCause::Stp) {
                result.How = sim::TrapStop::Stopped;
                result.Address = static_cast<uint16_t>(stop.Address - 1);
                ended = true;
            } else {
                // At the success address, or somewhere after a slice: is it a trap?
                ended = stepAndJudge();
            }
        }
    } else {
        while (!ended && executed() < limit)
            ended = stepAndJudge();
    }
    if (!ended)
        result.Address = machine.Registers().PC;
    result.Instructions = executed();
    result.Cycles = machine.Cycles() - cycles0;
    return run;
}

int CpuRun(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    std::string image;
    std::optional<uint16_t> load, start, success;
    const sim::KtrModel* model = nullptr;
    uint64_t limit = 1'000'000'000;
    for (std::size_t i = 1; i < args.size(); ++i) {
        const std::string& arg = args[i];
        auto value = [&](const char* option) -> const std::string* {
            if (i + 1 >= args.size()) {
                err << "cpu-run: " << option << " needs a value\n";
                return nullptr;
            }
            return &args[++i];
        };
        if (arg == "--load" || arg == "--start" || arg == "--success") {
            const std::string* text = value(arg.c_str());
            if (text == nullptr)
                return 2;
            auto address = ParseAddress(*text);
            if (!address) {
                err << "cpu-run: " << arg << " \"" << *text
                    << "\" is not an address ($hex, 0xhex or decimal, up to $FFFF)\n";
                return 2;
            }
            (arg == "--load" ? load : arg == "--start" ? start : success) = address;
        } else if (arg == "--limit") {
            const std::string* text = value("--limit");
            if (text == nullptr)
                return 2;
            // Decimal digits only: stoull would take "-1" as 2^64 - 1, a run without end.
            const char* last = text->data() + text->size();
            auto [end, ec] = std::from_chars(text->data(), last, limit);
            if (text->empty() || (*text)[0] < '0' || (*text)[0] > '9' || ec != std::errc() ||
                end != last || limit == 0) {
                err << "cpu-run: --limit \"" << *text
                    << "\" is not a positive count of instructions\n";
                return 2;
            }
        } else if (arg == "--model") {
            const std::string* text = value("--model");
            if (text == nullptr)
                return 2;
            int number = 0;
            try {
                std::size_t used = 0;
                number = std::stoi(*text, &used);
                if (used != text->size())
                    number = 0;
            } catch (const std::exception&) {
                number = 0;
            }
            model = sim::FindKtrModel(number);
            if (model == nullptr) {
                err << "cpu-run: --model \"" << *text
                    << "\" is no KTR model (7 KTR310, 13 KTR311, 24 KTR640)\n";
                return 2;
            }
        } else if (!arg.empty() && arg[0] == '-') {
            err << "cpu-run: unknown option \"" << arg << "\"\n";
            return 2;
        } else if (image.empty()) {
            image = arg;
        } else {
            err << "cpu-run: only one IMAGE is allowed\n";
            return 2;
        }
    }
    if (image.empty() || !load || !start) {
        err << "usage: tessarine-cli cpu-run IMAGE --load ADDR --start ADDR [--success ADDR] "
               "[--limit INSTRUCTIONS] [--model N]\n";
        return 2;
    }
    std::ifstream in(image, std::ios::binary);
    if (!in) {
        err << "cpu-run: cannot open \"" << image << "\"\n";
        return 2;
    }
    std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in),
                               std::istreambuf_iterator<char>()};
    if (bytes.empty() || *load + bytes.size() > 0x10000) {
        err << "cpu-run: the image (" << bytes.size() << " bytes) does not fit at " << Hex4(*load)
            << " in 64 KB\n";
        return 2;
    }
    sim::TrapRunResult result;
    if (model != nullptr) {
        const KtrRun run = RunOnKtr(*model, *load, *start, bytes, limit, success);
        result = run.Result;
        if (run.Skipped != 0)
            err << "cpu-run: " << run.Skipped << " bytes of the image fall on the SFRs or where "
                << "the " << model->Name << " has no memory; they were not loaded\n";
        if (run.NoMemory) {
            out << "fail: execution reached " << Hex4(result.Address) << ", where the "
                << model->Name << " has no memory, " << result.Instructions << " instructions, "
                << result.Cycles << " cycles\n";
            return 1;
        }
    } else {
        auto bus = std::make_unique<sim::FlatRamBus>();
        bus->Load(*load, bytes);
        sim::Cpu65C02<sim::FlatRamBus> cpu(*bus);
        cpu.Registers().PC = *start;
        result = sim::RunUntilTrap(cpu, limit);
    }

    const std::string counts = std::to_string(result.Instructions) + " instructions, " +
                               std::to_string(result.Cycles) + " cycles";
    std::string where;
    switch (result.How) {
    case sim::TrapStop::Trap:
        where = "trap at " + Hex4(result.Address);
        break;
    case sim::TrapStop::Stopped:
        where = "STP at " + Hex4(result.Address);
        break;
    case sim::TrapStop::Waiting:
        where = "WAI with no interrupt at " + Hex4(result.Address);
        break;
    case sim::TrapStop::Limit:
        out << "fail: no trap within " << result.Instructions << " instructions (PC "
            << Hex4(result.Address) << "), " << result.Cycles << " cycles\n";
        return 1;
    }
    if (!success) {
        out << where << ", " << counts << "\n";
        return 0;
    }
    if (result.Address == *success) {
        out << "pass: " << where << ", " << counts << "\n";
        return 0;
    }
    out << "fail: " << where << ", expected " << Hex4(*success) << ", " << counts << "\n";
    return 1;
}

int CpuTest(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    bool compareBus = false;
    std::vector<std::string> files;
    for (std::size_t i = 1; i < args.size(); ++i) {
        if (args[i] == "--bus")
            compareBus = true;
        else if (!args[i].empty() && args[i][0] == '-') {
            err << "cpu-test: unknown option \"" << args[i] << "\"\n";
            return 2;
        } else
            files.push_back(args[i]);
    }
    if (files.empty()) {
        err << "usage: tessarine-cli cpu-test FILE.json... [--bus]\n";
        return 2;
    }
    int passed = 0, failed = 0;
    bool unreadable = false;
    for (const std::string& file : files) {
        sim::SingleStepFileResult result = sim::RunSingleStepFile(file, compareBus);
        if (!result.Error.empty()) {
            err << "cpu-test: " << result.Error << "\n";
            unreadable = true;
            continue;
        }
        for (const std::string& failure : result.Failures)
            out << file << ": " << failure << "\n";
        passed += result.Passed;
        failed += result.Failed;
    }
    out << passed << " passed, " << failed << " failed\n";
    return failed == 0 && !unreadable ? 0 : 1;
}

} // namespace

bool IsCpuCommand(const std::string& name) {
    return name == "cpu-run" || name == "cpu-test";
}

int RunCpuCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    if (args.empty())
        return 2;
    if (args[0] == "cpu-run")
        return CpuRun(args, out, err);
    if (args[0] == "cpu-test")
        return CpuTest(args, out, err);
    return 2;
}

void PrintCpuCommandsUsage(std::ostream& out) {
    out << "  cpu-run IMAGE --load ADDR --start ADDR [--success ADDR] [--limit N] [--model N]\n"
           "              run a flat 65C02 program in 64 KB RAM until it traps (jumps or\n"
           "              branches to itself) or executes STP; pass when that address is\n"
           "              --success. ADDR: $hex, 0xhex or decimal. --model 7, 13 or 24 runs\n"
           "              it on the KTR310, KTR311 or KTR640 instead of plain RAM\n"
           "  cpu-test FILE.json... [--bus]\n"
           "              run single-step CPU tests (registers, RAM, cycle count; every bus\n"
           "              cycle with --bus); prints each failure and \"N passed, N failed\"\n";
}

} // namespace bx::cli
