"""Writes the facts of an EXPRESS schema into the project's data files.

    python3 tools/gen/express2data.py SCHEMA.exp --out DIR

DIR receives builtins.txt, defined.txt, enumerations.txt, entities.txt, selects.txt
and aggregates.txt in the line format that ifc4/data/README.md documents, which
tools/gen/schemadata.py reads. The names and type strings are spelled as the IFC4
data spells them; facts of the schema that the IFC4 data had no line for stand in
the sub-records that the README lists as written by this tool.

Record order, where the data files have a rule for it: enumerations in byte order of
their names, named aggregates before the anonymous ones and those in byte order of
their keys, a supertype before its subtypes. Otherwise the order of the EXPRESS file;
an entity is preceded by those of its supertypes that have not been written yet.
"""

from __future__ import annotations

import argparse
import os
import sys
from collections import Counter
from dataclasses import dataclass, field
from typing import Dict, List, Optional, Tuple

import express
import schemadata
from express import (AggregateKind, AggregateType, DerivedAttribute, Entity, ExplicitAttribute, NamedType,
                     Primitive, Schema, SimpleType, TypeDecl, TypeKind, TypeRef)


class WriteError(Exception):
    """A fact of the schema that the data files cannot hold."""


FILE_NAMES = ("builtins.txt", "defined.txt", "enumerations.txt", "entities.txt", "selects.txt",
              "aggregates.txt")


@dataclass
class Record:
    """One record line of a data file with its sub-record lines (both without indent)."""
    line: str
    subs: List[str] = field(default_factory=list)

    def text(self) -> str:
        return "".join(f"{x}\n" for x in [self.line] + ["  " + s for s in self.subs])


def _one_line(text: str, where: str) -> str:
    if "\t" in text or "  " in text or "\n" in text:
        raise WriteError(f"{where}: the text holds a tab or a double blank, which a data line cannot: {text!r}")
    return text


