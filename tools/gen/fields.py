"""inFields and outFields of the entity classes: each a straight run of filer calls,
one per explicit attribute in record order, with constant flags.

`optional` is the attribute's mark in the data; `comma` is false for the first
parameter of the whole record (counted across the supertypes) and true for all
others. A class reads its supertype's parameters first by calling the supertype,
except the classes that redeclare inherited attributes as derived: they read the
whole record themselves, with "*" in the redeclared positions.
"""

from __future__ import annotations

from typing import List, Tuple

from attrmodel import Attr, EntityClass, Model

# The filer call (or shared rule) of each value kind: (read, write). {m} is the member,
# {o} the optional flag and {c} the comma flag.
CALLS = {
    "integer": ("filer->rdInt({m}, {o}, {c})", "filer->wrInt({m}, {o}, {c})"),
    "real": ("filer->rdDouble({m}, {o}, {c})", "filer->wrDouble({m}, {o}, {c})"),
    "string": ("filer->rdQdAnsiString({m}, {o}, {c})", "filer->wrQdAnsiString({m}, {o}, {c})"),
    "guid": ("detail::readGuid({m}, filer, {c})", "detail::writeGuid({m}, filer, {c})"),
    "boolean": ("filer->rdPrimitive({m}, {o}, {c})", "filer->wrPrimitive({m}, {o}, {c})"),
    "logical": ("filer->rdPrimitive({m}, {o}, {c})", "filer->wrPrimitive({m}, {o}, {c})"),
    "entity": ("filer->rdReference({m}, {c})", "filer->wrReference({m}, {c})"),
    "select": ("filer->rdSelect({m}, {o}, {c})", "filer->wrSelect({m}, {o}, {c})"),
    "enumeration": ("detail::readEnum({m}, filer, {o}, {c})", "detail::writeEnum({m}, filer, {o}, {c})"),
    "aggregate": ("detail::readAggr({m}, filer, {c})", "detail::writeAggr({m}, filer, {o}, {c})"),
    "nested": ("detail::readNested({m}, filer, {c})", "detail::writeNested({m}, filer, {o}, {c})"),
    "binary": ("detail::readBinary(filer, {c})", "detail::writeBinary(filer, {c})"),
    "binaries": ("detail::readAggr({m}, filer, {c})", "detail::writeBinaries({m}, filer, {o}, {c})"),
    "derived": ("filer->rdDerive({c})", "filer->wrDerive({c})"),
}

# The one class whose reading flags differ from its writing flags: its exponents are
# read as optional (so "$" is taken) but written as required.
READ_AS_OPTIONAL = {"IfcDimensionalExponents"}


def flag(value: bool) -> str:
    return "true" if value else "false"


def record_fields(model: Model, c: EntityClass) -> List[Tuple[Attr, bool]]:
    """Every parameter of the class's record, in order: (attribute, derived here)."""
    redeclared = {a.key for a in c.redeclared}
    out: List[Tuple[Attr, bool]] = []
    for name in c.chain + [c.name]:
        for a in model.by_name[name].explicit:
            out.append((a, a.key in redeclared))
    return out


def _calls(c: EntityClass, fields: List[Tuple[Attr, bool]], first: int, direction: int) -> List[str]:
    lines = []
    for i, (a, derived) in enumerate(fields[first:], start=first):
        comma = i > 0
        optional = a.optional
        if direction == 0 and c.name in READ_AS_OPTIONAL:
            optional = comma
        kind = "derived" if derived else a.value.kind
        if kind == "aggregate" and a.value.element.kind == "binary":
            kind = "binaries"
        text = CALLS[kind][direction].format(m=a.member, o=flag(optional), c=flag(comma))
        lines.append(f"  {text};")
    return lines


def declarations() -> List[str]:
    return ["  QD::ErrorStatus inFields(QD_SDAI::QdSpfFilerBase* filer) override;",
            "  QD::ErrorStatus outFields(QD_SDAI::QdSpfFilerBase* filer) override;"]


def emit(model: Model, c: EntityClass) -> str:
    fields = record_fields(model, c)
    whole = bool(c.redeclared)
    own_from = 0 if whole or not c.supertype else len(fields) - len(c.explicit)
    out: List[str] = []
    for direction, op in ((0, "inFields"), (1, "outFields")):
        out.append(f"QD::ErrorStatus {c.name}::{op}(QD_SDAI::QdSpfFilerBase* filer) {{")
        if c.supertype and not whole and fields:
            out.append(f"  {c.supertype}::{op}(filer);")
        if not fields:
            out.append("  (void)filer;")
        out += _calls(c, fields, own_from, direction)
        out.append("  return QD::eOk;")
        out.append("}\n")
    return "\n".join(out) + "\n"
