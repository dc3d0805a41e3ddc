# SPDX-License-Identifier: Apache-2.0
"""dpmgmt-exporter against a real dpservice and a real Prometheus: its
command line, a scrape that agrees with dpmgmt's displays and passes
promtool, the health metrics when the service dies, and the fleet
documents' Prometheus configuration and alerting rules."""
import errno
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import time
import unittest
import urllib.parse

import harness
from harness import Exporter, Service, Stack, by_label, http_get, parse_samples, wait_until

SEED = 11
SESSIONS = 3000
PROTOCOLS = ["TCP", "UDP", "ICMP", "ICMPv6", "UDP-Lite", "SCTP", "DCCP", "RAWIP"]


def need(tool):
    path = shutil.which(tool)
    if path is None:
        print(f"skipped: {tool} is not installed (scripts/deps.sh installs it)")
        sys.exit(harness.SKIP)
    return path


MOS_BOUNDS = ["1", "2", "2.5", "3", "3.5", "4", "4.5", "5"]


def cli_limit_nodes(text):
    """(nodes, at the upper threshold, denying) of `display connection-limit statistics`."""
    rows = re.findall(r"^ Sessions threshold Hi/Lo: (\d+)/\d+\r\n Sessions count {10}: (\d+)\r\n"
                      r" New session flag {8}: (Permit|Deny)\r$", text, re.M)
    return len(rows), sum(int(n) >= int(hi) for hi, n, _ in rows), sum(flag == "Deny" for _, _, flag in rows)


def cli_call_scores(text):
    """Forward and reverse scores of a verbose call display, in hundredths;
    None for a missing score."""
    pairs = re.findall(r"^  MOS\(F\): (\S+) +MOS\(R\): (\S+)$", text, re.M)
    score = lambda s: None if s == "-" else round(float(s) * 100)
    return [score(f) for f, _ in pairs], [score(r) for _, r in pairs]


def cli_session_counts(text):
    """Slot, total and per-protocol counts of `display session statistics`."""
    slot = int(re.search(r"^Slot (\d+):\r$", text, re.M).group(1))
    total = int(re.search(r"^Current sessions: (\d+)\r$", text, re.M).group(1))
    per = {m.group(1): int(m.group(2)) for m in re.finditer(r"^ *(?!Current )(\S+) sessions: +(\d+)\r$", text, re.M)}
    return slot, total, per


