"""The attributes of the entity classes: members, the four operations by name, and
the typed accessors.

Every body is a chain of name tests, each followed by one call into the hand-written
rules of ifc4/entities/AttrAccess.h; which rule is called depends only on the member's
value kind, looked up in the tables below.
"""

from __future__ import annotations

from typing import List

from attrmodel import Attr, EntityClass

NS = "QD_SDAI::"

# The rule each operation calls, by value kind.
GET = {"integer": "getValue", "real": "getValue", "boolean": "getValue", "logical": "getValue",
       "guid": "getValue", "entity": "getValue", "enumeration": "getValue", "binary": "getValue",
       "string": "getText", "select": "getSelect", "aggregate": "getAggr", "nested": "getAggr"}
PUT = {"integer": "putScalar", "real": "putScalar", "boolean": "putScalar", "logical": "putScalar",
       "guid": "putScalar", "entity": "putScalar", "string": "putScalar", "binary": "putScalar",
       "select": "putScalar", "enumeration": "putEnum", "aggregate": "putAggr", "nested": "putNested"}

# Unset values a member gets in its declaration, and those assigned in the constructor.
INITIALISER = {"integer": " = QD_SDAI::Consts::QdIntUnset", "real": " = QD_SDAI::Consts::QdRealUnset"}


def get_rule(a: Attr) -> str:
    if a.role == "redeclared":
        return "detail::getRedeclared(value)"
    if a.role == "inverse":
        return f"detail::{'getValue' if a.single else 'getAggr'}({a.member}, value)"
    return f"detail::{GET[a.value.kind]}({a.member}, value)"


def put_rule(a: Attr) -> str:
    kind = "aggregate" if a.role == "inverse" else a.value.kind
    return f"detail::{PUT[kind]}({a.member}, value)"


def operation_names(c: EntityClass, operation: str) -> List[Attr]:
    """The names an operation tests, in its order."""
    if operation == "getAttr":
        return c.explicit + c.redeclared + c.inverses
    if operation == "putAttr":
        return c.put_names()
    return c.explicit


# ---- header -------------------------------------------------------------------------------

def includes(c: EntityClass) -> List[str]:
    out = []
    kinds = {a.value.kind for a in c.explicit}
    if kinds & {"integer", "real"}:
        out.append("#include <QdIfcCore/Consts.h>")
    if "guid" in kinds:
        out.append("#include <QdIfcCore/QdIfcGUID.h>")
    if "enumeration" in kinds:
        out.append("#include <QdIfc4/Enumerations.h>")
    if kinds & {"aggregate", "nested"} or any(not a.single for a in c.inverses):
        out.append("#include <QdIfcCore/QdIfcAggrTemplates.h>")
    selects = {a.value.cls for a in c.explicit if a.value.kind == "select"}
    selects |= {a.value.element.cls for a in c.explicit
                if a.value.kind == "aggregate" and a.value.element.kind == "select"}
    out += [f"#include <QdIfc4/selects/{s}.h>" for s in sorted(selects)]
    return out


def referenced_classes(c: EntityClass) -> List[str]:
    """Classes the pointer accessors return."""
    return sorted({a.value.cls for a in c.explicit if a.value.kind == "entity"})


def accessor_declarations(c: EntityClass) -> List[str]:
    out: List[str] = []
    for a in c.explicit:
        v, x, m = a.value, a.name, a.member
        out.append(f"  // {x}")
        if v.kind == "entity":
            out.append(f"  QD_SDAI::QdDbObjectId get{x}() const {{ return {m}; }}")
            out.append(f"  // The object, opened for reading and left open; null when there is none.")
            out.append(f"  {v.cls}* {x}() const;")
            out.append(f"  void set{x}(const QD_SDAI::QdDbObjectId& value) {{ {m} = value; }}")
        elif v.is_aggregate:
            out.append(f"  {v.cpp}& get{x}() {{ return {m}; }}")
            out.append(f"  const {v.cpp}& get{x}() const {{ return {m}; }}")
            out.append(f"  void get{x}({v.array_type}& out) const;")
            out.append(f"  void set{x}(const {v.cpp}& value) {{ {m} = value; }}")
            out.append(f"  void set{x}(const {v.array_type}& values);")
        else:
            out.append(f"  const {v.cpp}& get{x}() const {{ return {m}; }}")
            out.append(f"  void set{x}(const {v.cpp}& value) {{ {m} = value; }}")
    for a in c.inverses:
        if a.single:
            out.append(f"  QD_SDAI::QdDbObjectId getInv{a.name}() const {{ return {a.member}; }}")
        else:
            out.append(f"  void getInv{a.name}(QD_SDAI::QdIfcArray<QD_SDAI::QdDbObjectId>& out) const;")
    return out


