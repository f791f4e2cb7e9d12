"""A source file of C++ as tokens, brackets, statements and functions, as far as layout by clang-format tells them."""

import re

TOKEN = re.compile(
    r"""(?P<comment> //[^\n]* | /\*.*?\*/ )
      | (?P<directive> ^[ \t]*\#(?:\\\n|[^\n])* )
      | (?P<text> (?:u8|[uUL])?R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)" | (?:u8|[uUL])?"(?:[^"\\\n]|\\.)*" )
      | (?P<character> (?:u8|[uUL])?'(?:[^'\\\n]|\\.)+' )
      | (?P<number> \.?\d(?:[eEpP][+-]|['.\w])* )
      | (?P<word> [A-Za-z_]\w* )
      | (?P<sign> <<=|>>=|->\*|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|\S )""",
    re.VERBOSE | re.DOTALL | re.MULTILINE)

OPENERS = {"(": ")", "[": "]", "{": "}"}
CLOSERS = set(OPENERS.values())
HEADED = {"if", "for", "while", "switch", "catch"}  # a statement with a head in parentheses
LEAPS = {"return", "throw", "break", "continue", "goto"}
TYPE_WORDS = {"class", "struct", "union", "enum", "namespace"}


class Token:
    def __init__(self, kind, text, start, spaced):
        self.kind, self.text, self.start, self.end = kind, text, start, start + len(text)
        self.spaced = spaced  # with white space on both sides: a binary operator and no part of a type


class Statement:
    """Tokens first to last, of which last is the semicolon. A governed one is all that an `if` or a loop has."""

    def __init__(self, first, last, governed):
        self.first, self.last, self.governed = first, last, governed