class Writer:
    def __init__(self, schema: Schema):
        self.schema = schema

    # ---- names and type strings ----

    def declared(self, name: str, context: str) -> str:
        """The name as the schema declares it; an error for a name it does not declare."""
        item = self.schema.lookup(name)
        if item is None:
            raise WriteError(f"{context}: {name} names no type or entity of {self.schema.name}")
        return item.name

    @staticmethod
    def simple(t: SimpleType) -> str:
        """A primitive in lower case; NUMBER as real, the nearest of the dictionary's
        primitives; a string or binary of a width as its built-in key, "string(22)fixed",
        "binary(32)"."""
        if t.primitive is Primitive.NUMBER:
            return Primitive.REAL.value
        if t.width is None or t.primitive not in (Primitive.STRING, Primitive.BINARY):
            return t.primitive.value
        return f"{t.primitive.value}({t.width})" + ("fixed" if t.fixed else "")

    def type_string(self, t: TypeRef, context: str) -> str:
        """An attribute's type: names in capitals, aggregate keywords and primitives in lower case."""
        if isinstance(t, NamedType):
            return self.declared(t.name, context).upper()
        if isinstance(t, SimpleType):
            return self.simple(t)
        return f"{self.aggregate_head(t, context)} of {self.type_string(t.element, context)}"

    def aggregate_key(self, t: TypeRef, context: str) -> str:
        """An aggregate's key and an element type: names in the schema's mixed case."""
        if isinstance(t, NamedType):
            return self.declared(t.name, context)
        if isinstance(t, SimpleType):
            return self.simple(t)
        return f"{self.aggregate_head(t, context)} of {self.aggregate_key(t.element, context)}"

    @staticmethod
    def aggregate_head(t: AggregateType, context: str) -> str:
        for bound in (t.lower, t.upper):
            if " " in bound:
                raise WriteError(f"{context}: the bound '{bound}' is an expression; a data line takes a number, "
                                 "'?' or a name")
        return f"{t.kind.value} [{t.lower}:{t.upper}]"

    @staticmethod
    def element_marks(t: TypeRef) -> List[tuple]:
        """(depth, 'unique'|'optional') for each marked aggregate level, depth 1 the outermost."""
        marks, depth = [], 1
        while isinstance(t, AggregateType):
            if t.unique:
                marks.append((depth, "uniqueelements"))
            if t.optional:
                marks.append((depth, "optionalelements"))
            t, depth = t.element, depth + 1
        return marks

    def is_entity(self, t: TypeRef) -> bool:
        return isinstance(t, NamedType) and isinstance(self.schema.lookup(t.name), Entity)

    # ---- files ----

    def builtins(self) -> List[Record]:
        """A built-in string type for each string or binary of a width that a defined type
        fixes to its width or that an attribute or aggregate names directly."""
        found: Dict[str, SimpleType] = {}
        for d in self.schema.types:
            u = d.underlying
            if isinstance(u, SimpleType) and u.fixed:
                found.setdefault(self.simple(u), u)
        for t in self.all_type_refs():
            while isinstance(t, AggregateType):
                t = t.element
            if isinstance(t, SimpleType) and self.simple(t) != t.primitive.value:
                found.setdefault(self.simple(t), t)
        out = []
        for key, t in found.items():
            if not t.width.isdigit():
                raise WriteError(f"the width of {key} is not a number")
            out.append(Record(f"builtin {key} {'fixed' if t.fixed else 'unfixed'} {t.width}"))
        return out

    def all_type_refs(self) -> List[TypeRef]:
        refs: List[TypeRef] = [d.underlying for d in self.schema.types if d.kind is TypeKind.AGGREGATE]
        for e in self.schema.entities:
            refs += [a.type for a in e.explicit] + [a.type for a in e.derived]
        return refs

    def where_subs(self, rules, context: str) -> List[str]:
        return [f"where {r.label or '-'} {_one_line(r.text, context)}" for r in rules]

    def defined(self) -> List[Record]:
        out = []
        for d in self.schema.types:
            u = d.underlying
            if d.kind is TypeKind.SIMPLE:
                record = Record(f"defined {d.name} {self.simple(SimpleType(u.primitive))}")
                if self.simple(SimpleType(u.primitive)) != u.primitive.value:
                    record.subs.append(f"primitive {u.primitive.value}")
                if u.width is not None and u.primitive in (Primitive.STRING, Primitive.BINARY):
                    if not u.width.isdigit():
                        raise WriteError(f"{d.name}: the width {u.width} is not a number")
                    record.subs.append(f"width {u.width} {'fixed' if u.fixed else 'unfixed'}")
                    if u.primitive is Primitive.STRING and u.fixed and u.width == GUID_WIDTH:
                        record.subs.append("guid")
            elif d.kind is TypeKind.DEFINED:
                record = Record(f"defined {d.name} {self.declared(u.name, d.name).lower()}")
            else:
                continue
            record.subs += self.where_subs(d.where, d.name)
            out.append(record)
        return out

    def enumerations(self) -> List[Record]:
        out = []
        for d in sorted((d for d in self.schema.types if d.kind is TypeKind.ENUMERATION),
                        key=lambda d: d.name.encode()):
            out.append(Record(f"enum {d.name} {' '.join(d.underlying.items)}", self.where_subs(d.where, d.name)))
        return out

    def selects(self) -> List[Record]:
        out = []
        for d in self.schema.types:
            if d.kind is TypeKind.SELECT:
                members = [self.declared(m, d.name).upper() for m in d.underlying.items]
                out.append(Record(f"select {d.name} {' '.join(members)}", self.where_subs(d.where, d.name)))
        return out

    def aggregates(self) -> List[Record]:
        named, anonymous = [], set()

        def collect(t: TypeRef, context: str) -> None:
            while isinstance(t, AggregateType):
                anonymous.add(self.aggregate_key(t, context))
                t = t.element

        for d in self.schema.types:
            if d.kind is TypeKind.AGGREGATE:
                record = Record(f"aggregate {d.name} = {self.aggregate_key(d.underlying, d.name)}")
                record.subs += [f"{mark} {depth}" for depth, mark in self.element_marks(d.underlying)]
                record.subs += self.where_subs(d.where, d.name)
                named.append(record)
                collect(d.underlying.element, d.name)
        for e in self.schema.entities:
            for a in e.explicit + e.derived:
                collect(a.type, f"{e.name}.{a.name}")
            for i in e.inverse:
                if i.aggregate is not None:
                    anonymous.add(f"{i.aggregate.value} [{i.lower}:{i.upper}] of "
                                  f"{self.declared(i.entity, f'{e.name}.{i.name}')}")
        return named + [Record(f"aggregate {key}") for key in sorted(anonymous, key=str.encode)]

    def entity_order(self) -> List[Entity]:
        """File order, each entity after its supertypes."""
        done: Dict[str, bool] = {}
        out: List[Entity] = []

        def visit(e: Entity, path: List[str]) -> None:
            key = e.name.lower()
            if done.get(key):
                return
            if key in path:
                raise WriteError(f"{e.name} is its own supertype: {' -> '.join(path + [key])}")
            for s in e.supertypes:
                item = self.schema.lookup(s)
                if not isinstance(item, Entity):
                    raise WriteError(f"the supertype {s} of {e.name} is not an entity")
                visit(item, path + [key])
            done[key] = True
            out.append(e)

        for e in self.schema.entities:
            visit(e, [])
        return out

    def entities(self) -> List[Record]:
        return [self.entity(e) for e in self.entity_order()]

    def derived_name(self, e: Entity, a: DerivedAttribute) -> str:
        """A derived attribute that redeclares is named <supertype>_<attribute>, in lower case."""
        if a.redeclares is None:
            return a.name
        return f"{self.declared(a.redeclares, e.name).lower()}_{a.name.lower()}"

    def entity(self, e: Entity) -> Record:
        if len(e.supertypes) > 1:
            raise WriteError(f"{e.name} has {len(e.supertypes)} supertypes; the data holds one")
        head = f"entity {e.name}"
        if e.supertypes:
            head += f" : {self.declared(e.supertypes[0], e.name)}"
        record = Record(head)
        subs = record.subs
        for a in e.explicit:
            subs += self.explicit(e, a)
        for a in e.derived:
            redeclares = f" redeclares {self.declared(a.redeclares, e.name)}" if a.redeclares else ""
            subs.append(f"derived {self.derived_name(e, a)} {self.type_string(a.type, f'{e.name}.{a.name}')}"
                        f"{redeclares}")
        for i in e.inverse:
            context = f"{e.name}.{i.name}"
            target = self.declared(i.entity, context).lower()
            if i.aggregate is None:
                bounds = "[?:?]"
            else:
                bounds = f"[{i.lower}:{i.upper}]"
                if not all(b == "?" or b.isdigit() for b in (i.lower, i.upper)):
                    raise WriteError(f"{context}: inverse bounds are numbers or '?', not {bounds}")
            if i.aggregate is AggregateKind.BAG:
                raise WriteError(f"{context}: an inverse BAG has no data line; inverse lines are sets")
            subs.append(f"inverse {i.name} {target} {bounds} {i.attribute}")
        # Facts that only this tool writes, after those the IFC4 data has.
        if e.abstract:
            subs.append("abstract")
        if e.supertype_of is not None:
            subs.append(f"supertypeof {e.supertype_of}")
        for a in e.derived:
            name = self.derived_name(e, a)
            if a.redeclares:
                subs.append(f"rederived {name} {a.name}")
            subs.append(f"derivation {name} {_one_line(a.expression, f'{e.name}.{a.name}')}")
        for a in e.explicit + e.derived:
            name = self.derived_name(e, a) if isinstance(a, DerivedAttribute) else a.name
            subs += [f"{mark} {name} {depth}" for depth, mark in self.element_marks(a.type)]
        for u in e.unique:
            subs.append(f"unique {u.label or '-'} {' '.join(str(r) for r in u.attributes)}")
        subs += self.where_subs(e.where, e.name)
        return record

    def explicit(self, e: Entity, a: ExplicitAttribute) -> List[str]:
        context = f"{e.name}.{a.name}"
        if a.redeclares:
            raise WriteError(f"{context}: an explicit attribute that redeclares SELF\\{a.redeclares}.{a.name} "
                             "has no data line")
        line = f"attr {a.name} {self.type_string(a.type, context)}"
        if self.is_entity(a.type):
            # A reference never carries opt; a mandatory one is marked required.
            return [line] if a.optional else [line, f"required {a.name}"]
        return [line + (" opt" if a.optional else "")]

    def files(self) -> Dict[str, List[Record]]:
        return {"builtins.txt": self.builtins(), "defined.txt": self.defined(),
                "enumerations.txt": self.enumerations(), "entities.txt": self.entities(),
                "selects.txt": self.selects(), "aggregates.txt": self.aggregates()}


