"""The C++ classes that the ASN.1 definitions turn into, and the BER facts about
them that both the model generator and the test filler need: class names and
members, how each component is held and tagged, the error-site codes and the
order in which the header must declare the classes.
"""

import asn1parse as P

CPP_KEYWORDS = set('''alignas alignof and and_eq asm auto bitand bitor bool break case catch char
char16_t char32_t class compl const constexpr const_cast continue decltype default delete do double
dynamic_cast else enum explicit export extern false float for friend goto if inline int long mutable
namespace new noexcept not not_eq nullptr operator or or_eq private protected public register
reinterpret_cast return short signed sizeof static static_assert static_cast struct switch template
this thread_local throw true try typedef typeid typename union unsigned using virtual void volatile
wchar_t while xor xor_eq errno NULL TRUE FALSE small near far interface min max'''.split())

CLS = {'UNIV': 0x00, 'APPL': 0x40, 'CNTX': 0x80, 'PRIV': 0xC0}
UNIV_TAG = {'INT': 2, 'ENUM': 10, 'BITS': 3, 'OCTS': 4, 'NULL': 5, 'BOOL': 1, 'OID': 6,
            'SEQUENCE': 16, 'SET': 17, 'SEQOF': 16, 'SETOF': 17}
PRIM_CLASS = {'INT': 'AsnInt', 'ENUM': 'AsnEnum', 'BITS': 'AsnBits', 'OCTS': 'AsnOcts',
              'NULL': 'AsnNull', 'BOOL': 'AsnBool', 'OID': 'AsnOid', 'STR': 'AsnOcts'}
BY_VALUE_BASES = {'AsnInt', 'AsnEnum', 'AsnOcts', 'AsnBool', 'AsnOid'}
CONSTRUCTED = ('SEQUENCE', 'SET', 'SEQOF', 'SETOF', 'CHOICE', 'OPEN')
STRINGS = ('OCTS', 'BITS', 'STR')
CONS_BIT = 0x20000000

# The runtime reads at most three octets after the first identifier octet.
MAX_TAG_NUMBER = (1 << 21) - 1


def cname(asn_name):
    return asn_name.replace('-', '_')


def mname(asn_name):
    n = asn_name.replace('-', '_')
    return n + '_' if n in CPP_KEYWORDS else n


def tag_value(cls, num, constructed):
    """The 32-bit tag the runtime compares: identifier octets left-aligned, a
    number of 31 or more in base-128 continuation octets."""
    if not 0 <= num <= MAX_TAG_NUMBER:
        raise SystemExit('tag number %d is out of range' % num)
    first = CLS[cls] | (0x20 if constructed else 0)
    if num < 31:
        return (first | num) << 24
    digits = []
    while True:
        digits.insert(0, num & 0x7F)
        num >>= 7
        if not num:
            break
    octets = [first | 0x1F] + [d | 0x80 for d in digits[:-1]] + [digits[-1]]
    v = 0
    for i, o in enumerate(octets):
        v |= o << (24 - 8 * i)
    return v


def read_optab(path):
    """Rows of the operation table: value, name, argument class, result class;
    error rows start with E."""
    rows = []
    with open(path) as f:
        for line in f:
            line = line.split('#')[0].strip()
            if line:
                rows.append(line.split())
    return rows


def load(files, ops_path):
    """Parses the definitions and builds their classes."""
    modules = []
    for fn in sorted(files):
        with open(fn, encoding='utf-8') as f:
            modules += P.parse_text(f.read(), fn)
    model = Model(modules, read_optab(ops_path))
    for row in model.optab:
        for cls in row[2:4]:
            if cls != '-' and cls not in model.types:
                raise SystemExit('operation table names unknown type ' + cls)
    model.build()
    return model


class Cls:
    """One C++ class to emit."""

    def __init__(self, name, typ, module):
        self.name = name
        self.type = typ
        self.module = module
        self.fields = []      # SEQUENCE/SET/CHOICE: [(Component, member ctype)]
        self.base = None      # derived classes
        self.external = module.externals.get(name)
        self.codes = {}       # error-site codes by component name, '#len', '#tag', '#choice'


