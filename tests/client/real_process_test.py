"""The client's own knowledge held against the real process: its commands, its help, its summaries."""
import re
import shutil
import subprocess
import unittest

from fixture import FORMS, ROOT, SUMMARY, ClientTest, counters_of, parsed


class RealProcess(ClientTest):
    def setUp(self):
        super().setUp()
        self.start_real(ROOT / "data/nested.txt")

    def test_the_table_is_the_process_s_own(self):
        listed = [line.split(None, 1) for line in self.client("-h")[1].splitlines() if line]
        self.assertEqual(len(listed), 36)
        for name, text in listed:
            own = self.client("help", name)[1].splitlines()[-1]
            self.assertEqual(own, "  the process says: " + text)

    def test_every_counter_is_found_in_a_real_summary(self):
        for command in {name for form in FORMS if form.means == SUMMARY for name in form.commands.split()}:
            with self.subTest(command):
                status, output, _ = self.client("--json", command)
                document = parsed(output)
                self.assertEqual((status, document["verdict"]), (0, "ok"))
                self.assertEqual({name for name in document["counters"] if not re.match("pool.", name)},
                                 set(counters_of(command)))

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

    def test_machine_output_of_every_command(self):
        root = re.search(r"index +0 (0x\w+)", self.client("rootsn")[1])[1]
        reply = self.client("v4", "10.1.2.3", "vrf", 5)[1]
        node = re.findall(r"next tn (0x\w+)", reply)[-1]
        array = re.search(r"\(la (0x\w+)", self.client("tn", node)[1])[1]
        index = re.search(r"phu hw index (0x\w+)", reply)[1]
        lines = ["dump", "ckall", "walk leaves", "rootsn", "banksum", "bankbitmap 5", f"hwidxr {index} parent",
                 "hwidxwalk", "hwdis", "regr32 0x40e0", "regw32 0x40e0 1", f"memr {root} 64",
                 "memw8 1 1", "memw32 1 1", "v4 10.1.2.3 vrf 5 detail 3", "v4hw 10.1.2.3 vrf 5",
                 "cklkupv4 10.1.2.3 vrf 5", "v6 2001:db8::1 vrf 5", "v6hw 2001:db8::1 vrf 5",
                 "cklkupv6 2001:db8::1 vrf 5", "addv4 192.0.2.0/24", "delv4 192.0.2.0/24", "addv6 2001:db8:9::/48",
                 "delv6 2001:db8:9::/48", f"tn {node} parent chain children prefixes", f"tnwalk {node}",
                 f"tnbl {root}", "cntpfx", "setbmsf 1 1", "ckbmsf", "ckbank detail", "ckhmask", "cklkup",
                 "cklkuphw", "ckparbl", f"showla {array}"]
        self.assertEqual(len({line.split()[0] for line in lines}), 36)
        script = self.folder / "script"
        script.write_text("".join(line + "\n" for line in lines))
        status, output, _ = self.client("-j", "-k", "-f", script)
        documents = parsed(output)
        self.assertEqual((status, len(documents)), (1, 36))
        for line, document in zip(lines, documents):
            with self.subTest(line):
                text_status, text, _ = self.client(*line.split())
                shown = [one for one in text.split("\n") if one]
                self.assertNotIn("unrecognised", document)
                raw = parsed(self.client("--json=lines", *line.split())[1])
                if not line.startswith(("dump", "banksum", "ckbank", "ckall", "add", "del")):    # or what these change
                    self.assertEqual((document["exit_status"], raw["lines"]), (text_status, shown))
                self.assertEqual((document["command"], document["outcome"]), (line.split()[0], "done"))
                self.assertEqual(document["verdict"] == "ok", document["exit_status"] == 0)
                self.assertGreaterEqual(document["seconds"], 0)

    def test_scripts_stop_at_what_the_process_refuses(self):
        script = self.folder / "script"
        script.write_text("# a comment\nrootsn | count\n\ntn 1 | count\nrootsn | count\n")
        status, output, errors = self.client("-f", script)
        self.assertEqual((status, output.count("\n")), (1, 2))
        self.assertIn("script:4: 'tn 1 | count' ended with status 1", errors)
        self.assertEqual(self.client("-k", "-f", script)[1].count("\n"), 3)

    def test_statuses_of_the_real_texts(self):
        for words, status in ((["addv4", "192.0.2.0/24", "vrf", "9"], 0),
                              (["--raw", "addv4", "1", "33"], 1),
                              (["delv4", "192.0.2.0/24", "vrf", "8"], 1),
                              (["delv4", "192.0.2.0/24", "vrf", "9"], 0),
                              (["v4", "10.1.2.3"], 0),
                              (["v6", "2001:db8::1", "vrf", "4000"], 0),
                              (["v4hw", "10.1.2.3"], 0),
                              (["v4hw", "10.1.2.3", "vrf", "4000"], 1),
                              (["cklkupv4", "10.1.2.3"], 0),
                              (["cklkupv4", "10.1.2.3", "vrf", "4000"], 0),
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
