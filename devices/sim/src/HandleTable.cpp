#include "HandleTable.h"

#include <atomic>

namespace zeta::sim {

std::uintptr_t nextHandleId() {
    static std::atomic<std::uintptr_t> next{0x5A000010};
    return next.fetch_add(0x10);
}

}  // namespace zeta::sim
