// Opaque device handles handed to callers, and the objects behind them.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "zetaVoroSim/SimExport.h"

namespace zeta::sim {

// The next handle number; one counter for every table, so a board handle never equals a
// camera handle.
ZETA_SIM_API std::uintptr_t nextHandleId();

// Handles are numbers that are never reused, dressed as pointers; they are never dereferenced.
// A closed, released or stale handle (one of an earlier rig) is simply not found, so a call on
// it fails cleanly instead of touching freed memory. Thread-safe.
template <class T>
class HandleTable {
public:
    void* add(std::shared_ptr<T> object) {
        const std::uintptr_t id = nextHandleId();
        std::lock_guard lock(mutex_);
        objects_[id] = std::move(object);
        return reinterpret_cast<void*>(id);
    }

    std::shared_ptr<T> find(const void* handle) const {
        if (handle == nullptr) return nullptr;
        std::lock_guard lock(mutex_);
        auto it = objects_.find(reinterpret_cast<std::uintptr_t>(handle));
        return it == objects_.end() ? nullptr : it->second;
    }

    std::shared_ptr<T> remove(const void* handle) {
        if (handle == nullptr) return nullptr;
        std::lock_guard lock(mutex_);
        auto it = objects_.find(reinterpret_cast<std::uintptr_t>(handle));
        if (it == objects_.end()) return nullptr;
        auto object = std::move(it->second);
        objects_.erase(it);
        return object;
    }

    std::vector<std::shared_ptr<T>> removeAll() {
        std::lock_guard lock(mutex_);
        std::vector<std::shared_ptr<T>> all;
        for (auto& [id, object] : objects_) all.push_back(std::move(object));
        objects_.clear();
        return all;
    }

    std::vector<std::shared_ptr<T>> all() const {
        std::lock_guard lock(mutex_);
        std::vector<std::shared_ptr<T>> list;
        for (const auto& [id, object] : objects_) list.push_back(object);
        return list;
    }

private:
    mutable std::mutex mutex_;  // guards objects_
    std::map<std::uintptr_t, std::shared_ptr<T>> objects_;
};

}  // namespace zeta::sim
