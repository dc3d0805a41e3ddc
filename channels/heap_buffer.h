// SPDX-License-Identifier: Apache-2.0
// The one owner of malloc'd memory in the library: buffers the library
// takes for a call, and arrays the platform hands over for the caller to
// free.  Released on every path; never copied.
#ifndef DPMGMT_CHANNELS_HEAP_BUFFER_H
#define DPMGMT_CHANNELS_HEAP_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace dpmgmt {

struct FreeDeleter {
    void operator()(void *p) const { std::free(p); }
};

// Memory from malloc (the library's or the platform's), freed with free.
template <class T>
using MallocPtr = std::unique_ptr<T, FreeDeleter>;

// A byte buffer of a fixed size taken for one call.  ok() is false when
// memory is short; a size of 0 still yields a valid (1-byte) buffer.
class HeapBuffer {
public:
    explicit HeapBuffer(std::size_t size) : data_(static_cast<uint8_t *>(std::malloc(size ? size : 1))), size_(size) {}

    bool ok() const { return data_ != nullptr; }
    uint8_t *data() const { return data_.get(); }
    std::size_t size() const { return size_; }
    void clear() const { std::memset(data_.get(), 0, size_); }

private:
    MallocPtr<uint8_t> data_;
    std::size_t size_;
};

}  // namespace dpmgmt

#endif
