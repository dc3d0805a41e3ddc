// SPDX-License-Identifier: Apache-2.0
// The device profile: an INI file ($DPMGMT_PROFILE), the built-in text, or
// the host's own layout ($DPMGMT_PROFILE=host), parsed once with inih.
// docs/profile.md describes the format.
#include <arpa/inet.h>
#include <ini.h>
#include <net/if.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <utility>

#include "dpsim.h"

namespace {

constexpr const char *kBuiltinProfile = R"INI(; The built-in device: one chassis, two slots of one CPU each.
[device]
multi-chassis = no
self = 1
master = 1

[node 1]
chassis = 1
slot = 1
cpu = 0
controller = yes
team = 1

[node 2]
chassis = 1
slot = 2
cpu = 0
controller = no
team = 1

[interface GigabitEthernet1/0/1]
ifindex = 1
nodes = 1

[interface GigabitEthernet1/0/2]
ifindex = 2
nodes = 1

[interface GigabitEthernet2/0/1]
ifindex = 3
nodes = 2

[interface GigabitEthernet2/0/2]
ifindex = 4
nodes = 2

[interface Route-Aggregation1]
ifindex = 5
nodes = 1, 2
global = yes

[interface Vlan-interface10]
ifindex = 6
nodes = 1, 2
global = yes

[interface Virtual-Access1]
ifindex = 7
nodes = 1
temporary = yes

[interface Virtual-Access2]
ifindex = 8
nodes = 2
temporary = yes

[acl web]
type = 1
number = 3000
source = 10.0.0.0/8
destination = any
protocol = 6

[acl dns]
type = 1
number = 3001
source = any
destination = any
protocol = 17

[acl branch]
type = 1
number = 3002
source = 192.168.0.0/16
destination = 10.0.0.0/8
protocol = 0

[acl v6-hosts]
type = 2
number = 3100
source = 2001:db8::/32
destination = any
protocol = 0

[vpn]
1 = vpn1
2 = vpn2
3 = corp

[applications]
1 = http
2 = https
3 = ftp
4 = dns
5 = sip
6 = h323
7 = ssh
8 = telnet
9 = smtp
10 = rtsp
)INI";

// The host as a device: one node, the host's interfaces (added when the
// profile is read, because of data-plane = netfilter), and the
// connection-tracking helpers as applications, under the ids the netfilter
// data plane gives them (service/netfilter/ct_entry.h).
constexpr const char *kHostProfile = R"INI(; The host: one node and its own interfaces.
[device]
self = 1
master = 1
data-plane = netfilter

[node 1]
chassis = 1
slot = 1
cpu = 0
controller = yes

[applications]
1 = ftp
2 = tftp
3 = sip
4 = ras
5 = q.931
6 = h.245
7 = irc
8 = amanda
9 = pptp
10 = sane
11 = netbios-ns
12 = snmp
)INI";

// The name DPMGMT_PROFILE gives the host profile.
constexpr const char *kHostProfileName = "host";

// Feeds inih line by line and counts lines, so that the handler knows
// where it stands.
struct LineSource {
    FILE *file = nullptr;
    const char *text = nullptr;
    int line = 0;
};

char *read_line(char *str, int num, void *stream) {
    auto *src = static_cast<LineSource *>(stream);
    char *got = nullptr;
    if (src->file != nullptr) {
        got = std::fgets(str, num, src->file);
    } else if (src->text != nullptr && *src->text != '\0' && num > 1) {
        int n = 0;
        while (n < num - 1 && src->text[n] != '\0') {
            if (src->text[n++] == '\n') break;
        }
        std::memcpy(str, src->text, static_cast<size_t>(n));
        str[n] = '\0';
        src->text += n;
        got = str;
    }
    if (got != nullptr) {
        const size_t len = std::strlen(got);
        if (len > 0 && got[len - 1] == '\n') ++src->line;
        else if (src->file == nullptr ? *src->text == '\0' : std::feof(src->file)) ++src->line;
    }
    return got;
}

