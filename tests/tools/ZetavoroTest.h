// The fixture of every zetavoro test: a scratch folder that is the program's working folder, a
// small rig file in it, and runs of the built program with the options every test passes.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <vector>

#include "Journal.h"
#include "PngImage.h"
#include "ProgramRun.h"
#include "ScratchDir.h"
#include "TestRig.h"

namespace zeta::tools::test {

class ZetavoroTest : public ::testing::Test {
protected:
    ZetavoroTest();

    // Replaces the rig file with `rig`.
    void useRig(const nlohmann::json& rig);

    // Runs `zetavoro SUBCOMMAND --rig RIG --log-dir LOG --journal JOURNAL ARGS...` in the scratch
    // folder; args[0] is the subcommand. Unless told otherwise, --rig, --log-dir and --journal
    // name the files of this test's scratch folder.
    ProgramRun zetavoro(const std::vector<std::string>& args);
    // Runs the program with exactly `args`.
    ProgramRun zetavoroAsIs(const std::vector<std::string>& args);

    std::vector<nlohmann::json> journal() const { return readJournal(journalFile_); }
    // The device calls on the board in the journal.
    std::vector<nlohmann::json> boardCalls() const;

    // The last line of every failure message.
    std::string detailsLine() const;
    // The names of the files in a folder of the scratch folder, sorted; none for a missing one.
    std::vector<std::string> filesIn(const std::filesystem::path& folder) const;

    zeta::test::ScratchDir scratch_;
    std::filesystem::path rigFile_;
    std::filesystem::path logDir_;
    std::filesystem::path journalFile_;
    bool passRig_ = true;
    bool passJournal_ = true;
};

// The lines of standard error that are not progress lines ("scan 1: 40 %"): work that takes
// longer than a second, as it may under the sanitizers, shows its progress there.
std::vector<std::string> errorsBesidesProgress(const ProgramRun& run);

// The text GetStatusDescriptionString gives for a status value (empty for an unknown one).
std::string statusText(int status);

// The lines of `lines` that match `pattern` entirely (ECMAScript syntax).
std::vector<std::string> matching(const std::vector<std::string>& lines,
                                  const std::string& pattern);

// A path of the scratch folder, written with '/', as the program prints it: with the platform's
// separator ('\\' on Windows), since the program prints paths as the system writes them.
std::string shownPath(const std::string& relative);
// shownPath(relative) as a regular expression that matches exactly that text.
std::string shownPathPattern(const std::string& relative);

// Whether `line` matches `pattern` entirely; fills `groups` with the sub-matches.
bool matches(const std::string& line, const std::string& pattern,
             std::vector<std::string>* groups = nullptr);

}  // namespace zeta::tools::test
