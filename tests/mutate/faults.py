"""The kinds of faults. A kind's rule finds the places of a source where a fault of the kind could be, and for each what
could stand there instead: (first token, last token, texts).

Loud kinds: condition, comparison, logic, arithmetic, return, statement, catch.
Quiet kinds: constant, text, flag, sibling, arguments, order, release, exception.
"""

import collections
import os
import re

from source import LEAPS, Source

Fault = collections.namedtuple("Fault", "path line kind function before after start end text")

KINDS = {}  # by name


def kind(rule):
    KINDS[rule.__name__.rstrip("_")] = rule
    return rule


# --- Loud --------------------------------------------------------------------------------------------------------


@kind
def condition(source, _):
    """Negated, as a whole or where it has a `!`."""
    for index, word in enumerate(source.words):
        if word == "!" and source.in_code(index):
            yield index, index, [""]
        elif word in ("if", "while", "for") and "(" in source.words[index + 1:index + 3]:
            opener = source.words.index("(", index)
            semicolons = [at for at in source.at_depth(opener + 1, source.mate[opener] - 1)
                          if source.word(at) == ";"]
            if word == "for" and len(semicolons) != 2:
                continue
            first = semicolons[0] + 1 if semicolons else opener + 1
            last = semicolons[1] - 1 if word == "for" else source.mate[opener] - 1
            if last < first:
                continue
            name = source.declared(first, last)
            if name is None:
                yield first, last, [f"!({source.slice(first, last)})"]
            elif word == "if" and name:
                yield first, last, [f"{source.slice(first, last)}; !{name}"]
        elif word == "?" and source.in_code(index):
            first = index
            while source.word(first - 1) not in BEFORE_A_CHOICE:
                first = source.mate.get(first - 1, first - 1) if source.word(first - 1) in (")", "]") else first - 1
            yield first, index - 1, [f"!({source.slice(first, index - 1)})"]


BEFORE_A_CHOICE = {"(", "[", "{", "=", "+=", "|=", ",", ";", "return", ":", "?", "<<", "", "}"}
COMPARISONS = {"==": ["!="], "!=": ["=="], "<": ["<=", ">"], "<=": ["<", ">="], ">": [">=", "<"], ">=": [">", "<="]}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "/", "<<": ">>", ">>": "<<", "&": "|", "|": "&",
              "+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "&=": "|=", "|=": "&=", "++": "--", "--": "++"}


@kind
def comparison(source, _):
    """Turned, or moved by one."""
    for index, word in enumerate(source.words):
        if word in COMPARISONS and source.tokens[index].spaced:
            yield index, index, COMPARISONS[word]


@kind
def logic(source, _):
    for index, word in enumerate(source.words):
        if word in ("&&", "||") and source.tokens[index].spaced:
            yield index, index, ["||" if word == "&&" else "&&"]


@kind
def arithmetic(source, _):
    for index, word in enumerate(source.words):
        if word not in ARITHMETIC or not (source.tokens[index].spaced or word in ("++", "--")):
            continue
        beside = source.tokens[index - 1:index] + source.tokens[index + 1:index + 2]
        if any(token.kind == "text" for token in beside):
            continue  # texts can only be joined
        if word in ("<<", ">>") and not any(token.kind == "number" for token in beside):
            continue  # a stream
        yield index, index, [ARITHMETIC[word]]


@kind
def return_(source, _):
    for statements in source.statements():
        for statement in statements:
            first, last = statement.first + 1, statement.last - 1
            if source.word(first - 1) != "return" or last < first:
                continue
            value, head = source.slice(first, last), source.head(first)
            if value in ("true", "false"):
                yield first, last, ["false" if value == "true" else "true"]
            elif first == last and source.tokens[first].kind == "number":
                yield first, last, changed_number(value)
            elif value != "{}":
                others = ["{}"]
                if "bool" in head:
                    others = [f"!({value})"]
                elif {"(", "<", "*"} & set(head) == {"("} and re.search(r" (u?int|s?size_t|double)", " " + " ".join(head)):
                    others.append(f"({value}) + 1")
                yield first, last, others


@kind
def statement(source, _):
    """Left out: a call, an assignment, a lock, a leap."""
    yield from ((first, last, [""]) for first, last, is_release in droppable(source) if not is_release)


@kind
def catch(source, _):
    """Swallows, or doesn't."""
    for index, word in enumerate(source.words):
        if word != "catch":
            continue
        opener = source.mate[index + 1] + 1
        closer = source.mate[opener]
        others = ["{ throw; }"] if source.word(opener + 1) != "throw" else []
        if closer > opener + 1:
            others.append("{}")
        yield opener, closer, others


# --- Quiet -------------------------------------------------------------------------------------------------------


