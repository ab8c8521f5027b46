"""The mutants of a C++ source file: each a small mistake that still looks like code."""
import random
import re
from dataclasses import dataclass

TOKEN = re.compile(r'''
    (?P<comment> //[^\n]* | /\*.*?\*/ )
  | (?P<directive> ^[ \t]*\#[^\n]* )
  | (?P<attribute> __attribute__\(\(.*?\)\)\)? | \[\[.*?\]\] )
  | (?P<text> "(?:\\.|[^"\\])*" )
  | (?P<number> \b(?:0x[0-9a-fA-F]+|\d+(?:\.\d+)?)\w* )
  | (?P<word> [A-Za-z_]\w* )
  | (?P<blank> \s+ )
  | (?P<sign> \.\.\.|->|::|<<|>>|==|!=|<=|>=|&&|\|\||\+\+|--|\+=|-= | . )
''', re.VERBOSE | re.MULTILINE | re.DOTALL)

CLOSING = {'(': ')', '[': ']', '{': '}'}
COMPARISONS = {'==': '!=', '!=': '==', '<': '<=', '>': '>=', '<=': '<', '>=': '>'}
JUNCTIONS = {'&&': '||', '||': '&&'}
ARITHMETIC = {'+': '-', '-': '+', '*': '/', '/': '*', '%': '/'}
STEPS = {'++': '--', '--': '++'}

# One of a family is taken for the next of it.
FAMILIES = [
    ['true', 'false'],
    ['LOG_ERR', 'LOG_NOTICE', 'LOG_INFO', 'LOG_DEBUG'],
    ['SIG_BLOCK', 'SIG_UNBLOCK', 'SIG_SETMASK'],
    ['SIGINT', 'SIGALRM', 'SIGPIPE'],
    ['SIG_IGN', 'SIG_DFL'],
    ['ITIMER_REAL', 'ITIMER_VIRTUAL'],
    ['AF_INET', 'AF_UNIX'],
    ['PF_INET', 'PF_UNIX'],
    ['INADDR_ANY', 'INADDR_LOOPBACK'],
    ['SIOCGIFADDR', 'SIOCGIFHWADDR'],
    ['XMLRPC_INTERNAL_ERROR', 'XMLRPC_TYPE_ERROR', 'XMLRPC_INDEX_ERROR', 'XMLRPC_TIMEOUT_ERROR'],
    ['XMLRPC_TYPE_INT', 'XMLRPC_TYPE_I8', 'XMLRPC_TYPE_BOOL', 'XMLRPC_TYPE_DOUBLE', 'XMLRPC_TYPE_STRING',
     'XMLRPC_TYPE_BASE64', 'XMLRPC_TYPE_NIL'],
]
NEXT = {name: family[(i + 1) % len(family)] for family in FAMILIES for i, name in enumerate(family)}


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int

    @property
    def end(self):
        return self.start + len(self.text)


@dataclass(frozen=True)
class Mutant:
    path: str
    kind: str
    start: int
    end: int
    replacement: str

    def apply(self, source):
        return source[:self.start] + self.replacement + source[self.end:]

    def line(self, source):
        return source.count('\n', 0, self.start) + 1

    def shown(self, source):
        """The lines it touches, before and after, each on one line."""
        first = source.rfind('\n', 0, self.start) + 1
        last = source.find('\n', self.end)
        before = source[first:last]
        after = source[first:self.start] + self.replacement + source[self.end:last]
        return ' '.join(before.split()), ' '.join(after.split())


def tokens_of(source):
    found = [Token(match.lastgroup, match.group(), match.start()) for match in TOKEN.finditer(source)]
    return [token for token in found if token.kind not in ('comment', 'directive', 'attribute', 'blank')]


def partners(tokens):
    """The index of the bracket that belongs to each bracket."""
    pairs, stack = {}, []
    for i, token in enumerate(tokens):
        if token.text in CLOSING:
            stack.append(i)
        elif token.text in CLOSING.values():
            opening = stack.pop()
            pairs[i], pairs[opening] = opening, i
    return pairs


