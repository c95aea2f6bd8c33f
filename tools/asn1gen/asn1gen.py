#!/usr/bin/env python3
"""Generates the C++ message model (namespace CSTA3V6) from the ASN.1 definitions.

usage: asn1gen.py --out DIR --parts N --ops operations.tab file.asn...

Writes DIR/csta3_model.h (all classes), DIR/csta3_model_<i>.cpp (component
tables and out-of-line members, split for parallel builds) and
DIR/csta3_factory.cpp (operation-value and error-value factories).
"""

import argparse
import os
import re
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import asn1parse as P  # noqa: E402

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
FACTORY_OF = {'argument': 'ArgumentOps', 'result': 'ResultOps', 'parameter': 'ParameterOps'}


def cname(asn_name):
    return asn_name.replace('-', '_')


def mname(asn_name):
    n = asn_name.replace('-', '_')
    return n + '_' if n in CPP_KEYWORDS else n


def tag_value(cls, num, constructed):
    first = CLS[cls] | (0x20 if constructed else 0)
    if num < 31:
        return (first | num) << 24
    t = (first | 0x1F) << 24
    if num < 0x80:
        return t | (num << 16)
    return t | ((0x80 | (num >> 7)) << 16) | ((num & 0x7F) << 8)


class Cls:
    """One C++ class to emit."""

    def __init__(self, name, typ, module):
        self.name = name
        self.type = typ
        self.module = module
        self.fields = []      # for SEQUENCE/CHOICE: [(Component, member ctype, holding, Cls or None)]
        self.base = None      # for derived classes
        self.external = None
        self.codes = {}


