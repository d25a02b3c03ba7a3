"""The entity attributes of a schema, resolved once for every emitter.

Each attribute's type string is resolved into a Value: what the member holds (its
value kind), and for an aggregate its shape, bounds, element and nesting. The class
model then says, per entity, which members it declares, which names each of the
four named operations knows and in what order, and which forward attributes fill
inverse members of other classes. Emitters read this model; none of them looks at a
type string again.

resolve() raises DataError on any type name that does not resolve and on any shape
that has no member form, naming the entity and the attribute.
"""

from __future__ import annotations

from collections import Counter
from dataclasses import dataclass, field
from enum import Enum
from typing import Dict, List, Optional

import schemadata
from schemadata import DataError

UNBOUNDED = 65536


class Kind(Enum):
    """What a member holds: a scalar, a reference, an enumeration or select value, an
    aggregate (of scalars, handles or selects) or a list of lists."""
    INTEGER = "integer"
    REAL = "real"
    BOOLEAN = "boolean"
    LOGICAL = "logical"
    STRING = "string"
    BINARY = "binary"
    GUID = "guid"
    ENTITY = "entity"
    ENUMERATION = "enumeration"
    SELECT = "select"
    AGGREGATE = "aggregate"
    NESTED = "nested"


class Shape(Enum):
    """The shape of an aggregate member."""
    LIST = "list"
    SET = "set"
    ARRAY = "array"


class Role(Enum):
    """Where an attribute of a class's table comes from."""
    EXPLICIT = "explicit"
    INVERSE = "inverse"
    REDECLARED = "redeclared"     # an explicit attribute of a supertype, derived here


class Fill(Enum):
    """How a forward attribute names the objects whose inverses it fills."""
    REFERENCE = "reference"
    SELECT = "select"
    AGGREGATE = "aggregate"


# Value kinds of scalars, by the primitive a defined type rests on.
PRIMITIVE_KINDS = {"integer": Kind.INTEGER, "real": Kind.REAL, "number": Kind.REAL, "boolean": Kind.BOOLEAN,
                   "logical": Kind.LOGICAL, "string": Kind.STRING, "binary": Kind.BINARY}

# C++ types of scalar members and of aggregate elements, by value kind.
SCALAR_TYPES = {Kind.INTEGER: "int", Kind.REAL: "double", Kind.BOOLEAN: "QdIfcBoolean",
                Kind.LOGICAL: "QdIfcLogical", Kind.STRING: "QdAnsiString",
                Kind.BINARY: "QdAnsiString", Kind.GUID: "QdIfcGUID", Kind.ENTITY: "QdDbObjectId"}
HANDLE = "QdDbObjectId"
HANDLE_SET = "QdIfcSetAggr<QdDbObjectId>"


@dataclass
class Value:
    """What a member holds.

    kind: integer, real, boolean, logical, string, binary, guid, entity, enumeration,
    select, aggregate (of scalars, handles or selects), nested (a list of lists).
    """
    kind: Kind
    cls: str = ""                      # entity, enumeration or select class
    shape: Optional[Shape] = None      # aggregate, nested
    lower: Optional[int] = None        # aggregate, nested: bounds (None upper: unbounded)
    upper: Optional[int] = None
    element: Optional["Value"] = None  # aggregate: a scalar, entity or select; nested: the inner aggregate

    @property
    def is_aggregate(self) -> bool:
        return self.kind in (Kind.AGGREGATE, Kind.NESTED)

    @property
    def element_type(self) -> str:
        """The C++ element type of an aggregate; of the inner aggregate for a list of lists."""
        e = self.element.element if self.kind is Kind.NESTED else self.element
        return e.cls if e.kind is Kind.SELECT else SCALAR_TYPES[e.kind]

    @property
    def cpp(self) -> str:
        """The member's C++ type."""
        if self.kind in SCALAR_TYPES:
            return SCALAR_TYPES[self.kind]
        if self.kind in (Kind.ENUMERATION, Kind.SELECT):
            return self.cls
        t = self.element_type
        if self.kind is Kind.NESTED:
            return f"QdIfcListAggrCompound<QdIfcListAggr<{t}>>"
        upper = UNBOUNDED if self.upper is None else self.upper
        if self.shape is Shape.ARRAY:
            return f"QdIfcArrayAggrBounded<{t}, {self.lower}, {upper}>"
        handle = "QdIfcListAggr" if self.shape is Shape.LIST else "QdIfcSetAggr"
        if self.lower == 0 and self.upper is None:
            return f"{handle}<{t}>"
        return f"{handle}Bounded<{t}, {self.lower}, {upper}>"

    @property
    def array_type(self) -> str:
        """The typed array of an aggregate's accessors: QdIfcArray<T>, or of arrays for a list of lists."""
        inner = f"QdIfcArray<{self.element_type}>"
        return f"QdIfcArray<{inner}>" if self.kind is Kind.NESTED else inner


