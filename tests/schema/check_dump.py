#!/usr/bin/env python3
"""Checks `qdifc schema --dump` against the IFC4 data files.

The expected dump is worked out here from ifc4/data/*.txt with a reader of its own
(it shares no code with the generator), so that a fault in the generator, the builder,
the linking step or the dump shows up as a difference. Exit status 0 when all agree.
"""
import argparse
import os
import subprocess
import sys

PRIMITIVES = ("integer", "real", "string", "logical", "boolean", "binary")


def records(path):
    """(keyword, rest, is_sub_record) for each record line of a data file."""
    with open(path, encoding="utf-8") as f:
        for raw in f:
            line = raw.rstrip("\n")
            if not line.strip() or line.lstrip().startswith("#"):
                continue
            keyword, _, rest = line.strip().partition(" ")
            yield keyword, rest, line.startswith(" ")


def bound(text):
    return text if text.isdigit() else "?"


def split_aggregate(text):
    """'list [1:?] of X' -> ('list', '1', '?', 'X'); the element is all after the first ' of '."""
    head, _, element = text.partition(" of ")
    keyword, bounds = head.split(" ")
    lower, upper = bounds.strip("[]").split(":")
    return keyword, lower, upper, element


class Data:
    def __init__(self, folder):
        at = lambda name: os.path.join(folder, name)
        self.builtins = [r[1].split(" ") for r in records(at("builtins.txt"))]
        self.defined = [r[1].split(" ") for r in records(at("defined.txt")) if r[0] == "defined"]
        self.enums = []  # [mixed name, dictionary literals or None]
        for keyword, rest, _ in records(at("enumerations.txt")):
            if keyword == "enum":
                name, *literals = rest.split(" ")
                self.enums.append([name, literals])
            else:  # dictionary sub-record
                self.enums[-1][1] = None if rest == "none" else rest.split(" ")
        self.entities = []  # dicts: name, super, attrs [(kind, name, fields...)]
        for keyword, rest, _ in records(at("entities.txt")):
            if keyword == "entity":
                name, _, supertype = rest.partition(" : ")
                self.entities.append({"name": name, "super": supertype or None, "attrs": []})
                continue
            if keyword not in ("attr", "derived", "inverse"):  # facts the dump does not show
                continue
            name, _, tail = rest.partition(" ")
            if keyword == "attr":
                entry = ("explicit", name, tail[:-4] if tail.endswith(" opt") else tail)
            elif keyword == "derived":
                type_text, _, redeclares = tail.partition(" redeclares ")
                entry = ("derived", name, type_text, redeclares)
            else:
                target, bounds, attribute = tail.split(" ")
                entry = ("inverse", name, target, *bounds.strip("[]").split(":"), attribute)
            self.entities[-1]["attrs"].append(entry)
        self.selects = [r[1].split(" ") for r in records(at("selects.txt")) if r[0] == "select"]
        self.aggregates = []  # (key, aggregate text, named)
        for _, rest, _ in records(at("aggregates.txt")):
            name, eq, text = rest.partition(" = ")
            self.aggregates.append((name, text, True) if eq else (rest, rest, False))

        # The dump shows each type by the name its table holds it under.
        self.names = {p: p for p in PRIMITIVES}
        self.names.update({n.lower(): n for n, _ in self.defined})
        self.names.update({n.lower(): n.lower() for n, lits in self.enums if lits is not None})
        self.names.update({e["name"].lower(): e["name"].upper() for e in self.entities})
        self.names.update({s[0].lower(): s[0] for s in self.selects})
        self.names.update({key.lower(): key for key, _, _ in self.aggregates})
        self.entity = {e["name"].lower(): e for e in self.entities}

    def show(self, text):
        return self.names.get(text.lower(), "-")

    def find_attribute(self, entity_name, attr_name, inherited):
        e = self.entity.get(entity_name.lower())
        while e:
            for a in e["attrs"]:
                if a[1].lower() == attr_name.lower():
                    return e["name"].upper() + "." + a[1]
            e = self.entity.get((e["super"] or "").lower()) if inherited else None
        return "-"

    def attribute_line(self, a):
        if a[0] == "explicit":
            return f"  explicit\t{a[1]}\t{self.show(a[2])}"
        if a[0] == "derived":
            ref = self.find_attribute(a[3], a[1].partition("_")[2], True) if a[3] else "-"
            return f"  derived\t{a[1]}\t{self.show(a[2])}\t{ref}"
        _, name, target, lower, upper, attribute = a
        if target == "-":
            return f"  inverse\t{name}\t{bound(lower)}\t{bound(upper)}\t-\t-"
        return (f"  inverse\t{name}\t{bound(lower)}\t{bound(upper)}\t{self.show(f'set [{lower}:{upper}] of {target}')}"
                f"\t{self.find_attribute(target, attribute, False)}")

    def expected(self):
        """The dump as blocks (kind, key, lines), in order; an entity block holds its attribute lines."""
        blocks = [("schema", "IFC4", ["schema\tIFC4\t4\t0"])]
        blocks += [("builtin", k, [f"builtin\t{k}\t{int(f == 'fixed')}\t{w}"]) for k, f, w in self.builtins]
        blocks += [("defined", n, [f"defined\t{n}\t{self.show(u)}"]) for n, u in self.defined]
        blocks += [("enum", n.lower(), [f"enum\t{n.lower()}\t{len(l)}\t{' '.join(l)}"])
                   for n, l in self.enums if l is not None]
        for e in self.entities:
            head = (f"entity\t{e['name'].upper()}\t{(e['super'] or '-').upper()}\t{e['name']}\t{len(e['attrs'])}")
            blocks.append(("entity", e["name"].upper(), [head] + [self.attribute_line(a) for a in e["attrs"]]))
        blocks += [("select", s[0], [f"select\t{s[0]}\t{len(s) - 1}\t{','.join(self.show(m) for m in s[1:])}"])
                   for s in self.selects]
        for named in (True, False):  # named ones are name types, listed before the anonymous ones
            for key, text, is_named in self.aggregates:
                if is_named == named:
                    kw, lo, up, element = split_aggregate(text)
                    line = f"aggregate\t{key}\t{kw}\t{bound(lo)}\t{bound(up)}\t{self.show(element)}"
                    blocks.append(("aggregate", key, [line]))
        name_types = (len(self.defined) + sum(l is not None for _, l in self.enums) + len(self.selects)
                      + sum(n for _, _, n in self.aggregates))
        builtins = len(self.builtins) + sum(not n for _, _, n in self.aggregates)
        counts = f"counts\tentities={len(self.entities)}\tnametypes={name_types}\tbuiltins={builtins}"
        blocks.append(("counts", "", [counts]))
        return blocks


