#!/usr/bin/env python3
"""Writes a program that calls every function that headers declare, so that linking it shows which of them a library lacks.

What the headers define themselves (inline functions, templates), and what nobody outside may call (private members), is left
out. Constants that they declare are used, too. Pure virtual functions, and constructors of classes that have some, cannot be
called.

Usage: declared_functions.py [--c] COMPILER INCLUDE_FOLDER HEADER... > PROGRAM
"""

import re
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path

TOKEN = re.compile(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\'|[A-Za-z_]\w*|\d[\w.\']*|::|->|\.\.\.|[=!<>]=|&&|\|\||<<|\S')
PAIRS = {"(": ")", "[": "]", "{": "}", "<": ">"}
SPECIFIERS = {"virtual", "static", "explicit", "extern", '"C"'}
CPP_PRELUDE = """#include <cstdlib>
#include <type_traits>
#include <utility>

template <class T> T&& argument() { std::abort(); }
template <class R, class... A, class F> void call(std::type_identity<R(A...)>, F function) { function(argument<A>()...); }
template <class R, class... A, class F> void call(std::type_identity<R(A..., ...)>, F function) { function(argument<A>()...); }
template <class T> void use(const T& data) { static const T* volatile used; used = &data; }
"""


@dataclass
class Declaration:
    """A function, or where `parameters` is None a constant. `owner` is its namespace or class, with :: behind it."""
    owner: str
    name: str
    is_member: bool
    result: str = ""
    parameters: str | None = None
    is_static: bool = False
    is_const: bool = False
    is_pure: bool = False


@dataclass
class Scope:
    """Where declarations stand: the name before theirs, whether that is a class, and whether callers may use them."""
    name: str
    is_class: bool
    is_accessible: bool = True


def preprocessed(compiler, language, include, headers):
    """What the headers below a folder declare by themselves, without comments, with macros replaced."""
    source = "".join(f"#include <{header}>\n" for header in headers)
    options = {"c": ["-std=c11"], "c++": ["-std=c++20"]}[language]
    output = subprocess.run([compiler, "-E", "-x", language, *options, "-I", include, "-"], input=source, check=True,
                            capture_output=True, text=True).stdout
    lines, is_ours = [], False
    for line in output.splitlines():
        if marker := re.match(r'#(?: line)? \d+ "([^"]*)"', line):
            is_ours = Path(marker[1]).resolve().is_relative_to(Path(include).resolve())
        elif is_ours:
            lines.append(line)
    return "\n".join(lines)


def end_of(tokens, start):
    """The index after the bracket that closes the one at `start`."""
    depth, index = 0, start
    opening, closing = tokens[start], PAIRS[tokens[start]]
    while index < len(tokens):
        depth += (tokens[index] == opening) - (tokens[index] == closing)
        index += 1
        if depth == 0:
            break
    return index


def without_attributes(tokens):
    result, index = [], 0
    while index < len(tokens):
        if tokens[index:index + 2] == ["[", "["]:
            index = end_of(tokens, index)
        elif tokens[index] in ("__attribute__", "__asm__", "alignas", "noexcept") and tokens[index + 1:index + 2] == ["("]:
            index = end_of(tokens, index + 1)
        elif tokens[index] in ("__extension__", "noexcept"):
            index += 1
        else:
            result.append(tokens[index])
            index += 1
    return result


def at_top(tokens, wanted):
    """The index of the first of the wanted tokens outside brackets of every kind, or None."""
    index = 0
    while index < len(tokens):
        if tokens[index] in wanted:
            return index
        is_template = tokens[index] == "<" and index > 0 and tokens[index - 1] != "operator"
        index = end_of(tokens, index) if tokens[index] in "([{" or is_template else index + 1
    return None


def without_defaults(tokens):
    """Parameters less what they are by default."""
    result = []
    while tokens:
        comma = at_top(tokens, {","})
        parameter = tokens[:comma]
        result += parameter[:at_top(parameter, {"="})]
        if comma is None:
            break
        result.append(",")
        tokens = tokens[comma + 1:]
    return result


def declaration(tokens, scope):
    """What a statement that ends with a semicolon declares; None for what no library has to hold."""
    if not tokens or tokens[0] in ("using", "typedef", "friend", "template", "static_assert", "_Static_assert", "enum"):
        return None
    if tokens[-2:] in (["=", "default"], ["=", "delete"]) or "inline" in tokens:
        return None
    operator = tokens.index("operator") if "operator" in tokens else None
    if operator is not None:
        opening = tokens.index("(", operator + (3 if tokens[operator + 1] == "(" else 1))
        name_start, name = operator, " ".join(tokens[operator:opening])
    else:
        opening = at_top(tokens, {"(", "=", "{"})
        if opening is None or tokens[opening] != "(" or tokens[opening + 1] == "*":
            is_declared_only = opening is None and ("static" in tokens if scope.is_class else "extern" in tokens)
            return Declaration(scope.name, tokens[:at_top(tokens, {"["})][-1], scope.is_class) if is_declared_only else None
        name_start, name = opening - 1, tokens[opening - 1]
        if name_start > 0 and tokens[name_start - 1] == "~":
            name_start, name = name_start - 1, f"~{name}"
    closing = end_of(tokens, opening)
    rest = tokens[closing:]
    result = rest[rest.index("->") + 1:] if "->" in rest else [token for token in tokens[:name_start] if token not in SPECIFIERS]
    return Declaration(scope.name, name, scope.is_class, " ".join(result), " ".join(without_defaults(tokens[opening + 1:closing - 1])),
                       "static" in tokens[:name_start], "const" in rest, rest[-2:] == ["=", "0"])


