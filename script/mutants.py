"""The one-change mutants of a C++ source file, found by its tokens; imported by script/mutate."""
import collections
import random
import re

Token = collections.namedtuple("Token", "kind text begin end")
Mutant = collections.namedtuple("Mutant", "operator begin end text")

# The order in which a sample takes them.
OPERATORS = ("guard relation statement logic negation status return boolean constant size "
             "condition arithmetic bits").split()

TOKENS = re.compile(r"""
    (?P<skip> //[^\n]* | /\*.*?\*/ | ^[ \t]*\#(?:[^\n\\]|\\.)* | \s+ | static_assert\s*\([^;]*; )
  | (?P<string> (?:u8|[uUL])?"(?:[^"\\\n]|\\.)*" | (?:u8|[uUL])?'(?:[^'\\\n]|\\.)+' )
  | (?P<number> \.?\d(?:[\w.']|[eEpP][+-])* )
  | (?P<name> [A-Za-z_]\w* )
  | (?P<sign> <=>|<<=|>>=|->|::|\+\+|--|&&|\|\||[-+*/%&|^=!<>]=|<<|. )
""", re.X | re.S | re.M)
STATUS = re.compile(r"(SEC_[EI]|CERT_E|CRYPT_E|CERT_TRUST|WSA|ERROR|X509_V_ERR|SSL_AD)\w+$")
INTEGER = re.compile(r"(0x[0-9a-fA-F]+|\d+)[uUlLzZ]*$")

# Signs that stand between spaces, with what replaces them.
SWAPS = {"relation": {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="},
         "logic": {"&&": "||", "||": "&&"},
         "arithmetic": {"+": "-", "-": "+", "+=": "-=", "-=": "+="},
         "bits": {"|": "&", "&": "|"}}
WORDS = {"boolean": {"true": "false", "false": "true"}, "arithmetic": {"++": "--", "--": "++"},
         "negation": {"!": ""}, "size": {"min": "max", "max": "min"}}


class Source:
    def __init__(self, text):
        self.text = text
        self.tokens = [Token(m.lastgroup, m.group(), m.start(), m.end())
                       for m in TOKENS.finditer(text) if m.lastgroup != "skip"]
        self.partner, stack = {}, []
        for index, token in enumerate(self.tokens):
            if token.kind == "sign" and token.text in "([{":
                stack.append(index)
            elif token.kind == "sign" and token.text in ")]}" and stack:
                opening = stack.pop()
                self.partner[opening], self.partner[index] = index, opening

    def word(self, index):
        return self.tokens[index].text if 0 <= index < len(self.tokens) else ""

    def is_spaced(self, token):
        return self.text[token.begin - 1:token.begin].isspace() and \
            self.text[token.end:token.end + 1].isspace()

    def end_of_statement(self, index):
        """The index of the semicolon that ends the statement, or None."""
        while index < len(self.tokens):
            if self.word(index) == ";":
                return index
            if self.tokens[index].kind == "sign" and self.word(index) in ")]}":
                return None
            index = self.partner.get(index, index) + 1
        return None


def replaced_words(source, index, token):
    for operator, swaps in SWAPS.items():
        if token.text in swaps and source.is_spaced(token) and source.word(index - 1) != "template":
            yield Mutant(operator, token.begin, token.end, swaps[token.text])
    for operator, words in WORDS.items():
        if token.text in words and (operator != "size" or source.word(index - 1) == "::"):
            yield Mutant(operator, token.begin, token.end, words[token.text])
    number = INTEGER.match(token.text)
    if token.kind == "number" and number:
        value = int(number.group(1), 0)
        for other in (value + 1, value - 1)[:2 if value else 1]:
            yield Mutant("constant", token.begin, token.end, str(other))
    if token.text == "size" and source.word(index - 1) == "." and source.word(index + 1) == "(":
        closing = source.tokens[source.partner[index + 1]].end
        yield Mutant("size", closing, closing, " - 1")
        yield Mutant("size", closing, closing, " + 1")


def swapped_statuses(source, index, token, families):
    family = STATUS.match(token.text)
    if family and source.word(index - 1) != "case":
        for other in sorted(families[family.group(1)] - {token.text})[:1]:
            yield Mutant("status", token.begin, token.end, other)


def changed_conditions(source, index, token):
    if token.text != "if" or source.word(index + 1) != "(":
        return
    inside = source.tokens[index + 2:source.partner[index + 1]]
    if inside and not any(t.text in (";", "=") for t in inside):
        begin, end = inside[0].begin, inside[-1].end
        yield Mutant("guard", begin, end, "false && (%s)" % source.text[begin:end])
        yield Mutant("condition", begin, end, "!(%s)" % source.text[begin:end])


def removed_statements(source, index, token):
    if source.word(index - 1) not in (";", "{", "}") or index in source.partner:
        return
    stop = source.end_of_statement(index)
    if stop is None or token.kind != "name" and token.text not in ("++", "--", "*"):
        return
    if token.text in ("return", "throw", "break"):
        is_early = source.word(index - 1) == "{" and source.word(index - 2) == ")" and \
            source.word(source.partner[index - 2] - 1) in ("if", "for", "while")
        if is_early and source.word(stop + 1) == "}":
            yield Mutant("return", token.begin, source.tokens[stop].end, ";")
    elif token.text not in ("using", "namespace", "extern", "case", "continue", "delete"):
        at, last = index + (token.text == "*"), ""
        while at < stop and (source.tokens[at].kind == "name" or source.word(at) in
                             (".", "->", "::", "++", "--", "(", "[")):
            if source.tokens[at].kind == "name" and last == "name":
                return  # a declaration
            last = source.tokens[at].kind
            at = source.partner.get(at, at) + 1
        if source.word(at + 1) in ("delete", "default"):
            return  # a declaration
        ends_as_call = at == stop and source.word(stop - 1) in (")", "++", "--")
        if ends_as_call or source.word(at) in ("=", "+=", "-=", "|=", "&="):
            yield Mutant("statement", token.begin, source.tokens[stop].end, ";")


def mutants_of(text):
    """Every mutant of a source text, in the order of the text."""
    source = Source(text)
    families = collections.defaultdict(set)
    for token in source.tokens:
        if STATUS.match(token.text):
            families[STATUS.match(token.text).group(1)].add(token.text)
    found = set()
    for index, token in enumerate(source.tokens):
        for mutants in (replaced_words(source, index, token), changed_conditions(source, index, token),
                        swapped_statuses(source, index, token, families),
                        removed_statements(source, index, token)):
            found.update(mutants)
    return sorted(found, key=lambda m: (m.begin, m.end, m.operator, m.text))


def sample(text, count, seed):
    """At most count mutants: the operators in turn, and every line once before any line twice."""
    order = random.Random(seed)
    by_operator = collections.defaultdict(list)
    for mutant in mutants_of(text):
        by_operator[mutant.operator].append(mutant)
    for group in by_operator.values():
        order.shuffle(group)
    chosen, used = [], collections.Counter()
    while len(chosen) < count and any(by_operator.values()):
        for operator in OPERATORS:
            group = by_operator[operator]
            if group and len(chosen) < count:
                group.sort(key=lambda m: used[text.count("\n", 0, m.begin)])
                chosen.append(group.pop(0))
                used[text.count("\n", 0, chosen[-1].begin)] += 1
    return chosen
