"""The mutants of a C++ source: every small change that is made to it, one at a time.

The source is read as tokens, not as a language: what tells a comparison from a template's brackets,
or a call from a declaration, is how clang-format leaves them.
"""
import collections
import re

# `function` and `line_text` name the place in a way that survives edits elsewhere.
Mutant = collections.namedtuple(
    "Mutant", "file line column kind start end before after function line_text")

TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<preprocessor>(?m:^)[ \t]*\#(?:[^\n\\]|\\.|\\\n)*)
      | (?P<text>"(?:[^"\\\n]|\\.)*"|'(?:[^'\\\n]|\\.)+')
      | (?P<number>0[xX][0-9a-fA-F']+[uUlL]*|\d[\d']*[uUlL]*)
      | (?P<word>[A-Za-z_]\w*)
      | (?P<sign>\.\.\.|::|->|\+\+|--|&&|\|\||==|!=|<=|>=|\+=|-=|[^\s])""",
    re.VERBOSE | re.DOTALL)

COMPARISONS = {
    "==": ("!=",), "!=": ("==",),
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"),
}
NAMES = {"==": "eq", "!=": "ne", "<": "lt", "<=": "le", ">": "gt", ">=": "ge",
         "&&": "and", "||": "or", "+": "plus", "-": "minus", "+=": "plus", "-=": "minus"}
SWAPPED = {"&&": "||", "||": "&&", "+": "-", "-": "+", "+=": "-=", "-=": "+="}

EXPRESSION = re.compile(
    r"static_cast<void>\(|(?:\*|\+\+|--)?(?:::)?\w+(?:::\w+)*(?:\(|\.|->|\[|\+\+|--|;|\s*[-+]?=[^=])")
# An object that is made for what its destructor does.
GUARD = re.compile(r"[\w:<>]+ const (?:lock|locker|guard)\(")
JUMPS = ("throw", "break", "continue")
NO_EXPRESSION = ("if", "for", "while", "do", "switch", "case", "default", "return", "else", "try",
                 "catch", "using", "static_assert", "static", "constexpr", "const", "public",
                 "private", "protected", *JUMPS)
# What stands before a body of code; before any other brace stands a name that is initialised.
BEFORE_CODE = (")", "const", "override", "noexcept", "else", "do", "try")
SCOPES = ("namespace", "class", "struct", "enum", "union")
# `return {}` would say the same.
ALREADY_NOTHING = ("", "0", "false", "nullptr", "{}", "true", "*this", "this")
CLOSING = {"(": ")", "[": "]", "{": "}"}


class _Source:
    def __init__(self, name, text):
        self.name = name
        self.text = text
        self.tokens = [match for match in TOKEN.finditer(text)
                       if match.lastgroup not in ("comment", "preprocessor")]
        self.words = [token.group() for token in self.tokens]
        self.partner = self._partners()
        self.in_code = self._places_in_code()
        self.functions = self._functions()
        self.mutants = []

    def _partners(self):
        """The index of the bracket that belongs to each bracket."""
        partner, open_ones = {}, []
        for index, word in enumerate(self.words):
            if word in CLOSING:
                open_ones.append(index)
            elif word in CLOSING.values():
                opening = open_ones.pop()
                partner[opening], partner[index] = index, opening
        return partner

    def _places_in_code(self):
        """Whether the innermost brace around each token is a body of code."""
        result, kinds = [], ["scope"]
        start = 0  # Of what stands before the brace.
        for index, word in enumerate(self.words):
            result.append(kinds[-1] == "code")
            if word == "{":
                if any(scope in self.words[start:index] for scope in SCOPES):
                    kinds.append("scope")
                elif self.words[index - 1] in (*BEFORE_CODE, "}") or kinds[-1] == "code" and \
                        self.words[index - 1] in (";", "{", ":"):
                    kinds.append("code")
                else:
                    kinds.append("value")
            elif word == "}":
                kinds.pop()
            if word in ("{", "}", ";"):
                start = index + 1
        return result

    def _functions(self):
        """Pairs of a line and the name of what begins there, in order."""
        found = []
        for number, line in enumerate(self.text.splitlines(), 1):
            match = re.match(r"(?! |#|//|namespace|using)"
                             r"[^=(]*?([\w:~]*operator\W+|[\w:~]+)\((?!.*;$)", line) or \
                re.match(r" {2}(?! |//|return)[^=(]*?(operator\W+|[\w:~]+)\(.*[{}]$", line) or \
                re.match(r"(?: {2})?(?:class|struct|enum)\b(?:.* )?(\w+)(?= [:{])", line) or \
                re.match(r"(?: {2})?(?:static )?constexpr .*?(\w+)(?:\[\])? =", line)
            if match:
                found.append((number, match.group(1)))
        return found

    def add(self, kind, start, end, after):
        line = self.text.count("\n", 0, start) + 1
        column = start - self.text.rfind("\n", 0, start)
        function = ""
        for number, name in self.functions:
            if number > line:
                break
            function = name
        self.mutants.append(Mutant(
            self.name, line, column, kind, start, end, " ".join(self.text[start:end].split()), after,
            function, self.text.splitlines()[line - 1].strip()))

    def is_spaced(self, index):
        """Comparisons and sums are, template brackets, references and signs of numbers are not."""
        token = self.tokens[index]
        return self.text[token.start() - 1].isspace() and self.text[token.end()].isspace()

    def is_pure(self, index):
        """Whether this is the 0 of a pure virtual function."""
        return self.words[index - 1] == "=" and self.words[index + 1] == ";" and \
            self.words[index - 2] in (")", "const", "override")

    def has_signs_of_truth(self, start, end):
        return any(word == "!" or word in ("&&", "||") or word in COMPARISONS and
                   self.is_spaced(start + place)
                   for place, word in enumerate(self.words[start:end]))

    def turn(self, start, end):
        """A condition of which no sign can be changed."""
        if not self.has_signs_of_truth(start, end):
            first, last = self.tokens[start].start(), self.tokens[end - 1].end()
            self.add("turn", first, last, "!(" + self.text[first:last] + ")")

    def signs(self, index):
        token, word = self.tokens[index], self.words[index]
        if word in COMPARISONS and self.is_spaced(index):
            for other in COMPARISONS[word]:
                self.add(NAMES[other], token.start(), token.end(), other)
        elif word in SWAPPED and self.is_spaced(index) and \
                not re.fullmatch(r"return|[-+=(,?:]", self.words[index - 1]):
            self.add(NAMES[SWAPPED[word]], token.start(), token.end(), SWAPPED[word])
        elif word == "!":
            self.add("not", token.start(), token.end(), "")
        elif word in ("true", "false"):
            self.add("flip", token.start(), token.end(), "false" if word == "true" else "true")
        elif token.lastgroup == "number" and not self.is_pure(index):
            self.number(token)

    def number(self, token):
        digits, suffix = re.fullmatch(r"(\w+?)([uUlL]*)", token.group().replace("'", "")).groups()
        is_octal = re.fullmatch("0[0-7]+", digits)
        value = int(digits, 8 if is_octal else 0)
        for kind, other in (("one-more", value + 1), ("one-less", value - 1)):
            if other >= 0:
                shown = hex(other) if digits[:2] in ("0x", "0X") else \
                    f"0{other:o}" if is_octal else str(other)
                self.add(kind, token.start(), token.end(), shown + suffix)

    def conditions(self, index):
        if self.words[index] in ("if", "while") and self.words[index + 1] == "(":
            self.turn(index + 2, self.partner[index + 1])
        elif self.words[index] == "?":
            start = index
            while self.words[start - 1] not in ("=", "return", "(", ",", ":", "?"):
                start = self.partner[start - 1] if self.words[start - 1] in CLOSING.values() else start - 1
            self.turn(start, index)

    def end_of_statement(self, start):
        """The index of its semicolon, or None when a block or the end of one comes first."""
        index = start
        while index < len(self.words):
            word = self.words[index]
            if word == ";":
                return index
            if word in CLOSING.values():
                return None
            index = self.partner[index] + 1 if word in CLOSING else index + 1
        return None

    def begins_statement(self, index):
        if index == 0 or not self.in_code[index]:
            return False
        before = self.words[index - 1]
        if before == ")":
            return self.words[self.partner[index - 1] - 1] in ("if", "for", "while")
        if before == ":":  # Behind a case.
            return self.words[index - 2] == "default" or self.words[index - 3] == "case"
        return before in (";", "{", "}", "else", "do")

    def statement(self, index):
        semicolon = self.end_of_statement(index)
        if semicolon is None:
            return
        start, end = self.tokens[index].start(), self.tokens[semicolon].end()
        first, text = self.words[index], self.text[start:end]
        if first == "return":
            self.returned(index, semicolon)
        elif first in JUMPS or \
                first not in NO_EXPRESSION and (EXPRESSION.match(text) or GUARD.match(text)):
            self.add("drop", start, end, ";")

    def returned(self, index, semicolon):
        if semicolon == index + 1:
            self.add("drop", self.tokens[index].start(), self.tokens[semicolon].end(), ";")
            return
        start, end = self.tokens[index + 1].start(), self.tokens[semicolon - 1].end()
        value = self.text[start:end]
        if value == "kSuccess":
            self.add("return", start, end, "kSuccess + 1")
        elif value not in ALREADY_NOTHING:
            self.add("return", start, end, "{}")

    def all(self):
        for index in range(len(self.words)):
            self.signs(index)
            self.conditions(index)
            if self.begins_statement(index):
                self.statement(index)
        return sorted(self.mutants, key=lambda mutant: (mutant.start, mutant.kind))


def mutants_of(name, text):
    """All mutants of the source `text`, in the order of their places."""
    return _Source(name, text).all()


def name_of(mutant):
    return f"{mutant.file}:{mutant.line}:{mutant.column}:{mutant.kind}"


def mutated(text, mutant):
    """The source with that one change, on as many lines as before."""
    lines = text.count("\n", mutant.start, mutant.end) - mutant.after.count("\n")
    return text[:mutant.start] + mutant.after + "\n" * lines + text[mutant.end:]


def lasting_names(mutants):
    """A name for each that does not change with the lines: the place in words, and the change. Where
    one function has the same line with the same change several times, they are counted."""
    counts = collections.Counter()
    names = []
    for mutant in mutants:
        change = " ".join(f"{mutant.before} -> {mutant.after}".split())
        name = f"{mutant.file} @@ {mutant.function} @@ {mutant.line_text} @@ {change}"
        counts[name] += 1
        names.append(name if counts[name] == 1 else f"{name} ({counts[name]})")
    return names
