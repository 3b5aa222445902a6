// ApiProgram: one fuzz input run as a short program of exported calls on a small rig.
//
// The input is read as: one byte choosing the rig (FuzzRig), one byte of set-up flags, then up to
// kMaxCalls operations, each an operation byte followed by the bytes of its arguments. Arguments
// come from the edges of their types (EdgeValues). The operation is the byte modulo
// kOperationSpace; a number without an operation yet does nothing. The numbers are part of the
// saved corpus and regression inputs: a new operation takes the next free number, so every saved
// input keeps its meaning.
//
// Handles live in four variables h0..h3 that operations connect into, copy, disconnect and pass
// to calls, plus a fifth, foreign pointer the library never handed out; so every call sees null,
// live, stale (disconnected) and copied handles.
//
// The program keeps what a host must keep, so that every finding is the library's:
// - It frees everything the library hands out (still images, serial strings, status texts) with
//   free, never what the library lends (scan images, callback frames), and disconnects every
//   handle it connected before it ends.
// - It keeps one live connection at a time. The library records the mode of the last connection
//   in one process-wide number and destroys a handle in DisConnectDevice only while that number is
//   set; a second live connection, or a DisConnectDevice of a stale handle while one is live,
//   resets it and leaves the live object for the process exit to destroy. A long fuzz run would
//   pile such objects (and their threads) up, so the program skips those calls and says so in
//   its trace. A second ConnectDevice is still made whenever its arguments are refused before
//   an object exists.
// - Two paths keep an object alive on purpose until the process ends (a ConnectDevice or a
//   handle-less GetFirewareVersion whose board cannot be opened). They are made at most
//   kAbandonBudget times per process; later ones are skipped.
// - Every call returns in bounded time: before a Scan the program sets a scan period of a few
//   milliseconds unless it knows one is set, and after CloseDeviceCamera it sets a period of 0,
//   which the board refuses at once, instead of letting the scan wait 20 s for cameras that
//   cannot deliver; before a colour snap, which sleeps one trigger period and pulse width twice,
//   it sets short ones again. At most kMaxScans scans, kMaxSnaps snaps and one firmware transfer
//   (5 s of preparation on the board) run per input.
// - Defects it has found that are being fixed, and that nearly every input would reach, are
//   steered around until the fix lands (KnownFindings).
// - Between calls it injects faults through the virtual scanner's control API (failing device
//   operations, unplugged devices, lost frames, status error bits). After a camera fault every
//   scan gets the period of 0 (cameras that may not deliver); after a board fault a good board
//   path may still leave an object alive, and counts against kAbandonBudget.
//
// Checks (ProgramReport violations): every status is one of RETSTATUS's values; a handle that is
// null, stale or foreign is refused as the public header says; arguments the exported functions
// document as refused are refused; outputs the header describes (status texts, serials, scan
// groups, firmware version, output lists that must be empty) are what it says; a destroyed handle
// stays refused; and after the last disconnect no device is left open.
//
// Threads: run() on one thread at a time; the library's threads call only CallbackProbe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "ByteReader.h"
#include "FuzzRig.h"
#include "ProgramReport.h"
#include "zetaVoroSync/zetaVoroSync.h"

namespace zeta::fuzz {

class ApiProgram {
public:
    static constexpr int kMaxCalls = 48;
    static constexpr int kMaxScans = 4;
    static constexpr int kMaxSnaps = 6;
    static constexpr int kMaxTransfers = 1;
    // ReconnectDevice after a board fault may wait 6 s for a board restart.
    static constexpr int kMaxFaultyReconnects = 2;
    static constexpr int kAbandonBudget = 12;
    static constexpr int kHandleVariables = 4;

    // Operation numbers (the operation byte modulo kOperationSpace).
    enum Operation : std::uint8_t {
        kConnect = 0,
        kDisconnect,
        kCopyHandle,
        kReconnect,
        kCloseCameras,
        kAutoReconnect,
        kFirmwareVersion,
        kCameraQuery,
        kStatusText,
        kRouteSetter,
        kRouteGetter,
        kProjector,
        kMisc,
        kCameraSetter,
        kCameraGetter,
        kCallback,
        kScanParameter,
        kScan,
        kScanImages,
        kSnapSingle,
        kSnapRgb,
        kSnapGroup,
        kSnapGroupRgb,
        kFirmwareUpdate,
        kWait,
        kFault,
        kOperationCount  // the first free number
    };
    static constexpr int kOperationSpace = 32;
    static_assert(kOperationCount <= kOperationSpace, "no room left for another operation");

    // Set-up flags (second byte).
    static constexpr std::uint8_t kFlagRgbFolder = 0x01;  // make ./RGB for the colour snaps' files

    // `scratch`: an empty folder the program may fill and empty again; it becomes the working
    // directory while the program runs (the colour snaps write diagnostic files there).
    ApiProgram(ProgramReport& report, std::filesystem::path scratch);

