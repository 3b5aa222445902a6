#include "FaultTable.h"

namespace zeta::sim {

void FaultTable::set(const std::string& dev, const std::string& op, FaultRule rule) {
    std::lock_guard lock(mutex_);
    rules_[{dev, op}] = rule;
}

void FaultTable::setAll(const std::string& dev, const FaultRules& rules) {
    std::lock_guard lock(mutex_);
    for (const auto& [op, rule] : rules) rules_[{dev, op}] = rule;
}

void FaultTable::clear() {
    std::lock_guard lock(mutex_);
    rules_.clear();
}

bool FaultTable::consume(const std::string& dev, const std::string& op) {
    std::lock_guard lock(mutex_);
    auto it = rules_.find({dev, op});
    if (it == rules_.end()) return false;
    return it->second.consume();
}

}  // namespace zeta::sim