struct Parse {
    LineSource source;
    std::string origin;
    dpsim::Profile profile;
    std::string error;        // the first complaint, with its line
    int selfLine = 0;
    int masterLine = 0;
    bool netfilter = false;   // data-plane = netfilter: the host's interfaces
    int dataPlaneLine = 0;
    // Sections by name, to the record they fill.
    std::map<std::string, size_t> nodeSection, ifSection, aclSection;
    std::vector<int> nodeLine, ifLine, aclLine;
    std::set<size_t> localGiven;

    int fail(const std::string &what) {
        if (error.empty()) error = origin + ":" + std::to_string(source.line) + ": " + what;
        return 0;
    }
};

bool parse_u32(const char *text, uint32_t max, uint32_t &out) {
    if (text == nullptr || *text < '0' || *text > '9') return false;
    errno = 0;
    char *end = nullptr;
    // Decimal, or hexadecimal with 0x: a leading zero does not mean octal.
    const bool hex = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const unsigned long long v = std::strtoull(text, &end, hex ? 16 : 10);
    if (errno != 0 || *end != '\0' || v > max) return false;
    out = static_cast<uint32_t>(v);
    return true;
}

bool parse_bool(const char *text, bool &out) {
    static const char *const yes[] = {"yes", "true", "on", "1"};
    static const char *const no[] = {"no", "false", "off", "0"};
    for (const char *y : yes)
        if (std::strcmp(text, y) == 0) return out = true, true;
    for (const char *n : no)
        if (std::strcmp(text, n) == 0) return out = false, true;
    return false;
}

bool parse_nodes(const char *text, std::vector<uint16_t> &out) {
    out.clear();
    std::string token;
    const std::string all = std::string(text) + ",";
    for (const char c : all) {
        if (c == ',' || c == ' ' || c == '\t') {
            if (token.empty()) continue;
            uint32_t id = 0;
            if (!parse_u32(token.c_str(), 0xFFFE, id)) return false;
            out.push_back(static_cast<uint16_t>(id));
            token.clear();
        } else {
            token += c;
        }
    }
    return true;
}

bool parse_prefix(const char *text, dpsim::Prefix &out) {
    out = dpsim::Prefix{};
    if (std::strcmp(text, "any") == 0) return true;
    std::string addr(text);
    std::string bits;
    const auto slash = addr.find('/');
    if (slash != std::string::npos) {
        bits = addr.substr(slash + 1);
        addr.resize(slash);
    }
    uint32_t maxBits = 0;
    if (inet_pton(AF_INET, addr.c_str(), out.addr) == 1) {
        out.family = 4;
        maxBits = 32;
    } else if (inet_pton(AF_INET6, addr.c_str(), out.addr) == 1) {
        out.family = 6;
        maxBits = 128;
    } else {
        return false;
    }
    uint32_t length = maxBits;
    if (slash != std::string::npos && !parse_u32(bits.c_str(), maxBits, length)) return false;
    out.length = static_cast<uint8_t>(length);
    return true;
}

// The record of a "[kind name]" section, made on first sight.
template <typename T>
size_t section_record(std::map<std::string, size_t> &index, std::vector<T> &records, std::vector<int> &lines,
                      const std::string &name, int line) {
    const auto it = index.find(name);
    if (it != index.end()) return it->second;
    records.emplace_back();
    lines.push_back(line);
    index.emplace(name, records.size() - 1);
    return records.size() - 1;
}

int device_key(Parse &p, const std::string &key, const char *value) {
    uint32_t v = 0;
    if (key == "multi-chassis") return parse_bool(value, p.profile.multiChassis) ? 1 : p.fail("multi-chassis must be yes or no");
    if (key == "self" || key == "master") {
        if (!parse_u32(value, 0xFFFE, v)) return p.fail(key + " must be a node number");
        (key == "self" ? p.profile.self : p.profile.master) = static_cast<uint16_t>(v);
        (key == "self" ? p.selfLine : p.masterLine) = p.source.line;
        return 1;
    }
    if (key == "data-plane") {
        if (std::strcmp(value, "model") != 0 && std::strcmp(value, "netfilter") != 0)
            return p.fail("data-plane must be model or netfilter");
        p.netfilter = std::strcmp(value, "netfilter") == 0;
        p.dataPlaneLine = p.source.line;
        return 1;
    }
    return p.fail("unknown key '" + key + "' in [device]");
}

