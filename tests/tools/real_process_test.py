"""The client's own knowledge held against the real process: its commands, its help, its summaries."""
import json
import os
import re
import shutil
import subprocess
import unittest

from fixture import BIN, COUNTERS, ROOT, ClientTest

class RealProcess(ClientTest):
    def setUp(self):
        super().setUp()
        environment = dict(os.environ, SIMCARD_TABLE=str(ROOT / "data/nested.txt"))
        self.process = subprocess.Popen([BIN / "plu_bkg"], env=environment, stderr=subprocess.DEVNULL,
                                        stdout=subprocess.PIPE)
        self.addCleanup(self.stop)
        for _ in range(600):
            if self.client("-t", "5", "-h")[0] == 0:
                return
        self.fail("the process does not answer")

    def test_the_table_is_the_process_s_own(self):
        listed = [line.split(None, 1) for line in self.client("-h")[1].splitlines() if line]
        self.assertEqual(len(listed), 36)
        for name, text in listed:
            own = self.client("help", name)[1].splitlines()[-1]
            self.assertEqual(own, "  the process says: " + text)

    def test_every_counter_is_found_in_a_real_summary(self):
        for command in {row[0] for row in COUNTERS}:
            with self.subTest(command):
                expected = {key for other, key, _, _ in COUNTERS if other == command}
                status, output, _ = self.client("--json", command)
                document = json.loads(output)
                self.assertEqual((status, document["verdict"]), (0, "ok"))
                self.assertEqual(set(document["counters"]), expected)

    def test_ckall_has_the_counters_of_its_checks(self):
        expected = {key for command, key, _, _ in COUNTERS
                    if command in ("ckbank", "ckbmsf", "ckhmask", "ckparbl", "cklkup")}
        self.assertEqual(set(json.loads(self.client("-j", "ckall")[1])["counters"]), expected)

    def test_pictures_of_the_real_card(self):
        self.assertIn("bank 41", self.client("banks", "--svg")[1])
        root = re.search(r"index +0 (0x\w+)", self.client("rootsn")[1])[1]
        nodes = re.findall(r"(?:tn addr:|next tn) (0x\w+)", self.client("v4", "10.1.2.3", "vrf", 5)[1])
        inner = re.findall(r"(0x\w+) type:INTERN", "".join(self.client("tn", n)[1] for n in nodes))
        self.assertTrue(nodes and inner)
        for node in [root, *nodes, *inner]:
            status, dot, errors = self.client("tree", node, "--dot")
            self.assertEqual((status, errors), (0, ""))
            self.assertNotIn("not found", dot)
            if shutil.which("dot"):
                subprocess.run(["dot", "-Tsvg"], input=dot, text=True, check=True, capture_output=True)

    def test_statuses_of_the_real_texts(self):
        for words, status in ((["addv4", "192.0.2.0/24", "vrf", "9"], 0),
                              (["--raw", "addv4", "1", "33"], 1),
                              (["delv4", "192.0.2.0/24", "vrf", "8"], 1),
                              (["delv4", "192.0.2.0/24", "vrf", "9"], 0),
                              (["v4", "10.1.2.3"], 0),
                              (["v6", "2001:db8::1", "vrf", "4000"], 1),
                              (["v4hw", "10.1.2.3"], 0),
                              (["cklkupv4", "10.1.2.3"], 0),
                              (["regr32", "0x40e0"], 0),
                              (["tn", "1"], 1),
                              (["memr", "1", "16"], 1),
                              (["bankbitmap", "42"], 1),
                              (["v4", "0.0.0.0/0"], 1),
                              (["--raw", "frobnicate"], 1)):
            with self.subTest(words):
                self.assertEqual(self.client(*words)[0], status)


if __name__ == "__main__":
    unittest.main()
