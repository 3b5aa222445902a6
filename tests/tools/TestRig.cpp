#include "TestRig.h"

#include <fstream>
#include <stdexcept>

namespace zeta::tools::test {

nlohmann::json rigCamera(const std::string& serial, int format) {
    return {{"serial", serial},
            {"type", "ZV"},
            {"width", kWidth},
            {"height", kHeight},
            {"format", format}};
}

nlohmann::json smallRig() {
    nlohmann::json rig;
    rig["board"] = {{"paths", {"sim:board0"}}, {"firmware", "ZV-TEST 7"}};
    rig["cameras"] = {rigCamera("ZV0001"), rigCamera("ZV0002"), rigCamera("ZV0003", 17)};
    return rig;
}

void writeRig(const std::filesystem::path& file, const nlohmann::json& rig) {
    std::ofstream out(file);
    out << rig.dump(2) << "\n";
    out.close();
    if (!out) throw std::runtime_error("cannot write the rig file " + file.string());
}

}  // namespace zeta::tools::test
