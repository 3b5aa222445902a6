#include "ApiTestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <system_error>

namespace zeta::api::test {

using namespace zetaVoroSync;

std::string cameraJson(const std::string& serial, int format, const std::string& extra) {
    std::string text = R"({"serial": ")" + serial + R"(", "type": "ZV", "width": )" +
                       std::to_string(kWidth) + R"(, "height": )" + std::to_string(kHeight) +
                       R"(, "format": )" + std::to_string(format);
    if (!extra.empty()) text += ", " + extra;
    return text + "}";
}

std::string smallRig() {
    return zeta::sim::test::rigWithCameras(
        {cameraJson("ZV0001"), cameraJson("ZV0002"), cameraJson("ZV0003", 17)});
}

std::string monoRig(int cameras, const std::string& extra) {
    std::vector<std::string> list;
    for (int i = 1; i <= cameras; ++i)
        list.push_back(cameraJson("ZV000" + std::to_string(i), 1, extra));
    return zeta::sim::test::rigWithCameras(list);
}

Connection::Connection(const std::vector<std::string>& serials, const char* mode,
                       const char* projectorPath) {
    zeta::test::CameraNames names(serials);
    const std::vector<int> widths(serials.size(), kWidth);
    const std::vector<int> heights(serials.size(), kHeight);
    status_ = ConnectDevice(mode, projectorPath, names.get(), widths, heights, handle_);
}

Connection::Connection(const std::vector<std::string>& serials, const std::vector<int>& widths,
                       const std::vector<int>& heights) {
    zeta::test::CameraNames names(serials);
    status_ = ConnectDevice("STRIPE", kBoardPath, names.get(), widths, heights, handle_);
}

Connection::~Connection() {
    if (handle_ != nullptr) disconnect();
}

RETSTATUS Connection::disconnect() {
    return DisConnectDevice(handle_);
}

void resetDeviceType() {
    int notAHandle = 0;
    void* handle = &notAHandle;
    EXPECT_EQ(DisConnectDevice(handle), RET_OPERATE_SUCCESS);
}

void setDeviceTypeStripe() {
    zeta::test::CameraNames names({"ZV0001"});
    void* handle = nullptr;
    EXPECT_EQ(
        ConnectDevice("STRIPE", "sim:no-such-board", names.get(), {kWidth}, {kHeight}, handle),
        RET_PROJECTOR_UNCONNECTED);
}

void waitForFrames(const std::vector<std::string>& serials) {
    for (const auto& serial : serials) {
        EXPECT_TRUE(zeta::sim::test::waitUntil(
            [&] {
                zeta::sim::CameraStats stats;
                return zeta::sim::cameraStats(serial, stats) && stats.framesDelivered > 0;
            },
            std::chrono::milliseconds(5000)))
            << serial;
    }
}

std::uint64_t journalMark() {
    const auto records = zeta::sim::journal();
    return records.empty() ? 0 : records.back().n;
}

std::vector<zeta::sim::JournalRecord> recordsSince(std::uint64_t mark, const std::string& op,
                                                   const std::string& dev) {
    std::vector<zeta::sim::JournalRecord> found;
    for (auto& record : zeta::sim::journal()) {
        if (record.n <= mark) continue;
        if (!op.empty() && record.op != op) continue;
        if (!dev.empty() && record.dev != dev) continue;
        found.push_back(record);
    }
    return found;
}

std::vector<zeta::sim::JournalRecord> trafficSince(std::uint64_t mark, const std::string& dev) {
    std::vector<zeta::sim::JournalRecord> traffic;
    for (auto& record : recordsSince(mark, "", dev)) {
        const bool grabThreadRead = record.dev != "board" && record.dev != "image" &&
                                    (record.op == "GetResolution" || record.op == "GetColorMode");
        if (!grabThreadRead) traffic.push_back(record);
    }
    return traffic;
}

std::vector<std::string> opsSince(std::uint64_t mark, const std::string& dev) {
    std::vector<std::string> ops;
    for (auto& record : trafficSince(mark, dev)) ops.push_back(record.op);
    return ops;
}

ScratchDirectory::ScratchDirectory() : previous_(std::filesystem::current_path()) {
    std::filesystem::current_path(scratch_.path());
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code error;
    std::filesystem::current_path(previous_, error);
}

}  // namespace zeta::api::test
