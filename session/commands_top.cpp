// Top statistics queries.  The replies are large and land in the caller's
// buffer; after a successful exchange a fixed extent of it is turned to
// host order, whatever the reply's length, so the caller's buffer must be
// at least that large (SESSION_TOP_*_REPLY_SIZE).
#include "dpmgmt/session.h"
#include "session/commands_io.h"

namespace {

using dpmgmt::join;
using dpmgmt::layout;
using dpmgmt::layout_run;
using namespace dpmgmt::session_cmd;

// Twenty 32-byte entries; only each entry's 64-bit value at 8 is a number.
constexpr auto kRanking = layout_run<SESSION_TOP_STATISTICS_REPLY_SIZE, 20>(8, 8, 32);
// A head of u16, u16, u32, u64, sixteen bytes as received, then 720 samples.
constexpr auto kSamples = join(layout<SESSION_TOP_SAMPLES_REPLY_SIZE>({{0, 2}, {2, 2}, {4, 4}, {8, 8}}),
                               layout_run<SESSION_TOP_SAMPLES_REPLY_SIZE, 720>(32, 4, 4));
constexpr auto kSampleTimes = layout_run<SESSION_TOP_SAMPLE_TIME_REPLY_SIZE, 721>(0, 4, 4);

constexpr auto kQueryWords = layout_run<12, 3>(0, 4, 4);
constexpr uint16_t kRankingEntriesWanted = 10;

uint32_t query_top(uint32_t type, const void *req, uint32_t reqLen, uint32_t replyMax, void *reply,
                   std::span<const dpmgmt::Field> fields) {
    if (reply == nullptr) return DPMGMT_ERR_FAILED;
    const uint32_t rc = dpmgmt::svc_query(type, req, reqLen, reply, replyMax);
    if (rc != DPMGMT_OK) return rc;
    dpmgmt::swap_fields(reply, fields);
    return DPMGMT_OK;
}

// The query words of types 18 (three) and 19 (two), in network order.
template <std::size_t Words>
uint32_t query_top_words(uint32_t type, const uint32_t *query, uint32_t replyMax, void *reply,
                         std::span<const dpmgmt::Field> fields) {
    if (query == nullptr) return DPMGMT_ERR_FAILED;
    uint8_t req[Words * 4];
    to_wire(req, query, std::span(kQueryWords).first(Words));
    return query_top(type, req, sizeof(req), replyMax, reply, fields);
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t SESSION_IPC_DisTopStatistics(uint8_t selector, uint32_t replyMax, void *reply) {
    uint8_t req[4] = {};
    place(req, sizeof(req), {{0, 1, selector}, {2, 2, kRankingEntriesWanted}});
    return query_top(kDisTopStatistics, req, sizeof(req), replyMax, reply, kRanking);
}

DPMGMT_API uint32_t SESSION_IPC_GetTopStatistics(const uint32_t query[3], uint32_t replyMax, void *reply) {
    return query_top_words<3>(kGetTopStatistics, query, replyMax, reply, kSamples);
}

DPMGMT_API uint32_t SESSION_IPC_GetTopSampleTime(const uint32_t query[2], uint32_t replyMax, void *reply) {
    return query_top_words<2>(kGetTopSampleTime, query, replyMax, reply, kSampleTimes);
}

}  // extern "C"
