// SPDX-License-Identifier: Apache-2.0
// Network byte order, as the service writes records and payloads and reads
// keys and requests.  The pointer forms take a position the caller has
// checked against the buffer; the span and vector forms serve message
// payloads.
#ifndef DPSVC_BYTE_ORDER_H
#define DPSVC_BYTE_ORDER_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace dpsvc {

inline void put8(uint8_t *p, uint32_t off, uint8_t v) { p[off] = v; }
inline void put16(uint8_t *p, uint32_t off, uint16_t v) {
    p[off] = static_cast<uint8_t>(v >> 8);
    p[off + 1] = static_cast<uint8_t>(v);
}
inline void put32(uint8_t *p, uint32_t off, uint32_t v) {
    put16(p, off, static_cast<uint16_t>(v >> 16));
    put16(p, off + 2, static_cast<uint16_t>(v));
}
inline void put64(uint8_t *p, uint32_t off, uint64_t v) {
    put32(p, off, static_cast<uint32_t>(v >> 32));
    put32(p, off + 4, static_cast<uint32_t>(v));
}
inline uint16_t get16(const uint8_t *p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }
inline uint32_t get32(const uint8_t *p) {
    return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
}

// Fields of request and reply payloads.  Readers take the payload and an
// offset the caller has checked against its length (the loop checks every
// registered payload length before a handler runs).
inline uint16_t get_be16(std::span<const uint8_t> p, std::size_t off) { return get16(p.data() + off); }
inline uint32_t get_be32(std::span<const uint8_t> p, std::size_t off) { return get32(p.data() + off); }
inline void put_be16(std::vector<uint8_t> &out, uint16_t v) {
    out.push_back(static_cast<uint8_t>(v >> 8));
    out.push_back(static_cast<uint8_t>(v));
}
inline void put_be32(std::vector<uint8_t> &out, uint32_t v) {
    put_be16(out, static_cast<uint16_t>(v >> 16));
    put_be16(out, static_cast<uint16_t>(v));
}
inline void put_be64(std::vector<uint8_t> &out, uint64_t v) {
    put_be32(out, static_cast<uint32_t>(v >> 32));
    put_be32(out, static_cast<uint32_t>(v));
}

}  // namespace dpsvc

#endif