def schema_records(schema: Schema, like: Optional[str] = None) -> Dict[str, List[Record]]:
    """The records of each data file, by file name. like: a data folder of another
    edition whose class facts carry over (see carry_class_facts)."""
    files = Writer(schema).files()
    if like:
        carry_class_facts(files["entities.txt"], os.path.join(like, "entities.txt"))
    return files


def _split(text: str) -> tuple:
    keyword, _, rest = text.partition(" ")
    return keyword, rest


# A string type of this fixed width holds GUIDs (the compressed 128 bits), which the
# entity classes keep in the core's GUID class.
GUID_WIDTH = "22"


# The facts of the entity classes that EXPRESS does not state, carried over by name
# from another edition: which inverses putAttr writes and in what order, which are
# walked as hierarchies, which records read "$" beyond their first parameter.
CARRIED = ("writable", "writablelast", "hierarchy", "readsunset")


def carry_class_facts(entities: List[Record], path: str) -> None:
    """Gives an entity the CARRIED sub-records that the entity of the same name has in
    the entities file at path, in that order, where they name inverses it has of the
    same name (writablelast only with a writable inverse); and a hierarchy to every
    inverse named as a hierarchy there, whichever entity declares it. An edition takes
    over the choices made for another."""
    facts: Dict[str, List[Tuple[str, str]]] = {}
    hierarchies: Dict[str, str] = {}
    for line in schemadata.read_lines(path):
        carried = [(s.keyword, s.rest) for s in line.subs if s.keyword in CARRIED and s.keyword != "hierarchy"]
        if carried:
            facts[line.rest.split(" ")[0].lower()] = carried
        hierarchies.update(s.rest.split(" ", 1) for s in line.subs if s.keyword == "hierarchy")
    for record in entities:
        inverses = [_split(s)[1].split(" ")[0] for s in record.subs if _split(s)[0] == "inverse"]
        added: List[str] = []
        for keyword, rest in facts.get(record.line.split(" ")[1].lower(), []):
            if keyword == "writable" and rest not in inverses:
                continue
            if keyword == "writablelast" and not any(a.startswith("writable ") for a in added):
                continue
            added.append(f"{keyword} {rest}".rstrip())
        added += [f"hierarchy {i} {hierarchies[i]}" for i in inverses if i in hierarchies]
        record.subs += added


