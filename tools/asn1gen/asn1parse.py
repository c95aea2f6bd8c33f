"""Parser for the ASN.1 subset the model definitions use.

Supported: module headers with IMPORTS/EXPORTS (skipped), type assignments,
OPERATION, ERROR and OBJECT IDENTIFIER value assignments (skipped), SEQUENCE /
SET / CHOICE / SEQUENCE OF / SET OF, ENUMERATED, INTEGER and BIT STRING with
named values, OCTET STRING, NULL, BOOLEAN, OBJECT IDENTIFIER,
restricted strings and time types, tags, OPTIONAL / DEFAULT, constraints
(kept as text, not checked) and the directive comment
    --@external "<header>"
in front of a type assignment (the class is written by hand; no code is emitted),
and the directive comment
    --@code -N
in front of a type assignment (the first error-site code of that type; later
types of the module go on from there).
"""

import re

# Universal tag numbers of the restricted string and time types.
STRING_TAGS = {
    'UTF8String': 12, 'NumericString': 18, 'PrintableString': 19,
    'TeletexString': 20, 'T61String': 20, 'VideotexString': 21,
    'IA5String': 22, 'UTCTime': 23, 'GeneralizedTime': 24,
    'GraphicString': 25, 'VisibleString': 26, 'ISO646String': 26,
    'GeneralString': 27, 'UniversalString': 28, 'BMPString': 30,
    'ObjectDescriptor': 7,
}

TOKEN_RE = re.compile(r'''
    (?P<ws>\s+)
  | (?P<directive>--@(external\s+"[^"]*"|code\s+-?\d+))
  | (?P<comment>--.*?(--|$))
  | (?P<assign>::=)
  | (?P<range>\.\.\.?)
  | (?P<lbr>\[\[?) | (?P<rbr>\]\]?)
  | (?P<str>"[^"]*")
  | (?P<num>-?\d+)
  | (?P<id>[A-Za-z][A-Za-z0-9_-]*(?<!-))
  | (?P<punct>[{}(),;:|.&@!<>^*])
''', re.X | re.M)


class ParseError(Exception):
    pass


def tokenize(text):
    toks = []
    pos = 0
    line = 1
    while pos < len(text):
        m = TOKEN_RE.match(text, pos)
        if not m:
            raise ParseError('line %d: cannot read %r' % (line, text[pos:pos + 20]))
        kind = m.lastgroup
        val = m.group(kind)
        if kind == 'directive':
            toks.append(('directive', val[3:], line))
        elif kind not in ('ws', 'comment'):
            toks.append((kind, val, line))
        line += val.count('\n')
        pos = m.end()
    toks.append(('eof', '', line))
    return toks


class Type:
    """One ASN.1 type. kind is one of SEQUENCE SET CHOICE SEQOF SETOF ENUM INT
    BITS OCTS NULL BOOL OID STR REF OPEN."""

    def __init__(self, kind):
        self.kind = kind
        self.tag = None          # (cls, number, mode) with cls in UNIV/APPL/CNTX/PRIV, mode IMPLICIT/EXPLICIT/None
        self.components = []     # [Component] for SEQUENCE/SET/CHOICE
        self.named = []          # [(name, number)] for INT/ENUM/BITS
        self.elem = None         # element type of SEQOF/SETOF
        self.ref = None          # referenced type name (REF) or string type name (STR)
        self.constraint = None   # constraint text, kept for the reader only

    def __repr__(self):
        return '<Type %s %s>' % (self.kind, self.ref or '')


class Component:
    def __init__(self, name, typ, optional=False, default=None):
        self.name = name
        self.type = typ
        self.optional = optional
        self.default = default   # text of the DEFAULT value, or None


class Module:
    def __init__(self, name):
        self.name = name
        self.tagdefault = 'EXPLICIT'
        self.types = []          # [(name, Type)]
        self.externals = {}      # type name -> header of a hand-written class
        self.codepins = {}       # type name -> first error code of its sites


