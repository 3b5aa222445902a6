// SharedLibrary on Windows: LoadLibraryExW, GetProcAddress, FreeLibrary.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include "SharedLibrary.h"

namespace zeta::test {

SharedLibrary::~SharedLibrary() {
    unload();
}

bool SharedLibrary::load(const std::filesystem::path& path) {
    unload();
    // The library's own dependencies are looked for in its folder first.
    HMODULE module = LoadLibraryExW(path.wstring().c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (module == nullptr) {
        error_ = "LoadLibraryExW failed with error " + std::to_string(GetLastError());
        return false;
    }
    handle_ = module;
    return true;
}

void* SharedLibrary::symbol(const std::string& name) const {
    if (handle_ == nullptr) return nullptr;
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name.c_str()));
}

void SharedLibrary::unload() {
    if (handle_ != nullptr) FreeLibrary(static_cast<HMODULE>(handle_));
    handle_ = nullptr;
}

}  // namespace zeta::test
