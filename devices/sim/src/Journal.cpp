#include "Journal.h"

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <cstring>

namespace zeta::sim {

Journal::Journal() {
    const char* frames = std::getenv("ZETA_SIM_JOURNAL_FRAMES");
    frames_ = frames != nullptr && std::strcmp(frames, "1") == 0;
    const char* path = std::getenv("ZETA_SIM_JOURNAL");
    if (path != nullptr && path[0] != '\0') setFile(path);
}

Journal::~Journal() {
    if (file_ != nullptr) std::fclose(file_);
}

void Journal::record(const std::string& dev, const std::string& op, const std::string& argsJson,
                     bool ok, std::uint64_t tUs) {
    std::lock_guard lock(mutex_);
    JournalRecord rec;
    rec.n = next_++;
    rec.tUs = tUs;
    rec.dev = dev;
    rec.op = op;
    rec.args = argsJson;
    rec.ok = ok;
    // Field order is part of the file format: n, t_us, dev, op, args, ok.
    rec.line = "{\"n\":" + std::to_string(rec.n) + ",\"t_us\":" + std::to_string(tUs) +
               ",\"dev\":" + nlohmann::json(dev).dump() + ",\"op\":" + nlohmann::json(op).dump() +
               ",\"args\":" + argsJson + ",\"ok\":" + (ok ? "true" : "false") + "}";
    if (file_ != nullptr) {
        std::fputs(rec.line.c_str(), file_);
        std::fputc('\n', file_);
        std::fflush(file_);
    }
    records_.push_back(std::move(rec));
    while (records_.size() > capacity_) records_.pop_front();
}

std::vector<JournalRecord> Journal::records() const {
    std::lock_guard lock(mutex_);
    return {records_.begin(), records_.end()};
}

void Journal::clear() {
    std::lock_guard lock(mutex_);
    records_.clear();
}

void Journal::setCapacity(std::size_t records) {
    std::lock_guard lock(mutex_);
    capacity_ = records;
    while (records_.size() > capacity_) records_.pop_front();
}

std::size_t Journal::capacity() const {
    std::lock_guard lock(mutex_);
    return capacity_;
}

bool Journal::setFile(const std::string& path) {
    std::lock_guard lock(mutex_);
    if (file_ != nullptr) {
        std::fclose(file_);
        file_ = nullptr;
    }
    if (path.empty()) return true;
    file_ = std::fopen(path.c_str(), "a");
    if (file_ == nullptr) {
        std::fprintf(stderr, "zetaVoroSim: cannot open the journal file %s: %s\n", path.c_str(),
                     std::strerror(errno));
        return false;
    }
    return true;
}

void Journal::setFrames(bool on) {
    std::lock_guard lock(mutex_);
    frames_ = on;
}

bool Journal::frames() const {
    std::lock_guard lock(mutex_);
    return frames_;
}

}  // namespace zeta::sim