@dataclass
class Attr:
    entity: str                        # the class that declares it
    name: str                          # the schema's spelling
    role: Role
    value: Value
    optional: bool = False             # explicit: $ allowed in a file
    required: bool = False             # explicit reference: mandatory in the schema
    single: bool = False               # inverse: a single handle, not an aggregate
    inverts: str = ""                  # inverse: the forward attribute's name
    forward: str = ""                  # inverse: the class that declares the forward attribute
    supertype: str = ""                # redeclared: the class whose explicit attribute it redeclares
    hierarchy: str = ""                # inverse walked as a hierarchy: the relationships' attribute one step down
    lower: Optional[int] = None        # inverse: bounds (None: unset)
    upper: Optional[int] = None

    @property
    def key(self) -> str:
        return self.name.lower()

    @property
    def member(self) -> str:
        return "m_" + self.name

    @property
    def schema_optional(self) -> bool:
        """The schema lets the attribute be unset: marked opt, or a reference not marked required."""
        return self.optional or (self.value.kind is Kind.ENTITY and not self.required)

    @property
    def cpp(self) -> str:
        if self.role is Role.INVERSE:
            return HANDLE if self.single else HANDLE_SET
        return self.value.cpp


@dataclass
class Link:
    """One candidate target of a forward attribute: a class and its inverse member."""
    cls: str
    inverse: Attr


@dataclass
class ForwardRow:
    """A forward attribute that fills inverse members: its shape and its candidate targets
    in the order they are tested."""
    attr: Attr
    shape: Fill
    targets: List[Link] = field(default_factory=list)


@dataclass
class EntityClass:
    name: str
    supertype: Optional[str]
    chain: List[str]                   # supertypes from the root down to the direct one
    explicit: List[Attr] = field(default_factory=list)
    redeclared: List[Attr] = field(default_factory=list)
    inverses: List[Attr] = field(default_factory=list)
    writable: List[Attr] = field(default_factory=list)  # inverses putAttr writes by name
    own: List[Attr] = field(default_factory=list)       # explicit and inverse, in the data's order
    rows: List[ForwardRow] = field(default_factory=list)
    linker: Optional[str] = None       # the nearest class above with setInverseCounterParts
    writable_last: bool = False        # putAttr tests the writable inverses after the explicit attributes
    reads_unset: bool = False          # parameters after the record's first take "$" when read

    @property
    def members(self) -> List[Attr]:
        return self.explicit + self.inverses

    def put_names(self) -> List[Attr]:
        """putAttr's names in order: explicit ones, with the writable inverses put in place."""
        if self.writable_last:
            return self.explicit + self.writable
        return self.writable + self.explicit


@dataclass
class Model:
    classes: List[EntityClass]
    by_name: Dict[str, EntityClass]

    def linking_classes(self) -> List[EntityClass]:
        return [c for c in self.classes if c.rows]