def parse_dump(text):
    blocks = []
    for line in text.split("\n")[:-1]:
        if line.startswith("  ") and blocks:
            blocks[-1][2].append(line)
        else:
            fields = line.split("\t") + [""]
            blocks.append((fields[0], fields[1] if fields[0] != "counts" else "", [line]))
    return blocks


# Lines written out by hand from IFC4 itself, as a check on the derivation above.
KNOWN_LINES = [
    "counts\tentities=776\tnametypes=396\tbuiltins=242",
    "entity\tIFCROOT\t-\tIfcRoot\t4",
    "  explicit\tGlobalId\tIfcGloballyUniqueId",
    "entity\tIFCWALL\tIFCBUILDINGELEMENT\tIfcWall\t1",
    "  explicit\tRelatedObjects\tset [1:?] of IfcObjectDefinition",
    "  inverse\tInnerBoundaries\t0\t?\tset [0:?] of IfcRelSpaceBoundary1stLevel"
    "\tIFCRELSPACEBOUNDARY1STLEVEL.ParentBoundary",
    "  derived\tifcedge_edgestart\tIFCVERTEX\tIFCEDGE.EdgeStart",
    "  explicit\tMasterRepresentation\t-",
    "enum\tifcnullstyle\t1\tNULL);",
    "select\tIfcValue\t3\tIfcDerivedMeasureValue,IfcMeasureValue,IfcSimpleValue",
    "aggregate\tIfcComplexNumber\tarray\t1\t2\treal",
    "aggregate\tlist [1:?] of list [2:2] of IfcLengthMeasure\tlist\t1\t?\tlist [2:2] of IfcLengthMeasure",
    "aggregate\tarray [0:UUpper] of array [0:VUpper] of IfcReal\tarray\t0\t?\tarray [0:VUpper] of IfcReal",
]
SECTIONS = ["schema", "builtin", "defined", "enum", "entity", "select", "aggregate", "counts"]


