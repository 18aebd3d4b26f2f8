#pragma once
// Runs single-instruction CPU tests in the public "single-step" JSON format: each test gives an
// initial register set and RAM, the final register set and RAM, and one entry per bus cycle
// (address, value, "read" or "write"). The runner loads the initial state into a 64 KB RAM,
// executes one instruction and compares registers, RAM, cycle count and, on request, every
// bus cycle including the dummy reads; it does so once with Step and once with the run loop.

#include "sim/Cpu65C02.h"
#include "sim/Json.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace bx::sim {

struct BusCycle {
    uint16_t Address = 0;
    uint8_t Value = 0;
    bool IsWrite = false;
    bool operator==(const BusCycle&) const = default;
};

struct SingleStepCase {
    std::string Name;
    CpuRegisters Initial, Final;
    std::vector<std::pair<uint16_t, uint8_t>> InitialRam, FinalRam;
    std::vector<BusCycle> Cycles;
};

// Reads the cases of one document (an array of tests). Throws std::runtime_error (JsonError
// for bad syntax) naming the test and field when the structure or a value is wrong.
std::vector<SingleStepCase> ParseSingleStepCases(const JsonValue& document);

// Runs one case, once by Step and once through the run loop. Returns an empty text when both
// pass, otherwise a one-line description of every difference (those of the run loop named as
// such where they are not the same).
std::string RunSingleStepCase(const SingleStepCase& test, bool compareBus);

struct SingleStepFileResult {
    int Passed = 0;
    int Failed = 0;
    std::vector<std::string> Failures; // one line per failing case, "<name>: <differences>"
    std::string Error;                 // set when the file could not be read or parsed
};

// Reads, parses and runs every case of one file.
SingleStepFileResult RunSingleStepFile(const std::string& path, bool compareBus);

std::string FormatBusCycle(const BusCycle& cycle);

} // namespace bx::sim
