// SPDX-License-Identifier: Apache-2.0
// Hot-backup messages (types 44-46).
//
//   44  debug query: u32 0; answers the u32 debug bits.
//   45  debug setting: u32 bits at 0, u16 at 4 = 1 switches them on, 0 off;
//       answers a result code.
//   46  statistics reset: clears every peer's counters (the u16 is kept
//       in the reset log); answers 0.
#include "config_state.h"
#include "registry.h"
#include "traffic.h"

namespace dpsvc {

namespace {

[[maybe_unused]] const bool registered = [] {
    register_message(44, 4, [](MsgContext &c) {
        put_be32(c.reply, config().hotBackup.debug);
        return Answer::kReply;
    });
    register_message(45, 8, [](MsgContext &c) {
        const uint32_t bits = get_be32(c.payload, 0);
        uint32_t &debug = config().hotBackup.debug;
        debug = get_be16(c.payload, 4) != 0 ? (debug | bits) : (debug & ~bits);
        return answer_code(c, kOk);
    });
    register_message(46, 2, [](MsgContext &c) {
        reset_hotbackup_statistics();
        config().resets.hotBackup++;
        config().resets.lastScope = get_be16(c.payload, 0);
        return answer_code(c, kOk);
    });
    return true;
}();

}  // namespace

}  // namespace dpsvc
