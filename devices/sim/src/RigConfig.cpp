#include "RigConfig.h"

#include <nlohmann/json.hpp>

#include <set>
#include <stdexcept>

namespace zeta::sim {

namespace {

using nlohmann::json;

// Thrown while parsing; carries the key path and the problem.
struct RigError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

[[noreturn]] void fail(const std::string& key, const std::string& problem) {
    throw RigError(key + ": " + problem);
}

void checkKeys(const json& object, const std::string& key, const std::set<std::string>& known) {
    if (!object.is_object()) fail(key, "must be an object");
    for (const auto& item : object.items()) {
        if (!known.count(item.key())) fail(key + "." + item.key(), "unknown key");
    }
}

int readInt(const json& object, const std::string& name, const std::string& key, int low, int high,
            int fallback) {
    if (!object.contains(name)) return fallback;
    const json& value = object.at(name);
    const std::string where = key + "." + name;
    if (!value.is_number_integer()) {
        fail(where,
             "must be a whole number from " + std::to_string(low) + " to " + std::to_string(high));
    }
    const auto number = value.get<long long>();
    if (number < low || number > high) {
        fail(where,
             "must be a whole number from " + std::to_string(low) + " to " + std::to_string(high));
    }
    return static_cast<int>(number);
}

bool readBool(const json& object, const std::string& name, const std::string& key, bool fallback) {
    if (!object.contains(name)) return fallback;
    if (!object.at(name).is_boolean()) fail(key + "." + name, "must be true or false");
    return object.at(name).get<bool>();
}

std::string readString(const json& object, const std::string& name, const std::string& key,
                       const std::string& fallback, bool required = false) {
    if (!object.contains(name)) {
        if (required) fail(key + "." + name, "is required");
        return fallback;
    }
    if (!object.at(name).is_string()) fail(key + "." + name, "must be a string");
    return object.at(name).get<std::string>();
}

FaultRules readFaults(const json& object, const std::string& key) {
    FaultRules rules;
    if (!object.contains("fail")) return rules;
    const json& fails = object.at("fail");
    const std::string where = key + ".fail";
    if (!fails.is_object()) fail(where, "must be an object of operation names");
    for (const auto& item : fails.items()) {
        const std::string opKey = where + "." + item.key();
        FaultRule rule;
        if (item.value().is_number_integer()) {
            rule.times = static_cast<int>(item.value().get<long long>());
            if (rule.times < -1) fail(opKey, "must be -1 or a count of calls");
        } else if (item.value().is_object()) {
            checkKeys(item.value(), opKey, {"skip", "times"});
            rule.skip = readInt(item.value(), "skip", opKey, 0, 1000000000, 0);
            rule.times = readInt(item.value(), "times", opKey, -1, 1000000000, 0);
        } else {
            fail(opKey, "must be a count of calls or {\"skip\": k, \"times\": n}");
        }
        rules[item.key()] = rule;
    }
    return rules;
}

std::optional<FrameFaultRule> readFrameFault(const json& object, const std::string& name,
                                             const std::string& key, bool withValue) {
    if (!object.contains(name)) return std::nullopt;
    const std::string where = key + "." + name;
    const json& value = object.at(name);
    if (withValue) {
        checkKeys(value, where, {"skip", "times", "value"});
    } else {
        checkKeys(value, where, {"skip", "times"});
    }
    FrameFaultRule rule;
    rule.skip = readInt(value, "skip", where, 0, 1000000000, 0);
    rule.times = readInt(value, "times", where, -1, 1000000000, 0);
    rule.value = withValue ? readInt(value, "value", where, 0, 255, 0) : 0;
    return rule;
}

BoardConfig readBoard(const json& board) {
    const std::string key = "board";
    checkKeys(
        board, key,
        {"paths", "firmware", "status", "present", "fail", "stripePeriodMs", "sequenceLength"});
    BoardConfig config;
    if (board.contains("paths")) {
        const json& paths = board.at("paths");
        if (!paths.is_array() || paths.empty()) fail(key + ".paths", "must be a list of strings");
        config.paths.clear();
        for (std::size_t i = 0; i < paths.size(); ++i) {
            if (!paths[i].is_string() || paths[i].get<std::string>().empty()) {
                fail(key + ".paths[" + std::to_string(i) + "]", "must be a non-empty string");
            }
            config.paths.push_back(paths[i].get<std::string>());
        }
    }
    config.firmware = readString(board, "firmware", key, config.firmware);
    if (board.contains("status")) {
        const json& status = board.at("status");
        const std::string where = key + ".status";
        checkKeys(status, where, {"first", "second", "state", "flag"});
        config.statusFirst = static_cast<std::uint8_t>(readInt(status, "first", where, 0, 255, 0));
        config.statusSecond =
            static_cast<std::uint8_t>(readInt(status, "second", where, 0, 255, 0));
        config.statusState = static_cast<std::uint8_t>(readInt(status, "state", where, 0, 255, 0));
        config.statusFlag = readBool(status, "flag", where, true);
    }
    config.present = readBool(board, "present", key, true);
    config.stripePeriodMs = readInt(board, "stripePeriodMs", key, 1, 65535, config.stripePeriodMs);
    config.sequenceLength = readInt(board, "sequenceLength", key, 1, 250, config.sequenceLength);
    config.fail = readFaults(board, key);
    return config;
}

CameraConfig readCamera(const json& camera, std::size_t index) {
    const std::string key = "cameras[" + std::to_string(index) + "]";
    checkKeys(camera, key,
              {"serial", "type", "width", "height", "format", "sensors", "route", "fps", "usb3",
               "gainMin", "gainMax", "present", "deviceType", "snapTimeoutMs", "buffers", "fail",
               "frames"});
    CameraConfig config;
    config.serial = readString(camera, "serial", key, "", true);
    if (config.serial.empty()) fail(key + ".serial", "must not be empty");
    config.type = readString(camera, "type", key, config.type);
    if (config.type.empty()) fail(key + ".type", "must not be empty");
    config.width = readInt(camera, "width", key, 1, 4096, config.width);
    config.height = readInt(camera, "height", key, 1, 4096, config.height);
    config.format = readInt(camera, "format", key, 1, 18, config.format);
    if (config.format != 1 && config.format != 2 && config.format != 16 && config.format != 17 &&
        config.format != 18) {
        fail(key + ".format", "must be one of 1, 2, 16, 17, 18");
    }
    config.sensors = readInt(camera, "sensors", key, 1, 4, 1);
    config.route = readInt(camera, "route", key, 0, 1, config.format <= 2 ? 0 : 1);
    if (camera.contains("fps")) {
        if (!camera.at("fps").is_number() || camera.at("fps").get<double>() <= 0.0 ||
            camera.at("fps").get<double>() > 100000.0) {
            fail(key + ".fps", "must be a number above 0 and at most 100000");
        }
        config.fps = camera.at("fps").get<double>();
    }
    config.usb3 = readBool(camera, "usb3", key, true);
    config.gainMin = readInt(camera, "gainMin", key, -1000, 1000, config.gainMin);
    config.gainMax = readInt(camera, "gainMax", key, -1000, 1000, config.gainMax);
    if (config.gainMax < config.gainMin) fail(key + ".gainMax", "must not be below gainMin");
    config.present = readBool(camera, "present", key, true);
    config.deviceType = readInt(camera, "deviceType", key, 0, 1000, config.deviceType);
    config.snapTimeoutMs = readInt(camera, "snapTimeoutMs", key, 1, 600000, config.snapTimeoutMs);
    config.buffers = readInt(camera, "buffers", key, 1, 64, config.buffers);
    config.fail = readFaults(camera, key);
    if (camera.contains("frames")) {
        const json& frames = camera.at("frames");
        const std::string where = key + ".frames";
        checkKeys(frames, where, {"drop", "duplicate", "renumber"});
        config.drop = readFrameFault(frames, "drop", where, false);
        config.duplicate = readFrameFault(frames, "duplicate", where, false);
        config.renumber = readFrameFault(frames, "renumber", where, true);
    }
    return config;
}

}  // namespace

int bytesPerPixel(int format) {
    switch (format) {
        case 2:
            return 2;
        case 17:
            return 3;
        case 18:
            return 6;
        default:
            return 1;
    }
}

std::optional<RigConfig> parseRig(const std::string& text, std::string& error) {
    json root;
    try {
        root = json::parse(text);
    } catch (const json::parse_error& e) {
        error = std::string("(rig): not valid JSON: ") + e.what();
        return std::nullopt;
    }
    try {
        checkKeys(root, "(rig)", {"board", "cameras", "camera", "image"});
        RigConfig rig;
        if (root.contains("board")) rig.board = readBoard(root.at("board"));
        if (root.contains("cameras")) {
            const json& cameras = root.at("cameras");
            if (!cameras.is_array()) fail("cameras", "must be a list");
            std::set<std::string> serials;
            for (std::size_t i = 0; i < cameras.size(); ++i) {
                rig.cameras.push_back(readCamera(cameras[i], i));
                if (!serials.insert(rig.cameras.back().serial).second) {
                    fail("cameras[" + std::to_string(i) + "].serial", "is listed twice");
                }
                if (rig.cameras.back().serial == "board" || rig.cameras.back().serial == "camera" ||
                    rig.cameras.back().serial == "image") {
                    fail("cameras[" + std::to_string(i) + "].serial",
                         "must not be one of the device names board, camera, image");
                }
            }
        }
        if (root.contains("camera")) {
            checkKeys(root.at("camera"), "camera", {"fail"});
            rig.cameraLibraryFail = readFaults(root.at("camera"), "camera");
        }
        if (root.contains("image")) {
            checkKeys(root.at("image"), "image", {"fail"});
            rig.imageFail = readFaults(root.at("image"), "image");
        }
        return rig;
    } catch (const RigError& e) {
        error = e.what();
        return std::nullopt;
    } catch (const json::exception& e) {
        error = std::string("(rig): ") + e.what();
        return std::nullopt;
    }
}

const std::string& defaultRigJson() {
    static const std::string text = R"({
  "board": {
    "paths": ["sim:board0"],
    "firmware": "EP-E7 V12",
    "status": { "first": 0, "second": 0, "state": 0, "flag": true }
  },
  "cameras": [
    { "serial": "ZV0001", "type": "ZV", "width": 1280, "height": 1024, "format": 1 },
    { "serial": "ZV0002", "type": "ZV", "width": 1280, "height": 1024, "format": 1 },
    { "serial": "ZV0003", "type": "ZV", "width": 1280, "height": 1024, "format": 17 }
  ]
}
)";
    return text;
}

}  // namespace zeta::sim
