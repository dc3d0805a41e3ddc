// Byte order at the library's one boundary with the wire.
//
// A record's numeric fields are described once, as a list of (offset,
// width) pairs checked against the record's size at compile time, and
// converted by applying the list.  Converting between host and network order
// is the same byte swap in both directions on the little-endian target.
#ifndef DPMGMT_CHANNELS_WIRE_H
#define DPMGMT_CHANNELS_WIRE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace dpmgmt {

inline uint16_t bswap(uint16_t v) { return __builtin_bswap16(v); }
inline uint32_t bswap(uint32_t v) { return __builtin_bswap32(v); }
inline uint64_t bswap(uint64_t v) { return __builtin_bswap64(v); }

// Network-order loads and stores at any alignment.
inline uint16_t load_be16(const void *p) { uint16_t v; std::memcpy(&v, p, 2); return __builtin_bswap16(v); }
inline uint32_t load_be32(const void *p) { uint32_t v; std::memcpy(&v, p, 4); return __builtin_bswap32(v); }
inline uint64_t load_be64(const void *p) { uint64_t v; std::memcpy(&v, p, 8); return __builtin_bswap64(v); }
inline void store_be16(void *p, uint16_t v) { v = __builtin_bswap16(v); std::memcpy(p, &v, 2); }
inline void store_be32(void *p, uint32_t v) { v = __builtin_bswap32(v); std::memcpy(p, &v, 4); }
inline void store_be64(void *p, uint64_t v) { v = __builtin_bswap64(v); std::memcpy(p, &v, 8); }
// Host-order loads and stores at any alignment.
inline uint16_t load16(const void *p) { uint16_t v; std::memcpy(&v, p, 2); return v; }
inline uint32_t load32(const void *p) { uint32_t v; std::memcpy(&v, p, 4); return v; }
inline uint64_t load64(const void *p) { uint64_t v; std::memcpy(&v, p, 8); return v; }
inline void store16(void *p, uint16_t v) { std::memcpy(p, &v, 2); }
inline void store32(void *p, uint32_t v) { std::memcpy(p, &v, 4); }
inline void store64(void *p, uint64_t v) { std::memcpy(p, &v, 8); }

// One numeric field of a record: where it lies and how wide it is (2, 4 or 8).
struct Field {
    uint16_t offset;
    uint8_t width;
};

// Reached only when a layout is wrong; not constexpr, so a bad layout stops
// the compilation.
void layout_error_field_outside_record_or_bad_width();

// A field as a layout admits it: inside the record of RecordSize bytes, and
// 2, 4 or 8 bytes wide.
template <std::size_t RecordSize>
consteval Field checked_field(Field f) {
    if ((f.width != 2 && f.width != 4 && f.width != 8) || f.offset + f.width > RecordSize)
        layout_error_field_outside_record_or_bad_width();
    return f;
}

// The numeric fields of a record of RecordSize bytes, checked at compile
// time.
template <std::size_t RecordSize, std::size_t N>
consteval std::array<Field, N> layout(const Field (&fields)[N]) {
    std::array<Field, N> out{};
    for (std::size_t i = 0; i < N; ++i) out[i] = checked_field<RecordSize>(fields[i]);
    return out;
}

// A run of count fields of one width, step bytes apart from first on.
template <std::size_t RecordSize, std::size_t N>
consteval std::array<Field, N> layout_run(uint16_t first, uint8_t width, uint16_t step) {
    std::array<Field, N> out{};
    for (std::size_t i = 0; i < N; ++i)
        out[i] = checked_field<RecordSize>(Field{static_cast<uint16_t>(first + i * step), width});
    return out;
}

// Concatenates layouts.
template <std::size_t A, std::size_t B>
consteval std::array<Field, A + B> join(const std::array<Field, A> &a, const std::array<Field, B> &b) {
    std::array<Field, A + B> out{};
    for (std::size_t i = 0; i < A; ++i) out[i] = a[i];
    for (std::size_t i = 0; i < B; ++i) out[A + i] = b[i];
    return out;
}

// Reverses the bytes of one field in place.  Done byte by byte so that the
// compiler never sees a wide access that a narrow record cannot hold.
inline void reverse_bytes(uint8_t *p, unsigned width) {
    for (unsigned i = 0, j = width - 1; i < j; ++i, --j) {
        const uint8_t t = p[i];
        p[i] = p[j];
        p[j] = t;
    }
}

// Swaps every listed field of the record at base in place.
inline void swap_fields(void *base, std::span<const Field> fields) {
    auto *p = static_cast<uint8_t *>(base);
    for (const Field &f : fields) reverse_bytes(p + f.offset, f.width);
}

// Swaps the fields of a record only as far as `available` bytes reach: a
// field that would run past them is left alone.
inline void swap_fields_within(void *base, std::size_t available, std::span<const Field> fields) {
    auto *p = static_cast<uint8_t *>(base);
    for (const Field &f : fields)
        if (f.offset + f.width <= available) reverse_bytes(p + f.offset, f.width);
}

// A zero-filled request payload of N bytes, written in network order.
template <std::size_t N>
class Payload {
public:
    void put16(std::size_t off, uint16_t v) { static_assert(N >= 2); check(off, 2); store_be16(bytes_ + off, v); }
    void put32(std::size_t off, uint32_t v) { static_assert(N >= 4); check(off, 4); store_be32(bytes_ + off, v); }
    void put64(std::size_t off, uint64_t v) { static_assert(N >= 8); check(off, 8); store_be64(bytes_ + off, v); }
    void put8(std::size_t off, uint8_t v) { check(off, 1); bytes_[off] = v; }
    // Copies bytes as they stand (no conversion).
    void copy(std::size_t off, const void *src, std::size_t len) { check(off, len); std::memcpy(bytes_ + off, src, len); }
    uint8_t *data() { return bytes_; }
    const uint8_t *data() const { return bytes_; }
    static constexpr uint32_t size() { return static_cast<uint32_t>(N); }

private:
    static void check(std::size_t off, std::size_t len) {
        if (off + len > N) __builtin_trap();  // a payload layout bug, never data
    }
    uint8_t bytes_[N] = {};
};

}  // namespace dpmgmt

#endif
