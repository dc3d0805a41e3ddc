// SPDX-License-Identifier: Apache-2.0
// Call quality analysis settings.  A change is written to the store (which
// writes nothing when the value is what it holds), then pushed to the
// session service.  Debugging switches are not configuration: they go to
// the service alone.
#include <arpa/inet.h>

#include <cstdio>
#include <string>

#include "settings_reads.h"
#include "cli.h"
#include "dpmgmt/sqa.h"
#include "sqa_store.h"

namespace {

constexpr uint32_t kSelectSip = 0;
constexpr uint32_t kSelectH323 = 1;

int pushed(uint32_t rc, const char *what) {
    if (rc == 0) return cli::kOk;
    return cli::failed(("stored, but pushing " + std::string(what) + " to the session service").c_str(), rc);
}

// Runs the store write and the push of a change, opening the store first.
template <typename Store, typename Push>
int change(Store store, Push push, const char *what) {
    sqa::Store open;
    if (open.status() != 0) return cli::failed("opening the configuration store", open.status());
    const uint32_t rc = store();
    if (rc != 0) return cli::failed("storing the setting", rc);
    return pushed(push(), what);
}

int run_view(cli::Args &args) {
    const int op = args.choose("view action", {"create", "delete"});
    if (op < 0 || !args.finish()) return 1;
    sqa::Store open;
    if (open.status() != 0) return cli::failed("opening the configuration store", open.status());
    if (op == 0) {
        uint32_t rc = SQA_DB_AddSqaView();
        if (rc != 0) return cli::failed("storing the view", rc);
        rc = SQA_DB_SetSqaView(1, &g_stSqaH323DbValue);
        if (rc != 0 && rc != DPMGMT_ERR_EXIST) return cli::failed("storing the view", rc);
        return pushed(SQA_IPC_SetSqaView(1), "the view");
    }
    uint32_t rc = SQA_DB_DelSqaView();
    if (static_cast<int32_t>(rc) < 0) return cli::failed("removing the view", rc);
    rc = SQA_DB_SetSqaView(0, &g_stSqaH323DbValue);
    if (static_cast<int32_t>(rc) < 0) return cli::failed("removing the view", rc);
    return pushed(SQA_IPC_SetSqaView(0), "the view's removal");
}

// A filter address: an IPv4 address, kept in network order.
std::optional<uint32_t> filter_address(cli::Args &args, const char *what) {
    auto a = args.address(what);
    if (!a) return std::nullopt;
    if (a->family != 4) {
        cli::fail("bad %s: an IPv4 address", what);
        return std::nullopt;
    }
    return htonl(a->addr4);
}

int debug(cli::Args &args, bool h323) {
    const int which = args.choose("debugging", {"event", "error", "packet"});
    if (which < 0) return 1;
    const bool off = args.take("off");
    if (!args.finish()) return 1;
    const uint32_t bit = 1u << which;
    const uint32_t rc = h323 ? SQA_IPC_SetH323Dbg(bit, off ? 0 : 1) : SQA_IPC_SetSipDbg(bit, off ? 0 : 1);
    return rc == 0 ? 0 : cli::failed("switching debugging", rc);
}

int protocol_command(cli::Args &args, bool h323) {
    const int what = h323 ? args.choose("keyword", {"enable", "disable", "h225-port", "filter", "debug"})
                          : args.choose("keyword", {"enable", "disable", "port", "filter", "debug"});
    if (what < 0) return 1;
    if (what == 0 || what == 1) {
        if (!args.finish()) return 1;
        const uint16_t on = what == 0 ? 1 : 0;
        if (h323)
            return change([&] { return SQA_DB_SetH323Enable(on); }, [&] { return SQA_IPC_SetH323Enable(on); },
                          "the switch");
        return change([&] { return SQA_DB_SetSipEnable(on); }, [&] { return SQA_IPC_SetSipEnable(on); },
                      "the switch");
    }
    if (what == 2) {
        auto port = args.number("port", 1, 65535);
        if (!port || !args.finish()) return 1;
        const auto p = static_cast<uint16_t>(*port);
        if (h323)
            return change([&] { return SQA_DB_SetH225Port(p); }, [&] { return SQA_IPC_SetH225Port(p); }, "the port");
        return change([&] { return SQA_DB_SetSipPort(p); }, [&] { return SQA_IPC_SetSipPort(p); }, "the port");
    }
    if (what == 3) {
        auto a1 = filter_address(args, "first filter address");
        if (!a1) return 1;
        auto a2 = filter_address(args, "second filter address");
        if (!a2) return 1;
        auto flag = args.number("filter flag", 0, 65535);
        if (!flag || !args.finish()) return 1;
        const SQA_FILTER_S f{*a1, *a2, static_cast<uint16_t>(*flag), 0};
        if (h323)
            return change([&] { return SQA_DB_SetH323FilterIp(&f); },
                          [&] { return SQA_IPC_SetH323FilterIp(f.uiFilterIp1, f.uiFilterIp2, f.usFilterFlag); },
                          "the filter");
        return change([&] { return SQA_DB_SetSipFilterIp(&f); },
                      [&] { return SQA_IPC_SetSipFilterIp(f.uiFilterIp1, f.uiFilterIp2, f.usFilterFlag); },
                      "the filter");
    }
    return debug(args, h323);
}

int run_sip(cli::Args &args) { return protocol_command(args, false); }
int run_h323(cli::Args &args) { return protocol_command(args, true); }

std::string address_text(uint32_t hostOrder) {
    const uint32_t net = htonl(hostOrder);
    char text[INET_ADDRSTRLEN] = "-";
    inet_ntop(AF_INET, &net, text, sizeof text);
    return text;
}

// The running settings of one protocol, from the session service.
bool print_protocol(uint32_t protocol, const char *title, const char *portLabel) {
    cli::SqaProtocolSettings s;
    if (const uint32_t rc = cli::read_sqa_protocol(protocol, s); rc != 0) {
        cli::failed("reading the call quality analysis settings", rc);
        return false;
    }
    std::printf("%s\n", title);
    std::printf("  Monitoring     : %s\n", s.sw.usValue == 1 ? "enabled" : "disabled");
    std::printf("  %-15s: %u\n", portLabel, s.port.usValue);
    if (!s.filtered())
        std::printf("  Address filter : none\n");
    else
        std::printf("  Address filter : %s %s flag %u\n", address_text(s.filter.uiFilterIp1).c_str(),
                    address_text(s.filter.uiFilterIp2).c_str(), s.filter.usFilterFlag);
    return true;
}

int run_display(cli::Args &args) {
    if (!args.finish()) return 1;
    if (!print_protocol(kSelectSip, "SIP call quality analysis", "Listening port")) return 1;
    if (!print_protocol(kSelectH323, "H.323 call quality analysis", "H.225 port")) return 1;
    return 0;
}

const bool registered = cli::add({
    {"sqa view", "(create|delete)", "Create or remove the call quality analysis view", run_view},
    {"sqa sip",
     "(enable | disable | port PORT | filter ADDRESS1 ADDRESS2 FLAG | debug (event|error|packet) [off])",
     "Change SIP call quality analysis", run_sip},
    {"sqa h323",
     "(enable | disable | h225-port PORT | filter ADDRESS1 ADDRESS2 FLAG | debug (event|error|packet) [off])",
     "Change H.323 call quality analysis", run_h323},
    {"display sqa", "", "Show the call quality analysis settings the service runs", run_display},
});

}  // namespace
