"""The data-file reader and the phase emitter."""

import os
import re
import subprocess
import sys
import tempfile
import textwrap
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
GEN = os.path.dirname(HERE)
sys.path.insert(0, GEN)

import attrmodel  # noqa: E402
import entities  # noqa: E402
import genifc  # noqa: E402
import schemadata  # noqa: E402


def write_schema(files):
    folder = tempfile.mkdtemp(prefix="schemadata-")
    for name, text in files.items():
        with open(os.path.join(folder, name), "w", encoding="utf-8") as f:
            f.write(textwrap.dedent(text).lstrip("\n"))
    return folder


SAMPLE = {
    "builtins.txt": """
        # a comment
        builtin string(22)fixed fixed 22
        builtin binary(32) unfixed 32
        """,
    "defined.txt": """
        defined IfcPositiveLengthMeasure ifclengthmeasure
        defined IfcLengthMeasure real
        defined IfcLabel string
        defined IfcGloballyUniqueId string
          guid
        """,
    "enumerations.txt": """
        enum IfcNullStyle NULL
          dictionary NULL);
        enum IfcPreferredSurfaceCurveRepresentation CURVE3D PCURVE_S1 PCURVE_S2
          dictionary none
        enum IfcActionTypeEnum PERMANENT_G VARIABLE_Q EXTRAORDINARY_A USERDEFINED NOTDEFINED
        """,
    "entities.txt": """
        entity IfcRoot
          attr GlobalId IFCGLOBALLYUNIQUEID
          attr Name IFCLABEL opt
          attr Points list [1:?] of list [2:2] of IFCLENGTHMEASURE opt
          inverse Nests ifcrelnests [0:1] RelatedObjects
        entity IfcEdge : IfcRoot
          attr EdgeStart IFCROOT
          required EdgeStart
          attr EdgeEnd IFCROOT
        entity IfcOrientedEdge : IfcEdge
          derived ifcedge_edgestart IFCROOT redeclares IfcEdge
          derived Dim IFCDIMENSIONCOUNT
          inverse ToSet - [?:?] MaterialLayers
        entity IfcRelNests : IfcRoot
          attr RelatedObjects list [1:?] of IFCROOT
        entity IfcLayerSet : IfcRoot
          attr MaterialLayers list [1:?] of IFCORIENTEDEDGE
        """,
    "selects.txt": """
        select IfcShell IFCEDGE IFCORIENTEDEDGE
        """,
    "aggregates.txt": """
        aggregate IfcArcIndex = list [3:3] of IfcPositiveInteger
        aggregate array [0:UUpper] of array [0:VUpper] of IfcReal
        aggregate set [1:?] of IfcWorkTime
        """,
}