@kind
def constant(source, _):
    for index, token in enumerate(source.tokens):
        if index in source.thrown:
            continue
        if token.kind == "number" and not is_pure(source, index) and not is_array_size(source, index):
            yield index, index, changed_number(token.text)
        elif token.text in ("true", "false") and source.word(index - 1) != "return":
            yield index, index, ["false" if token.text == "true" else "true"]
        elif token.kind == "character" and len(token.text) == 3:
            yield index, index, [f"'{next_letter(token.text[1])}'"]


@kind
def text(source, _):
    """One letter of it changed, or a long one emptied."""
    for index, token in enumerate(source.tokens):
        if token.kind == "text" and index not in source.thrown and source.word(index - 1) != "extern":
            yield index, index, changed_text(token.text)


@kind
def flag(source, names):
    """A constant by name becomes a sibling, or one of several flags is left out."""
    for index, name in names.constants(source):
        others = names.siblings(source, "constants", name)
        if source.word(index + 1) == "|" and source.tokens[index + 1].spaced:
            yield index, index + 1, [""]
        elif source.word(index - 1) == "|" and source.tokens[index - 1].spaced:
            yield index - 1, index, [""]
        if others:
            yield index, index, others


@kind
def sibling(source, names):
    """A function becomes one that is named and called like it."""
    for index, name in names.functions(source):
        others = names.siblings(source, "functions", name)
        if others:
            yield index, index, others


@kind
def arguments(source, _):
    """Two that follow each other change places; the compiler knows whether their types allow it."""
    for first, last, others in swapped_arguments(source):
        if first not in source.thrown:
            yield first, last, others


@kind
def order(source, _):
    """Two statements that follow each other change places, where they may have to do with each other."""
    for statements in source.statements():
        for one, two in zip(statements, statements[1:]):
            if one.last + 1 != two.first or one.governed or not (movable(source, one) and movable(source, two)):
                continue
            left, right = source.slice(one.first, one.last), source.slice(two.first, two.last)
            between = source.text[source.tokens[one.last].end:source.tokens[two.first].start]
            if left != right and not are_apart(left, right):
                yield one.first, two.last, [right + between + left]


@kind
def release(source, _):
    """Left out: what gives back, ends or clears something."""
    yield from ((first, last, [""]) for first, last, is_release in droppable(source) if is_release)


@kind
def exception(source, _):
    """What it carries: another text, number, argument or type."""
    types = sorted({source.word(index + 1) for index, word in enumerate(source.words)
                    if word == "throw" and source.word(index + 2) == "("} - {""})
    for index in sorted(source.thrown):
        token, before = source.tokens[index], source.word(index - 1)
        if token.kind == "text":
            yield index, index, changed_text(token.text)
        elif token.kind == "number":
            yield index, index, changed_number(token.text)
        elif token.text in ("runtime_error", "logic_error"):
            yield index, index, ["logic_error" if token.text == "runtime_error" else "runtime_error"]
        elif before == "throw" and token.text in types and len(types) > 1:
            yield index, index, [other for other in types if other != token.text]
        elif token.text == "(" and source.word(index - 1) not in ("", ")"):
            for first, last in source.parts(index):
                if not any(source.tokens[at].kind in ("text", "number") for at in range(first, last + 1)):
                    is_text = source.word(index - 1).endswith("_error") or source.word(first) == "nullptr"
                    yield first, last, ['""'] if is_text else ["{}", '""']
    for first, last, others in swapped_arguments(source):
        if first in source.thrown:
            yield first, last, others


# --- What several rules need -------------------------------------------------------------------------------------

RELEASE = re.compile(r"(gl|cl|egl|\w+_)?((?i:release|retain|delete|destroy|close|free|reset|abandon|unlock|kill|join|"
                     r"clear|erase|remove|pop|detach|unlink|terminate|give|bury|leave|flush|cancel|stop|munmap|restore|"
                     r"purge|consume|finish|pop_back|pop_front))(?=[A-Z]|$)")


def droppable(source):
    """Statements without which the rest may well compile, as (first, last token to go, whether it's a release)."""
    for statements in source.statements():
        for statement in statements:
            first, last = statement.first, statement.last - 1
            if source.word(first) in ("using", "typedef", "static_assert", "return") and last > first:
                continue
            name = source.declared(first, last)
            if name is not None:
                rest = source.words[statement.last:source.mate[source.block[first]]]
                is_lock = not any(source.word(at) == "=" for at in source.at_depth(first, last))
                if not name or name in rest or not is_lock:
                    continue
            calls = source.called(first, last)
            called = source.callee(calls[-1]) if calls else ""
            yield first, last, source.word(first) == "delete" or bool(RELEASE.match(called))


