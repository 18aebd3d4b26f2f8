// The symbol library on a large program: a generated ld65 debug file of 200,000 line records
// (100 files of 2,000 lines, code spread over the unbanked area and 30 banks, one line in ten a
// macro body line nested in its caller's span) and 20,000 symbols. Power-on loads it on the UI
// thread, and the views look a line up for every row they paint, so the load must stay well
// under a second and each look-up well under a microsecond.
#include "platform/FileSystem.h"
#include "symbols/Ld65SymbolLibrary.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kFiles = 100;
constexpr int kLinesPerFile = 2000;
constexpr int kLines = kFiles * kLinesPerFile;
constexpr int kSymbols = 20000;
constexpr int kBanks = 32;

struct GeneratedProgram {
    std::string path;
    std::vector<int32_t> codeAddresses; // every line's address, for the look-ups
    std::vector<std::pair<int32_t, int32_t>> fileLines;

    GeneratedProgram() {
        // Segments: 0 CODE at $8000 (offset 0), 1..kBanks BANKb at $4000 (offset (b+2)*$4000),
        // then BSS. Lines fill CODE, then bank after bank, 2 or 3 bytes each.
        std::string text;
        text.reserve(32 << 20);
        char buffer[256];
        const int segs = kBanks + 2;
        const int macroLines = kLines / 10;
        const int spans = kLines;
        std::snprintf(buffer, sizeof buffer,
                      "version\tmajor=2,minor=0\ninfo\tcsym=0,file=%d,lib=0,line=%d,mod=%d,"
                      "scope=%d,seg=%d,span=%d,sym=%d,type=1\n",
                      kFiles, kLines + macroLines, kFiles, kFiles, segs, spans + macroLines,
                      kSymbols);
        text += buffer;
        for (int f = 0; f < kFiles; ++f) {
            std::snprintf(buffer, sizeof buffer,
                          "file\tid=%d,name=\"src/module%03d.asm\",size=40000,mtime=0x6B017D94,"
                          "mod=%d\n",
                          f, f, f);
            text += buffer;
        }
        // Place the spans first, so that the lines and symbols can name them.
        struct Span {
            int seg, start, size;
        };
        std::vector<Span> spanList;
        spanList.reserve(spans + macroLines);
        std::vector<int> segUsed(segs, 0);
        int seg = 0;
        for (int i = 0; i < spans; ++i) {
            int size = 2 + i % 2;
            int limit = seg == 0 ? 0x8000 - 6 : 0x4000;
            if (segUsed[seg] + size > limit)
                ++seg;
            spanList.push_back({seg, segUsed[seg], size});
            segUsed[seg] += size;
        }
        // Every tenth line is followed by a macro body line covering its first byte.
        for (int m = 0; m < macroLines; ++m) {
            const Span& outer = spanList[static_cast<std::size_t>(m * 10)];
            spanList.push_back({outer.seg, outer.start, 1});
        }
        int lineId = 0;
        for (int i = 0; i < kLines; ++i) {
            int file = i / kLinesPerFile, line = i % kLinesPerFile + 1;
            std::snprintf(buffer, sizeof buffer, "line\tid=%d,file=%d,line=%d,span=%d\n", lineId++,
                          file, line, i);
            text += buffer;
            if (i % 10 == 0) {
                std::snprintf(buffer, sizeof buffer,
                              "line\tid=%d,file=%d,line=%d,type=2,count=1,span=%d\n", lineId++,
                              kFiles - 1 - file, kLinesPerFile + 10 + i / 10 % 5000,
                              kLines + i / 10);
                text += buffer;
            }
            fileLines.emplace_back(file, line);
        }
        for (int f = 0; f < kFiles; ++f) {
            std::snprintf(buffer, sizeof buffer, "mod\tid=%d,name=\"module%03d.o\",file=%d\n", f, f,
                          f);
            text += buffer;
        }
        for (int s = 0; s < segs; ++s) {
            if (s == segs - 1) {
                std::snprintf(buffer, sizeof buffer,
                              "seg\tid=%d,name=\"BSS\",start=0x000200,size=0x1000,"
                              "addrsize=absolute,type=rw\n",
                              s);
            } else {
                int start = s == 0 ? 0x8000 : 0x4000;
                int offset = s == 0 ? 0 : (s - 1 + 2) * 0x4000;
                std::snprintf(buffer, sizeof buffer,
                              "seg\tid=%d,name=\"SEG%d\",start=0x%06X,size=0x%04X,"
                              "addrsize=absolute,type=ro,oname=\"big.rom\",ooffs=%d\n",
                              s, s, start, segUsed[static_cast<std::size_t>(s)], offset);
            }
            text += buffer;
        }
        for (std::size_t i = 0; i < spanList.size(); ++i) {
            std::snprintf(buffer, sizeof buffer, "span\tid=%zu,seg=%d,start=%d,size=%d\n", i,
                          spanList[i].seg, spanList[i].start, spanList[i].size);
            text += buffer;
            if (i < static_cast<std::size_t>(spans)) {
                const Span& s = spanList[i];
                int32_t address =
                    s.seg == 0 ? 0x8000 + s.start : s.seg * 65536 - 65536 + 0x4000 + s.start;
                codeAddresses.push_back(address);
            }
        }
        for (int f = 0; f < kFiles; ++f) {
            std::snprintf(buffer, sizeof buffer, "scope\tid=%d,name=\"\",mod=%d,size=100\n", f, f);
            text += buffer;
        }
        for (int y = 0; y < kSymbols; ++y) {
            const Span& s = spanList[static_cast<std::size_t>(y * (spans / kSymbols))];
            int start = s.seg == 0 ? 0x8000 : 0x4000;
            std::snprintf(buffer, sizeof buffer,
                          "sym\tid=%d,name=\"label_%05d\",addrsize=absolute,scope=%d,def=%d,"
                          "ref=%d+%d,val=0x%X,seg=%d,type=lab\n",
                          y, y, y % kFiles, y, y + 1, y + 2, start + s.start, s.seg);
            text += buffer;
        }
        text += "type\tid=0,val=\"800220\"\n";
        path = bx::platform::TempFolder() + "\\bx-bench-symbols-" + std::to_string(::getpid()) +
               ".sym";
        bx::platform::WriteFileAtomic(path, text);
    }
    ~GeneratedProgram() { bx::platform::DeleteFile(path); }
};

