// Injected failures of device operations, counted per device and operation.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "RigConfig.h"

namespace zeta::sim {

// Thread-safe: any device call, on any thread, asks it whether it must fail.
class ZETA_SIM_API FaultTable {
public:
    // Adds (or replaces) the rule for `op` on `dev`.
    void set(const std::string& dev, const std::string& op, FaultRule rule);
    void setAll(const std::string& dev, const FaultRules& rules);
    void clear();
    // Counts one call of `op` on `dev`; true when this call must fail.
    bool consume(const std::string& dev, const std::string& op);

private:
    mutable std::mutex mutex_;  // guards rules_
    std::map<std::pair<std::string, std::string>, FaultRule> rules_;
};

}  // namespace zeta::sim
