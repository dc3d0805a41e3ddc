// SPDX-License-Identifier: Apache-2.0
// Call quality analysis remarks (with the DSCP keywords) and the call
// displays: call tables, statistics and debugging switches.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "cli.h"
#include "dpmgmt/sqa.h"
#include "platform/dev.h"
#include "output.h"
#include "sqa_args.h"
#include "sqa_store.h"

namespace {

constexpr size_t kCallIdMax = SQA_CALLID_SIZE - 1;

// The DSCP keywords in the library's order, collected through its help.
std::string dscp_keywords() {
    return cli::list_words(cli::help_keywords([] { SQA_CLI_HelpDscp("?", 0, 0, nullptr); }));
}

// KEY1 KEY2 dscp DSCP [delete]
int run_remark(cli::Args &args) {
    auto k1 = args.number("first remark key", 0, UINT32_MAX);
    if (!k1) return 1;
    auto k2 = args.number("second remark key", 0, UINT32_MAX);
    if (!k2) return 1;
    if (args.choose("keyword", {"dscp"}) < 0) return 1;
    if (args.done()) return cli::fail("DSCP keyword missing: %s", dscp_keywords().c_str());
    const std::string keyword = args.next();
    if (SQA_CLI_CheckDscp(keyword.c_str()) != 0)
        return cli::fail("bad DSCP keyword '%s' (unknown or ambiguous): %s", keyword.c_str(),
                         dscp_keywords().c_str());
    const bool remove = args.take("delete");
    if (!args.finish()) return 1;
    const SQA_REMARK_S remark{*k1, *k2, static_cast<uint16_t>(remove ? 0 : 1), SQA_CLI_DscpStr2Value(keyword.c_str())};
    sqa::Store store;
    if (store.status() != 0) return cli::failed("opening the configuration store", store.status());
    const uint32_t rc = SQA_DB_SetRemark(&remark);
    if (rc != 0) return cli::failed("storing the remark", rc);
    const uint32_t pushed = SQA_IPC_SetRemark(&remark);
    if (pushed != 0) return cli::failed("stored, but pushing the remark to the session service", pushed);
    return cli::kOk;
}

// Help after "dscp": the keywords, or those a partly typed word begins.
void remark_help(const std::vector<std::string> &args, bool partial) {
    if (args.size() == 3 && !partial && cli::same_word(args[2], "dscp"))
        SQA_CLI_HelpDscp("?", 0, 0, nullptr);
    else if (args.size() == 4 && partial && cli::same_word(args[2], "dscp"))
        SQA_CLI_HelpDscp(args[3].c_str(), 0, 0, nullptr);
}

int run_display_remark(cli::Args &args) {
    auto k1 = args.number("first remark key", 0, UINT32_MAX);
    if (!k1) return 1;
    auto k2 = args.number("second remark key", 0, UINT32_MAX);
    if (!k2 || !args.finish()) return 1;
    SQA_REMARK_S remark{*k1, *k2, 0, 0};
    const uint32_t rc = SQA_IPC_GetRemark(&remark);
    if (rc != 0) return cli::failed("reading the remark", rc);
    if (remark.usRemarkFlag != 1) return cli::not_found("no remark %u %u", *k1, *k2);
    std::printf("Remark %u %u: dscp %s (%u)\n", remark.uiRemarkKey1, remark.uiRemarkKey2,
                SQA_CLI_DscpValue2Str(remark.usRemarkValue), remark.usRemarkValue);
    return 0;
}

}  // namespace

namespace sqa {

// [verbose|probe] [call-id CALL-ID] [context] [slot SLOT]: the forms the protocol
// has; call-id and context only with a verbose (or probe) form.
std::optional<CallArgs> parse_call_args(cli::Args &args, bool h323) {
    CallArgs c;
    c.node = DEV_GetSelf();
    bool slot = false, id = false;
    while (!args.done()) {
        const std::string word = args.peek();
        if (c.form == 0 && args.take("verbose")) {
            c.form = 1;
        } else if (h323 && c.form == 0 && args.take("probe")) {
            c.form = 2;
        } else if (c.form != 0 && !id && args.take("call-id")) {
            if (args.done()) {
                cli::fail("call ID missing");
                return std::nullopt;
            }
            const std::string text = args.next();
            if (text.size() > kCallIdMax) {
                cli::fail("call ID too long (%zu characters): at most %zu", text.size(), kCallIdMax);
                return std::nullopt;
            }
            std::memcpy(c.callId, text.data(), text.size());
            id = true;
        } else if (!h323 && c.form == 1 && !c.context && args.take("context")) {
            c.context = true;
        } else if (!slot && args.take("slot")) {
            auto n = args.number("slot", 0, 0xFFFF);
            if (!n) return std::nullopt;
            auto node = cli::node_of_slot(*n);
            if (!node) return std::nullopt;
            c.node = *node;
            slot = true;
        } else {
            cli::fail("unexpected '%s'; accepted here: %s", word.c_str(),
                      h323 ? "verbose or probe, then call-id CALL-ID; slot N"
                           : "verbose, then call-id CALL-ID and context; slot N");
            return std::nullopt;
        }
    }
    return c;
}

}  // namespace sqa

