#include "Journal.h"

#include <gtest/gtest.h>

#include <fstream>

namespace zeta::tools::test {

std::vector<nlohmann::json> readJournal(const std::filesystem::path& file) {
    std::vector<nlohmann::json> records;
    std::ifstream in(file);
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty()) continue;
        nlohmann::json record = nlohmann::json::parse(line, nullptr, false);
        EXPECT_FALSE(record.is_discarded()) << "not a JSON line in " << file << ": " << line;
        if (!record.is_discarded()) records.push_back(std::move(record));
    }
    return records;
}

std::vector<nlohmann::json> recordsOf(const std::vector<nlohmann::json>& journal,
                                      const std::string& op, const std::string& dev) {
    std::vector<nlohmann::json> found;
    for (const nlohmann::json& record : journal) {
        if (record.value("op", "") != op) continue;
        if (!dev.empty() && record.value("dev", "") != dev) continue;
        found.push_back(record);
    }
    return found;
}

std::vector<nlohmann::json> recordsOfDevice(const std::vector<nlohmann::json>& journal,
                                            const std::string& dev) {
    std::vector<nlohmann::json> found;
    for (const nlohmann::json& record : journal) {
        if (record.value("dev", "") == dev) found.push_back(record);
    }
    return found;
}

int indexOf(const std::vector<nlohmann::json>& journal, const std::string& op,
            const std::string& dev, int from) {
    for (int i = std::max(from, 0); i < static_cast<int>(journal.size()); ++i) {
        const nlohmann::json& record = journal[static_cast<std::size_t>(i)];
        if (record.value("op", "") != op) continue;
        if (!dev.empty() && record.value("dev", "") != dev) continue;
        return i;
    }
    return -1;
}

}  // namespace zeta::tools::test