class Gen:
    def __init__(self, modules, optab):
        self.modules = modules
        self.optab = optab
        self.types = {}       # ASN.1 name -> (Type, Module)
        self.classes = []     # in definition order
        self.byname = {}
        self.aliases = []     # (name, target ctype)
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

    def wraps(self, inner, name):
        """Whether a referenced type carries an explicit tag of its own: an
        IMPLICIT tag then replaces that tag, and the encoding stays constructed."""
        return bool(inner.tag) and name is not None and self.tag_explicit(inner, self.types[name][1])

    def own_tag(self, t):
        """(tag value, pc) of a type as written with no field tag; (0, False) for an
        untagged CHOICE or open type."""
        if t.tag:
            cls, num, mode = t.tag
            base, name = self.resolve(self.strip_tag(t))
            cons = self.is_constructed(base) or self.tag_explicit(t) or self.wraps(base, name)
            return tag_value(cls, num, cons), (not cons and base.kind in ('OCTS', 'BITS', 'STR'))
        if t.kind == 'REF':
            return self.own_tag(self.types[t.ref][0])
        if t.kind in ('CHOICE', 'OPEN'):
            return 0, False
        if t.kind == 'STR':
            return tag_value('UNIV', P.STRING_TAGS[t.ref], False), True
        num = UNIV_TAG[t.kind]
        cons = t.kind in ('SEQUENCE', 'SET', 'SEQOF', 'SETOF')
        return tag_value('UNIV', num, cons), t.kind in ('OCTS', 'BITS')

    def strip_tag(self, t):
        c = P.Type(t.kind)
        c.__dict__.update(t.__dict__)
        c.tag = None
        return c

    def is_constructed(self, t):
        return t.kind in ('SEQUENCE', 'SET', 'SEQOF', 'SETOF', 'CHOICE', 'OPEN')

    def tag_explicit(self, t, module=None):
        """Whether the tag on t wraps the inner encoding."""
        cls, num, mode = t.tag
        inner, _ = self.resolve(self.strip_tag(t))
        if inner.kind in ('CHOICE', 'OPEN') and not inner.tag:
            return True  # an untagged CHOICE or open type has no tag to replace
        if mode == 'EXPLICIT':
            return True
        if mode == 'IMPLICIT':
            return False
        return (module or self.cur_module).tagdefault != 'IMPLICIT'

    def choice_tags(self, t):
        """Tags accepted by an untagged CHOICE (both forms for string types)."""
        out = []
        for c in t.components:
            tag, pc = self.field_tag(c.type)
            if tag == 0:
                inner, _ = self.resolve(c.type)
                out += self.choice_tags(inner)
            else:
                out.append(tag)
                if pc:
                    out.append(tag | 0x20000000)
        return out

    def field_tag(self, t):
        """(tag, pc, explicit) for a component of type t."""
        if t.tag:
            tag, pc = self.own_tag(t)
            return tag, pc
        return self.own_tag(t)

    # ---- classes --------------------------------------------------------------
    def add_class(self, name, t, module):
        if name in self.byname:
            raise SystemExit('class name clash: ' + name)
        c = Cls(name, t, module)
        c.external = module.externals.get(name) if hasattr(module, 'externals') else None
        self.classes.append(c)
        self.byname[name] = c
        return c

    def member_ctype(self, parent, t, counters, module):
        """C++ type of a component or element of type t (creates inner classes)."""
        k = t.kind
        if k == 'REF':
            tgt = self.types[t.ref][0]
            return cname(t.ref)
        if k in ('SEQUENCE', 'SET', 'CHOICE') or (k in ('ENUM', 'BITS') and t.named):
            suffix = {'SEQUENCE': 'Seq', 'SET': 'Set', 'CHOICE': 'Choice', 'ENUM': 'Enum', 'BITS': 'Bits'}[k]
            n = counters.get(suffix, 0)
            counters[suffix] = n + 1
            name = parent + suffix + (str(n) if n else '')
            inner = self.strip_tag(t)
            self.define(name, inner, module)
            return name
        if k in ('SEQOF', 'SETOF'):
            return 'AsnList<%s>' % self.element_ctype(parent, t.elem, counters, module)
        if k == 'OPEN':
            return 'AsnType'
        if k == 'ENUM':
            return 'AsnEnum'
        if k == 'STR':
            # A string written inline keeps its own universal tag inside an
            # explicit component tag.
            self.string_types.add(t.ref)
            return t.ref
        return PRIM_CLASS[k]

    def element_ctype(self, parent, t, counters, module):
        if t.tag:
            raise SystemExit('tagged list elements are not supported (%s)' % parent)
        if t.kind == 'STR':
            self.string_types.add(t.ref)
            return t.ref
        return self.member_ctype(parent, t, counters, module)

    def define(self, name, t, module):
        k = t.kind
        c = self.add_class(name, t, module)
        counters = {}
        if k in ('SEQUENCE', 'SET', 'CHOICE'):
            for comp in t.components:
                ct = self.member_ctype(name, comp.type, counters, module)
                c.fields.append((comp, ct))
        elif k in ('SEQOF', 'SETOF'):
            c.base = 'AsnList<%s>' % self.element_ctype(name, t.elem, counters, module)
        elif k == 'REF':
            c.base = cname(t.ref)
        elif k == 'STR':
            self.string_types.add(t.ref)
            c.base = t.ref
        elif k == 'ENUM':
            c.base = 'AsnEnum'
        else:
            c.base = PRIM_CLASS[k]
        return c

    def build(self):
        for m in self.modules:
            self.cur_module = m
            for n, t in m.types:
                if t.kind == 'REF' and not t.tag:
                    self.aliases.append((cname(n), cname(t.ref), m))
                    continue
                self.define(cname(n), t, m)

    # ---- helpers for emission ----------------------------------------------------
    def base_prim(self, ctype):
        """The primitive runtime class at the root of ctype, or None."""
        seen = 0
        while True:
            if ctype in BY_VALUE_BASES or ctype in ('AsnBits', 'AsnNull'):
                return ctype
            if ctype in self.string_types or ctype in P.STRING_TAGS:
                return 'AsnOcts'
            al = [a for a in self.aliases if a[0] == ctype]
            if al:
                ctype = al[0][1]
            elif ctype in self.byname and self.byname[ctype].base and not ctype.startswith('AsnList'):
                ctype = self.byname[ctype].base
                if ctype.startswith('AsnList'):
                    return None
            else:
                return None
            seen += 1
            if seen > 50:
                return None


def tagc(v):
    return '0x%08Xu' % v


