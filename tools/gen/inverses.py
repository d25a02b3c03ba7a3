"""The inverse links of the entity tables: for each forward attribute that fills
inverse members, its candidate classes in the order they are tested, each with the
row of its inverse member. The interpreter links the supertypes' attributes first,
then the class's own in explicit order."""

from __future__ import annotations

from typing import Dict, List, Tuple

from attrmodel import Attr, EntityClass, Model


def inverse_row(model: Model, cls: str, inverse: Attr) -> int:
    """The place of an inverse attribute among its class's rows."""
    c = model.by_name[cls]
    return len(c.explicit) + len(c.redeclared) + next(i for i, x in enumerate(c.inverses) if x is inverse)


def array_name(c: EntityClass) -> str:
    return f"k{c.name}Links"


def links(model: Model, c: EntityClass) -> Tuple[str, Dict[str, Tuple[str, int]]]:
    """The class's link array (empty when it has no forward rows), and for each forward
    attribute its first link and count."""
    if not c.rows:
        return "", {}
    entries: List[str] = []
    where: Dict[str, Tuple[str, int]] = {}
    for row in c.rows:
        first = f"{array_name(c)} + {len(entries)}" if entries else array_name(c)
        where[row.attr.name] = (first, len(row.targets))
        entries += [f"{{&{t.cls}::kTable, {inverse_row(model, t.cls, t.inverse)}}}" for t in row.targets]
    text = f"const QD_SDAI::QdIfcInverseLink {array_name(c)}[] = {{{', '.join(entries)}}};\n"
    return text, where
