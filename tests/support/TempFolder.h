#pragma once
// A fresh folder for one test, removed with everything in it at the end of the test.

#include "platform/FileSystem.h"
#include "platform/Paths.h"

#include <filesystem>
#include <string>

namespace bx::test {

class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    // The folder in the operating system's form.
    const std::filesystem::path& Native() const { return native_; }
    // The folder in the system's backslash form, without a final "\".
    std::string Path() const { return platform::FromNativePath(native_.string()); }
    // A path below the folder, backslash form: Sub("a\\b.txt").
    std::string Sub(const std::string& relative) const { return Path() + "\\" + relative; }
    // Writes a file below the folder (creating parent folders) and returns its backslash path.
    std::string WriteFile(const std::string& relative, const std::string& content) const;
    // Reads a file below the folder; empty when missing.
    std::string ReadFile(const std::string& relative) const {
        return platform::ReadFile(Sub(relative)).value_or("");
    }

private:
    std::filesystem::path native_;
};

#ifdef BX_SOURCE_DIR
// The shipped file data/<relative> of this source tree, in the system's backslash form.
inline std::string ShippedFile(const std::string& relative) {
    return platform::FromNativePath(std::string(BX_SOURCE_DIR) + "/data/" + relative);
}

// A program folder with the shipped settings and an (empty) template folder for each body.
inline void MakeProgramFolder(const TempFolder& folder) {
    folder.WriteFile("BX.gss", platform::ReadFile(ShippedFile("BX.gss")).value_or(""));
    for (const char* body : {"KTR310", "KTR311", "KTR640"})
        folder.WriteFile(std::string("Templates\\Sarnova\\") + body + "\\keep.txt", "");
}
#endif

} // namespace bx::test
