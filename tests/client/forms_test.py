"""Both ways: every format that the process prints has a form in the client's table, and every form is printed."""
import pathlib
import re
import subprocess
import unittest

from fixture import BIN, ROOT, FORMS

FLOORS = ["shm", "reply", "tbm", "phu", "checks", "console", "frame"]
LITERALS = r'((?:"(?:[^"\\]|\\.)*"\s*)+)'


def text_of(literals):
    return "".join(re.findall(r'"((?:[^"\\]|\\.)*)"', literals)).replace("\\n", "\n").replace('\\"', '"')


class Source:
    """What one file prints: its formats, and the texts that may stand for a %s of theirs."""

    def __init__(self, path):
        text = path.read_text()
        self.formats = {text_of(found) for found in re.findall(r"plu_debug_printf\(\s*" + LITERALS, text)}
        # A line that is composed by hand names its format in the comment above.
        self.formats |= {text_of(found) for found in re.findall(r'^/// (".*")\.', text, re.MULTILINE)
                         if "plu_debug_send(" in text}
        self.literals = {text_of(found) for found in re.findall(LITERALS, text)} - self.formats


def alternatives(source, text):
    """The lines, and pieces of lines, that a format can print."""
    yield text
    if "%s" in text:
        for literal in source.literals:
            if "%s" not in literal:
                yield from alternatives(source, text.replace("%s", literal, 1))


def process_pieces():
    """Each piece of a line that the process can print, with the format that it comes from."""
    pieces = {}
    for floor in FLOORS:
        for path in sorted((ROOT / floor).glob("*.cpp")):
            source = Source(path)
            for text in source.formats:
                for printed in alternatives(source, text):
                    *whole, rest = printed.split("\n")
                    for line in whole:
                        if line:
                            pieces.setdefault((line, True), set()).add((path.name, text))
                    if rest:
                        pieces.setdefault((rest, False), set()).add((path.name, text))
    return pieces


def tokens_of(form):
    """The form as the process's formats print it, with the pieces of its runs apart."""
    plain = re.sub(r"%!\{[^|}]*\|([^}]*)\}", r"\1", form)
    runs = [run.split("|") for run in re.findall(r"%\*\{[^|}]*\|([^}]*)\}", plain)]
    plain = re.sub(r"%\*\{[^}]*\}", "\0", plain)
    return re.sub(r"\{[^}]*\}", "", plain), runs


def tiling(form, pieces):
    """The formats that print the form one behind the other; none when there is no such way."""
    plain, runs = tokens_of(form)
    ways = {0: set()}
    for at in range(len(plain) + 1):
        if at not in ways or at == len(plain):
            continue
        if plain[at] == "\0":
            run = runs[plain[:at].count("\0")]
            if all((piece, False) in pieces for piece in run):
                used = set().union(*(pieces[piece, False] for piece in run))
                ways.setdefault(at + 1, ways[at] | used)
            continue
        for (piece, ends), formats in pieces.items():
            end = at + len(piece)
            if plain.startswith(piece, at) and (not ends or end == len(plain)):
                ways.setdefault(end, ways[at] | formats)
    return ways.get(len(plain))


class Forms(unittest.TestCase):
    def test_every_form_is_printed_and_every_format_has_a_form(self):
        pieces = process_pieces()
        used = set()
        for form in FORMS:
            with self.subTest(form=form.text):
                formats = tiling(form.text if form.name != "npus_cut" else form.text + "]", pieces)
                self.assertIsNotNone(formats)
                used |= formats
        every = set().union(*pieces.values())
        self.assertEqual(every - used, set())
        self.assertGreater(len(every), 240)


if __name__ == "__main__":
    unittest.main()
