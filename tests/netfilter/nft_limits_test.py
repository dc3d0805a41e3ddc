#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Connection limits enforced by nftables (dpservice --data-plane netfilter).

Each case runs in a private network namespace made for it (nfns.py): the
server side, with dpservice, and a client namespace joined to it by a veth
pair (ip netns, named only inside the case's mount namespace).  Usage:
nft_limits_test.py BUILD_DIR CASE.
"""
import json
import os
import re
import signal
import socket
import subprocess
import sys

sys.dont_write_bytecode = True  # nothing written into the source tree
from nfns import WAIT, Service, check, end_process, main, run, skip, wait_for  # noqa: E402

PORT = 7000
CLIENT_NS = 'dpmgmt-nft-client'
SRV4, CLI4, CLI4B = '10.9.0.1', '10.9.0.2', '10.9.0.3'
SRV6, CLI6, CLI6B = 'fd09::1', 'fd09::2', 'fd09::3'

PROFILE = '''[device]
self = 1
master = 1
data-plane = netfilter
[node 1]
chassis = 1
slot = 1
cpu = 0
controller = yes
[acl svc]
number = 3000
protocol = 6
destination-port = 7000-7001
[acl any4]
number = 3001
[acl svc6]
type = 2
number = 3100
source = fd09::/64
protocol = 6
'''

# Runs in the client namespace: opens connections on request, one line per
# answer.  "open SRC DST PORT" -> "ok" | "refused"; "close" resets them all.
CLIENT = r'''
import socket, struct, sys
held = []
for line in sys.stdin:
    w = line.split()
    if w[0] == 'open':
        fam = socket.AF_INET6 if ':' in w[1] else socket.AF_INET
        s = socket.socket(fam, socket.SOCK_STREAM)
        s.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack('ii', 1, 0))
        s.settimeout(5)
        s.bind((w[1], 0))
        try:
            s.connect((w[2], int(w[3])))
            held.append(s)
            print('ok', flush=True)
        except OSError:
            s.close()
            print('refused', flush=True)
    elif w[0] == 'close':
        for s in held:
            s.close()
        held = []
        print('closed', flush=True)
'''


def ruleset():
    """The table as nft lists it, handles, counts and set elements left
    out, in an order of its own (a set made again lists last)."""
    r = run(['nft', '-j', 'list', 'table', 'inet', 'dpmgmt'], ok=False)
    if r.returncode != 0:
        return None
    out = []
    for item in json.loads(r.stdout)['nftables']:
        if 'metainfo' in item:
            continue
        for body in item.values():
            body.pop('handle', None)
            body.pop('elem', None)
            for stmt in body.get('expr', []):
                if 'counter' in stmt:
                    stmt['counter'] = {}
        out.append(json.dumps(item, sort_keys=True))
    return sorted(out)


class Setup(Service):
    def __init__(self, build):
        super().__init__(build)
        self.profile = os.path.join(self.rundir, 'profile.ini')
        with open(self.profile, 'w') as f:
            f.write(PROFILE)
        self.env['DPMGMT_PROFILE'] = self.profile
        self.client = None

    def prepare(self):
        run(['ip', 'link', 'set', 'lo', 'up'])
        # The client namespace is named on a tmpfs of this mount namespace:
        # nothing of it shows outside, whatever happens to the test.
        os.makedirs('/run/netns', exist_ok=True)
        run(['mount', '-t', 'tmpfs', 'dpmgmt-nft', '/run/netns'])
        run(['ip', 'netns', 'add', CLIENT_NS])
        run(['ip', 'link', 'add', 'nft-srv', 'type', 'veth', 'peer', 'name', 'nft-cli', 'netns', CLIENT_NS])
        inside = ['ip', 'netns', 'exec', CLIENT_NS]
        # IPv6 addresses without duplicate detection: usable at once.
        for where, dev, addrs in (([], 'nft-srv', (SRV4 + '/24', SRV6 + '/64')),
                                  (inside, 'nft-cli', (CLI4 + '/24', CLI4B + '/24', CLI6 + '/64', CLI6B + '/64'))):
            for a in addrs:
                run(where + ['ip', 'addr', 'add', a, 'dev', dev] + (['nodad'] if ':' in a else []))
        run(['ip', 'link', 'set', 'nft-srv', 'up'])
        run(inside + ['ip', 'link', 'set', 'nft-cli', 'up'])
        run(inside + ['ip', 'link', 'set', 'lo', 'up'])
        for fam, host in ((socket.AF_INET, '0.0.0.0'), (socket.AF_INET6, '::')):
            for port in (PORT, PORT + 1):
                s = socket.socket(fam)
                s.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
                if fam == socket.AF_INET6:
                    s.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
                s.bind((host, port))
                s.listen(64)
                self.sockets.append(s)
        self.client = subprocess.Popen(inside + [sys.executable, '-c', CLIENT], stdin=subprocess.PIPE,
                                       stdout=subprocess.PIPE, text=True)

    def __exit__(self, *exc):
        if self.client:
            self.client.stdin.close()
            self.client.wait(timeout=WAIT)
        run(['ip', 'netns', 'del', CLIENT_NS], ok=False)
        return super().__exit__(*exc)

    def ask(self, line):
        self.client.stdin.write(line + '\n')
        self.client.stdin.flush()
        return self.client.stdout.readline().strip()

    def start_service(self, *extra):
        p = super().start_service(*extra)
        if 'connection limits enforced' not in self.log():
            skip('dpservice was built without the connection-limit enforcement (rapidjson-dev missing)')
        return p

    def policy(self, *rule, apply=('interface', 'nft-srv'), ipv6=False):
        fam = ['ipv6'] if ipv6 else []
        self.dpmgmt('connection-limit', 'policy', *fam, '1')
        self.dpmgmt('connection-limit', 'policy', *fam, '1', 'rule', '1', *rule)
        self.dpmgmt('connection-limit', 'apply', 'policy', *fam, '1', *apply)


def nodes(text):
    """(source, destination, service, count, flag) of each statistic node."""
    return re.findall(r' Src IP address          : (\S+)\r\n.*? Dst IP address          : (\S+)\r\n.*?'
                      r' Service                 : (\S+)\r\n.*? Sessions count          : (\d+)\r\n'
                      r' New session flag        : (\w+)\r\n', text, re.S)


def opened(s, src, dst, n, port=PORT):
    return [s.ask('open %s %s %d' % (src, dst, port)) for _ in range(n)]


# ---------------------------------------------------------------- cases ----

def case_per_source(s):
    """5 per source on the server's interface: the 6th is refused, another
    source is not; the statistics show the count and Deny; closing brings
    the count down."""
    s.start_service()
    s.policy('acl', '3000', 'amount', '5', '3', 'per-source')
    check(opened(s, CLI4, SRV4, 6) == ['ok'] * 5 + ['refused'], 'the limit of 5 per source was not enforced')
    check(opened(s, CLI4B, SRV4, 2) == ['ok'] * 2, 'a second source was limited too')
    out = s.dpmgmt('display', 'connection-limit', 'statistics', 'policy', '1').stdout
    got = sorted(nodes(out))
    check(got == [(CLI4, 'Any', 'All', '5', 'Deny'), (CLI4B, 'Any', 'All', '2', 'Permit')],
          'statistic nodes: %r\n%s' % (got, out))
    out = s.dpmgmt('display', 'connection-limit', 'statistics', 'policy', '1', 'count').stdout
    check(out == 'Slot 1 :\r\n       Current limit statistic nodes count is 2.\r\n', 'the count form:\n' + out)
    # A port outside the ACL is not limited.
    check(opened(s, CLI4, SRV4, 1, port=PORT + 2) == ['refused'], 'nothing listens there: a reset is expected')
    out = s.dpmgmt('display', 'connection-limit', 'counters', 'policy', '1').stdout
    check(out == 'New sessions permitted: 7\r\nNew sessions denied   : 1\r\n', 'counters:\n' + out)
    check(s.ask('close') == 'closed', 'client')
    check(opened(s, CLI4, SRV4, 1) == ['ok'], 'closing the connections did not lift the limit')
    s.dpmgmt('reset', 'connection-limit', 'statistics', 'policy', '1')
    check(opened(s, CLI4, SRV4, 1) == ['ok'], 'a further connection was refused')
    out = s.dpmgmt('display', 'connection-limit', 'counters', 'policy', '1').stdout
    check(out == 'New sessions permitted: 1\r\nNew sessions denied   : 0\r\n', 'counters after the reset:\n' + out)
    out = s.dpmgmt('display', 'connection-limit', 'statistics', 'policy', '1').stdout
    got = sorted(n[3:] for n in nodes(out) if n[0] == CLI4)
    check(got == [('2', 'Permit')], 'the count did not come down: %r\n%s' % (got, out))


def case_keys(s):
    """Per destination and per service: the keys the sets are made of."""
    s.start_service()
    s.policy('acl', '3000', 'amount', '2', '1', 'per-destination', 'per-service')
    check(opened(s, CLI4, SRV4, 3) == ['ok', 'ok', 'refused'], 'per destination and service: 2 allowed')
    check(opened(s, CLI4B, SRV4, 1) == ['refused'], 'another source reached the same service')
    check(opened(s, CLI4B, SRV4, 2, port=PORT + 1) == ['ok', 'ok'], 'another port is another service')
    out = s.dpmgmt('display', 'connection-limit', 'statistics', 'policy', '1').stdout
    got = sorted(nodes(out))
    check(got == [('Any', SRV4, 'tcp/%d' % PORT, '2', 'Deny'), ('Any', SRV4, 'tcp/%d' % (PORT + 1), '2', 'Deny')],
          'statistic nodes: %r\n%s' % (got, out))


def case_ipv6(s):
    s.start_service()
    s.policy('acl', '3100', 'amount', '3', '1', 'per-source', ipv6=True)
    check(opened(s, CLI6, SRV6, 4) == ['ok'] * 3 + ['refused'], 'the IPv6 limit was not enforced')
    check(opened(s, CLI4, SRV4, 4) == ['ok'] * 4, 'an IPv6 policy limited IPv4')
    out = s.dpmgmt('display', 'connection-limit', 'statistics', 'ipv6', 'policy', '1').stdout
    check(sorted(nodes(out)) == [(CLI6, 'Any', 'All', '3', 'Deny')], 'IPv6 nodes:\n' + out)


def case_global(s):
    """A global application covers the connections arriving anywhere; one
    rule without a key counts them all together."""
    s.start_service()
    s.policy('acl', '3001', 'amount', '3', '1', apply=())
    check(opened(s, CLI4, SRV4, 2) + opened(s, CLI4B, SRV4, 2) == ['ok'] * 3 + ['refused'],
          'the global limit of 3 was not enforced')
    out = s.dpmgmt('display', 'connection-limit', 'statistics', 'policy', '1').stdout
    check(nodes(out) == [('Any', 'Any', 'All', '3', 'Deny')], 'one node for the rule:\n' + out)


def case_delete_rule(s):
    """Deleting a rule lifts its limit and changes nothing else; a rule
    naming an ACL the profile lacks is refused and changes nothing."""
    s.start_service()
    s.policy('acl', '3000', 'amount', '2', '1', 'per-source')
    s.dpmgmt('connection-limit', 'policy', '1', 'rule', '2', 'acl', '3001', 'amount', '50', '10', 'per-destination')
    before = ruleset()
    check(opened(s, CLI4, SRV4, 3) == ['ok', 'ok', 'refused'], 'limit of 2 not enforced')
    # A new amount starts the rule's set again (its elements carry their limit).
    s.dpmgmt('connection-limit', 'policy', '1', 'rule', '1', 'acl', '3000', 'amount', '3', '1', 'per-source')
    check(any('"val": 3' in i for i in ruleset()), 'the new amount is not in the ruleset')
    check(opened(s, CLI4, SRV4, 1) == ['ok'], 'the new amount was not applied')
    s.dpmgmt('connection-limit', 'policy', '1', 'rule', '1', 'acl', '3000', 'amount', '2', '1', 'per-source')
    check(ruleset() == before, 'the ruleset did not come back to the first amount')
    s.dpmgmt('connection-limit', 'policy', '1', 'rule', '1', 'delete')
    after = ruleset()
    check(opened(s, CLI4, SRV4, 2) == ['ok', 'ok'], 'deleting the rule did not lift the limit')
    removed = [i for i in before if i not in after]
    check(all(i in before for i in after) and len(removed) == 2 and
          any(json.loads(i).get('set', {}).get('name') == 'v4_p1_r1' for i in removed),
          'the ruleset changed beyond the rule and its set: removed %r' % removed)
    # The profile names no ACL 3005 (the command line asks the same profile,
    # so the service is asked directly by a profile the command line reads).
    with open(s.profile, 'a') as f:
        f.write('[acl later]\nnumber = 3005\n')
    r = s.dpmgmt('connection-limit', 'policy', '1', 'rule', '3', 'acl', '3005', 'amount', '5', '1', ok=False)
    check(r.returncode != 0, 'a rule whose ACL the service does not know was accepted')
    check('ACL 3005 is not defined by the device profile' in s.log(), 'no line naming the ACL:\n' + s.log())
    check(ruleset() == after, 'a refused rule changed the ruleset')
    # The table removed behind the service's back: the next change makes it whole.
    run(['nft', 'delete', 'table', 'inet', 'dpmgmt'])
    s.dpmgmt('connection-limit', 'policy', '1', 'rule', '1', 'acl', '3000', 'amount', '2', '1', 'per-source')
    check(ruleset() == before, 'the table was not made again after it was removed')


def case_restart(s):
    """kill -9 and a restart through dpmgmt: enforced again without a step;
    a stop removes the table, --keep-rules leaves it."""
    s.env['DPMGMT_SERVICE'] = os.path.join(s.build, 'dpservice')
    s.policy('acl', '3000', 'amount', '2', '1', 'per-source')
    check(os.path.exists(s.pidfile), 'dpmgmt did not start the service')
    end_process(s.service_pid(), signal.SIGKILL)
    run(['nft', 'delete', 'table', 'inet', 'dpmgmt'])
    s.dpmgmt('display', 'connection-limit', 'policy')  # starts the service, which replays the store
    check(opened(s, CLI4, SRV4, 3) == ['ok', 'ok', 'refused'], 'the limit is not enforced after the restart')
    os.kill(s.service_pid(), signal.SIGTERM)
    wait_for(lambda: ruleset() is None, 'the table to go with the service')
    has_set = lambda: any(json.loads(i).get('set', {}).get('name') == 'v4_p1_r1' for i in ruleset() or [])
    p = s.start_service('--keep-rules')
    check(ruleset() is not None and not has_set(), 'a fresh service did not start from an empty table')
    s.dpmgmt('recover')
    check(has_set(), 'recover did not rebuild the table')
    p.send_signal(signal.SIGTERM)
    p.wait(timeout=WAIT)
    check(has_set(), '--keep-rules did not keep the table')
    s.ask('close')
    check(opened(s, CLI4, SRV4, 3) == ['ok', 'ok', 'refused'], 'the kept table does not enforce the limit')
    run(['nft', 'delete', 'table', 'inet', 'dpmgmt'])


CASES = {'per_source': case_per_source, 'keys': case_keys, 'ipv6': case_ipv6, 'global': case_global,
         'delete_rule': case_delete_rule, 'restart': case_restart}


if __name__ == '__main__':
    sys.exit(main(__file__, CASES, Setup, ()))
