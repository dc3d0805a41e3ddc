# SPDX-License-Identifier: Apache-2.0
"""What the netfilter namespace tests share: bounded waits, commands, a run
directory with the dpservice processes started in it, and the entry point
that runs one case in a private network and mount namespace made for it
(unshare -n -m), so that the host's own tables are never touched.
Exit status 77 = skipped.
"""
import ctypes
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

SKIP = 77
WAIT = 10.0  # seconds any single wait may take


def skip(why):
    print('SKIP: ' + why)
    sys.exit(SKIP)


def check(cond, what):
    if not cond:
        raise AssertionError(what)


def wait_for(pred, what, limit=WAIT):
    end = time.monotonic() + limit
    while time.monotonic() < end:
        if pred():
            return
        time.sleep(0.05)
    raise AssertionError('timed out waiting for ' + what)


def run(args, ok=True, input=None, **kw):
    # Bytes, decoded here: the displays' CR LF line ends must survive.
    r = subprocess.run(args, capture_output=True, timeout=30, input=input.encode() if input else None, **kw)
    r.stdout, r.stderr = r.stdout.decode(), r.stderr.decode()
    if ok and r.returncode != 0:
        raise AssertionError('%s failed (%d): %s%s' % (' '.join(args), r.returncode, r.stdout, r.stderr))
    return r


def die_with_parent():
    """Children end with the test even when it is killed."""
    ctypes.CDLL(None, use_errno=True).prctl(1, signal.SIGTERM)  # PR_SET_PDEATHSIG


def end_process(pid, sig=signal.SIGTERM):
    """Signals a process this test did not start itself and waits until it is gone (or a zombie)."""
    def gone():
        try:
            with open('/proc/%d/stat' % pid) as f:
                return f.read().split()[2] == 'Z'
        except FileNotFoundError:
            return True
    os.kill(pid, sig)
    wait_for(gone, 'process %d to end' % pid)


class Service:
    """A fresh run directory, the dpservice processes started in it, and
    dpmgmt run against it; everything goes at the end of the case.  A case's
    context makes the rest of its namespace in prepare()."""

    def __init__(self, build, profile='host'):
        self.build = build
        self.rundir = tempfile.mkdtemp(prefix='dpmgmt-nf-')
        self.pidfile = os.path.join(self.rundir, 'dpservice.pid')
        self.env = dict(os.environ, DPMGMT_RUNDIR=self.rundir, DPMGMT_PROFILE=profile)
        self.children = []
        self.sockets = []

    def __enter__(self):
        try:
            self.prepare()
        except BaseException:  # a skip too: the run directory goes all the same
            self.__exit__()
            raise
        return self

    def start_service(self, *extra):
        if os.path.exists(self.pidfile):
            os.unlink(self.pidfile)
        with open(os.path.join(self.rundir, 'dpservice.err'), 'a') as err:
            p = subprocess.Popen([os.path.join(self.build, 'dpservice'), '--data-plane', 'netfilter', '--pidfile',
                                  self.pidfile] + list(extra), env=self.env, stderr=err, preexec_fn=die_with_parent)
        self.children.append(p)
        wait_for(lambda: os.path.exists(self.pidfile) or p.poll() is not None, 'dpservice to start')
        if p.poll() is not None and 'no netfilter data plane' in self.log():
            skip('dpservice was built without libnetfilter-conntrack-dev')
        check(p.poll() is None, 'dpservice exited: ' + self.log())
        return p

    def service_pid(self):
        with open(self.pidfile) as f:
            return int(f.read())

    def log(self):
        with open(os.path.join(self.rundir, 'dpservice.err')) as f:
            return f.read()

    def dpmgmt(self, *args, ok=True):
        return run([os.path.join(self.build, 'dpmgmt')] + list(args), ok=ok, env=self.env)

    def __exit__(self, *exc):
        for s in self.sockets:
            s.close()
        for p in self.children:
            if p.poll() is None:
                p.send_signal(signal.SIGTERM)
                try:
                    p.wait(timeout=WAIT)
                except subprocess.TimeoutExpired:
                    p.kill()
                    p.wait()
        shutil.rmtree(self.rundir, ignore_errors=True)
        return False


def main(script, cases, setup, tools):
    """script BUILD_DIR CASE: checks what the cases need, then runs the case
    again inside a new network and mount namespace (--inside), where
    setup(BUILD_DIR) makes its context.  The namespaces end with the
    process that made them; the private mounts keep whatever a case mounts
    (a setting bound over, the names of further namespaces) inside."""
    if len(sys.argv) == 4 and sys.argv[1] == '--inside':
        with setup(sys.argv[2]) as s:
            cases[sys.argv[3]](s)
        print('ok: ' + sys.argv[3])
        return 0
    if len(sys.argv) != 3 or sys.argv[2] not in cases:
        print('usage: %s BUILD_DIR (%s)' % (os.path.basename(script), '|'.join(cases)), file=sys.stderr)
        return 2
    if os.geteuid() != 0:
        skip('needs root to make network namespaces and change their connection tracking and nftables')
    for tool in ('unshare', 'ip', 'nft') + tools:
        if shutil.which(tool) is None:
            skip(tool + ' is missing (scripts/deps.sh installs it)')
    if run(['unshare', '-n', '-m', 'true'], ok=False).returncode != 0:
        skip('cannot make a network namespace here')
    r = subprocess.run(['unshare', '-n', '-m', '--propagation', 'private', sys.executable, os.path.abspath(script),
                        '--inside', sys.argv[1], sys.argv[2]], timeout=120)
    return r.returncode
