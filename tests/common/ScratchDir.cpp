#include "ScratchDir.h"

#include <atomic>
#include <random>
#include <stdexcept>
#include <system_error>

namespace zeta::test {

ScratchDir::ScratchDir() {
    static std::atomic<unsigned> counter{0};
    std::random_device random;
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::filesystem::path candidate =
            std::filesystem::temp_directory_path() /
            ("zeta-test-" + std::to_string(random()) + "-" + std::to_string(counter++));
        std::error_code error;
        // create_directory is false when the folder already exists: another name is tried.
        if (std::filesystem::create_directory(candidate, error)) {
            path_ = candidate;
            return;
        }
    }
    throw std::runtime_error("cannot make a scratch folder in " +
                             std::filesystem::temp_directory_path().string());
}

ScratchDir::~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

}  // namespace zeta::test
