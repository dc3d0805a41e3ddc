#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""dpservice --data-plane netfilter against a real connection-tracking table.

Each case runs inside a private network namespace made for it: nfns.main
re-runs this script under `unshare -n -m` and refuses (skips) where that
cannot be done, so the host's own table is never touched.  Usage: nf_test.py BUILD_DIR CASE.
"""
import os
import re
import shutil
import socket
import struct
import sys
import time

sys.dont_write_bytecode = True  # nothing written into the source tree
from nfns import WAIT, Service, check, end_process, main, run, skip, wait_for  # noqa: E402


class Namespace(Service):
    """The inside of the namespace: a tracking rule, dpservice, helpers."""

    def prepare(self):
        run(['ip', 'link', 'set', 'lo', 'up'])
        # Any rule that uses ct makes the namespace track connections.
        run(['nft', '-f', '-'], input='''table inet t {
  chain out { type filter hook output priority 0; ct state new counter; }
}
''')
        if not os.path.exists('/proc/sys/net/netfilter/nf_conntrack_max'):
            skip('the kernel has no connection tracking')

    # ------------------------------------------------------------ traffic --
    def tcp(self, n, family=socket.AF_INET, host='127.0.0.1', port=5555):
        srv = socket.socket(family)
        srv.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        srv.bind((host, port))
        srv.listen(n)
        self.sockets.append(srv)
        for _ in range(n):
            c = socket.create_connection((host, port), timeout=WAIT)
            a, _ = srv.accept()
            self.sockets += [c, a]

    def ping(self, ident):
        """One ICMP echo on loopback; the kernel answers it."""
        s = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_ICMP)
        s.settimeout(WAIT)
        self.sockets.append(s)
        body = struct.pack('!BBHHH', 8, 0, 0, ident, 1) + b'dpmgmt'
        total = sum(struct.unpack('!%dH' % (len(body) // 2), body))
        while total >> 16:
            total = (total & 0xFFFF) + (total >> 16)
        s.sendto(body[:2] + struct.pack('!H', ~total & 0xFFFF) + body[4:], ('127.0.0.1', 0))
        wait_for(lambda: s.recv(64)[20] == 0, 'the echo reply')

    def udp(self, n, port, answered):
        srv = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        srv.bind(('127.0.0.1', port))
        srv.settimeout(WAIT)
        self.sockets.append(srv)
        for _ in range(n):
            c = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
            c.settimeout(WAIT)
            self.sockets.append(c)
            c.sendto(b'ping', ('127.0.0.1', port))
            data, peer = srv.recvfrom(16)
            if answered:
                srv.sendto(b'pong', peer)
                c.recvfrom(16)


# ------------------------------------------------------------- parsing ----

def conntrack_entries():
    """(protocol, src, sport, dst, dport, state) of every conntrack -L line."""
    out = run(['conntrack', '-L']).stdout
    entries = set()
    for line in out.splitlines():
        words = line.split()
        if len(words) < 4:
            continue
        proto = words[0].upper()
        # The first value of each key: the original direction's.
        first = dict(reversed([w.split('=', 1) for w in words if '=' in w]))
        if proto == 'TCP':
            state = 'TCP_' + words[3]
        elif proto == 'UDP':
            state = 'UDP_OPEN' if '[UNREPLIED]' in words else 'UDP_READY'
        elif proto == 'ICMP':
            # The session tables key ICMP by identifier and type << 8 | code.
            state = 'ICMP_REQUEST' if '[UNREPLIED]' in words else 'ICMP_REPLY'
            first['sport'] = first['id']
            first['dport'] = int(first['type']) << 8 | int(first['code'])
        else:
            continue
        entries.add((proto, first['src'], int(first['sport']), first['dst'], int(first['dport']), state))
    return entries


BLOCK = re.compile(r'Initiator:\r\n  Source      IP/port: (\S+)/(\d+)\r\n  Destination IP/port: (\S+)/(\d+)\r\n'
                   r'(?:  DS-Lite tunnel peer: \S+\r\n)?  VPN instance/VLAN ID/VLL ID: \S+\r\n  Protocol: (\w+)\(\d+\)\r\n'
                   r'.*?State: (\w+)\r\n', re.S)


def table_entries(text):
    return {(m[4].upper(), m[0], int(m[1]), m[2], int(m[3]), m[5]) for m in BLOCK.findall(text)}


def total_found(text):
    m = re.search(r'Total sessions found: (\d+)\r\n', text)
    check(m, 'no total in:\n' + text)
    return int(m.group(1))


def count_of(proto=None):
    args = ['conntrack', '-L'] + (['-p', proto] if proto else [])
    return sum(1 for line in run(args).stdout.splitlines() if line.strip())


# --------------------------------------------------------------- cases ----

def case_traffic(ns):
    ns.start_service()
    check('accounting switched on, timestamps switched on' in ns.log(), 'no switch-on line: ' + ns.log())
    ns.tcp(20)
    ns.tcp(3, socket.AF_INET6, '::1', 6666)
    ns.udp(5, 5353, answered=True)
    ns.udp(3, 5354, answered=False)
    ns.ping(0x4242)
    expected = conntrack_entries()
    check(len([e for e in expected if e[0] == 'TCP']) == 23 and len(expected) == 32,
          'conntrack does not show the traffic: %r' % expected)
    out = ns.dpmgmt('display', 'session', 'table', 'verbose').stdout
    shown = table_entries(out)
    check(shown == expected, 'session table differs from conntrack -L:\n only dpmgmt %r\n only conntrack %r'
          % (shown - expected, expected - shown))
    check(total_found(out) == count_of(), 'total differs from conntrack -L')
    # The dump key filters, as the model applies them.
    for args, want in [(['protocol', 'udp'], 8), (['ipv6'], 3), (['destination-port', '5353'], 5),
                       (['ipv4', 'destination-ip', '127.0.0.1', 'protocol', 'tcp'], 20)]:
        got = total_found(ns.dpmgmt('display', 'session', 'table', *args).stdout)
        check(got == want, 'display session table %s: %d entries, not %d' % (' '.join(args), got, want))
    got = total_found(ns.dpmgmt('display', 'session', 'kernel', 'protocol', 'tcp').stdout)
    check(got == 23, 'kernel detail shows %d TCP entries, not 23' % got)
    stats = ns.dpmgmt('display', 'session', 'statistics').stdout
    for label, n in [('Current sessions', count_of()), ('TCP sessions', 23), ('UDP sessions', 8),
                     ('ICMP sessions', 1)]:
        check(re.search(r'%s: +%d\r\n' % (label, n), stats), '%s is not %d in:\n%s' % (label, n, stats))
    # Counters and start times come from the accounting and timestamps the
    # service switched on.
    check(re.search(r'Initiator->Responder: +[1-9]\d* packets +[1-9]\d* bytes', out), 'no counters in the table')
    starts = [time.mktime(time.strptime(t, '%Y-%m-%d %H:%M:%S'))
              for t in re.findall(r'Start time: (\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)', out)]
    check(len(starts) == len(expected) and all(abs(t - time.time()) < 300 for t in starts),
          'start times are not those of the traffic: %r' % starts[:3])


def case_settings(ns):
    ns.start_service()
    ns.dpmgmt('session', 'aging-time', 'state', 'tcp-est', '7200')
    ns.dpmgmt('session', 'aging-time', 'state', 'udp-open', '45')
    with open('/proc/sys/net/netfilter/nf_conntrack_tcp_timeout_established') as f:
        check(f.read().strip() == '7200', 'the established-TCP timeout did not change')
    with open('/proc/sys/net/netfilter/nf_conntrack_udp_timeout') as f:
        check(f.read().strip() == '45', 'the UDP timeout did not change')
    aging = ns.dpmgmt('display', 'session', 'aging-time').stdout
    check(re.search(r'TCP-EST +7200\r\n', aging) and re.search(r'UDP-OPEN +45\r\n', aging),
          'aging times do not read back:\n' + aging)
    # No counterpart: application aging times are refused.
    r = ns.dpmgmt('session', 'aging-time', 'application', 'ftp', '100', ok=False)
    check(r.returncode != 0, 'an application aging time was accepted')
    # The table maximum is read-only in a namespace; a file bound over it
    # stands in for the writable one the host's first namespace has.
    r = ns.dpmgmt('session', 'limit', '5000', ok=False)
    check(r.returncode != 0 and 'read-only in this network namespace' in ns.log(),
          'a read-only table maximum was not refused: ' + r.stdout + r.stderr)
    stand_in = os.path.join(ns.rundir, 'nf_conntrack_max')
    with open(stand_in, 'w') as f:
        f.write('262144\n')
    run(['mount', '--bind', stand_in, '/proc/sys/net/netfilter/nf_conntrack_max'])
    try:
        ns.dpmgmt('session', 'limit', '5000')
        with open(stand_in) as f:
            check(f.read().strip() == '5000', 'the session limit did not reach nf_conntrack_max')
        limits = ns.dpmgmt('display', 'session', 'limit').stdout
        check(re.search(r'\n0 +5000 ', limits), 'the limit does not read back:\n' + limits)
    finally:
        run(['umount', '/proc/sys/net/netfilter/nf_conntrack_max'], ok=False)


def case_reset(ns):
    ns.start_service()
    ns.tcp(6)
    ns.udp(4, 5353, answered=True)
    ns.udp(2, 5354, answered=False)
    total, udp, tcp = count_of(), count_of('udp'), count_of('tcp')
    check(udp == 6 and tcp == 6, 'traffic not tracked: %d udp, %d tcp' % (udp, tcp))
    ns.dpmgmt('reset', 'session', 'protocol', 'udp', 'destination-port', '5354')
    check(count_of('udp') == 4 and count_of('tcp') == 6, 'the port filter removed the wrong entries')
    ns.dpmgmt('reset', 'session', 'protocol', 'udp')
    after = int(run(['conntrack', '-C']).stdout.split()[0])
    check(after == total - udp, 'conntrack -C: %d before, %d after, %d UDP' % (total, after, udp))
    check(count_of('udp') == 0 and count_of('tcp') == 6, 'reset removed other entries')
    stats = ns.dpmgmt('display', 'session', 'statistics').stdout
    check(re.search(r'UDP sessions: +0\r\n', stats), 'statistics still count UDP:\n' + stats)


def case_expectations(ns):
    """The kernel's FTP helper (assigned by the namespace's rule to port 21)
    expects the data connection a passive-mode reply announces."""
    r = run(['nft', '-f', '-'], ok=False, input='''table inet h {
  ct helper ftp-std { type "ftp" protocol tcp; }
  chain out { type filter hook output priority -10; tcp dport 21 ct helper set "ftp-std"; }
}
''')
    if r.returncode != 0:
        skip('the kernel has no FTP connection-tracking helper: ' + r.stderr.strip())
    ns.start_service()
    ns.tcp(1, port=21)
    client, server = ns.sockets[-2], ns.sockets[-1]
    server.sendall(b'220 ready\r\n')
    client.recv(64)
    client.sendall(b'PASV\r\n')
    server.recv(64)
    server.sendall(b'227 Entering Passive Mode (127,0,0,1,200,10).\r\n')
    client.recv(64)
    wait_for(lambda: 'dport=51210' in run(['conntrack', '-L', 'expect']).stdout, 'the helper to expect 51210')
    out = ns.dpmgmt('display', 'session', 'relation-table').stdout
    check('Destination IP/port: 127.0.0.1/51210\r\n' in out and 'Application: FTP\r\n' in out
          and 'Total relations found: 1\r\n' in out and re.search(r'Protocol: TCP\(6\) +TTL: \d+s', out),
          'the expectation is not in the relation table:\n' + out)
    out = ns.dpmgmt('display', 'session', 'relation-table', 'ipv6').stdout
    check('Total relations found: 0\r\n' in out, 'an IPv4 expectation passed the IPv6 filter')
    out = ns.dpmgmt('display', 'session', 'relation-kernel').stdout
    check('    Ext Destination IP/port: 127.0.0.1/51210\r\n' in out, 'no relation detail:\n' + out)
    ns.dpmgmt('reset', 'session', 'relation')
    check('dport=51210' not in run(['conntrack', '-L', 'expect']).stdout, 'the relation reset left the expectation')


def case_no_capability(ns):
    """Without CAP_NET_ADMIN the service refuses to start, in one line."""
    setpriv = shutil.which('setpriv')
    if setpriv is None or run([setpriv, '--bounding-set=-net_admin', 'true'], ok=False).returncode != 0:
        skip('setpriv (util-linux) cannot drop CAP_NET_ADMIN here')
    r = run([setpriv, '--inh-caps=-all', '--bounding-set=-net_admin', '--',
             os.path.join(ns.build, 'dpservice'), '--data-plane', 'netfilter'], ok=False, env=ns.env)
    check(r.returncode == 1, 'dpservice without CAP_NET_ADMIN exited with %d' % r.returncode)
    lines = r.stderr.splitlines()
    check(len(lines) == 1 and 'CAP_NET_ADMIN' in lines[0], 'not one line naming CAP_NET_ADMIN: %r' % r.stderr)
    check(not os.path.exists(os.path.join(ns.rundir, 'svc-3184.sock')), 'the refused service bound its socket')


def case_started_by_dpmgmt(ns):
    """dpmgmt starts the service itself; the host profile makes it serve
    the namespace's table."""
    ns.env['DPMGMT_SERVICE'] = os.path.join(ns.build, 'dpservice')
    ns.tcp(2)
    try:
        out = ns.dpmgmt('display', 'session', 'table').stdout
        check(total_found(out) == count_of() == 2, 'the started service does not serve the namespace:\n' + out)
    finally:
        if os.path.exists(ns.pidfile):
            end_process(ns.service_pid())


