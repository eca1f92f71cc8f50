// Small owners for the two things that are otherwise freed by hand on every
// path out of a function: a memory block, and an image locked for reading or
// writing.
#pragma once

#include <utility>

#include "core/image.h"
#include "core/platform.h"

namespace tsn {

// Owns a memory block and frees it when it goes, unless it was released
// (handed on to a caller who frees it from then on).
class OwnedBlock {
  public:
    explicit OwnedBlock(MemHandle h = 0) : h_(h) {}
    ~OwnedBlock() { MemFree(h_); }
    OwnedBlock(OwnedBlock&& other) noexcept : h_(other.release()) {}
    OwnedBlock& operator=(OwnedBlock&& other) noexcept {
        reset(other.release());
        return *this;
    }
    OwnedBlock(const OwnedBlock&) = delete;
    OwnedBlock& operator=(const OwnedBlock&) = delete;

    MemHandle get() const { return h_; }
    explicit operator bool() const { return h_ != 0; }
    MemHandle release() { return std::exchange(h_, MemHandle{0}); }
    void reset(MemHandle h = 0) { MemFree(std::exchange(h_, h)); }

  private:
    MemHandle h_;
};

// A memory block locked for the owner's lifetime: its bytes as T, or null
// when the handle is 0 or not a block.
template <class T = unsigned char>
class LockedBlock {
  public:
    explicit LockedBlock(MemHandle h) : h_(h), p_(static_cast<T*>(MemLock(h))) {}
    ~LockedBlock() {
        if (p_) MemUnlock(h_);
    }
    LockedBlock(const LockedBlock&) = delete;
    LockedBlock& operator=(const LockedBlock&) = delete;

    T* get() const { return p_; }
    explicit operator bool() const { return p_ != nullptr; }

  private:
    MemHandle h_;
    T* p_;
};

// An image block locked for the owner's lifetime.
class LockedImage {
  public:
    explicit LockedImage(MemHandle h) : ok_(LockImage(h, &view_)) {}
    ~LockedImage() {
        if (ok_) UnlockImage(&view_);
    }
    LockedImage(const LockedImage&) = delete;
    LockedImage& operator=(const LockedImage&) = delete;

    explicit operator bool() const { return ok_; }
    const ImageView& view() const { return view_; }
    const ImageView* operator->() const { return &view_; }

  private:
    ImageView view_;
    bool ok_;
};

}  // namespace tsn