class _Resolver:
    def __init__(self, schema: schemadata.Schema):
        self.schema = schema
        self.entities = {e.name.lower(): e for e in schema.entities}
        self.defined = {d.name.lower(): d for d in schema.defined}
        self.enumerations = {e.key: e for e in schema.enumerations}
        self.selects = {s.name.lower(): s for s in schema.selects}
        self.aggregates = {a.key.lower(): a for a in schema.aggregates if a.named}
        # Built-in string types of a width, named directly: "binary(32)", "string(22)fixed".
        self.builtins = {b.key.lower(): Kind.BINARY if b.key.lower().startswith("binary") else Kind.STRING
                         for b in schema.builtins}

    def value(self, text: str, where: str) -> Value:
        parsed = schemadata.parse_aggregate_text(text)
        if parsed:
            shape, lower, upper, element = parsed
            return self.aggregate(shape, lower, upper, element, where)
        key = text.lower()
        if key in PRIMITIVE_KINDS:
            return Value(PRIMITIVE_KINDS[key])
        if key in self.builtins:
            return Value(self.builtins[key])
        if key in self.defined and self.defined[key].guid:
            return Value(Kind.GUID)
        if key in self.entities:
            return Value(Kind.ENTITY, self.entities[key].name)
        if key in self.enumerations:
            return Value(Kind.ENUMERATION, self.enumerations[key].name)
        if key in self.selects:
            return Value(Kind.SELECT, self.selects[key].name)
        if key in self.aggregates:
            a = self.aggregates[key]
            return self.aggregate(a.kind, a.lower, a.upper, a.element, where)
        if key in self.defined:
            return self.value(self.defined[key].underlying, where)
        raise DataError("entities.txt", 0, f"{where}: the type '{text}' names nothing in the schema")

    def aggregate(self, kind: schemadata.AggregateKind, lower, upper, element_text: str, where: str) -> Value:
        shape = Shape.__members__.get(kind.name)
        if shape is None:
            raise DataError("entities.txt", 0, f"{where}: a {kind.value} has no member form")
        if lower is None:
            raise DataError("entities.txt", 0, f"{where}: an aggregate needs a lower bound")
        element = self.value(element_text, where)
        if element.kind is Kind.AGGREGATE:
            if (shape is not Shape.LIST or element.shape is not Shape.LIST
                    or element.element.kind not in (Kind.INTEGER, Kind.REAL, Kind.ENTITY)):
                raise DataError("entities.txt", 0, f"{where}: only lists of lists of numbers or handles have a member")
            return Value(Kind.NESTED, shape=shape, lower=lower, upper=upper, element=element)
        allowed = {Shape.LIST: (Kind.INTEGER, Kind.REAL, Kind.STRING, Kind.BINARY, Kind.ENTITY, Kind.SELECT),
                   Shape.SET: (Kind.INTEGER, Kind.ENTITY, Kind.SELECT), Shape.ARRAY: (Kind.REAL,)}
        if element.kind not in allowed[shape]:
            raise DataError("entities.txt", 0, f"{where}: a {shape.value} of {element.kind.value} has no member form")
        return Value(Kind.AGGREGATE, shape=shape, lower=lower, upper=upper, element=element)


def resolve(schema: schemadata.Schema) -> Model:
    r = _Resolver(schema)
    classes: List[EntityClass] = []
    by_name: Dict[str, EntityClass] = {}
    for e in schema.entities:
        chain = by_name[e.supertype].chain + [e.supertype] if e.supertype else []
        c = EntityClass(e.name, e.supertype, chain, writable_last=e.writable_last, reads_unset=e.reads_unset)
        for a in e.attributes:
            where = f"{e.name}.{a.name}"
            if a.kind is schemadata.AttributeKind.EXPLICIT:
                c.explicit.append(Attr(e.name, a.name, Role.EXPLICIT, r.value(a.type, where), optional=a.optional,
                                       required=a.required))
                c.own.append(c.explicit[-1])
            elif a.kind is schemadata.AttributeKind.INVERSE:
                single = not a.target or (a.lower is None and a.upper is None)
                c.inverses.append(Attr(e.name, a.name, Role.INVERSE, Value(Kind.ENTITY, r.entities[a.target].name)
                                       if a.target else Value(Kind.ENTITY), single=single, inverts=a.inverts,
                                       lower=a.lower, upper=a.upper, hierarchy=e.hierarchy.get(a.name, "")))
                c.own.append(c.inverses[-1])
        by_name[e.name] = c
        for a in e.attributes:
            if a.kind is schemadata.AttributeKind.DERIVED and a.redeclares:
                c.redeclared.append(_redeclared(by_name, c, a))
        c.redeclared.sort(key=lambda x: _explicit_position(by_name, x))
        c.writable = [next(i for i in c.inverses if i.name == w) for w in e.writable]
        classes.append(c)
    model = Model(classes, by_name)
    _link_inverses(model)
    return model