def emit(gen, outdir, parts):
    classes = [c for c in gen.classes]
    # Error sites, numbered per module in order.
    next_code = {}
    used = {}
    for c in classes:
        m = c.module
        code = next_code.get(m.name, -100)
        pin = m.codepins.get(c.name)
        if pin is not None:
            code = pin

        def take():
            nonlocal code
            v = code
            code -= 1
            if v in used.setdefault(m.name, set()):
                raise SystemExit('error code %d used twice in %s' % (v, m.name))
            used[m.name].add(v)
            return v
        k = c.type.kind
        if c.external:
            pass
        elif k in ('SEQUENCE', 'SET'):
            for comp, ct in c.fields:
                if not comp.optional:
                    c.codes[comp.name] = take()
            c.codes['#len'] = take()
            c.codes['#tag'] = take()
        elif k == 'CHOICE':
            c.codes['#choice'] = take()
            if c.type.tag:
                c.codes['#tag'] = take()
        elif c.type.tag or k in ('SEQOF', 'SETOF'):
            c.codes['#tag'] = take()
        next_code[m.name] = code

    # Order: classes needed by value (or as list elements / bases) come first.
    order = []
    state = {}

    def visit(c):
        if state.get(c.name) == 2:
            return
        if state.get(c.name) == 1:
            return
        state[c.name] = 1
        deps = []
        if c.base:
            b = c.base[8:-1] if c.base.startswith('AsnList<') else c.base
            deps.append(b)
        for comp, ct in c.fields:
            if holding(gen, comp, ct) == 'value':
                deps.append(ct)
            if ct.startswith('AsnList<'):
                deps.append(ct[8:-1])
        for d in deps:
            while True:
                al = [a for a in gen.aliases if a[0] == d]
                if not al:
                    break
                d = al[0][1]
            if d in gen.byname:
                visit(gen.byname[d])
        state[c.name] = 2
        order.append(c)
    for c in classes:
        visit(c)

    h = []
    h.append('// Generated by tools/asn1gen from csta3/asn1; do not edit.\n')
    h.append('#ifndef K3_CSTA3_MODEL_H\n#define K3_CSTA3_MODEL_H\n\n#include <cstdint>\n\n#include "asn/asn.h"\n#include "asn/asn_gen.h"\n')
    for hdr in sorted({c.external for c in classes if c.external}):
        h.append('#include "%s"\n' % hdr)
    h.append('\nnamespace CSTA3V6 {\n\n')
    for s in sorted(gen.string_types):
        h.append('using %s = AsnStringT<%d>;\n' % (s, P.STRING_TAGS[s]))
    for c in classes:
        if not c.external:
            h.append('class %s;\n' % c.name)
    # Untagged references are aliases of their target class.
    pending = list(gen.aliases)
    known = {c.name for c in classes} | set(gen.string_types)
    while pending:
        rest = []
        for a, tgt, m in pending:
            if tgt in known:
                h.append('using %s = %s;\n' % (a, tgt))
                known.add(a)
            else:
                rest.append((a, tgt, m))
        if len(rest) == len(pending):
            raise SystemExit('unresolved aliases: %r' % rest)
        pending = rest
    emitted = set()
    h.append('\n')
    for c in order:
        if not c.external:
            h.append(class_decl(gen, c))
        emitted.add(c)
    h.append('''
// Fresh empty objects for the open components; a value the model does not know
// yields a bare AsnType, which prints "Unknown operation-value" and decodes nothing.
AsnType *ArgumentFactory(int32_t operationValue);
AsnType *ResultFactory(int32_t operationValue);
AsnType *ParameterFactory(int32_t errorValue);
const GenOps *ArgumentOps(int32_t operationValue);
const GenOps *ResultOps(int32_t operationValue);
const GenOps *ParameterOps(int32_t errorValue);

}  // namespace CSTA3V6

#endif
''')
    os.makedirs(outdir, exist_ok=True)
    write_if_changed(os.path.join(outdir, 'csta3_model.h'), ''.join(h))

    impl = [c for c in classes if not c.external]
    n = max(1, parts)
    chunks = [impl[i::n] for i in range(n)]
    for i, chunk in enumerate(chunks):
        out = ['// Generated by tools/asn1gen from csta3/asn1; do not edit.\n',
               '#include <cstddef>\n\n#include "csta3_model.h"\n\n',
               '#if defined(__GNUC__)\n#pragma GCC diagnostic ignored "-Winvalid-offsetof"\n#endif\n\n',
               'namespace CSTA3V6 {\n']
        for c in chunk:
            out.append(class_impl(gen, c))
        out.append('\n}  // namespace CSTA3V6\n')
        write_if_changed(os.path.join(outdir, 'csta3_model_%d.cpp' % i), ''.join(out))

    f = ['// Generated by tools/asn1gen from csta3/asn1; do not edit.\n#include "csta3_model.h"\n#include "csta3_names.h"\n\nnamespace CSTA3V6 {\n\n']
    for fn, col in (('ArgumentOps', 2), ('ResultOps', 3)):
        f.append('const GenOps *%s(int32_t v) {\n  switch (v) {\n' % fn)
        for row in gen.optab:
            if row[col] != '-' and not row[0].startswith('E'):
                f.append('    case %s: return &GenOpsOf<%s>::ops;\n' % (row[0], cname(row[col])))
        f.append('    default: return &kGenUnknownOps;\n  }\n}\n\n')
    f.append('const GenOps *ParameterOps(int32_t v) {\n  switch (v) {\n')
    # Error rows of the table: E<value> <name> - <parameter class>.
    for row in gen.optab:
        if row[0].startswith('E'):
            f.append('    case %s: return &GenOpsOf<%s>::ops;\n' % (row[0][1:], cname(row[3])))
    f.append('    default: return &kGenUnknownOps;\n  }\n}\n\n')
    for fn in ('Argument', 'Result', 'Parameter'):
        arg = 'errorValue' if fn == 'Parameter' else 'operationValue'
        f.append('AsnType *%sFactory(int32_t %s) { return %sOps(%s)->create(); }\n' % (fn, arg, fn, arg))
    f.append('\nconst char *OperationName(int32_t v) {\n  switch (v) {\n')
    for row in gen.optab:
        if not row[0].startswith('E'):
            f.append('    case %s: return "%s";\n' % (row[0], row[1][:1].lower() + row[1][1:]))
    f.append('    default: return nullptr;\n  }\n}\n')
    f.append('\n}  // namespace CSTA3V6\n')
    write_if_changed(os.path.join(outdir, 'csta3_factory.cpp'), ''.join(f))
    # Kept apart from csta3_model.h so that tools reading names need not rebuild the model.
    write_if_changed(os.path.join(outdir, 'csta3_names.h'), '''// Generated by tools/asn1gen from csta3/asn1; do not edit.
#ifndef CSTA3_NAMES_H
#define CSTA3_NAMES_H

#include <cstdint>

namespace CSTA3V6 {

// The operation's value name ("escape", "cSTAEventReport"), or null when the
// model does not know the value.
const char *OperationName(int32_t operationValue);

}  // namespace CSTA3V6

#endif
''')
    return len(classes), len(impl)


