# SPDX-License-Identifier: Apache-2.0
"""dpmgmt -j against a real dpservice: each display's document validates
against its schema under docs/schema and parses with json.tool and jq; the
session table's entries equal its text display's, field by field; what -j
cannot do is refused in one line."""
import json
import os
import re
import shutil
import subprocess
import sys
import unittest

import harness
from harness import Service, Stack

try:
    import jsonschema
    import referencing
except ImportError:
    print("skipped: python3-jsonschema is not installed (scripts/deps.sh installs it)")
    sys.exit(harness.SKIP)

JQ = shutil.which("jq")
if JQ is None:
    print("skipped: jq is not installed (scripts/deps.sh installs it)")
    sys.exit(harness.SKIP)

SEED = 23
SESSIONS = 400
SCHEMA_DIR = os.path.join(harness.SOURCE_DIR, "docs", "schema")


def load_schemas():
    """{$id: schema} of every file, and a validator factory over them."""
    schemas = {}
    for name in sorted(n for n in os.listdir(SCHEMA_DIR) if n.endswith(".schema.json")):
        with open(os.path.join(SCHEMA_DIR, name)) as f:
            schema = json.load(f)
        jsonschema.Draft202012Validator.check_schema(schema)
        schemas[schema["$id"]] = schema
    registry = referencing.Registry().with_resources(
        (i, referencing.Resource.from_contents(s)) for i, s in schemas.items())
    return schemas, registry


SCHEMAS, REGISTRY = load_schemas()


def validate(doc):
    """Validates a document against the schema its "display" names."""
    schema = SCHEMAS["urn:dpmgmt:schema:" + doc["display"].replace(" ", "-")]
    jsonschema.Draft202012Validator(schema, registry=REGISTRY,
                                    format_checker=jsonschema.FormatChecker()).validate(doc)


def run(service, *words, env=None):
    return subprocess.run([harness.DPMGMT, *words], env=env or service.env, capture_output=True, timeout=60)


class Fixture(unittest.TestCase):
    def setUp(self):
        self.stack = Stack()
        self.addCleanup(self.stack.close)
        self.service = Service(self.stack, SEED, SESSIONS)
        self.env = dict(self.service.env, TZ="UTC")

    def document(self, *words):
        """The parsed -j document of a display, checked as one LF-ended
        document that json.tool and jq parse the same."""
        r = run(self.service, "-j", *words, env=self.env)
        self.assertEqual(r.returncode, 0, f"{words}: {r.stderr.decode()}")
        out = r.stdout
        self.assertNotIn(b"\r", out, words)
        self.assertTrue(out.endswith(b"\n") and out.count(b"\n") == 1, words)
        doc = json.loads(out)
        tool = subprocess.run([sys.executable, "-m", "json.tool"], input=out, capture_output=True, timeout=60)
        self.assertEqual(tool.returncode, 0, tool.stderr)
        self.assertEqual(json.loads(tool.stdout), doc)
        q = subprocess.run([JQ, "-c", "."], input=out, capture_output=True, timeout=60)
        self.assertEqual(q.returncode, 0, q.stderr)
        self.assertEqual(json.loads(q.stdout), doc)
        return doc


# Displays with JSON documents and argument variants that take other paths.
DOCUMENTS = [
    ["display", "session", "table"],
    ["display", "session", "table", "verbose"],
    ["display", "session", "table", "ipv6", "verbose"],
    ["display", "session", "table", "protocol", "udp", "verbose"],
    ["display", "session", "fast-forward"],
    ["display", "session", "fast-forward", "verbose"],
    ["display", "session", "mcfs"],
    ["display", "session", "mcfs", "verbose"],
    ["display", "session", "relation-table"],
    ["display", "session", "statistics"],
    ["display", "session", "statistics", "ipv4", "protocol", "tcp"],
    ["display", "session", "alg-statistics"],
    ["display", "session", "aging-queue"],
    ["display", "session", "kernel"],
    ["display", "session", "kernel", "ipv6", "protocol", "udp"],
    ["display", "session", "relation-kernel"],
    ["display", "session", "relation-kernel", "ipv6"],
    ["display", "session", "aging-time"],
    ["display", "session", "limit"],
    ["display", "session", "settings"],
    ["display", "connection-limit", "policy"],
    ["display", "connection-limit", "policy", "3"],
    ["display", "connection-limit", "statistics"],
    ["display", "connection-limit", "statistics", "count"],
    ["display", "connection-limit", "counters"],
    ["display", "connection-limit", "debug"],
    ["display", "session", "statistics", "history"],
    ["display", "session", "top-statistics"],
    ["display", "session", "hot-backup", "statistics"],
    ["display", "hot-backup", "debug"],
    ["display", "sqa"],
    ["display", "sqa", "remark", "1", "2"],
    ["display", "sqa", "sip", "statistics"],
    ["display", "sqa", "h323", "statistics"],
    ["display", "sqa", "sip", "debug"],
    ["display", "sqa", "h323", "debug"],
    ["display", "sqa", "sip", "call"],
    ["display", "sqa", "sip", "call", "verbose", "context"],
    ["display", "sqa", "h323", "call", "probe"],
]

