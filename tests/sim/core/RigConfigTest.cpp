#include <gtest/gtest.h>

#include "RigConfig.h"

namespace zeta::sim {
namespace {

std::optional<RigConfig> parse(const std::string& text, std::string& error) {
    return parseRig(text, error);
}

std::string errorOf(const std::string& text) {
    std::string error;
    auto rig = parse(text, error);
    EXPECT_FALSE(rig.has_value()) << text;
    return error;
}

TEST(RigConfig, DefaultRigHasOneBoardAndThreeCameras) {
    std::string error;
    auto rig = parse(defaultRigJson(), error);
    ASSERT_TRUE(rig) << error;
    ASSERT_EQ(rig->cameras.size(), 3u);
    EXPECT_EQ(rig->board.paths, std::vector<std::string>{"sim:board0"});
    EXPECT_EQ(rig->cameras[0].format, 1);
    EXPECT_EQ(rig->cameras[1].format, 1);
    EXPECT_EQ(rig->cameras[2].format, 17);
    for (const auto& camera : rig->cameras) {
        EXPECT_EQ(camera.width, 1280);
        EXPECT_EQ(camera.height, 1024);
        EXPECT_EQ(camera.type, "ZV");
    }
}

TEST(RigConfig, ReadsEveryKey) {
    std::string error;
    auto rig = parse(R"({
      "board": {"paths": ["a", "b"], "firmware": "X V3",
                "status": {"first": 1, "second": 2, "state": 3, "flag": false},
                "present": false, "stripePeriodMs": 7, "sequenceLength": 9,
                "fail": {"zetaScan": 1, "zetaProject": {"skip": 2, "times": -1}}},
      "cameras": [{"serial": "S1", "type": "QQ", "width": 640, "height": 480, "format": 2,
                   "sensors": 2, "route": 1, "fps": 12.5, "usb3": false, "gainMin": 1,
                   "gainMax": 9, "present": false, "deviceType": 4, "snapTimeoutMs": 50,
                   "buffers": 3, "fail": {"GetSerialNo": -1},
                   "frames": {"drop": {"skip": 1, "times": 2},
                              "duplicate": {"times": 1},
                              "renumber": {"skip": 3, "times": 1, "value": 9}}}],
      "camera": {"fail": {"CreateCamera": {"skip": 2, "times": 1}}},
      "image": {"fail": {"zetaWriteImage": 1}}
    })",
                     error);
    ASSERT_TRUE(rig) << error;
    EXPECT_EQ(rig->board.paths, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(rig->board.firmware, "X V3");
    EXPECT_EQ(rig->board.statusFirst, 1);
    EXPECT_EQ(rig->board.statusSecond, 2);
    EXPECT_EQ(rig->board.statusState, 3);
    EXPECT_FALSE(rig->board.statusFlag);
    EXPECT_FALSE(rig->board.present);
    EXPECT_EQ(rig->board.stripePeriodMs, 7);
    EXPECT_EQ(rig->board.sequenceLength, 9);
    EXPECT_EQ(rig->board.fail.at("zetaScan").times, 1);
    EXPECT_EQ(rig->board.fail.at("zetaProject").skip, 2);
    EXPECT_EQ(rig->board.fail.at("zetaProject").times, -1);
    const CameraConfig& camera = rig->cameras.at(0);
    EXPECT_EQ(camera.serial, "S1");
    EXPECT_EQ(camera.type, "QQ");
    EXPECT_EQ(camera.width, 640);
    EXPECT_EQ(camera.height, 480);
    EXPECT_EQ(camera.format, 2);
    EXPECT_EQ(camera.sensors, 2);
    EXPECT_EQ(camera.route, 1);
    EXPECT_DOUBLE_EQ(camera.fps, 12.5);
    EXPECT_FALSE(camera.usb3);
    EXPECT_EQ(camera.gainMin, 1);
    EXPECT_EQ(camera.gainMax, 9);
    EXPECT_FALSE(camera.present);
    EXPECT_EQ(camera.deviceType, 4);
    EXPECT_EQ(camera.snapTimeoutMs, 50);
    EXPECT_EQ(camera.buffers, 3);
    EXPECT_EQ(camera.fail.at("GetSerialNo").times, -1);
    ASSERT_TRUE(camera.drop);
    EXPECT_EQ(camera.drop->skip, 1);
    EXPECT_EQ(camera.drop->times, 2);
    ASSERT_TRUE(camera.duplicate);
    EXPECT_EQ(camera.duplicate->times, 1);
    ASSERT_TRUE(camera.renumber);
    EXPECT_EQ(camera.renumber->value, 9);
    EXPECT_EQ(rig->cameraLibraryFail.at("CreateCamera").skip, 2);
    EXPECT_EQ(rig->imageFail.at("zetaWriteImage").times, 1);
}

TEST(RigConfig, RouteDefaultsFollowTheFormat) {
    std::string error;
    auto rig = parse(R"({"cameras": [{"serial": "A", "format": 1}, {"serial": "B", "format": 2},
                                     {"serial": "C", "format": 16}, {"serial": "D", "format": 17},
                                     {"serial": "E", "format": 18}]})",
                     error);
    ASSERT_TRUE(rig) << error;
    EXPECT_EQ(rig->cameras[0].route, 0);
    EXPECT_EQ(rig->cameras[1].route, 0);
    EXPECT_EQ(rig->cameras[2].route, 1);
    EXPECT_EQ(rig->cameras[3].route, 1);
    EXPECT_EQ(rig->cameras[4].route, 1);
}

