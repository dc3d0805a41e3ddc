// SPDX-License-Identifier: Apache-2.0
// The one way the library reads kernel tables.
//
// A Dump owns the handle from DUMP_Request to DUMP_Terminate; a HeapBuffer
// (channels/heap_buffer.h) owns the buffer chunks are pulled into.  Declare
// the Dump first and the buffer second: the buffer is then freed before the
// dump is ended, on every path.
#ifndef DPMGMT_CHANNELS_DUMP_WALK_H
#define DPMGMT_CHANNELS_DUMP_WALK_H

#include <cstdint>
#include <utility>

#include "channels/heap_buffer.h"
#include "dpmgmt/result.h"
#include "platform/dump.h"

namespace dpmgmt {

class Dump {
public:
    // No dump: opened() is false until one is moved in.
    Dump() = default;
    Dump(uint16_t node, uint32_t dumpType, const void *key, uint32_t keyLen)
        : handle_(DUMP_Request(node, dumpType, key, keyLen)) {}
    ~Dump() { end(); }
    Dump(const Dump &) = delete;
    Dump &operator=(const Dump &) = delete;
    Dump(Dump &&other) noexcept : handle_(std::exchange(other.handle_, DUMP_INVALID_HANDLE)) {}
    Dump &operator=(Dump &&other) noexcept {
        if (this != &other) {
            end();
            handle_ = std::exchange(other.handle_, DUMP_INVALID_HANDLE);
        }
        return *this;
    }

    bool opened() const { return handle_ != DUMP_INVALID_HANDLE; }
    // One pull; *delivered is cleared first.
    uint32_t pull(void *buf, uint32_t len, uint32_t *delivered) const {
        *delivered = 0;
        return DUMP_Pull(handle_, len, buf, delivered);
    }
    // Ends the dump now (nothing when none is open).
    void end() {
        if (opened()) DUMP_Terminate(handle_);
        handle_ = DUMP_INVALID_HANDLE;
    }

private:
    uint32_t handle_ = DUMP_INVALID_HANDLE;
};

// Pulls chunks while DUMP_Pull answers 0x40010009 and hands each one to
// onChunk(data, delivered), which answers true to pull again.  A delivered
// count larger than the buffer is cut to the buffer.  Returns the result of
// the last pull.
template <class OnChunk>
uint32_t pull_chunks(const Dump &dump, const HeapBuffer &buf, OnChunk &&onChunk) {
    const auto size = static_cast<uint32_t>(buf.size());
    for (;;) {
        uint32_t delivered = 0;
        const uint32_t rc = dump.pull(buf.data(), size, &delivered);
        if (rc != DPMGMT_DUMP_CONTINUE) return rc;
        if (delivered > size) delivered = size;
        if (!onChunk(buf.data(), delivered)) return rc;
    }
}

// The multi-record walk of the table displays: each chunk holds
// delivered / recordSize whole records (a remainder is ignored), handed to
// onRecord(record) in order.  The walk pulls again only after a full batch
// (perBatch records); a shorter or empty batch is the last.  Returns the
// number of records handed over.
template <class OnRecord>
uint32_t walk_records(const Dump &dump, const HeapBuffer &buf, uint32_t recordSize, uint32_t perBatch,
                      OnRecord &&onRecord) {
    uint32_t count = 0;
    pull_chunks(dump, buf, [&](uint8_t *data, uint32_t delivered) {
        const uint32_t n = delivered / recordSize;
        for (uint32_t i = 0; i < n; ++i) onRecord(data + static_cast<std::size_t>(i) * recordSize);
        count += n;
        return n == perBatch;
    });
    return count;
}

// Opens the dump, takes a buffer of perBatch records and walks it.
// Returns the number of records; 0 when the dump cannot be opened or the
// buffer cannot be had (the dump is ended then too).
template <class OnRecord>
uint32_t dump_table(uint16_t node, uint32_t dumpType, const void *key, uint32_t keyLen, uint32_t recordSize,
                    uint32_t perBatch, OnRecord &&onRecord) {
    Dump dump(node, dumpType, key, keyLen);
    if (!dump.opened()) return 0;
    HeapBuffer buf(static_cast<std::size_t>(recordSize) * perBatch);
    if (!buf.ok()) return 0;
    return walk_records(dump, buf, recordSize, perBatch, onRecord);
}

// The table walk that yields records: dump_table over records of one
// type, each converted in place to host order by `convert` before
// onRecord(record) sees it.  A display is then a formatter over converted
// records and never touches the wire.
template <class Record, class OnRecord>
uint32_t walk_table(uint16_t node, uint32_t dumpType, const void *key, uint32_t keyLen, uint32_t perBatch,
                    void (*convert)(Record *), OnRecord &&onRecord) {
    return dump_table(node, dumpType, key, keyLen, sizeof(Record), perBatch, [&](uint8_t *bytes) {
        auto *record = reinterpret_cast<Record *>(bytes);
        convert(record);
        onRecord(*record);
    });
}

// The single-record query: one pull of exactly recordSize bytes into the
// caller's record.
struct SingleRecord {
    bool opened;          // false: the dump could not be opened, nothing pulled
    bool complete;        // exactly recordSize bytes were delivered
    uint32_t pullResult;  // what DUMP_Pull returned
};
SingleRecord dump_single(uint16_t node, uint32_t dumpType, const void *key, uint32_t keyLen, void *record,
                         uint32_t recordSize);

}  // namespace dpmgmt

#endif