# Settings that make the documents above non-empty.
SETUP = [
    ["session", "limit", "selector", "2", "5000"],
    ["session", "rate", "300"],
    ["session", "log", "flow", "bytes", "4096"],
    ["connection-limit", "policy", "3"],
    ["connection-limit", "policy", "3", "description", "edge \"uplink\" \\ limits"],
    ["connection-limit", "policy", "3", "rule", "1", "acl", "3000", "amount", "100", "10", "per-source"],
    ["connection-limit", "apply", "policy", "3"],
    ["sqa", "remark", "1", "2", "dscp", "ef"],
    ["sqa", "sip", "filter", "10.0.0.1", "10.0.0.2", "1"],
    ["sqa", "sip", "debug", "packet"],
    ["sqa", "h323", "debug", "event"],
]


class SchemaTest(Fixture):
    def test_every_display(self):
        for words in SETUP:
            self.assertEqual(run(self.service, *words).returncode, 0, words)
        seen = set()
        for words in DOCUMENTS:
            with self.subTest(words=" ".join(words)):
                doc = self.document(*words)
                validate(doc)
                seen.add(doc["display"])
        # The settings came back as numbers and text, escaped by the writer.
        limit = self.document("display", "session", "limit")
        self.assertIn({"selector": 2, "maximum_sessions": 5000, "maximum_rate_per_second": None}, limit["selectors"])
        self.assertEqual(limit["selectors"][0]["maximum_rate_per_second"], 300)
        settings = self.document("display", "session", "settings")
        self.assertEqual(settings["log_flow"], {"threshold": 4096, "unit": "bytes"})
        policy = self.document("display", "connection-limit", "policy", "3")
        self.assertEqual(policy["policies"][0]["description"], "edge \"uplink\" \\ limits")
        self.assertEqual(policy["policies"][0]["rules"][0]["upper_limit"], 100)
        sqa = self.document("display", "sqa")
        self.assertEqual(sqa["sip"]["address_filter"], {"address1": "10.0.0.1", "address2": "10.0.0.2", "flag": 1})
        calls = self.document("display", "sqa", "sip", "call")
        self.assertEqual(len(calls["calls"]), calls["total"])
        self.assertGreater(calls["total"], 0)
        one = self.document("display", "sqa", "sip", "call", "verbose", "call-id", calls["calls"][0]["call_id"])
        self.assertEqual(one["calls"], calls["calls"][:1])
        nodes = self.document("display", "connection-limit", "statistics")
        self.assertGreater(nodes["total"], 0)
        self.assertEqual(len(nodes["nodes"]), nodes["total"])
        self.assertEqual(self.document("display", "connection-limit", "statistics", "count")["total"], nodes["total"])
        # Every display command has a document with a schema.
        listing = run(self.service, "?").stdout.decode()
        displays = 0
        for line in listing.splitlines():
            m = re.match(r"^  (display [a-z0-9 -]+?)(?= [\[A-Z(]|\s{2,}|$)", line)
            if m is None:
                continue
            name = m.group(1).strip()
            displays += 1
            r = run(self.service, "-j", *name.split(), env=self.env)
            with self.subTest(display=name):
                # A display that needs arguments was validated above.
                if r.returncode == 1 and any(" ".join(w).startswith(name + " ") for w in DOCUMENTS):
                    continue
                self.assertEqual(r.returncode, 0, r.stderr.decode())
                validate(json.loads(r.stdout))
        self.assertGreaterEqual(displays, 25)