def write_if_changed(path, text):
    if os.path.exists(path):
        with open(path) as f:
            if f.read() == text:
                return
    with open(path, 'w') as f:
        f.write(text)


def holding(gen, comp, ct):
    if comp.type.kind == 'OPEN':
        return 'ptr'
    if comp.optional:
        return 'ptr'
    return 'value' if gen.base_prim(ct) in BY_VALUE_BASES else 'ptr'


def class_decl(gen, c):
    k = c.type.kind
    n = c.name
    common = ('  %s(const %s &o);\n  %s &operator=(const %s &o);\n  ~%s() override;\n'
              '  AsnLen BEnc(AsnBuf &b) const;\n  AsnLen BEncContent(AsnBuf &b) const;\n'
              '  void BDec(AsnBuf &b, AsnLen &bytesDecoded);\n'
              '  void BDecContent(AsnBuf &b, AsnTag tagId, AsnLen elmtLen, AsnLen &bytesDecoded);\n'
              '  void Print(AsnPrintStream &os) const override;\n') % (n, n, n, n, n)
    if k in ('SEQUENCE', 'SET'):
        s = 'class %s : public AsnType {\n public:\n' % n
        for comp, ct in c.fields:
            if holding(gen, comp, ct) == 'value':
                s += '  %s %s;\n' % (ct, mname(comp.name))
            else:
                s += '  %s *%s = nullptr;\n' % (ct, mname(comp.name))
        s += '\n  %s() = default;\n' % n + common + '};\n\n'
        return s
    if k == 'CHOICE':
        s = 'class %s : public AsnType {\n public:\n  enum ChoiceIdEnum : uint32_t {\n' % n
        s += ',\n'.join('    %sCid = %d' % (mname(comp.name).rstrip('_'), i) for i, (comp, ct) in enumerate(c.fields))
        s += '\n  };\n  ChoiceIdEnum choiceId = ChoiceIdEnum(0);\n  union {\n    AsnType *alternative = nullptr;\n'
        for comp, ct in c.fields:
            s += '    %s *%s;\n' % (ct, mname(comp.name))
        s += '  };\n\n  %s() = default;\n' % n + common + '};\n\n'
        return s
    # Derived classes: lists, retagged types, primitives with names.
    base = c.base
    ctor = base.split('<')[0] if base.startswith('AsnList<') else base
    s = 'class %s : public %s {\n public:\n  using %s::%s;\n  %s() = default;\n' % (n, base, base, ctor, n)
    if needs_own_codec(gen, c):
        s += ('  AsnLen BEnc(AsnBuf &b) const;\n  void BDec(AsnBuf &b, AsnLen &bytesDecoded);\n')
        if c.type.tag and gen.tag_explicit(c.type, c.module):
            s += ('  AsnLen BEncContent(AsnBuf &b) const;\n'
                  '  void BDecContent(AsnBuf &b, AsnTag tagId, AsnLen elmtLen, AsnLen &bytesDecoded);\n')
    if k in ('INT', 'ENUM') and c.type.named or (k == 'BITS' and c.type.named) or needs_print(gen, c):
        s += '  void Print(AsnPrintStream &os) const override;\n'
    s += '};\n\n'
    return s


