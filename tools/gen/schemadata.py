"""Reader of the schema data files under schema/<schema>/.

Every file has the same line grammar:

    # a comment line
    <keyword> <fields ...>          a record
      <keyword> <fields ...>        an indented sub-record of the record above it

Fields are separated by single blanks. Where a field is a type string (which has
blanks of its own, "list [1:?] of IFCVALUE"), it is the rest of the line, less any
trailing marks the record's keyword defines. Records keep the order of the file,
and that order is the order of creation in the dictionary.

The reader checks what a file can get wrong by itself (unknown keywords, missing
fields, duplicate names, a supertype that comes later) and raises DataError with
the file and line. Cross-checks against the whole schema are done by check_model().
flatten_select() gives the members of a select class, in class order.
"""

from __future__ import annotations

import os
import re
from dataclasses import dataclass, field
from enum import Enum
from typing import Dict, List, Optional, Union


class DataError(Exception):
    def __init__(self, path: str, line: int, message: str):
        super().__init__(f"{path}:{line}: {message}")
        self.path, self.line, self.message = path, line, message


PRIMITIVES = ("integer", "real", "string", "logical", "boolean", "binary")
UNSET = "?"


@dataclass
class Line:
    path: str
    number: int
    keyword: str
    rest: str                       # everything after the keyword
    subs: List["Line"] = field(default_factory=list)

    def error(self, message: str) -> DataError:
        return DataError(self.path, self.number, message)

    def fields(self, count: Optional[int] = None, at_least: Optional[int] = None) -> List[str]:
        parts = self.rest.split(" ") if self.rest else []
        if count is not None and len(parts) != count:
            raise self.error(f"'{self.keyword}' takes {count} fields, found {len(parts)}")
        if at_least is not None and len(parts) < at_least:
            raise self.error(f"'{self.keyword}' takes at least {at_least} fields, found {len(parts)}")
        return parts


def read_lines(path: str) -> List[Line]:
    """Records of a file, each with its indented sub-records."""
    records: List[Line] = []
    with open(path, encoding="utf-8") as f:
        for number, raw in enumerate(f, 1):
            text = raw.rstrip("\n").rstrip()
            stripped = text.lstrip(" ")
            if not stripped or stripped.startswith("#"):
                continue
            if "\t" in text:
                raise DataError(path, number, "tabs are not used in data files; indent with blanks")
            if "  " in stripped:
                raise DataError(path, number, "fields are separated by single blanks")
            keyword, _, rest = stripped.partition(" ")
            line = Line(path, number, keyword, rest)
            if text.startswith(" "):
                if not records:
                    raise line.error("an indented sub-record needs a record above it")
                records[-1].subs.append(line)
            else:
                records.append(line)
    return records


# ---- the schema's facts ----

@dataclass
class Rule:
    """A rule of the schema kept as text: a WHERE rule (label, expression) or a UNIQUE
    rule (label, the attributes separated by blanks). Label "-": the schema gives none."""
    label: str
    text: str


@dataclass
class BuiltIn:
    key: str
    fixed: bool
    width: int


@dataclass
class DefinedType:
    name: str
    underlying: str
    guid: bool = False              # its values are GUIDs: members hold them in the GUID class
    width: Optional[int] = None     # a string or binary of a width: its width
    fixed: bool = False             # ... and whether every value has that width
    primitive: str = ""             # the schema's primitive where the underlying name stands in for it
    where: List[Rule] = field(default_factory=list)


@dataclass
class Enumeration:
    name: str                       # mixed case, the class-side spelling
    enumerators: List[str]          # the class side, in number order
    dictionary: Optional[List[str]] # the dictionary's literals; None: not in the dictionary
    where: List[Rule] = field(default_factory=list)

    @property
    def key(self) -> str:
        return self.name.lower()


@dataclass
class MemberBounds:
    """A select's own bounds for the aggregate class of one of its aggregate members."""
    member: str                     # the member as the select record spells it (any case)
    lower: int
    upper: Optional[int]            # None: unbounded
    line: Line                      # where it stands, for errors


