// SPDX-License-Identifier: Apache-2.0
// Top statistics queries.  The replies are large and land in the caller's
// buffer; after a successful exchange a fixed extent of it is turned to
// host order, whatever the reply's length, so the caller's buffer must be
// at least that large (SESSION_TOP_*_REPLY_SIZE).
#include "channels/exchange.h"
#include "channels/protocol.h"
#include "dpmgmt/session.h"

using namespace dpmgmt;

namespace {

// The reply extents, as the service lays them out.
using Ranking = uint8_t[SESSION_TOP_STATISTICS_REPLY_SIZE];
using Samples = uint8_t[SESSION_TOP_SAMPLES_REPLY_SIZE];
using SampleTimes = uint8_t[SESSION_TOP_SAMPLE_TIME_REPLY_SIZE];

// Twenty 32-byte entries; only each entry's 64-bit value at 8 is a number.
constexpr auto kRanking = layout_run<Ranking, 20>(8, 8, 32);
// A head of u16, u16, u32, u64, sixteen bytes as received, then 720 samples.
constexpr auto kSamples =
    join(layout<Samples>({{0, 2}, {2, 2}, {4, 4}, {8, 8}}), layout_run<Samples, 720>(32, 4));
constexpr auto kSampleTimes = layout_run<SampleTimes, 721>(0, 4);

constexpr uint16_t kRankingEntriesWanted = 10;

template <class Reply, std::size_t N, class R>
uint32_t query_top(uint32_t type, const R &request, uint32_t replyMax, void *reply, const Layout<Reply, N> &layout) {
    if (reply == nullptr) return DPMGMT_ERR_FAILED;
    const uint32_t rc = svc_query(type, request.data(), request.size(), reply, replyMax);
    if (rc != DPMGMT_OK) return rc;
    swap_fields(static_cast<Reply *>(reply), layout);
    return DPMGMT_OK;
}

// The first `words` query words of types 18 (three) and 19 (two), in
// network order.
template <std::size_t Words>
Request<Words * 4> query_words(const uint32_t *query) {
    Request<Words * 4> req;
    for (std::size_t i = 0; i < Words; ++i) req.put32(4 * i, query[i]);
    return req;
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t SESSION_IPC_DisTopStatistics(uint8_t selector, uint32_t replyMax, void *reply) {
    return query_top(msg::kDisTopStatistics, Request<4>().put8(0, selector).put16(2, kRankingEntriesWanted), replyMax,
                     reply, kRanking);
}

DPMGMT_API uint32_t SESSION_IPC_GetTopStatistics(const uint32_t query[3], uint32_t replyMax, void *reply) {
    if (query == nullptr) return DPMGMT_ERR_FAILED;
    return query_top(msg::kGetTopStatistics, query_words<3>(query), replyMax, reply, kSamples);
}

DPMGMT_API uint32_t SESSION_IPC_GetTopSampleTime(const uint32_t query[2], uint32_t replyMax, void *reply) {
    if (query == nullptr) return DPMGMT_ERR_FAILED;
    return query_top(msg::kGetTopSampleTime, query_words<2>(query), replyMax, reply, kSampleTimes);
}

}  // extern "C"
