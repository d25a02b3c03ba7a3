"""The record fields of the entity classes, as the rows of their tables mark them.

The interpreter reads and writes a record from the rows alone: every explicit row
from the root down, one parameter each, "*" in the places that the class (or the
nearest supertype that does) redeclares as derived. A parameter may be "$" when its
row is marked optional (kOpt); the marks computed here are the ones the record needs
beyond that.
"""

from __future__ import annotations

from typing import List, Tuple

from attrmodel import Attr, EntityClass, Model

def record_fields(model: Model, c: EntityClass) -> List[Tuple[Attr, bool]]:
    """Every parameter of the class's record, in order: (attribute, derived here)."""
    redeclared = {a.key for a in c.redeclared}
    out: List[Tuple[Attr, bool]] = []
    for name in c.chain + [c.name]:
        for a in model.by_name[name].explicit:
            out.append((a, a.key in redeclared))
    return out


def read_marks(model: Model, c: EntityClass, a: Attr) -> List[str]:
    """The marks of an own explicit attribute's row that only reading heeds: "$" is taken
    after the record's first parameter in the classes whose data says so (readsunset):
    their reading flags differ from their writing flags."""
    if not c.reads_unset:
        return []
    first = len(record_fields(model, c)) - len(c.explicit)
    return ["kReadsUnset"] if first + c.explicit.index(a) > 0 else []