@dataclass
class Select:
    name: str
    members: List[str]              # the dictionary's members, in capitals
    subs: List[Line] = field(default_factory=list)
    member_bounds: List[MemberBounds] = field(default_factory=list)
    line: Optional[Line] = None     # the record, for errors; None for a select made in code
    where: List[Rule] = field(default_factory=list)

    def error(self, message: str) -> DataError:
        if self.line is None:
            return DataError("", 0, f"select {self.name}: {message}")
        return self.line.error(message)


class AggregateKind(Enum):
    LIST = "list"
    SET = "set"
    ARRAY = "array"
    BAG = "bag"


class AttributeKind(Enum):
    EXPLICIT = "explicit"
    DERIVED = "derived"
    INVERSE = "inverse"


@dataclass
class Aggregate:
    key: str                        # the dictionary key: the name of a named aggregate, else the whole text
    kind: AggregateKind
    lower: Optional[int]            # None: unset
    upper: Optional[int]
    element: str                    # the text after the first " of "
    named: bool
    unique_elements: List[int] = field(default_factory=list)    # levels (1: outermost) of UNIQUE elements
    optional_elements: List[int] = field(default_factory=list)  # levels of an ARRAY OF OPTIONAL
    where: List[Rule] = field(default_factory=list)


@dataclass
class Attribute:
    kind: AttributeKind
    name: str
    type: str = ""                  # explicit and derived: the type string
    optional: bool = False          # explicit: OPTIONAL in the file's parameter list
    required: bool = False          # explicit entity reference: mandatory in the schema
    redeclares: str = ""            # derived: the supertype whose attribute it redeclares
    target: str = ""                # inverse: target entity in lower case ("" for none)
    lower: Optional[int] = None     # inverse bounds; None: unset
    upper: Optional[int] = None
    inverts: str = ""               # inverse: the target's attribute


@dataclass
class Entity:
    name: str
    supertype: Optional[str]
    attributes: List[Attribute] = field(default_factory=list)
    writable: List[str] = field(default_factory=list)  # own inverses putAttr writes, in its order
    writable_last: bool = False     # putAttr tests the writable inverses after the explicit attributes
    reads_unset: bool = False       # parameters after the record's first take "$" when read
    hierarchy: Dict[str, str] = field(default_factory=dict)  # own inverse -> attribute one step down
    abstract: bool = False
    supertype_of: str = ""          # the SUPERTYPE OF expression: "ONEOF(IfcA, IfcB)"
    derivations: Dict[str, str] = field(default_factory=dict)  # derived attribute: its expression
    rederived: Dict[str, str] = field(default_factory=dict)    # redeclaring derived attribute: the
                                                               # supertype's attribute it derives
    unique_elements: Dict[str, List[int]] = field(default_factory=dict)    # attribute: levels
    optional_elements: Dict[str, List[int]] = field(default_factory=dict)  # attribute: levels
    unique: List[Rule] = field(default_factory=list)
    where: List[Rule] = field(default_factory=list)

    @property
    def key(self) -> str:
        return self.name.upper()


@dataclass
class Schema:
    builtins: List[BuiltIn] = field(default_factory=list)
    defined: List[DefinedType] = field(default_factory=list)
    enumerations: List[Enumeration] = field(default_factory=list)
    entities: List[Entity] = field(default_factory=list)
    selects: List[Select] = field(default_factory=list)
    aggregates: List[Aggregate] = field(default_factory=list)

    def dictionary_enumerations(self) -> List[Enumeration]:
        return [e for e in self.enumerations if e.dictionary is not None]


_BOUNDS = re.compile(r"^(list|set|array|bag) \[([^:\]]+):([^\]]+)\] of (.+)$")
_INVERSE_BOUNDS = re.compile(r"^\[([0-9]+|\?):([0-9]+|\?)\]$")
_NAME = re.compile(r"^[A-Za-z][A-Za-z0-9_]*$")


def parse_bound(text: str) -> Optional[int]:
    """A number, or None for '?' and for a bound the schema computes (a name)."""
    return int(text) if text.isdigit() else None


def parse_aggregate_text(text: str) -> Optional[tuple]:
    m = _BOUNDS.match(text)
    if not m:
        return None
    kind, lower, upper, element = m.groups()
    return AggregateKind(kind), parse_bound(lower), parse_bound(upper), element


def _name(line: Line, text: str, what: str) -> str:
    if not _NAME.match(text):
        raise line.error(f"'{text}' is not a valid {what} name")
    return text