class ReaderTest(unittest.TestCase):
    def setUp(self):
        self.schema = schemadata.read_schema(write_schema(SAMPLE))

    def test_every_kind_of_record(self):
        s = self.schema
        self.assertEqual([(b.key, b.fixed, b.width) for b in s.builtins],
                         [("string(22)fixed", True, 22), ("binary(32)", False, 32)])
        self.assertEqual(s.defined[0].underlying, "ifclengthmeasure")
        self.assertEqual(s.selects[0].members, ["IFCEDGE", "IFCORIENTEDEDGE"])

    def test_enumerations_keep_both_sides(self):
        null, preferred, action = self.schema.enumerations
        self.assertEqual(null.enumerators, ["NULL"])
        self.assertEqual(null.dictionary, ["NULL);"])
        self.assertIsNone(preferred.dictionary)
        self.assertEqual(action.dictionary, action.enumerators)
        self.assertEqual(action.key, "ifcactiontypeenum")
        self.assertEqual([e.name for e in self.schema.dictionary_enumerations()], ["IfcNullStyle", "IfcActionTypeEnum"])

    def test_attributes(self):
        root, edge, oriented = self.schema.entities[:3]
        self.assertIsNone(root.supertype)
        self.assertEqual(oriented.supertype, "IfcEdge")
        gid, name, points, nests = root.attributes
        self.assertEqual((gid.type, gid.optional), ("IFCGLOBALLYUNIQUEID", False))
        self.assertEqual((name.type, name.optional), ("IFCLABEL", True))
        self.assertEqual(points.type, "list [1:?] of list [2:2] of IFCLENGTHMEASURE")
        self.assertTrue(points.optional)
        self.assertEqual((nests.kind.value, nests.target, nests.lower, nests.upper, nests.inverts),
                         ("inverse", "ifcrelnests", 0, 1, "RelatedObjects"))
        redeclared, plain, single = oriented.attributes
        self.assertEqual((redeclared.kind.value, redeclared.type, redeclared.redeclares), ("derived", "IFCROOT", "IfcEdge"))
        self.assertEqual(plain.redeclares, "")
        self.assertEqual((single.target, single.lower, single.upper), ("", None, None))

    def test_references_are_optional_to_the_schema_unless_required(self):
        keys = {e.key for e in self.schema.entities}
        gid, name, points, _ = self.schema.entities[0].attributes
        start, end = self.schema.entities[1].attributes
        self.assertEqual([genifc.schema_optional(a, keys) for a in (gid, name, points, start, end)],
                         [False, True, True, False, True])

    def test_aggregates_parse_their_key(self):
        named, nested, open_set = self.schema.aggregates
        self.assertEqual((named.key, named.kind.value, named.lower, named.upper, named.element, named.named),
                         ("IfcArcIndex", "list", 3, 3, "IfcPositiveInteger", True))
        # The element is everything after the first " of "; a computed bound is unset.
        self.assertEqual(nested.element, "array [0:VUpper] of IfcReal")
        self.assertEqual((nested.lower, nested.upper), (0, None))
        self.assertEqual(nested.key, "array [0:UUpper] of array [0:VUpper] of IfcReal")
        self.assertEqual((open_set.kind.value, open_set.lower, open_set.upper), ("set", 1, None))


class ErrorTest(unittest.TestCase):
    def assertDataError(self, files, fragment, line=None):
        with self.assertRaises(schemadata.DataError) as ctx:
            schemadata.read_schema(write_schema(files))
        self.assertIn(fragment, str(ctx.exception))
        if line is not None:
            self.assertEqual(ctx.exception.line, line)

    def test_errors_name_the_file_and_line(self):
        self.assertDataError({"entities.txt": "entity IfcA\nentity IfcB : IfcC\n"}, "must come before", line=2)
        self.assertDataError({"entities.txt": "entity IfcA\nentity IFCA\n"}, "defined twice", line=2)
        self.assertDataError({"entities.txt": "entity IfcA\n  inverse X y [0:n] Z\n"}, "bound pair", line=2)
        self.assertDataError({"entities.txt": "entity IfcA\n  inverse X y [0:?] Z\n  attr B IFCLABEL\n"},
                             "explicit, then derived, then inverse")
        self.assertDataError({"entities.txt": "entity IfcA\n  widget X\n"}, "unknown sub-record")
        self.assertDataError({"entities.txt": "entity IfcA\n  attr B IFCA opt\n  required B\n"}, "without opt", line=3)
        self.assertDataError({"entities.txt": "entity IfcA\n  required B\n"}, "names no own explicit attribute")
        self.assertDataError({"entities.txt": "entity IfcA\n  inverse X y [0:?] Z\n  hierarchy Y Rel\n"},
                             "names no own inverse", line=3)
        self.assertDataError({"entities.txt": "entity IfcA\n  inverse X y [0:?] Z\n  writablelast\n"},
                             "no writable inverse", line=1)
        self.assertDataError({"entities.txt": "entity IfcA\n  readsunset yes\n"}, "takes no field", line=2)
        self.assertDataError({"defined.txt": "defined IfcA real\n  guid\n"}, "only under a string type", line=2)
        self.assertDataError({"defined.txt": "defined IfcA\treal\n"}, "tabs")
        self.assertDataError({"defined.txt": "defined IfcA  real\n"}, "single blanks")
        self.assertDataError({"aggregates.txt": "aggregate list of IfcA\n"}, "is not an aggregate")
        self.assertDataError({"builtins.txt": "builtin x maybe 3\n"}, "fixed|unfixed")
        self.assertDataError({"selects.txt": "# no record yet\n  select IfcA IFCB\n"}, "record above it")

    def test_names_are_unique_across_files_without_case(self):
        self.assertDataError({"defined.txt": "defined IfcThing real\n", "entities.txt": "entity IFCTHING\n"},
                             "has the name of")


