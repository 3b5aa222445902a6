#include "platform/CriticalSectionGuard.h"

namespace zeta::platform {

CriticalSectionGuard::CriticalSectionGuard(CriticalSection& section) : section_(section) {
    section_.enter();
}

CriticalSectionGuard::~CriticalSectionGuard() {
    section_.leave();
}

}  // namespace zeta::platform