def needs_print(gen, c):
    return False


def needs_own_codec(gen, c):
    return bool(c.type.tag) or c.type.kind in ('SEQOF', 'SETOF')


def accepted_tags(gen, c, comp):
    """Every tag that can start the encoding of a component (empty for open types)."""
    t = comp.type
    if t.kind == 'OPEN':
        return set()
    if t.tag:
        explicit = gen.tag_explicit(t, c.module)
        cls, num, mode = t.tag
        inner, name = gen.resolve(gen.strip_tag(t))
        wraps = gen.wraps(inner, name)
        tag = tag_value(cls, num, explicit or wraps or gen.is_constructed(inner))
        pc = not explicit and not wraps and inner.kind in ('OCTS', 'BITS', 'STR')
    else:
        tag, pc = gen.own_tag(t)
        if tag == 0:
            inner, _ = gen.resolve(t)
            return set(gen.choice_tags(inner))
    return {tag & ~0x20000000, tag | 0x20000000} if pc else {tag}


def trial_components(gen, c):
    """Optional SEQUENCE components that share a starting tag with a later component:
    the decoder tries them and, when the octets do not fit, offers the tag onwards."""
    tags = [accepted_tags(gen, c, comp) for comp, _ in c.fields]
    out = set()
    for i, (comp, _) in enumerate(c.fields):
        if comp.optional and any(tags[i] & later for later in tags[i + 1:]):
            out.add(comp.name)
    return out