def case_profile(ns):
    """data-plane = netfilter in a profile file: the namespace's interfaces
    by name and index, one node; a profile that also lists interfaces is
    refused with one line."""
    run(['ip', 'link', 'add', 'nfa', 'type', 'veth', 'peer', 'name', 'nfb'])
    path = os.path.join(ns.rundir, 'host.ini')
    with open(path, 'w') as f:
        f.write('[device]\nself = 3\nmaster = 3\ndata-plane = netfilter\n[node 3]\nslot = 4\n'
                '[acl web]\nnumber = 3000\nprotocol = 6\n')
    ns.env['DPMGMT_PROFILE'] = path
    ns.start_service()
    ns.dpmgmt('connection-limit', 'policy', '1')
    ns.dpmgmt('connection-limit', 'policy', '1', 'rule', '1', 'acl', '3000', 'amount', '100', '50', 'per-source')
    ns.dpmgmt('connection-limit', 'apply', 'policy', '1', 'interface', 'nfb')
    out = ns.dpmgmt('display', 'connection-limit', 'policy').stdout
    check('  Applied: nfb\r\n' in out, 'the namespace interface is not shown by name:\n' + out)
    r = ns.dpmgmt('connection-limit', 'apply', 'policy', '1', 'interface', 'GigabitEthernet1/0/1', ok=False)
    check(r.returncode != 0, 'an interface of the built-in profile was accepted')
    ns.tcp(1)
    out = ns.dpmgmt('display', 'session', 'table').stdout
    check(out.startswith('Slot 4:\r\n') and total_found(out) == 1, 'not the one node of the profile:\n' + out)
    with open(path, 'a') as f:
        f.write('[interface eth9]\nifindex = 9\n')
    r = ns.dpmgmt('display', 'session', 'table', ok=False)
    check(r.returncode == 1 and r.stderr.count('\n') == 1 and 'no [interface] sections with data-plane = netfilter'
          in r.stderr, 'a netfilter profile with interfaces was not refused: %r' % r.stderr)


CASES = {'traffic': case_traffic, 'settings': case_settings, 'reset': case_reset,
         'expectations': case_expectations, 'no_capability': case_no_capability,
         'started_by_dpmgmt': case_started_by_dpmgmt, 'profile': case_profile}


if __name__ == '__main__':
    sys.exit(main(__file__, CASES, Namespace, ('conntrack',)))