GeneratedProgram& Program() {
    static GeneratedProgram program;
    return program;
}

void BM_LoadDebugFile(benchmark::State& state) {
    GeneratedProgram& program = Program();
    auto bytes = bx::platform::FileSize(program.path);
    for (auto _ : state) {
        bx::symbols::Ld65SymbolLibrary library;
        if (!library.LoadFile(program.path)) {
            state.SkipWithError(library.LoadError().c_str());
            return;
        }
        benchmark::DoNotOptimize(library.SymbolCount());
    }
    state.counters["MB"] = static_cast<double>(bytes.value_or(0)) / 1e6;
}
BENCHMARK(BM_LoadDebugFile)->Unit(benchmark::kMillisecond);

// One iteration is a million look-ups; the per-look-up time is the iteration time / 1e6.
void BM_MillionFindSource(benchmark::State& state) {
    GeneratedProgram& program = Program();
    bx::symbols::Ld65SymbolLibrary library;
    if (!library.LoadFile(program.path)) {
        state.SkipWithError(library.LoadError().c_str());
        return;
    }
    std::vector<int32_t> queries;
    queries.reserve(1'000'000);
    uint32_t seed = 1;
    for (int i = 0; i < 1'000'000; ++i) {
        seed = seed * 1664525u + 1013904223u;
        // Nine in ten hit a line's code (any of its bytes), one in ten misses (RAM).
        int32_t address = i % 10 == 9 ? static_cast<int32_t>(0x0200 + seed % 0x1000)
                                      : program.codeAddresses[seed % program.codeAddresses.size()] +
                                            static_cast<int32_t>((seed >> 20) % 2);
        queries.push_back(address);
    }
    int64_t found = 0;
    for (auto _ : state) {
        for (int32_t address : queries) {
            int32_t file = 0, line = 0;
            found += library.FindSource(address, file, line) ? line : 0;
        }
    }
    benchmark::DoNotOptimize(found);
    // Seconds per look-up ("45n" is 45 ns).
    state.counters["per_lookup"] = benchmark::Counter(
        1e6, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_MillionFindSource)->Unit(benchmark::kMillisecond);

void BM_MillionGetAddress(benchmark::State& state) {
    GeneratedProgram& program = Program();
    bx::symbols::Ld65SymbolLibrary library;
    if (!library.LoadFile(program.path)) {
        state.SkipWithError(library.LoadError().c_str());
        return;
    }
    std::vector<std::pair<int32_t, int32_t>> queries;
    queries.reserve(1'000'000);
    uint32_t seed = 7;
    for (int i = 0; i < 1'000'000; ++i) {
        seed = seed * 1664525u + 1013904223u;
        auto fileLine = program.fileLines[seed % program.fileLines.size()];
        if (i % 10 == 9)
            fileLine.second += kLinesPerFile * 3; // a line past the end: no code
        queries.push_back(fileLine);
    }
    int64_t sum = 0;
    for (auto _ : state)
        for (const auto& [file, line] : queries)
            sum += library.GetAddress(file, line);
    benchmark::DoNotOptimize(sum);
    // Seconds per look-up ("45n" is 45 ns).
    state.counters["per_lookup"] = benchmark::Counter(
        1e6, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_MillionGetAddress)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