def movable(source, statement):
    return source.word(statement.first) not in LEAPS | {"using", "typedef"} and \
        source.declared(statement.first, statement.last - 1) is None


CHANGE = r"(?:\.|->)(?:reset|clear|swap|store|assign|append|insert|resize|remove_prefix|Set|(?:push|emplace)_back)\("
PLACE = r"[\w.>*-]+(?:\[[\w.>-]+\])?"
SETTER = re.compile(rf"(?:std::swap\()?({PLACE})(?: [-+]?= |{CHANGE}|, )|(?:\+\+|--)({PLACE});")
TELLING = re.compile(r"ZT_LOG|\w+\.notify_all\(")  # which waits for the lock that one holds
FUNCTION = re.compile(r"(?<![\w.>:])(?!std::|ZT_LOG|\w+_cast\b)[\w:]+(?:<[^()]*>)?\(")


def are_apart(left, right):
    """Statements that change one thing each, neither of which uses the other's, or one of them beside one that tells of
    other things: their order doesn't matter."""
    pair = [" ".join(statement.split()) for statement in (left, right)]
    for one, other in (pair, pair[::-1]):
        targets, tells = changed(one), TELLING.match(one)
        calls = FUNCTION.search(re.sub(r'"[^"]*"', "", other))  # and may use what isn't named there
        if not targets and (not tells or calls or TELLING.match(other)):
            return False
        if any(is_in(target, other) or calls and re.match("[fg][A-Z]", target) for target in targets):
            return False
    return True


def changed(statement):
    """What a simple setter changes, and empties for that; nothing where it isn't one."""
    found = SETTER.match(statement)
    emptied = re.findall(r"\b(?:move|exchange|swap)\(([\w.>-]+)(?:, ([\w.>-]+))?", statement)
    return [name for name in (found[1] or found[2], *sum(emptied, ())) if name] if found else []


def is_in(target, statement):
    """It, or the whole that it's a part of."""
    target = re.sub(r"\[[a-z][\w.>-]*\]", "", target)  # two indices may be the same
    wholes = [target[:part.start()] for part in re.finditer(r"\.|->|\[", target)]
    return re.search(rf"(?<!\w){re.escape(target)}(?!\w)", statement) or \
        any(re.search(rf"(?<![\w.>]){re.escape(whole)}(?!\w|\.|->|\[)", statement) for whole in wholes)


def swapped_arguments(source):
    for index, word in enumerate(source.words):
        if not source.in_code(index):
            continue
        is_call = word == "(" and source.callee(index) not in ("", "if", "for", "while", "switch", "catch", "min", "max", "swap")
        if is_call or source.braces.get(index) == "values" and not is_set(source, index):
            parts = source.parts(index)
            for one, two in zip(parts, parts[1:]):
                left, right = source.slice(*one), source.slice(*two)
                if left != right and literal_kind(source, one) == literal_kind(source, two):
                    between = source.text[source.tokens[one[1]].end:source.tokens[two[0]].start]
                    yield one[0], two[1], [right + between + left]


def is_set(source, opener):
    """Whose order tells nothing, as in `IsOneOf(name, {"a", "b"})` and `for (... : {"a", "b"}) if (...) return true`."""
    behind = source.mate[opener] + 1
    if source.word(behind) != ")" or source.callee(source.inside[opener]) in ("IsOneOf", "NameOf", "Key"):
        return source.word(behind) == ")"
    then = source.mate.get(behind + 2, 0) + 1
    return source.words[behind + 1:behind + 3] + source.words[then:then + 2] == ["if", "(", "return", "true"]


def literal_kind(source, part):
    """Values of the other kinds may be of any type."""
    kind = source.tokens[part[0]].kind
    return kind if part[0] == part[1] and kind in ("text", "number") else ""


def is_pure(source, index):
    """`= 0` behind a declaration."""
    return source.word(index - 1) == "=" and source.word(index - 2) in (")", "const", "noexcept", "override")


def is_array_size(source, index):
    return source.word(index - 1) == "[" and source.word(index + 1) == "]" and \
        bool(re.fullmatch(r"[A-Za-z_]\w*|[*>]", source.word(index - 3))) and source.word(index - 3) != "return"


def changed_number(text):
    digits, suffix = re.fullmatch(r"(0[xX][\da-fA-F']+|[\d.']+(?:[eE][-+]?\d+)?)(\w*)", text).groups()
    digits = digits.replace("'", "")
    if digits.lower().startswith("0x"):
        return [hex(int(digits, 16) + 1) + suffix]
    if re.search(r"[.eE]", digits):
        return [f"{float(digits) * 10 or 1.0}{suffix}"]
    value = int(digits, 8 if len(digits) > 1 and digits[0] == "0" else 10)
    return [f"{other}{suffix}" for other in (value + 1, value - 1) if other >= 0]


