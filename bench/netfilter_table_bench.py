#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Inside a private network namespace: fills the connection-tracking table
with N UDP entries, then lists it with `dpmgmt display session table` (through
dpservice --data-plane netfilter) and with `conntrack -L`, and prints the
time per entry of each (the median of five interleaved runs), their ratio and the
peak memory of the processes.

Usage (run by bench_netfilter_table.sh):
  unshare -n netfilter_table_bench.py BUILD SMALL LARGE
Peak memory of dpmgmt and dpservice at LARGE must stay within 1.3x of SMALL.
"""
import os
import resource
import signal
import socket
import subprocess
import sys
import tempfile
import time


ROUNDS = 5


def run_once(driver, args, env=None):
    """Elapsed seconds and peak resident KiB of one run of args with stdout
    discarded, timed by the peak-RSS driver from its fork to the command's
    exit, so that the start-up of this script's own child process counts
    for neither lister."""
    r = subprocess.run([driver, '-t'] + args, capture_output=True, text=True, env=env, timeout=600)
    if r.returncode != 0:
        sys.exit('%s failed: %s' % (args[0], r.stderr))
    rss, seconds = r.stdout.split()[-2:]
    return float(seconds), int(rss)


def measure(driver, listers):
    """Each lister once per round, ROUNDS rounds: a passing disturbance of
    the machine falls on all of them alike.  Per lister the median time and
    the largest peak resident size."""
    runs = {name: [] for name in listers}
    for _ in range(ROUNDS):
        for name, (args, env) in listers.items():
            runs[name].append(run_once(driver, args, env))
    return {name: (sorted(t for t, _ in r)[ROUNDS // 2], max(k for _, k in r)) for name, r in runs.items()}


def fill(n):
    """n distinct UDP entries: datagrams to n destination ports."""
    socks = []
    sent = 0
    while sent < n:
        s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        socks.append(s)
        for port in range(1, min(n - sent, 60000) + 1):
            s.sendto(b'', ('127.0.0.1', port))
        sent += min(n - sent, 60000)
    for s in socks:
        s.close()


def count():
    r = subprocess.run(['conntrack', '-C'], capture_output=True, text=True, check=True)
    return int(r.stdout.split()[0])


def listing(build, driver):
    """The listers over the table as it is now; dpservice fresh."""
    rundir = tempfile.mkdtemp(prefix='dpmgmt-nfbench-')
    env = dict(os.environ, DPMGMT_RUNDIR=rundir, DPMGMT_PROFILE='host')
    pidfile = os.path.join(rundir, 'dpservice.pid')
    svc = subprocess.Popen([os.path.join(build, 'dpservice'), '--data-plane', 'netfilter', '--pidfile', pidfile],
                           env=env, stderr=subprocess.DEVNULL)
    dpmgmt = os.path.join(build, 'dpmgmt')
    try:
        end = time.monotonic() + 10
        while not os.path.exists(pidfile) and time.monotonic() < end:
            time.sleep(0.05)
        res = measure(driver, {
            'table': ([dpmgmt, 'display', 'session', 'table'], env),
            'statistics': ([dpmgmt, 'display', 'session', 'statistics'], env),
            'conntrack': (['conntrack', '-L'], None),
        })
        with open('/proc/%d/status' % svc.pid) as f:
            res['service'] = next(int(line.split()[1]) for line in f if line.startswith('VmHWM:'))
    finally:
        svc.send_signal(signal.SIGTERM)
        svc.wait(timeout=10)
        for name in os.listdir(rundir):
            os.unlink(os.path.join(rundir, name))
        os.rmdir(rundir)
    return res


def main():
    build, small, large = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    driver = next((p for p in (os.path.join(build, 'peak_rss_driver'), os.path.join(build, 'bench', 'peak_rss_driver'))
                   if os.path.exists(p)), None)
    if driver is None:
        sys.exit('peak_rss_driver is not built (configure with -DDPMGMT_BENCH=ON)')
    subprocess.run(['ip', 'link', 'set', 'lo', 'up'], check=True)
    subprocess.run(['nft', '-f', '-'], check=True,
                   input=b'table inet t {\n chain c { type filter hook output priority 0; ct state new counter; }\n}\n')
    with open('/proc/sys/net/netfilter/nf_conntrack_udp_timeout', 'w') as f:
        f.write('3600\n')
    results = {}
    for n in (small, large):
        fill(n - count())
        entries = count()
        if entries < n:
            sys.exit('only %d entries were made (the table maximum is shared with the host)' % entries)
        results[n] = res = listing(build, driver)
        t, rss = res['table']
        st, _ = res['statistics']
        ct, ct_rss = res['conntrack']
        print('%d entries:' % entries)
        print('  dpmgmt display session table:      %6.3f s %6.2f us/entry  peak RSS %6d KiB (dpservice %d KiB)'
              % (t, t * 1e6 / entries, rss, res['service']))
        print('  dpmgmt display session statistics: %6.3f s %6.2f us/entry  (the same dump, nothing printed)'
              % (st, st * 1e6 / entries))
        print('  conntrack -L:                      %6.3f s %6.2f us/entry  peak RSS %6d KiB' % (ct, ct * 1e6 / entries, ct_rss))
        print('  per-entry ratio conntrack -L / dpmgmt display: %.2fx (goal: at least 2x)' % (ct / t))
    ok = True
    for what, key in (('dpmgmt', 'table'), ('dpservice', 'service')):
        a = results[small][key][1] if key == 'table' else results[small][key]
        b = results[large][key][1] if key == 'table' else results[large][key]
        if b > 1.3 * a:
            print('FAIL: the peak memory of %s grows with the table (%d KiB -> %d KiB)' % (what, a, b))
            ok = False
    if ok:
        print('ok: flat memory in dpmgmt and dpservice')
    return 0 if ok else 1


if __name__ == '__main__':
    sys.exit(main())
