// SPDX-License-Identifier: Apache-2.0
// The kernel's complete view of sessions and relations, for diagnosis.
// Every field is printed beside the name of the kernel structure it comes
// from; references are object identities, printed as pointers and never
// followed.
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "dpmgmt/session.h"
#include "platform/platform.h"
#include "session/display_text.h"
#include "session/table_walks.h"

namespace {

using namespace dpmgmt::display;

// Kernel references go out through %p.
const void *ref(uint64_t v) {
    return reinterpret_cast<const void *>(static_cast<uintptr_t>(v));
}
// Byte and 16-bit fields are widened without sign, also under %d.
unsigned u(unsigned v) {
    return v;
}

void print_kernel_direction(const SESSION_KERNELINFO_S &e, int d) {
    const SESSION_TUPLE_S &t = e.astTuple[d];
    if (t.ucFamily == SESSION_AF_IPV4) {
        const Ipv4Texts a(t, e.aucDsLitePeer[d]);
        std::printf("SrcAddr        :%-20s  SrcPort        :%-20d\r\n", a.src, u(t.usSrcPort));
        std::printf("DstAddr        :%-20s  DstPort        :%-20d\r\n", a.dst, u(t.usDstPort));
        // The VPN line continues this one.
        std::printf("DS-Lite peer   :%-22s", a.dsl);
    } else {
        const Ipv6Texts a(t);
        std::printf("SrcAddr        :%-20s  SrcPort        :%-20d\r\n", a.src, u(t.usSrcPort));
        std::printf("DstAddr        :%-20s  DstPort        :%-20d\r\n", a.dst, u(t.usDstPort));
    }
    char proto[kProtoNameSize];
    char ifn[kIfNameSize];
    proto_name(proto, t.ucProtocol);
    if_name(ifn, e.auiIfIndex[d]);
    if (t.ucFlags & 0x01u) {
        std::printf("VPN ID         :-/%u/-\r\n", u(t.usVrfIndex));
    } else if (t.ucFlags & 0x02u) {
        // A layer-2 entry of this kind has no inbound interface of its own.
        std::memcpy(ifn, "N/A", sizeof "N/A");
        std::printf("VPN ID         :-/%u/-\r\n", u(t.usVrfIndex));
    } else if (t.ucFlags & SESSION_TUPLE_FLAG_VLL) {
        std::printf("VPN ID         :-/-/%u\r\n", u(t.usVrfIndex));
    } else {
        char vpn[kVpnNameSize];
        vpn_name(vpn, t.usVrfIndex);
        std::printf("VPN ID         : %s/-/-\r\n", vpn);
    }
    std::printf("Protocol       :%s(%u)  Inbound interface    :%-15s\r\n", proto, u(t.ucProtocol), ifn);
}

void print_kernel_state(const SESSION_KERNELINFO_S &e) {
    print_state_and_app(e, "    ");
    char when[kTimeTextSize];
    start_time(when, e.uiStartTime);
    std::printf("Start time: %s", when);
    if (e.uiTTL == SESSION_TTL_NONE)
        std::puts("    TTL: -\r");
    else
        std::printf("    TTL: %us\r\n", e.uiTTL);
    std::printf("Initiator->Responder:   %20u packets %20u bytes\r\n", e.uiPacketsOrg, e.uiBytesOrg);
    std::printf("Responder->Initiator:   %20u packets %20u bytes\r\n", e.uiPacketsRpl, e.uiBytesRpl);
    std::puts("\r");
}

void print_kernel_blocks(const SESSION_KERNELINFO_S &e) {
    std::puts("SESSION_BASE_S:\r");
    std::printf("RefCount           :%-20u   TableFlag           :%#-x\r\n", e.uiRefCount, u(e.usTableFlag));
    std::printf("Cache_org          :%-20p   UpdateTime          :%-u\r\n", ref(e.ulCacheOrg), e.uiUpdateTime);
    std::printf("Cache_rpl          :%-20p   SessionType         :%-d\r\n", ref(e.ulCacheRpl), u(e.ucSessionType));
    std::printf("Session_base       :%-20p   SessionL4Type       :%-d\r\n", ref(e.ulSessionBase), u(e.ucSessionL4Type));
    std::printf("L3CheckSumDiff     :%-20d   L4CheckSumDiff    :%-d\r\n", u(e.usBaseL3CheckSumDiff),
                u(e.usBaseL4CheckSumDiff));
    std::puts("\r");

    std::puts("SESSION_S:\r");
    std::printf("Session_Normal     :%-20p   ServicePos        :%#-llx\r\n", ref(e.ulSessionNormal),
                static_cast<unsigned long long>(e.ulServicePos));
    std::printf("ServiceCb          :%-20p   Module Flag       :%#-x\r\n", ref(e.ulServiceCb), u(e.usModuleFlag));
    std::printf("LogCb              :%-20p   AppID             :%-u\r\n", ref(e.ulLogCb), e.uiSessionAppId);
    std::printf("AttachFlag         :%#-20x  Cfg Seq           :%-d\r\n", u(e.usAttachFlag), u(e.usCfgSeq));
    std::printf("VrexActInbound     :%-20d   VrexActOutbound   :%-d\r\n", u(e.ucVrexActInbound),
                u(e.ucVrexActOutbound));
    std::printf("VrexActZonePair    :%-20d   AppStaticOrignalIn:%-d\r\n", u(e.ucVrexActZonePair),
                u(e.ucAppStaticOrignalIn));
    std::printf("AppStaticOrignalOut:%-20d   AppStaticReplyIn  :%-d\r\n", u(e.ucAppStaticOrignalOut),
                u(e.ucAppStaticReplyIn));
    std::printf("AppStaticReplyOut  :%-20d   ArpPnpFlag        :%-d\r\n", u(e.ucAppStaticReplyOut), u(e.ucArpPnpFlag));
    std::printf("State              :%-20d   LogCfg            :%-d\r\n", u(e.ucSessionState), u(e.ucLogCfg));
    std::printf("BackupFlag         :%#-20x  UseServiceNum     :%-d\r\n", u(e.ucBackupFlag), u(e.ucUseServiceNum));
    std::printf("AllocServiceNum    :%-20d   AlgFlag           :%-d\r\n", u(e.ucAllocServiceNum), u(e.usAlgFlag));
    std::printf("stPeerLip          :%-20d   FDBFlag           :%#-x\r\n", u(e.usPeerLip), u(e.usFDBFlag));
    std::printf("Driver context 0:  :%-20x\r\n", e.auiDriverContext[0]);
    std::printf("Driver context 1:  :%-20x\r\n", e.auiDriverContext[1]);
    std::puts("\r");

    if (e.ulExtSession != 0) {
        std::puts("SESSION_EXT_S:\r");
        std::printf("ExtSession         :%-20p   DirAssociateParent  :%-d\r\n", ref(e.ulExtSession),
                    u(e.ucDirAssociateParent));
        std::printf("Parent             :%-20p   VrexCfgSeq          :%-d\r\n", ref(e.ulParent), u(e.ucVrexCfgSeq));
        std::printf("AlgCb              :%-20p   Sctp_org            :%-u\r\n", ref(e.ulAlgCb), e.uiSctpOrg);
        std::printf("Sctp_rpl           :%-20u   SessAlgType         :%#-x\r\n", e.uiSctpRpl, u(e.usSessAlgType));
        std::printf("Dccp_rpl           :%-20u   Dccp_org            :%#-x\r\n", u(e.ucDccpRpl), u(e.ucDccpOrg));
        std::puts("\r");
    }

    std::puts("SESSION_KLOG_EXTINFO_S:\r");
    std::printf("Org_Packets        :%-20u   Rely_Packets        :%-u\r\n", e.uiOrgPackets, e.uiRelyPackets);
    std::printf("Org_Bytes          :%-20u   Rely_Bytes          :%-u\r\n", e.uiOrgBytes, e.uiRelyBytes);
    std::puts("\r");

    if (e.usModuleFlag & 0x01u) {
        std::puts("SESSION_NATEXT_KERNEL_INFO_S:\r");
        std::printf("Dns Seq            :%-20p   L4CheckSumDiff    :%-d\r\n", ref(e.ulDnsSeq),
                    u(e.usNatL4CheckSumDiff));
        std::printf("SrcNopatInfo       :%-20p   ifIndexNatCfg     :%-u\r\n", ref(e.ulSrcNopatInfo), e.uiIfIndexNatCfg);
        std::printf("LogCb              :%-20p   Cfg Org_Seq       :%-d\r\n", ref(e.ulNatLogCb), u(e.usCfgOrgSeq));
        std::printf("DstNopatInfo       :%-20p   Cfg Rply_Seq      :%-d\r\n", ref(e.ulDstNopatInfo), u(e.usCfgRplySeq));
        std::printf("Org_Flag           :%#-20x  Rply_Flag         :%#-x\r\n", u(e.ucOrgFlag), u(e.ucRplyFlag));
        std::printf("Flag               :%#-20x  L3CheckSumDiff    :%-d\r\n", u(e.usNatFlag), u(e.usNatL3CheckSumDiff));
        std::printf("ifIndexDns         :%-20u   ucChannel         :%-u\r\n", e.uiIfIndexDns, u(e.ucChannel));
        std::printf("portblockResFlag   :%-20x   BackupMode        :%-u\r\n", u(e.usPortblockResFlag),
                    u(e.ucBackupMode));
        std::printf("Portblock Dir      :%-20u   Port Res Dir      :%-u\r\n", u(e.ucPortblockDir), u(e.ucPortResDir));
        std::printf("LoadShare ID       :%-20u   hPatEntry         :%-p\r\n", u(e.ucLoadShareId), ref(e.ulPatEntry));
        std::puts("\r");
    }
}

void print_kernel_session(const SESSION_KERNELINFO_S &e) {
    std::puts("Initiator:\r");
    print_kernel_direction(e, 0);
    std::puts("Responder:\r");
    print_kernel_direction(e, 1);
    print_kernel_state(e);
    print_kernel_blocks(e);
}

void print_ext_vpn(const SESSION_RELATIONINFOALL_S &e) {
    const uint16_t id = e.stAttach.usExtVrfIndex;
    if (e.stTuple.ucFlags & SESSION_TUPLE_FLAG_VLAN_MASK) {
        std::printf("    Ext VPN instance/VLAN ID/Inline ID: -/%u/-\r\n", u(id));
    } else if (e.stTuple.ucFlags & SESSION_TUPLE_FLAG_VLL) {
        std::printf("    Ext VPN instance/VLAN ID/Inline ID: -/-/%u\r\n", u(id));
    } else {
        char vpn[kVpnNameSize];
        vpn_name(vpn, id);
        std::printf("    Ext VPN instance/VLAN ID/Inline ID: %s/-/-\r\n", vpn);
    }
}

void print_relation_detail(const SESSION_RELATIONINFOALL_S &e) {
    print_relation_addresses(e.stTuple, e.aucDsLitePeer);
    print_relation_protocol(e.stTuple, e.uiTTL, e.uiAppId);

    char ifn[kIfNameSize];
    if_name(ifn, e.uiRecvIfIndex);
    std::printf("  Receive interface: %s\r\n", ifn);
    std::printf("  Tuple mask:        %-20u    Tuple LockIndex: %u\r\n", e.uiTupleMask, u(e.usTupleLockIndex));
    std::printf("  Local LockIndex:   %-20u    uiRelationFlag:  %#-x\r\n", u(e.usLocalLockIndex), e.uiRelationFlag);
    std::printf("  Expect ChildDir:   %-20u    Class:           %-u\r\n", e.uiExpectChildDir, e.uiClass);
    std::printf("  BakupFlag:         %#-20x    AgingType:       %-u\r\n", u(e.usBakupFlag), e.uiAgingType);
    std::printf("  bCareParentFlag:   %-20u    uiUpdateTime:    %-u\r\n", u(e.usCareParentFlag), e.uiUpdateTime);
    std::printf("  pstParent:         %-20p    pstSelfRelation: %-p\r\n", ref(e.ulParent), ref(e.ulSelfRelation));

    std::puts("  AttachData:\r");
    if_name(ifn, e.stAttach.uiAlgLoadIfIndex);
    std::printf("    AlgLoad interface: %s\r\n", ifn);
    char ext[kIpv4TextSize];
    ipv4_text(ext, e.stAttach.aucExtDstAddr);
    std::printf("    Ext Destination IP/port: %s/%u\r\n", ext, u(e.stAttach.usExtDstPort));
    std::printf("    Ext DS-Lite tunnel peer: %u\r\n", e.stAttach.uiExtDsLitePeer);
    print_ext_vpn(e);
    char proto[kProtoNameSize];
    proto_name(proto, e.stAttach.ucExtProtocol);
    std::printf("    Ext Protocol: %s(%u)\r\n", proto, u(e.stAttach.ucExtProtocol));
    std::printf("    Ext ucArpPnpFlag: %#x\r\n", u(e.stAttach.ucExtArpPnpFlag));
    std::printf("    Ext usQrmId: %u\r\n", u(e.stAttach.usExtQrmId));

    // Only IPv4 relations carry NAT state; an IPv6 entry ends here.
    if (e.stTuple.ucFamily != SESSION_AF_IPV4) return;
    std::printf("    Nat portblock: %-p\r\n", ref(e.ulNatPortBlock));
    std::printf("    Nat PatEntry: %-p\r\n", ref(e.ulNatPatEntry));
    std::printf("    Nat flag: %x\r\n", u(e.usNatFlag));
    std::printf("    Nat PB Resflag: %x\r\n", u(e.usNatPBResFlag));
    std::printf("    RefCount: %u\r\n", e.uiRefCount);
    std::printf("    Portblock-port: %u\r\n", u(e.usPortBlockPort));
    std::printf("    FailGroupID: %u\r\n", e.uiFailGroupId);
    std::printf("    LoadShareID: %u\r\n\r\n", u(e.ucLoadShareId));
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t SESSION_DisplaySessionKernel(uint16_t node, const SESSION_DUMPKEY_S *key) {
    return dpmgmt::session::walk_session_kernel(node, *key, print_kernel_session);
}

DPMGMT_API uint32_t SESSION_DisplayRelationInfo(uint16_t node, const SESSION_RELATION_KEY_S *key) {
    return dpmgmt::session::walk_relation_details(node, *key, print_relation_detail);
}

}  // extern "C"
