// Recycled frame buffers of one camera.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "camera/Frame.h"
#include "zetaVoroSim/SimExport.h"

namespace zeta::sim {

// Hands out frames as shared pointers whose deleter gives the frame back to the pool, so that a
// camera producing frames at a high rate allocates nothing per frame once it runs: neither the
// buffer nor the shared pointer's control block (both are recycled).
//
// Thread-safe: the camera's thread acquires, and the last holder of a frame (a host thread
// calling SnapShot, CloseCamera or ReleaseCamera, or the camera's thread dropping a queue) gives
// it back. Every frame and every control block keeps the pool alive, so a frame a host still
// holds after the camera shut down returns to a pool that still exists.
class ZETA_SIM_API FramePool : public std::enable_shared_from_this<FramePool> {
public:
    // `keepFree`: how many idle buffers are kept for reuse; more are freed as they come back.
    static std::shared_ptr<FramePool> create(std::size_t keepFree = 24);
    ~FramePool();
    FramePool(const FramePool&) = delete;
    FramePool& operator=(const FramePool&) = delete;

    // A frame whose `bytes` has exactly `size` bytes (contents undefined). Frames of another size
    // are freed instead of being reused, so a change of the frame size drains the pool.
    std::shared_ptr<Frame> acquire(std::size_t size);

    // Frame buffers allocated since the pool was created (for tests and benchmarks).
    std::size_t buffersAllocated() const;
    // Idle buffers waiting for reuse.
    std::size_t idleBuffers() const;

private:
    template <class T>
    class BlockAllocator;
    struct Recycler;

    explicit FramePool(std::size_t keepFree);
    void recycle(Frame* frame);
    void* takeBlock(std::size_t size);
    void giveBlock(void* block, std::size_t size);

    const std::size_t keepFree_;
    mutable std::mutex mutex_;   // guards everything below; a leaf lock, nothing is called under it
    std::size_t size_ = 0;       // the frame size last asked for
    std::vector<Frame*> idle_;   // owned; every one has size_ bytes
    std::vector<void*> blocks_;  // owned idle control blocks of kBlockSize bytes
    std::size_t allocated_ = 0;
};

}  // namespace zeta::sim
