// SPDX-License-Identifier: Apache-2.0
// Settings read once from the session service, for both the text and the
// JSON form of a display.
#ifndef DPMGMT_TOOLS_SETTINGS_READS_H
#define DPMGMT_TOOLS_SETTINGS_READS_H

#include <cstdint>

#include "cli.h"
#include "dpmgmt/session.h"
#include "dpmgmt/sqa.h"

namespace cli {

struct SessionSettings {
    SESSION_FLOW_S logFlow{}, trafficFlow{};
    uint32_t logTime = 0, trafficTime = 0;
    uint16_t begin = 0, sync = 0, hisTop = 0;
};

// 0, or the result of the first query that failed.
inline uint32_t read_session_settings(SessionSettings &s) {
    uint32_t rc = SESSION_IPC_GetLogFlow(&s.logFlow);
    if (rc == 0) rc = SESSION_IPC_GetLogTime(&s.logTime);
    if (rc == 0) rc = SESSION_IPC_GetTrafficLogFlow(&s.trafficFlow);
    if (rc == 0) rc = SESSION_IPC_GetTrafficLogTime(&s.trafficTime);
    if (rc == 0) rc = SESSION_IPC_GetTrafficLogBegin(&s.begin);
    if (rc == 0) rc = SESSION_IPC_GetSessionSyncSwitch(&s.sync);
    if (rc == 0) rc = SESSION_IPC_GetHisTopStatEnable(&s.hisTop);
    return rc;
}

// Every application's and every state's aging time.
struct AgingTimes {
    uint32_t app[SESSION_APP_COUNT] = {};
    uint32_t l4[SESSION_L4_AGING_COUNT] = {};
};

// 0, or the failure already reported (cli::failed) as its exit status.
inline int read_aging_times(AgingTimes &t) {
    if (const uint32_t rc = SESSION_IPC_GetAllAppAging(t.app); rc != 0)
        return failed("reading the application aging times", rc);
    if (const uint32_t rc = SESSION_IPC_GetAllL4Aging(t.l4); rc != 0)
        return failed("reading the state aging times", rc);
    return 0;
}

// The running call quality analysis settings of one protocol.
struct SqaProtocolSettings {
    SQA_SWITCH_QUERY_S sw{};
    SQA_SWITCH_QUERY_S port{};
    SQA_FILTER_QUERY_S filter{};
    bool filtered() const { return filter.uiFilterIp1 != 0 || filter.uiFilterIp2 != 0 || filter.usFilterFlag != 0; }
};

inline uint32_t read_sqa_protocol(uint32_t protocol, SqaProtocolSettings &s) {
    s.sw = SQA_SWITCH_QUERY_S{protocol, 0, {0, 0}};
    s.port = SQA_SWITCH_QUERY_S{protocol, 0, {0, 0}};
    s.filter = SQA_FILTER_QUERY_S{protocol, 0, 0, 0, {0, 0}};
    uint32_t rc = SQA_IPC_GetSqaEnable(&s.sw);
    if (rc == 0) rc = SQA_IPC_GetListeningPort(&s.port);
    if (rc == 0) rc = SQA_IPC_GetFilterAddress(&s.filter);
    return rc;
}

}  // namespace cli

#endif
