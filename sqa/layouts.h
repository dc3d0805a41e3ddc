// SPDX-License-Identifier: Apache-2.0
// Where the numbers of every SQA record lie, described once against the
// public records and applied by swap_fields: the store, the commands and
// the displays all convert through these lists.
#ifndef DPMGMT_SQA_LAYOUTS_H
#define DPMGMT_SQA_LAYOUTS_H

#include "channels/wire.h"
#include "dpmgmt/sqa.h"

namespace dpmgmt::sqa {

// Item types of the call dumps: brief and verbose SIP, brief, verbose and
// probe H.323.
inline constexpr uint16_t kItemSipBrief = 27, kItemSipVerbose = 28;
inline constexpr uint16_t kItemH323Brief = 31, kItemH323Verbose = 32, kItemH323Probe = 33;

// Settings records: only the three 16-bit numbers travel converted; the
// filter's address words and every reserved word are stored as they are.
inline constexpr auto kSipDbValueLayout = layout<SQA_SIP_DBVALUE_S>({
    DPMGMT_FIELD(SQA_SIP_DBVALUE_S, usSipPort), DPMGMT_FIELD(SQA_SIP_DBVALUE_S, stFilter.usFilterFlag),
    DPMGMT_FIELD(SQA_SIP_DBVALUE_S, usEnable),
});
inline constexpr auto kH323DbValueLayout = layout<SQA_H323_DBVALUE_S>({
    DPMGMT_FIELD(SQA_H323_DBVALUE_S, usEnable), DPMGMT_FIELD(SQA_H323_DBVALUE_S, usH225Port),
    DPMGMT_FIELD(SQA_H323_DBVALUE_S, stFilter.usFilterFlag),
});

// Command records: every numeric field, in both directions.
inline constexpr auto kRemarkLayout = layout<SQA_REMARK_S>({
    DPMGMT_FIELD(SQA_REMARK_S, uiRemarkKey1), DPMGMT_FIELD(SQA_REMARK_S, uiRemarkKey2),
    DPMGMT_FIELD(SQA_REMARK_S, usRemarkFlag), DPMGMT_FIELD(SQA_REMARK_S, usRemarkValue),
});
inline constexpr auto kSwitchQueryLayout = layout<SQA_SWITCH_QUERY_S>({
    DPMGMT_FIELD(SQA_SWITCH_QUERY_S, uiProtocol), DPMGMT_FIELD(SQA_SWITCH_QUERY_S, usValue),
});
inline constexpr auto kFilterQueryLayout = layout<SQA_FILTER_QUERY_S>({
    DPMGMT_FIELD(SQA_FILTER_QUERY_S, uiProtocol), DPMGMT_FIELD(SQA_FILTER_QUERY_S, uiFilterIp1),
    DPMGMT_FIELD(SQA_FILTER_QUERY_S, uiFilterIp2), DPMGMT_FIELD(SQA_FILTER_QUERY_S, usFilterFlag),
});

// Call entries: addresses stay in network order for the formatter.
inline constexpr auto kCallEntryLayout = layout<SQA_SIP_CALLENTRY_S>({
    DPMGMT_FIELD(SQA_SIP_CALLENTRY_S, usCallerPort), DPMGMT_FIELD(SQA_SIP_CALLENTRY_S, usCalleePort),
});

// The six time words the displays show; the three after them are converted
// too, as the kernel sends them all in network order.  The same in the SIP
// and the H.323 verbose entry.
template <class Entry>
inline constexpr auto kTimeLayout = layout_run<Entry, 9>(offsetof(Entry, stStartTime), 4);

// The SIP MOS words arrive in host order and are left alone.
inline constexpr auto kSipVerboseLayout = join(
    layout<SQA_SIP_CALLENTRY_VERBOSE_S>({
        DPMGMT_FIELD(SQA_SIP_CALLENTRY_VERBOSE_S, uiCallIndex),
        DPMGMT_FIELD(SQA_SIP_CALLENTRY_VERBOSE_S, usCallerPort),
        DPMGMT_FIELD(SQA_SIP_CALLENTRY_VERBOSE_S, usCalleePort),
        DPMGMT_FIELD(SQA_SIP_CALLENTRY_VERBOSE_S, ulFwdPackets),
        DPMGMT_FIELD(SQA_SIP_CALLENTRY_VERBOSE_S, ulFwdOctets),
        DPMGMT_FIELD(SQA_SIP_CALLENTRY_VERBOSE_S, ulRevPackets),
        DPMGMT_FIELD(SQA_SIP_CALLENTRY_VERBOSE_S, ulRevOctets),
        DPMGMT_FIELD(SQA_SIP_CALLENTRY_VERBOSE_S, usVlanId),
    }),
    kTimeLayout<SQA_SIP_CALLENTRY_VERBOSE_S>);

// Unlike the SIP entry, the H.323 MOS words are converted.
inline constexpr auto kH323VerboseLayout = join(
    layout<SQA_H323_CALLENTRY_VERBOSE_S>({
        DPMGMT_FIELD(SQA_H323_CALLENTRY_VERBOSE_S, usH245Port),
        DPMGMT_FIELD(SQA_H323_CALLENTRY_VERBOSE_S, uiSessionId),
        DPMGMT_FIELD(SQA_H323_CALLENTRY_VERBOSE_S, usMediaType),
        DPMGMT_FIELD(SQA_H323_CALLENTRY_VERBOSE_S, usCallerPort),
        DPMGMT_FIELD(SQA_H323_CALLENTRY_VERBOSE_S, usCalleePort),
        DPMGMT_FIELD(SQA_H323_CALLENTRY_VERBOSE_S, ulFwdPackets),
        DPMGMT_FIELD(SQA_H323_CALLENTRY_VERBOSE_S, ulFwdOctets),
        DPMGMT_FIELD(SQA_H323_CALLENTRY_VERBOSE_S, ulRevPackets),
        DPMGMT_FIELD(SQA_H323_CALLENTRY_VERBOSE_S, ulRevOctets),
        DPMGMT_FIELD(SQA_H323_CALLENTRY_VERBOSE_S, usVlanId), DPMGMT_FIELD(SQA_H323_CALLENTRY_VERBOSE_S, uiFwdMos),
        DPMGMT_FIELD(SQA_H323_CALLENTRY_VERBOSE_S, uiRevMos),
        DPMGMT_FIELD(SQA_H323_CALLENTRY_VERBOSE_S, ulReserved),
        DPMGMT_FIELD(SQA_H323_CALLENTRY_VERBOSE_S, uiVxlanId),
        DPMGMT_FIELD(SQA_H323_CALLENTRY_VERBOSE_S, uiSamplingRate),
    }),
    kTimeLayout<SQA_H323_CALLENTRY_VERBOSE_S>);

inline constexpr auto kStatisticsLayout = join(
    layout_run<SQA_CALL_STATISTICS_S, 6>(offsetof(SQA_CALL_STATISTICS_S, ulTotalCalls), 8),
    layout<SQA_CALL_STATISTICS_S>({DPMGMT_FIELD(SQA_CALL_STATISTICS_S, uiReserved)}));

inline constexpr auto kDebugSwitchLayout = layout<SQA_DEBUG_SWITCH_S>({
    DPMGMT_FIELD(SQA_DEBUG_SWITCH_S, uiSwitchBits), DPMGMT_FIELD(SQA_DEBUG_SWITCH_S, usValue),
});

}  // namespace dpmgmt::sqa

#endif
