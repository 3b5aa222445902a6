// Rig files of the virtual scanner for the tests of zetavoro: small cameras, so that every run is
// quick under the sanitizers too.
#pragma once

#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>

namespace zeta::tools::test {

inline constexpr int kWidth = 64;
inline constexpr int kHeight = 48;

// One camera of type ZV, kWidth x kHeight, of the given colour format (1 mono, 17 RGB888).
nlohmann::json rigCamera(const std::string& serial, int format = 1);

// The board on sim:board0 with the firmware "ZV-TEST 7", and three cameras: ZV0001 and ZV0002
// mono (format 1), ZV0003 colour (format 17).
nlohmann::json smallRig();

// Writes `rig` to `file`; throws when the file cannot be written.
void writeRig(const std::filesystem::path& file, const nlohmann::json& rig);

}  // namespace zeta::tools::test
