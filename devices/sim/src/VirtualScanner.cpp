#include "VirtualScanner.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "TriggerBus.h"
#include "board/SimBoard.h"
#include "camera/CameraHandle.h"
#include "camera/SimCamera.h"
#include "platform/ProcessLifetime.h"

namespace zeta::sim {

Rig::Rig() = default;

Rig::~Rig() {
    if (board) board->shutdown();
    for (auto& camera : cameras) camera->shutdown();
}

std::shared_ptr<SimCamera> Rig::cameraBySerial(const std::string& serial) const {
    for (const auto& camera : cameras) {
        if (camera->serial() == serial) return camera;
    }
    return nullptr;
}

void Rig::startThreads() {
    for (auto& camera : cameras) camera->startThread();
}

void Rig::stopThreads() {
    for (auto& camera : cameras) camera->stopThread();
}

VirtualScanner& VirtualScanner::instance() {
    // Never destroyed: a static object would be destroyed while the DLL is detached, when a
    // thread can no longer be joined (see endAtExit).
    static VirtualScanner* const scanner = [] {
        auto* created = new VirtualScanner();
        platform::runAtProcessExit(&VirtualScanner::endAtExit);
        return created;
    }();
    return *scanner;
}

VirtualScanner::VirtualScanner() {
    boardHandles_.setOnChange([this] { followHandles(); });
    cameraHandles_.setOnChange([this] { followHandles(); });
    reloadFromEnvironment(nullptr);
}

void VirtualScanner::endAtExit() {
    // Windows has stopped every other thread already, perhaps inside a lock of a device: leave
    // everything to the system.
    if (platform::processIsEnding()) return;
    VirtualScanner& scanner = instance();
    scanner.boardHandles_.removeAll();
    scanner.cameraHandles_.removeAll();
    std::shared_ptr<Rig> rig = scanner.rig();
    if (rig) {
        if (rig->board) rig->board->shutdown();
        for (auto& camera : rig->cameras) camera->shutdown();
    }
}

void VirtualScanner::followHandles() {
    std::lock_guard lock(threadsMutex_);
    const bool wanted = boardHandles_.size() + cameraHandles_.size() > 0;
    std::shared_ptr<Rig> current = rig();
    if (threadsRig_ && (!wanted || threadsRig_ != current)) {
        threadsRig_->stopThreads();
        threadsRig_.reset();
    }
    if (wanted && !threadsRig_ && current) {
        current->startThreads();
        threadsRig_ = std::move(current);
    }
}

std::shared_ptr<Rig> VirtualScanner::rig() const {
    std::lock_guard lock(mutex_);
    return rig_;
}

bool VirtualScanner::loadText(const std::string& text, const std::string& source,
                              std::string* error) {
    auto rig = std::make_shared<Rig>();
    std::string problem;
    auto config = parseRig(text, problem);
    if (!config) {
        rig->broken = true;
        rig->error = problem;
        // Said once per load; from then on every device call fails quietly.
        const std::string what = source.empty() ? std::string("text") : "file " + source;
        std::fprintf(stderr,
                     "zetaVoroSim: the rig %s is malformed: %s; every device call will fail\n",
                     what.c_str(), problem.c_str());
        std::fflush(stderr);
        if (error != nullptr) *error = problem;
        install(rig);
        return false;
    }
    rig->config = *config;
    rig->bus = std::make_shared<TriggerBus>(rig->clock);
    rig->board = std::make_shared<SimBoard>(rig->config.board, rig->bus);
    for (std::size_t i = 0; i < rig->config.cameras.size(); ++i) {
        auto camera =
            std::make_shared<SimCamera>(rig->config.cameras[i], static_cast<int>(i), rig->bus);
        camera->start();
        rig->cameras.push_back(std::move(camera));
    }
    install(rig);
    return true;
}

void VirtualScanner::install(std::shared_ptr<Rig> rig) {
    faults_.clear();
    if (!rig->broken) {
        faults_.setAll("board", rig->config.board.fail);
        for (const auto& camera : rig->config.cameras) faults_.setAll(camera.serial, camera.fail);
        faults_.setAll("camera", rig->config.cameraLibraryFail);
        faults_.setAll("image", rig->config.imageFail);
    }
    std::shared_ptr<Rig> old;
    {
        std::lock_guard lock(mutex_);
        old = std::move(rig_);
        rig_ = std::move(rig);
    }
    // Handles of the old rig are forgotten first, so no new call can reach its devices; calls
    // already inside them fail once the devices are shut down.
    boardHandles_.removeAll();
    cameraHandles_.removeAll();
    if (old) {
        if (old->board) old->board->shutdown();
        for (auto& camera : old->cameras) camera->shutdown();
    }
}

bool VirtualScanner::loadFile(const std::string& path, std::string* error) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        auto rig = std::make_shared<Rig>();
        rig->broken = true;
        rig->error = "(file): cannot be read";
        std::fprintf(stderr,
                     "zetaVoroSim: the rig file %s cannot be read; every device call will fail\n",
                     path.c_str());
        std::fflush(stderr);
        if (error != nullptr) *error = rig->error;
        install(rig);
        return false;
    }
    std::stringstream text;
    text << file.rdbuf();
    return loadText(text.str(), path, error);
}

bool VirtualScanner::reloadFromEnvironment(std::string* error) {
    const char* path = std::getenv("ZETA_SIM_RIG");
    if (path != nullptr && path[0] != '\0') return loadFile(path, error);
    return loadText(defaultRigJson(), "(built-in)", error);
}

}  // namespace zeta::sim