TEST(RigConfig, ErrorsNameTheKeyAndTheProblem) {
    EXPECT_NE(errorOf("{").find("not valid JSON"), std::string::npos);
    EXPECT_EQ(errorOf(R"({"cameras": [{"serial": "A", "width": "wide"}]})"),
              "cameras[0].width: must be a whole number from 1 to 4096");
    EXPECT_EQ(errorOf(R"({"cameras": [{"width": 3}]})"), "cameras[0].serial: is required");
    EXPECT_EQ(errorOf(R"({"cameras": [{"serial": "A", "format": 3}]})"),
              "cameras[0].format: must be one of 1, 2, 16, 17, 18");
    EXPECT_EQ(errorOf(R"({"cameras": [{"serial": "A"}, {"serial": "A"}]})"),
              "cameras[1].serial: is listed twice");
    EXPECT_EQ(errorOf(R"({"board": {"pathz": []}})"), "board.pathz: unknown key");
    EXPECT_EQ(errorOf(R"({"board": {"paths": []}})"), "board.paths: must be a list of strings");
    EXPECT_EQ(errorOf(R"({"board": {"status": {"state": 256}}})"),
              "board.status.state: must be a whole number from 0 to 255");
    EXPECT_EQ(errorOf(R"({"board": {"fail": {"zetaScan": "often"}}})"),
              "board.fail.zetaScan: must be a count of calls or {\"skip\": k, \"times\": n}");
    EXPECT_EQ(errorOf(R"({"cameras": [{"serial": "A", "gainMin": 5, "gainMax": 1}]})"),
              "cameras[0].gainMax: must not be below gainMin");
    EXPECT_EQ(errorOf(R"({"cameras": {"serial": "A"}})"), "cameras: must be a list");
    EXPECT_EQ(errorOf(R"([1, 2])"), "(rig): must be an object");
    EXPECT_EQ(errorOf(R"({"cameras": [{"serial": "board"}]})"),
              "cameras[0].serial: must not be one of the device names board, camera, image");
}

TEST(RigConfig, BytesPerPixelOfEveryFormat) {
    EXPECT_EQ(bytesPerPixel(1), 1);
    EXPECT_EQ(bytesPerPixel(2), 2);
    EXPECT_EQ(bytesPerPixel(16), 1);
    EXPECT_EQ(bytesPerPixel(17), 3);
    EXPECT_EQ(bytesPerPixel(18), 6);
    EXPECT_EQ(bytesPerPixel(99), 1);
}

}  // namespace
}  // namespace zeta::sim
