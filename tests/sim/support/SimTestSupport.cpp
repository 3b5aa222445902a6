#include "SimTestSupport.h"

#include <gtest/gtest.h>

#include <thread>

namespace zeta::sim::test {

void useRig(const std::string& json) {
    std::string error;
    if (!loadRigText(json, &error)) ADD_FAILURE() << "rig did not load: " << error;
    clearJournal();
}

std::string rigWithCameras(const std::vector<std::string>& cameras, const std::string& boardExtra) {
    std::string text = R"({"board": {"paths": ["sim:board0"])";
    if (!boardExtra.empty()) text += ", " + boardExtra;
    text += R"(}, "cameras": [)";
    for (std::size_t i = 0; i < cameras.size(); ++i) {
        if (i > 0) text += ", ";
        text += cameras[i];
    }
    text += "]}";
    return text;
}

std::vector<JournalRecord> recordsOf(const std::string& op, const std::string& dev) {
    std::vector<JournalRecord> found;
    for (auto& record : journal()) {
        if (record.op == op && (dev.empty() || record.dev == dev)) found.push_back(record);
    }
    return found;
}

JournalRecord lastRecordOf(const std::string& op) {
    auto records = recordsOf(op);
    if (records.empty()) {
        ADD_FAILURE() << "no journal record of " << op;
        return {};
    }
    return records.back();
}

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < end) {
        if (condition()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return condition();
}

}  // namespace zeta::sim::test