class EmitterTest(unittest.TestCase):
    def test_phases_are_one_call_per_fact_in_file_order(self):
        text = genifc.emit_phases(schemadata.read_schema(write_schema(SAMPLE)))
        self.assertIn('defineBuiltInStringType("string(22)fixed", true, 22);', text)
        self.assertLess(text.index('"string(22)fixed"'), text.index('"binary(32)"'))
        self.assertIn('defineSimpleType("IfcPositiveLengthMeasure", "ifclengthmeasure");', text)
        self.assertIn('phase.define("ifcnullstyle", {"NULL);"});', text)
        self.assertNotIn("ifcpreferredsurfacecurverepresentation", text)
        self.assertIn('defineAggregateType("IfcArcIndex", QdIfcAggregationType::kList, 3, 3, '
                      '"IfcPositiveInteger", true);', text)
        self.assertIn('defineAggregateType("array [0:UUpper] of array [0:VUpper] of IfcReal", '
                      'QdIfcAggregationType::kArray, 0, kUnsetBound, "array [0:VUpper] of IfcReal", false);', text)
        schema = schemadata.read_schema(write_schema(SAMPLE))
        types = genifc.emit_type_phases(schema, attrmodel.resolve(schema))
        for phase in ("initBuiltInTypes", "initDefinedTypes", "initEnumerationTypes", "initEntityTypes",
                      "initSelectTypes", "initAggregateTypes"):
            self.assertIn(f"void QdIFC4SchemaBuilder::{phase}()", text + types)
        # Entities: one row each (table, builder, count of own attributes), their attributes in order,
        # the counts adding up to the attribute rows so that no entity takes another's.
        self.assertIn("{&IfcOrientedEdge::kTable, &buildIfcOrientedEdgeProperties, 3},", types)
        self.assertIn('{kDerived, "ifcedge_edgestart", "IFCROOT", "IfcEdge"},', types)
        self.assertIn('{kInverse, "ToSet", "", "MaterialLayers", kUnset, kUnset},', types)
        self.assertIn('{kInverse, "Nests", "ifcrelnests", "RelatedObjects", 0, 1},', types)
        self.assertIn('{kExplicit, "EdgeStart", "IFCROOT"},', types)
        self.assertIn('{kOptional, "EdgeEnd", "IFCROOT"},', types)
        counts = [int(n) for n in re.findall(r"^    \{&\w+::kTable, &\w+, (\d+)\},$", types, re.M)]
        facts = re.findall(r"^    \{k(?:Explicit|Optional|Derived|Inverse), ", types, re.M)
        self.assertEqual(len(counts), len(schema.entities))
        self.assertEqual(sum(counts), len(facts))
        self.assertLess(types.index('"GlobalId"'), types.index('"Name"'))
        self.assertIn('phase.define("IfcShell", {"IFCEDGE", "IFCORIENTEDEDGE"}, IFC4::IfcShell::sType);', types)

    def test_each_table_chains_to_its_direct_supertypes(self):
        schema = schemadata.read_schema(write_schema(SAMPLE))
        model = attrmodel.resolve(schema)
        for c in model.classes:
            table = re.search(r"QDIFC4_TABLE(_WITHOUT_ROWS)?\((\w+), ([^)]+)\);", entities.emit_table(model, c))
            self.assertEqual(table.group(2), c.name)
            self.assertEqual(table.group(1) is None, bool(c.explicit or c.redeclared or c.inverses), c.name)
            self.assertEqual(table.group(3), f"&{c.supertype}::kTable" if c.supertype else "nullptr", c.name)

    def test_c_strings_escape_what_they_must(self):
        self.assertEqual(genifc.c_string('a"b\\c'), '"a\\"b\\\\c"')
        self.assertEqual(genifc.c_string("\xff"), '"\\xFF"')

    def test_command_line_lists_then_writes_only_changes(self):
        folder = write_schema(SAMPLE)
        out = tempfile.mkdtemp(prefix="genout-")
        script = os.path.join(GEN, "genifc.py")
        listed = subprocess.run([sys.executable, script, "--schema", folder, "--out", out, "--list-outputs"],
                                check=True, capture_output=True, text=True).stdout.split()
        self.assertTrue(listed)
        self.assertFalse(any(os.path.exists(p) for p in listed), "listing writes nothing")
        subprocess.run([sys.executable, script, "--schema", folder, "--out", out], check=True)
        stamps = {p: os.stat(p).st_mtime_ns for p in listed}
        subprocess.run([sys.executable, script, "--schema", folder, "--out", out], check=True)
        self.assertEqual(stamps, {p: os.stat(p).st_mtime_ns for p in listed}, "unchanged files are not rewritten")
        bad = write_schema({"entities.txt": "entity IfcA : IfcB\n"})
        r = subprocess.run([sys.executable, script, "--schema", bad, "--out", out], capture_output=True, text=True)
        self.assertEqual(r.returncode, 1)
        self.assertIn("entities.txt:1:", r.stderr)