class CommandLineTest(unittest.TestCase):
    BAD = [
        (["--bogus"], "unknown option --bogus"),
        (["--listen"], "--listen needs ADDR:PORT"),
        (["--listen", "127.0.0.1"], "--listen needs ADDR:PORT"),
        (["--listen", "127.0.0.1:"], "--listen needs ADDR:PORT"),
        (["--listen", "127.0.0.1:0"], "--listen needs ADDR:PORT"),
        (["--listen", "127.0.0.1:65536"], "--listen needs ADDR:PORT"),
        (["--listen", "127.0.0.1:80x"], "--listen needs ADDR:PORT"),
        (["--listen", "[::1:9563"], "--listen needs ADDR:PORT"),
        (["--timeout", "0"], "--timeout needs seconds"),
        (["--timeout", "-1"], "--timeout needs seconds"),
        (["--timeout", "2s"], "--timeout needs seconds"),
        (["--timeout"], "--timeout needs seconds"),
    ]

    def run_exporter(self, *args):
        return subprocess.run([harness.EXPORTER, *args], capture_output=True, text=True, timeout=10)

    def test_bad_arguments_give_one_line_and_status_1(self):
        for args, message in self.BAD:
            with self.subTest(args=args):
                r = self.run_exporter(*args)
                self.assertEqual(r.returncode, 1)
                self.assertEqual(r.stdout, "")
                self.assertEqual(r.stderr.count("\n"), 1, r.stderr)
                self.assertTrue(r.stderr.startswith("dpmgmt-exporter: " + message), r.stderr)

    def test_help_and_version(self):
        for args, pattern in ((["--help"], r"^usage: dpmgmt-exporter .*--listen ADDR:PORT"),
                              (["--version"], r"^dpmgmt-exporter \d+\.\d+\.\d+\n$")):
            with self.subTest(args=args):
                r = self.run_exporter(*args)
                self.assertEqual((r.returncode, r.stderr), (0, ""))
                self.assertRegex(r.stdout, pattern)

    def test_unbindable_addresses_give_status_4_with_the_cause(self):
        with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as held:
            held.bind(("127.0.0.1", 0))
            held.listen(1)
            busy = held.getsockname()[1]
            for listen, err in ((f"127.0.0.1:{busy}", errno.EADDRINUSE),
                                ("192.0.2.1:9563", errno.EADDRNOTAVAIL)):  # an address no interface has
                with self.subTest(listen=listen):
                    r = self.run_exporter("--listen", listen)
                    self.assertEqual(r.returncode, 4)
                    self.assertEqual(r.stderr, f"dpmgmt-exporter: cannot listen on {listen}: {os.strerror(err)}\n")

    def test_stop_signals_end_it_with_status_0(self):
        for sig in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(signal=sig.name), Stack() as stack:
                rundir = stack.tempdir("dpexp-run-")
                env = dict(os.environ, DPMGMT_RUNDIR=rundir, DPMGMT_DATADIR=rundir)
                exp = Exporter(stack, env)
                # A scrape without a service: 200 with both health metrics at 0.
                samples = parse_samples(exp.scrape()[1])
                self.assertEqual(samples[("dpmgmt_session_service_up", frozenset())], 0)
                self.assertEqual(samples[("dpmgmt_kernel_channel_up", frozenset())], 0)
                exp.proc.send_signal(sig)
                self.assertEqual(exp.proc.wait(timeout=10), 0)