def check(dump, data):
    problems = []
    expect = lambda ok, message: ok or problems.append(message)
    want, got = data.expected(), parse_dump(dump)
    want_lines = [l for b in want for l in b[2]]
    expect(dump.endswith("\n") and "\r" not in dump, "the dump must end in a newline and hold no CR")
    for line in KNOWN_LINES:
        expect(line in want_lines, f"derived from the data, missing: {line!r}")
        expect(line in dump.split("\n"), f"in the dump, missing: {line!r}")
    # Sections come in their fixed order, each once.
    kinds = [b[0] for b in got]
    runs = [k for i, k in enumerate(kinds) if i == 0 or kinds[i - 1] != k]
    expect(runs == SECTIONS, f"sections in the order {runs}")
    # Lines per kind, attribute kinds included.
    kind_of = lambda line: line.split("\t")[0].strip()
    for kind in SECTIONS + ["explicit", "derived", "inverse"]:
        n_want = sum(kind_of(l) == kind for l in want_lines)
        n_got = sum(kind_of(l) == kind for l in dump.split("\n")[:-1])
        expect(n_want == n_got, f"{kind}: {n_got} lines, the data implies {n_want}")
    # Order of the items within each section is the order of the data files.
    for kind in SECTIONS:
        keys_want = [b[1] for b in want if b[0] == kind]
        keys_got = [b[1] for b in got if b[0] == kind]
        expect(keys_want == keys_got, f"{kind}: items not in data-file order")
    # Orders that hold independently of the files: byte order of enumerations and of
    # the anonymous aggregates, and each supertype before its subtypes.
    enums = [n for n, l in data.enums if l is not None]
    expect(enums == sorted(enums), "enumerations not in byte order of their names")
    anonymous = [k for k, _, named in data.aggregates if not named]
    expect(anonymous == sorted(anonymous), "anonymous aggregates not in byte order of their keys")
    seen = set()
    for b in got:
        if b[0] == "entity":
            supertype = b[2][0].split("\t")[2]
            expect(supertype == "-" or supertype in seen, f"{b[1]} comes before its supertype {supertype}")
            seen.add(b[1])
    # Every item, line for line.
    got_by_key = {(b[0], b[1]): b[2] for b in got}
    wrong = [b for b in want if got_by_key.get((b[0], b[1])) != b[2]]
    for kind, key, lines in wrong[:10]:
        problems.append(f"{kind} {key}:\n  expected {lines}\n  dumped   {got_by_key.get((kind, key))}")
    expect(len(wrong) <= 10, f"... {len(wrong)} items differ in all")
    return problems


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--qdifc", required=True, help="the qdifc program")
    parser.add_argument("--schema-dir", required=True, help="the folder of the IFC4 data files")
    args = parser.parse_args()
    run = subprocess.run([args.qdifc, "schema", "--dump"], capture_output=True, text=True)
    if run.returncode != 0:
        print(f"qdifc schema --dump exited with {run.returncode}:\n{run.stderr}")
        return 1
    problems = check(run.stdout, Data(args.schema_dir))
    for p in problems:
        print("FAIL:", p)
    print(f"{len(problems)} problem(s)" if problems else "the dump agrees with the data files")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
