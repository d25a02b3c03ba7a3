"""The attributes of the entity classes: members, typed accessors, and the rows of
the class's attribute table.

A row names the attribute, where its member lies (offsetof) and what it holds; the
hand-written interpreter (core/src/QdIfcClassTable.cpp) serves getAttr, putAttr,
testAttr, unsetAttr, the record's fields and the inverse links from the rows. The
rows of a class stand in getAttr's order: explicit attributes, those the class
redeclares as derived, inverses. Each row is one call of a row helper of
entities/MemberClasses.h, chosen by the member's value kind.
"""

from __future__ import annotations

from typing import List, Optional, Tuple

from attrmodel import Attr, EntityClass, Value

NS = "QD_SDAI::"

# The member kind of each value kind (QdIfcMemberKind).
MEMBER_KINDS = {"integer": "kInteger", "real": "kReal", "boolean": "kBoolean", "logical": "kLogical",
                "string": "kString", "binary": "kBinary", "guid": "kGuid", "entity": "kEntity",
                "enumeration": "kEnumeration", "select": "kSelect", "aggregate": "kAggregate", "nested": "kNested"}

# Unset values a member gets in its declaration; the binary stays empty.
INITIALISER = {"integer": " = QD_SDAI::Consts::QdIntUnset", "real": " = QD_SDAI::Consts::QdRealUnset",
               "string": " = QD_SDAI::Consts::QdStringUnset"}


def operation_names(c: EntityClass, operation: str) -> List[Attr]:
    """The names an operation finds in the class's own rows, in row order."""
    if operation == "getAttr":
        return c.explicit + c.redeclared + c.inverses
    if operation == "putAttr":
        return c.put_names()
    return [a for a in c.explicit if a.value.kind != "binary"]


def rows(c: EntityClass) -> List[Attr]:
    """The attributes of the class's table, in the order of its rows."""
    return c.explicit + c.redeclared + c.inverses


def member_class(v: Value) -> str:
    """The member class (entities/MemberClasses.h) of an enumeration, select or aggregate."""
    if v.kind == "enumeration":
        return f"enumOf<{v.cls}>"
    if v.kind == "select":
        return f"selectOf<{v.cls}>"
    if v.kind == "nested":
        return f"nestedOf<{v.element_type}>"
    if v.element.kind == "binary":
        return "kBinaryList"
    return f"{v.shape}Of<{v.element_type}>"


def bound(value: Optional[int]) -> str:
    return "kUnset" if value is None else str(value)


def marks(flags: List[str]) -> str:
    return " | ".join(flags) if flags else "0"


def row(c: EntityClass, a: Attr, extra: List[str], links: Optional[Tuple[str, int]]) -> str:
    """The row of attribute a in class c's table. extra: marks besides the optional one;
    links: the inverse links of a forward attribute, as (first link, count)."""
    at = f"offsetof({c.name}, {a.member})"
    if a.role == "redeclared":
        return f'redeclaredRow("{a.name}", {at}, {MEMBER_KINDS[a.value.kind]})'
    if a.role == "inverse":
        writable = any(a is w for w in c.writable)
        flags = (["kSingle"] if a.single else []) + (["kWritable"] if writable else [])
        target = f"&{a.value.cls}::g_pEntityType"
        tail = ", &setOf<QD_SDAI::QdDbObjectId>" if writable else ""
        return (f'inverseRow("{a.name}", {at}, {marks(flags)}, {bound(a.lower)}, {bound(a.upper)}, {target}, '
                f'"{a.inverts}"{tail})')
    v = a.value
    m = marks((["kOpt"] if a.schema_optional else []) + extra)
    link = f", {links[0]}, {links[1]}" if links else ""
    if v.kind == "entity":
        return f'ref("{a.name}", {at}, {m}, &{v.cls}::g_pEntityType{link})'
    if v.kind == "enumeration":
        return f'enumRow("{a.name}", {at}, {m}, {member_class(v)})'
    if v.kind == "select":
        return f'selectRow("{a.name}", {at}, {m}, {member_class(v)}{link})'
    if v.kind == "aggregate":
        return f'aggrRow("{a.name}", {at}, {m}, {member_class(v)}, {bound(v.lower)}, {bound(v.upper)}{link})'
    if v.kind == "nested":
        return f'nestedRow("{a.name}", {at}, {m}, {member_class(v)}, {bound(v.lower)}, {bound(v.upper)})'
    return f'attr("{a.name}", {at}, {MEMBER_KINDS[v.kind]}{"" if m == "0" else ", " + m})'


# ---- header -------------------------------------------------------------------------------

def includes(c: EntityClass) -> List[str]:
    out = []
    kinds = {a.value.kind for a in c.explicit}
    if kinds & {"integer", "real", "string"}:
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


# ---- source ---------------------------------------------------------------------------

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
