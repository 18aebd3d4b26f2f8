#pragma once
// The extender host without its window: one plug-in, named by its programmatic name
// ("SarnovaExtender.PortalExtender"), loaded from the program's "PlugIns" folder, and its four
// operations (FunctionCount, FunctionBitmap, FunctionTitle, OnFunction) called safely: a
// plug-in that is missing, can't be loaded, has no such class or answers with an error gives
// nothing, and the studio goes on without it.
//
// The name's rule: the part ahead of the first "." names the library file, the part behind it
// the class the library is asked for. "SarnovaExtender.PortalExtender" is the file
// "SarnovaExtender" + the system's library ending (".so") in the program's folder's
// "PlugIns" folder, asked for its class "PortalExtender". UI thread only.

#include <memory>
#include <optional>
#include <string>

struct TessarineExtender;

namespace bx {

namespace platform {
class SharedLibrary;
}

class ExtenderHost {
public:
    static constexpr const char* kProgrammaticName = "SarnovaExtender.PortalExtender";

    ExtenderHost();
    ~ExtenderHost();
    ExtenderHost(const ExtenderHost&) = delete;
    ExtenderHost& operator=(const ExtenderHost&) = delete;

    // The library a programmatic name resolves to, below programFolder (backslash form, no
    // final "\"); "" for a name without a library part or a class part.
    static std::string LibraryPath(const std::string& programmaticName,
                                   const std::string& programFolder);

    // Loads the plug-in of that name from the program's folder, dropping any loaded before.
    // Whether it is there to be used; what went wrong goes to LoadError.
    bool Load(const std::string& programmaticName = kProgrammaticName);
    bool Loaded() const { return extender_ != nullptr; }
    const std::string& LoadError() const { return loadError_; }
    const std::string& LibraryFile() const { return libraryFile_; }

    // The plug-in's operations; 0 or nothing when it isn't loaded or answers with an error.
    int FunctionCount() const;
    std::optional<std::string> FunctionBitmap(int index) const;
    std::optional<std::string> FunctionTitle(int index) const;
    // folder in the system's backslash form; the plug-in gets the operating system's form.
    // The plug-in's result; nothing when none is loaded.
    std::optional<int> OnFunction(int index, const std::string& folder,
                                  const std::string& title) const;

    // Drops the plug-in: the extender's table first, then the library.
    void Unload();

private:
    std::unique_ptr<platform::SharedLibrary> library_;
    const TessarineExtender* extender_ = nullptr;
    std::string loadError_;
    std::string libraryFile_;
};

// A toolbar button's key for a function index ("n" and the index), and the index back from a
// key (its text from the second character on); nothing for a key that doesn't read.
std::string ExtenderButtonKey(int index);
std::optional<int> ExtenderFunctionIndex(const std::string& key);

} // namespace bx