class ProjectDataTest(unittest.TestCase):
    """The project's own IFC4 data against the counts the schema is known to have."""

    @classmethod
    def setUpClass(cls):
        cls.s = schemadata.read_schema(os.path.join(os.path.dirname(os.path.dirname(GEN)), "ifc4", "data"))

    def test_types(self):
        s = self.s
        self.assertEqual([b.key for b in s.builtins], ["string(22)fixed", "binary(32)"])
        self.assertEqual(len(s.defined), 125)
        self.assertEqual([d.name for d in s.defined[:5]], ["IfcCardinalPointReference",
                         "IfcModulusOfLinearSubgradeReactionMeasure", "IfcDate", "IfcLanguageId",
                         "IfcLinearForceMeasure"])
        self.assertEqual(len(s.enumerations), 207)
        dictionary = s.dictionary_enumerations()
        self.assertEqual(len(dictionary), 206)
        self.assertEqual(sum(len(e.dictionary) for e in dictionary), 1624)
        self.assertEqual(len(s.selects), 60)
        self.assertEqual(sum(len(x.members) for x in s.selects), 270)
        self.assertEqual(len(s.aggregates), 245)
        self.assertEqual([a.key for a in s.aggregates if a.named], ["IfcArcIndex", "IfcLineIndex",
                         "IfcPropertySetDefinitionSet", "IfcComplexNumber", "IfcCompoundPlaneAngleMeasure"])
        anonymous = [a.key for a in s.aggregates if not a.named]
        self.assertEqual(anonymous, sorted(anonymous), "anonymous aggregates stand in byte order")

    def test_entities_and_attributes(self):
        entities = self.s.entities
        self.assertEqual(len(entities), 776)
        self.assertEqual(sum(1 for e in entities if e.supertype is None), 59)
        attrs = [a for e in entities for a in e.attributes]
        kinds = [a.kind.value for a in attrs]
        self.assertEqual((kinds.count("explicit"), kinds.count("derived"), kinds.count("inverse")), (1491, 62, 153))
        self.assertEqual(sum(1 for a in attrs if a.redeclares), 8)
        self.assertEqual(sum(1 for a in attrs if a.kind is schemadata.AttributeKind.INVERSE and not a.target), 5)
        self.assertEqual(sum(1 for e in entities if not e.attributes), 103)
        self.assertEqual(max(entities, key=lambda e: len(e.attributes)).name, "IfcDocumentInformation")

    def test_every_name_resolves_but_the_one_known_gap(self):
        s = self.s
        known = {n.lower() for n in schemadata.PRIMITIVES}
        known |= {d.name.lower() for d in s.defined} | {e.key for e in s.dictionary_enumerations()}
        known |= {e.name.lower() for e in s.entities} | {x.name.lower() for x in s.selects}
        known |= {a.key.lower() for a in s.aggregates}
        missing = set()
        for e in s.entities:
            for a in e.attributes:
                if a.kind is not schemadata.AttributeKind.INVERSE and a.type.lower() not in known:
                    missing.add(a.type)
        for x in s.selects:
            missing |= {m for m in x.members if m.lower() not in known}
        for a in s.aggregates:
            if a.element.lower() not in known:
                missing.add(a.element)
        self.assertEqual(missing, {"IFCPREFERREDSURFACECURVEREPRESENTATION"})


if __name__ == "__main__":
    unittest.main()
