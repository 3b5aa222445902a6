// A connection to the scanner through ConnectDevice, disconnected on every path.
#pragma once

#include <string>
#include <vector>

#include "Session.h"

namespace zeta::cli {

// One camera of the connection, by camera index, as the library describes it.
struct ConnectedCamera {
    std::string serial;
    int width = 0;
    int height = 0;
    bool colour = false;
};

class ScannerConnection {
public:
    // Connects in the session's mode to its board and cameras (the named ones, or every camera
    // of its type; with `monoOnly`, every mono camera of its type). Throws CommandError with the
    // failing operation, the status text and what to check (board path, mode, cameras).
    explicit ScannerConnection(Session& session, bool monoOnly = false);
    // Disconnects when still connected; a failure here is not reported (an error is on its way).
    ~ScannerConnection();
    ScannerConnection(const ScannerConnection&) = delete;
    ScannerConnection& operator=(const ScannerConnection&) = delete;

    void* const& handle() const { return handle_; }
    const std::vector<ConnectedCamera>& cameras() const { return cameras_; }
    // Indices of the mono cameras, in order.
    std::vector<int> monoCameras() const;
    // "camera 1 (ZV0002)".
    std::string cameraName(int index) const;
    // "connected: mode STRIPE, board sim:board0, cameras ZV0001 ZV0002".
    std::string connectedLine() const;

    // Disconnects and reports a failure.
    void disconnect();

private:
    // Lines saying what to check after a failed ConnectDevice: `asked` and `attached` are the
    // serials asked for and those the enumeration found.
    std::vector<std::string> connectDetails(int status, const std::string& asked,
                                            const std::string& attached) const;
    void describeCameras(int count);

    Session& session_;
    void* handle_ = nullptr;
    std::vector<ConnectedCamera> cameras_;
};

}  // namespace zeta::cli
