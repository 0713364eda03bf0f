"""Where a source can be changed so that a test ought to notice, found by text alone.

The sources are formatted by clang-format, so that a binary operator has a space on either side and
the brackets of a template have none: no parser is needed to tell them apart.
"""

import re
from dataclasses import dataclass


@dataclass(frozen=True)
class Mutant:
    file: str  # relative to the root of the tree
    line: int  # from 1
    start: int  # offset of what is replaced
    end: int
    text: str  # what takes its place
    kind: str

    def key(self):
        return f"{self.file}:{self.start}-{self.end}:{self.text}"

    def apply(self, source):
        return source[: self.start] + self.text + source[self.end :]


# What a binary operator is exchanged for.
OPERATORS = {
    "==": ["!="],
    "!=": ["=="],
    "<": ["<=", ">="],
    "<=": ["<", ">"],
    ">": [">=", "<="],
    ">=": [">", "<"],
    "&&": ["||"],
    "||": ["&&"],
    "+": ["-"],
    "-": ["+"],
    "*": ["+"],
    "/": ["*"],
    "%": ["/"],
    "<<": [">>"],
    ">>": ["<<"],
    "&": ["|"],
    "|": ["&"],
    "^": ["|"],
    "+=": ["-="],
    "-=": ["+="],
    "|=": ["&="],
    "&=": ["|="],
    "<<=": [">>="],
    ">>=": ["<<="],
}

_HIDDEN = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"(?P<d>[^(\s]*)\(.*?\)(?P=d)"|"(?:\\.|[^"\\\n])*"'
    r"|(?<![0-9A-Fa-f])'(?:\\.|[^'\\\n])+'|^[ \t]*#(?:[^\n]*\\\n)*[^\n]*",
    re.DOTALL | re.MULTILINE,
)
_OPERATOR = re.compile(
    r"(?<= )(?:" + "|".join(re.escape(o) for o in sorted(OPERATORS, key=len, reverse=True)) + r")(?= )"
)
_STEP = re.compile(r"\+\+|--")
_NOT = re.compile(r"!(?=[A-Za-z_(*])")
_NUMBER = re.compile(r"(?<![\w.])(0x[0-9A-Fa-f]+|[0-9]+)(?=[uUlLzZ]*(?![\w.']))")
_WORD = re.compile(r"\b(true|false)\b")
_CONDITION = re.compile(r"\b(?:if|while) \(")
_DECLARATION = re.compile(r"[^()=]*\w[&*]? [&*]*\w+ = |.*;", re.DOTALL)
_RETURN = re.compile(r"\breturn ([^;{}]+);")
_JUMP = re.compile(r"\b(?:break|continue);")
# A call or an assignment that fills its lines; a declaration has a space before the name.
_STATEMENT = re.compile(
    r"(?<=[;{}):\n])\s*\n[ ]+(?P<s>(?:static_cast<void>\(|\*|\+\+|--)?[A-Za-z_][\w:.\[\]*&>()-]*"
    r"(?:\([^;{}]*\)| (?:[-+*/|&^%]|<<|>>)?= [^;{}]+)?;)(?=\n)"
)
_NO_STATEMENT = re.compile(r"(?:return|using|break|continue|default|private|public|case)\b")


def hide(source):
    """The source with everything that is no code blanked out, octet for octet."""
    return _HIDDEN.sub(lambda m: re.sub(r"[^\n]", " ", m.group()), source)


def _closing(code, opening):
    """The offset of the parenthesis that closes the one at `opening`."""
    depth = 0
    for at in range(opening, len(code)):
        depth += {"(": 1, ")": -1}.get(code[at], 0)
        if depth == 0:
            return at
    return None


def _replacements(code):
    """Triples (start, end, text) with the kind of change."""
    for m in _OPERATOR.finditer(code):
        for text in OPERATORS[m.group()]:
            yield m.start(), m.end(), text, "operator"
    for m in _STEP.finditer(code):
        yield m.start(), m.end(), "--" if m.group() == "++" else "++", "operator"
    for m in _NOT.finditer(code):
        yield m.start(), m.end(), "", "operator"
    for m in _NUMBER.finditer(code):
        digits = m.group()
        is_octal = digits.isdecimal() and digits.startswith("0") and len(digits) > 1
        number = int(digits, 8 if is_octal else 0)
        for other in sorted({number + 1, max(number - 1, 0)} - {number}):
            yield m.start(), m.end(), f"0{other:o}" if is_octal else str(other), "constant"
    for m in _WORD.finditer(code):
        yield m.start(), m.end(), "false" if m.group() == "true" else "true", "constant"
    for m in _CONDITION.finditer(code):
        closing = _closing(code, m.end() - 1)
        if closing is None:
            continue
        inside = code[m.end() : closing]
        if _DECLARATION.match(inside):
            continue
        for word in ("true ||", "false &&"):
            yield m.end(), closing, (word, inside), "condition"
    for m in _RETURN.finditer(code):
        if m.group(1).strip() not in ("true", "false", "{}"):
            yield m.start(1), m.end(1), "{}", "return"
    for m in _JUMP.finditer(code):
        yield m.start(), m.end(), ";", "statement"
    for m in _STATEMENT.finditer(code):
        if not _NO_STATEMENT.match(m.group("s")):
            yield m.start("s"), m.end("s"), ";", "statement"


def mutants(file, source):
    """Every mutant of a source, in the order of their offsets."""
    code = hide(source)
    found = []
    for start, end, text, kind in _replacements(code):
        if code.rfind("static_assert", code.rfind(";", 0, start) + 1, start) >= 0:
            continue  # nothing that runs
        if isinstance(text, tuple):  # a condition keeps what it asks, literals too
            text = f"{text[0]} ({source[start:end]})"
        found.append(Mutant(file, source.count("\n", 0, start) + 1, start, end, text, kind))
    return sorted(found, key=lambda m: (m.start, m.end, m.text))


def choose(candidates, count, random):
    """`count` of them, at most one of a line, so that tables do not crowd out the rest."""
    lines = {}
    for mutant in candidates:
        lines.setdefault((mutant.file, mutant.line), []).append(mutant)
    chosen = [random.choice(lines[line]) for line in sorted(lines)]
    random.shuffle(chosen)
    return chosen[:count]