class ScrapeTest(unittest.TestCase):
    """One dpservice with a connection-limit policy that denies; every
    figure of a scrape is checked against what dpmgmt displays."""

    @classmethod
    def setUpClass(cls):
        cls.promtool = need("promtool")
        cls.stack = Stack()
        cls.svc = Service(cls.stack, SEED, SESSIONS)
        for words in (["connection-limit", "policy", "3"],
                      ["connection-limit", "policy", "3", "rule", "1", "acl", "3000", "amount", "4", "2",
                       "per-destination"],
                      ["connection-limit", "apply", "policy", "3"],
                      ["connection-limit", "policy", "ipv6", "3"],
                      ["connection-limit", "policy", "ipv6", "3", "rule", "1", "acl", "3100", "amount", "2", "1",
                       "per-source"],
                      ["connection-limit", "apply", "policy", "ipv6", "3"]):
            cls.svc.cli(*words)
        cls.exp = Exporter(cls.stack, cls.svc.env)
        cls.ctype, cls.text = cls.exp.scrape()
        cls.samples = parse_samples(cls.text)

    @classmethod
    def tearDownClass(cls):
        cls.stack.close()

    def slots(self):
        return by_label(self.samples, "dpmgmt_hotbackup_remaining_messages", "slot")

    def test_exposition_passes_promtool(self):
        self.assertEqual(self.ctype, "text/plain; version=0.0.4; charset=utf-8")
        r = subprocess.run([self.promtool, "check", "metrics"], input=self.text, capture_output=True, text=True,
                           timeout=30)
        self.assertEqual(r.returncode, 0, r.stdout + r.stderr)
        self.assertEqual(self.samples[("dpmgmt_session_service_up", frozenset())], 1)
        self.assertEqual(self.samples[("dpmgmt_kernel_channel_up", frozenset())], 1)

    def test_sessions_per_slot_and_protocol_match_the_statistics_display(self):
        self.assertGreaterEqual(len(self.slots()), 2)
        for slot in self.slots():
            with self.subTest(slot=slot):
                shown_slot, total, per = cli_session_counts(
                    self.svc.cli("display", "session", "statistics", "slot", slot))
                self.assertEqual(str(shown_slot), slot)
                self.assertEqual(list(per), PROTOCOLS)
                got = by_label(self.samples, "dpmgmt_sessions", "protocol", slot=slot)
                self.assertEqual(got, {p: float(n) for p, n in per.items()})
                self.assertEqual(sum(got.values()), total)
                by_state = by_label(self.samples, "dpmgmt_sessions_by_state", "state", slot=slot, protocol="TCP")
                self.assertEqual(sum(by_state.values()), per["TCP"])

    def test_hot_backup_matches_its_display(self):
        for slot in self.slots():
            with self.subTest(slot=slot):
                text = self.svc.cli("display", "session", "hot-backup", "statistics", "slot", slot)
                remain = int(re.search(r"^Remain message {7}: (\d+)\r$", text, re.M).group(1))
                self.assertEqual(by_label(self.samples, "dpmgmt_hotbackup_remaining_messages", "slot")[slot], remain)
                rows = re.findall(r"^ Chassis \d+ +slot (\d+) +: (\w+) +(\w+) +(\w+) *\r$", text, re.M)
                self.assertTrue(rows)
                for peer_slot, sent, failed, received in rows:
                    peer = by_label(self.samples, "dpmgmt_hotbackup_remaining_messages", "node", slot=peer_slot)
                    (peer_node,) = peer
                    for family, hexa in (("sent", sent), ("send_failed", failed), ("received", received)):
                        got = by_label(self.samples, f"dpmgmt_hotbackup_{family}_messages_total", "peer", slot=slot)
                        self.assertEqual(got[peer_node], int(hexa, 16), family)

    def test_history_aging_and_limits_match_their_displays(self):
        slot = min(self.slots())
        history = self.svc.cli("display", "session", "statistics", "history", "slot", slot)
        numbers = [int(n) for n in re.findall(r": (\d+)", history)]
        self.assertEqual(len(numbers), 6)
        periods = ["1h", "24h", "30d"]
        self.assertEqual(by_label(self.samples, "dpmgmt_session_history_sessions", "period", slot=slot),
                         dict(zip(periods, map(float, numbers[:3]))))
        self.assertEqual(by_label(self.samples, "dpmgmt_session_history_establishment_rate_per_second", "period",
                                  slot=slot), dict(zip(periods, map(float, numbers[3:]))))

        aging = self.svc.cli("display", "session", "aging-queue", "slot", slot)
        unstable = [int(n) for n in re.findall(r"^ulUnstableNumber += (\d+)", aging, re.M)]
        per_core = by_label(self.samples, "dpmgmt_aging_queue_sessions", "core", slot=slot)
        self.assertEqual(per_core, {str(i): float(n) for i, n in enumerate(unstable[:-1])})  # the last is the total

        counters = self.svc.cli("display", "connection-limit", "counters", "policy", "3", "slot", slot)
        permitted, denied = (int(n) for n in re.findall(r": (\d+)\r$", counters, re.M))
        self.assertGreater(denied, 0)
        self.assertEqual(by_label(self.samples, "dpmgmt_connlmt_permitted_sessions_total", "policy", slot=slot),
                         {"3": permitted})
        self.assertEqual(by_label(self.samples, "dpmgmt_connlmt_denied_sessions_total", "policy", slot=slot),
                         {"3": denied})

    def test_limit_nodes_match_the_statistic_node_display(self):
        for slot in self.slots():
            for family, words in (("ipv4", []), ("ipv6", ["ipv6"])):
                with self.subTest(slot=slot, family=family):
                    args = ["display", "connection-limit", "statistics", *words, "policy", "3", "slot", slot]
                    nodes, at_upper, denying = cli_limit_nodes(self.svc.cli(*args))
                    counted = re.search(r"count is (\d+)\.", self.svc.cli(*args, "count")).group(1)
                    self.assertEqual(nodes, int(counted))
                    self.assertGreater(at_upper, 0)
                    self.assertLess(at_upper, nodes)
                    for name, value in (("dpmgmt_connlmt_nodes", nodes),
                                        ("dpmgmt_connlmt_nodes_at_upper_threshold", at_upper),
                                        ("dpmgmt_connlmt_nodes_denying", denying)):
                        self.assertEqual(by_label(self.samples, name, "policy", slot=slot, family=family),
                                         {"3": value}, name)

    def test_mos_histograms_match_the_verbose_call_displays(self):
        for protocol in ("sip", "h323"):
            calls = by_label(self.samples, "dpmgmt_sqa_active_calls", "protocol")[protocol]
            scores = cli_call_scores(self.svc.cli("display", "sqa", protocol, "call", "verbose"))
            for direction, shown in zip(("forward", "reverse"), scores):
                with self.subTest(protocol=protocol, direction=direction):
                    self.assertEqual(len(shown), calls)
                    scored = [s for s in shown if s is not None]
                    self.assertTrue(0 < len(scored) < len(shown))
                    want = {le: sum(s <= float(le) * 100 for s in scored) for le in MOS_BOUNDS}
                    want["+Inf"] = len(scored)
                    labels = dict(protocol=protocol, direction=direction)
                    self.assertEqual(by_label(self.samples, "dpmgmt_sqa_call_mos_bucket", "le", **labels), want)
                    self.assertEqual(self.samples[("dpmgmt_sqa_call_mos_count", frozenset(labels.items()))],
                                     len(scored))
                    self.assertAlmostEqual(self.samples[("dpmgmt_sqa_call_mos_sum", frozenset(labels.items()))],
                                           sum(scored) / 100, places=6)
                    self.assertEqual(by_label(self.samples, "dpmgmt_sqa_calls_without_mos", "direction",
                                              protocol=protocol)[direction], len(shown) - len(scored))

    def test_call_statistics_match_their_displays(self):
        for protocol, word in (("sip", "sip"), ("h323", "h323")):
            with self.subTest(protocol=protocol):
                text = self.svc.cli("display", "sqa", word, "statistics")
                total, success, active, timeout, abnormal = (int(n) for n in re.findall(r"(\d+)", text))
                for family, value in (("calls_total", total), ("successful_calls_total", success),
                                      ("active_calls", active), ("timeout_calls_total", timeout),
                                      ("abnormal_calls_total", abnormal)):
                    self.assertEqual(by_label(self.samples, f"dpmgmt_sqa_{family}", "protocol")[protocol], value)


