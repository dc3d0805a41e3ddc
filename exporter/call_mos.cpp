// SPDX-License-Identifier: Apache-2.0
// The mean opinion scores of the calls the kernel follows, per direction:
// forward is the caller's media towards the callee, reverse the callee's
// towards the caller.  The kernel keeps a score as a word of hundredths,
// all ones when it has none.
#include <algorithm>

#include "dpmgmt/records.h"
#include "snapshot.h"

namespace exporter {

void MosHistogram::add(uint32_t word) {
    if (word == SQA_MOS_NONE) {
        ++unscored;
        return;
    }
    const auto bucket = std::lower_bound(kMosBounds.begin(), kMosBounds.end(), word) - kMosBounds.begin();
    ++buckets[static_cast<size_t>(bucket)];
    sumHundredths += word;
    ++scored;
}

namespace {

template <typename Entry>
void add_call(const Entry *e, void *context) {
    auto &mos = *static_cast<CallMos *>(context);
    mos.direction[0].add(e->uiFwdMos);
    mos.direction[1].add(e->uiRevMos);
}

}  // namespace

void read_call_mos(uint16_t node, CallMos &sip, CallMos &h323) {
    sip = CallMos{};
    h323 = CallMos{};
    // An empty call ID selects every call, as in the verbose displays.
    const char everyCall[SQA_CALLID_SIZE] = {};
    dpmgmt_walk_sip_calls(node, everyCall, add_call<SQA_SIP_CALLENTRY_VERBOSE_S>, &sip);
    dpmgmt_walk_h323_calls(node, everyCall, add_call<SQA_H323_CALLENTRY_VERBOSE_S>, &h323);
}

}  // namespace exporter
