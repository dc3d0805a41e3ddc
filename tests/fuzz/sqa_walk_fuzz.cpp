// SPDX-License-Identifier: Apache-2.0
// Arbitrary call-table chunks into all five call displays: the item walk
// must never read past a chunk, an entry or the pull buffer, and every dump
// must be ended.
#include <vector>

#include "dpmgmt/sqa.h"
#include "fuzz/fuzz_support.h"

namespace {

// The verbose SIP display hands the kernel the caller's whole 65-byte buffer.
char g_sipCallId[SQA_CALLID_SIZE] = "call-1@example";

struct Display {
    uint32_t dumpType;
    uint16_t itemType;
    void (*show)();
};

const Display kDisplays[] = {
    {0x14001b, 27, [] { (void)SQA_DUMP_DisSipCallEntry(1); }},
    {0x14001c, 28, [] { (void)SQA_DUMP_DisSipCallEntryVerbose(1, g_sipCallId, 1); }},
    {0x14001f, 31, [] { (void)SQA_DUMP_DisH323CallEntry(1); }},
    {0x140020, 32, [] { (void)SQA_DUMP_DisH323CallEntryVerbose(1, "id"); }},
    {0x140021, 33, [] { (void)SQA_DUMP_ProbeDisH323CallEntry(1, "id"); }},
};

// Mostly well-framed items of the display's type, with lengths that may lie
// and types that may not fit; sometimes raw bytes.
fake::Bytes make_chunk(fuzz::Input &in, uint16_t itemType) {
    const uint8_t mode = in.byte();
    if (mode % 4 == 0) return in.take(in.byte() * 8u);
    fake::Bytes chunk;
    const unsigned items = 1 + mode % 8;
    for (unsigned i = 0; i < items && !in.empty(); ++i) {
        const uint8_t sel = in.byte();
        const uint16_t type = sel < 200 ? itemType : static_cast<uint16_t>(sel);
        const uint16_t length = in.u16() % 700;
        const fake::Bytes value = in.take(sel % 5 == 0 ? length / 2u : length);  // a short take lies about its length
        chunk = fake::cat({chunk, fake::be16(type), fake::be16(length), value});
    }
    return chunk;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    for (const Display &d : kDisplays) {
        fake::reset();
        fuzz::Input in(data, size);
        std::vector<fake::Pull> pulls;
        const unsigned chunks = 1 + in.byte() % 4;
        for (unsigned c = 0; c < chunks; ++c) pulls.push_back(fake::chunk(make_chunk(in, d.itemType)));
        pulls.push_back({0, {}});
        fake::script_dump(d.dumpType, pulls);
        {
            const fuzz::QuietStdout quiet;
            d.show();
        }
        fuzz::check(fake::open_dumps() == 0);
    }
    return 0;
}
