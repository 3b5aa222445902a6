#include "ScratchDir.h"

#include <stdlib.h>

#include <stdexcept>
#include <string>
#include <system_error>

namespace zeta::tools::test {

ScratchDir::ScratchDir() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "zetavoro-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a scratch folder from " + pattern);
    }
    path_ = pattern;
}

ScratchDir::~ScratchDir() {
    // A folder that cannot be removed is left behind rather than failing the test at its end.
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

}  // namespace zeta::tools::test