class ServiceDeathTest(unittest.TestCase):
    def test_killed_service_gives_health_0_on_the_next_scrape(self):
        with Stack() as stack:
            svc = Service(stack, SEED, 500)
            exp = Exporter(stack, svc.env)
            before = parse_samples(exp.scrape()[1])
            self.assertEqual(before[("dpmgmt_session_service_up", frozenset())], 1)
            self.assertTrue(by_label(before, "dpmgmt_sessions", "protocol"))
            svc.kill()
            started = time.monotonic()
            after = parse_samples(exp.scrape()[1])  # HTTP 200, else scrape() fails
            self.assertLess(time.monotonic() - started, 5)
            self.assertEqual(after[("dpmgmt_session_service_up", frozenset())], 0)
            self.assertEqual(after[("dpmgmt_kernel_channel_up", frozenset())], 0)
            self.assertEqual(by_label(after, "dpmgmt_sessions", "protocol"), {})


    def test_silent_service_gives_health_0_within_the_timeout(self):
        with Stack() as stack:
            svc = Service(stack, SEED, 500)
            exp = Exporter(stack, svc.env, "--timeout", "0.5")
            self.assertEqual(parse_samples(exp.scrape()[1])[("dpmgmt_session_service_up", frozenset())], 1)
            os.kill(svc.pid, signal.SIGSTOP)
            try:
                for _ in range(2):  # a fresh read and one still stuck behind it
                    started = time.monotonic()
                    silent = parse_samples(exp.scrape()[1])
                    self.assertLess(time.monotonic() - started, 3)
                    self.assertEqual(silent[("dpmgmt_session_service_up", frozenset())], 0)
                    self.assertEqual(silent[("dpmgmt_kernel_channel_up", frozenset())], 0)
            finally:
                os.kill(svc.pid, signal.SIGCONT)
            wait_until(lambda: parse_samples(exp.scrape()[1])[("dpmgmt_session_service_up", frozenset())] == 1, 10,
                       "the health to come back")
            # Stopped while a read is stuck: it still ends, with status 0.
            os.kill(svc.pid, signal.SIGSTOP)
            exp.scrape()
            exp.proc.send_signal(signal.SIGTERM)
            self.assertEqual(exp.proc.wait(timeout=10), 0)