namespace {

using sqa::CallArgs;
using sqa::parse_call_args;

// Runs a verbose display for one call ID: not found when it printed
// nothing.
template <typename Show>
int one_call(const CallArgs &c, const char *protocol, Show show) {
    if (c.callId[0] == '\0') {
        show();
        return cli::kOk;
    }
    long printed = 0;
    {
        cli::Capture capture;
        if (!capture.ok()) return cli::report(cli::kEnvironment, "cannot hold the output back: no temporary file");
        show();
        printed = cli::copy_out(capture.release());
    }
    if (printed == 0) return cli::not_found("no %s call with call ID '%s'", protocol, c.callId);
    return cli::kOk;
}

int run_sip_calls(cli::Args &args) {
    auto c = parse_call_args(args, false);
    if (!c) return 1;
    if (c->form == 0) {
        const uint32_t rc = SQA_DUMP_DisSipCallEntry(c->node);
        return rc == 0 ? 0 : cli::failed("reading the SIP calls", rc);
    }
    return one_call(*c, "SIP", [&] { SQA_DUMP_DisSipCallEntryVerbose(c->node, c->callId, c->context ? 1 : 0); });
}

int run_h323_calls(cli::Args &args) {
    auto c = parse_call_args(args, true);
    if (!c) return 1;
    if (c->form == 0) {
        const uint32_t rc = SQA_DUMP_DisH323CallEntry(c->node);
        return rc == 0 ? 0 : cli::failed("reading the H.323 calls", rc);
    }
    return one_call(*c, "H.323", [&] {
        if (c->form == 1)
            SQA_DUMP_DisH323CallEntryVerbose(c->node, c->callId);
        else
            SQA_DUMP_ProbeDisH323CallEntry(c->node, c->callId);
    });
}

int kernel_display(cli::Args &args, uint32_t (*show)(void), const char *what) {
    if (!args.finish()) return 1;
    const uint32_t rc = show();
    return rc == 0 ? 0 : cli::failed(what, rc);
}

int run_sip_statistics(cli::Args &args) {
    return kernel_display(args, SQA_DUMP_DisSipCallEntryStatistics, "reading the SIP call statistics");
}
int run_h323_statistics(cli::Args &args) {
    return kernel_display(args, SQA_DUMP_DisH323CallEntryStatistics, "reading the H.323 call statistics");
}
int run_sip_debug(cli::Args &args) {
    return kernel_display(args, SQA_DUMP_DisDebugFlag, "reading the SIP debugging switches");
}
int run_h323_debug(cli::Args &args) {
    return kernel_display(args, SQA_DUMP_DisH323DebugFlag, "reading the H.323 debugging switches");
}

const bool registered = cli::add({
    {"sqa remark", "KEY1 KEY2 dscp DSCP [delete]", "Add (or delete) a remark entry", run_remark, remark_help},
    {"display sqa remark", "KEY1 KEY2", "Show a remark entry the service runs", run_display_remark},
    {"display sqa sip call", "[verbose [call-id CALL-ID] [context]] [slot SLOT]", "Show the SIP calls", run_sip_calls},
    {"display sqa h323 call", "[verbose|probe] [call-id CALL-ID] [slot SLOT]", "Show the H.323 calls", run_h323_calls},
    {"display sqa sip statistics", "", "Show the SIP call statistics", run_sip_statistics},
    {"display sqa h323 statistics", "", "Show the H.323 call statistics", run_h323_statistics},
    {"display sqa sip debug", "", "Show the SIP debugging switches that are on", run_sip_debug},
    {"display sqa h323 debug", "", "Show the H.323 debugging switches that are on", run_h323_debug},
});

}  // namespace
