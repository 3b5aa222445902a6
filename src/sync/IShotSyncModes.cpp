// IShotSync: the scan modes a connection can be made in, and the synchroniser class of each.
// This is the one place that knows every scan mode's class; the exported layer names modes by
// their strings only.
//
// Thread safety: the tables are constant; every function may run on any thread.
#include <cstring>

#include "sync/IShotSync.h"
#include "sync/StripeSync.h"

namespace {

// Out of memory throws: the exported layer turns that into RET_OPERATE_FAILED before any object
// is used.
template <class Mode>
IShotSync* Create() {
    return new Mode();
}

// The mode strings of ConnectDevice, in the order it compares them. A row without a factory is a
// scan mode whose class is not part of this build: it is treated as an unknown mode string.
constexpr IShotSync::ConnectMode kConnectModes[] = {
    {"LASER", 2, nullptr, nullptr},                   // CLaserSync
    {"CALIBRATE_E7", 8, nullptr, nullptr},            // CCalibrationE7
    {"SPECKLE", 3, "Init SPECKLE\n", nullptr},        // CSpeckleSync
    {"SPECKLE_E7", 9, "Init SPECKLE_E7\n", nullptr},  // CSpeckleE7Sync
    {"STRIPE", 1, nullptr, &Create<CStripeSync>},
    {"E7STRIPE", 7, nullptr, nullptr},        // CStripeSyncE7
    {"STRIPESEQUENCE", 6, nullptr, nullptr},  // CStripeSyncSeqence
    {"SPECKLELASER", 4, nullptr, nullptr},    // CSpeckleLaserSync
    {"DPLASER", 5, nullptr, nullptr},         // CDPLaserSync
};

// The modes GetFirewareVersion opens a temporary connection with (no E7 mode), in its order.
struct FirmwareQueryMode {
    const char* mode;
    IShotSync* (*create)();
};

constexpr FirmwareQueryMode kFirmwareQueryModes[] = {
    {"LASER", nullptr},    // CLaserSync
    {"SPECKLE", nullptr},  // CSpeckleSync
    {"STRIPE", &Create<CStripeSync>},
    {"SPECKLELASER", nullptr},  // CSpeckleLaserSync
    {"DPLASER", nullptr},       // CDPLaserSync
};

template <typename Row, std::size_t N>
const Row* FindRow(const Row (&table)[N], const char* mode) {
    if (mode == nullptr) return nullptr;
    for (const Row& row : table) {
        if (std::strcmp(row.mode, mode) == 0) return row.create != nullptr ? &row : nullptr;
    }
    return nullptr;
}

}  // namespace

const IShotSync::ConnectMode* IShotSync::FindConnectMode(const char* mode) {
    return FindRow(kConnectModes, mode);
}

IShotSync* IShotSync::CreateForFirmwareQuery(const char* mode) {
    const FirmwareQueryMode* row = FindRow(kFirmwareQueryModes, mode);
    return row != nullptr ? row->create() : nullptr;
}

IShotSync* IShotSync::CreateForCameraQuery() {
    return Create<CStripeSync>();
}