def _strip_mark(text: str, mark: str) -> tuple:
    if text.endswith(" " + mark):
        return text[: -len(mark) - 1], True
    return text, False


def _read_rule(sub: Line) -> Rule:
    label, _, text = sub.rest.partition(" ")
    if not text:
        raise sub.error(f"expected: {sub.keyword} <Label|-> <text>")
    if label != "-":
        _name(sub, label, "rule")
    return Rule(label, text)


def _read_level(sub: Line, fields: List[str]) -> int:
    if not fields[-1].isdigit() or int(fields[-1]) < 1:
        raise sub.error(f"'{sub.keyword}' takes a level of 1 or more, found '{fields[-1]}'")
    return int(fields[-1])


def _aggregate_depth(type_text: str) -> int:
    depth = 0
    while True:
        parsed = parse_aggregate_text(type_text)
        if not parsed:
            return depth
        depth, type_text = depth + 1, parsed[3]


def read_builtins(path: str) -> List[BuiltIn]:
    out = []
    for line in read_lines(path):
        if line.keyword != "builtin":
            raise line.error(f"unknown record '{line.keyword}'")
        key, fixed, width = line.fields(3)
        if fixed not in ("fixed", "unfixed") or not width.isdigit():
            raise line.error("expected: builtin <key> fixed|unfixed <width>")
        out.append(BuiltIn(key, fixed == "fixed", int(width)))
    return out


def read_defined(path: str) -> List[DefinedType]:
    out = []
    for line in read_lines(path):
        if line.keyword != "defined":
            raise line.error(f"unknown record '{line.keyword}'")
        name, underlying = line.fields(2)
        defined = DefinedType(_name(line, name, "type"), underlying)
        for sub in line.subs:
            if sub.keyword == "guid":
                if sub.rest or defined.underlying != "string":
                    raise sub.error("'guid' takes no field and stands only under a string type")
                defined.guid = True
            elif sub.keyword == "where":
                defined.where.append(_read_rule(sub))
            elif sub.keyword == "width":
                width, fixed = sub.fields(2)
                if not width.isdigit() or fixed not in ("fixed", "unfixed"):
                    raise sub.error("expected: width <number> fixed|unfixed")
                defined.width, defined.fixed = int(width), fixed == "fixed"
            elif sub.keyword == "primitive":
                (defined.primitive,) = sub.fields(1)
            else:
                raise sub.error(f"unknown sub-record '{sub.keyword}' of a defined type")
        out.append(defined)
    return out


def read_enumerations(path: str) -> List[Enumeration]:
    out = []
    for line in read_lines(path):
        if line.keyword != "enum":
            raise line.error(f"unknown record '{line.keyword}'")
        parts = line.fields(at_least=2)
        name = _name(line, parts[0], "enumeration")
        enumerators = parts[1:]
        dictionary: Optional[List[str]] = list(enumerators)
        where: List[Rule] = []
        for sub in line.subs:
            if sub.keyword == "where":
                where.append(_read_rule(sub))
                continue
            if sub.keyword != "dictionary":
                raise sub.error(f"unknown sub-record '{sub.keyword}' of an enumeration")
            literals = sub.fields(at_least=1)
            dictionary = None if literals == ["none"] else literals
        out.append(Enumeration(name, enumerators, dictionary, where))
    return out


def read_selects(path: str) -> List[Select]:
    out = []
    for line in read_lines(path):
        if line.keyword != "select":
            raise line.error(f"unknown record '{line.keyword}'")
        parts = line.fields(at_least=2)
        select = Select(_name(line, parts[0], "select"), parts[1:], line.subs, line=line)
        for sub in line.subs:
            if sub.keyword == "where":
                select.where.append(_read_rule(sub))
                continue
            if sub.keyword != "memberbounds":
                raise sub.error(f"unknown sub-record '{sub.keyword}' of a select")
            select.member_bounds.append(_read_member_bounds(sub, select))
        out.append(select)
    return out


