// SPDX-License-Identifier: Apache-2.0
// Byte order of the session records: the worked examples, and the one
// decision the layouts do not make by themselves — whether an address
// slot's first word is a number (IPv4 keys handed over by the caller) or
// stays as the kernel sent it.  Which fields each record turns is guarded
// by the display and command tests, byte for byte.
#include <cstring>

#include "dpmgmt/session.h"
#include "fake/fake_platform.h"

using fake::Bytes;

namespace {

class RecordConverters : public FakePlatformTest {};

// A converter of any record, as one taking the record's bytes.
template <class Record, void (*Convert)(Record *)>
void as(uint8_t *bytes) {
    Convert(reinterpret_cast<Record *>(bytes));
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

// Each converter with an address slot: where its family byte lies, where
// its first address word lies, and whether that word turns for IPv4.
TEST_F(RecordConverters, AddressWordsTurnOnlyInIpv4Keys) {
    struct Case {
        const char *what;
        size_t size;
        size_t familyAt;
        size_t addressAt;
        bool turnsIpv4;
        void (*convert)(uint8_t *);
    };
    const Case cases[] = {
        {"HTON tuple", sizeof(SESSION_TUPLE_S), 0, 4, true, as<SESSION_TUPLE_S, SESSION_HTON_TUPLE>},
        {"NTOH tuple", sizeof(SESSION_TUPLE_S), 0, 4, false, as<SESSION_TUPLE_S, SESSION_NTOH_TUPLE>},
        {"HTON table key", sizeof(SESSION_TABLEKEY_S), 0, 20, true, as<SESSION_TABLEKEY_S, SESSION_HTON_TABLEKEY>},
        {"NTOH table key", sizeof(SESSION_TABLEKEY_S), 0, 20, true, as<SESSION_TABLEKEY_S, SESSION_NTOH_TABLEKEY>},
        {"HTON dump key", sizeof(SESSION_DUMPKEY_S), 80, 48, true, as<SESSION_DUMPKEY_S, SESSION_HTON_DUMPKEY>},
        {"HTON relation key", 44, 40, 16, true, as<SESSION_RELATION_KEY_S, SESSION_HTON_RELATION_KEY>},
        {"NTOH table info", 172, 0, 4, false, as<SESSION_TABLEINFO_S, SESSION_NTOH_TABLEINFO>},
        {"NTOH relation detail", 208, 0, 20, false, as<SESSION_RELATIONINFOALL_S, SESSION_NTOH_RELATIONINFOALL>},
    };
    for (const Case &c : cases) {
        for (const uint8_t family : {uint8_t{2}, uint8_t{10}, uint8_t{0}}) {
            // The record between guard bytes: nothing outside it may change.
            alignas(8) uint8_t work[8 + 256 + 8];
            std::memset(work, 0x5A, sizeof work);
            uint8_t *rec = work + 8;
            std::memset(rec, 0, c.size);
            rec[c.familyAt] = family;
            const uint8_t word[4] = {1, 2, 3, 4};
            std::memcpy(rec + c.addressAt, word, 4);
            c.convert(rec);
            const bool turned = c.turnsIpv4 && family == SESSION_AF_IPV4;
            EXPECT_EQ(fake::hex(rec + c.addressAt, 4), turned ? "04 03 02 01" : "01 02 03 04")
                << c.what << " family " << unsigned(family);
            EXPECT_EQ(fake::hex(work, 8), fake::hex(Bytes(8, 0x5A))) << c.what;
            EXPECT_EQ(fake::hex(rec + c.size, 8), fake::hex(Bytes(8, 0x5A))) << c.what;
        }
    }
}

// The dump key's family byte is at 80: a 2 anywhere else turns nothing.
TEST_F(RecordConverters, DumpKeyFamilyIsTheByteAt80) {
    SESSION_DUMPKEY_S key{};
    key.aucAddr1[0] = 2;  // looks like a family byte at 0, but is not one
    key.aucAddr1[3] = 9;
    key.ucFamily = 3;
    SESSION_HTON_DUMPKEY(&key);
    EXPECT_EQ(fake::hex(key.aucAddr1, 4), "02 00 00 09");
}

}  // namespace
