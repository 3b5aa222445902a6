// Every seed of the fuzz corpus (tests/fuzz/corpus) replayed as the program of exported calls it
// decodes to, on the virtual scanner, in the default and the sanitizer builds: none may break a
// promise of the public header or leave a device open (ProgramReport violations), and under the
// sanitizers none may misuse or leak memory. The same replay keeps a fuzz finding as a regression
// test (tests/fuzz/README.md).
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string>
#include <vector>

#include "ProgramReplay.h"

namespace {

std::vector<std::string> seeds() {
    std::vector<std::string> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(ZETA_FUZZ_CORPUS_DIR, error)) {
        if (entry.is_regular_file()) files.push_back(entry.path().filename().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

class FuzzCorpus : public ::testing::TestWithParam<std::string> {};

TEST_P(FuzzCorpus, SeedRunsWithoutAFinding) {
    const auto report =
        zeta::fuzz::ProgramReplay::runFile(std::string(ZETA_FUZZ_CORPUS_DIR) + "/" + GetParam());
    EXPECT_TRUE(report.violations().empty()) << report.text();
    // More than the rig line: the seed made calls.
    EXPECT_GT(report.calls().size(), 1u) << report.text();
}

std::string testName(const ::testing::TestParamInfo<std::string>& info) {
    std::string name = info.param;
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return !std::isalnum(c); }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Seeds, FuzzCorpus, ::testing::ValuesIn(seeds()), testName);

}  // namespace