def _read_member_bounds(sub: Line, select: Select) -> MemberBounds:
    member, lower, upper = sub.fields(3)
    _name(sub, member, "member")
    if not lower.isdigit() or not (upper.isdigit() or upper == UNSET):
        raise sub.error("expected: memberbounds <Member> <lower> <upper|?>")
    bounds = MemberBounds(member, int(lower), parse_bound(upper), sub)
    if bounds.upper is not None and bounds.upper < bounds.lower:
        raise sub.error(f"the upper bound {upper} of {member} is below its lower bound {lower}")
    if any(b.member.lower() == member.lower() for b in select.member_bounds):
        raise sub.error(f"{member} has bounds twice in {select.name}")
    return bounds


def read_aggregates(path: str) -> List[Aggregate]:
    out = []
    for line in read_lines(path):
        if line.keyword != "aggregate":
            raise line.error(f"unknown record '{line.keyword}'")
        text, named, key = line.rest, False, line.rest
        if " = " in line.rest:
            key, text = line.rest.split(" = ", 1)
            named = True
            _name(line, key, "aggregate")
        parsed = parse_aggregate_text(text)
        if not parsed:
            raise line.error(f"'{text}' is not an aggregate: <list|set|array> [<lower>:<upper>] of <element>")
        kind, lower, upper, element = parsed
        aggregate = Aggregate(key, kind, lower, upper, element, named)
        for sub in line.subs:
            if sub.keyword == "where":
                aggregate.where.append(_read_rule(sub))
            elif sub.keyword in ("uniqueelements", "optionalelements"):
                level = _read_level(sub, sub.fields(1))
                if level > _aggregate_depth(text):
                    raise sub.error(f"{key} has no aggregate at level {level}")
                (aggregate.unique_elements if sub.keyword == "uniqueelements"
                 else aggregate.optional_elements).append(level)
            else:
                raise sub.error(f"unknown sub-record '{sub.keyword}' of an aggregate")
        out.append(aggregate)
    return out


def _read_attribute(sub: Line) -> Attribute:
    if sub.keyword == "attr":
        name, _, type_text = sub.rest.partition(" ")
        type_text, optional = _strip_mark(type_text, "opt")
        if not type_text:
            raise sub.error("expected: attr <Name> <type> [opt]")
        return Attribute(AttributeKind.EXPLICIT, _name(sub, name, "attribute"), type=type_text, optional=optional)
    if sub.keyword == "derived":
        name, _, type_text = sub.rest.partition(" ")
        redeclares = ""
        if " redeclares " in type_text:
            type_text, redeclares = type_text.rsplit(" redeclares ", 1)
            _name(sub, redeclares, "entity")
        if not type_text:
            raise sub.error("expected: derived <Name> <type> [redeclares <Entity>]")
        return Attribute(AttributeKind.DERIVED, _name(sub, name, "attribute"), type=type_text, redeclares=redeclares)
    if sub.keyword == "inverse":
        name, target, bounds, inverts = sub.fields(4)
        m = _INVERSE_BOUNDS.match(bounds)
        if not m:
            raise sub.error(f"'{bounds}' is not a bound pair such as [0:?]")
        return Attribute(AttributeKind.INVERSE, _name(sub, name, "attribute"), target="" if target == "-" else target,
                         lower=parse_bound(m.group(1)), upper=parse_bound(m.group(2)), inverts=inverts)
    raise sub.error(f"unknown sub-record '{sub.keyword}' of an entity")


# Entity sub-records other than the attributes themselves.
_ENTITY_FACTS = ("writable", "required", "hierarchy", "writablelast", "readsunset", "abstract", "supertypeof",
                 "derivation", "rederived", "uniqueelements", "optionalelements", "unique", "where")


def _read_entity_fact(sub: Line, entity: Entity) -> None:
    """abstract, supertypeof, derivation, rederived, uniqueelements, optionalelements, unique, where."""
    own = {a.name: a for a in entity.attributes}
    if sub.keyword == "abstract":
        sub.fields(0)
        entity.abstract = True
    elif sub.keyword == "supertypeof":
        if not sub.rest:
            raise sub.error("expected: supertypeof <expression>")
        entity.supertype_of = sub.rest
    elif sub.keyword in ("derivation", "rederived"):
        name, _, text = sub.rest.partition(" ")
        if name not in own or own[name].kind is not AttributeKind.DERIVED or not text:
            raise sub.error(f"'{sub.keyword} {name}' names no own derived attribute of {entity.name}, "
                            "or lacks its text")
        if sub.keyword == "rederived":
            if not own[name].redeclares:
                raise sub.error(f"{name} of {entity.name} redeclares nothing")
            entity.rederived[name] = _name(sub, text, "attribute")
        else:
            entity.derivations[name] = text
    elif sub.keyword in ("uniqueelements", "optionalelements"):
        parts = sub.fields(2)
        attribute = own.get(parts[0])
        level = _read_level(sub, parts)
        if attribute is None or attribute.kind is AttributeKind.INVERSE or level > _aggregate_depth(attribute.type):
            raise sub.error(f"'{sub.keyword} {parts[0]} {level}' names no own attribute of {entity.name} "
                            f"with an aggregate at level {level}")
        target = entity.unique_elements if sub.keyword == "uniqueelements" else entity.optional_elements
        target.setdefault(parts[0], []).append(level)
    elif sub.keyword == "unique":
        entity.unique.append(_read_rule(sub))
    else:
        entity.where.append(_read_rule(sub))