int node_key(Parse &p, dpsim::Node &node, const std::string &key, const char *value) {
    uint32_t v = 0;
    if (key == "chassis" || key == "slot" || key == "cpu" || key == "team") {
        if (!parse_u32(value, 0xFFFFFFFEu, v)) return p.fail(key + " must be a number");
        (key == "chassis" ? node.chassis : key == "slot" ? node.slot : key == "cpu" ? node.cpu : node.team) = v;
        return 1;
    }
    if (key == "controller") return parse_bool(value, node.controller) ? 1 : p.fail("controller must be yes or no");
    if (key == "up") return parse_bool(value, node.up) ? 1 : p.fail("up must be yes or no");
    return p.fail("unknown key '" + key + "' in a node section");
}

int interface_key(Parse &p, size_t index, const std::string &key, const char *value) {
    dpsim::Interface &itf = p.profile.interfaces[index];
    uint32_t v = 0;
    bool b = false;
    if (key == "ifindex") {
        if (!parse_u32(value, 0xFFFFFFFEu, v) || v == 0) return p.fail("ifindex must be a number above 0");
        itf.ifindex = v;
        return 1;
    }
    if (key == "nodes") return parse_nodes(value, itf.nodes) ? 1 : p.fail("nodes must be a list of node numbers");
    if (key == "attribute") {
        if (!parse_u32(value, 0xFFFFFFFFu, v)) return p.fail("attribute must be a number");
        itf.attribute = v;
        return 1;
    }
    if (key == "global") {
        if (!parse_bool(value, b)) return p.fail("global must be yes or no");
        if (b) itf.attribute = 4;
        return 1;
    }
    if (key == "temporary") return parse_bool(value, itf.temporary) ? 1 : p.fail("temporary must be yes or no");
    if (key == "local") {
        if (!parse_bool(value, itf.local)) return p.fail("local must be yes or no");
        p.localGiven.insert(index);
        return 1;
    }
    return p.fail("unknown key '" + key + "' in an interface section");
}

// "any", "80" or "1000-2000" (inclusive, LOW <= HIGH).
bool parse_port_range(const char *value, uint16_t range[2]) {
    if (std::strcmp(value, "any") == 0) {
        range[0] = 0;
        range[1] = 65535;
        return true;
    }
    const char *dash = std::strchr(value, '-');
    const std::string low = dash ? std::string(value, static_cast<size_t>(dash - value)) : std::string(value);
    uint32_t lo = 0, hi = 0;
    if (!parse_u32(low.c_str(), 65535, lo) || !parse_u32(dash ? dash + 1 : value, 65535, hi) || lo > hi) return false;
    range[0] = static_cast<uint16_t>(lo);
    range[1] = static_cast<uint16_t>(hi);
    return true;
}

int acl_key(Parse &p, dpsim::Acl &acl, const std::string &key, const char *value) {
    uint32_t v = 0;
    if (key == "type") {
        if (!parse_u32(value, 0xFFFFFFFFu, v)) return p.fail("type must be a number");
        acl.type = v;
        return 1;
    }
    if (key == "number") {
        if (!parse_u32(value, 0xFFFFFFFFu, v) || v == 0) return p.fail("number must be a number above 0");
        acl.number = v;
        return 1;
    }
    if (key == "source") return parse_prefix(value, acl.source) ? 1 : p.fail("source must be 'any' or an address prefix");
    if (key == "destination")
        return parse_prefix(value, acl.destination) ? 1 : p.fail("destination must be 'any' or an address prefix");
    if (key == "protocol") {
        if (!parse_u32(value, 255, v)) return p.fail("protocol must be a number from 0 to 255");
        acl.protocol = static_cast<uint8_t>(v);
        return 1;
    }
    if (key == "source-port" || key == "destination-port") {
        uint16_t *range = key == "source-port" ? acl.sourcePorts : acl.destinationPorts;
        return parse_port_range(value, range) ? 1 : p.fail(key + " must be 'any', a port or a range LOW-HIGH");
    }
    return p.fail("unknown key '" + key + "' in an acl section");
}

