// SPDX-License-Identifier: Apache-2.0
// The SQA configuration store on the fake's in-memory database: the bytes
// stored under each key, writes that must not happen, readers' bounds.
#include <set>

#include "sqa_fixture.h"

using fake::Bytes;

namespace {

class SqaStore : public SqaTest {
protected:
    uint64_t init() {
        EXPECT_EQ(SQA_DB_Init(), 0u);
        return g_hSqaGlobalCfgHandle;
    }
};

TEST_F(SqaStore, WritesBeforeInitFailWithoutTouchingTheDatabase) {
    const SQA_REMARK_S remark{1, 2, 1, 3};
    for (uint32_t rc : {SQA_DB_SetSipEnable(1), SQA_DB_SetRemark(&remark)}) EXPECT_EQ(rc, DPMGMT_ERR_FAILED);
    EXPECT_TRUE(fake::calls().empty());
}

TEST_F(SqaStore, OpenLifecycle) {
    const uint64_t h = init();
    const fake::Call &open = fake::nth("DBM_Open");
    EXPECT_EQ(open.text, "gSqa/sqa");
    EXPECT_EQ(open.args, (std::vector<uint64_t>{7, 1}));

    // A reader takes the open handle as it is.
    EXPECT_EQ(SQA_DB_OpenForRead("gSqa"), h);
    EXPECT_EQ(fake::count("DBM_Open"), 1u);

    SQA_DB_Fini();
    EXPECT_EQ(fake::last("DBM_Close").args[0], h);
    EXPECT_EQ(g_hSqaGlobalCfgHandle, UINT64_MAX);
    SQA_DB_Fini();
    EXPECT_EQ(fake::count("DBM_Close"), 1u);

    // Closed: the reader opens with mode 1 and keeps the handle.
    const uint64_t r = SQA_DB_OpenForRead("gSqa");
    EXPECT_EQ(fake::last("DBM_Open").args[0], 1u);
    EXPECT_EQ(g_hSqaGlobalCfgHandle, r);
}

TEST_F(SqaStore, FailedOpensLeaveTheHandle) {
    fake::hooks().DBM_Open = [](const char *, const char *, uint32_t, uint64_t *h) {
        *h = 5;  // a failed open's handle is not taken
        return 1u;
    };
    EXPECT_EQ(SQA_DB_Init(), DPMGMT_ERR_FAILED);
    EXPECT_EQ(SQA_DB_OpenForRead("gSqa"), UINT64_MAX);
    EXPECT_EQ(g_hSqaGlobalCfgHandle, UINT64_MAX);
    EXPECT_EQ(fake::count("DBM_Open"), 2u);
    for (uint32_t rc : {SQA_DB_AddSqaView(), SQA_DB_ChkSqaViewExist(), SQA_DB_DelSqaView()})
        EXPECT_EQ(rc, DPMGMT_ERR_FAILED);
}

TEST_F(SqaStore, UnchangedValuesWriteNothing) {
    init();
    g_stSqaSipDbValue.stFilter = SQA_FILTER_S{0x0001A8C0, 0x0100000A, 24, 0};
    const SQA_FILTER_S onlyReserved{0x0001A8C0, 0x0100000A, 24, 0x7777};
    for (uint32_t rc : {SQA_DB_SetSipPort(5060), SQA_DB_SetH225Port(1720), SQA_DB_SetSipEnable(0),
                        SQA_DB_SetH323Enable(0), SQA_DB_SetSipFilterIp(&onlyReserved)})
        EXPECT_EQ(rc, 0u);
    EXPECT_EQ(fake::count("DBM_SetBinary"), 0u);
}

TEST_F(SqaStore, SettingsRecordBytes) {
    const uint64_t h = init();
    EXPECT_EQ(SQA_DB_SetSipEnable(1), 0u);
    const fake::Call &w = fake::last("DBM_SetBinary");
    EXPECT_EQ(w.text, "SQA-SIP");
    EXPECT_EQ(w.args, (std::vector<uint64_t>{h, 8, 0, 20, 0}));
    EXPECT_EQ(fake::hex(w.bytes), "13 c4 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 00 00");
    // The in-memory copy is the caller's to refresh.
    EXPECT_EQ(g_stSqaSipDbValue.usEnable, 0u);

    // A filter replaces all 12 bytes; the address words go as given.
    g_stSqaSipDbValue.usEnable = 1;
    const SQA_FILTER_S f{0x0001A8C0, 0x0100000A, 24, 0xABCD};
    EXPECT_EQ(SQA_DB_SetSipFilterIp(&f), 0u);
    EXPECT_EQ(fake::hex(fake::last("DBM_SetBinary").bytes),
              "13 c4 00 00 c0 a8 01 00 0a 00 00 01 00 18 cd ab 00 01 00 00");

    EXPECT_EQ(SQA_DB_SetH225Port(5000), 0u);
    EXPECT_EQ(fake::last("DBM_SetBinary").text, "SQA-H323");
    EXPECT_EQ(fake::last("DBM_SetBinary").args, (std::vector<uint64_t>{h, 9, 0, 16, 1}));
    EXPECT_EQ(fake::hex(fake::last("DBM_SetBinary").bytes), "00 00 13 88 00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(SQA_DB_SetH323Enable(1), 0u);
    EXPECT_EQ(fake::hex(fake::last("DBM_SetBinary").bytes), "00 01 06 b8 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(SqaStore, SqaViewCreatesOnceAndDeletes) {
    const uint64_t h = init();
    SQA_H323_DBVALUE_S v{1, 1720, {0x04030201, 0x08070605, 3, 0}};
    EXPECT_EQ(SQA_DB_SetSqaView(0, &v), 0u);  // nothing to delete
    EXPECT_EQ(fake::count("DBM_DeleteKey"), 0u);

    EXPECT_EQ(SQA_DB_SetSqaView(1, &v), 0u);
    EXPECT_EQ(fake::last("DBM_SetBinary").args, (std::vector<uint64_t>{h, 9, 0, 16, 1}));
    EXPECT_EQ(fake::hex(fake::db_entry(h, "SQA-H323")->value), "00 01 06 b8 01 02 03 04 05 06 07 08 00 03 00 00");
    EXPECT_EQ(v.usH225Port, 1720u);  // the caller's record is not converted

    EXPECT_EQ(SQA_DB_SetSqaView(1, &v), DPMGMT_ERR_EXIST);
    EXPECT_EQ(fake::count("DBM_SetBinary"), 1u);

    // The delete's own result is what the caller gets.
    fake::hooks().DBM_DeleteKey = [](uint64_t, const std::string &) { return -5; };
    EXPECT_EQ(SQA_DB_SetSqaView(2, &v), static_cast<uint32_t>(-5));
    EXPECT_EQ(fake::last("DBM_DeleteKey").text, "SQA-H323");
}

TEST_F(SqaStore, ViewOperationsOpenForThemselves) {
    EXPECT_EQ(SQA_DB_ChkSqaViewExist(), DPMGMT_ERR_FAILED);
    EXPECT_EQ(SQA_DB_AddSqaView(), 0u);
    const uint64_t h = fake::db_handle("gSqa");
    EXPECT_EQ(fake::last("DBM_Open").args[0], 2u);
    EXPECT_EQ(fake::last("DBM_SetBinary").args, (std::vector<uint64_t>{h, 8, 0, 20, 0}));
    EXPECT_EQ(fake::hex(fake::db_entry(h, "SQA-SIP")->value),
              "13 c4 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(SQA_DB_ChkSqaViewExist(), 0u);

    // An existing view keeps its settings.
    fake::db_put_binary(h, "SQA-SIP", Bytes(20, 0x11));
    EXPECT_EQ(SQA_DB_AddSqaView(), 0u);
    EXPECT_EQ(fake::db_entry(h, "SQA-SIP")->value, Bytes(20, 0x11));

    EXPECT_EQ(SQA_DB_DelSqaView(), 0u);
    EXPECT_EQ(fake::db_entry(h, "SQA-SIP"), nullptr);
    EXPECT_EQ(SQA_DB_DelSqaView(), 0u);
    EXPECT_EQ(fake::count("DBM_DeleteKey"), 1u);
    EXPECT_EQ(g_hSqaGlobalCfgHandle, UINT64_MAX);  // they never take the global handle
}

TEST_F(SqaStore, RemarkList) {
    const uint64_t h = init();
    char key[4];
    EXPECT_EQ(sqa_db_GetRemarkKey(sizeof key, key), 4u);  // cut: "SQA" and the NUL

    const SQA_REMARK_S a{0x01020304, 5, 1, 46};
    const SQA_REMARK_S b{0x01020304, 6, 1, 10};
    EXPECT_EQ(SQA_DB_SetRemark(&b), 0u);
    const fake::Call &create = fake::nth("DBM_CreateSortList");
    EXPECT_EQ(create.text, "SQA-REMARK");
    EXPECT_EQ(create.args, (std::vector<uint64_t>{h, 11, 2, 2}));
    EXPECT_EQ(create.bytes, fake::cat({le32(0), le32(4), le32(19), le32(0), le32(4), le32(4), le32(19), le32(0)}));
    EXPECT_EQ(SQA_DB_SetRemark(&a), 0u);
    EXPECT_EQ(fake::count("DBM_CreateSortList"), 1u);
    EXPECT_EQ(fake::last("DBM_InsertSortList").args, (std::vector<uint64_t>{h, 11, 12, 2}));

    const fake::DbEntry *list = fake::db_entry(h, "SQA-REMARK");
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->elements,
              (std::vector<Bytes>{{1, 2, 3, 4, 0, 0, 0, 5, 0, 1, 0, 0x2e}, {1, 2, 3, 4, 0, 0, 0, 6, 0, 1, 0, 0x0a}}));

    // Removal goes by the two keys; the last one takes the list with it.
    const SQA_REMARK_S removeA{0x01020304, 5, 0, 999};
    EXPECT_EQ(SQA_DB_SetRemark(&removeA), 0u);
    EXPECT_EQ(fake::hex(fake::last("DBM_RemoveSortList").bytes), "01 02 03 04 00 00 00 05 00 00 03 e7");
    EXPECT_NE(fake::db_entry(h, "SQA-REMARK"), nullptr);
    const SQA_REMARK_S removeB{0x01020304, 6, 2, 0};
    EXPECT_EQ(SQA_DB_SetRemark(&removeB), 0u);
    EXPECT_EQ(fake::db_entry(h, "SQA-REMARK"), nullptr);
    EXPECT_EQ(fake::last("DBM_DeleteKey").text, "SQA-REMARK");

    // Removing from no list fails and leaves no list behind.
    const SQA_REMARK_S r{1, 2, 0, 0};
    EXPECT_EQ(SQA_DB_SetRemark(&r), DPMGMT_ERR_FAILED);
    EXPECT_EQ(fake::db_entry(h, "SQA-REMARK"), nullptr);
}

// Readers take their handle as an argument; the store is opened first.
class SqaStoreReaders : public SqaStore {
protected:
    void SetUp() override {
        SqaStore::SetUp();
        h = init();
        fake::calls().clear();
    }
    uint64_t h = 0;
};

TEST_F(SqaStoreReaders, MissingKeysAndFailedReads) {
    SQA_SIP_DBVALUE_S sip;
    EXPECT_EQ(SQA_DB_GetSipDBValue(h, &sip), -1);
    EXPECT_EQ(fake::last("DBM_IsKeyExist").args, (std::vector<uint64_t>{h, 8}));
    EXPECT_EQ(fake::count("DBM_GetBinary"), 0u);

    // Existence is judged by the low 16 bits only; a failed read is the
    // database's own code.
    fake::hooks().DBM_IsKeyExist = [](uint64_t, const std::string &) { return 0x10001; };
    fake::hooks().DBM_GetBinary = [](uint64_t, const std::string &, uint32_t, void *) { return -3; };
    SQA_H323_DBVALUE_S h323;
    EXPECT_EQ(SQA_DB_GetH323DBValue(h, &h323), -3);
    EXPECT_EQ(fake::last("DBM_GetBinary").args, (std::vector<uint64_t>{h, 9, 0, 64}));
}

TEST_F(SqaStoreReaders, ShortValuesPadLongValuesCut) {
    SQA_SIP_DBVALUE_S sip;
    std::memset(&sip, 0x5A, sizeof sip);
    fake::db_put_binary(h, "SQA-SIP", {0x13, 0xC4, 0xEE, 0xEE, 0xC0, 0xA8});
    EXPECT_EQ(SQA_DB_GetSipDBValue(h, &sip), 6);
    // The port turned, the filter padded, the caller's reserved words kept.
    EXPECT_EQ(fake::hex(&sip, sizeof sip), "c4 13 5a 5a c0 a8 00 00 00 00 00 00 00 00 00 00 00 00 5a 5a");

    Bytes longer = fake::cat({fake::be16(1720), fake::be16(1), Bytes{1, 2, 3, 4, 5, 6, 7, 8}, fake::be16(9),
                              Bytes{0xAA, 0xBB}, Bytes(20, 0xFF)});
    fake::db_put_binary(h, "SQA-H323", longer);
    SQA_H323_DBVALUE_S h323;
    EXPECT_EQ(SQA_DB_GetH323DBValue(h, &h323), 36);
    EXPECT_EQ(fake::hex(&h323, sizeof h323), "b8 06 01 00 01 02 03 04 05 06 07 08 09 00 aa bb");
}

TEST_F(SqaStoreReaders, RecoveryHandsOverTheDatabasesAnswer) {
    fake::hooks().DBM_Batch_Proc = [](uint64_t, uint64_t, const DBM_BATCH_S *, uint32_t) { return -7; };
    const DBM_BATCH_S batch[2] = {};
    EXPECT_EQ(SQA_DB_RecoverCfg(batch, 2), -7);
    EXPECT_EQ(fake::last("DBM_Batch_Proc").args, (std::vector<uint64_t>{h, UINT64_MAX, 2}));
}

}  // namespace
