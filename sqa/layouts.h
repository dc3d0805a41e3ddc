// Where the numbers of every SQA record lie, described once and applied by
// swap_fields: the store, the commands and the displays all convert
// through these lists.
#ifndef DPMGMT_SQA_LAYOUTS_H
#define DPMGMT_SQA_LAYOUTS_H

#include "channels/wire.h"
#include "dpmgmt/sqa.h"

namespace dpmgmt::sqa {

// Settings records: only the three 16-bit numbers travel converted; the
// filter's address words and every reserved word are stored as they are.
inline constexpr auto kSipDbValueLayout = layout<sizeof(SQA_SIP_DBVALUE_S)>({
    {offsetof(SQA_SIP_DBVALUE_S, usSipPort), 2},
    {offsetof(SQA_SIP_DBVALUE_S, stFilter) + offsetof(SQA_FILTER_S, usFilterFlag), 2},
    {offsetof(SQA_SIP_DBVALUE_S, usEnable), 2},
});
inline constexpr auto kH323DbValueLayout = layout<sizeof(SQA_H323_DBVALUE_S)>({
    {offsetof(SQA_H323_DBVALUE_S, usEnable), 2},
    {offsetof(SQA_H323_DBVALUE_S, usH225Port), 2},
    {offsetof(SQA_H323_DBVALUE_S, stFilter) + offsetof(SQA_FILTER_S, usFilterFlag), 2},
});

// Command records: every numeric field, in both directions.
inline constexpr auto kRemarkLayout = layout<sizeof(SQA_REMARK_S)>({
    {offsetof(SQA_REMARK_S, uiRemarkKey1), 4},
    {offsetof(SQA_REMARK_S, uiRemarkKey2), 4},
    {offsetof(SQA_REMARK_S, usRemarkFlag), 2},
    {offsetof(SQA_REMARK_S, usRemarkValue), 2},
});
inline constexpr auto kSwitchQueryLayout = layout<sizeof(SQA_SWITCH_QUERY_S)>({
    {offsetof(SQA_SWITCH_QUERY_S, uiProtocol), 4},
    {offsetof(SQA_SWITCH_QUERY_S, usValue), 2},
});
inline constexpr auto kFilterQueryLayout = layout<sizeof(SQA_FILTER_QUERY_S)>({
    {offsetof(SQA_FILTER_QUERY_S, uiProtocol), 4},
    {offsetof(SQA_FILTER_QUERY_S, uiFilterIp1), 4},
    {offsetof(SQA_FILTER_QUERY_S, uiFilterIp2), 4},
    {offsetof(SQA_FILTER_QUERY_S, usFilterFlag), 2},
});

// Call entries: addresses stay in network order for the formatter.
inline constexpr auto kCallEntryLayout = layout<sizeof(SQA_SIP_CALLENTRY_S)>({
    {offsetof(SQA_SIP_CALLENTRY_S, usCallerPort), 2},
    {offsetof(SQA_SIP_CALLENTRY_S, usCalleePort), 2},
});

// The six time words the displays show; the three after them are converted
// too, as the kernel sends them all in network order.
inline constexpr auto kSipTimeLayout =
    layout_run<sizeof(SQA_SIP_CALLENTRY_VERBOSE_S), 9>(offsetof(SQA_SIP_CALLENTRY_VERBOSE_S, stStartTime), 4, 4);

// The SIP MOS words arrive in host order and are left alone.
inline constexpr auto kSipVerboseLayout = join(
    layout<sizeof(SQA_SIP_CALLENTRY_VERBOSE_S)>({
        {offsetof(SQA_SIP_CALLENTRY_VERBOSE_S, uiCallIndex), 4},
        {offsetof(SQA_SIP_CALLENTRY_VERBOSE_S, usCallerPort), 2},
        {offsetof(SQA_SIP_CALLENTRY_VERBOSE_S, usCalleePort), 2},
        {offsetof(SQA_SIP_CALLENTRY_VERBOSE_S, ulFwdPackets), 8},
        {offsetof(SQA_SIP_CALLENTRY_VERBOSE_S, ulFwdOctets), 8},
        {offsetof(SQA_SIP_CALLENTRY_VERBOSE_S, ulRevPackets), 8},
        {offsetof(SQA_SIP_CALLENTRY_VERBOSE_S, ulRevOctets), 8},
        {offsetof(SQA_SIP_CALLENTRY_VERBOSE_S, usVlanId), 2},
    }),
    kSipTimeLayout);

inline constexpr auto kH323TimeLayout =
    layout_run<sizeof(SQA_H323_CALLENTRY_VERBOSE_S), 9>(offsetof(SQA_H323_CALLENTRY_VERBOSE_S, stStartTime), 4, 4);

// Unlike the SIP entry, the H.323 MOS words are converted.
inline constexpr auto kH323VerboseLayout = join(
    layout<sizeof(SQA_H323_CALLENTRY_VERBOSE_S)>({
        {offsetof(SQA_H323_CALLENTRY_VERBOSE_S, usH245Port), 2},
        {offsetof(SQA_H323_CALLENTRY_VERBOSE_S, uiSessionId), 4},
        {offsetof(SQA_H323_CALLENTRY_VERBOSE_S, usMediaType), 2},
        {offsetof(SQA_H323_CALLENTRY_VERBOSE_S, usCallerPort), 2},
        {offsetof(SQA_H323_CALLENTRY_VERBOSE_S, usCalleePort), 2},
        {offsetof(SQA_H323_CALLENTRY_VERBOSE_S, ulFwdPackets), 8},
        {offsetof(SQA_H323_CALLENTRY_VERBOSE_S, ulFwdOctets), 8},
        {offsetof(SQA_H323_CALLENTRY_VERBOSE_S, ulRevPackets), 8},
        {offsetof(SQA_H323_CALLENTRY_VERBOSE_S, ulRevOctets), 8},
        {offsetof(SQA_H323_CALLENTRY_VERBOSE_S, usVlanId), 2},
        {offsetof(SQA_H323_CALLENTRY_VERBOSE_S, uiFwdMos), 4},
        {offsetof(SQA_H323_CALLENTRY_VERBOSE_S, uiRevMos), 4},
        {offsetof(SQA_H323_CALLENTRY_VERBOSE_S, ulReserved), 8},
        {offsetof(SQA_H323_CALLENTRY_VERBOSE_S, uiVxlanId), 4},
        {offsetof(SQA_H323_CALLENTRY_VERBOSE_S, uiSamplingRate), 4},
    }),
    kH323TimeLayout);

inline constexpr auto kStatisticsLayout = join(
    layout_run<sizeof(SQA_CALL_STATISTICS_S), 6>(offsetof(SQA_CALL_STATISTICS_S, ulTotalCalls), 8, 8),
    layout<sizeof(SQA_CALL_STATISTICS_S)>({{offsetof(SQA_CALL_STATISTICS_S, uiReserved), 4}}));

inline constexpr auto kDebugSwitchLayout = layout<sizeof(SQA_DEBUG_SWITCH_S)>({
    {offsetof(SQA_DEBUG_SWITCH_S, uiSwitchBits), 4},
    {offsetof(SQA_DEBUG_SWITCH_S, usValue), 2},
});

}  // namespace dpmgmt::sqa

#endif
