#include "prototyper/Extender.h"

#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "platform/SharedLibrary.h"
#include "prototyper/ExtenderApi.h"

#include <charconv>
#include <vector>

namespace bx {

namespace {

// A text answer of the plug-in: the buffer is NUL-terminated by the host whatever the plug-in
// wrote into it.
std::optional<std::string> AskText(int (*operation)(int, char*, int), int index) {
    if (operation == nullptr)
        return std::nullopt;
    std::vector<char> buffer(4096, '\0');
    if (operation(index, buffer.data(), static_cast<int>(buffer.size())) != 0)
        return std::nullopt;
    buffer.back() = '\0';
    return std::string(buffer.data());
}

} // namespace

ExtenderHost::ExtenderHost() = default;

ExtenderHost::~ExtenderHost() {
    Unload();
}

std::string ExtenderHost::LibraryPath(const std::string& programmaticName,
                                      const std::string& programFolder) {
    const std::size_t dot = programmaticName.find('.');
    if (dot == 0 || dot == std::string::npos || dot + 1 == programmaticName.size())
        return {};
    return programFolder + "\\PlugIns\\" + programmaticName.substr(0, dot) +
           platform::SharedLibrarySuffix();
}

bool ExtenderHost::Load(const std::string& programmaticName) {
    Unload();
    libraryFile_ = LibraryPath(programmaticName, platform::ProgramFolder());
    if (libraryFile_.empty()) {
        loadError_ = "\"" + programmaticName + "\" is no name of the form Library.Class.";
        return false;
    }
    if (!platform::FileExists(libraryFile_)) {
        loadError_ = "No plug-in library " + platform::ToNativePath(libraryFile_) + ".";
        return false;
    }
    library_ = platform::SharedLibrary::Open(libraryFile_, loadError_);
    if (!library_)
        return false;
    auto entry =
        reinterpret_cast<TessarineExtenderEntry>(library_->Symbol(TESSARINE_EXTENDER_ENTRY));
    const std::string className = programmaticName.substr(programmaticName.find('.') + 1);
    const std::string folder = platform::ToNativePath(platform::ProgramFolder() + "\\PlugIns\\");
    const TessarineExtender* extender =
        entry != nullptr ? entry(className.c_str(), folder.c_str()) : nullptr;
    if (extender == nullptr || extender->Version != TESSARINE_EXTENDER_VERSION) {
        loadError_ = entry == nullptr ? "The library exports no " TESSARINE_EXTENDER_ENTRY "."
                     : extender == nullptr
                         ? "The library has no class \"" + className + "\"."
                         : "The plug-in was built for another version of the interface.";
        library_.reset();
        return false;
    }
    extender_ = extender;
    loadError_.clear();
    return true;
}

int ExtenderHost::FunctionCount() const {
    if (!extender_ || extender_->FunctionCount == nullptr)
        return 0;
    const int count = extender_->FunctionCount();
    return count > 0 ? count : 0;
}

std::optional<std::string> ExtenderHost::FunctionBitmap(int index) const {
    return extender_ ? AskText(extender_->FunctionBitmap, index) : std::nullopt;
}

std::optional<std::string> ExtenderHost::FunctionTitle(int index) const {
    return extender_ ? AskText(extender_->FunctionTitle, index) : std::nullopt;
}

std::optional<int> ExtenderHost::OnFunction(int index, const std::string& folder,
                                            const std::string& title) const {
    if (!extender_ || extender_->OnFunction == nullptr)
        return std::nullopt;
    return extender_->OnFunction(index, platform::ToNativePath(folder).c_str(), title.c_str());
}

void ExtenderHost::Unload() {
    extender_ = nullptr;
    library_.reset();
}

std::string ExtenderButtonKey(int index) {
    return "n" + std::to_string(index);
}

std::optional<int> ExtenderFunctionIndex(const std::string& key) {
    if (key.size() < 2)
        return std::nullopt;
    int index = 0;
    const char* first = key.data() + 1;
    const char* last = key.data() + key.size();
    auto [end, error] = std::from_chars(first, last, index);
    if (error != std::errc() || end != last || index < 0)
        return std::nullopt;
    return index;
}

} // namespace bx