class PrometheusTest(unittest.TestCase):
    """A real Prometheus scrapes the exporter every second."""

    def query(self, expr, at=None):
        params = {"query": expr}
        if at is not None:
            params["time"] = f"{at:.3f}"
        status, _, body = http_get(f"{self.api}/api/v1/query?{urllib.parse.urlencode(params)}")
        self.assertEqual(status, 200, body)
        reply = json.loads(body)
        self.assertEqual(reply["status"], "success")
        return reply["data"]["result"]

    def test_prometheus_sees_the_displayed_counts_and_the_service_death(self):
        prometheus = need("prometheus")
        with Stack() as stack:
            svc = Service(stack, SEED, SESSIONS)
            exp = Exporter(stack, svc.env)
            work = stack.tempdir("dpexp-prom-")
            config = os.path.join(work, "prometheus.yml")
            with open(config, "w") as f:
                f.write("global:\n  scrape_interval: 1s\n  scrape_timeout: 1s\n"
                        "scrape_configs:\n  - job_name: dpmgmt\n    static_configs:\n"
                        f"      - targets: ['127.0.0.1:{exp.port}']\n")
            port = harness.free_port()
            self.api = f"http://127.0.0.1:{port}"
            stack.child([prometheus, f"--config.file={config}", f"--storage.tsdb.path={work}/data",
                         f"--web.listen-address=127.0.0.1:{port}"], stderr=subprocess.DEVNULL)
            wait_until(lambda: http_get(f"{self.api}/-/ready")[0] == 200, 30, "Prometheus to be ready", 0.1)

            slot, total, per = cli_session_counts(svc.cli("display", "session", "statistics"))
            sel = f'slot="{slot}"'
            wait_until(lambda: self.query(f"dpmgmt_sessions{{{sel}}}"), 15, "the first scrape", 0.1)
            (row,) = self.query(f"sum(dpmgmt_sessions{{{sel}}})")
            self.assertEqual(float(row["value"][1]), total)
            rows = self.query(f"sum by (protocol) (dpmgmt_sessions{{{sel}}})")
            self.assertEqual({r["metric"]["protocol"]: float(r["value"][1]) for r in rows},
                             {p: float(n) for p, n in per.items()})

            killed_at = time.time()
            svc.kill()
            # Every scrape after the kill but at most one already under way
            # reads 0; the target itself stays up (HTTP 200).
            def after_kill():
                (series,) = self.query("dpmgmt_session_service_up[30s]")
                later = [float(v) for t, v in series["values"] if float(t) > killed_at]
                return later if len(later) >= 2 else None
            later = wait_until(after_kill, 15, "two scrapes after the kill", 0.1)
            self.assertEqual(later[1:], [0.0] * (len(later) - 1), later)
            (up,) = self.query('up{job="dpmgmt"}')
            self.assertEqual(up["value"][1], "1")


class FleetDocumentsTest(unittest.TestCase):
    def test_configuration_rules_and_rule_tests_pass_promtool(self):
        promtool = need("promtool")
        docs = os.path.join(harness.SOURCE_DIR, "docs", "monitoring")
        here = os.path.dirname(os.path.abspath(__file__))
        for args in (["check", "config", os.path.join(docs, "prometheus.yml")],
                     ["check", "rules", os.path.join(docs, "alerts.yml")],
                     ["test", "rules", os.path.join(here, "alerts_test.yml")]):
            with self.subTest(args=args[:2]):
                r = subprocess.run([promtool, *args], capture_output=True, text=True, timeout=60, cwd=docs)
                self.assertEqual(r.returncode, 0, r.stdout + r.stderr)


if __name__ == "__main__":
    unittest.main()
