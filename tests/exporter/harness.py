# SPDX-License-Identifier: Apache-2.0
"""Processes for the exporter tests: dpservice in a fresh run directory,
the exporter and Prometheus on free loopback ports, dpmgmt runs, scrapes.
Every wait is bounded; every child is killed when the test ends."""
import contextlib
import os
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import urllib.error
import urllib.request

SKIP = 77  # ctest's skip status for a missing tool

DPSERVICE = os.environ.get("DPSERVICE", "")
DPMGMT = os.environ.get("DPMGMT_CLI", "")
EXPORTER = os.environ.get("DPMGMT_EXPORTER", "")
SOURCE_DIR = os.environ.get("DPMGMT_SOURCE_DIR", "")


def wait_until(cond, limit, what, step=0.02):
    """Polls cond until it returns something true; fails after limit s."""
    end = time.monotonic() + limit
    while True:
        value = cond()
        if value:
            return value
        if time.monotonic() >= end:
            raise AssertionError(f"{what}: not within {limit} s")
        time.sleep(step)


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def http_get(url, timeout=5.0):
    """(status, content type, body text); status 0 when nobody answers."""
    try:
        with urllib.request.urlopen(url, timeout=timeout) as r:
            return r.status, r.headers.get("Content-Type", ""), r.read().decode()
    except urllib.error.HTTPError as e:
        return e.code, e.headers.get("Content-Type", ""), e.read().decode()
    except (urllib.error.URLError, ConnectionError, socket.timeout):
        return 0, "", ""


def parse_samples(text):
    """{(name, frozenset(labels)): value} of an exposition text."""
    samples = {}
    line_re = re.compile(r'^([a-zA-Z_:][a-zA-Z0-9_:]*)(?:\{(.*)\})? (\S+)$')
    label_re = re.compile(r'([a-zA-Z_][a-zA-Z0-9_]*)="((?:[^"\\]|\\.)*)"')
    for line in text.splitlines():
        if not line or line.startswith("#"):
            continue
        m = line_re.match(line)
        if m is None:
            raise AssertionError(f"not a sample line: {line!r}")
        labels = frozenset(label_re.findall(m.group(2) or ""))
        samples[(m.group(1), labels)] = float(m.group(3))
    return samples


def by_label(samples, name, key, **labels):
    """{value of label `key`: sample value} over the samples of a family
    whose labels include the given ones."""
    want = set(labels.items())
    return {dict(k[1])[key]: v for k, v in samples.items() if k[0] == name and want <= k[1]}


class Stack(contextlib.ExitStack):
    """Children and directories of one test, undone in reverse order."""

    def tempdir(self, prefix):
        path = tempfile.mkdtemp(prefix=prefix)
        self.callback(shutil.rmtree, path, ignore_errors=True)
        return path

    def child(self, argv, env=None, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE):
        proc = subprocess.Popen(argv, env=env, stdout=stdout, stderr=stderr, text=True)
        self.callback(kill, proc)
        return proc


def kill(proc):
    if proc.poll() is None:
        proc.kill()
    try:
        proc.wait(timeout=10)
    finally:
        for stream in (proc.stdout, proc.stderr):
            if stream is not None:
                stream.close()


class Service:
    """dpservice, detached in its own run directory; killed at the end."""

    def __init__(self, stack, seed, sessions):
        self.rundir = stack.tempdir("dpexp-run-")
        self.env = dict(os.environ, DPMGMT_RUNDIR=self.rundir, DPMGMT_DATADIR=self.rundir, DPMGMT_SERVICE=DPSERVICE)
        self.pidfile = os.path.join(self.rundir, "dpservice.test.pid")
        # With --daemon it returns once its sockets are bound.
        subprocess.run([DPSERVICE, "--seed", str(seed), "--sessions", str(sessions), "--daemon", "--pidfile",
                        self.pidfile], env=self.env, check=True, timeout=60)
        self.pid = int(wait_until(lambda: _read(self.pidfile), 10, "dpservice's pid file"))
        stack.callback(self.kill)

    def kill(self):
        with contextlib.suppress(ProcessLookupError):
            os.kill(self.pid, signal.SIGKILL)
        wait_until(lambda: not _alive(self.pid), 10, "dpservice to end")

    def cli(self, *words):
        # Bytes, decoded by hand: the displays' CR stays as it was written.
        r = subprocess.run([DPMGMT, *words], env=self.env, capture_output=True, timeout=60)
        if r.returncode != 0:
            raise AssertionError(f"dpmgmt {' '.join(words)}: status {r.returncode}: {r.stderr.decode()}")
        return r.stdout.decode()


class Exporter:
    """dpmgmt-exporter on a free loopback port, ready to be scraped."""

    def __init__(self, stack, env, *extra):
        self.port = free_port()
        self.url = f"http://127.0.0.1:{self.port}/metrics"
        self.proc = stack.child([EXPORTER, "--listen", f"127.0.0.1:{self.port}", *extra], env=env)
        wait_until(lambda: self._ready(), 10, "the exporter to listen")

    def _ready(self):
        if self.proc.poll() is not None:
            raise AssertionError(f"the exporter ended: {self.proc.returncode}: {self.proc.stderr.read()}")
        return http_get(f"http://127.0.0.1:{self.port}/")[0] == 200

    def scrape(self):
        status, ctype, body = http_get(self.url, timeout=10)
        if status != 200:
            raise AssertionError(f"scrape answered {status}")
        return ctype, body


def _read(path):
    try:
        with open(path) as f:
            return f.read().strip()
    except OSError:
        return ""


def _alive(pid):
    try:
        os.kill(pid, 0)
    except ProcessLookupError:
        return False
    # A zombie of another parent is as good as gone.
    return _read(f"/proc/{pid}/stat").split(") ")[-1][:1] not in ("Z", "")
