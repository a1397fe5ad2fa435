"""Finds the mutants of a C++ source: small changes that a good test notices. Works on Clang's syntax tree
(libclang), so that nothing but code is changed: no comment, no text, no static assertion, nothing that the
preprocessor leaves out and nothing inside a macro.

Kinds: negate (a condition), comparison, logic (&& and ||), operator (arithmetic, bits, increments, negations),
constant (numbers, characters, true and false), drop (a statement), swap (two statements that follow each other, at
least one of them a call), lock (a guard's declaration), return (one that is not the last of its function).
"""

import dataclasses
import difflib
import re
import sys

if "/usr/lib/python3/dist-packages" not in sys.path:
    sys.path.append("/usr/lib/python3/dist-packages")  # where Debian's python3-clang-14 is, whichever python3 runs
try:
    from clang.cindex import Cursor, CursorKind as Kind, Index, TranslationUnit
except ImportError:
    sys.exit("mutate: the Python bindings of Clang are missing (apt-get install python3-clang-14)")

COMPARISONS = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">"}
LOGIC = {"&&": "||", "||": "&&"}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "^": "&", "<<": ">>", ">>": "<<",
              "+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "|=": "&=", "&=": "|=", "<<=": ">>=", ">>=": "<<="}
UNARY = {"++": "--", "--": "++", "!": "", "-": "", "~": ""}
LOCK_TYPE = re.compile(r'\b(lock_guard|scoped_lock|unique_lock|shared_lock|\w*Lock|\w*Guard)\b')
CONDITIONS = (Kind.IF_STMT, Kind.WHILE_STMT, Kind.DO_STMT, Kind.CONDITIONAL_OPERATOR)
LOOPS = (Kind.WHILE_STMT, Kind.DO_STMT, Kind.FOR_STMT, Kind.CXX_FOR_RANGE_STMT)
# What is looked at no further: it is compiled, not run.
NOT_RUN = (Kind.STATIC_ASSERT, Kind.CXX_UNARY_EXPR, Kind.ENUM_CONSTANT_DECL, Kind.ALIGNED_ATTR)
STATEMENTS = (Kind.CALL_EXPR, Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR, Kind.UNARY_OPERATOR,
              Kind.CXX_DELETE_EXPR, Kind.CXX_THROW_EXPR, Kind.UNEXPOSED_EXPR, Kind.BREAK_STMT, Kind.CONTINUE_STMT)


@dataclasses.dataclass(frozen=True, order=True)
class Mutant:
    """Bytes [start, end) of a file become others. The id is the same wherever the file is the same."""
    path: str
    offset: int
    kind: str
    line: int
    start: int
    end: int
    text: str

    @property
    def id(self):
        return f"{self.path}:{self.offset}:{self.kind}"

    def apply(self, original):
        return original[:self.start] + self.text.encode() + original[self.end:]

    def diff(self, original):
        before, after = (data.decode(errors="replace").splitlines(keepends=True)
                         for data in (original, self.apply(original)))
        return "".join(difflib.unified_diff(before, after, self.path, self.path, n=2))