# The sub-records of the IFC4 data that EXPRESS states and the cross-check compares.
# The others are facts of the dictionary or the classes (dictionary, memberbounds,
# writable, ...) or facts the IFC4 data does not hold yet.
COMPARED_SUBS = ("attr", "required", "derived", "inverse", "abstract")


def _record_key(keyword: str, rest: str) -> str:
    if keyword == "aggregate" and " = " not in rest:
        return rest
    return rest.split(" ")[0]


def _single_target(sub: str, ours: List[str]) -> str:
    """A single inverse of the IFC4 data, which the dictionary keeps without its target
    ("inverse X - [?:?] A"), with the target the EXPRESS gives it, so that it compares."""
    keyword, rest = _split(sub)
    fields = rest.split(" ")
    if keyword != "inverse" or fields[1:3] != ["-", "[?:?]"]:
        return sub
    for candidate in ours:
        k, r = _split(candidate)
        f = r.split(" ")
        if k == "inverse" and f[0] == fields[0] and f[2:] == fields[2:]:
            return candidate
    return sub


def cross_check(data_dir: str, schema: Schema) -> List[str]:
    """The differences between the data files in data_dir and what this tool writes
    for schema, record by record, one line each. Not compared: builtins.txt, the order
    of the records, and sub-records other than COMPARED_SUBS."""
    differences = []
    for name, records in schema_records(schema).items():
        if name == "builtins.txt":
            continue
        ours = {}
        for r in records:
            keyword, rest = _split(r.line)
            ours[_record_key(keyword, rest)] = (r.line, [s for s in r.subs if _split(s)[0] in COMPARED_SUBS])
        theirs = {}
        for line in schemadata.read_lines(os.path.join(data_dir, name)):
            subs = [f"{s.keyword} {s.rest}".rstrip() for s in line.subs if s.keyword in COMPARED_SUBS]
            ours_subs = ours.get(_record_key(line.keyword, line.rest), ("", []))[1]
            subs = [_single_target(sub, ours_subs) for sub in subs]
            theirs[_record_key(line.keyword, line.rest)] = (f"{line.keyword} {line.rest}", subs)
        for key in theirs.keys() - ours.keys():
            differences.append(f"{name}: {theirs[key][0]}: only in the data")
        for key in ours.keys() - theirs.keys():
            differences.append(f"{name}: {ours[key][0]}: only in the EXPRESS")
        for key in theirs.keys() & ours.keys():
            (data_line, data_subs), (our_line, our_subs) = theirs[key], ours[key]
            if data_line != our_line:
                differences.append(f"{name}: {data_line}: the EXPRESS gives '{our_line}'")
            for sub in (Counter(data_subs) - Counter(our_subs)).elements():
                differences.append(f"{name}: {data_line}: '{sub}' only in the data")
            for sub in (Counter(our_subs) - Counter(data_subs)).elements():
                differences.append(f"{name}: {data_line}: '{sub}' only in the EXPRESS")
            if Counter(data_subs) == Counter(our_subs) and data_subs != our_subs:
                differences.append(f"{name}: {data_line}: the sub-records stand in another order")
    return sorted(differences)