int name_table_key(Parse &p, std::map<uint32_t, std::string> &table, size_t maxLen, const std::string &key,
                   const char *value) {
    uint32_t id = 0;
    if (!parse_u32(key.c_str(), 0xFFFFFFFFu, id)) return p.fail("'" + key + "' is not a number");
    const size_t len = std::strlen(value);
    if (len == 0 || len > maxLen) return p.fail("a name of 1 to " + std::to_string(maxLen) + " characters is needed");
    table[id] = value;
    return 1;
}

int on_entry(void *user, const char *section, const char *name, const char *value) {
    auto &p = *static_cast<Parse *>(user);
    const std::string sec(section);
    const std::string key(name);
    const auto space = sec.find(' ');
    const std::string kind = sec.substr(0, space);
    const std::string rest = space == std::string::npos ? std::string() : sec.substr(space + 1);
    if (sec == "device") return device_key(p, key, value);
    if (sec == "vpn") return name_table_key(p, p.profile.vpns, 31, key, value);
    if (sec == "applications") return name_table_key(p, p.profile.applications, 63, key, value);
    if (kind == "node" && !rest.empty()) {
        uint32_t id = 0;
        if (!parse_u32(rest.c_str(), 0xFFFE, id)) return p.fail("[" + sec + "]: a node section is named by its number");
        const size_t i = section_record(p.nodeSection, p.profile.nodes, p.nodeLine, rest, p.source.line);
        p.profile.nodes[i].id = static_cast<uint16_t>(id);
        return node_key(p, p.profile.nodes[i], key, value);
    }
    if (kind == "interface" && !rest.empty()) {
        if (rest.size() > 47) return p.fail("interface name longer than 47 characters");
        const size_t i = section_record(p.ifSection, p.profile.interfaces, p.ifLine, rest, p.source.line);
        p.profile.interfaces[i].name = rest;
        return interface_key(p, i, key, value);
    }
    if (kind == "acl" && !rest.empty()) {
        if (rest.size() > 63) return p.fail("acl name longer than 63 characters");
        const size_t i = section_record(p.aclSection, p.profile.acls, p.aclLine, rest, p.source.line);
        p.profile.acls[i].name = rest;
        return acl_key(p, p.profile.acls[i], key, value);
    }
    return p.fail("unknown section [" + sec + "]");
}

// What the lines cannot tell one at a time: references and uniqueness.
bool check_whole(Parse &p) {
    auto complain = [&p](int line, const std::string &what) {
        if (p.error.empty()) p.error = p.origin + ":" + std::to_string(line) + ": " + what;
        return false;
    };
    dpsim::Profile &prof = p.profile;
    if (prof.nodes.empty()) return complain(p.source.line, "no [node N] section");
    if (prof.node(prof.self) == nullptr) return complain(p.selfLine, "self names no node section");
    if (prof.node(prof.master) == nullptr) return complain(p.masterLine, "master names no node section");
    if (p.netfilter) {
        if (!prof.interfaces.empty())
            return complain(p.ifLine[0], "no [interface] sections with data-plane = netfilter: the host's interfaces are used");
        if (prof.nodes.size() != 1) return complain(p.dataPlaneLine, "data-plane = netfilter needs exactly one [node N] section");
    }
    std::set<uint32_t> ifindexes;
    for (size_t i = 0; i < prof.interfaces.size(); ++i) {
        dpsim::Interface &itf = prof.interfaces[i];
        if (itf.ifindex == 0) return complain(p.ifLine[i], "interface " + itf.name + " has no ifindex");
        if (!ifindexes.insert(itf.ifindex).second)
            return complain(p.ifLine[i], "ifindex " + std::to_string(itf.ifindex) + " used twice");
        for (const uint16_t n : itf.nodes)
            if (prof.node(n) == nullptr)
                return complain(p.ifLine[i], "interface " + itf.name + " names unknown node " + std::to_string(n));
        if (p.localGiven.count(i) == 0) {
            itf.local = false;
            for (const uint16_t n : itf.nodes) itf.local = itf.local || n == prof.self;
        }
    }
    std::set<std::pair<uint32_t, uint32_t>> acls;
    for (size_t i = 0; i < prof.acls.size(); ++i) {
        const dpsim::Acl &acl = prof.acls[i];
        if (acl.number == 0) return complain(p.aclLine[i], "acl " + acl.name + " has no number");
        if (!acls.insert({acl.type, acl.number}).second)
            return complain(p.aclLine[i], "acl number " + std::to_string(acl.number) + " used twice");
    }
    return true;
}