def member_declarations(c: EntityClass) -> List[str]:
    out = []
    for a in c.explicit:
        out.append(f"  {a.cpp} {a.member}{INITIALISER.get(a.value.kind, '')};")
    for a in c.inverses:
        out.append(f"  {a.cpp} {a.member};  // inverse of {a.forward}.{a.inverts}")
    return out


def operation_declarations() -> List[str]:
    return ["  bool getAttr(const QD_SDAI::QdAnsiString& name, QD_SDAI::QdIfcVariant& value) const override;",
            "  bool putAttr(const QD_SDAI::QdAnsiString& name, const QD_SDAI::QdIfcVariant& value) override;",
            "  bool testAttr(const QD_SDAI::QdAnsiString& name) const override;",
            "  void unsetAttr(const QD_SDAI::QdAnsiString& name) override;",
            "  using QD_SDAI::QdIfcEntityBase::testAttr;"]


# ---- source ---------------------------------------------------------------------------

def constructor_body(c: EntityClass) -> List[str]:
    """Strings are given the unset text once every member exists; the binary stays empty."""
    return [f"  {a.member} = QD_SDAI::Consts::QdStringUnset;" for a in c.explicit if a.value.kind == "string"]


def test_rule(a: Attr) -> str:
    return f"detail::isSet({a.member})"


def unset_rule(a: Attr) -> str:
    return f"detail::unset({a.member})"


# The four operations: signature, access test, the call up the chain, the rule per name.
OPERATIONS = [
    ("getAttr", "bool {n}::getAttr(const QdAnsiString& name, QdIfcVariant& value) const", "checkRead",
     "getAttr(name, value)", get_rule),
    ("putAttr", "bool {n}::putAttr(const QdAnsiString& name, const QdIfcVariant& value)", "checkWrite",
     "putAttr(name, value)", put_rule),
    ("testAttr", "bool {n}::testAttr(const QdAnsiString& name) const", "checkRead", "testAttr(name)", test_rule),
    ("unsetAttr", "void {n}::unsetAttr(const QdAnsiString& name)", "checkWrite", "unsetAttr(name)", unset_rule),
]


def emit_operations(c: EntityClass) -> str:
    n = c.name
    out: List[str] = []
    for op, signature, check, up, rule in OPERATIONS:
        out.append(signature.format(n=n) + " {")
        out.append(f'  detail::{check}(this, "IFC4::{n}::{op}");')
        for a in operation_names(c, op):
            if a.value.kind == "binary" and op in ("testAttr", "unsetAttr"):
                out.append(f'  // "{a.key}": a binary is neither tested nor unset by name; the supertype answers.')
            else:
                out.append(f'  if (detail::named(name, "{a.key}")) return {rule(a)};')
        if c.supertype:
            out.append(f"  {'' if op == 'unsetAttr' else 'return '}{c.supertype}::{up};")
        elif op != "unsetAttr":
            out.append("  return false;")
        out.append("}\n")
    return "\n".join(out) + "\n"


def emit_accessors(c: EntityClass) -> str:
    """The accessors defined out of line: pointers to referenced objects and the array forms."""
    n = c.name
    out: List[str] = []
    for a in c.explicit:
        v, x, m = a.value, a.name, a.member
        if v.kind == "entity":
            out.append(f"{v.cls}* {n}::{x}() const {{ return static_cast<{v.cls}*>({m}.openObject()); }}")
        elif v.kind == "aggregate":
            out.append(f"void {n}::get{x}({v.array_type}& out) const {{ detail::exportAggr({m}, out); }}")
            out.append(f"void {n}::set{x}(const {v.array_type}& values) {{ detail::assignAggr({m}, values); }}")
        elif v.kind == "nested":
            out.append(f"void {n}::get{x}({v.array_type}& out) const {{ detail::exportNested({m}, out); }}")
            out.append(f"void {n}::set{x}(const {v.array_type}& values) {{ detail::assignNested({m}, values); }}")
    for a in c.inverses:
        if not a.single:
            out.append(f"void {n}::getInv{a.name}(QdIfcArray<QdDbObjectId>& out) const "
                       f"{{ detail::exportAggr({a.member}, out); }}")
    return "\n".join(out) + ("\n" if out else "")
