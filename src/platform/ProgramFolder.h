#pragma once
// The program's folder: the folder of the running executable, where BX.gss, the templates,
// the keyword files and the trace log live. Every flow takes it from here; tests replace it
// with a temporary folder.

#include <string>

namespace bx::platform {

// Backslash form, without a final "\".
std::string ProgramFolder();
// Replaces the program's folder for the rest of the process (tests); "" restores the default.
void SetProgramFolder(const std::string& path);

// Restores the previous program folder when it goes out of scope.
class ScopedProgramFolder {
public:
    explicit ScopedProgramFolder(const std::string& path);
    ~ScopedProgramFolder();
    ScopedProgramFolder(const ScopedProgramFolder&) = delete;
    ScopedProgramFolder& operator=(const ScopedProgramFolder&) = delete;

private:
    std::string previous_;
};

} // namespace bx::platform
