// SPDX-License-Identifier: Apache-2.0
// Byte order at the library's one boundary with the wire.
//
// A record's numeric fields are described once, as a list of (offset,
// width) pairs checked against the record's size at compile time, and
// converted by applying the list.  Converting between host and network order
// is the same byte swap in both directions on a little-endian host, which
// the static assertion below insists on.
#ifndef DPMGMT_CHANNELS_WIRE_H
#define DPMGMT_CHANNELS_WIRE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace dpmgmt {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the record converters turn bytes unconditionally: a big-endian host needs no turn at all");

inline uint16_t bswap(uint16_t v) { return __builtin_bswap16(v); }
inline uint32_t bswap(uint32_t v) { return __builtin_bswap32(v); }
inline uint64_t bswap(uint64_t v) { return __builtin_bswap64(v); }

// Network-order loads and stores at any alignment.
inline uint16_t load_be16(const void *p) { uint16_t v; std::memcpy(&v, p, 2); return __builtin_bswap16(v); }
inline uint32_t load_be32(const void *p) { uint32_t v; std::memcpy(&v, p, 4); return __builtin_bswap32(v); }
inline void store_be16(void *p, uint16_t v) { v = __builtin_bswap16(v); std::memcpy(p, &v, 2); }
inline void store_be32(void *p, uint32_t v) { v = __builtin_bswap32(v); std::memcpy(p, &v, 4); }
// Host-order loads and stores at any alignment.
inline uint16_t load16(const void *p) { uint16_t v; std::memcpy(&v, p, 2); return v; }
inline uint32_t load32(const void *p) { uint32_t v; std::memcpy(&v, p, 4); return v; }
inline void store16(void *p, uint16_t v) { std::memcpy(p, &v, 2); }

// One numeric field of a record: where it lies and how wide it is (2, 4 or 8).
struct Field {
    uint16_t offset;
    uint8_t width;
};

// A field named by its record and member: offset and width both come from
// the declaration, so no number is written twice.  Works for array elements
// too: DPMGMT_FIELD(R, auiWord[2]).
#define DPMGMT_FIELD(Record, member) \
    ::dpmgmt::Field { static_cast<uint16_t>(offsetof(Record, member)), static_cast<uint8_t>(sizeof(Record::member)) }

// The numeric fields of one record type.  The converters take only a layout
// of the record they are handed, so a layout cannot be applied to another
// record by mistake.
template <class Record, std::size_t N>
struct Layout {
    std::array<Field, N> fields;
};

// Reached only when a layout is wrong; not constexpr, so a bad layout stops
// the compilation.
void layout_error_field_outside_record_or_bad_width();

// A field as a layout of Record admits it: inside the record, and 2, 4 or 8
// bytes wide.
template <class Record>
consteval Field checked_field(Field f) {
    if ((f.width != 2 && f.width != 4 && f.width != 8) || f.offset + f.width > sizeof(Record))
        layout_error_field_outside_record_or_bad_width();
    return f;
}

// The listed numeric fields of Record, checked at compile time.
template <class Record, std::size_t N>
consteval Layout<Record, N> layout(const Field (&fields)[N]) {
    Layout<Record, N> out{};
    for (std::size_t i = 0; i < N; ++i) out.fields[i] = checked_field<Record>(fields[i]);
    return out;
}

// A run of N fields of `width` bytes from `first` on, `step` bytes apart
// (packed when step is 0): an array member, or one number of each entry of
// an array of entries.
template <class Record, std::size_t N>
consteval Layout<Record, N> layout_run(std::size_t first, std::size_t width, std::size_t step = 0) {
    if (step == 0) step = width;
    Layout<Record, N> out{};
    for (std::size_t i = 0; i < N; ++i)
        out.fields[i] = checked_field<Record>(
            Field{static_cast<uint16_t>(first + i * step), static_cast<uint8_t>(width)});
    return out;
}

// Every element of the numeric array member `member` of Record (of any
// rank: a [8][10] member gives 80 fields).
#define DPMGMT_ARRAY_FIELDS(Record, member)                                                      \
    ::dpmgmt::layout_run<Record, sizeof(Record::member) /                                       \
                                     sizeof(std::remove_all_extents_t<decltype(Record::member)>)>( \
        offsetof(Record, member), sizeof(std::remove_all_extents_t<decltype(Record::member)>))

// Concatenates layouts of one record.
template <class Record, std::size_t A, std::size_t B>
consteval Layout<Record, A + B> join(const Layout<Record, A> &a, const Layout<Record, B> &b) {
    Layout<Record, A + B> out{};
    for (std::size_t i = 0; i < A; ++i) out.fields[i] = a.fields[i];
    for (std::size_t i = 0; i < B; ++i) out.fields[A + i] = b.fields[i];
    return out;
}

template <class Record, std::size_t A, std::size_t B, class... Rest>
consteval auto join(const Layout<Record, A> &a, const Layout<Record, B> &b, const Rest &...rest) {
    return join(join(a, b), rest...);
}

// The layout of a member record (a tuple inside an entry, say) placed at its
// offset inside the outer record.
template <class Outer, class Inner, std::size_t N>
consteval Layout<Outer, N> nest(const Layout<Inner, N> &inner, std::size_t offset) {
    Layout<Outer, N> out{};
    for (std::size_t i = 0; i < N; ++i)
        out.fields[i] = checked_field<Outer>(
            Field{static_cast<uint16_t>(offset + inner.fields[i].offset), inner.fields[i].width});
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

// Swaps every listed field of the record in place.
template <class Record, std::size_t N>
void swap_fields(Record *record, const Layout<Record, N> &layout) {
    auto *p = reinterpret_cast<uint8_t *>(record);
    for (const Field &f : layout.fields) reverse_bytes(p + f.offset, f.width);
}

// Swaps the fields of a record only as far as `available` bytes reach: a
// field that would run past them is left alone.
template <class Record, std::size_t N>
void swap_fields_within(Record *record, std::size_t available, const Layout<Record, N> &layout) {
    auto *p = reinterpret_cast<uint8_t *>(record);
    for (const Field &f : layout.fields)
        if (f.offset + f.width <= available) reverse_bytes(p + f.offset, f.width);
}

}  // namespace dpmgmt

#endif
