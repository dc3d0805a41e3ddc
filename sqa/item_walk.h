// SPDX-License-Identifier: Apache-2.0
// The one walk over the type-length-value items of a pulled call-table
// chunk, shared by the SIP and H.323 displays.
#ifndef DPMGMT_SQA_ITEM_WALK_H
#define DPMGMT_SQA_ITEM_WALK_H

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "channels/dump_walk.h"
#include "channels/wire.h"
#include "dpmgmt/sqa.h"
#include "platform/stlv.h"

namespace dpmgmt::sqa {

// Every call-table display pulls into a buffer of this size.
inline constexpr uint32_t kCallDumpBufferSize = 8000;

enum class ItemWalk {
    kUsedUp,     // no further item in the chunk
    kOtherType,  // an item of another type: the display ends
};

// Hands the value of every item of the chunk to onItem(value, length), in
// order, as long as the items carry `type`.  The next item begins right
// after the current value; an item whose value would run past the chunk is
// not an item, and ends the chunk.
template <class OnItem>
ItemWalk walk_items(const uint8_t *chunk, uint32_t length, uint16_t type, OnItem &&onItem) {
    const uintptr_t end = reinterpret_cast<uintptr_t>(chunk) + length;
    const uint8_t *at = chunk;
    for (;;) {
        uint16_t itemType = 0;
        uint16_t valueLen = 0;
        // The reader leaves the value pointer alone when no item is left.
        void *value = nullptr;
        (void)STLV_Get(at, static_cast<uint32_t>(end - reinterpret_cast<uintptr_t>(at)), &itemType, &valueLen,
                       &value);
        const uintptr_t v = reinterpret_cast<uintptr_t>(value);
        if (value == nullptr || v < reinterpret_cast<uintptr_t>(at) || v > end || valueLen > end - v)
            return ItemWalk::kUsedUp;
        if (itemType != type) return ItemWalk::kOtherType;
        const auto *bytes = static_cast<const uint8_t *>(value);
        onItem(bytes, valueLen);
        at = bytes + valueLen;
    }
}

// Copies a value over a fixed entry, cut at the entry's size; a shorter
// value leaves the rest of the entry as it was.
inline void copy_value(void *entry, size_t entrySize, const uint8_t *value, uint16_t length) {
    std::memcpy(entry, value, std::min<size_t>(length, entrySize));
}

// Every text of an entry ends inside its field.
inline void terminate_texts(SQA_SIP_CALLENTRY_S &e) { e.szCallId[sizeof e.szCallId - 1] = '\0'; }
inline void terminate_texts(SQA_SIP_CALLENTRY_VERBOSE_S &e) {
    e.szCallId[sizeof e.szCallId - 1] = '\0';
    e.szCallerTag[sizeof e.szCallerTag - 1] = '\0';
    e.szCalleeTag[sizeof e.szCalleeTag - 1] = '\0';
}
inline void terminate_texts(SQA_H323_CALLENTRY_VERBOSE_S &e) {
    e.szCallId[sizeof e.szCallId - 1] = '\0';
    e.szGuid[sizeof e.szGuid - 1] = '\0';
    e.szSrcAlias[sizeof e.szSrcAlias - 1] = '\0';
}

// The one walk of a call table: every item of itemType of every chunk is
// copied over an entry cleared once per chunk (a short value keeps the
// bytes of the entry before it), converted by the layout, its texts
// terminated, and handed to onEntry(entry).  An empty
// chunk or an item of another type ends the walk.
template <class Entry, std::size_t N, class OnEntry>
void walk_calls(const Dump &dump, const HeapBuffer &buf, uint16_t itemType, const Layout<Entry, N> &layout,
                OnEntry &&onEntry) {
    Entry entry;
    pull_chunks(dump, buf, [&](const uint8_t *chunk, uint32_t length) {
        std::memset(&entry, 0, sizeof entry);
        if (length == 0) return false;
        const ItemWalk end = walk_items(chunk, length, itemType, [&](const uint8_t *value, uint16_t n) {
            copy_value(&entry, sizeof entry, value, n);
            swap_fields(&entry, layout);
            terminate_texts(entry);
            onEntry(entry);
        });
        return end == ItemWalk::kUsedUp;
    });
}

// The whole walk of a call table: opens the dump with the key, walks it
// as walk_calls does and answers the number of entries (0 when the dump or
// its buffer cannot be had).
template <class Entry, std::size_t N, class OnEntry>
uint32_t count_calls(uint16_t node, uint32_t dumpType, const void *key, uint32_t keyLen, uint16_t itemType,
                     const Layout<Entry, N> &layout, OnEntry &&onEntry) {
    const Dump table(node, dumpType, key, keyLen);
    if (!table.opened()) return 0;
    const HeapBuffer buf(kCallDumpBufferSize);
    if (!buf.ok()) return 0;
    uint32_t count = 0;
    walk_calls(table, buf, itemType, layout, [&](const Entry &e) {
        ++count;
        onEntry(e);
    });
    return count;
}



}  // namespace dpmgmt::sqa

#endif
