#include "support/FakeSymbolLibrary.h"

#include "foundation/Error.h"

namespace bx::test {

bool FakeSymbolLibrary::LoadFile(const std::string& path) {
    Calls.push_back("LoadFile " + path);
    if (ThrowOnLoad)
        throw BxError(errors::kFileAccess, "FakeSymbolLibrary", "load failed");
    loadError_ = LoadSucceeds ? "" : FailureReason;
    return LoadSucceeds;
}

bool FakeSymbolLibrary::GetSourceFile(int32_t index, std::string& folder, std::string& name) {
    Calls.push_back("GetSourceFile " + std::to_string(index));
    auto it = Files.find(index);
    folder = it == Files.end() ? "" : it->second.Folder;
    name = it == Files.end() ? "" : it->second.Name;
    return it != Files.end();
}

int32_t FakeSymbolLibrary::GetAddress(int32_t fileIndex, int32_t line) {
    Calls.push_back("GetAddress " + std::to_string(fileIndex) + " " + std::to_string(line));
    auto it = LineAddresses.find({fileIndex, line});
    return it == LineAddresses.end() ? -1 : it->second;
}

bool FakeSymbolLibrary::FindSource(int32_t address, int32_t& fileIndex, int32_t& line) {
    Calls.push_back("FindSource " + std::to_string(address));
    auto it = Sources.find(address);
    if (it == Sources.end())
        return false;
    fileIndex = it->second.File;
    line = it->second.Line;
    return true;
}

int32_t
FakeSymbolLibrary::EnumerateSymbols(const std::string& kindFilter,
                                    const std::function<void(const SymbolDefinition&)>& onSymbol) {
    Calls.push_back("EnumerateSymbols " + kindFilter);
    int32_t count = 0;
    for (const SymbolDefinition& symbol : Symbols)
        if (kindFilter.empty() || symbol.Kind.find(kindFilter) != std::string::npos) {
            ++count;
            onSymbol(symbol);
        }
    return count;
}

} // namespace bx::test
