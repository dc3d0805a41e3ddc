// SPDX-License-Identifier: Apache-2.0
// How the kernel side hands records out: the records of the session tables,
// and the cursors that cut tables into chunks.
#ifndef DPSVC_TRAFFIC_WIRE_H
#define DPSVC_TRAFFIC_WIRE_H

#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "byte_order.h"
#include "registry.h"
#include "traffic.h"

namespace dpsvc {

// Record sizes as the kernel hands them out.
constexpr uint32_t kTableInfoSize = 172;
constexpr uint32_t kFastForwardSize = 140;
constexpr uint32_t kRelationSize = 76;
constexpr uint32_t kKernelInfoSize = 432;
constexpr uint32_t kRelationAllSize = 208;

// Each writer fills `rec` (zeroed by the caller, exactly its size) in
// network order: addresses as they are, every number big-endian.
void write_tuple(uint8_t *rec, const Tuple &t);
void write_table_info(uint8_t *rec, const Session &s);
// The counters, interfaces (offsets 144, 148), times and application of a
// table entry or kernel detail.
void write_counters(uint8_t *rec, const Session &s);
void write_fast_forward(uint8_t *rec, const Session &s);
void write_kernel_info(uint8_t *rec, const Session &s);
void write_relation(uint8_t *rec, const Relation &r);
void write_relation_all(uint8_t *rec, const Relation &r);

// A source of fixed-size records made one at a time: next() writes the
// next record into rec (zeroed, recordSize bytes) and answers false when
// there is none left.
class RecordSource {
public:
    virtual ~RecordSource() = default;
    virtual bool next(uint8_t *rec) = 0;
};

// Serves a RecordSource as the kernel serves a table: each pull carries as
// many whole records as the puller's buffer holds, with 0x40010009; once
// the records are used up, 0 and an empty chunk.  Holds one record ahead,
// never the table.
class StreamCursor final : public DumpCursor {
public:
    // perChunk: the most records the kernel puts in one chunk, whatever
    // the puller's buffer holds.
    StreamCursor(std::unique_ptr<RecordSource> source, uint32_t recordSize, uint32_t perChunk = UINT32_MAX)
        : source_(std::move(source)), size_(recordSize), perChunk_(perChunk), pending_(recordSize) {}

    uint32_t pull(std::vector<uint8_t> &out, uint32_t max) override {
        uint32_t room = max / size_ < perChunk_ ? max / size_ : perChunk_;
        uint32_t given = 0;
        while (given < room && fill()) {
            out.insert(out.end(), pending_.begin(), pending_.end());
            havePending_ = false;
            ++given;
        }
        if (given == 0 && !fill()) return 0;
        return kDumpContinue;
    }

private:
    bool fill() {
        if (havePending_) return true;
        if (done_) return false;
        std::memset(pending_.data(), 0, size_);
        if (!source_->next(pending_.data())) {
            done_ = true;
            return false;
        }
        havePending_ = true;
        return true;
    }

    std::unique_ptr<RecordSource> source_;
    uint32_t size_;
    uint32_t perChunk_;
    std::vector<uint8_t> pending_;
    bool havePending_ = false;
    bool done_ = false;
};

// A single-record dump: the first pull whose buffer holds the record gets
// it with result 0; every later pull gets nothing.
class SingleCursor final : public DumpCursor {
public:
    explicit SingleCursor(std::vector<uint8_t> record) : record_(std::move(record)) {}
    uint32_t pull(std::vector<uint8_t> &out, uint32_t max) override {
        if (!given_ && record_.size() <= max) {
            out.insert(out.end(), record_.begin(), record_.end());
            given_ = true;
        }
        return 0;
    }

private:
    std::vector<uint8_t> record_;
    bool given_ = false;
};

}  // namespace dpsvc

#endif