def field_entry(gen, c, comp, ct, idx_of, trial=()):
    t = comp.type
    flags = []
    if comp.name in trial:
        flags.append('GF_TRIAL')
    hold = holding(gen, comp, ct)
    if hold == 'ptr':
        flags.append('GF_PTR')
    if comp.optional:
        flags.append('GF_OPT')
    tags = 'nullptr'
    definedby = -1
    factory = 'nullptr'
    if t.kind == 'OPEN':
        flags.append('GF_OPEN')
        tag = 0
        ops = '&kGenUnknownOps'
        definedby = idx_of[t.ref]
        factory = FACTORY_OF[comp.name]
    else:
        ops = '&GenOpsOf<%s>::ops' % ct
        if t.tag:
            explicit = gen.tag_explicit(t, c.module)
            cls, num, mode = t.tag
            inner, name = gen.resolve(gen.strip_tag(t))
            wraps = gen.wraps(inner, name)
            cons = explicit or wraps or gen.is_constructed(inner)
            tag = tag_value(cls, num, cons)
            if explicit:
                flags.append('GF_EXPLICIT')
            elif inner.kind in ('OCTS', 'BITS', 'STR') and not wraps:
                flags.append('GF_PC')
        else:
            tag, pc = gen.own_tag(t)
            if pc:
                flags.append('GF_PC')
            if tag == 0:
                inner, _ = gen.resolve(t)
                tags = 'k%s_%s_tags' % (c.name, mname(comp.name))
    code = c.codes.get(comp.name, 0)
    return ('  {"%s", %s, %s, %s, %s, %s, %d, %s, %d}' % (
        comp.name, ops, 'offsetof(%s, %s)' % (c.name, mname(comp.name)) if c.type.kind != 'CHOICE' else '0',
        tagc(tag), tags, '|'.join(flags) or '0', definedby, factory, code))


def class_impl(gen, c):
    k = c.type.kind
    n = c.name
    gen.cur_module = c.module
    out = ['\n// %s\n' % n]
    if k in ('SEQUENCE', 'SET', 'CHOICE'):
        idx_of = {comp.name: i for i, (comp, ct) in enumerate(c.fields)}
        trial = trial_components(gen, c) if k != 'CHOICE' else set()
        for comp, ct in c.fields:
            t = comp.type
            if t.kind != 'OPEN' and not t.tag and gen.own_tag(t)[0] == 0:
                inner, _ = gen.resolve(t)
                tl = gen.choice_tags(inner)
                out.append('static const AsnTag k%s_%s_tags[] = {%s, 0};\n' % (n, mname(comp.name), ', '.join(tagc(x) for x in tl)))
        out.append('static const GenField k%s_fields[] = {\n%s\n};\n' % (
            n, ',\n'.join(field_entry(gen, c, comp, ct, idx_of, trial) for comp, ct in c.fields)))
        if k == 'CHOICE':
            own = gen.own_tag(c.type)[0] if c.type.tag else 0
            out.append('static const GenChoiceInfo k%s_info = {"%s", offsetof(%s, choiceId), offsetof(%s, alternative), %s, k%s_fields, %d, %d, %d};\n' % (
                n, n, n, n, tagc(own), n, len(c.fields), c.codes['#choice'], c.codes.get('#tag', 0)))
            out.append('K3_GEN_CHOICE(%s, k%s_info)\n' % (n, n))
        else:
            own = gen.own_tag(c.type)[0]
            out.append('static const GenSeqInfo k%s_info = {"%s", %s, k%s_fields, %d, %d, %d};\n' % (
                n, n, tagc(own), n, len(c.fields), c.codes['#len'], c.codes['#tag']))
            out.append('K3_GEN_SEQUENCE(%s, k%s_info)\n' % (n, n))
        return ''.join(out)
    base = c.base
    if needs_own_codec(gen, c):
        tag, pc = gen.own_tag(c.type)
        if c.type.tag and gen.tag_explicit(c.type, c.module):
            out.append('AsnLen %s::BEncContent(AsnBuf &b) const { return %s::BEnc(b); }\n' % (n, base))
            # The wrapper's length is checked with the type's own error code.
            out.append('void %s::BDecContent(AsnBuf &b, AsnTag, AsnLen len, AsnLen &n) {\n'
                       '  AsnLen inner = 0;\n  %s::BDec(b, inner);\n'
                       '  GenExplicitEnd(b, len, inner, %d);\n  n += inner;\n}\n' % (n, base, c.codes['#tag']))
        out.append('AsnLen %s::BEnc(AsnBuf &b) const { return GenTaggedBEnc(b, %s, BEncContent(b)); }\n' % (n, tagc(tag)))
        out.append('void %s::BDec(AsnBuf &b, AsnLen &bytesDecoded) {\n  AsnTag t;\n  AsnLen n = 0;\n'
                   '  AsnLen len = GenTaggedBDecHeader(b, %s, %s, "%s", %d, t, n);\n'
                   '  BDecContent(b, t, len, n);\n  bytesDecoded += n;\n}\n' % (
                       n, tagc(tag), 'true' if pc else 'false', n, c.codes['#tag']))
    if k in ('INT', 'ENUM') and c.type.named:
        out.append('void %s::Print(AsnPrintStream &os) const { GenPrintNamedInt(*this, os); }\n' % n)
    if k == 'BITS' and c.type.named:
        out.append('static const GenBitName k%s_bits[] = {%s};\n' % (
            n, ', '.join('{%d, "%s"}' % (num, nm) for nm, num in c.type.named)))
        out.append('void %s::Print(AsnPrintStream &os) const { GenPrintNamedBits(*this, k%s_bits, %d, os); }\n' % (
            n, n, len(c.type.named)))
    return ''.join(out)