def _redeclared(by_name: Dict[str, EntityClass], c: EntityClass, a: schemadata.Attribute) -> Attr:
    """A derived attribute that redeclares an explicit one of a supertype; the data names it
    <supertype>_<attribute> in lower case."""
    owner = by_name.get(a.redeclares)
    if owner is None or a.redeclares not in c.chain:
        raise DataError("entities.txt", 0, f"{c.name}.{a.name}: {a.redeclares} is not a supertype")
    plain = a.name.split("_", 1)[-1]
    for x in owner.explicit:
        if x.key == plain:
            return Attr(c.name, x.name, Role.REDECLARED, x.value, supertype=owner.name)
    raise DataError("entities.txt", 0, f"{c.name}.{a.name}: {a.redeclares} has no explicit attribute {plain}")


def _explicit_position(by_name: Dict[str, EntityClass], a: Attr) -> int:
    return [x.key for x in by_name[a.supertype].explicit].index(a.key)


def _declaring(model: Model, cls: str, attr: str) -> Optional[Attr]:
    """The explicit attribute attr as cls has it, declared by cls or a supertype."""
    c = model.by_name[cls]
    for name in [cls] + list(reversed(c.chain)):
        for a in model.by_name[name].explicit:
            if a.name == attr:
                return a
    return None


def _link_inverses(model: Model) -> None:
    """Works out the forward rows from the inverse attributes: each inverse names the forward
    attribute that fills it, declared by its target or a supertype of the target. An inverse
    without bounds is a single one; where the data gives it no target either, its forward
    attribute is the one explicit attribute of that name in the schema."""
    rows: Dict[tuple, ForwardRow] = {}
    for c in model.classes:
        for inv in c.inverses:
            if inv.single and not inv.value.cls:
                found = [a for k in model.classes for a in k.explicit if a.name == inv.inverts]
                if len(found) != 1:
                    raise DataError("entities.txt", 0, f"{c.name}.{inv.name}: {len(found)} attributes are named "
                                                       f"{inv.inverts}; the forward attribute is not clear")
                forward = found[0]
                inv.value = Value(Kind.ENTITY, forward.entity)
            else:
                forward = _declaring(model, inv.value.cls, inv.inverts)
                if forward is None:
                    raise DataError("entities.txt", 0, f"{c.name}.{inv.name}: {inv.value.cls} has no explicit "
                                                       f"attribute {inv.inverts}")
            inv.forward = forward.entity
            key = (forward.entity, forward.name)
            if key not in rows:
                rows[key] = ForwardRow(forward, _shape(forward))
            rows[key].targets.append(Link(c.name, inv))
    for (cls, _), row in rows.items():
        row.targets.sort(key=lambda t: t.cls)
        model.by_name[cls].rows.append(row)
    for c in model.classes:
        order = [a.name for a in c.explicit]
        c.rows.sort(key=lambda r: order.index(r.attr.name))
        for name in reversed(c.chain):
            if model.by_name[name].rows:
                c.linker = name
                break


def _shape(a: Attr) -> str:
    if a.value.kind is Kind.ENTITY:
        return "reference"
    if a.value.kind is Kind.SELECT:
        return "select"
    if a.value.kind is Kind.AGGREGATE and a.value.element.kind in (Kind.ENTITY, Kind.SELECT):
        return "aggregate"
    raise DataError("entities.txt", 0, f"{a.entity}.{a.name}: a {a.value.kind.value} cannot fill an inverse")


# ---- the per-kind counts of the property objects -------------------------------------------

def property_kind(a: Attr) -> str:
    """The value kind of an attribute as its property object treats it."""
    v = a.value
    if a.role is Role.INVERSE:
        if a.single:
            return "entity inverse"
        return "hierarchy" if a.hierarchy else "aggregate of entities inverse"
    if v.kind is Kind.AGGREGATE:
        if v.element.kind is Kind.ENTITY:
            return "aggregate of entities"
        return "aggregate of selects" if v.element.kind is Kind.SELECT else "aggregate of values"
    return v.kind.value


def property_kind_counts(model: Model) -> Counter:
    return Counter(property_kind(a) for c in model.classes for a in c.explicit + c.redeclared + c.inverses)
