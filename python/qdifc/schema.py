"""The schema's dictionary: entity types with their attributes, enumerations, selects.

    qdifc.schema.entity("IfcWall").supertypes   # ['IfcBuildingElement', 'IfcElement', ...]
    qdifc.schema.entity("IfcWall").attribute("PredefinedType").type   # 'IfcWallTypeEnum'
    qdifc.schema.of("IFC2X3").entity("IfcWall")  # the dictionary of another schema

The functions of the module are those of the IFC4 dictionary (the default module's);
`of(name)` gives the dictionary of any schema there is a module for, and a model's own
is `model.schema`.
"""
import functools

from . import _qdifc


class EntityType:
    """An entity type of the schema."""

    def __init__(self, info):
        self.name = info["name"]
        self.abstract = info["abstract"]  # instances only as instances of subtypes
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


class Schema:
    """The dictionary of one schema, by the schema's name ("" for the default module's)."""

    def __init__(self, schema_name=""):
        self._schema = schema_name

    def name(self):
        """The schema's own name: 'IFC4', 'IFC2X3', 'IFC4X3_ADD2'."""
        return _qdifc._schema_name(self._schema)

    @functools.lru_cache(maxsize=None)
    def entity(self, type_name):
        """The entity type of that name (any case); KeyError if there is none."""
        return EntityType(_qdifc._entity(type_name, self._schema))

    def entities(self):
        """The names of all entity types."""
        return _qdifc._type_names("entity", self._schema)

    def enumerations(self):
        """The names of all enumeration types."""
        return _qdifc._type_names("enumeration", self._schema)

    def enumeration(self, type_name):
        """The literals of an enumeration, in order."""
        return _qdifc._enumeration(type_name, self._schema)

    def selects(self):
        """The names of all select types."""
        return _qdifc._type_names("select", self._schema)

    def select(self, type_name):
        """The member types of a select."""
        return _qdifc._select(type_name, self._schema)

    def __repr__(self):
        return f"<Schema {self.name()}>"


_default = Schema()


@functools.lru_cache(maxsize=None)
def _named(canonical):
    return Schema(canonical)


def of(schema_name):
    """The dictionary of a schema by name (any case, IFC4X3 for IFC4X3_ADD2); the module
    is started the first time. qdifc.SchemaError if there is no module for it."""
    return _named(_qdifc._schema_name(schema_name))


def available():
    """The schemas there are modules for (loaded, or found beside the libraries)."""
    return _qdifc._available_schemas()


name = _default.name
entity = _default.entity
entities = _default.entities
enumerations = _default.enumerations
enumeration = _default.enumeration
selects = _default.selects
select = _default.select
