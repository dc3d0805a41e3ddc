// SPDX-License-Identifier: Apache-2.0
// Byte order of the converters no display or command exercises: the tuple
// both ways, and a table key turned back, which (unlike a tuple) turns an
// IPv4 address word too.  Nothing outside the record may change.
#include <cstring>
#include <string>

#include "dpmgmt/session.h"
#include "fake/fake_platform.h"

using fake::Bytes;

namespace {

template <class Record, void (*Convert)(Record *)>
void as(uint8_t *bytes) {
    Convert(reinterpret_cast<Record *>(bytes));
}

TEST(RecordConverters, AddressWordTurnsOnlyWhereTheFamilySaysIpv4) {
    struct Case {
        const char *what;
        size_t size;
        bool turnsIpv4;
        void (*convert)(uint8_t *);
    };
    const Case cases[] = {
        {"HTON tuple", sizeof(SESSION_TUPLE_S), true, as<SESSION_TUPLE_S, SESSION_HTON_TUPLE>},
        {"NTOH tuple", sizeof(SESSION_TUPLE_S), false, as<SESSION_TUPLE_S, SESSION_NTOH_TUPLE>},
        {"NTOH table key", sizeof(SESSION_TABLEKEY_S), true, as<SESSION_TABLEKEY_S, SESSION_NTOH_TABLEKEY>},
    };
    for (const Case &c : cases) {
        for (const uint8_t family : {uint8_t{2}, uint8_t{10}, uint8_t{0}}) {
            SCOPED_TRACE(std::string(c.what) + " family " + std::to_string(family));
            alignas(8) uint8_t work[8 + 128 + 8];
            std::memset(work, 0x5A, sizeof work);
            uint8_t *rec = work + 8;
            std::memset(rec, 0, c.size);
            rec[0] = family;
            const uint8_t word[4] = {1, 2, 3, 4}, port[2] = {0x00, 0x50};
            std::memcpy(rec + 4, word, 4);
            std::memcpy(rec + 36, port, 2);
            c.convert(rec);
            const bool turned = c.turnsIpv4 && family == SESSION_AF_IPV4;
            EXPECT_EQ(fake::hex(rec + 4, 4), turned ? "04 03 02 01" : "01 02 03 04");
            EXPECT_EQ(fake::hex(rec + 36, 2), "50 00");  // the source port, either way
            EXPECT_EQ(fake::hex(work, 8), fake::hex(Bytes(8, 0x5A)));
            EXPECT_EQ(fake::hex(rec + c.size, 8), fake::hex(Bytes(8, 0x5A)));
        }
    }
}

}  // namespace
