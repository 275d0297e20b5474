"""The faults that can be planted in a source file."""
import dataclasses
import re

# Operator, what it looks for in a line of code, what it puts there (None: the line goes).
OPERATORS = [
    ("comparison", r" (<|<=|>|>=|==|!=) ", {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}),
    ("border", r"( [+-] 1)(?![\w.'])", {" + 1": "", " - 1": ""}),
    ("mask", r" (&|\||&&|\|\|) ", {"&": "|", "|": "&", "&&": "||", "||": "&&"}),
    ("width", r"\b(u?int(?:16|32|64)_t)(?=[>{])", {"int64_t": "int32_t", "int32_t": "int16_t", "int16_t": "int8_t",
                                            "uint64_t": "uint32_t", "uint32_t": "uint16_t", "uint16_t": "uint8_t"}),
    ("width", r" (<<|>>) ", {"<<": ">>", ">>": "<<"}),
    ("swapped", r"(?<=\w)(?<!min)(?<!max)\((\w[\w.\->]*, \w[\w.\->]*)[,)]", "swap"),
    ("call", r"^ +((?!return\b|throw\b)[\w.:>-]+\([^=?]*\);)$", None),
    ("clear", r"^ +((?:[\w.\[\]>*-]+) = (?:0|nullptr|false|\{\});|[\w.>-]+\.clear\(\);)$", None),
    ("constant", r"(?<![\w.'])(\d+|0x[\da-f]+)(?:U|UL)?(?![\w.'])", "increment"),
]
NO_FAULT = re.compile(r"\s*(#|static_assert|namespace|template|using |friend )")


@dataclasses.dataclass(frozen=True)
class Fault:
    operator: str
    folder: str
    path: str
    line: int
    start: int
    end: int
    old: str
    new: str

    @property
    def place(self):
        return f"{self.path}:{self.line}:{self.start + 1}"

    @property
    def change(self):
        return f"{self.old.strip()} -> {self.new.strip() or 'nothing'}"

    def planted_in(self, text):
        lines = text.split("\n")
        line = lines[self.line - 1]
        lines[self.line - 1] = line[:self.start] + self.new + line[self.end:]
        return "\n".join(lines)


def blanked(text):
    """The text with comments and the contents of literals blank, every character in its place."""
    pattern = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'(?!\w)', re.DOTALL)
    return pattern.sub(lambda match: re.sub(r"[^\n]", " ", match[0]), text)


def replacement(rule, found):
    if rule is None:
        return ";"
    if rule == "swap":
        first, second = found.split(", ")
        return f"{second}, {first}" if first != second else found
    if rule == "increment":
        return hex(int(found, 16) + 1) if found.startswith("0x") else str(int(found) + 1)
    return rule[found]


def faults_of(folder, path, text):
    """All faults of one file, in the order of their places."""
    faults = []
    for number, line in enumerate(blanked(text).split("\n"), 1):
        if NO_FAULT.match(line):
            continue
        for operator, pattern, rule in OPERATORS:
            for match in re.finditer(pattern, line):
                old = text.split("\n")[number - 1][match.start(1):match.end(1)]
                new = replacement(rule, match[1])
                if new != match[1]:
                    faults.append(Fault(operator, folder, path, number, match.start(1), match.end(1), old, new))
    return faults
