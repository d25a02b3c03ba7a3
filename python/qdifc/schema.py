"""The schema's dictionary: entity types with their attributes, enumerations, selects.

    qdifc.schema.entity("IfcWall").supertypes   # ['IfcBuildingElement', 'IfcElement', ...]
    qdifc.schema.entity("IfcWall").attribute("PredefinedType").type   # 'IfcWallTypeEnum'
"""
import functools

from . import _qdifc


class EntityType:
    """An entity type of the schema."""

    def __init__(self, info):
        self.name = info["name"]
        self.supertypes = list(info["supertypes"])  # nearest first
        self.subtypes = list(info["subtypes"])
        self.own_attributes = list(info["attributes"])
        self.attributes = list(info["all_attributes"])  # the root's first, inverses and derived included

    @property
    def supertype(self):
        return self.supertypes[0] if self.supertypes else None

    def attribute(self, name):
        """The nearest attribute of that name (any case), or KeyError."""
        for a in reversed(self.attributes):
            if a.name.lower() == name.lower():
                return a
        raise KeyError(f"{self.name} has no attribute {name!r}")

    def __repr__(self):
        return f"<EntityType {self.name}>"


name = _qdifc._schema_name


@functools.lru_cache(maxsize=None)
def entity(type_name):
    """The entity type of that name (any case); KeyError if there is none."""
    return EntityType(_qdifc._entity(type_name))


def entities():
    """The names of all entity types."""
    return _qdifc._type_names("entity")


def enumerations():
    """The names of all enumeration types."""
    return _qdifc._type_names("enumeration")


def enumeration(type_name):
    """The literals of an enumeration, in order."""
    return _qdifc._enumeration(type_name)


def selects():
    """The names of all select types."""
    return _qdifc._type_names("select")


def select(type_name):
    """The member types of a select."""
    return _qdifc._select(type_name)
