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
from typing import Dict, List, Optional

import schemadata
from schemadata import DataError

UNBOUNDED = 65536

# Value kinds of scalars, by the primitive a defined type rests on.
PRIMITIVE_KINDS = {"integer": "integer", "real": "real", "number": "real", "boolean": "boolean",
                   "logical": "logical", "string": "string", "binary": "binary"}
# The one defined type with a class of its own.
GUID_TYPE = "ifcgloballyuniqueid"

# C++ types of scalar members and of aggregate elements, by value kind.
SCALAR_TYPES = {"integer": "int", "real": "double", "boolean": "QD_SDAI::QdIfcBoolean",
                "logical": "QD_SDAI::QdIfcLogical", "string": "QD_SDAI::QdAnsiString",
                "binary": "QD_SDAI::QdAnsiString", "guid": "QD_SDAI::QdIfcGUID", "entity": "QD_SDAI::QdDbObjectId"}
HANDLE = "QD_SDAI::QdDbObjectId"
HANDLE_SET = "QD_SDAI::QdIfcSetAggr<QD_SDAI::QdDbObjectId>"


@dataclass
class Value:
    """What a member holds.

    kind: integer, real, boolean, logical, string, binary, guid, entity, enumeration,
    select, aggregate (of scalars, handles or selects), nested (a list of lists).
    """
    kind: str
    cls: str = ""                      # entity, enumeration or select class
    shape: str = ""                    # aggregate, nested: list, set, array
    lower: Optional[int] = None        # aggregate, nested: bounds (None upper: unbounded)
    upper: Optional[int] = None
    element: Optional["Value"] = None  # aggregate: a scalar, entity or select; nested: the inner aggregate

    @property
    def is_aggregate(self) -> bool:
        return self.kind in ("aggregate", "nested")

    @property
    def element_type(self) -> str:
        """The C++ element type of an aggregate; of the inner aggregate for a list of lists."""
        e = self.element.element if self.kind == "nested" else self.element
        return e.cls if e.kind == "select" else SCALAR_TYPES[e.kind]

    @property
    def cpp(self) -> str:
        """The member's C++ type."""
        if self.kind in SCALAR_TYPES:
            return SCALAR_TYPES[self.kind]
        if self.kind in ("enumeration", "select"):
            return self.cls
        t = self.element_type
        if self.kind == "nested":
            return f"QD_SDAI::QdIfcListAggrCompound<QD_SDAI::QdIfcListAggr<{t}>>"
        upper = UNBOUNDED if self.upper is None else self.upper
        if self.shape == "array":
            return f"QD_SDAI::QdIfcArrayAggrBounded<{t}, {self.lower}, {upper}>"
        handle = "QdIfcListAggr" if self.shape == "list" else "QdIfcSetAggr"
        if self.lower == 0 and self.upper is None:
            return f"QD_SDAI::{handle}<{t}>"
        return f"QD_SDAI::{handle}Bounded<{t}, {self.lower}, {upper}>"

    @property
    def array_type(self) -> str:
        """The typed array of an aggregate's accessors: QdIfcArray<T>, or of arrays for a list of lists."""
        inner = f"QD_SDAI::QdIfcArray<{self.element_type}>"
        return f"QD_SDAI::QdIfcArray<{inner}>" if self.kind == "nested" else inner