def read_entities(path: str) -> List[Entity]:
    out: List[Entity] = []
    seen: Dict[str, Entity] = {}
    for line in read_lines(path):
        if line.keyword != "entity":
            raise line.error(f"unknown record '{line.keyword}'")
        parts = line.fields()
        if len(parts) == 1:
            name, supertype = parts[0], None
        elif len(parts) == 3 and parts[1] == ":":
            name, supertype = parts[0], parts[2]
        else:
            raise line.error("expected: entity <Name> [: <Supertype>]")
        _name(line, name, "entity")
        if name.upper() in seen:
            raise line.error(f"entity {name} is defined twice")
        if supertype is not None and supertype.upper() not in seen:
            raise line.error(f"the supertype {supertype} of {name} must come before it")
        attributes = [_read_attribute(sub) for sub in line.subs if sub.keyword not in _ENTITY_FACTS]
        entity = Entity(name, supertype, attributes)
        inverses = {a.name for a in attributes if a.kind is AttributeKind.INVERSE}
        for sub in line.subs:
            if sub.keyword == "writable":
                (inverse,) = sub.fields(1)
                if inverse not in inverses or inverse in entity.writable:
                    raise sub.error(f"'writable {inverse}' names no own inverse of {name}, or names it twice")
                entity.writable.append(inverse)
            elif sub.keyword == "required":
                (attribute,) = sub.fields(1)
                own = [a for a in attributes if a.kind is AttributeKind.EXPLICIT and a.name == attribute]
                if not own or own[0].optional or own[0].required:
                    raise sub.error(f"'required {attribute}' names no own explicit attribute of {name} "
                                    "without opt, or names it twice")
                own[0].required = True
            elif sub.keyword == "hierarchy":
                inverse, related = sub.fields(2)
                if inverse not in inverses or inverse in entity.hierarchy:
                    raise sub.error(f"'hierarchy {inverse}' names no own inverse of {name}, or names it twice")
                entity.hierarchy[inverse] = _name(sub, related, "attribute")
            elif sub.keyword in ("writablelast", "readsunset"):
                if sub.rest:
                    raise sub.error(f"'{sub.keyword}' takes no field")
                if sub.keyword == "writablelast":
                    entity.writable_last = True
                else:
                    entity.reads_unset = True
            elif sub.keyword in _ENTITY_FACTS:
                _read_entity_fact(sub, entity)
        if entity.writable_last and not entity.writable:
            raise line.error(f"'writablelast' of {name}, which has no writable inverse")
        order = {AttributeKind.EXPLICIT: 0, AttributeKind.DERIVED: 1, AttributeKind.INVERSE: 2}
        kinds = [order[a.kind] for a in entity.attributes]
        if kinds != sorted(kinds):
            raise line.error(f"attributes of {name} must be explicit, then derived, then inverse")
        seen[name.upper()] = entity
        out.append(entity)
    return out


FILES = {
    "builtins": ("builtins.txt", read_builtins),
    "defined": ("defined.txt", read_defined),
    "enumerations": ("enumerations.txt", read_enumerations),
    "entities": ("entities.txt", read_entities),
    "selects": ("selects.txt", read_selects),
    "aggregates": ("aggregates.txt", read_aggregates),
}


def read_schema(directory: str) -> Schema:
    schema = Schema()
    for attr, (filename, reader) in FILES.items():
        path = os.path.join(directory, filename)
        if os.path.exists(path):
            setattr(schema, attr, reader(path))
    check_model(schema, directory)
    return schema


