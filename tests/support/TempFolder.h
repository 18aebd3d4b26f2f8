#pragma once
// A fresh folder for one test, removed with everything in it at the end of the test.

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
    std::string Path() const;
    // A path below the folder, backslash form: Sub("a\\b.txt").
    std::string Sub(const std::string& relative) const;
    // Writes a file below the folder (creating parent folders) and returns its backslash path.
    std::string WriteFile(const std::string& relative, const std::string& content) const;
    // Reads a file below the folder; empty when missing.
    std::string ReadFile(const std::string& relative) const;

private:
    std::filesystem::path native_;
};

} // namespace bx::test
