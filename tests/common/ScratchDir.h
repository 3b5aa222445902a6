// A fresh, empty folder of one test under the system's temporary folder, removed with everything
// in it at the end. Made with a unique name, so test processes running side by side never share
// one.
#pragma once

#include <filesystem>
#include <string>

namespace zeta::test {

class ScratchDir {
public:
    ScratchDir();
    // A folder that cannot be removed is left behind rather than failing the test at its end.
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::filesystem::path& name) const {
        return path_ / name;
    }
    // The path of `name` inside the folder, as a string for C interfaces.
    std::string file(const std::string& name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

}  // namespace zeta::test
