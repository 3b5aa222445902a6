// SharedLibrary on POSIX systems: dlopen, dlsym, dlclose.
#include <dlfcn.h>

#include "SharedLibrary.h"

namespace zeta::test {

SharedLibrary::~SharedLibrary() {
    unload();
}

bool SharedLibrary::load(const std::filesystem::path& path) {
    unload();
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle_ == nullptr) {
        const char* why = dlerror();
        error_ = why != nullptr ? why : "dlopen failed";
        return false;
    }
    return true;
}

void* SharedLibrary::symbol(const std::string& name) const {
    return handle_ != nullptr ? dlsym(handle_, name.c_str()) : nullptr;
}

void SharedLibrary::unload() {
    if (handle_ != nullptr) dlclose(handle_);
    handle_ = nullptr;
}

}  // namespace zeta::test