@dataclass
class Attr:
    entity: str                        # the class that declares it
    name: str                          # the schema's spelling
    role: str                          # explicit, inverse, redeclared
    value: Value
    optional: bool = False             # explicit: $ allowed in a file
    required: bool = False             # explicit reference: mandatory in the schema
    single: bool = False               # inverse: a single handle, not an aggregate
    inverts: str = ""                  # inverse: the forward attribute's name
    forward: str = ""                  # inverse: the class that declares the forward attribute
    supertype: str = ""                # redeclared: the class whose explicit attribute it redeclares
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
        return self.optional or (self.value.kind == "entity" and not self.required)

    @property
    def cpp(self) -> str:
        if self.role == "inverse":
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
    shape: str                         # reference, select, aggregate
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

    @property
    def members(self) -> List[Attr]:
        return self.explicit + self.inverses

    def put_names(self) -> List[Attr]:
        """putAttr's names in order: explicit ones, with the writable inverses put in place."""
        if self.name == "IfcObject":
            # "isdefinedby" comes after "objecttype", the class's only explicit attribute.
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

    def value(self, text: str, where: str) -> Value:
        parsed = schemadata.parse_aggregate_text(text)
        if parsed:
            shape, lower, upper, element = parsed
            return self.aggregate(shape, lower, upper, element, where)
        key = text.lower()
        if key in PRIMITIVE_KINDS:
            return Value(PRIMITIVE_KINDS[key])
        if key == GUID_TYPE:
            return Value("guid")
        if key in self.entities:
            return Value("entity", self.entities[key].name)
        if key in self.enumerations:
            return Value("enumeration", self.enumerations[key].name)
        if key in self.selects:
            return Value("select", self.selects[key].name)
        if key in self.aggregates:
            a = self.aggregates[key]
            return self.aggregate(a.kind, a.lower, a.upper, a.element, where)
        if key in self.defined:
            return self.value(self.defined[key].underlying, where)
        raise DataError("entities.txt", 0, f"{where}: the type '{text}' names nothing in the schema")

    def aggregate(self, shape: str, lower, upper, element_text: str, where: str) -> Value:
        if lower is None:
            raise DataError("entities.txt", 0, f"{where}: an aggregate needs a lower bound")
        element = self.value(element_text, where)
        if element.kind == "aggregate":
            if shape != "list" or element.shape != "list" or element.element.kind not in ("integer", "real", "entity"):
                raise DataError("entities.txt", 0, f"{where}: only lists of lists of numbers or handles have a member")
            return Value("nested", shape=shape, lower=lower, upper=upper, element=element)
        allowed = {"list": ("integer", "real", "string", "binary", "entity", "select"),
                   "set": ("integer", "entity", "select"), "array": ("real",)}
        if element.kind not in allowed.get(shape, ()):
            raise DataError("entities.txt", 0, f"{where}: a {shape} of {element.kind} has no member form")
        return Value("aggregate", shape=shape, lower=lower, upper=upper, element=element)


def resolve(schema: schemadata.Schema) -> Model:
    r = _Resolver(schema)
    classes: List[EntityClass] = []
    by_name: Dict[str, EntityClass] = {}
    for e in schema.entities:
        chain = by_name[e.supertype].chain + [e.supertype] if e.supertype else []
        c = EntityClass(e.name, e.supertype, chain)
        for a in e.attributes:
            where = f"{e.name}.{a.name}"
            if a.kind == "explicit":
                c.explicit.append(Attr(e.name, a.name, "explicit", r.value(a.type, where), optional=a.optional,
                                       required=a.required))
                c.own.append(c.explicit[-1])
            elif a.kind == "inverse":
                c.inverses.append(Attr(e.name, a.name, "inverse", Value("entity", r.entities[a.target].name)
                                       if a.target else Value("entity"), single=not a.target, inverts=a.inverts,
                                       lower=a.lower, upper=a.upper))
                c.own.append(c.inverses[-1])
        by_name[e.name] = c
        for a in e.attributes:
            if a.kind == "derived" and a.redeclares:
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
            return Attr(c.name, x.name, "redeclared", x.value, supertype=owner.name)
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
    attribute that fills it. An inverse with no target in the data is a single one; its
    forward attribute is the one explicit attribute of that name whose type it is a kind of."""
    rows: Dict[tuple, ForwardRow] = {}
    for c in model.classes:
        for inv in c.inverses:
            if inv.single:
                found = [a for k in model.classes for a in k.explicit if a.name == inv.inverts]
                if len(found) != 1:
                    raise DataError("entities.txt", 0, f"{c.name}.{inv.name}: {len(found)} attributes are named "
                                                       f"{inv.inverts}; the forward attribute is not clear")
                forward = found[0]
                inv.value = Value("entity", forward.entity)
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
    if a.value.kind == "entity":
        return "reference"
    if a.value.kind == "select":
        return "select"
    if a.value.kind == "aggregate" and a.value.element.kind in ("entity", "select"):
        return "aggregate"
    raise DataError("entities.txt", 0, f"{a.entity}.{a.name}: a {a.value.kind} cannot fill an inverse")


# ---- the per-kind counts of the property objects -------------------------------------------

def property_kind(a: Attr) -> str:
    """The value kind of an attribute as its property object treats it."""
    v = a.value
    if a.role == "inverse":
        if a.single:
            return "entity inverse"
        return "hierarchy" if a.name in ("IsDecomposedBy", "ContainsElements") else "aggregate of entities inverse"
    if v.kind == "aggregate":
        if v.element.kind == "entity":
            return "aggregate of entities"
        return "aggregate of selects" if v.element.kind == "select" else "aggregate of values"
    return v.kind


def property_kind_counts(model: Model) -> Counter:
    return Counter(property_kind(a) for c in model.classes for a in c.explicit + c.redeclared + c.inverses)