class Model:
    def __init__(self, modules, optab):
        self.modules = modules
        self.optab = optab
        self.types = {}       # ASN.1 name -> (Type, Module)
        self.classes = []     # in definition order
        self.byname = {}
        self.aliases = {}     # untagged reference name -> (target ctype, module), in definition order
        self.string_types = set()
        for m in modules:
            for n, t in m.types:
                if n in self.types:
                    raise SystemExit('type %s defined twice' % n)
                self.types[n] = (t, m)

    # ---- type resolution ----------------------------------------------------
    def resolve(self, t):
        """Follows untagged references to the defining type; returns (Type, name or None)."""
        name = None
        seen = 0
        while t.kind == 'REF':
            if t.ref not in self.types:
                raise SystemExit('unknown type ' + t.ref)
            name = t.ref
            t = self.types[t.ref][0]
            seen += 1
            if seen > 50:
                raise SystemExit('reference loop at ' + name)
        return t, name

    @staticmethod
    def strip_tag(t):
        c = P.Type(t.kind)
        c.__dict__.update(t.__dict__)
        c.tag = None
        return c

    def tag_explicit(self, t, module):
        """Whether the tag on t (written in module) wraps the inner encoding."""
        mode = t.tag[2]
        inner, _ = self.resolve(self.strip_tag(t))
        if inner.kind in ('CHOICE', 'OPEN') and not inner.tag:
            return True  # an untagged CHOICE or open type has no tag to replace
        if mode in ('EXPLICIT', 'IMPLICIT'):
            return mode == 'EXPLICIT'
        return module.tagdefault != 'IMPLICIT'

    def wraps(self, inner, name):
        """Whether a referenced type carries an explicit tag of its own: an
        IMPLICIT tag then replaces that tag, and the encoding stays constructed."""
        return bool(inner.tag) and name is not None and self.tag_explicit(inner, self.types[name][1])

    def tag_of(self, t, module):
        """(tag, pc, explicit) of a type t as written in module: the tag in front of
        its encoding (0 for an untagged CHOICE or open type), whether a string
        type's primitive and constructed forms are both accepted, and whether the
        tag wraps the type's own complete encoding."""
        if t.tag:
            cls, num, _ = t.tag
            inner, name = self.resolve(self.strip_tag(t))
            explicit = self.tag_explicit(t, module)
            wraps = self.wraps(inner, name)
            tag = tag_value(cls, num, explicit or wraps or inner.kind in CONSTRUCTED)
            return tag, not explicit and not wraps and inner.kind in STRINGS, explicit
        if t.kind == 'REF':
            target, target_module = self.types[t.ref]
            tag, pc, _ = self.tag_of(target, target_module)
            return tag, pc, False
        if t.kind in ('CHOICE', 'OPEN'):
            return 0, False, False
        if t.kind == 'STR':
            return tag_value('UNIV', P.STRING_TAGS[t.ref], False), True, False
        return tag_value('UNIV', UNIV_TAG[t.kind], t.kind in CONSTRUCTED), t.kind in ('OCTS', 'BITS'), False

    def choice_tags(self, t, module):
        """Tags accepted by a component of untagged CHOICE type t written in module
        (both forms for string types)."""
        inner, name = self.resolve(t)
        if name:
            module = self.types[name][1]
        out = []
        for c in inner.components:
            tag, pc, _ = self.tag_of(c.type, module)
            if tag == 0:
                out += self.choice_tags(c.type, module)
            else:
                out.append(tag)
                if pc:
                    out.append(tag | CONS_BIT)
        return out

    def accepted_tags(self, comp, module):
        """Every tag that can start the encoding of a component (empty for open types)."""
        if comp.type.kind == 'OPEN':
            return set()
        tag, pc, _ = self.tag_of(comp.type, module)
        if tag == 0:
            return set(self.choice_tags(comp.type, module))
        return {tag & ~CONS_BIT, tag | CONS_BIT} if pc else {tag}

    def trial_components(self, c):
        """Optional SEQUENCE components that share a starting tag with a later component:
        the decoder tries them and, when the octets do not fit, offers the tag onwards."""
        tags = [self.accepted_tags(comp, c.module) for comp, _ in c.fields]
        return {comp.name for i, (comp, _) in enumerate(c.fields)
                if comp.optional and any(tags[i] & later for later in tags[i + 1:])}

    # ---- classes --------------------------------------------------------------
    def build(self):
        for m in self.modules:
            for n, t in m.types:
                if t.kind == 'REF' and not t.tag:
                    self.aliases[cname(n)] = (cname(t.ref), m)
                else:
                    self.define(cname(n), t, m)
        self.number_error_sites()

    def define(self, name, t, module):
        if name in self.byname:
            raise SystemExit('class name clash: ' + name)
        c = Cls(name, t, module)
        self.classes.append(c)
        self.byname[name] = c
        k = t.kind
        counters = {}
        if k in ('SEQUENCE', 'SET', 'CHOICE'):
            for comp in t.components:
                c.fields.append((comp, self.member_ctype(name, comp.type, counters, module)))
        elif k in ('SEQOF', 'SETOF'):
            c.base = 'AsnList<%s>' % self.element_ctype(name, t.elem, counters, module)
        elif k == 'REF':
            c.base = cname(t.ref)
        elif k == 'STR':
            self.string_types.add(t.ref)
            c.base = t.ref
        else:
            c.base = PRIM_CLASS[k]
        return c

    def member_ctype(self, parent, t, counters, module):
        """C++ type of a component or element of type t (defines inner classes)."""
        k = t.kind
        if k == 'REF':
            return cname(t.ref)
        if k in ('SEQUENCE', 'SET', 'CHOICE') or (k in ('ENUM', 'BITS') and t.named):
            suffix = {'SEQUENCE': 'Seq', 'SET': 'Set', 'CHOICE': 'Choice', 'ENUM': 'Enum', 'BITS': 'Bits'}[k]
            n = counters.get(suffix, 0)
            counters[suffix] = n + 1
            name = parent + suffix + (str(n) if n else '')
            self.define(name, self.strip_tag(t), module)
            return name
        if k in ('SEQOF', 'SETOF'):
            return 'AsnList<%s>' % self.element_ctype(parent, t.elem, counters, module)
        if k == 'OPEN':
            return 'AsnType'
        if k == 'STR':
            # A string written inline keeps its own universal tag inside an
            # explicit component tag.
            self.string_types.add(t.ref)
            return t.ref
        return PRIM_CLASS[k]

    def element_ctype(self, parent, t, counters, module):
        if t.tag:
            raise SystemExit('tagged list elements are not supported (%s)' % parent)
        return self.member_ctype(parent, t, counters, module)

    def unalias(self, ctype):
        while ctype in self.aliases:
            ctype = self.aliases[ctype][0]
        return ctype

    def base_prim(self, ctype):
        """The primitive runtime class at the root of ctype, or None."""
        for _ in range(50):
            if ctype in BY_VALUE_BASES or ctype in ('AsnBits', 'AsnNull'):
                return ctype
            if ctype in self.string_types or ctype in P.STRING_TAGS:
                return 'AsnOcts'
            if ctype in self.aliases:
                ctype = self.aliases[ctype][0]
            elif ctype in self.byname and self.byname[ctype].base:
                ctype = self.byname[ctype].base
                if ctype.startswith('AsnList'):
                    return None
            else:
                return None
        return None

    def holding(self, comp, ct):
        """'value' or 'ptr': how a SEQUENCE holds a component."""
        if comp.type.kind == 'OPEN' or comp.optional:
            return 'ptr'
        return 'value' if self.base_prim(ct) in BY_VALUE_BASES else 'ptr'

    def number_error_sites(self):
        """Every error site gets its own code, from -100 down within each module
        (or from a pinned first code), in the order of the classes."""
        next_code = {}
        used = {}
        for c in self.classes:
            if c.external:
                continue
            m = c.module.name
            code = c.module.codepins.get(c.name, next_code.get(m, -100))
            sites = []
            k = c.type.kind
            if k in ('SEQUENCE', 'SET'):
                sites = [comp.name for comp, _ in c.fields if not comp.optional] + ['#len', '#tag']
            elif k == 'CHOICE':
                sites = ['#choice'] + (['#tag'] if c.type.tag else [])
            elif c.type.tag or k in ('SEQOF', 'SETOF'):
                sites = ['#tag']
            for site in sites:
                if code in used.setdefault(m, set()):
                    raise SystemExit('error code %d used twice in %s' % (code, m))
                used[m].add(code)
                c.codes[site] = code
                code -= 1
            next_code[m] = code

    def declaration_order(self):
        """The classes with every class a member holds by value, a list holds or a
        class derives from ahead of its user."""
        order = []
        seen = set()

        def visit(c):
            if c.name in seen:
                return
            seen.add(c.name)
            deps = []
            if c.base:
                deps.append(c.base[8:-1] if c.base.startswith('AsnList<') else c.base)
            for comp, ct in c.fields:
                if self.holding(comp, ct) == 'value':
                    deps.append(ct)
                if ct.startswith('AsnList<'):
                    deps.append(ct[8:-1])
            for d in deps:
                d = self.unalias(d)
                if d in self.byname:
                    visit(self.byname[d])
            order.append(c)
        for c in self.classes:
            visit(c)
        return order

