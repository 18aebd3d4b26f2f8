#pragma once
// A shared library loaded into the process at run time (the extender plug-ins). Paths come in
// the system's backslash form and are converted here; the library stays loaded as long as
// the object lives.

#include <memory>
#include <string>

namespace bx::platform {

class SharedLibrary {
public:
    // The library at path, loaded; nullptr when it doesn't exist or can't be loaded (error
    // then says why, in the loader's words).
    static std::unique_ptr<SharedLibrary> Open(const std::string& path, std::string& error);
    ~SharedLibrary();
    SharedLibrary(const SharedLibrary&) = delete;
    SharedLibrary& operator=(const SharedLibrary&) = delete;

    // The address of an exported symbol; nullptr when the library has none of that name.
    void* Symbol(const std::string& name) const;

private:
    explicit SharedLibrary(void* handle) : handle_(handle) {}
    void* handle_;
};

// The file name ending of a shared library on this system: ".so", ".dylib" or ".dll".
const char* SharedLibrarySuffix();

} // namespace bx::platform
