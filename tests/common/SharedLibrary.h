// A shared library (DLL) loaded and unloaded at run time, as a host with plug-ins loads the
// library: for the test hosts that unload it with handles open. One implementation per platform
// (SharedLibraryPosix.cpp, SharedLibraryWindows.cpp) under this one interface.
//
// Threads: one thread uses the object.
#pragma once

#include <filesystem>
#include <string>

namespace zeta::test {

class SharedLibrary {
public:
    SharedLibrary() = default;
    // Unloads a library still loaded.
    ~SharedLibrary();
    SharedLibrary(const SharedLibrary&) = delete;
    SharedLibrary& operator=(const SharedLibrary&) = delete;

    // Loads the library at `path` (its own dependencies are found as the system finds them for a
    // library in that folder). False, with error() telling why, when it cannot be loaded.
    bool load(const std::filesystem::path& path);
    // The address of the exported function or variable `name`, or null.
    void* symbol(const std::string& name) const;
    // Gives the library back to the system (dlclose, FreeLibrary); no-op when none is loaded.
    void unload();

    bool loaded() const { return handle_ != nullptr; }
    const std::string& error() const { return error_; }

    // The exported function `name` as a pointer of type F, or null.
    template <class F>
    F function(const std::string& name) const {
        return reinterpret_cast<F>(symbol(name));
    }

private:
    void* handle_ = nullptr;
    std::string error_;
};

}  // namespace zeta::test
