// SPDX-License-Identifier: Apache-2.0
// Session settings: aging times, limits and rates, logging and the
// feature switches, and their displays.
//
// Limit and rate selectors, as the session service counts them: 0 is the
// whole system, 2 to 15 further scopes of the service's own.  Selector 1 is
// handled by the appliance elsewhere (the library ignores it), so the
// command line does not offer it.
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "settings_reads.h"
#include "cli.h"
#include "dpmgmt/session.h"

namespace {

constexpr uint32_t kMaxAgingSeconds = 100000;
constexpr uint32_t kMaxLogSeconds = 86400;
constexpr uint32_t kLimitSelectors = 16;
constexpr uint32_t kIgnoredSelector = 1;

// The index of a name in a table of the vocabulary, letter case aside;
// reports the names there are otherwise.
std::optional<uint32_t> vocabulary_index(cli::Args &args, const char *what, uint32_t count,
                                         const char *(*name_of)(uint32_t)) {
    std::vector<std::string> names;
    for (uint32_t i = 0; i < count; ++i) {
        std::string n = name_of(i);
        for (char &c : n) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        names.push_back(n);
    }
    if (args.done()) {
        cli::fail("%s missing: %s", what, cli::list_words(names).c_str());
        return std::nullopt;
    }
    const std::string word = args.next();
    for (uint32_t i = 0; i < count; ++i)
        if (cli::same_word(word, names[i].c_str())) return i;
    cli::fail("bad %s '%s': %s", what, word.c_str(), cli::list_words(names).c_str());
    return std::nullopt;
}

int set_aging(cli::Args &args, bool application) {
    auto index = application
                     ? vocabulary_index(args, "application", SESSION_APP_COUNT, SESSION_GetAppName)
                     : vocabulary_index(args, "state", SESSION_L4_AGING_COUNT, SESSION_GetL4AgingStatusName);
    if (!index) return 1;
    auto seconds = args.number("aging time", 1, kMaxAgingSeconds);
    if (!seconds || !args.finish()) return 1;
    const SESSION_AGING_S aging{*index, *seconds};
    const uint32_t rc = application ? SESSION_IPC_SetAppAging(&aging) : SESSION_IPC_SetL4Aging(&aging);
    return rc == 0 ? 0 : cli::failed("setting the aging time", rc);
}

int run_app_aging(cli::Args &args) { return set_aging(args, true); }
int run_state_aging(cli::Args &args) { return set_aging(args, false); }

int run_display_aging(cli::Args &args) {
    if (!args.finish()) return 1;
    cli::AgingTimes t;
    if (const int status = cli::read_aging_times(t); status != 0) return status;
    std::printf("Application aging time (seconds):\r\n");
    for (uint32_t i = 0; i < SESSION_APP_COUNT; ++i)
        std::printf("  %-16s %10u%s\r\n", SESSION_GetAppName(i), t.app[i],
                    SESSION_IsAppDefaultAgingTime(i, t.app[i]) ? " (default)" : "");
    std::printf("\r\nState aging time (seconds):\r\n");
    for (uint32_t i = 0; i < SESSION_L4_AGING_COUNT; ++i)
        std::printf("  %-16s %10u%s\r\n", SESSION_GetL4AgingStatusName(i), t.l4[i],
                    SESSION_IsL4DefaultAgingTime(i, t.l4[i]) ? " (default)" : "");
    return 0;
}

// [selector SELECTOR] VALUE: the selector is named, never guessed from the
// number of words.
int set_limit(cli::Args &args, bool rate) {
    uint32_t selector = 0;
    if (args.take("selector")) {
        auto s = args.number("selector", 0, kLimitSelectors - 1);
        if (!s) return cli::kRefused;
        if (*s == kIgnoredSelector) return cli::fail("bad selector '1': 0 or 2 to 15");
        selector = *s;
    }
    auto value = args.number(rate ? "rate" : "limit", 0, UINT32_MAX);
    if (!value || !args.finish()) return cli::kRefused;
    const uint32_t rc = rate ? SESSION_SetRate(selector, *value) : SESSION_SetMaximum(selector, *value);
    return rc == 0 ? 0 : cli::failed(rate ? "setting the session rate" : "setting the session limit", rc);
}

int run_limit(cli::Args &args) { return set_limit(args, false); }
int run_rate(cli::Args &args) { return set_limit(args, true); }

void print_value(uint32_t v) {
    if (v == 0)
        std::printf(" %17s", "-");
    else
        std::printf(" %17u", v);
}

int run_display_limit(cli::Args &args) {
    if (!args.finish()) return 1;
    std::printf("Selector  Maximum sessions  Maximum rate (/s)\r\n");
    for (uint32_t s = 0; s < kLimitSelectors; ++s) {
        if (s == kIgnoredSelector) continue;
        const uint32_t max = SESSION_GetMaximum(s);
        const uint32_t rate = SESSION_GetRate(s);
        if (s != 0 && max == 0 && rate == 0) continue;
        std::printf("%-8u", s);
        print_value(max);
        print_value(rate);
        std::printf("\r\n");
    }
    return 0;
}

std::optional<SESSION_FLOW_S> parse_flow(cli::Args &args) {
    const int unit = args.choose("unit", {"packets", "bytes"});
    if (unit < 0) return std::nullopt;
    auto threshold = args.number("threshold", 1, UINT32_MAX);
    if (!threshold || !args.finish()) return std::nullopt;
    return SESSION_FLOW_S{static_cast<uint32_t>(unit), *threshold};
}

int flow_command(cli::Args &args, uint32_t (*set)(const SESSION_FLOW_S *), const char *what) {
    auto flow = parse_flow(args);
    if (!flow) return 1;
    const uint32_t rc = set(&*flow);
    return rc == 0 ? 0 : cli::failed(what, rc);
}

// `label` names the number in a complaint about it.
int interval_command(cli::Args &args, const char *label, uint32_t (*set)(const uint32_t *), const char *what) {
    auto seconds = args.number(label, 1, kMaxLogSeconds);
    if (!seconds || !args.finish()) return 1;
    const uint32_t rc = set(&*seconds);
    return rc == 0 ? 0 : cli::failed(what, rc);
}

int run_log_flow(cli::Args &args) { return flow_command(args, SESSION_IPC_SetLogFlow, "setting the log flow"); }
int run_log_time(cli::Args &args) {
    return interval_command(args, "log time", SESSION_IPC_SetLogTime, "setting the log time");
}
int run_traffic_log_flow(cli::Args &args) {
    return flow_command(args, SESSION_IPC_SetTrafficLogFlow, "setting the traffic log flow");
}
int run_traffic_log_time(cli::Args &args) {
    return interval_command(args, "traffic log time", SESSION_IPC_SetTrafficLogTime, "setting the traffic log time");
}

// enable | disable: 1 or 0, or -1 after reporting.
int parse_switch(cli::Args &args) {
    const int i = args.choose("switch", {"enable", "disable"});
    if (i < 0 || !args.finish()) return -1;
    return i == 0 ? 1 : 0;
}

int switch_command(cli::Args &args, uint32_t (*set)(uint16_t), const char *what) {
    const int on = parse_switch(args);
    if (on < 0) return 1;
    const uint32_t rc = set(static_cast<uint16_t>(on));
    return rc == 0 ? 0 : cli::failed(what, rc);
}

int run_traffic_log_begin(cli::Args &args) {
    return switch_command(args, SESSION_IPC_SetTrafficLogBegin, "switching the traffic log");
}
int run_sync(cli::Args &args) {
    return switch_command(args, SESSION_IPC_SetSessionSyncSwitch, "switching session synchronization");
}
int run_stat(cli::Args &args) {
    return switch_command(args, SESSION_IPC_SetStatEnable, "switching session statistics");
}
int run_his_stat(cli::Args &args) {
    return switch_command(args, SESSION_IPC_SetHisTopStatEnable, "switching history and top statistics");
}

const char *unit_name(uint32_t unit) { return unit == 0 ? "packets" : "bytes"; }
const char *on_off(uint16_t v) { return v != 0 ? "enabled" : "disabled"; }

int run_display_settings(cli::Args &args) {
    if (!args.finish()) return 1;
    cli::SessionSettings s;
    if (const uint32_t rc = cli::read_session_settings(s); rc != 0)
        return cli::failed("reading the session settings", rc);
    std::printf("Session log flow        : %u %s\r\n", s.logFlow.uiThreshold, unit_name(s.logFlow.uiUnit));
    std::printf("Session log time        : %u s\r\n", s.logTime);
    std::printf("Traffic log flow        : %u %s\r\n", s.trafficFlow.uiThreshold, unit_name(s.trafficFlow.uiUnit));
    std::printf("Traffic log time        : %u s\r\n", s.trafficTime);
    std::printf("Traffic log             : %s\r\n", on_off(s.begin));
    std::printf("Session synchronization : %s\r\n", on_off(s.sync));
    std::printf("History/top statistics  : %s\r\n", on_off(s.hisTop));
    return 0;
}

const bool registered = cli::add({
    {"session aging-time application", "APPLICATION SECONDS", "Set the aging time of an application's sessions",
     run_app_aging},
    {"session aging-time state", "STATE SECONDS", "Set the aging time of a layer-4 state", run_state_aging},
    {"display session aging-time", "", "Show the aging times, marking the defaults", run_display_aging},
    {"session limit", "[selector SELECTOR] VALUE", "Set the session limit (selector 0: the whole system)", run_limit},
    {"session rate", "[selector SELECTOR] VALUE", "Set the session establishment rate limit (selector 0: the whole system)",
     run_rate},
    {"display session limit", "", "Show the session limits and rates", run_display_limit},
    {"session log flow", "(packets|bytes) THRESHOLD", "Log a session each time its flow passes the threshold",
     run_log_flow},
    {"session log time", "SECONDS", "Log sessions at this interval", run_log_time},
    {"session traffic-log flow", "(packets|bytes) THRESHOLD", "Set the traffic log flow threshold",
     run_traffic_log_flow},
    {"session traffic-log time", "SECONDS", "Set the traffic log interval", run_traffic_log_time},
    {"session traffic-log begin", "(enable|disable)", "Switch the traffic log", run_traffic_log_begin},
    {"session synchronization", "(enable|disable)", "Switch session synchronization", run_sync},
    {"session statistics", "(enable|disable)", "Switch session statistics", run_stat},
    {"session history-statistics", "(enable|disable)", "Switch history and top statistics", run_his_stat},
    {"display session settings", "", "Show the logging settings and feature switches", run_display_settings},
});

}  // namespace