def text_entries(text):
    """The entries of `display session table verbose` as dicts of their
    fields, in order."""
    entries, entry, part = [], None, None
    for line in text.split("\r\n"):
        if line in ("Initiator:", "Responder:"):
            if line == "Initiator:":
                entry = {}
                entries.append(entry)
            part = entry.setdefault(line[:-1].lower(), {})
            continue
        m = re.match(r"^  (Source|Destination) +IP/(?:port|type|callId) *: (.*)/(\d+)$", line)
        if m:
            part[m.group(1).lower()] = (m.group(2), int(m.group(3)))
            continue
        m = re.match(r"^  (DS-Lite tunnel peer|VPN instance/VLAN ID/VLL ID|Protocol|Inbound interface): (.*)$", line)
        if m:
            part[m.group(1)] = m.group(2)
            continue
        m = re.match(r"^Start time: (.*)  TTL: (.*)$", line)
        if m:
            entry["start"], entry["ttl"] = m.group(1), m.group(2)
            continue
        m = re.match(r"^TTL: (.*)$", line)
        if m:
            entry["ttl"] = m.group(1)
            continue
        m = re.match(r"^(State|Application): (.*)$", line)
        if m:
            entry[m.group(1)] = m.group(2)
            continue
        m = re.match(r"^(Initiator->Responder|Responder->Initiator): +(\d+) packets +(\d+) bytes$", line)
        if m:
            entry[m.group(1)] = (int(m.group(2)), int(m.group(3)))
    return entries


def side_text(d):
    """One direction of a JSON entry in the fields of text_entries."""
    out = {"source": (d["source_ip"], d["source_port"]), "destination": (d["destination_ip"], d["destination_port"]),
           "VPN instance/VLAN ID/VLL ID": "%s/%s/-" % (d["vpn_instance"] or "-",
                                                      "-" if d["vlan_id"] is None else d["vlan_id"]),
           "Protocol": "%s(%d)" % (d["protocol"], d["protocol_number"]),
           "Inbound interface": d["inbound_interface"]}
    if d["family"] == "ipv4":
        out["DS-Lite tunnel peer"] = d["ds_lite_peer"] or "-"
    return out


def ttl_text(e):
    return "-" if e["ttl_seconds"] is None else "%ds" % e["ttl_seconds"]


def as_text(e):
    """A JSON session entry in the fields of text_entries."""
    return {"initiator": side_text(e["initiator"]), "responder": side_text(e["responder"]), "State": e["state"],
            "Application": e["application"], "start": e["start_time"].replace("T", " ").rstrip("Z"),
            "ttl": ttl_text(e),
            "Initiator->Responder": tuple(e["initiator_to_responder"].values()),
            "Responder->Initiator": tuple(e["responder_to_initiator"].values())}


class TableTest(Fixture):
    FILTERS = [[], ["protocol", "tcp"], ["ipv6"], ["ipv4", "destination-port", "53"]]

    def test_entries_equal_the_text_display(self):
        for filters in self.FILTERS:
            with self.subTest(filters=filters):
                doc = self.document("display", "session", "table", "verbose", *filters)
                r = run(self.service, "display", "session", "table", "verbose", *filters, env=self.env)
                self.assertEqual(r.returncode, 0)
                text = r.stdout.decode()
                total = int(re.search(r"Total sessions found: (\d+)\r\n$", text).group(1))
                entries = text_entries(text)
                self.assertEqual(len(entries), total)
                self.assertEqual(doc["total"], total)
                self.assertEqual(len(doc["sessions"]), total)
                for i, (want, got) in enumerate(zip(entries, doc["sessions"])):
                    self.assertEqual(as_text(got), want, f"entry {i}")
                    self.assertEqual(got["start_time_seconds"],
                                     int(__import__("calendar").timegm(__import__("time").strptime(
                                         got["start_time"], "%Y-%m-%dT%H:%M:%SZ"))))
                stats = self.document("display", "session", "statistics", *filters)
                self.assertEqual(stats["total"], total)
                self.assertEqual(sum(p["sessions"] for p in stats["protocols"]), total)
        # The fast-forward entries likewise.
        doc = self.document("display", "session", "fast-forward", "verbose")
        text = self.service.cli("display", "session", "fast-forward", "verbose")
        want = text_entries(text)
        self.assertGreater(len(want), 0)
        self.assertEqual([{"initiator": side_text(e["initiator"]), "responder": side_text(e["responder"]),
                           "ttl": ttl_text(e)} for e in doc["entries"]], want)
        self.assertEqual(doc["total"], len(want))
        # The whole seeded table is there, and its brief form holds the same
        # initiators.
        brief = self.document("display", "session", "table")
        full = self.document("display", "session", "table", "verbose")
        self.assertEqual(brief["total"], SESSIONS)
        self.assertEqual([s["initiator"] for s in brief["sessions"]], [s["initiator"] for s in full["sessions"]])