def check_model(schema: Schema, directory: str = "") -> None:
    """Checks that hold across files: names unique without regard to case."""
    seen: Dict[str, str] = {}

    def claim(name: str, what: str) -> None:
        key = name.lower()
        if key in seen:
            raise DataError(directory, 0, f"{what} '{name}' has the name of {seen[key]}")
        seen[key] = f"{what} '{name}'"

    for b in schema.builtins:
        claim(b.key, "built-in type")
    for d in schema.defined:
        claim(d.name, "defined type")
    for e in schema.dictionary_enumerations():
        claim(e.name, "enumeration")
    for e in schema.entities:
        claim(e.name, "entity")
    for s in schema.selects:
        claim(s.name, "select")
    for a in schema.aggregates:
        claim(a.key, "aggregate")

    index = _type_index(schema)
    for s in schema.selects:
        _check_member_bounds(index, s)


# ---- the members of a select class ----
#
# A select class holds its leaf members, flattened: first the members that are not
# selects, in the order of the select record; then, for each member that is a select,
# in that same order, that select's own flattened list. Each member carries a letter
# and the type code kind of what it is.

PRIMITIVE_LETTERS = {"integer": ("I", 2), "real": ("R", 6), "number": ("R", 6), "boolean": ("B", 7),
                     "logical": ("L", 8), "binary": ("X", 9), "string": ("S", 12)}
ENTITY_LETTER = ("E", 13)
ENUMERATION_LETTER = ("N", 15)
AGGREGATE_LETTER = ("A", 16)

# The aggregate classes a select member can hold, and what they hold for each kind of
# element. An unbounded upper bound is written as the classes' own limit.
AGGREGATE_CLASSES = {AggregateKind.LIST: "QD_SDAI::QdIfcListAggrBounded",
                     AggregateKind.ARRAY: "QD_SDAI::QdIfcArrayAggrBounded",
                     AggregateKind.SET: "QD_SDAI::QdIfcSetAggrBounded"}
ELEMENT_TYPES = {"int": "int", "double": "double", "handle": "QD_SDAI::QdDbObjectId"}
UNBOUNDED = 65536


@dataclass
class MemberAggregate:
    cls: str                        # the C++ class: "QD_SDAI::QdIfcListAggrBounded<int, 3, 4>"
    element: str                    # "int", "double" or "handle"


@dataclass
class SelectMember:
    name: str                       # the schema's mixed-case spelling
    letter: str                     # E, N, A, or by primitive: I, R, B, L, X, S
    code: int                       # the type code kind: 13, 15, 16, or 2, 6, 7, 8, 9, 12
    aggregate: Optional[MemberAggregate] = None  # for an A member only


def flatten_select(schema: Schema, select: Union[Select, str]) -> List[SelectMember]:
    """The leaf members of a select class, in class order.

    select is a Select of schema or the name of one (any case). The list holds first
    the select's members that are not selects, in the record's order, then, for each
    member that is a select, in that order, its own flattened list (recursively).

    Each member has its mixed-case name, a letter and the type code kind:
      entity E 13; enumeration N 15; named aggregate A 16; a defined type by the
      primitive its chain of defined types ends in: integer I 2, real or number R 6,
      boolean B 7, logical L 8, binary X 9, string S 12.
    An A member also has `aggregate`: the C++ class of the member's aggregate object
    (list, array or set of int, double or QD_SDAI::QdDbObjectId handles, with the
    aggregate type's bounds, or those of the select's `memberbounds` sub-record for
    that member; an unbounded upper bound is 65536) and the element kind ('int',
    'double' or 'handle').

    Raises DataError with the select record's file and line on a member that names
    no entity, defined type, enumeration, select or named aggregate, on a select that
    contains itself, and on a member whose type has no class form.
    """
    index = _type_index(schema)
    if isinstance(select, str):
        kind, found = index.get(select.lower(), (None, None))
        if kind != "select":
            raise DataError("", 0, f"{select} is not a select of the schema")
        select = found
    return _flatten(index, select, [])