HEADER = ("# The {file} facts of the {schema} schema, written by tools/gen/express2data.py from\n"
          "# {source}; do not edit. The format: ifc4/data/README.md; this folder: README.md.\n")


def write_data(schema: Schema, out: str, source: str, like: Optional[str] = None) -> List[str]:
    """Writes the six files into out; returns their paths."""
    os.makedirs(out, exist_ok=True)
    paths = []
    for name, records in schema_records(schema, like).items():
        path = os.path.join(out, name)
        with open(path, "w", encoding="utf-8", newline="\n") as f:
            f.write(HEADER.format(file=name[:-4], schema=schema.name, source=source))
            f.writelines(r.text() for r in records)
        paths.append(path)
    return paths


def main(argv: Optional[List[str]] = None) -> int:
    ap = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    ap.add_argument("schema", help="an EXPRESS long form, SCHEMA.exp")
    ap.add_argument("--out", required=True, help="the folder of the data files")
    ap.add_argument("--like", help="the data folder of another edition to take the class facts (CARRIED) from")
    args = ap.parse_args(argv)
    try:
        schema = express.parse_file(args.schema)
        for note in schema.notes:
            print(f"note: {note}", file=sys.stderr)
        write_data(schema, args.out, os.path.basename(args.schema), args.like)
    except (express.ExpressError, WriteError) as e:
        print(f"express2data: {e}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
