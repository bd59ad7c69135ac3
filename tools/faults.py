"""Rules that seed faults in C++ sources, one at a time."""

import re
import typing


class Fault(typing.NamedTuple):
    kind: str
    file: str
    line: int
    old: str  # what stands there
    new: str
    start: int  # of the old text in the file

    def seeded_in(self, text):
        assert text.startswith(self.old, self.start)
        return text[: self.start] + self.new + text[self.start + len(self.old) :]

    def __str__(self):
        return f"{self.file}:{self.line}: {self.kind}: {brief(self.old)} -> {brief(self.new)}"


NOT_CODE = re.compile(
    r'//[^\n]*|/\*.*?\*/|^[ \t]*#[^\n]*|R"\((?:.*?)\)"|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'',
    re.DOTALL | re.MULTILINE,
)
DIGITS = re.compile(r"(?<![\w.'])\d+(?![\w.'])")
CALL = re.compile(r"(?:Q_EMIT |\+\+|--|static_cast<void>\()?[\w:.>*\[\]-]*\w(?:<\w+>)?\(")
ASSIGNMENT = re.compile(r"[\w.>*\[\]()-]+ (?:[+|&]?=) |(?:\+\+|--)\w+;|delete ")
TOLD_TO_THE_LOG = re.compile(r"\bq(?:Debug|Warning)\b[^;]*;")  # whose words are nobody's contract
NO_EFFECT = re.compile(r"qFatal|return\b|if\b|for\b|while\b|switch\b|case\b|catch\b")
CONNECTION = re.compile(r"(?:QObject::)?connect\(|subscribe\(|\w+\.addPath\(")
TO_DISK = re.compile(r"(?:\w+\.|::)(?:f?sync|close|flush|fsync)\(")

SWAPPED = {"==": "!=", "!=": "==", "&&": "||", "||": "&&", "true": "false", "false": "true"}
BY_ONE = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "+ 1": "+ 0", "- 1": "- 0"}
WAITS = {"noLimitMs": "toolTimeoutMs", "QDBus::Block": "QDBus::NoBlock"}


def faults_in(file, text):
    """All that the rules find, in the order of the text."""
    code = NOT_CODE.sub(lambda found: blanked(found[0]), text)
    code = TOLD_TO_THE_LOG.sub(lambda found: re.sub(r"[^\n;]", " ", found[0]), code)
    found = [*conditions(code), *operators(code), *numbers(code), *waits(code), *effects(code), *texts(text, code)]
    for kind, start, end, new in sorted(found, key=lambda fault: fault[1:]):
        old = text[start:end]
        new = new if isinstance(new, str) else new(text)
        if old != new:
            yield Fault(kind, file, text.count("\n", 0, start) + 1, old, new, start)


def conditions(code):
    for found in re.finditer(r"\b(?:if|while) \(", code):
        start, end = found.end(), closing(code, found.end())
        start += code[start:end].rfind("; ") + 1
        if not re.search(r"[^=!<>]=[^=]", code[start:end]):  # which declares what it tests
            yield "condition turned", start, end, lambda text, at=(start, end): f" !({text[at[0]:at[1]].strip()})"


def operators(code):
    for found in re.finditer(r"(?<= )(==|!=|&&|\|\|)(?= )|\b(true|false)\b", code):
        kind = "value turned" if found[2] else "condition turned"
        yield kind, found.start(), found.end(), SWAPPED[found[0]]
    for found in re.finditer(r" \| [\w:]+", code):
        yield "flag left out", found.start(), found.end(), ""


def numbers(code):
    for found in re.finditer(r"(?<= )(<=|>=|<|>)(?= )|[+-] 1\b(?!')", code):
        yield "limit by one", found.start(), found.end(), BY_ONE[found[0]]
    for found in DIGITS.finditer(code):
        yield "limit by one", found.start(), found.end(), str(int(found[0]) + 1)


def waits(code):
    for found in re.finditer(r"\bnoLimitMs(?! =)|QDBus::Block\b", code):
        yield "wait changed", found.start(), found.end(), WAITS[found[0]]
    for found in re.finditer(r"\b\w+Ms = (\d+)", code):
        yield "wait changed", found.start(1), found.end(1), str(int(found[1]) // 10)
        yield "wait changed", found.start(1), found.end(1), str(int(found[1]) * 10)
    for found in re.finditer(r"\b(?:runTool|toolOutput)\(", code):
        end = closing(code, found.end())
        if "Ms" not in code[found.start() : end]:
            yield "wait changed", end, end, ", noLimitMs"


def effects(code):
    """Statements that only do something: each left out, and each behind the next one."""
    statements = list(effect_statements(code))
    for start, end in statements:
        statement = code[start:end]
        if CONNECTION.match(statement):
            kind = "signal not connected"
        else:
            kind = "sync, close left out" if TO_DISK.match(statement) else "effect left out"
        yield kind, start, end, ";"
    for (start, end), (following, after) in zip(statements, statements[1:]):
        if re.fullmatch(r"\s+", code[end:following]) and indent(code, start) == indent(code, following):
            swapped = (start, end, following, after)
            yield "effect out of turn", start, after, lambda text, at=swapped: turned(text, *at)


def effect_statements(code):
    for found in re.finditer(r"^ +(?=[^ \n])", code, re.MULTILINE):
        start = found.end()
        before = code[:start].rstrip()
        if before[-1:] not in ";{})" or NO_EFFECT.match(code, start):
            continue
        if CALL.match(code, start) or ASSIGNMENT.match(code, start):
            end = closing(code, start, ";") + 1
            if "\n\n" not in code[start:end]:
                yield start, end


def texts(text, code):
    for found in re.finditer(r'u?"((?:\\.|[^"\\\n])+)"', text):
        line = text[text.rfind("\n", 0, found.start()) + 1 : found.start()]
        is_code = code[found.start()] == "u" or code[found.start()] == "\0"
        if is_code and not re.search(r"#include|qFatal|//|\"D-Bus", line):
            yield "text changed", found.end(1), found.end(1), "x"


def closing(code, start, end=")"):
    """Where what is open at `start` ends."""
    depth = 0
    for position in range(start, len(code)):
        if code[position] == end and depth == 0:
            return position
        depth += (code[position] in "({[") - (code[position] in ")}]")
    return len(code) - 1


def indent(code, start):
    return start - code.rfind("\n", 0, start)


def turned(text, start, end, following, after):
    return text[following:after] + text[end:following] + text[start:end]


def blanked(text):
    """As long as before. A string stays recognisable as one."""
    if text[0] == '"' or text[0] == "R":
        return "\0" + " " * (len(text) - 1)
    return re.sub(r"[^\n]", " ", text)


def brief(text):
    return " ".join(text.split())[:70] or "(nothing)"
