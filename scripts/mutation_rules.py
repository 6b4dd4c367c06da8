"""The small changes that ./run mutate makes to a source file, one at a time.

A rule looks at one line without its comments and the contents of its strings, and says what may be put where. What a rule
makes need not compile: what does not is not counted.
"""

import re
from dataclasses import dataclass


@dataclass(frozen=True)
class Mutant:
    """One change. Lines count from 0; a change of two lines has both in `old` and `new`, separated by a newline."""

    path: str
    line: int
    rule: str
    old: str
    new: str


def masked(text):
    """The text with comments and the contents of literals blanked out; positions and lines stay."""
    pattern = re.compile(r'//[^\n]*|/\*.*?\*/|R"\((?:.*?)\)"|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'(?!\d)', re.S)

    def blank(match):
        found = match.group()
        inner = re.sub(r"[^\n]", " ", found)
        return inner if found[0] == "/" else found[0] + inner[1:-1] + found[-1]

    return pattern.sub(blank, text)


# Between blanks, as the formatter leaves them; brackets of templates have none on the inside.
SWAPS = {
    "comparison": {"<": ["<="], "<=": ["<"], ">": [">="], ">=": [">"], "==": ["!="], "!=": ["=="]},
    "logic": {"&&": ["||"], "||": ["&&"]},
    "arithmetic": {"+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"]},
}
STATEMENT = re.compile(
    r"^\s+(?!return\b|break\b|continue\b|using\b|case\b|const\b|auto\b|throw\b|static\b|goto\b|co_|constexpr\b|default\b)"
    r"(?:\+\+|--)?[A-Za-z_][\w.:>\-\[\]()*]*(?:\(.*\)| (?:[-+|&^]|<<|>>)?= .*|\+\+|--)?;$")
DECLARATION = re.compile(r"^\s+(?:[\w:<>,]+[ &*]+)+\w+(?: = .*|\(.*\)|\{.*\})?;$")
LOCK = re.compile(r"^\s+(?:const )?std::(?:lock_guard|unique_lock|scoped_lock|shared_lock)\b.*;$")
CONDITION = re.compile(r"^(?P<head>\s*(?:\} else )?(?:if|while) \()(?P<what>.*)(?P<tail>\) \{)$")
ORDER = re.compile(r"\bmemory_order_(acquire|release|acq_rel|seq_cst)\b")
NUMBER = re.compile(r"(?<![\w.'])(\d+)(?![\w.'xX])")
WORD = re.compile(r"\b(true|false)\b")
NOT_CODE = re.compile(r"^\s*(?:#|static_assert|template\b|using\b|namespace\b|extern\b|friend\b)")


def is_statement(line):
    return bool(STATEMENT.match(line)) and not DECLARATION.match(line)


def depend(first, second):
    """Whether two statements that change places may make a difference: one uses what the other one sets, or both call."""

    def target(statement):
        match = re.match(r"\s*(?:\+\+|--)?([\w.:>\-\[\]()*]*?)(?: [-+|&^<>]*= |\+\+;|--;|;$)", statement)
        return re.findall(r"\w+", match[1])[-1] if match and "(" not in match[1] and match[1] else None

    def called(statement):
        return re.findall(r"(\w+)\(", statement)[:1]

    targets = target(first), target(second)
    if any(targets):
        return any(name and re.search(rf"\b{name}\b", other) for name, other in zip(targets, (second, first)))
    return called(first) != called(second)


def in_line(code, line):
    """Yields rule and new line for every change inside one line; `code` is the line as masked."""
    for rule, swaps in SWAPS.items():
        for match in re.finditer(r"(?<= )(<=|>=|==|!=|&&|\|\||[-+*/<>])(?= )", code):
            for new in swaps.get(match.group(), []):
                yield rule, line[: match.start()] + new + line[match.end():]
    for match in re.finditer(r" [-+] 1\b(?![.'])", code):
        yield "boundary", line[: match.start()] + line[match.end():]
    for match in NUMBER.finditer(code):
        yield "constant", line[: match.start()] + str(int(match.group()) + 1) + line[match.end():]
    for match in WORD.finditer(code):
        yield "constant", line[: match.start()] + ("false" if match.group() == "true" else "true") + line[match.end():]
    for match in re.finditer(r"(?<=[( ])!(?=[A-Za-z_(])", code):
        yield "logic", line[: match.start()] + line[match.end():]
    for match in ORDER.finditer(code):
        yield "memory order", line[: match.start()] + "memory_order_relaxed" + line[match.end():]
    if match := CONDITION.match(line if code.rstrip().endswith("{") else ""):
        declares = "; " if re.search(r"(?<![=!<>]) = ", match["what"]) and ";" not in match["what"] else None
        for value in ("false", "true"):
            if value == "true" and "while" in match["head"]:
                continue  # never ends
            what = match["what"] + declares + value if declares else value
            yield "check", match["head"] + what + match["tail"]
    if LOCK.match(code):
        yield "lock", ""
    elif is_statement(code):
        yield "statement", ""


def mutants(path, text):
    """Every mutant of a file, in order of lines."""
    lines = text.split("\n")
    codes = masked(text).split("\n")
    for number, (code, line) in enumerate(zip(codes, lines)):
        if NOT_CODE.match(code):
            continue
        for rule, new in in_line(code, line):
            if new != line:
                yield Mutant(path, number, rule, line, new)
        following = codes[number + 1] if number + 1 < len(codes) else ""
        if is_statement(code) and is_statement(following) and depend(code, following) and (
                len(code) - len(code.lstrip()) == len(following) - len(following.lstrip())):
            pair = line, lines[number + 1]
            yield Mutant(path, number, "order", "\n".join(pair), "\n".join(reversed(pair)))


def apply(text, mutant):
    """The text with the change made."""
    lines = text.split("\n")
    count = mutant.old.count("\n") + 1
    if "\n".join(lines[mutant.line: mutant.line + count]) != mutant.old:
        raise ValueError(f"{mutant.path}:{mutant.line + 1} is not what the change was made for")
    lines[mutant.line: mutant.line + count] = mutant.new.split("\n")
    return "\n".join(lines)
