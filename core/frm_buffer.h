/* Ownership of framework buffers: every MDTLM_AllocBuff buffer is held by an FrmBuffer until it
 * is freed or explicitly handed on with release(). */
#ifndef ZOR_IFM_FRM_BUFFER_H
#define ZOR_IFM_FRM_BUFFER_H

#include <cstdint>

#include "platform/platform.h"

class FrmBuffer {
public:
    FrmBuffer() = default;
    /* Allocates `size` bytes and zeroes them; get() is null when the allocation failed. A size
     * beyond 32 bits (an array length times its element size, say) fails like an allocation. */
    explicit FrmBuffer(uint64_t size)
        : ptr_(size <= UINT32_MAX ? MDTLM_AllocBuff(static_cast<uint32_t>(size)) : nullptr),
          size_(static_cast<uint32_t>(size))
    {
        if (ptr_ != nullptr && size != 0) {
            (void)memset_s(ptr_, size, 0, size);
        }
    }
    FrmBuffer(const FrmBuffer &) = delete;
    FrmBuffer &operator=(const FrmBuffer &) = delete;
    FrmBuffer(FrmBuffer &&other) noexcept : ptr_(other.ptr_), size_(other.size_) { other.ptr_ = nullptr; }
    FrmBuffer &operator=(FrmBuffer &&other) noexcept
    {
        if (this != &other) {
            MDTLM_FreeBuff(ptr_);
            ptr_ = other.ptr_;
            size_ = other.size_;
            other.ptr_ = nullptr;
        }
        return *this;
    }
    ~FrmBuffer() { MDTLM_FreeBuff(ptr_); }

    /* Takes ownership of a buffer that came from MDTLM_AllocBuff. */
    static FrmBuffer Adopt(void *ptr, uint32_t size)
    {
        FrmBuffer b;
        b.ptr_ = ptr;
        b.size_ = size;
        return b;
    }

    void *get() const { return ptr_; }
    template <typename T> T *as() const { return static_cast<T *>(ptr_); }
    uint32_t size() const { return size_; }
    explicit operator bool() const { return ptr_ != nullptr; }
    /* Hands the buffer on; the caller becomes its owner. */
    void *release()
    {
        void *p = ptr_;
        ptr_ = nullptr;
        return p;
    }
    void reset()
    {
        MDTLM_FreeBuff(ptr_);
        ptr_ = nullptr;
    }

private:
    void *ptr_ = nullptr;
    uint32_t size_ = 0;
};

#endif