class Finder:
    def __init__(self, path, source, seed):
        self.path = path
        self.source = source
        self.tokens = tokens_of(source)
        self.pairs = partners(self.tokens)
        self.random = random.Random(f'{seed} {path}')
        self.mutants = []

    def all(self):
        for i in range(len(self.tokens)):
            for find in (self.in_text, self.in_condition, self.in_sign, self.in_constant, self.in_statement,
                         self.in_call):
                find(i)
        return self.mutants

    def text(self, i):
        return self.tokens[i].text if 0 <= i < len(self.tokens) else ''

    def add(self, kind, start, end, replacement):
        self.mutants.append(Mutant(self.path, kind, start, end, replacement))

    def replace(self, kind, i, replacement):
        self.add(kind, self.tokens[i].start, self.tokens[i].end, replacement)

    def in_text(self, i):
        """One character of a text is another."""
        if self.tokens[i].kind != 'text':
            return
        characters = re.findall(r'\\.|.', self.text(i)[1:-1], re.DOTALL)
        if not characters:
            return self.replace('text', i, '"x"')
        place = self.random.randrange(len(characters))
        characters[place] = self.random.choice([c for c in 'aeimrsx08:/ ' if c != characters[place]])
        self.replace('text', i, '"' + ''.join(characters) + '"')

    def in_condition(self, i):
        """A condition is inverted."""
        if self.text(i) in ('if', 'while', 'for') and self.text(i + 1) == '(':
            start, end = self.tokens[i + 1].end, self.tokens[self.pairs[i + 1]].start
            if self.text(i) == 'for':
                ends = [self.tokens[k] for k in range(i + 2, self.pairs[i + 1]) if self.text(k) == ';']
                if len(ends) != 2:
                    return
                start, end = ends[0].end, ends[1].start
            condition = self.source[start:end].strip()
            if condition[0] != '!' or re.search(r'&&|\|\|', condition):  # else without its "!", below
                self.add('condition', start, end, f'!({condition})')
        elif self.text(i) == '?' and self.tokens[i - 1].kind == 'word':
            self.replace('condition', i - 1, '!' + self.text(i - 1))
        elif self.text(i) == '!' and self.text(i + 1) != '=':
            self.replace('condition', i, '')

    def in_sign(self, i):
        """An operator is another."""
        sign, start, end = self.text(i), self.tokens[i].start, self.tokens[i].end
        if sign in STEPS:
            return self.replace('arithmetic', i, STEPS[sign])
        if self.source[start - 1] != ' ' and self.source[start - 1] != '\n' or self.source[end] != ' ':
            return  # a template's bracket, a pointer, a sign
        if self.text(i - 1) == 'template':
            return
        for kind, table in (('comparison', COMPARISONS), ('junction', JUNCTIONS), ('arithmetic', ARITHMETIC)):
            if sign in table:
                if sign != '+' or not self.joins_texts(i):
                    self.replace(kind, i, table[sign])

    def joins_texts(self, i):
        last = next(k for k in range(i, len(self.tokens)) if self.text(k) == ';')
        return any(self.tokens[k].kind == 'text' for k in range(self.start_of_statement(i), last))

    def in_constant(self, i):
        """A constant is another."""
        token = self.tokens[i]
        if token.kind == 'number':
            if re.search(r'^ +[\w:]+ \w+ = 0;$', self.line_around(token), re.MULTILINE):
                return  # a variable's first value, there for none to be undefined
            self.replace('constant', i, str(int(token.text, 0) + 1))
        elif token.text in NEXT:
            self.replace('constant', i, NEXT[token.text])
        elif self.text(i - 2) == 'remote' and self.text(i - 1) == '::':
            names = sorted({self.text(k) for k in range(2, len(self.tokens))
                            if self.text(k - 2) == 'remote' and self.text(k - 1) == '::'} - {token.text})
            self.replace('constant', i, self.random.choice(names))

    def in_statement(self, i):
        """A statement is missing."""
        if self.text(i) != ';':
            return
        first = self.start_of_statement(i)
        words = [self.text(k) for k in range(first, i)]
        if not words or words[0] in ('using', 'typedef', 'namespace', 'class', 'struct', 'template', 'explicit'):
            return
        if words[-2:] in (['=', 'delete'], ['=', 'default']) or (words[0] == 'return' and len(words) > 1):
            return
        if not self.declares_what_is_used(self.tokens[first].start, self.tokens[i].start):
            self.add('statement', self.tokens[first].start, self.tokens[i].start, '')

    def declares_what_is_used(self, start, end):
        declared = re.match(r'(?!return|throw|delete)[\w:<>\[\], ]+?[ *&]+(\w+)\b(?! *\.)', self.source[start:end])
        rest = self.source[end:self.source.find('\n}', end)]
        return declared and re.search(rf'\b{declared[1]}\b', rest)

    def line_around(self, token):
        return self.source[self.source.rfind('\n', 0, token.start) + 1:self.source.find('\n', token.start)]

    def start_of_statement(self, i):
        while i > 0:
            before = i - 1
            text = self.text(before)
            if text in (';', '{', '(', 'else'):
                break
            if text == ':' and (self.text(before - 1) in ('default', 'public', 'private', 'protected')
                                or self.text(before - 2) == 'case'):
                break
            if text == '}' and self.text(i) not in (';', ',', ')', '.'):
                break
            if text in CLOSING.values():
                before = self.pairs[before]
                if text == ')' and self.text(before - 1) in ('if', 'while', 'for', 'switch'):
                    break
            i = before
        return i

    def in_call(self, i):
        """Two neighbours in a list of arguments have changed places."""
        if self.text(i) != '(' or self.tokens[i - 1].kind != 'word' or self.text(i - 1) in ('if', 'while', 'for'):
            return
        arguments, k, start = [], i + 1, self.tokens[i].end
        while k <= self.pairs[i]:
            if k == self.pairs[i] or self.text(k) == ',':
                arguments.append((start, self.tokens[k].start))
                start = self.tokens[k].end
            k = self.pairs[k] + 1 if self.text(k) in CLOSING else k + 1
        for (left, comma), (right, end) in zip(arguments, arguments[1:]):
            one, other = self.source[left:comma].lstrip(), self.source[right:end].lstrip()
            # A text among what is none never fits the other's type.
            if one != other and (one[0] == '"') == (other[0] == '"') and self.may_swap(one, other):
                self.add('swap', comma - len(one), end, f'{other}, {one}')

    def may_swap(self, one, other):
        """Parameters only with others of their type."""
        types = [re.fullmatch(r'((?:const )?[\w:]+(?:<[\w:]+>)?&? ?)\*?\w*', each) for each in (one, other)]
        if all(types) and any(' ' in each for each in (one, other)):
            return types[0][1] == types[1][1]
        return True


def mutants_of(path, source, seed):
    return Finder(path, source, seed).all()