def read_optab(path):
    rows = []
    with open(path) as f:
        for line in f:
            line = line.split('#')[0].strip()
            if line:
                rows.append(line.split())
    return rows


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument('--out', required=True)
    ap.add_argument('--parts', type=int, default=8)
    ap.add_argument('--ops', required=True)
    ap.add_argument('--fill', help='also write the round-trip test filler to this file')
    ap.add_argument('--fill-avoid', action='append', default=[], metavar='CLASS.ALTERNATIVE',
                    help='the filler never chooses this CHOICE alternative')
    ap.add_argument('--fill-no-defaults', action='store_true',
                    help='the filler leaves components with a DEFAULT absent')
    ap.add_argument('files', nargs='+')
    a = ap.parse_args()
    modules = []
    for fn in sorted(a.files):
        with open(fn, encoding='utf-8') as f:
            text = f.read()
        mods = P.parse_text(text, fn)
        modules += mods
    gen = Gen(modules, read_optab(a.ops))
    for row in gen.optab:
        for cls in row[2:4]:
            if cls != '-' and cls not in gen.types:
                raise SystemExit('operation table names unknown type ' + cls)
    gen.build()
    total, emitted = emit(gen, a.out, a.parts)
    if a.fill:
        emit_fill(gen, a.fill, set(a.fill_avoid), a.fill_no_defaults)
    print('asn1gen: %d classes (%d generated)' % (total, emitted))



def int_range(t):
    """(low, high) of an INTEGER value range constraint, None when there is none."""
    m = re.match(r'\(\s*(-?\d+)\s*\.\.\s*(-?\d+|MAX)\s*\)$', (t.constraint or '').strip())
    if not m:
        return None
    lo = int(m.group(1))
    hi = lo + 1000 if m.group(2) == 'MAX' else int(m.group(2))
    return lo, hi


def size_range(t):
    """(low, high) of a string's SIZE constraint, None when there is none."""
    if t.kind not in ('OCTS', 'STR'):
        return None
    m = re.search(r'SIZE\s*\(\s*(\d+)\s*(?:\.\.\s*(\d+|MAX)\s*)?\)', t.constraint or '')
    if not m:
        return None
    lo = int(m.group(1))
    hi = lo if m.group(2) is None else lo + 32 if m.group(2) == 'MAX' else int(m.group(2))
    return lo, hi


def fill_call(t, target, v):
    """The filler call for a component of type t, keeping to its constraint."""
    size, span = size_range(t), int_range(t) if t.kind == 'INT' else None
    if size:
        return 'FillSized(%s, %s, %d, %d)' % (target, v, size[0], size[1])
    if span:
        return '(%s).value = %d + int32_t(unsigned(%s) %% %du)' % (target, span[0], v, span[1] - span[0] + 1)
    return 'Fill(%s, %s, depth + 1)' % (target, v)


