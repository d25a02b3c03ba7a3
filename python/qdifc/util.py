"""What scripts reach for first: property sets, the spatial container, the spatial tree."""
from . import _qdifc

get_psets = _qdifc.get_psets


def get_pset(entity, name, prop=None):
    """One property set (or quantity set) by name, or one of its values; None if absent."""
    pset = get_psets(entity).get(name)
    if pset is None or prop is None:
        return pset
    return pset.get(prop)


def get_container(element):
    """The spatial element that contains the element directly (a storey, a space, ...), or None.

    An element that is part of another (a wall of a stair, say) has the container of
    its whole.
    """
    for _ in range(64):
        rels = getattr(element, "ContainedInStructure", None) or ()
        for rel in rels:
            return rel.RelatingStructure
        parts = getattr(element, "Decomposes", None) or ()
        if not parts:
            return None
        element = parts[0].RelatingObject
    return None


def get_decomposition(entity):
    """What the entity decomposes into (IsDecomposedBy), one step down."""
    return tuple(o for rel in (getattr(entity, "IsDecomposedBy", None) or ()) for o in rel.RelatedObjects)


def get_contained(spatial):
    """The elements a spatial element contains directly (ContainsElements)."""
    return tuple(e for rel in (getattr(spatial, "ContainsElements", None) or ()) for e in rel.RelatedElements)


def spatial_tree(model):
    """The spatial structure of each project: nested dicts of
    {"entity": e, "children": [...], "elements": (contained elements)}."""

    seen = set()

    def node(entity, depth):
        seen.add(entity)
        children = []
        if depth < 64:
            for child in sorted(get_decomposition(entity), key=lambda e: e.id()):
                if child not in seen:
                    children.append(node(child, depth + 1))
        return {"entity": entity, "children": children, "elements": get_contained(entity)}

    return [node(p, 0) for p in model.by_type("IfcProject")]


def elements_in(spatial, type_name="IfcElement"):
    """Elements of a type (subtypes included) within a spatial element: contained in it
    or in any spatial element below it, and the parts of those."""
    out, seen, todo = [], set(), [spatial]
    while todo:
        s = todo.pop()
        if s in seen:
            continue
        seen.add(s)
        todo.extend(get_decomposition(s))
        for e in get_contained(s):
            stack = [e]
            while stack:
                x = stack.pop()
                if x in seen:
                    continue
                seen.add(x)
                if x.is_a(type_name):
                    out.append(x)
                stack.extend(get_decomposition(x))
    return sorted(out, key=lambda e: e.id())
