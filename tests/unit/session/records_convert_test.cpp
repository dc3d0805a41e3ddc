// Byte order of the session records: the worked examples, round trips, and
// for every converter the exact bytes it leaves — listed fields reversed,
// every other byte as it was.
#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "dpmgmt/session.h"
#include "fake/fake_platform.h"

using fake::Bytes;

namespace {

struct F {
    int offset;
    int width;
};

// A pattern in which neighbouring bytes differ, so a swapped field shows.
Bytes pattern(size_t size) {
    Bytes b(size);
    for (size_t i = 0; i < size; ++i) b[i] = static_cast<uint8_t>(i * 37 + 11);
    return b;
}

Bytes reversed_fields(Bytes b, const std::vector<F> &fields) {
    for (const F &f : fields) std::reverse(b.begin() + f.offset, b.begin() + f.offset + f.width);
    return b;
}

std::vector<F> shifted(const std::vector<F> &fields, int base) {
    std::vector<F> out;
    for (const F &f : fields) out.push_back({f.offset + base, f.width});
    return out;
}

std::vector<F> operator+(std::vector<F> a, const std::vector<F> &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// The fields of a tuple that always turn, and its two IPv4 address words.
const std::vector<F> kTupleNumbers = {{36, 2}, {38, 2}, {40, 4}, {44, 2}};
const std::vector<F> kTupleAddresses = {{4, 4}, {20, 4}};

// A converter of any record, as one taking the record's bytes.
template <class T>
std::function<void(void *)> as(void (*convert)(T *)) {
    return [convert](void *p) { convert(static_cast<T *>(p)); };
}

struct Case {
    const char *what;
    size_t size;
    std::vector<std::pair<int, uint8_t>> set;  // bytes forced before converting (family bytes)
    std::function<void(void *)> convert;
    std::vector<F> turned;
};

class RecordConverters : public FakePlatformTest {};

TEST_F(RecordConverters, TurnExactlyTheListedFields) {
    const std::vector<F> tableKeyWords = {{48, 4}, {52, 4}};
    const std::vector<F> dumpKeyAddresses = {{0, 4}, {16, 4}, {32, 4}, {48, 4}};
    const std::vector<F> dumpKeyNumbers = {{64, 2}, {66, 2}, {68, 2}, {72, 4}, {76, 4}};
    const std::vector<F> attach = {{0, 4}, {4, 4}, {28, 2}, {30, 2}, {32, 2}};
    std::vector<F> tableInfo;
    for (int off = 128; off <= 160; off += 4) tableInfo.push_back({off, 4});
    tableInfo = tableInfo + std::vector<F>{{166, 2}, {168, 2}};
    const std::vector<F> relationAll = {
        {104, 8}, {112, 8}, {168, 8}, {200, 8}, {120, 4}, {124, 4}, {128, 4}, {132, 4}, {136, 4}, {140, 4},
        {144, 4}, {148, 4}, {152, 4}, {176, 4}, {184, 4}, {156, 2}, {158, 2}, {160, 2}, {162, 2}, {164, 2},
        {180, 2}, {182, 2}, {192, 2}};

    const auto tuple = as(SESSION_HTON_TUPLE), tableKeyOut = as(SESSION_HTON_TABLEKEY),
               tableKeyIn = as(SESSION_NTOH_TABLEKEY), dumpKey = as(SESSION_HTON_DUMPKEY),
               relationKey = as(SESSION_HTON_RELATION_KEY);
    const Case cases[] = {
        {"HTON tuple IPv4", 48, {{0, 2}}, tuple, kTupleAddresses + kTupleNumbers},
        {"HTON tuple IPv6", 48, {{0, 10}}, tuple, kTupleNumbers},
        {"HTON tuple family 0", 48, {{0, 0}}, tuple, kTupleNumbers},
        {"NTOH tuple IPv4 keeps addresses", 48, {{0, 2}}, as(SESSION_NTOH_TUPLE), kTupleNumbers},
        {"HTON table key IPv4", 64, {{0, 2}}, tableKeyOut, kTupleAddresses + kTupleNumbers + tableKeyWords},
        {"HTON table key IPv6", 64, {{0, 10}}, tableKeyOut, kTupleNumbers + tableKeyWords},
        {"NTOH table key IPv4", 64, {{0, 2}}, tableKeyIn, kTupleAddresses + kTupleNumbers + tableKeyWords},
        {"NTOH table key IPv6", 64, {{0, 10}}, tableKeyIn, kTupleNumbers + tableKeyWords},
        {"HTON dump key IPv4", 88, {{80, 2}}, dumpKey, dumpKeyAddresses + dumpKeyNumbers},
        {"HTON dump key IPv6", 88, {{80, 10}}, dumpKey, dumpKeyNumbers},
        {"HTON dump key family 2 at byte 0 only", 88, {{0, 2}, {80, 3}}, dumpKey, dumpKeyNumbers},
        {"NTOH table info", 172, {{0, 2}, {48, 2}}, as(SESSION_NTOH_TABLEINFO),
         kTupleNumbers + shifted(kTupleNumbers, 48) + tableInfo},
        {"NTOH fast-forward info", 140, {{0, 2}, {48, 2}}, as(SESSION_NTOH_FASTFORWARDTABLEINFO),
         kTupleNumbers + shifted(kTupleNumbers, 48) + std::vector<F>{{128, 4}, {132, 4}, {136, 4}}},
        {"NTOH relation info", 76, {{0, 2}}, as(SESSION_NTOH_RELATIONINFO),
         kTupleNumbers + std::vector<F>{{64, 4}, {68, 4}, {72, 2}}},
        {"HTON relation key IPv4", 44, {{40, 2}}, relationKey, {{0, 4}, {16, 4}, {32, 4}, {36, 4}}},
        {"HTON relation key IPv6", 44, {{40, 10}}, relationKey, {{32, 4}, {36, 4}}},
        {"NTOH attach info", 36, {}, as(SESSION_NTOH_ATTACHINFO), attach},
        {"NTOH relation detail", 208, {{0, 2}}, as(SESSION_NTOH_RELATIONINFOALL),
         kTupleNumbers + shifted(attach, 48) + relationAll},
    };
    for (const Case &c : cases) {
        Bytes rec = pattern(c.size);
        for (const auto &[off, value] : c.set) rec[off] = value;
        const Bytes expected = reversed_fields(rec, c.turned);
        // The record sits between guard bytes: nothing outside it may change.
        Bytes buf(c.size + 16, 0x5A);
        std::memcpy(buf.data() + 8, rec.data(), c.size);
        alignas(8) uint8_t work[256 + 16];
        std::memcpy(work, buf.data(), buf.size());
        c.convert(work + 8);
        EXPECT_EQ(fake::hex(work + 8, c.size), fake::hex(expected)) << c.what;
        EXPECT_EQ(fake::hex(work, 8), fake::hex(Bytes(8, 0x5A))) << c.what;
        EXPECT_EQ(fake::hex(work + 8 + c.size, 8), fake::hex(Bytes(8, 0x5A))) << c.what;
    }
}

TEST_F(RecordConverters, WorkedTupleExamples) {
    SESSION_TUPLE_S v4{};
    v4.ucFamily = SESSION_AF_IPV4;
    const uint32_t src = 0x0A000001;  // 10.0.0.1 as a host-order number
    std::memcpy(v4.aucSrcAddr, &src, 4);
    v4.usSrcPort = 80;
    SESSION_HTON_TUPLE(&v4);
    EXPECT_EQ(fake::hex(v4.aucSrcAddr, 4), "0a 00 00 01");
    EXPECT_EQ(fake::hex(&v4.usSrcPort, 2), "00 50");

    // An entry from the kernel: address bytes stay for the formatter.
    SESSION_TUPLE_S in{};
    in.ucFamily = SESSION_AF_IPV4;
    const uint8_t addr[4] = {0xC0, 0xA8, 0x00, 0x01};
    std::memcpy(in.aucSrcAddr, addr, 4);
    const uint8_t port[2] = {0x00, 0x50};
    std::memcpy(&in.usSrcPort, port, 2);
    SESSION_NTOH_TUPLE(&in);
    EXPECT_EQ(fake::hex(in.aucSrcAddr, 4), "c0 a8 00 01");
    EXPECT_EQ(in.usSrcPort, 80);
}

}  // namespace
