"""setInverseCounterParts and resetInverseCounterParts of the classes whose forward
attributes fill inverse members: the call up the chain, then one link call per
forward attribute, naming its candidate classes and their inverse members in the
order they are tested."""

from __future__ import annotations

from typing import Dict, List

from attrmodel import EntityClass, Model

LINK = {"reference": "linkOne", "select": "linkOne", "aggregate": "linkEach"}


def declarations(c: EntityClass) -> List[str]:
    if not c.rows:
        return []
    return ["  void setInverseCounterParts() override;",
            "  // Empty on purpose: inverse members keep what they hold.",
            "  void resetInverseCounterParts() override;"]


def friends(model: Model) -> Dict[str, List[str]]:
    """For each class with inverse members, the classes whose links write them."""
    out: Dict[str, set] = {}
    for c in model.linking_classes():
        for row in c.rows:
            for t in row.targets:
                if t.cls != c.name:
                    out.setdefault(t.cls, set()).add(c.name)
    return {k: sorted(v) for k, v in out.items()}


def emit(c: EntityClass) -> str:
    if not c.rows:
        return ""
    n = c.name
    out = [f"void {n}::setInverseCounterParts() {{"]
    if c.supertype:
        out.append(f"  {c.supertype}::setInverseCounterParts();")
    for row in c.rows:
        targets = ", ".join(f"detail::inverseOf(&{t.cls}::{t.inverse.member})" for t in row.targets)
        out.append(f"  detail::{LINK[row.shape]}({row.attr.member}, m_objectId, {targets});")
    out.append("}\n")
    out.append(f"void {n}::resetInverseCounterParts() {{}}\n")
    return "\n".join(out) + "\n"
