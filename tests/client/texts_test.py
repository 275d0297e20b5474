"""What the build makes of the client's tables: the completion works in a bare bash, the manual pages are clean."""
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
TEXTS = pathlib.Path(os.environ["PLU_TEXTS"])
COMPLETE = """
source "$1"; shift
COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMP_LINE="$*"; COMP_POINT=${#COMP_LINE}
"$(complete -p plu_debug | sed 's/.*-F \\([^ ]*\\) .*/\\1/')"
printf '%s\\n' "${COMPREPLY[@]}"
"""


class Completion(unittest.TestCase):
    def completed(self, *words):
        """What bash offers for the last of the words."""
        with tempfile.TemporaryDirectory() as folder:
            for name in ("save one.rec", "save.txt"):
                (pathlib.Path(folder) / name).touch()
            done = subprocess.run(["bash", "--norc", "--noprofile", "-c", COMPLETE, "bash",
                                   TEXTS / "plu_debug.bash", "plu_debug", *words],
                                  capture_output=True, text=True, check=True, cwd=folder)
        self.assertEqual(done.stderr, "")
        return set(done.stdout.split("\n")) - {""}

    def test_positions(self):
        files = {"save one.rec", "save.txt"}
        for words, offered in ((["ckl"], {"cklkupv4", "cklkupv6", "cklkup", "cklkuphw"}),
                               (["HEA"], {"health"}),
                               (["--re"], {"--repeat", "--read-only"}),
                               (["-j", "--js", "ban"], {"banks", "banksum", "bankbitmap"}),
                               (["v4", "10.0.0.0/8", ""], {"vrf", "detail"}),
                               (["v4", "10.0.0.0/8", "vrf", "5", ""], {"detail"}),
                               (["v4", "10.0.0.0/8", "vrf", ""], set()),
                               (["-t", "5", "TN", "0x1", "ch"], {"chain", "children"}),
                               (["v6", "2001", ":", "", ":", "/32", "v"], {"vrf"}),
                               (["walk", "leaves", "--ra"], {"--raw"}),
                               (["-t", ""], set()),
                               (["-f", ""], files),
                               (["--file", "=", "save."], {"save.txt"}),
                               (["--file", "="], files),
                               (["--file", "=", "x", "rootsn", "-k", "--js"], {"--json", "--json=lines"}),
                               (["record", "sav"], files),
                               (["diff", "save.txt", "save o"], {"save one.rec"}),
                               (["banks", "--sv"], {"--svg"}),
                               (["banks", "--svg", "save."], {"save.txt"}),
                               (["help", "ckh"], {"ckhmask"}),
                               (["dump", ""], set()),
                               (["nonsense", "x"], set())):
            with self.subTest(words):
                self.assertEqual(self.completed(*words), offered)

    def test_first_word_is_any_command(self):
        self.assertTrue({"health", "tree", "dump", "showla"} <= self.completed(""))


class Manual(unittest.TestCase):
    PAGES = ("plu_debug.1", "plu_bkg.8", "geoip_to_table.1")

    def test_pages_are_clean(self):
        for page in self.PAGES:
            for tool in (["groff", "-man", "-ww", "-Tutf8", "-z"], ["mandoc", "-T", "lint"]):
                if shutil.which(tool[0]):
                    with self.subTest(page, tool=tool[0]):
                        done = subprocess.run([*tool, TEXTS / page], capture_output=True, text=True,
                                              check=False)
                        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))


    def test_every_environment_variable_is_described(self):
        for page, folder in (("plu_debug.1", "client"), ("plu_bkg.8", "simcard")):
            sources = "".join(path.read_text() for path in (ROOT / folder).rglob("*.cpp"))
            names = set(re.findall(r'"((?:PLU_DEBUG|SIMCARD)_[A-Z_]+)"', sources))
            self.assertTrue(names)
            self.assertEqual({name for name in names if name not in (TEXTS / page).read_text()}, set())


if __name__ == "__main__":
    unittest.main()
