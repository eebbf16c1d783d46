#include "decoder/threaded_sha256.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <utility>

#include <pthread.h>

namespace sorvane::decoder {

// Takes the bytes through a ring of blocks. A block belongs to the first thread until it is handed
// over, and to the second until it is digested; the lock guards nothing but the two counts. The
// second has its stack in here, without a guard page, since only the digest runs on it: for one of
// its own the C library would ask the system for memory in ways that a decoder may not.
class ThreadedSha256::Thread {
  public:
    /// Nothing when the system gives no thread. The digest outlives it.
    static std::unique_ptr<Thread> start(Sha256& digest) {
        std::unique_ptr<Thread> thread(new Thread(digest));
        pthread_attr_t attributes;
        ::pthread_attr_init(&attributes);
        ::pthread_attr_setstack(&attributes, thread->stack_.data(), stackBytes);
        thread->runs_ = ::pthread_create(&thread->id_, &attributes, run, thread.get()) == 0;
        ::pthread_attr_destroy(&attributes);
        return thread->runs_ ? std::move(thread) : nullptr;
    }

    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Returns when all bytes are digested.
    ~Thread() {
        if (!runs_) return;
        handOver();
        {
            const std::lock_guard lock(mutex_);
            ended_ = true;
        }
        handedOver_.notify_one();
        ::pthread_join(id_, nullptr);
    }

    void write(const std::uint8_t* bytes, std::size_t count) {
        while (count > 0) {
            Block& block = ring_[handedOverCount_ % ringLength];
            const std::size_t taken = std::min(count, blockBytes - block.size);
            std::memcpy(block.bytes.data() + block.size, bytes, taken);
            block.size += taken;
            bytes += taken;
            count -= taken;
            if (block.size == blockBytes) handOver();
        }
    }

  private:
    static constexpr std::size_t blockBytes = std::size_t{32} << 10;
    static constexpr std::size_t ringLength = 8;
    // Digesting takes a few hundred bytes; the C library wants up to 128 KB and its own tables.
    static constexpr std::size_t stackBytes = std::size_t{256} << 10;

    struct Block {
        std::array<std::uint8_t, blockBytes> bytes;
        std::size_t size = 0;
    };

    explicit Thread(Sha256& digest) : digest_(digest) {}

    static void* run(void* thread) {
        static_cast<Thread*>(thread)->digestBlocks();
        return nullptr;
    }

    // Returns when the next block is free. When the ring is full, half of it is: a switch between
    // the threads costs as much as digesting some kilobytes.
    void handOver() {
        std::unique_lock lock(mutex_);
        ++handedOverCount_;
        handedOver_.notify_one();
        if (waiting() == ringLength)
            halfDigested_.wait(lock, [this] { return waiting() <= ringLength / 2; });
    }

    std::size_t waiting() const { return handedOverCount_ - digestedCount_; }

    void digestBlocks() {
        std::unique_lock lock(mutex_);
        for (;;) {
            handedOver_.wait(lock, [this] { return waiting() > 0 || ended_; });
            if (waiting() == 0) return;
            Block& block = ring_[digestedCount_ % ringLength];
            lock.unlock();
            digest_.update({reinterpret_cast<const char*>(block.bytes.data()), block.size});
            block.size = 0;
            lock.lock();
            ++digestedCount_;
            if (waiting() == ringLength / 2) halfDigested_.notify_one();
        }
    }

    Sha256& digest_;
    std::array<Block, ringLength> ring_;
    std::mutex mutex_;
    std::condition_variable handedOver_;
    std::condition_variable halfDigested_;
    std::size_t handedOverCount_ = 0;
    std::size_t digestedCount_ = 0;
    bool ended_ = false;
    bool runs_ = false;
    pthread_t id_{};
    alignas(64) std::array<std::byte, stackBytes> stack_;
};

ThreadedSha256::ThreadedSha256(std::string_view prefix, std::uint64_t pixelBytes) {
    digest_.update(prefix);
    if (pixelBytes >= minThreadedBytes) thread_ = Thread::start(digest_);
}

ThreadedSha256::~ThreadedSha256() = default;

void ThreadedSha256::update(const std::uint8_t* bytes, std::size_t count) {
    if (thread_)
        thread_->write(bytes, count);
    else
        digest_.update({reinterpret_cast<const char*>(bytes), count});
}

std::string ThreadedSha256::hex() {
    thread_.reset();
    return digest_.hex();
}

} // namespace sorvane::decoder
