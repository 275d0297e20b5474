"""Pictures: what the process says is drawn, what it cannot have meant is refused and leaves no file."""
import re
import unittest
import xml.etree.ElementTree as xml

from fixture import ClientTest

BANKS = """
bank 00  size 2048  node used   19  stride level   1  bitmap size 32
bank 05  size 2048  node used 2048  stride level   6  bitmap size 32
bank 41  size 4096  node used   12  stride level   0  bitmap size 64
stride level  6 bitmap: 0x000000000020  ____________________________________#_____  bank_used 1
SUM        bank bitmap: 0x020000000021  #___________________________________#____#
"""
CONTEXT = "bank node used: 2067\nphu bank bitmap: " + " ".join(
    f"{(3 << 40 | 0x21) >> shift & 0xff:08b}" for shift in range(56, -1, -8)) + "\n"

NODE = """
NODE SEARCH addr: 0x7000a0 parent: 0x700000 child:28  (0x)/0 vrf:5 hw index:0x01000005
NODE SEARCH addr: 0x7000b0 parent: 0x7000a0 child:26   2(0x08)/6 vrf:5
HINT SN   ebitmap: 0x0000000100000000, ptr:0x100a, bmsf:0, me:0  tn: 0x7000b0 hw index: 0x02010004
HINT state: SEARCH bmsf: 0 pb_len: 0 offset:0 la:0x7117a0 nodes: 1 key type:0 hw idx: 0x02010004
sn_ebmap   0x0000000100000000  (right most 1 => value 0) 
sn_charray->ta_nnodes:2  sn_charray->ta_inode_exists:1
  child  0 0x7000c0 type:INTERN hw_index 0x00000000 inode:1
  child  1 0x7000d0 type:SEARCH hw_index 0x0302000a inode:1 sn_charray.ta_nnodes: 4
  child  2 (nil) type:INVALID hw_index 0x00000000 inode:0
inode 0x7000c0 in_lfarray->la_nnodes 1
  8.0.0.0/7

"""
CHILDREN = """ones 1, nnodes 2
child idx 32 (00) child_tn 0x7000d0 (0x0A00/12), longest match for child tn: 8.0.0.0/7
"""


class Pictures(ClientTest):
    def rules(self, **replies):
        return self.answering(**{name: text.splitlines() for name, text in replies.items()})

    def assert_refused(self, words, quoted):
        target = self.folder / "picture"
        status, output, errors = self.client(*words, target)
        self.assertEqual((status, output), (1, ""))
        self.assertIn(quoted, errors)
        self.assertEqual(list(self.folder.glob("picture*")), [])

    def test_bank_map_shows_every_bank(self):
        self.start(*self.rules(banksum=BANKS, dump=CONTEXT))
        target = self.folder / "banks.svg"
        self.assertEqual(self.client("banks", "--svg", target), (0, "", ""))
        tips = [tip.text for tip in xml.parse(target).iter("{http://www.w3.org/2000/svg}title")]
        self.assertEqual(len(tips), 42)
        for bank, tip in ((0, "level 1: 19 / 2048"), (5, "level 6: 2048 / 2048"),
                          (20, "free: 0 / 4096"), (40, "reserved: 0 / 4096")):
            self.assertEqual(tips[bank], f"bank {bank}, {tip} nodes in use")
        xml.fromstring(self.client("banks", "--svg", "-")[1].encode())

    def test_impossible_banks_are_refused(self):
        for replies, quoted in (
                ({"banksum": BANKS.replace("used 2048", "used 2049")}, "2049"),
                ({"banksum": BANKS.replace("bank 05", "bank 42")}, "'bank 42"),
                ({"banksum": BANKS.replace("level   6", "level  24")}, "'bank 05"),
                ({"banksum": BANKS.replace("bank 41", "bank 00")}, "'bank 00"),
                ({"banksum": BANKS.replace("size 32\nbank 05", "size\nbank 05")}, "'bank 00"),
                ({"banksum": BANKS.split("SUM")[0]}, "SUM"),
                ({"dump": CONTEXT.replace("0 0", "0 2 0", 1)}, "'phu bank bitmap"),
                ({"dump": "failed to read profile\n"}, "failed to read profile"),
                ({"dump": "\n"}, "no bank bitmap")):
            with self.subTest(quoted):
                self.start(*self.rules(**{"banksum": BANKS, "dump": CONTEXT, **replies}))
                self.assert_refused(["banks", "--svg"], quoted)
        self.start("banksum=die:1")
        self.assertEqual(self.client("banks", "--svg")[:2], (3, ""))

    def test_tree_shows_what_surrounds_the_node(self):
        self.start(*self.rules(tn=NODE, tnbl=CHILDREN))
        status, dot, errors = self.client("tree", "0x7000b0", "--dot")
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual(self.requests(), ["tn 0x7000b0 0xf 0x0", "tnbl 0x7000b0 0x0 0x0"])
        shown = re.sub(r"<[^>]*>", "|", dot)
        for text in ("root slot 0: IPv4, VRF 0 to 63", "0.0.0.0/0  VRF 5", "8.0.0.0/6  VRF 5",
                     "10.0.0.0/12", "hw level 3, bank 2, node 10", "under 8.0.0.0/7", "|8.0.0.0/7 ",
                     "hint state SEARCH, hw level 2, bank 1, node 4", "|32|", "|null|"):
            self.assertIn(text, shown)

    def test_impossible_nodes_are_refused(self):
        for reply, quoted in ((NODE.replace("0x7000b0 parent", "0x7000b8 parent"), "own line"),
                              (NODE.replace("(0x08)", "(0xZZ)"), "0xZZ"),
                              (NODE.replace("(0x08)/6", "(0x08)/60"), "/60"),
                              (NODE.replace("2(0x08)", '2"](0x08)'), '2"]'),
                              (NODE.replace("child  1", "child  7"), "child  7"),
                              (NODE.replace("key type:0", "key type"), "key type"),
                              (NODE.replace("la_nnodes 1", "la_nnodes 99"), "reply to 'tn'"),
                              ("invalid tn addr: 0x7000b0\n", "invalid tn addr")):
            with self.subTest(quoted):
                self.start(*self.rules(tn=reply, tnbl=CHILDREN))
                self.assert_refused(["tree", "0x7000b0", "--dot"], quoted)
        self.start(*self.rules(tn=NODE, tnbl=CHILDREN.replace("idx 32", "idx 64")))
        self.assert_refused(["tree", "0x7000b0", "--dot"], "idx 64")

    def test_wrong_usage_sends_nothing(self):
        self.start()
        for words in (["banks"], ["banks", "x.svg"], ["banks", "--dot"], ["tree", "1"],
                      ["tree", "--dot"], ["tree", "here", "--dot"], ["--svg", "banks"],
                      ["walk", "--svg"]):
            with self.subTest(words):
                self.assertEqual(self.client(*words)[0], 2)
        self.assertEqual(self.requests(), [])


if __name__ == "__main__":
    unittest.main()