def declarations(tokens, scope):
    """Yields what a sequence of tokens declares, and what the classes in it declare."""
    index = start = 0
    while index < len(tokens):
        token = tokens[index]
        if token in ("public", "protected", "private") and tokens[index + 1] == ":" and index == start:
            scope.is_accessible = token != "private"
            index = start = index + 2
        elif token == ";":
            found = declaration(without_attributes(tokens[start:index]), scope)
            if found is not None and scope.is_accessible:
                yield found
            index = start = index + 1
        elif token == "{":
            head, end = without_attributes(tokens[start:index]), end_of(tokens, index)
            body = tokens[index + 1:end - 1]
            kind = next((word for word in head if word in ("namespace", "class", "struct", "union", "enum", "template")), None)
            if head[-2:] == ["extern", '"C"'] or kind == "namespace":
                prefix = f"{scope.name}{head[-1]}::" if kind else scope.name
                yield from declarations(body, Scope(prefix, False))
                index = start = end
            elif kind in ("class", "struct", "union") and at_top(head, {"(", "="}) is None:
                name = head[head.index(kind) + 1]
                if scope.is_accessible:
                    yield from declarations(body, Scope(f"{scope.name}{name}::", True, kind != "class"))
                index = start = end
            elif at_top(head, {"("}) is not None and at_top(head, {"="}) is None and kind != "enum":
                # A function's body, or braces in its constructor's list.
                index = end
                if tokens[end:end + 1] not in (["{"], [","]):
                    index = start = end + (tokens[end:end + 1] == [";"])
            else:
                index = end
        elif token in "([":
            index = end_of(tokens, index)
        else:
            index += 1


def class_of(one):
    """The name of the class that a declaration is a member of; empty for one of a namespace."""
    return one.owner.removesuffix("::") if one.is_member else ""


def is_constructor(one):
    return one.is_member and one.name == class_of(one).rpartition("::")[2]


def declared(compiler, language, include, headers):
    """All declarations of the headers below a folder that can be used from outside and that a library has to hold, each once."""
    text = preprocessed(compiler, language, include, headers)
    found = list(declarations(TOKEN.findall(text), Scope("", False)))
    abstract = {one.owner for one in found if one.is_pure}
    found = [one for one in found if not one.is_pure and not (one.owner in abstract and is_constructor(one))]
    return list({(one.owner, one.name, one.parameters, one.is_const): one for one in found}.values())


def statement(one):
    """The line of C++ that calls a function or uses a constant. A member's stands in a class derived from its own."""
    if one.parameters is None:
        return f"use({one.owner}{one.name});"
    arguments = "std::forward<decltype(a)>(a)..."
    if is_constructor(one):
        capture, result, called = "", "void", f"new Probe(0, {arguments})"
    elif not one.is_member:
        capture, result, called = "", one.result, f"::{one.owner}{one.name}({arguments})"
    elif one.is_static:
        capture, result, called = "", one.result, f"Base::{one.name}({arguments})"
    else:
        name = "~Base" if one.name.startswith("~") else one.name
        self = "constSelf" if one.is_const else "self"
        capture, result, called = self, one.result or "void", f"{self}->Base::{name}({arguments})"
    return f"call(std::type_identity<{result}({one.parameters})>{{}}, [{capture}](auto&&... a) {{ {called}; }});"


def cpp_program(found, headers):
    """A program in C++ that uses all that was found."""
    lines = [CPP_PRELUDE, *(f"#include <{header}>" for header in headers)]
    functions = [one for one in found if not one.is_member]
    classes = dict.fromkeys(class_of(one) for one in found if one.is_member)
    lines += [f"void function{index}() {{ {statement(one)} }}" for index, one in enumerate(functions)]
    for index, name in enumerate(classes):
        members = [one for one in found if class_of(one) == name]
        lines += [f"struct Probe{index} : {name} {{", f"    using Base = {name};", f"    using Probe = Probe{index};",
                  f"    template <class... A> explicit Probe{index}(int, A&&... a) : Base(std::forward<A>(a)...) {{}}",
                  "    static void members([[maybe_unused]] Probe* self, [[maybe_unused]] const Probe* constSelf) {",
                  *(f"        {statement(one)}" for one in members), "    }", "};",
                  f"auto* members{index} = &Probe{index}::members;"]
    return "\n".join([*lines, "int main() {}", ""])


def c_program(found, headers):
    """A program in C that uses all that was found."""
    lines = [f"#include <{header}>" for header in headers]
    functions = ", ".join(f"(Function){one.name}" for one in found if one.parameters is not None)
    data = ", ".join(f"&{one.name}" for one in found if one.parameters is None)
    lines += ["typedef void (*Function)(void);", f"Function functions[] = {{{functions}}};"]
    lines += [f"const void* data[] = {{{data}}};"] if data else []
    return "\n".join([*lines, "int main(void) { return functions[0] == 0; }", ""])


def program(language, found, headers):
    return {"c": c_program, "c++": cpp_program}[language](found, headers)


if __name__ == "__main__":
    ARGUMENTS = sys.argv[1:]
    LANGUAGE = "c" if ARGUMENTS[0] == "--c" else "c++"
    ARGUMENTS = ARGUMENTS[LANGUAGE == "c":]
    FOUND = declared(ARGUMENTS[0], LANGUAGE, ARGUMENTS[1], ARGUMENTS[2:])
    print(program(LANGUAGE, FOUND, ARGUMENTS[2:]), end="")