    // Runs the program `data` decodes to, from loading its rig to disconnecting its last handle.
    void run(const std::uint8_t* data, std::size_t size);

private:
    // What the program knows of the live connection.
    struct Live {
        void* handle = nullptr;  // the live object, null when none
        int cameraCount = 0;     // entries of the serial list it was connected with
        std::vector<std::string> serials;
        bool camerasClosed = false;  // CloseDeviceCamera (or a failed reconnection) since
        // The stripe scan would wait for frames that cannot come: a 16-bit colour camera (the scan
        // counts it as mono) switched to triggered mode listens to a route the scan does not
        // pulse.
        bool scanMayStall = false;
        int scanRate = 100;        // the stripe mode's period before any SetScanParameter
        bool timingDirty = false;  // mono trigger period or pulse width may be long
    };

    // ---- handles (ApiProgram.cpp) ----
    // Reads a handle operand: one of h0..h3, or the foreign pointer.
    std::size_t handleOperand(ByteReader& in);
    void*& handleRef(std::size_t operand);
    std::string handleName(std::size_t operand) const;
    bool isLive(const void* handle) const { return handle != nullptr && handle == live_.handle; }
    // Checks a call through a handle the library must refuse with RET_HANDLE_NULL.
    void expectRefused(const void* handle, zetaVoroSync::RETSTATUS status, const std::string& call);
    // Makes one exported call (`make` returns its status): traced before it runs, recorded with
    // its status after, and the status checked to be a RETSTATUS value.
    template <typename Make>
    zetaVoroSync::RETSTATUS invoke(const std::string& call, Make&& make) {
        report_.begin(call);
        return record(call, make());
    }
    zetaVoroSync::RETSTATUS record(const std::string& call, zetaVoroSync::RETSTATUS status);
    void skip(const std::string& call, const std::string& why);
    bool takeAbandonBudget();

    // ---- connection (ApiProgramConnection.cpp) ----
    void connect(ByteReader& in);
    void disconnect(ByteReader& in);
    // DisConnectDevice of the live handle through `handle`, with its checks.
    void destroyLive(void*& handle, const std::string& name);
    void copyHandle(ByteReader& in);
    void reconnect(ByteReader& in);
    void closeCameras(ByteReader& in);
    void autoReconnect(ByteReader& in);
    void firmwareVersion(ByteReader& in);
    void cameraQuery(ByteReader& in);
    void statusText(ByteReader& in);
    // After the last handle: no device of the rig may still be open.
    void expectDevicesClosed(const std::string& when);

    // ---- board and cameras (ApiProgramDevice.cpp) ----
    void routeSetter(ByteReader& in);
    void routeGetter(ByteReader& in);
    void projector(ByteReader& in);
    void misc(ByteReader& in);
    void cameraSetter(ByteReader& in);
    void cameraGetter(ByteReader& in);
    void callback(ByteReader& in);
    // Checks a camera call's status against the camera index it was given.
    void expectCameraIndex(const void* handle, int index, zetaVoroSync::RETSTATUS status,
                           const std::string& call);

    // ---- scans, snaps and firmware (ApiProgramCapture.cpp) ----
    void scanParameter(ByteReader& in);
    void scan(ByteReader& in);
    // Makes the next stripe scan of the live handle short; false when it cannot be made so.
    bool boundScan(void* const& handle);
    // Makes the mono route's period and pulse width short again; false when they may stay long.
    bool boundTiming(void* const& handle);
    void scanImages(ByteReader& in);
    void snapSingle(ByteReader& in);
    void snapRgb(ByteReader& in);
    void snapGroup(ByteReader& in);
    void snapGroupRgb(ByteReader& in);
    void firmwareUpdate(ByteReader& in);
    void wait(ByteReader& in);

    // ---- faults of the virtual scanner (ApiProgramFault.cpp) ----
    void fault(ByteReader& in);
    // "board", a camera of the rig, or (withLibraries) "camera" or "image".
    std::string faultDevice(ByteReader& in, bool withLibraries);
    // Frees the images a snap appended after the caller's `kept` entries and checks the lists.
    void reclaimImages(std::vector<unsigned char*>& images, const std::vector<int>& widths,
                       const std::vector<int>& heights, std::size_t kept, const std::string& call);

    void finish();
    void clearScratch();

    ProgramReport& report_;
    std::filesystem::path scratch_;
    const FuzzRig* rig_ = nullptr;
    void* handles_[kHandleVariables] = {};
    void* foreign_ = nullptr;
    Live live_;
    int scans_ = 0;
    int snaps_ = 0;
    int transfers_ = 0;
    int faultyReconnects_ = 0;
    // Faults injected into the board or a camera since the program began: the rig is loaded again
    // only by the next program, so they outlast connections.
    bool boardFaults_ = false;
    bool cameraFaults_ = false;
};

}  // namespace zeta::fuzz