def emit_fill(gen, path, avoid=frozenset(), no_defaults=False):
    """Test support: fills every component of every class (round-trip tests)."""
    classes = [c for c in gen.classes if not c.external]
    out = ['// Generated by tools/asn1gen for the model tests; do not edit.\n',
           '#include "csta3_model.h"\n#include "tests/csta3/fill_support.h"\n\nnamespace CSTA3V6 {\n\n']
    for c in classes:
        out.append('void Fill(%s &x, int v, int depth);\n' % c.name)
    out.append('\n')
    for c in classes:
        k = c.type.kind
        out.append('void Fill(%s &x, int v, int depth) {\n' % c.name)
        if k in ('SEQUENCE', 'SET'):
            for comp, ct in c.fields:
                m = mname(comp.name)
                if comp.type.kind == 'OPEN':
                    # An open component gets a class the factory knows: the first
                    # operation of the table (argument, result) or error value 1.
                    if comp.name == 'parameter':
                        val, cls = 1, 'UniversalFailure'
                    else:
                        col = 2 if comp.name == 'argument' else 3
                        row = [r for r in gen.optab if r[col] != '-' and not r[0].startswith('E')][0]
                        val, cls = int(row[0]), cname(row[col])
                    out.append('  x.%s.value = %d; x.%s = new %s; Fill(*static_cast<%s *>(x.%s), v, depth + 1);\n' % (
                        mname(comp.type.ref), val, m, cls, cls, m))
                    continue
                if no_defaults and comp.default is not None:
                    continue
                if holding(gen, comp, ct) == 'value':
                    out.append('  %s;\n' % fill_call(comp.type, 'x.' + m, 'v'))
                else:
                    cond = 'depth < kMaxDepth' if comp.optional else 'true'
                    out.append('  if (%s) { x.%s = new %s; %s; }\n' % (cond, m, ct, fill_call(comp.type, '*x.' + m, 'v')))
        elif k == 'CHOICE':
            alts = [(i, comp, ct) for i, (comp, ct) in enumerate(c.fields) if c.name + '.' + comp.name not in avoid]
            nalt = len(alts)
            out.append('  switch (unsigned(v) %% %du) {\n' % nalt)
            for j, (i, comp, ct) in enumerate(alts):
                m = mname(comp.name)
                fill = fill_call(comp.type, '*x.' + m, 'v / %d' % nalt)
                out.append('    case %d: x.choiceId = %s::ChoiceIdEnum(%d); x.%s = new %s; %s; break;\n' % (
                    j, c.name, i, m, ct, fill))
            out.append('  }\n')
        elif k == 'ENUM' and c.type.named:
            # Only the named values are valid.
            out.append('  static const int32_t values[] = {%s};\n  x.value = values[unsigned(v) %% %du];\n' % (
                ', '.join(str(num) for _, num in c.type.named), len(c.type.named)))
        elif k == 'BITS' and c.type.named:
            # Named bits only, the last one set: no trailing zero bits to drop.
            n = max(num for _, num in c.type.named) + 1
            out.append('  static_cast<AsnBits &>(x) = AsnBits(%d);\n  x.SetBit(unsigned(v) %% %du);\n  x.SetBit(%d);\n' % (n, n, n - 1))
        elif k in ('OCTS', 'STR') and size_range(c.type):
            out.append('  FillSized(x, v, %d, %d);\n' % size_range(c.type))
        elif k == 'INT' and int_range(c.type):
            lo, hi = int_range(c.type)
            out.append('  x.value = %d + int32_t(unsigned(v) %% %du);\n' % (lo, hi - lo + 1))
        else:
            base = c.base
            out.append('  Fill(static_cast<%s &>(x), v, depth);\n' % base)
        out.append('}\n\n')
    out.append('const Case kCases[] = {\n')
    for c in classes:
        n = len(c.fields) if c.type.kind == 'CHOICE' else 1
        out.append('  {"%s", &RunCase<%s>, %d, &FillAs<%s>},\n' % (c.name, c.name, max(3, n), c.name))
    out.append('};\nconst size_t kCaseCount = sizeof kCases / sizeof kCases[0];\n\n}  // namespace CSTA3V6\n')
    write_if_changed(path, ''.join(out))


if __name__ == '__main__':
    main()
