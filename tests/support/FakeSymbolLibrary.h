#pragma once
// A SymbolLibrary for tests: files, line addresses, covered addresses and symbols set up by the
// test, a scripted load result, and a log of the calls, so that a test can pin down what the
// Symbler and the breakpoint logic ask of the library without a debug file.

#include "debug/SymbolLibrary.h"
#include "foundation/Error.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace bx::test {

class FakeSymbolLibrary : public SymbolLibrary {
public:
    struct SourceFile {
        std::string Folder, Name;
    };
    struct Source {
        int32_t File, Line;
    };

    // ---- Set-up by the test ---------------------------------------------------------------

    // What LoadFile answers, and the reason LoadError gives after a false one.
    bool LoadSucceeds = true;
    std::string FailureReason = "the fake refuses";
    // LoadFile throws BxError while set.
    bool ThrowOnLoad = false;
    std::map<int32_t, SourceFile> Files;
    // (file, line) -> address; a pair not listed gives -1.
    std::map<std::pair<int32_t, int32_t>, int32_t> LineAddresses;
    // address -> source line; an address not listed is not found.
    std::map<int32_t, Source> Sources;
    std::vector<SymbolDefinition> Symbols;

    // ---- Seen by the test -----------------------------------------------------------------

    // "LoadFile <path>", "GetAddress 2 10", "FindSource 81926", "EnumerateSymbols Code", ...
    std::vector<std::string> Calls;

    // ---- SymbolLibrary --------------------------------------------------------------------

    bool LoadFile(const std::string& path) override {
        Calls.push_back("LoadFile " + path);
        if (ThrowOnLoad)
            throw BxError(errors::kFileAccess, "FakeSymbolLibrary", "load failed");
        loadError_ = LoadSucceeds ? "" : FailureReason;
        return LoadSucceeds;
    }
    std::string LoadError() const override { return loadError_; }
    bool GetSourceFile(int32_t index, std::string& folder, std::string& name) override {
        Calls.push_back("GetSourceFile " + std::to_string(index));
        const SourceFile file = Files.contains(index) ? Files.at(index) : SourceFile{};
        folder = file.Folder, name = file.Name;
        return Files.contains(index);
    }
    int32_t GetAddress(int32_t fileIndex, int32_t line) override {
        Calls.push_back("GetAddress " + std::to_string(fileIndex) + " " + std::to_string(line));
        return LineAddresses.contains({fileIndex, line}) ? LineAddresses.at({fileIndex, line}) : -1;
    }
    bool FindSource(int32_t address, int32_t& fileIndex, int32_t& line) override {
        Calls.push_back("FindSource " + std::to_string(address));
        if (!Sources.contains(address))
            return false;
        fileIndex = Sources.at(address).File, line = Sources.at(address).Line;
        return true;
    }
    int32_t
    EnumerateSymbols(const std::string& kindFilter,
                     const std::function<void(const SymbolDefinition&)>& onSymbol) override {
        Calls.push_back("EnumerateSymbols " + kindFilter);
        int32_t count = 0;
        for (const SymbolDefinition& symbol : Symbols)
            if (kindFilter.empty() || symbol.Kind.find(kindFilter) != std::string::npos)
                ++count, onSymbol(symbol);
        return count;
    }

private:
    std::string loadError_;
};

} // namespace bx::test