// The interfaces of the network namespace this process runs in, by index,
// all on the one node.
void add_host_interfaces(dpsim::Profile &prof) {
    struct if_nameindex *list = if_nameindex();
    if (list == nullptr) return;
    for (const struct if_nameindex *i = list; i->if_index != 0 && i->if_name != nullptr; ++i) {
        dpsim::Interface itf;
        itf.ifindex = i->if_index;
        itf.name = i->if_name;
        itf.nodes = {prof.self};
        itf.local = true;
        prof.interfaces.push_back(std::move(itf));
    }
    if_freenameindex(list);
}

}  // namespace

namespace dpsim {

const Node *Profile::node(uint16_t id) const {
    for (const Node &n : nodes)
        if (n.id == id) return &n;
    return nullptr;
}

const Interface *Profile::interface(uint32_t ifindex) const {
    for (const Interface &i : interfaces)
        if (i.ifindex == ifindex) return &i;
    return nullptr;
}

const Interface *Profile::interface(const std::string &name) const {
    for (const Interface &i : interfaces)
        if (i.name == name) return &i;
    return nullptr;
}

const char *builtin_profile_text() { return kBuiltinProfile; }

bool load_profile(const char *path, Profile &out, std::string &error) {
    Parse p;
    const bool host = path != nullptr && std::strcmp(path, kHostProfileName) == 0;
    p.origin = host ? "(host)" : path != nullptr ? path : "(built-in)";
    if (host) {
        p.source.text = kHostProfile;
    } else if (path != nullptr) {
        p.source.file = std::fopen(path, "re");
        if (p.source.file == nullptr) {
            error = p.origin + ": cannot open: " + std::strerror(errno);
            return false;
        }
    } else {
        p.source.text = kBuiltinProfile;
    }
    const int rc = ini_parse_stream(read_line, &p.source, on_entry, &p);
    if (p.source.file != nullptr) std::fclose(p.source.file);
    if (rc != 0 && p.error.empty()) {
        p.error = rc > 0 ? p.origin + ":" + std::to_string(rc) + ": not a section, key = value or comment line"
                         : p.origin + ": cannot be read";
    }
    if (!p.error.empty() || !check_whole(p)) {
        error = p.error;
        return false;
    }
    p.profile.origin = p.origin;
    p.profile.netfilter = p.netfilter;
    if (p.netfilter) add_host_interfaces(p.profile);
    out = std::move(p.profile);
    return true;
}

const Profile &profile() {
    static Profile *loaded = nullptr;
    static std::once_flag once;
    std::call_once(once, [] {
        const char *path = std::getenv("DPMGMT_PROFILE");
        if (path != nullptr && *path == '\0') path = nullptr;
        auto *prof = new Profile;
        std::string error;
        if (!load_profile(path, *prof, error)) {
            std::fprintf(stderr, "dpplatform: bad device profile: %s\n", error.c_str());
            std::exit(EXIT_FAILURE);
        }
        loaded = prof;
    });
    return *loaded;
}

bool prefix_matches(const Prefix &prefix, int family, const uint8_t *addr) {
    if (prefix.family == 0) return true;
    if (prefix.family != family || addr == nullptr) return false;
    const unsigned full = prefix.length / 8;
    if (std::memcmp(prefix.addr, addr, full) != 0) return false;
    const unsigned bits = prefix.length % 8;
    if (bits == 0) return true;
    const uint8_t mask = static_cast<uint8_t>(0xFF << (8 - bits));
    return (prefix.addr[full] & mask) == (addr[full] & mask);
}

}  // namespace dpsim
