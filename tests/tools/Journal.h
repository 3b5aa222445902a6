// Reads the journal the virtual scanner writes (one JSON object per device call and line).
#pragma once

#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace zeta::tools::test {

// Every record of the journal file, in order; none when the file does not exist. A line that is
// not JSON makes the calling test fail.
std::vector<nlohmann::json> readJournal(const std::filesystem::path& file);

// The records of one operation (and, when `dev` is not empty, of one device).
std::vector<nlohmann::json> recordsOf(const std::vector<nlohmann::json>& journal,
                                      const std::string& op, const std::string& dev = "");

// The records of one device.
std::vector<nlohmann::json> recordsOfDevice(const std::vector<nlohmann::json>& journal,
                                            const std::string& dev);

// The position of the first record of `op` (on `dev` when given) at or after `from`; -1 if none.
int indexOf(const std::vector<nlohmann::json>& journal, const std::string& op,
            const std::string& dev = "", int from = 0);

}  // namespace zeta::tools::test
