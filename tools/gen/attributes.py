"""The attributes of the entity classes: members, typed accessors, and the rows of
the class's attribute table.

A row names the attribute, where its member lies (QDIFC4_AT: its offset) and what it holds; the
hand-written interpreter (core/src/QdIfcClassTable.cpp) serves getAttr, putAttr,
testAttr, unsetAttr, the record's fields and the inverse links from the rows. The
rows of a class stand in getAttr's order: explicit attributes, those the class
redeclares as derived, inverses. Each row is one call of a row helper of
entities/MemberClasses.h, chosen by the member's value kind.
"""

from __future__ import annotations

from typing import List, Optional, Tuple

from attrmodel import Attr, EntityClass, Kind, Role, Value



# The member kind of each value kind (QdIfcMemberKind).
MEMBER_KINDS = {k: "k" + k.value.capitalize() for k in Kind}

# Unset values a member gets in its declaration; the binary stays empty.
INITIALISER = {Kind.INTEGER: " = Consts::QdIntUnset", Kind.REAL: " = Consts::QdRealUnset",
               Kind.STRING: " = Consts::QdStringUnset"}


def operation_names(c: EntityClass, operation: str) -> List[Attr]:
    """The names an operation finds in the class's own rows, in row order."""
    if operation == "getAttr":
        return c.explicit + c.redeclared + c.inverses
    if operation == "putAttr":
        return c.put_names()
    return [a for a in c.explicit if a.value.kind is not Kind.BINARY]


def rows(c: EntityClass) -> List[Attr]:
    """The attributes of the class's table, in the order of its rows."""
    return c.explicit + c.redeclared + c.inverses


def member_class(v: Value) -> str:
    """The member class (entities/MemberClasses.h) of an enumeration, select or aggregate."""
    if v.kind is Kind.ENUMERATION:
        return f"enumOf<{v.cls}>"
    if v.kind is Kind.SELECT:
        return f"selectOf<{v.cls}>"
    if v.kind is Kind.NESTED:
        return f"nestedOf<{v.element_type}>"
    if v.element.kind is Kind.BINARY:
        return "kBinaryList"
    return f"{v.shape.value}Of<{v.element_type}>"


def bound(value: Optional[int]) -> str:
    return "kUnset" if value is None else str(value)


def marks(flags: List[str]) -> str:
    return " | ".join(flags) if flags else "0"


def row(c: EntityClass, a: Attr, extra: List[str], links: Optional[Tuple[str, int]]) -> str:
    """The row of attribute a in class c's table. extra: marks besides the optional one;
    links: the inverse links of a forward attribute, as (first link, count)."""
    at = f"QDIFC4_AT({a.name})"
    if a.role is Role.REDECLARED:
        return f'redeclaredRow({at}, {MEMBER_KINDS[a.value.kind]})'
    if a.role is Role.INVERSE:
        writable = any(a is w for w in c.writable)
        flags = (["kSingle"] if a.single else []) + (["kWritable"] if writable else [])
        target = f"&{a.value.cls}::g_pEntityType"
        tail = ", &setOf<QdDbObjectId>" if writable else ""
        return (f'inverseRow({at}, {marks(flags)}, {bound(a.lower)}, {bound(a.upper)}, {target}, '
                f'"{a.inverts}"{tail})')
    v = a.value
    m = marks((["kOpt"] if a.schema_optional else []) + extra)
    link = f", {links[0]}, {links[1]}" if links else ""
    if v.kind is Kind.ENTITY:
        return f'ref({at}, {m}, &{v.cls}::g_pEntityType{link})'
    if v.kind is Kind.ENUMERATION:
        return f'enumRow({at}, {m}, {member_class(v)})'
    if v.kind is Kind.SELECT:
        return f'selectRow({at}, {m}, {member_class(v)}{link})'
    if v.kind is Kind.AGGREGATE:
        return f'aggrRow({at}, {m}, {member_class(v)}, {bound(v.lower)}, {bound(v.upper)}{link})'
    if v.kind is Kind.NESTED:
        return f'nestedRow({at}, {m}, {member_class(v)}, {bound(v.lower)}, {bound(v.upper)})'
    return f'attr({at}, {MEMBER_KINDS[v.kind]}{"" if m == "0" else ", " + m})'


# ---- header -------------------------------------------------------------------------------

def includes(c: EntityClass) -> List[str]:
    """What a class's header includes besides its supertype's (or the entity frame, which
    brings the core's value and aggregate classes): enumerations and selects."""
    out = []
    if any(a.value.kind is Kind.ENUMERATION for a in c.explicit):
        out.append("#include <QdIfc4/Enumerations.h>")
    selects = {a.value.cls for a in c.explicit if a.value.kind is Kind.SELECT}
    selects |= {a.value.element.cls for a in c.explicit
                if a.value.kind is Kind.AGGREGATE and a.value.element.kind is Kind.SELECT}
    out += [f"#include <QdIfc4/selects/{s}.h>" for s in sorted(selects)]
    return out


def referenced_classes(c: EntityClass) -> List[str]:
    """Classes the pointer accessors return."""
    return sorted({a.value.cls for a in c.explicit if a.value.kind is Kind.ENTITY})


def accessor_declarations(c: EntityClass) -> List[str]:
    out: List[str] = []
    for a in c.explicit:
        v, x, m = a.value, a.name, a.member
        if v.kind is Kind.ENTITY:
            out.append(f"  QdDbObjectId get{x}() const {{ return {m}; }}")
            out.append(f"  {v.cls}* {x}() const;")
            out.append(f"  void set{x}(const QdDbObjectId& value) {{ {m} = value; }}")
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
            out.append(f"  QdDbObjectId getInv{a.name}() const {{ return {a.member}; }}")
        else:
            out.append(f"  void getInv{a.name}(QdIfcArray<QdDbObjectId>& out) const;")
    return out


def member_declarations(c: EntityClass) -> List[str]:
    out = []
    for a in c.explicit:
        out.append(f"  {a.cpp} {a.member}{INITIALISER.get(a.value.kind, '')};")
    for a in c.inverses:
        out.append(f"  {a.cpp} {a.member};  // inverse of {a.forward}.{a.inverts}")
    return out


# ---- source ---------------------------------------------------------------------------

def emit_accessors(c: EntityClass) -> str:
    """The accessors defined out of line: pointers to referenced objects and the array forms."""
    n = c.name
    out: List[str] = []
    for a in c.explicit:
        v, x, m = a.value, a.name, a.member
        if v.kind is Kind.ENTITY:
            out.append(f"{v.cls}* {n}::{x}() const {{ return static_cast<{v.cls}*>({m}.openObject()); }}")
        elif v.kind is Kind.AGGREGATE:
            out.append(f"void {n}::get{x}({v.array_type}& out) const {{ detail::exportAggr({m}, out); }}")
            out.append(f"void {n}::set{x}(const {v.array_type}& values) {{ detail::assignAggr({m}, values); }}")
        elif v.kind is Kind.NESTED:
            out.append(f"void {n}::get{x}({v.array_type}& out) const {{ detail::exportNested({m}, out); }}")
            out.append(f"void {n}::set{x}(const {v.array_type}& values) {{ detail::assignNested({m}, values); }}")
    for a in c.inverses:
        if not a.single:
            out.append(f"void {n}::getInv{a.name}(QdIfcArray<QdDbObjectId>& out) const "
                       f"{{ detail::exportAggr({a.member}, out); }}")
    return "\n".join(out) + ("\n" if out else "")
