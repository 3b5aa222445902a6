// A fresh folder of one test, made with mkdtemp and removed with everything in it at the end.
#pragma once

#include <filesystem>

namespace zeta::tools::test {

class ScratchDir {
public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::filesystem::path& name) const {
        return path_ / name;
    }

private:
    std::filesystem::path path_;
};

}  // namespace zeta::tools::test