class Finder:
    """The mutants of one file in one translation unit."""

    def __init__(self, unit, file_name, path, content):
        self.name, self.path, self.content = file_name, path, content
        self.found = {}
        top = [cursor for cursor in unit.cursor.get_children()
               if cursor.location.file and cursor.location.file.name == file_name]
        self.macros = [(cursor.extent.start.offset, cursor.extent.end.offset) for cursor in top
                       if cursor.kind == Kind.MACRO_INSTANTIATION]
        for cursor in top:
            if not cursor.kind.is_preprocessing():
                self.visit(cursor, False)

    def text(self, start, end):
        return self.content[start:end].decode(errors="replace")

    def source(self, cursor):
        return self.text(cursor.extent.start.offset, cursor.extent.end.offset)

    def add(self, kind, offset, start, end, text):
        """Notes a change, unless it reaches into a macro (one that lies in it as a whole is only moved)."""
        if any(first < end and start < last and not (start <= first and last <= end) for first, last in self.macros):
            return
        if end <= start or self.text(start, end) == text:
            return
        line = self.content.count(b"\n", 0, start) + 1
        self.found.setdefault((offset, kind), Mutant(self.path, offset, kind, line, start, end, text))

    def replace(self, kind, cursor, text):
        self.add(kind, cursor.extent.start.offset, cursor.extent.start.offset, cursor.extent.end.offset, text)

    def visit(self, cursor: Cursor, goes_on):
        """goes_on: whether the function goes on after this statement."""
        if cursor.kind in NOT_RUN or (cursor.location.file and cursor.location.file.name != self.name):
            return
        children = list(cursor.get_children())
        parts = self.without_start(children) if cursor.kind == Kind.IF_STMT else children
        if cursor.kind in CONDITIONS:
            self.condition(cursor, parts)
        elif cursor.kind in (Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR) and len(children) == 2:
            self.operator(children[0].extent.end.offset, children[1].extent.start.offset)
        elif cursor.kind == Kind.UNARY_OPERATOR:
            self.unary(cursor)
        elif cursor.kind == Kind.CALL_EXPR and cursor.spelling.startswith("operator"):
            self.overloaded(cursor, children)
        elif cursor.kind in (Kind.INTEGER_LITERAL, Kind.CHARACTER_LITERAL, Kind.CXX_BOOL_LITERAL_EXPR):
            self.constant(cursor)
        elif cursor.kind == Kind.RETURN_STMT and goes_on:
            self.replace("return", cursor, "(void)0")
        elif cursor.kind == Kind.DECL_STMT:
            self.lock(cursor, children)
        for statement in self.statements(cursor, parts):
            if statement.kind in STATEMENTS:
                self.replace("drop", statement, "(void)0")
        if cursor.kind == Kind.COMPOUND_STMT:
            self.swaps(children)
        for at, child in enumerate(children):
            if cursor.kind.is_declaration() and child.kind.is_expression() and \
                    child.extent.start.offset < cursor.location.offset:
                continue  # a number in a type
            inside = goes_on
            if child.kind == Kind.COMPOUND_STMT and (cursor.kind.is_declaration() or cursor.kind == Kind.LAMBDA_EXPR):
                inside = False
            elif cursor.kind in LOOPS or (cursor.kind == Kind.COMPOUND_STMT and at + 1 < len(children)):
                inside = True
            self.visit(child, inside)

    def without_start(self, children):
        """The condition and the branches of an if, without an expression that stands before them."""
        if len(children) > 1 and children[0].kind.is_expression() and self.between(
                children[0].extent.end.offset, children[1].extent.start.offset)[0].startswith(";"):
            return children[1:]
        return children

    @staticmethod
    def statements(cursor, children):
        """The children that are statements, not parts of an expression."""
        if cursor.kind in (Kind.COMPOUND_STMT, Kind.DEFAULT_STMT):
            return children
        if cursor.kind == Kind.IF_STMT:
            bodies = [at for at, child in enumerate(children) if child.kind.is_expression()]
            return children[bodies[0] + 1:] if bodies else []
        if cursor.kind == Kind.DO_STMT:
            return children[:1]
        if cursor.kind in LOOPS + (Kind.CASE_STMT,):
            return children[-1:]
        return []

    def condition(self, cursor, children):
        if any(child.kind == Kind.VAR_DECL for child in children):
            return  # the declared variable is the condition
        choices = [child for child in children if child.kind.is_expression()]
        if cursor.kind == Kind.DO_STMT:
            choices = children[1:]
        if not choices or re.match(r'if\s+constexpr', self.source(cursor)):
            return
        condition = self.plain(choices[0])
        parts = list(condition.get_children())
        if condition.kind == Kind.UNARY_OPERATOR and self.source(condition).startswith("!"):
            return  # the operator itself is taken out
        if condition.kind == Kind.BINARY_OPERATOR and len(parts) == 2 and self.between(
                parts[0].extent.end.offset, parts[1].extent.start.offset)[0] in ("==", "!="):
            return  # the comparison itself is turned round
        self.replace("negate", choices[0], f"!({self.source(choices[0])})")

    @staticmethod
    def plain(cursor):
        """An expression without what the compiler wraps around it."""
        while cursor.kind == Kind.UNEXPOSED_EXPR:
            inner = list(cursor.get_children())
            if len(inner) != 1:
                break
            cursor = inner[0]
        return cursor

    def between(self, start, end):
        """The operator between two operands, and where it stands."""
        gap = re.sub(r'(?s)/\*.*?\*/|//[^\n]*', lambda match: " " * len(match.group()), self.text(start, end))
        return gap.strip(), start + len(gap) - len(gap.lstrip())

    def operator(self, start, end):
        self.change_operator(*self.between(start, end))

    def change_operator(self, sign, at):
        for kind, table in (("comparison", COMPARISONS), ("logic", LOGIC), ("operator", ARITHMETIC)):
            if sign in table:
                self.add(kind, at, at, at + len(sign), table[sign])

    def overloaded(self, cursor, children):
        sign = cursor.spelling[len("operator"):]
        for child in children:
            if sign in COMPARISONS and child.spelling == cursor.spelling and self.source(child) == sign:
                self.change_operator(sign, child.extent.start.offset)

    def unary(self, cursor):
        start, end, source = cursor.extent.start.offset, cursor.extent.end.offset, self.source(cursor)
        for sign, other in UNARY.items():
            if source.startswith(sign):
                self.add("operator", start, start, start + len(sign), other or " ")
                return
            if len(sign) == 2 and source.endswith(sign):
                self.add("operator", end - 2, end - 2, end, other)
                return

    def constant(self, cursor):
        source = self.source(cursor)
        if cursor.kind == Kind.CXX_BOOL_LITERAL_EXPR and source in ("true", "false"):
            self.replace("constant", cursor, "false" if source == "true" else "true")
        elif cursor.kind == Kind.CHARACTER_LITERAL and (match := re.fullmatch(r"'(\\?.+)'", source)):
            other = chr(ord(match[1]) + 1) if re.fullmatch(r'[a-yA-Y0-8]', match[1]) else "x"
            self.replace("constant", cursor, f"'{other}'")
        elif match := re.fullmatch(r"(0[xX][0-9a-fA-F']+|[0-9][0-9']*)([uUlLzZ]*)", source):
            digits = match[1].replace("'", "")
            octal = len(digits) > 1 and digits.isdigit() and digits[0] == "0"
            self.replace("constant", cursor, str(int(digits, 8 if octal else 0) + 1) + match[2])

    def lock(self, cursor, children):
        if len(children) == 1 and children[0].kind == Kind.VAR_DECL and \
                LOCK_TYPE.search(children[0].type.spelling.split("<")[0]):
            self.replace("lock", cursor, ";")

    def swaps(self, children):
        simple = (Kind.CALL_EXPR, Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR, Kind.UNARY_OPERATOR)
        for one, other in zip(children, children[1:]):
            kinds = {self.plain(one).kind, self.plain(other).kind}
            if Kind.CALL_EXPR in kinds and kinds <= set(simple):
                middle = self.text(one.extent.end.offset, other.extent.start.offset)
                self.add("swap", one.extent.start.offset, one.extent.start.offset, other.extent.end.offset,
                         self.source(other) + middle + self.source(one))


def parse_arguments(command):
    """What Clang needs of a compiler's command line: the language, folders and definitions."""
    kept, take = [], False
    for word in command:
        if take or re.match(r'-(I|D|U|std=|isystem|include)', word):
            kept.append(word)
            take = not take and word in ("-I", "-D", "-U", "-isystem", "-include")
    return kept


def find(source, arguments, path_of):
    """The mutants of a source and of what it includes, in their order. path_of(name) tells the path in the tree of a
    file that the compiler names so, or None for one that is not to be changed. Ends the program when the source does
    not parse."""
    unit = Index.create().parse(source, args=arguments, options=TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)
    errors = [str(message) for message in unit.diagnostics if message.severity >= 3]
    if errors:
        sys.exit(f"mutate: Clang does not parse {source}: {errors[0]}")
    found = {}
    for name in sorted({source} | {include.include.name for include in unit.get_includes()}):
        if path := path_of(name):
            with open(name, "rb") as file:
                for mutant in Finder(unit, name, path, file.read()).found.values():
                    found[mutant.id] = mutant
    return sorted(found.values())
