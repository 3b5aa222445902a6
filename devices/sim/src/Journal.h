// The journal of device calls: one record per call, kept in memory and appended to a file.
#pragma once

#include <cstdint>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "zetaVoroSim/SimControl.h"

namespace zeta::sim {

// Thread-safe: every device call records itself as it returns, from whatever thread made it.
// The mutex guards the counter, the records and the file, so `n` follows the order of returns.
class ZETA_SIM_API Journal {
public:
    Journal();
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    // `argsJson` is the JSON array of the call's input arguments.
    void record(const std::string& dev, const std::string& op, const std::string& argsJson, bool ok,
                std::uint64_t tUs);

    std::vector<JournalRecord> records() const;
    void clear();
    void setCapacity(std::size_t records);
    std::size_t capacity() const;
    bool setFile(const std::string& path);

    void setFrames(bool on);
    bool frames() const;

private:
    mutable std::mutex mutex_;
    std::uint64_t next_ = 1;
    std::size_t capacity_ = 65536;
    std::deque<JournalRecord> records_;
    std::FILE* file_ = nullptr;
    bool frames_ = false;
};

}  // namespace zeta::sim