def next_letter(letter):
    if letter.lower() == "z" or letter == "9":
        return chr(ord(letter) - 1)
    return chr(ord(letter) + 1) if letter.isalnum() else "_" if letter != "_" else "-"


def changed_text(literal):
    begin = literal.index("(" if "R\"" in literal[:4] else "\"") + 1
    end = literal.rindex(")" if "R\"" in literal[:4] else "\"")
    others = [literal[:at] + next_letter(literal[at]) + literal[at + 1:] for at in range(begin, end)
              if (literal[at].isalnum() or literal[at] in " _-.:=#") and "\\" not in literal[max(at - 3, 0):at]]
    return others + ([literal[:begin] + literal[end:]] if end - begin > 40 else [])


SAME_TEXT = {"string", "string_view"}  # or a copy of it


class Names:
    """What may stand for a name: those of its sort in the product, the most alike and nearest first."""

    CONSTANT = re.compile(r"k[A-Z]\w*|[A-Z][A-Z0-9]*_\w+|[A-Z][A-Z0-9]{3,}")
    FUNCTION = re.compile(r"(?!(if|for|while|switch|catch|return|throw|sizeof)$)(?![A-Z_]+$)[A-Za-z]\w+")
    BEFORE_A_CALL = {"return", "throw", "else", "do", "case"}
    BEHIND_A_VALUE = {")", ",", ";", "]", "}", "==", "!=", "||", "&&", "?", ":", "|"}

    def __init__(self, sources):
        self.known = collections.defaultdict(lambda: collections.defaultdict(set))  # sort: key: {(name, source)}
        for source in sources:
            for sort in ("constants", "functions"):
                for _, (key, name) in getattr(self, sort)(source):
                    self.known[sort][key].add((name, source))

    def constants(self, source):
        for index, word in enumerate(source.words):
            qualifier = source.word(index - 2) if source.word(index - 1) == "::" else ""
            if not re.match("[A-Z]", qualifier):
                qualifier = ""
            is_value = source.word(index + 1) in self.BEHIND_A_VALUE and not self.is_enumerator(source, index)
            if is_value and (self.CONSTANT.fullmatch(word) or qualifier and re.fullmatch(r"[A-Z]\w+", word)):
                yield index, (qualifier or "unqualified " + word[0], word)

    @staticmethod
    def is_enumerator(source, index):
        return source.braces.get(source.inside[index]) == "scope" and source.word(index - 1) in ("{", ",")

    def functions(self, source):
        for index, word in enumerate(source.words):
            before, after = source.word(index - 1), source.word(index + 1)
            is_address = before == "::" and source.word(index - 3) == "&"
            is_call = after == "(" and (before in self.BEFORE_A_CALL or not re.fullmatch(r"\w+|[>*&]", before))
            if not source.in_code(index) or not (is_call or is_address) or not self.FUNCTION.fullmatch(word):
                continue
            way = source.word(index - 2) if before == "::" else "." if before in (".", "->") else ""
            yield index, (way + " " + re.match("[a-z]+|[A-Z]+[a-z]*", word).group(), word)

    def siblings(self, source, sort, name):
        key, own = name
        ranks = {}
        for other, where in self.known[sort][key]:
            alike = len(os.path.commonprefix([own, other])) + len(os.path.commonprefix([own[::-1], other[::-1]]))
            if other != own and {own, other} != SAME_TEXT and (alike > 2 or sort == "functions" or " " not in key):
                ranks[other] = max(ranks.get(other, (False, 0)), (where is source, alike))
        return sorted(ranks, key=lambda other: (ranks[other], other), reverse=True)[:3]


def find(root, paths):
    """All faults that the files could have, by kind and place: {kind: [[Fault]]}."""
    sources = {path: Source((root / path).read_text()) for path in paths}
    names = Names(sources.values())
    places = {kind: [[spelled(kind, path, source, first, last, text) for text in others]
                     for path, source in sources.items() for first, last, others in rule(source, names) if others]
              for kind, rule in KINDS.items()}
    # Without room reserved all is the same, and slower.
    return {kind: [place for place in some if ".reserve(" not in place[0].before] for kind, some in places.items()}


def spelled(kind, path, source, first, last, text):
    start, end = source.tokens[first].start, source.tokens[last].end
    # As many lines as before, or the lines behind would tell other numbers.
    text += "\n" * (source.text.count("\n", start, end) - text.count("\n"))
    begin = source.text.rfind("\n", 0, start) + 1
    stop = source.text.find("\n", end)
    before, after = source.text[begin:stop], source.text[begin:start] + text + source.text[end:stop]
    return Fault(path, source.line(first), kind, source.function(first), " ".join(before.split()),
                 " ".join(after.split()), start, end, text)