class Parser:
    def __init__(self, text, filename='<text>'):
        self.toks = tokenize(text)
        self.i = 0
        self.filename = filename

    def peek(self, k=0):
        return self.toks[self.i + k]

    def val(self, k=0):
        return self.toks[self.i + k][1]

    def next(self):
        t = self.toks[self.i]
        self.i += 1
        return t

    def error(self, msg):
        t = self.peek()
        raise ParseError('%s:%d: %s (at %r)' % (self.filename, t[2], msg, t[1]))

    def expect(self, v):
        t = self.next()
        if t[1] != v:
            self.i -= 1
            self.error('expected %r' % v)
        return t

    def accept(self, v):
        if self.peek()[1] == v:
            self.i += 1
            return True
        return False

    def balanced(self, open_, close):
        """Skips a balanced group starting at the current open token; returns its text."""
        depth = 0
        parts = []
        while True:
            t = self.next()
            if t[0] == 'eof':
                self.error('unbalanced ' + open_)
            parts.append(t[1])
            if t[1] == open_:
                depth += 1
            elif t[1] == close:
                depth -= 1
                if depth == 0:
                    return ' '.join(parts)

    # ---- modules -------------------------------------------------------------
    def parse_modules(self):
        mods = []
        while self.peek()[0] != 'eof':
            mods.append(self.parse_module())
        return mods

    def parse_module(self):
        name = self.next()[1]
        if self.peek()[1] == '{':
            self.balanced('{', '}')
        mod = Module(name)
        self.expect('DEFINITIONS')
        while self.val() != '::=':
            w = self.next()[1]
            if w in ('IMPLICIT', 'EXPLICIT', 'AUTOMATIC'):
                mod.tagdefault = w
        self.expect('::=')
        self.expect('BEGIN')
        # Type names are global across the modules: exports and imports are skipped.
        for clause in ('EXPORTS', 'IMPORTS'):
            if self.accept(clause):
                while not self.accept(';'):
                    if self.next()[0] == 'eof':
                        self.error('unterminated ' + clause)
        pending = []
        while not self.accept('END'):
            t = self.peek()
            if t[0] == 'directive':
                self.next()
                pending.append(t[1])
                continue
            name = self.next()[1]
            if name[0].isupper() and self.val() == '::=':
                self.next()
                typ = self.parse_type()
                mod.types.append((name, typ))
                for d in pending:
                    if d.startswith('external'):
                        mod.externals[name] = re.search(r'"([^"]*)"', d).group(1)
                    else:
                        mod.codepins[name] = int(d.split()[1])
                pending = []
            else:
                self.skip_value_assignment()
        return mod

    def skip_value_assignment(self):
        """OPERATION, ERROR and OBJECT IDENTIFIER values: the operation table
        names the operations' classes, so their bodies are not read."""
        if self.next()[1] == 'OBJECT':
            self.expect('IDENTIFIER')
        self.expect('::=')
        self.balanced('{', '}')

    # ---- types ---------------------------------------------------------------
    def parse_tag(self):
        self.expect('[')
        cls = 'CNTX'
        if self.val() in ('APPLICATION', 'PRIVATE', 'UNIVERSAL'):
            cls = {'APPLICATION': 'APPL', 'PRIVATE': 'PRIV', 'UNIVERSAL': 'UNIV'}[self.next()[1]]
        num = int(self.next()[1])
        self.expect(']')
        mode = None
        if self.val() in ('IMPLICIT', 'EXPLICIT'):
            mode = self.next()[1]
        return (cls, num, mode)

    def parse_type(self):
        tag = None
        if self.val() == '[':
            tag = self.parse_tag()
        t = self.parse_untagged()
        if tag:
            if t.tag:
                # Two tags on one type ([1] [2] T) are not used in the definitions;
                # a tag over a tagged type goes through a named reference instead.
                self.error('double tag')
            t.tag = tag
        return t

    def parse_named_list(self):
        """{ a(1), b(2) } or { a, b } for ENUMERATED without numbers."""
        self.expect('{')
        out = []
        n = 0
        while not self.accept('}'):
            if self.accept(','):
                continue
            if self.val() == '...':
                self.next()
                continue
            name = self.next()[1]
            if self.accept('('):
                num = int(self.next()[1])
                self.expect(')')
            else:
                num = n
            n = num + 1
            out.append((name, num))
        return out

    def parse_constraint(self, t):
        while self.val() == '(':
            c = self.balanced('(', ')')
            t.constraint = c if not t.constraint else t.constraint + ' ' + c

    def parse_untagged(self):
        w = self.next()[1]
        if w in ('SEQUENCE', 'SET'):
            if self.val() == 'SIZE' or self.val() == '(':
                self.accept('SIZE')
                size = self.balanced('(', ')')
                self.expect('OF')
                t = Type('SEQOF' if w == 'SEQUENCE' else 'SETOF')
                t.constraint = 'SIZE' + size
                t.elem = self.parse_of_element()
                return t
            if self.accept('OF'):
                t = Type('SEQOF' if w == 'SEQUENCE' else 'SETOF')
                t.elem = self.parse_of_element()
                return t
            t = Type(w)
            t.components = self.parse_components(choice=False)
            return t
        if w == 'CHOICE':
            t = Type('CHOICE')
            t.components = self.parse_components(choice=True)
            return t
        if w == 'ENUMERATED':
            t = Type('ENUM')
            t.named = self.parse_named_list()
            self.parse_constraint(t)
            return t
        if w == 'INTEGER':
            t = Type('INT')
            if self.val() == '{':
                t.named = self.parse_named_list()
            self.parse_constraint(t)
            return t
        if w == 'BIT':
            self.expect('STRING')
            t = Type('BITS')
            if self.val() == '{':
                t.named = self.parse_named_list()
            self.parse_constraint(t)
            return t
        if w == 'OCTET':
            self.expect('STRING')
            t = Type('OCTS')
            self.parse_constraint(t)
            return t
        if w == 'NULL':
            return Type('NULL')
        if w == 'ANY':
            # Open type: the class is chosen at run time from the value of
            # the named component (operation value or error value).
            t = Type('OPEN')
            self.expect('DEFINED')
            self.expect('BY')
            t.ref = self.next()[1]
            return t
        if w == 'BOOLEAN':
            return Type('BOOL')
        if w == 'OBJECT':
            self.expect('IDENTIFIER')
            t = Type('OID')
            self.parse_constraint(t)
            return t
        if w in STRING_TAGS:
            t = Type('STR')
            t.ref = w
            self.parse_constraint(t)
            return t
        if w[0].isupper():
            t = Type('REF')
            t.ref = w
            self.parse_constraint(t)
            return t
        self.i -= 1
        self.error('unknown type')

    def parse_of_element(self):
        # "SEQUENCE OF name Type" is allowed by the notation; the name is dropped.
        if self.peek()[0] == 'id' and self.val()[0].islower() and self.val(1) not in (',', '}'):
            self.next()
        return self.parse_type()

    def parse_components(self, choice):
        self.expect('{')
        comps = []
        while not self.accept('}'):
            if self.accept(','):
                continue
            if self.val() == '...':
                self.error('extension markers are not used in the model definitions')
            if self.val() == 'COMPONENTS':
                self.error('COMPONENTS OF is not supported')
            name = self.next()[1]
            typ = self.parse_type()
            c = Component(name, typ)
            if not choice:
                if self.accept('OPTIONAL'):
                    c.optional = True
                elif self.accept('DEFAULT'):
                    c.optional = True
                    if self.val() == '{':
                        c.default = self.balanced('{', '}')
                    else:
                        c.default = self.next()[1]
            comps.append(c)
        return comps


def parse_text(text, filename='<text>'):
    return Parser(text, filename).parse_modules()
