// A rig that cannot be read or is malformed: one clear message, every device call fails, no crash.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "SimTestSupport.h"
#include "platform/ProcessEnvironment.h"
#include "zetaCamera.h"
#include "zetaVoroDLPdev.h"

namespace zeta::sim {
namespace {

std::string writeFile(const std::string& name, const std::string& text) {
    const std::string path = ::testing::TempDir() + name;
    std::ofstream(path) << text;
    return path;
}

void expectEveryDeviceCallFails() {
    void* board = nullptr;
    const char* path = "sim:board0";
    EXPECT_FALSE(zetaVoroDLPdev::zetaInitHidDev(board, path));
    EXPECT_EQ(board, nullptr);
    void* camera = nullptr;
    EXPECT_NE(zetaCamera::CreateCamera(camera, "ZV"), 0);
    EXPECT_EQ(camera, nullptr);
    EXPECT_NE(zetaCamera::CreateCamera(camera, "ZV0001"), 0);
    int total = -7;
    EXPECT_NE(zetaCamera::GetDeviceTotal(camera, total), 0);
    EXPECT_EQ(total, -7);
}

TEST(BrokenRig, MalformedFileSaysWhyOnceNamingFileKeyAndProblem) {
    const std::string path =
        writeFile("broken_rig.json", R"({"cameras": [{"serial": "A", "width": -5}]})");
    ::testing::internal::CaptureStderr();
    std::string error;
    EXPECT_FALSE(loadRigFile(path, &error));
    expectEveryDeviceCallFails();
    expectEveryDeviceCallFails();
    const std::string said = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(error, "cameras[0].width: must be a whole number from 1 to 4096");
    EXPECT_EQ(said, "zetaVoroSim: the rig file " + path +
                        " is malformed: cameras[0].width: must be a whole number from 1 to 4096;"
                        " every device call will fail\n");
    // The failures are journaled.
    auto records = test::recordsOf("zetaInitHidDev");
    ASSERT_FALSE(records.empty());
    EXPECT_FALSE(records.back().ok);
}

TEST(BrokenRig, UnreadableFileSaysSoOnce) {
    const std::string path = ::testing::TempDir() + "no_such_rig.json";
    std::remove(path.c_str());
    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(loadRigFile(path));
    expectEveryDeviceCallFails();
    const std::string said = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(said, "zetaVoroSim: the rig file " + path +
                        " cannot be read; every device call will fail\n");
}

TEST(BrokenRig, EnvironmentNamesTheRigFile) {
    const std::string path = writeFile("env_rig.json", R"({"cameras": [{"serial": "E1"}]})");
    platform::setEnvironmentVariable("ZETA_SIM_RIG", path);
    ASSERT_TRUE(reloadRig());
    void* camera = nullptr;
    EXPECT_EQ(zetaCamera::CreateCamera(camera, "E1"), 0);
    zetaCamera::ReleaseCamera(camera);
    const std::string bad = writeFile("env_bad_rig.json", "{ not json");
    platform::setEnvironmentVariable("ZETA_SIM_RIG", bad);
    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(reloadRig());
    const std::string said = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find(bad), std::string::npos);
    EXPECT_NE(said.find("not valid JSON"), std::string::npos);
    expectEveryDeviceCallFails();
    platform::unsetEnvironmentVariable("ZETA_SIM_RIG");
    ASSERT_TRUE(reloadRig());  // back to the built-in rig
    EXPECT_EQ(zetaCamera::CreateCamera(camera, "ZV0001"), 0);
    zetaCamera::ReleaseCamera(camera);
}

TEST(BrokenRig, AGoodRigAfterABrokenOneWorksAgain) {
    EXPECT_FALSE(loadRigText("[]"));
    expectEveryDeviceCallFails();
    test::useRig(defaultRigText());
    void* board = nullptr;
    const char* path = "sim:board0";
    EXPECT_TRUE(zetaVoroDLPdev::zetaInitHidDev(board, path));
    EXPECT_TRUE(zetaVoroDLPdev::zetaExitHidDev(board));
}

}  // namespace
}  // namespace zeta::sim
