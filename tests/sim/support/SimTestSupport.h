// Helpers shared by the virtual scanner's tests.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "zetaVoroSim/SimControl.h"

namespace zeta::sim::test {

// Loads a rig from text and fails the test (ADD_FAILURE) when it does not load.
void useRig(const std::string& json);

// A rig of one board and the given cameras (each a JSON object text), e.g.
// rigWithCameras({R"({"serial":"A1"})", R"({"serial":"C1","format":17})"}).
std::string rigWithCameras(const std::vector<std::string>& cameras,
                           const std::string& boardExtra = "");

// Journal records of one operation (and device, when `dev` is not empty), in order.
std::vector<JournalRecord> recordsOf(const std::string& op, const std::string& dev = "");

// The last journal record of `op`; fails the test when there is none.
JournalRecord lastRecordOf(const std::string& op);

// Polls `condition` every millisecond until it holds or `limit` passes; returns its last value.
bool waitUntil(const std::function<bool()>& condition,
               std::chrono::milliseconds limit = std::chrono::milliseconds(3000));

}  // namespace zeta::sim::test
