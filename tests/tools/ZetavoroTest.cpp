#include "ZetavoroTest.h"

#include <algorithm>
#include <regex>

namespace zeta::tools::test {

ZetavoroTest::ZetavoroTest()
    : rigFile_(scratch_ / "rig.json"),
      logDir_(scratch_ / "log"),
      journalFile_(scratch_ / "journal.jsonl") {
    writeRig(rigFile_, smallRig());
}

void ZetavoroTest::useRig(const nlohmann::json& rig) {
    writeRig(rigFile_, rig);
}

ProgramRun ZetavoroTest::zetavoro(const std::vector<std::string>& args) {
    std::vector<std::string> full;
    if (!args.empty()) full.push_back(args.front());
    if (passRig_) full.insert(full.end(), {"--rig", rigFile_.string()});
    full.insert(full.end(), {"--log-dir", logDir_.string()});
    if (passJournal_) full.insert(full.end(), {"--journal", journalFile_.string()});
    if (args.size() > 1) full.insert(full.end(), args.begin() + 1, args.end());
    return zetavoroAsIs(full);
}

ProgramRun ZetavoroTest::zetavoroAsIs(const std::vector<std::string>& args) {
    ProgramRun run(ZETAVORO_PROGRAM, scratch_.path());
    // The virtual scanner is configured by the command line alone, never by the environment the
    // tests happen to run in.
    run.unsetEnv("ZETA_SIM_RIG");
    run.unsetEnv("ZETA_SIM_JOURNAL");
    run.unsetEnv("ZETA_SIM_JOURNAL_FRAMES");
    EXPECT_TRUE(run.run(args)) << "cannot start " << ZETAVORO_PROGRAM;
    EXPECT_FALSE(run.timedOut()) << run.describe();
    EXPECT_EQ(run.termSignal(), 0) << run.describe();
    return run;
}

std::vector<nlohmann::json> ZetavoroTest::boardCalls() const {
    return recordsOfDevice(journal(), "board");
}

std::string ZetavoroTest::detailsLine() const {
    return "  details: " + (logDir_ / "zetavoro.INFO").string();
}

std::vector<std::string> ZetavoroTest::filesIn(const std::filesystem::path& folder) const {
    std::vector<std::string> names;
    const std::filesystem::path dir = folder.is_absolute() ? folder : scratch_ / folder;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(dir, error)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> errorsBesidesProgress(const ProgramRun& run) {
    std::vector<std::string> errors;
    const std::regex progress(".*: [0-9]+ %");
    for (const std::string& line : run.errLines()) {
        if (!std::regex_match(line, progress)) errors.push_back(line);
    }
    return errors;
}

std::string shownPath(const std::string& relative) {
    return std::filesystem::path(relative).make_preferred().string();
}

std::string shownPathPattern(const std::string& relative) {
    std::string pattern;
    for (const char c : shownPath(relative)) {
        if (std::string("\\^$.|?*+()[]{}").find(c) != std::string::npos) pattern.push_back('\\');
        pattern.push_back(c);
    }
    return pattern;
}

std::string statusText(int status) {
    switch (status) {
        case 0:
            return "Operate failed";
        case 1:
            return "Connect projector failed or projector is not connected";
        case 2:
            return "Connect camera(s) failed or camera(s) is(are) not connected";
        case 3:
            return "Parameter which you input, for example, NULL pointer, error size of array or "
                   "error value";
        case 4:
            return "The synchronism type which you input is not supported";
        case 5:
            return "The operation is not be supported by the current device or operation not be "
                   "support in current function";
        case 6:
            return "You have not connected the device, so please connect device first";
        default:
            return "";
    }
}

std::vector<std::string> matching(const std::vector<std::string>& lines,
                                  const std::string& pattern) {
    const std::regex re(pattern);
    std::vector<std::string> found;
    for (const std::string& line : lines) {
        if (std::regex_match(line, re)) found.push_back(line);
    }
    return found;
}

bool matches(const std::string& line, const std::string& pattern,
             std::vector<std::string>* groups) {
    const std::regex re(pattern);
    std::smatch match;
    if (!std::regex_match(line, match, re)) return false;
    if (groups != nullptr) {
        groups->clear();
        for (const auto& group : match) groups->push_back(group.str());
    }
    return true;
}

}  // namespace zeta::tools::test
