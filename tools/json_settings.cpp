// SPDX-License-Identifier: Apache-2.0
// The session settings displays as JSON documents: aging times, session
// limits and rates, the logging settings and feature switches, read
// through the library's query functions.
#include "settings_reads.h"
#include "cli.h"
#include "dpmgmt/session.h"
#include "json_out.h"

namespace {

using json::Document;

// The selectors of the limits; selector 1 is never used.
constexpr uint32_t kLimitSelectors = 16;
constexpr uint32_t kIgnoredSelector = 1;

template <typename Name, typename IsDefault>
void aging_list(Document &doc, const char *k, const char *nameKey, const uint32_t *values, uint32_t count, Name name,
                IsDefault isDefault) {
    doc.key(k);
    doc.w().StartArray();
    for (uint32_t i = 0; i < count; ++i) {
        doc.w().StartObject();
        doc.str(nameKey, name(i));
        doc.u("seconds", values[i]);
        doc.b("default", isDefault(i, values[i]));
        doc.w().EndObject();
    }
    doc.w().EndArray();
}

int run_aging(cli::Args &args) {
    if (!args.finish()) return cli::kRefused;
    cli::AgingTimes t;
    if (const int status = cli::read_aging_times(t); status != 0) return status;
    Document doc("session aging-time");
    aging_list(doc, "applications", "application", t.app, SESSION_APP_COUNT, SESSION_GetAppName,
               [](uint32_t i, uint32_t v) { return SESSION_IsAppDefaultAgingTime(i, v) != 0; });
    aging_list(doc, "states", "state", t.l4, SESSION_L4_AGING_COUNT, SESSION_GetL4AgingStatusName,
               [](uint32_t i, uint32_t v) { return SESSION_IsL4DefaultAgingTime(i, v) != 0; });
    return cli::kOk;
}

// A limit of 0 is none (shown "-"): null.
void limit_value(Document &doc, const char *k, uint32_t v) {
    if (v == 0)
        doc.null(k);
    else
        doc.u(k, v);
}

int run_limit(cli::Args &args) {
    if (!args.finish()) return cli::kRefused;
    Document doc("session limit");
    doc.key("selectors");
    doc.w().StartArray();
    for (uint32_t s = 0; s < kLimitSelectors; ++s) {
        if (s == kIgnoredSelector) continue;
        const uint32_t max = SESSION_GetMaximum(s);
        const uint32_t rate = SESSION_GetRate(s);
        if (s != 0 && max == 0 && rate == 0) continue;
        doc.w().StartObject();
        doc.u("selector", s);
        limit_value(doc, "maximum_sessions", max);
        limit_value(doc, "maximum_rate_per_second", rate);
        doc.w().EndObject();
    }
    doc.w().EndArray();
    return cli::kOk;
}

void flow(Document &doc, const char *k, const SESSION_FLOW_S &f) {
    doc.key(k);
    doc.w().StartObject();
    doc.u("threshold", f.uiThreshold);
    doc.str("unit", f.uiUnit == 0 ? "packets" : "bytes");
    doc.w().EndObject();
}

int run_settings(cli::Args &args) {
    if (!args.finish()) return cli::kRefused;
    cli::SessionSettings s;
    if (const uint32_t rc = cli::read_session_settings(s); rc != 0)
        return cli::failed("reading the session settings", rc);
    Document doc("session settings");
    flow(doc, "log_flow", s.logFlow);
    doc.u("log_time_seconds", s.logTime);
    flow(doc, "traffic_log_flow", s.trafficFlow);
    doc.u("traffic_log_time_seconds", s.trafficTime);
    doc.b("traffic_log", s.begin != 0);
    doc.b("synchronization", s.sync != 0);
    doc.b("history_top_statistics", s.hisTop != 0);
    return cli::kOk;
}

const bool registered = json::add({
    {"display session aging-time", run_aging},
    {"display session limit", run_limit},
    {"display session settings", run_settings},
});

}  // namespace
