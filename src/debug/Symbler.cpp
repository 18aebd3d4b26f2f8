#include "debug/Symbler.h"

#include "foundation/Common.h"
#include "foundation/Diagnoser.h"

#include <cctype>

namespace bx {

namespace {

// Code labels live in the ROM, from $4000 up; data and equates in the low 16 KB. A symbol on
// the wrong side is a name the watch list has no use for (an equate of a ROM address, a code
// label of a RAM routine) and would only crowd it.
constexpr int32_t kRomStart = 16384;

bool IsCodeKind(const std::string& kind) {
    return LowerCase(kind).find("code") != std::string::npos;
}

} // namespace

Symbler::Symbler(const std::function<std::unique_ptr<SymbolLibrary>()>& createLibrary,
                 const Diagnoser& diagnoser)
    : diagnoser_(diagnoser) {
    diagnoser_.Trace(trace_module::kSymbler, 1100, "");
    symbols_ = createLibrary();
    diagnoser_.Trace(trace_module::kSymbler, 1110, "");
}

std::string Symbler::LoadError() const {
    return symbols_ ? symbols_->LoadError() : std::string();
}

void Symbler::ListFilePath(const std::string& path) {
    path_ = path;
    diagnoser_.Trace(trace_module::kSymbler, 1010, "");
    // The flag falls first, so that a load that throws leaves nothing counted as loaded.
    loaded_ = false;
    loaded_ = symbols_ != nullptr && symbols_->LoadFile(path);
    diagnoser_.Trace(trace_module::kSymbler, 1020, loaded_ ? "True" : "False");
}

std::unique_ptr<Watches> Symbler::GetLabelsAsWatches(bool codeOnly) {
    if (!loaded_)
        return nullptr;
    collected_ = std::make_unique<Watches>();
    symbols_->EnumerateSymbols(codeOnly ? "Code" : "", [this](const bx::SymbolDefinition& s) {
        SymbolDefinition(s.Name, s.Address, s.Kind);
    });
    return std::move(collected_);
}

void Symbler::SymbolDefinition(const std::string& name, int32_t address, const std::string& kind) {
    if (!collected_)
        return;
    bool taken = IsCodeKind(kind) ? address >= kRomStart : address < kRomStart;
    if (!taken)
        return;
    auto watch = std::make_shared<Watch>();
    watch->Title = name;
    watch->Location = Hex2(address / 65536) + ":" + Hex4(address % 65536);
    watch->Category = "Symbol";
    // A second symbol of the same name (the same label in two modules) keeps the first.
    collected_->AddItem(watch);
}

std::string Symbler::GetSourcePath(int32_t index) {
    if (!loaded_)
        return "";
    std::string folder, name;
    if (!symbols_->GetSourceFile(index, folder, name))
        return "";
    if (!folder.empty()) {
        if (folder.back() == '/' || folder.back() == '\\')
            folder.pop_back();
        folder += "\\";
    }
    if (!name.empty()) {
        bool rooted =
            name.front() == '/' || name.front() == '\\' || (name.size() >= 3 && name[1] == ':');
        if (rooted)
            folder.clear();
    }
    return folder + name;
}

int32_t Symbler::GetPC(int32_t file, int32_t line) {
    if (!loaded_)
        return -1;
    return symbols_->GetAddress(file, line);
}

bool Symbler::GetSourceAt(int32_t /*bank*/, int32_t address, int32_t& file, int32_t& line) {
    if (!loaded_)
        return false;
    return symbols_->FindSource(address, file, line);
}

} // namespace bx