class CounterTest(Fixture):
    def test_hot_backup_counters_are_decimal_numbers(self):
        text = self.service.cli("display", "session", "hot-backup", "statistics")
        rows = re.findall(r"^ Chassis (\d+) +slot (\d+) +: (\S+) +(\S+) +(\S+) *\r$", text, re.M)
        doc = self.document("display", "session", "hot-backup", "statistics")
        self.assertGreater(len(rows), 0, text)
        self.assertEqual([(p["chassis"], p["slot"], p["sent"], p["send_failed"], p["received"]) for p in doc["peers"]],
                         [(int(c), int(s), int(a, 16), int(b, 16), int(r, 16)) for c, s, a, b, r in rows])
        remain = int(re.search(r"^Remain message +: (\d+)\r$", text, re.M).group(1))
        self.assertEqual(doc["remaining_messages"], remain)


def text_limit_nodes(text):
    """The statistic nodes of `display connection-limit statistics` as
    tuples of their fields."""
    nodes, node = [], []
    for line in text.split("\r\n"):
        m = re.match(r"^ {1,5}(Src IP address|VPN instance|Dst IP address|DS-Lite tunnel peer|Service|Limit rule ID|"
                     r"Sessions threshold Hi/Lo|Sessions count|New session flag) *: (.*?) *$", line)
        if m is None:
            continue
        node.append(m.group(2))
        if m.group(1) == "New session flag":
            nodes.append(tuple(node))
            node = []
    return nodes


def json_limit_node(n):
    port = "" if n["port"] is None else "/%d" % n["port"]
    acl = n["acl_name"] if n["acl_name"] is not None else str(n["acl"])
    return (n["source_ip"] or "Any", n["source_vpn_instance"] or "--", n["destination_ip"] or "Any",
            n["destination_vpn_instance"] or "--", n["ds_lite_peer"] or "--", n["service"] + port,
            "%d(ACL : %s)" % (n["rule"], acl), "%d/%d" % (n["threshold_high"], n["threshold_low"]),
            str(n["sessions"]), n["new_sessions"])


class LimitNodeTest(Fixture):
    def test_nodes_equal_the_text_display(self):
        for words in SETUP[3:]:
            self.assertEqual(run(self.service, *words).returncode, 0, words)
        text = self.service.cli("display", "connection-limit", "statistics")
        want = text_limit_nodes(text)
        doc = self.document("display", "connection-limit", "statistics")
        self.assertGreater(len(want), 0, text)
        self.assertEqual([json_limit_node(n) for n in doc["nodes"]], want)
        self.assertEqual(doc["total"], len(want))


def labelled(text, start):
    """The "Name :value" pairs of a kernel detail display, one list per
    entry (an entry begins with a line starting with `start`)."""
    entries = []
    for line in text.split("\r\n"):
        if line.startswith(start):
            entries.append([])
        if entries:
            entries[-1] += re.findall(r"([A-Za-z_][\w -]*?) *: *(\S+)", line)
    return entries


def ref_text(v):
    return "(nil)" if v is None else v


def c_hex(v):
    return "0" if v == 0 else "%#x" % v


# (text name, its occurrence in the entry, the JSON value, as the text shows it)
KERNEL_FIELDS = [
    ("SrcPort", 1, lambda e: e["responder"]["source_port"], str),
    ("Cache_org", 0, lambda e: e["base"]["cache_initiator"], ref_text),
    ("Session_base", 0, lambda e: e["base"]["session_base"], ref_text),
    ("TableFlag", 0, lambda e: e["base"]["table_flag"], c_hex),
    ("ServicePos", 0, lambda e: e["session"]["service_position"], lambda v: "0" if v == "0x0" else v),
    ("Cfg Seq", 0, lambda e: e["session"]["cfg_seq"], str),
    ("Rely_Bytes", 0, lambda e: e["log"]["responder_to_initiator"]["bytes"], str),
    ("Parent", 0, lambda e: e["extension"] and e["extension"]["parent"], ref_text),
    ("hPatEntry", 0, lambda e: e["nat"] and e["nat"]["pat_entry"], ref_text),
]
RELATION_FIELDS = [
    ("Tuple LockIndex", 0, lambda e: e["tuple_lock_index"], str),
    ("uiRelationFlag", 0, lambda e: e["relation_flag"], c_hex),
    ("pstSelfRelation", 0, lambda e: e["self_relation"], ref_text),
    ("Ext usQrmId", 0, lambda e: e["attach"]["qrm_id"], str),
    ("Nat PatEntry", 0, lambda e: e["nat"] and e["nat"]["pat_entry"], ref_text),
]


