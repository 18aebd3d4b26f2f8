#include "platform/SharedLibrary.h"

#include "platform/Paths.h"

#include <dlfcn.h>

namespace bx::platform {

std::unique_ptr<SharedLibrary> SharedLibrary::Open(const std::string& path, std::string& error) {
    // Local binding: two plug-ins may export the same entry point.
    void* handle = dlopen(ToNativePath(path).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* reason = dlerror();
        error = reason != nullptr ? reason : "the library could not be loaded";
        return nullptr;
    }
    error.clear();
    return std::unique_ptr<SharedLibrary>(new SharedLibrary(handle));
}

SharedLibrary::~SharedLibrary() {
    dlclose(handle_);
}

void* SharedLibrary::Symbol(const std::string& name) const {
    return dlsym(handle_, name.c_str());
}

const char* SharedLibrarySuffix() {
#if defined(__APPLE__)
    return ".dylib";
#else
    return ".so";
#endif
}

} // namespace bx::platform
