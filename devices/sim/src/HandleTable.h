// Opaque device handles handed to callers, and the objects behind them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
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
//
// The owner may follow the number of handles: onChange runs after every add and every removal,
// on the calling thread, with the table's lock released.
template <class T>
class HandleTable {
public:
    // Set once, before the table is used.
    void setOnChange(std::function<void()> onChange) { onChange_ = std::move(onChange); }

    void* add(std::shared_ptr<T> object) {
        const std::uintptr_t id = nextHandleId();
        {
            std::lock_guard lock(mutex_);
            objects_[id] = std::move(object);
        }
        changed();
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
        std::shared_ptr<T> object;
        {
            std::lock_guard lock(mutex_);
            auto it = objects_.find(reinterpret_cast<std::uintptr_t>(handle));
            if (it == objects_.end()) return nullptr;
            object = std::move(it->second);
            objects_.erase(it);
        }
        changed();
        return object;
    }

    std::vector<std::shared_ptr<T>> removeAll() {
        std::vector<std::shared_ptr<T>> all;
        {
            std::lock_guard lock(mutex_);
            for (auto& [id, object] : objects_) all.push_back(std::move(object));
            objects_.clear();
        }
        changed();
        return all;
    }

    std::size_t size() const {
        std::lock_guard lock(mutex_);
        return objects_.size();
    }

    std::vector<std::shared_ptr<T>> all() const {
        std::lock_guard lock(mutex_);
        std::vector<std::shared_ptr<T>> list;
        for (const auto& [id, object] : objects_) list.push_back(object);
        return list;
    }

private:
    void changed() {
        if (onChange_) onChange_();
    }

    std::function<void()> onChange_;
    mutable std::mutex mutex_;  // guards objects_
    std::map<std::uintptr_t, std::shared_ptr<T>> objects_;
};

}  // namespace zeta::sim