class Source:
    def __init__(self, text):
        self.text = text
        self.tokens = []
        for match in TOKEN.finditer(text):
            if match.lastgroup in ("comment", "directive"):
                continue
            kind = "text" if match.group("text") else match.lastgroup
            around = text[max(match.start() - 1, 0)] + text[match.end():match.end() + 1]
            self.tokens.append(Token(kind, match.group(), match.start(), len(around) == 2 and around.isspace()))
        self.words = [token.text if token.kind in ("word", "sign") else "" for token in self.tokens]
        self._pair()
        self._classify()
        self.thrown = {at for first, word in enumerate(self.words) if word == "throw"
                       for at in range(first + 1, self._end(first))}

    def word(self, index):
        """The token as a word or sign; an empty text for a literal and beyond the ends."""
        return self.words[index] if 0 <= index < len(self.words) else ""

    def slice(self, first, last):
        """The text of the tokens from first to last, both included."""
        return self.text[self.tokens[first].start:self.tokens[last].end]

    def line(self, index):
        return self.text.count("\n", 0, self.tokens[index].start) + 1

    def parts(self, opener):
        """What commas separate inside the bracket, as (first, last) of tokens."""
        closer = self.mate[opener]
        edges = [opener, *(at for at in self.at_depth(opener + 1, closer - 1) if self.word(at) == ","), closer]
        return [(one + 1, two - 1) for one, two in zip(edges, edges[1:]) if one + 1 < two]

    def at_depth(self, first, last):
        """The tokens from first to last without what stands in brackets there."""
        index = first
        while index <= last:
            yield index
            index = self.mate[index] if self.word(index) in OPENERS else index + 1

    def called(self, first, last):
        """Where the arguments of a statement's calls open, in their order, without calls in arguments."""
        return [index for index in self.at_depth(first, last)
                if index > first and self.word(index) == "(" and self.callee(index)]

    def callee(self, opener):
        """The name of what is called with the arguments that open there; an empty text if nothing is."""
        index = opener - 1
        if self.word(index) == ">" and not self.tokens[index].spaced:
            while index > 0 and self.word(index) != "<":
                index -= 1
            index -= 1
        return self.word(index) if index >= 0 and self.tokens[index].kind == "word" else ""

    def declared(self, first, last):
        """The variable that the tokens declare; "" where they declare something else, None where nothing."""
        if self.word(first) in ("using", "typedef", "static_assert", "struct", "class", "enum"):
            return ""
        if self.word(first) in LEAPS | {"delete"}:
            return None
        for index in self.at_depth(first + 1, last):
            before, after = self.word(index - 1), self.word(index + 1) if index < last else ";"
            if self.tokens[index].kind == "word" and after in ("=", "(", "{", ";", "[") and \
                    (self.tokens[index - 1].kind == "word" or before in (">", ">>", "*", "&") and
                     not self.tokens[index - 1].spaced and index - 1 > first):
                return self.word(index)
            if before == "auto" or before in ("&", "&&") and self.word(index - 2) == "auto":
                return ""  # several at once
        return None

    def in_code(self, index):
        return self.block[index] is not None

    def function(self, index):
        return self.functions.get(self.outermost[index], "")

    def head(self, index):
        """The words before the body of the function in which the token stands: its type, name and parameters."""
        brace = self.outermost[index]
        return [] if brace is None else self.words[self._head(brace):brace]

    def statements(self):
        """Lists of statements that follow each other, one for each block."""
        return [self._statements(brace) for brace in self.braces if self.braces[brace] == "code"]

    # --- How it comes to know ------------------------------------------------------------------------------------

    def _pair(self):
        self.mate, opened = {}, []
        for index, word in enumerate(self.words):
            if word in OPENERS:
                opened.append(index)
            elif word in CLOSERS and opened:
                self.mate[opened[-1]] = index
                self.mate[index] = opened.pop()

    def _end(self, first):
        """The semicolon of the statement."""
        return next((at for at in self.at_depth(first, len(self.words) - 1) if self.word(at) == ";"), len(self.words))

    def _classify(self):
        """What each brace opens (code, a scope of declarations or a list of values), and what each token is in."""
        self.braces, self.functions = {}, {}
        self.inside, self.block, self.outermost = [], [], []  # of each token: its bracket, its braces of code
        opened = []
        for index, word in enumerate(self.words):
            if word in CLOSERS and opened:
                opened.pop()
            code = [brace for brace in opened if self.braces.get(brace) == "code"]
            self.inside.append(opened[-1] if opened else None)
            self.block.append(code[-1] if code else None)
            self.outermost.append(code[0] if code else None)
            if word not in OPENERS:
                continue
            if word == "{":
                self.braces[index] = self._what_opens(index, opened)
                if self.braces[index] == "code" and not code:
                    self.functions[index] = self._name(index)
            opened.append(index)

    def _head(self, brace):
        """The first token of the declaration or statement that the brace belongs to."""
        index = brace - 1
        while index >= 0 and self.word(index) not in (";", "{", "}", "(", "["):
            index = self.mate[index] - 1 if self.word(index) in (")", "]") and index in self.mate else index - 1
        return index + 1

    def _what_opens(self, brace, opened):
        before = self.word(brace - 1)
        inside = self.braces.get(opened[-1], "values") if opened else "scope"
        head = self.words[self._head(brace):brace]
        if before in (")", "]", "else", "do", "try", "const", "noexcept", "override", "final", "mutable"):
            is_scope = before == "final" and TYPE_WORDS & set(head)
            return "scope" if is_scope else "code"
        if TYPE_WORDS & set(head) and "(" not in head and "=" not in head:
            return "scope"
        if before in ("", "{", ";", "}") and inside == "code":
            return "code"
        if before == "}" and inside == "scope" and "(" in self.words[self._head(self.mate[brace - 1]):brace]:
            return "code"  # behind a constructor's list of members
        if "->" in head and ")" in head and before not in ("=", ",", "return"):
            return "code"  # behind a type that follows the parameters
        return "values"

    def _name(self, brace):
        index = self._head(brace)
        while index < brace and self.word(index) != "(":
            index += 1
        first = index
        while re.fullmatch(r"\w+|::|~", self.word(first - 1)) and \
                (self.word(first) in ("(", "::", "~") or self.word(first - 1) in ("::", "~")):
            first -= 1
        return "".join(self.words[first:index])

    def _statements(self, brace):
        found, index, governed = [], brace + 1, False
        while index < self.mate[brace]:
            word, first = self.word(index), index
            if word in HEADED:
                index, governed = self.mate[self.words.index("(", index)] + 1, True
            elif word in ("else", "do", "try"):
                index, governed = index + 1, True
            elif word in ("case", "default"):
                index, governed = self.words.index(":", index) + 1, True
            else:
                index = self.mate[index] if word == "{" else self._end(index)
                if word not in ("{", ";") and index < self.mate[brace]:
                    found.append(Statement(first, index, governed))
                index, governed = index + 1, False
        return found
