// SPDX-License-Identifier: Apache-2.0
// Call quality analysis messages (types 71-74, 77-86).
//
//   71, 77  enable switch (u16, 0 or 1; another value answers 0x40010001).
//   72, 78  listening port (u16, 0 answers 0x40010001).
//   73, 81  debug switches: u32 bits (bit 0 event, 1 error, 2 packet) at 0,
//           u16 at 4 = 1 switches them on, 0 off.  Bits outside the three
//           answer 0x40010001.
//   74, 79  filter: the two address words kept exactly as they arrive, the
//           u16 filter number at 8.
//   80      view: 0 restores the initial settings (ports 5060 and 1720,
//           both disabled, no filters); any value is kept as the view.
//   82      remark: flag 1 adds (or replaces) the entry of (key1, key2),
//           any other flag removes it.
//   83      remark query: answers key1, key2, flag 1 and the value of the
//           entry, or the two keys with flag 0 and value 0 when none.
//   84, 85  switch / port query: u32 at 0 selects the protocol (0 SIP,
//           1 H.323; another answers the error reply); answers the u32,
//           the u16 enable switch (84) or port (85), and the query's two
//           trailing bytes.
//   86      filter query: u32 at 0 selects as for 84; answers the u32, the
//           two address words as they were set, the u16 filter number, and
//           the query's two trailing bytes.
#include <algorithm>

#include "config_state.h"
#include "registry.h"

namespace dpsvc {

namespace {

constexpr uint32_t kSelectSip = 0;
constexpr uint32_t kSelectH323 = 1;

SqaConfig &cfg() { return config().sqa; }

Answer set_enable(MsgContext &c, uint16_t &field) {
    const uint16_t v = get_be16(c.payload, 0);
    if (v > 1) return answer_code(c, kFailed);
    field = v;
    return answer_code(c, kOk);
}

Answer set_port(MsgContext &c, uint16_t &field) {
    const uint16_t v = get_be16(c.payload, 0);
    if (v == 0) return answer_code(c, kFailed);
    field = v;
    return answer_code(c, kOk);
}

Answer set_debug(MsgContext &c, uint32_t &field) {
    const uint32_t bits = get_be32(c.payload, 0);
    if ((bits & ~kSqaDebugMask) != 0) return answer_code(c, kFailed);
    field = get_be16(c.payload, 4) != 0 ? (field | bits) : (field & ~bits);
    return answer_code(c, kOk);
}

Answer set_filter(MsgContext &c, SqaFilter &field) {
    std::copy_n(c.payload.begin(), 4, field.ip1.begin());
    std::copy_n(c.payload.begin() + 4, 4, field.ip2.begin());
    field.flag = get_be16(c.payload, 8);
    return answer_code(c, kOk);
}

Answer set_remark(MsgContext &c) {
    const std::pair<uint32_t, uint32_t> key{get_be32(c.payload, 0), get_be32(c.payload, 4)};
    if (get_be16(c.payload, 8) == 1)
        cfg().remarks[key] = get_be16(c.payload, 10);
    else
        cfg().remarks.erase(key);
    return answer_code(c, kOk);
}

Answer get_remark(MsgContext &c) {
    const uint32_t key1 = get_be32(c.payload, 0);
    const uint32_t key2 = get_be32(c.payload, 4);
    const auto it = cfg().remarks.find({key1, key2});
    const bool found = it != cfg().remarks.end();
    put_be32(c.reply, key1);
    put_be32(c.reply, key2);
    put_be16(c.reply, found ? 1 : 0);
    put_be16(c.reply, found ? it->second : 0);
    return Answer::kReply;
}

// Switch and port queries share one layout; `pick` chooses the field.
template <class Pick>
Answer switch_query(MsgContext &c, Pick pick) {
    const uint32_t selector = get_be32(c.payload, 0);
    if (selector != kSelectSip && selector != kSelectH323) return Answer::kError;
    put_be32(c.reply, selector);
    put_be16(c.reply, pick(selector == kSelectSip));
    c.reply.insert(c.reply.end(), c.payload.begin() + 6, c.payload.begin() + 8);
    return Answer::kReply;
}

Answer filter_query(MsgContext &c) {
    const uint32_t selector = get_be32(c.payload, 0);
    if (selector != kSelectSip && selector != kSelectH323) return Answer::kError;
    const SqaFilter &f = selector == kSelectSip ? cfg().sipFilter : cfg().h323Filter;
    put_be32(c.reply, selector);
    c.reply.insert(c.reply.end(), f.ip1.begin(), f.ip1.end());
    c.reply.insert(c.reply.end(), f.ip2.begin(), f.ip2.end());
    put_be16(c.reply, f.flag);
    c.reply.insert(c.reply.end(), c.payload.begin() + 14, c.payload.begin() + 16);
    return Answer::kReply;
}

[[maybe_unused]] const bool registered = [] {
    register_message(71, 2, [](MsgContext &c) { return set_enable(c, cfg().sipEnable); });
    register_message(72, 2, [](MsgContext &c) { return set_port(c, cfg().sipPort); });
    register_message(73, 8, [](MsgContext &c) { return set_debug(c, cfg().sipDebug); });
    register_message(74, 12, [](MsgContext &c) { return set_filter(c, cfg().sipFilter); });
    register_message(77, 2, [](MsgContext &c) { return set_enable(c, cfg().h323Enable); });
    register_message(78, 2, [](MsgContext &c) { return set_port(c, cfg().h225Port); });
    register_message(79, 12, [](MsgContext &c) { return set_filter(c, cfg().h323Filter); });
    register_message(80, 2, [](MsgContext &c) {
        cfg().view = get_be16(c.payload, 0);
        if (cfg().view == 0) cfg().restore_defaults();
        return answer_code(c, kOk);
    });
    register_message(81, 8, [](MsgContext &c) { return set_debug(c, cfg().h323Debug); });
    register_message(82, 12, set_remark);
    register_message(83, 12, get_remark);
    register_message(84, 8, [](MsgContext &c) {
        return switch_query(c, [](bool sip) { return sip ? cfg().sipEnable : cfg().h323Enable; });
    });
    register_message(85, 8, [](MsgContext &c) {
        return switch_query(c, [](bool sip) { return sip ? cfg().sipPort : cfg().h225Port; });
    });
    register_message(86, 16, filter_query);
    return true;
}();

}  // namespace

}  // namespace dpsvc
