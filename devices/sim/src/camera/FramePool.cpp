#include "camera/FramePool.h"

#include <new>

namespace zeta::sim {

namespace {
// Control blocks of a shared pointer with a deleter and an allocator are a few dozen bytes; every
// block the pool keeps has this size, a larger request (never expected) bypasses the pool.
constexpr std::size_t kBlockSize = 128;
constexpr std::size_t kKeepBlocks = 256;
}  // namespace

// Allocates the control blocks of the frames' shared pointers from the pool. Each copy holds the
// pool, so the pool outlives the last block it handed out.
template <class T>
class FramePool::BlockAllocator {
public:
    using value_type = T;

    explicit BlockAllocator(std::shared_ptr<FramePool> pool) : pool_(std::move(pool)) {}
    template <class U>
    BlockAllocator(const BlockAllocator<U>& other) : pool_(other.pool_) {}

    T* allocate(std::size_t n) { return static_cast<T*>(pool_->takeBlock(n * sizeof(T))); }
    void deallocate(T* block, std::size_t n) { pool_->giveBlock(block, n * sizeof(T)); }

    template <class U>
    bool operator==(const BlockAllocator<U>& other) const {
        return pool_ == other.pool_;
    }

private:
    template <class U>
    friend class BlockAllocator;
    std::shared_ptr<FramePool> pool_;
};

struct FramePool::Recycler {
    std::shared_ptr<FramePool> pool;
    void operator()(Frame* frame) const { pool->recycle(frame); }
};

std::shared_ptr<FramePool> FramePool::create(std::size_t keepFree) {
    return std::shared_ptr<FramePool>(new FramePool(keepFree));
}

FramePool::FramePool(std::size_t keepFree) : keepFree_(keepFree) {
    idle_.reserve(keepFree_);
    blocks_.reserve(kKeepBlocks);
}

FramePool::~FramePool() {
    for (Frame* frame : idle_) delete frame;
    for (void* block : blocks_) ::operator delete(block);
}

std::shared_ptr<Frame> FramePool::acquire(std::size_t size) {
    Frame* frame = nullptr;
    {
        std::lock_guard lock(mutex_);
        if (size != size_) {
            // The frame size changed: buffers of the old size are of no further use.
            for (Frame* old : idle_) delete old;
            idle_.clear();
            size_ = size;
        }
        if (!idle_.empty()) {
            frame = idle_.back();
            idle_.pop_back();
        } else {
            ++allocated_;
        }
    }
    if (frame == nullptr) {
        auto fresh = std::make_unique<Frame>();
        fresh->bytes.resize(size);
        frame = fresh.release();
    }
    auto self = shared_from_this();
    // On failure the constructor hands the frame to the recycler, so nothing leaks.
    return std::shared_ptr<Frame>(frame, Recycler{self}, BlockAllocator<Frame>(self));
}

void FramePool::recycle(Frame* frame) {
    {
        std::lock_guard lock(mutex_);
        if (frame->bytes.size() == size_ && idle_.size() < keepFree_) {
            idle_.push_back(frame);
            return;
        }
    }
    delete frame;
}

void* FramePool::takeBlock(std::size_t size) {
    if (size <= kBlockSize) {
        std::lock_guard lock(mutex_);
        if (!blocks_.empty()) {
            void* block = blocks_.back();
            blocks_.pop_back();
            return block;
        }
    }
    return ::operator new(size <= kBlockSize ? kBlockSize : size);
}

void FramePool::giveBlock(void* block, std::size_t size) {
    if (size <= kBlockSize) {
        std::lock_guard lock(mutex_);
        if (blocks_.size() < kKeepBlocks) {
            blocks_.push_back(block);
            return;
        }
    }
    ::operator delete(block);
}

std::size_t FramePool::buffersAllocated() const {
    std::lock_guard lock(mutex_);
    return allocated_;
}

std::size_t FramePool::idleBuffers() const {
    std::lock_guard lock(mutex_);
    return idle_.size();
}

}  // namespace zeta::sim