def _type_index(schema: Schema) -> Dict[str, tuple]:
    """Every type a select member can name, by its name in lower case: (kind, item)."""
    index: Dict[str, tuple] = {}
    for e in schema.entities:
        index[e.name.lower()] = ("entity", e)
    for d in schema.defined:
        index[d.name.lower()] = ("defined", d)
    for n in schema.enumerations:
        index.setdefault(n.key, ("enumeration", n))
    for x in schema.selects:
        index[x.name.lower()] = ("select", x)
    for a in schema.aggregates:
        if a.named:
            index[a.key.lower()] = ("aggregate", a)
    return index


def _check_member_bounds(index: Dict[str, tuple], select: Select) -> None:
    members = {m.lower() for m in select.members}
    for b in select.member_bounds:
        if b.member.lower() not in members:
            raise b.line.error(f"{b.member} is not a member of {select.name}")
        if index.get(b.member.lower(), (None,))[0] != "aggregate":
            raise b.line.error(f"{b.member} is not an aggregate member of {select.name}; only those take bounds")


def _flatten(index: Dict[str, tuple], select: Select, outer: List[str]) -> List[SelectMember]:
    _check_member_bounds(index, select)
    path = outer + [select.name]
    leaves: List[SelectMember] = []
    nested: List[Select] = []
    for member in select.members:
        kind, item = index.get(member.lower(), (None, None))
        if kind is None:
            raise select.error(f"member {member} of {select.name} names no known type")
        if kind == "select":
            if item.name in path:
                raise select.error(f"{select.name} contains itself: {' -> '.join(path + [item.name])}")
            nested.append(item)
        else:
            leaves.append(_leaf(index, select, kind, item))
    for inner in nested:
        leaves += _flatten(index, inner, path)
    return leaves


def _leaf(index: Dict[str, tuple], select: Select, kind: str, item) -> SelectMember:
    if kind == "entity":
        return SelectMember(item.name, *ENTITY_LETTER)
    if kind == "enumeration":
        return SelectMember(item.name, *ENUMERATION_LETTER)
    if kind == "aggregate":
        return SelectMember(item.key, *AGGREGATE_LETTER, aggregate=_member_aggregate(index, select, item))
    return SelectMember(item.name, *PRIMITIVE_LETTERS[_primitive_of(index, select, item)])


def _primitive_of(index: Dict[str, tuple], select: Select, defined: DefinedType) -> str:
    """The primitive a chain of defined types ends in."""
    chain = [defined.name]
    underlying = defined.underlying.lower()
    while underlying not in PRIMITIVE_LETTERS:
        kind, item = index.get(underlying, (None, None))
        if kind != "defined":
            raise select.error(f"the defined type {chain[-1]} of {select.name} rests on '{underlying}', "
                               f"which is neither a primitive nor a defined type")
        if item.name in chain:
            raise select.error(f"the defined types of {select.name} go round: {' -> '.join(chain + [item.name])}")
        chain.append(item.name)
        underlying = item.underlying.lower()
    return underlying


def _member_aggregate(index: Dict[str, tuple], select: Select, aggregate: Aggregate) -> MemberAggregate:
    cls = AGGREGATE_CLASSES.get(aggregate.kind)
    if cls is None:
        raise select.error(f"member {aggregate.key} of {select.name}: a {aggregate.kind.value} has no select class form")
    element = aggregate.element.lower()
    if element in PRIMITIVE_LETTERS:
        primitive = element
    else:
        kind, item = index.get(element, (None, None))
        if kind == "entity":
            primitive = "entity"
        elif kind == "defined":
            primitive = _primitive_of(index, select, item)
        else:
            primitive = element
    kinds = {"integer": "int", "real": "double", "number": "double", "entity": "handle"}
    if primitive not in kinds:
        raise select.error(f"member {aggregate.key} of {select.name}: no aggregate class holds elements of "
                           f"{aggregate.element}")
    lower, upper = aggregate.lower, aggregate.upper
    for b in select.member_bounds:
        if b.member.lower() == aggregate.key.lower():
            lower, upper = b.lower, b.upper
    if lower is None:
        raise select.error(f"member {aggregate.key} of {select.name}: the aggregate has no lower bound")
    element_kind = kinds[primitive]
    upper_text = UNBOUNDED if upper is None else upper
    return MemberAggregate(f"{cls}<{ELEMENT_TYPES[element_kind]}, {lower}, {upper_text}>", element_kind)