class KernelTest(Fixture):
    """The kernel detail, aging queue and debugging switch documents say
    what their text displays say."""

    def check_fields(self, words, start, list_name, fields):
        text = self.service.cli(*words)
        doc = self.document(*words)
        entries = labelled(text, start)
        self.assertGreater(len(entries), 0, text)
        self.assertEqual(len(doc[list_name]), len(entries))
        self.assertEqual(doc["total"], len(entries))
        for i, (pairs, entry) in enumerate(zip(entries, doc[list_name])):
            for name, nth, value, shown in fields:
                got = [v for k, v in pairs if k == name]
                want = value(entry)
                with self.subTest(entry=i, field=name):
                    # A block the kernel did not send is null and absent
                    # from the text.
                    if want is None and not got:
                        continue
                    self.assertEqual(shown(want), got[nth])

    def test_kernel_detail_equals_the_text(self):
        self.check_fields(["display", "session", "kernel"], "Initiator:", "sessions", KERNEL_FIELDS)
        self.check_fields(["display", "session", "relation-kernel"], "Source IP", "relations", RELATION_FIELDS)

    def test_aging_queues_and_switches_equal_the_text(self):
        text = self.service.cli("display", "session", "aging-queue")
        cores = re.findall(r"CORE (\d+):\nbTimerActiveFlag += (\d+) *\r\nuiStatus += (\d+) *\r\n"
                           r"ulUnstableNumber += (\d+) *\r\nulResetMsgNum += (\d+) *\r\n"
                           r"uiStopQRMLocalIndex = (\d+)", text)
        doc = self.document("display", "session", "aging-queue")
        self.assertGreater(len(cores), 0, text)
        self.assertEqual([(c["core"], int(c["timer_active"]), c["status"], c["unstable"], c["reset_messages"],
                           c["stop_qrm_local_index"]) for c in doc["cores"]], [tuple(map(int, c)) for c in cores])
        total = re.search(r"Total :\nulUnstableNumber += (\d+)", text).group(1)
        self.assertEqual(doc["total"]["unstable"] % 2**32, int(total))
        for proto, setting in (("sip", ["packet"]), ("h323", ["event", "error"])):
            for word in setting:
                self.service.cli("sqa", proto, "debug", word)
            doc = self.document("display", "sqa", proto, "debug")
            text = self.service.cli("display", "sqa", proto, "debug")
            with self.subTest(proto=proto):
                self.assertEqual({k for k in ("event", "error", "packet") if doc[k]}, set(setting))
                self.assertEqual(set(re.findall(r" (event|error|packet) debugging switch is on", text)), set(setting))


class RefusalTest(Fixture):
    CASES = [
        (["display", "session", "table", "|", "count"],
         "dpmgmt: output filters do not apply to JSON output; filter it with jq\n"),
        (["display", "session", "table", "bogus"], None),
        (["display", "session", "aging-queue", "slot"], None),
    ]

    def test_refused_in_one_line(self):
        for words, message in self.CASES:
            with self.subTest(words=words):
                r = run(self.service, "--json", *words)
                self.assertEqual(r.returncode, 1)
                self.assertEqual(r.stdout, b"")
                err = r.stderr.decode()
                self.assertEqual(err.count("\n"), 1, err)
                if message is not None:
                    self.assertEqual(err, message)

    def test_not_found_writes_no_document(self):
        cases = [(["display", "sqa", "sip", "call", "verbose", "call-id", "nope"], "no SIP call with call ID 'nope'"),
                 (["display", "sqa", "h323", "call", "probe", "call-id", "nope"], "no H.323 call with call ID 'nope'"),
                 (["display", "sqa", "remark", "7", "7"], "no remark 7 7"),
                 (["display", "connection-limit", "policy", "9"], "no IPv4 policy 9")]
        for words, message in cases:
            with self.subTest(words=words):
                r = run(self.service, "-j", *words)
                self.assertEqual(r.returncode, 2, r.stderr)
                self.assertEqual(r.stdout, b"")
                self.assertEqual(r.stderr.decode(), f"dpmgmt: {message}\n")

    def test_no_document_without_a_service(self):
        self.service.kill()
        env = dict(self.service.env, DPMGMT_SERVICE="/nonexistent/dpservice")
        for words in (["display", "session", "table"], ["display", "session", "statistics"]):
            with self.subTest(words=words):
                r = run(self.service, "-j", *words, env=env)
                self.assertEqual(r.returncode, 4, r.stderr)
                self.assertEqual(r.stdout, b"")
                self.assertEqual(r.stderr.decode().count("\n"), 1, r.stderr)

    def test_other_commands_run_as_they_are(self):
        r = run(self.service, "-j", "session", "limit", "9000")
        self.assertEqual(r.returncode, 0, r.stderr)
        self.assertEqual(self.document("display", "session", "limit")["selectors"][0]["maximum_sessions"], 9000)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[1:]], verbosity=2)
