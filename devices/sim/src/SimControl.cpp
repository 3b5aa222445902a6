// The run-time control API of the virtual scanner.
#include "zetaVoroSim/SimControl.h"

#include "VirtualScanner.h"
#include "board/SimBoard.h"
#include "camera/SimCamera.h"

namespace zeta::sim {

namespace {
VirtualScanner& scanner() {
    return VirtualScanner::instance();
}
}  // namespace

bool loadRigText(const std::string& json, std::string* error) {
    return scanner().loadText(json, "", error);
}

bool loadRigFile(const std::string& path, std::string* error) {
    return scanner().loadFile(path, error);
}

bool reloadRig(std::string* error) {
    return scanner().reloadFromEnvironment(error);
}

std::string defaultRigText() {
    return defaultRigJson();
}

std::uint64_t nowUs() {
    return scanner().rig()->clock.nowUs();
}

std::vector<JournalRecord> journal() {
    return scanner().journal().records();
}
void clearJournal() {
    scanner().journal().clear();
}
void setJournalCapacity(std::size_t records) {
    scanner().journal().setCapacity(records);
}
std::size_t journalCapacity() {
    return scanner().journal().capacity();
}
void setJournalFrames(bool on) {
    scanner().journal().setFrames(on);
}
bool setJournalFile(const std::string& path) {
    return scanner().journal().setFile(path);
}

void failNext(const std::string& dev, const std::string& op, int times, int skip) {
    scanner().faults().set(dev, op, FaultRule{skip, times});
}

void clearFailures() {
    scanner().faults().clear();
}

namespace {
bool setPresent(const std::string& dev, bool present) {
    auto rig = scanner().rig();
    if (dev == "board") {
        if (!rig->board) return false;
        rig->board->setPresent(present);
        return true;
    }
    auto camera = rig->cameraBySerial(dev);
    if (!camera) return false;
    camera->setPresent(present);
    return true;
}
}  // namespace

bool unplug(const std::string& dev) {
    return setPresent(dev, false);
}

bool replug(const std::string& dev) {
    return setPresent(dev, true);
}

void setStatus(std::uint8_t first, std::uint8_t second, std::uint8_t state, bool flag) {
    auto rig = scanner().rig();
    if (rig->board) rig->board->setStatus(first, second, state, flag);
}

bool dropFrames(const std::string& serial, int times, int skip) {
    auto camera = scanner().rig()->cameraBySerial(serial);
    if (!camera) return false;
    camera->setDropFrames(FrameFaultRule{skip, times, 0});
    return true;
}

bool duplicateFrames(const std::string& serial, int times, int skip) {
    auto camera = scanner().rig()->cameraBySerial(serial);
    if (!camera) return false;
    camera->setDuplicateFrames(FrameFaultRule{skip, times, 0});
    return true;
}

bool renumberFrames(const std::string& serial, int number, int times, int skip) {
    auto camera = scanner().rig()->cameraBySerial(serial);
    if (!camera) return false;
    camera->setRenumberFrames(FrameFaultRule{skip, times, number});
    return true;
}

BoardState boardState() {
    auto rig = scanner().rig();
    if (!rig->board) return BoardState{};
    return rig->board->state();
}

std::vector<std::vector<std::uint8_t>> sentCommands(bool report) {
    auto rig = scanner().rig();
    if (!rig->board) return {};
    return rig->board->sentCommands(report);
}

ImageStoreState imageStore() {
    auto rig = scanner().rig();
    if (!rig->board) return ImageStoreState{};
    return rig->board->imageStore();
}

bool cameraStats(const std::string& serial, CameraStats& stats) {
    auto camera = scanner().rig()->cameraBySerial(serial);
    if (!camera) return false;
    stats = camera->stats();
    return true;
}

}  // namespace zeta::sim
