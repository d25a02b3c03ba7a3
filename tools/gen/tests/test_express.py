"""The EXPRESS reader, the data writer, and the data of the editions it writes."""

import os
import sys
import tempfile
import textwrap
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
GEN = os.path.dirname(HERE)
ROOT = os.path.dirname(os.path.dirname(GEN))
SCHEMAS = os.path.join(os.path.dirname(ROOT), "shared", "schemas")
sys.path.insert(0, GEN)

import express  # noqa: E402
import express2data  # noqa: E402
import schemadata  # noqa: E402
from express import (AggregateKind, AggregateType, AlgorithmKind, ExpressError, NamedType, Primitive,  # noqa: E402
                     SimpleType, SupertypeOp, TypeKind)

MINI = """\
(* A small schema: (* remarks nest *) and -- this is still inside *)
SCHEMA MINI;

TYPE MiniLabel = STRING(255);
END_TYPE;

TYPE MiniGuid = STRING(22) FIXED;
END_TYPE;

TYPE MiniCount = NUMBER;
END_TYPE;

TYPE MiniPositiveLength = MiniLength;
 WHERE
  WR1 : SELF >   0.;      -- a tail remark
END_TYPE;

TYPE MiniLength = REAL;
END_TYPE;

TYPE MiniIndex = LIST [2:?] OF UNIQUE MiniCount;
END_TYPE;

TYPE MinimumEnum = ENUMERATION OF (UP, DOWN);
END_TYPE;

TYPE MiniSideEnum = ENUMERATION OF
  (LEFT
  ,RIGHT
  ,NOTDEFINED);
END_TYPE;

TYPE MiniShapeSelect = SELECT
  (MiniPoint
  ,MiniLength
  ,MiniIndex);
END_TYPE;

ENTITY MiniRoot
 ABSTRACT SUPERTYPE OF (ONEOF
    (MiniPoint
    ,MiniEdge
    ,MiniPath));
  GlobalId : MiniGuid;
  Name : OPTIONAL MiniLabel;
 UNIQUE
  UR1 : GlobalId;
END_ENTITY;

ENTITY MiniOrientedEdge
 SUBTYPE OF (MiniEdge);
  EdgeElement : MiniEdge;
  Grid : LIST [1:?] OF UNIQUE LIST [2:2] OF MiniLength;
  Weights : OPTIONAL ARRAY [0:UUpper] OF OPTIONAL MiniLength;
 DERIVE
  SELF\\MiniEdge.EdgeStart : MiniPoint := EdgeElement.EdgeEnd;
  UUpper : INTEGER := SIZEOF(Grid)
     - 1;
 WHERE
  NotNested : NOT('MINI.MINIORIENTEDEDGE' IN TYPEOF(EdgeElement));
END_ENTITY;

ENTITY MiniEdge
 SUPERTYPE OF (ONEOF(MiniOrientedEdge))
 SUBTYPE OF (MiniRoot);
  EdgeStart : MiniPoint;
  EdgeEnd : MiniPoint;
  Side : OPTIONAL MiniSideEnum;
  Shape : MiniShapeSelect;
END_ENTITY;

ENTITY MiniPoint
 SUBTYPE OF (MiniRoot);
  Coordinates : LIST [1:3] OF MiniLength;
  Owner : OPTIONAL MiniPath;
 INVERSE
  StartOf : SET [0:2] OF MiniEdge FOR EdgeStart;
  OnPath : MiniPath FOR Points;
END_ENTITY;

ENTITY MiniPath
 SUBTYPE OF (MiniRoot);
  Points : LIST [2:?] OF MiniPoint;
  Pixels : OPTIONAL LIST [1:?] OF BINARY(32);
  Count : MiniCount;
END_ENTITY;

FUNCTION MiniPositive (Value : REAL) : BOOLEAN;
  RETURN (Value > 0);
END_FUNCTION;

RULE MiniOneRoot FOR (MiniRoot);
 WHERE
  WR1 : SIZEOF(MiniRoot) >= 0;
END_RULE;

END_SCHEMA;
"""

# What the writer must make of MINI, worked out by hand from the text above.
MINI_DATA = {
    "builtins.txt": """
        builtin string(22)fixed fixed 22
        builtin binary(32) unfixed 32
        """,
    "defined.txt": """
        defined MiniLabel string
          width 255 unfixed
        defined MiniGuid string
          width 22 fixed
          guid
        defined MiniCount real
          primitive number
        defined MiniPositiveLength minilength
          where WR1 SELF > 0.
        defined MiniLength real
        """,
    "enumerations.txt": """
        enum MiniSideEnum LEFT RIGHT NOTDEFINED
        enum MinimumEnum UP DOWN
        """,
    "selects.txt": """
        select MiniShapeSelect MINIPOINT MINILENGTH MINIINDEX
        """,
    "aggregates.txt": """
        aggregate MiniIndex = list [2:?] of MiniCount
          uniqueelements 1
        aggregate array [0:UUpper] of MiniLength
        aggregate list [1:3] of MiniLength
        aggregate list [1:?] of binary(32)
        aggregate list [1:?] of list [2:2] of MiniLength
        aggregate list [2:2] of MiniLength
        aggregate list [2:?] of MiniPoint
        aggregate set [0:2] of MiniEdge
        """,
    "entities.txt": """
        entity MiniRoot
          attr GlobalId MINIGUID
          attr Name MINILABEL opt
          abstract
          supertypeof ONEOF(MiniPoint, MiniEdge, MiniPath)
          unique UR1 GlobalId
        entity MiniEdge : MiniRoot
          attr EdgeStart MINIPOINT
          required EdgeStart
          attr EdgeEnd MINIPOINT
          required EdgeEnd
          attr Side MINISIDEENUM opt
          attr Shape MINISHAPESELECT
          supertypeof ONEOF(MiniOrientedEdge)
        entity MiniOrientedEdge : MiniEdge
          attr EdgeElement MINIEDGE
          required EdgeElement
          attr Grid list [1:?] of list [2:2] of MINILENGTH
          attr Weights array [0:UUpper] of MINILENGTH opt
          derived miniedge_edgestart MINIPOINT redeclares MiniEdge
          derived UUpper integer
          rederived miniedge_edgestart EdgeStart
          derivation miniedge_edgestart EdgeElement.EdgeEnd
          derivation UUpper SIZEOF(Grid) - 1
          uniqueelements Grid 1
          optionalelements Weights 1
          where NotNested NOT('MINI.MINIORIENTEDEDGE' IN TYPEOF(EdgeElement))
        entity MiniPoint : MiniRoot
          attr Coordinates list [1:3] of MINILENGTH
          attr Owner MINIPATH
          inverse StartOf miniedge [0:2] EdgeStart
          inverse OnPath minipath [?:?] Points
        entity MiniPath : MiniRoot
          attr Points list [2:?] of MINIPOINT
          attr Pixels list [1:?] of binary(32) opt
          attr Count MINICOUNT
        """,
}


def records_text(records):
    return "".join(r.text() for r in records)


def data_lines(path):
    """The record and sub-record lines of a data file, without its comments."""
    with open(path, encoding="utf-8") as f:
        return [line for line in f if line.strip() and not line.startswith("#")]


class ReaderTest(unittest.TestCase):
    """The model the reader makes of MINI."""

    @classmethod
    def setUpClass(cls):
        cls.schema = express.parse(MINI, "mini.exp")

    def test_types_by_kind(self):
        s = self.schema
        self.assertEqual(s.name, "MINI")
        kinds = {t.name: t.kind for t in s.types}
        self.assertEqual(kinds, {"MiniLabel": TypeKind.SIMPLE, "MiniGuid": TypeKind.SIMPLE,
                                 "MiniCount": TypeKind.SIMPLE, "MiniPositiveLength": TypeKind.DEFINED,
                                 "MiniLength": TypeKind.SIMPLE, "MiniIndex": TypeKind.AGGREGATE,
                                 "MinimumEnum": TypeKind.ENUMERATION, "MiniSideEnum": TypeKind.ENUMERATION,
                                 "MiniShapeSelect": TypeKind.SELECT})
        self.assertEqual(s.type("miniguid").underlying, SimpleType(Primitive.STRING, "22", True))
        self.assertEqual(s.type("MiniLabel").underlying, SimpleType(Primitive.STRING, "255", False))
        self.assertEqual(s.type("MiniCount").underlying.primitive, Primitive.NUMBER)
        self.assertEqual(s.type("MiniSideEnum").underlying.items, ("LEFT", "RIGHT", "NOTDEFINED"))
        self.assertEqual(s.type("MiniShapeSelect").underlying.items, ("MiniPoint", "MiniLength", "MiniIndex"))
        self.assertEqual(s.type("MiniIndex").underlying,
                         AggregateType(AggregateKind.LIST, "2", "?", NamedType("MiniCount"), unique=True))
        rule = s.type("MiniPositiveLength").where[0]
        self.assertEqual((rule.label, rule.text), ("WR1", "SELF > 0."))

    def test_entity_header_and_explicit_attributes(self):
        root = self.schema.entity("MiniRoot")
        self.assertTrue(root.abstract)
        self.assertEqual(root.supertype_of.op, SupertypeOp.ONEOF)
        self.assertEqual(root.supertype_of.names(), ["MiniPoint", "MiniEdge", "MiniPath"])
        self.assertEqual([(a.name, a.optional) for a in root.explicit], [("GlobalId", False), ("Name", True)])
        self.assertEqual([(u.label, [str(r) for r in u.attributes]) for u in root.unique], [("UR1", ["GlobalId"])])
        edge = self.schema.entity("MiniEdge")
        self.assertFalse(edge.abstract)
        self.assertEqual(edge.supertypes, ["MiniRoot"])
        self.assertEqual([a.name for a in edge.explicit], ["EdgeStart", "EdgeEnd", "Side", "Shape"])
        oriented = self.schema.entity("MiniOrientedEdge")
        grid, weights = oriented.explicit[1].type, oriented.explicit[2]
        self.assertEqual(grid, AggregateType(AggregateKind.LIST, "1", "?",
                                             AggregateType(AggregateKind.LIST, "2", "2", NamedType("MiniLength")),
                                             unique=True))
        self.assertTrue(weights.optional)
        self.assertEqual(weights.type, AggregateType(AggregateKind.ARRAY, "0", "UUpper", NamedType("MiniLength"),
                                                     optional=True))

    def test_derived_inverse_and_where(self):
        oriented = self.schema.entity("MiniOrientedEdge")
        start, upper = oriented.derived
        self.assertEqual((start.name, start.redeclares, start.type, start.expression),
                         ("EdgeStart", "MiniEdge", NamedType("MiniPoint"), "EdgeElement.EdgeEnd"))
        self.assertEqual((upper.name, upper.redeclares, upper.type, upper.expression),
                         ("UUpper", None, SimpleType(Primitive.INTEGER), "SIZEOF(Grid) - 1"))
        self.assertEqual([(w.label, w.text) for w in oriented.where],
                         [("NotNested", "NOT('MINI.MINIORIENTEDEDGE' IN TYPEOF(EdgeElement))")])
        start_of, on_path = self.schema.entity("MiniPoint").inverse
        self.assertEqual((start_of.aggregate, start_of.lower, start_of.upper, start_of.entity, start_of.attribute),
                         (AggregateKind.SET, "0", "2", "MiniEdge", "EdgeStart"))
        self.assertEqual((on_path.aggregate, on_path.lower, on_path.upper, on_path.entity, on_path.attribute),
                         (None, None, None, "MiniPath", "Points"))

    def test_algorithms_are_kept_whole(self):
        kinds = [(a.kind, a.name) for a in self.schema.algorithms]
        self.assertEqual(kinds, [(AlgorithmKind.FUNCTION, "MiniPositive"), (AlgorithmKind.RULE, "MiniOneRoot")])
        self.assertTrue(self.schema.algorithms[0].text.startswith("FUNCTION MiniPositive (Value : REAL)"))
        self.assertTrue(self.schema.algorithms[1].text.endswith("END_RULE;"))

    def test_supertype_expressions_group(self):
        text = "SCHEMA S; ENTITY A SUPERTYPE OF (ONEOF(B, C) ANDOR D AND (E ANDOR F)); END_ENTITY; END_SCHEMA;"
        expr = express.parse(text).entity("A").supertype_of
        self.assertEqual(expr.op, SupertypeOp.ANDOR)
        self.assertEqual(str(expr), "ONEOF(B, C) ANDOR (D AND (E ANDOR F))")
        self.assertEqual(expr.names(), ["B", "C", "D", "E", "F"])

    def test_bounds_and_rules_keep_their_brackets(self):
        text = ("SCHEMA S; ENTITY A; Xs : LIST [1:?] OF LIST [1:3] OF INTEGER; DERIVE\n"
                "  Ys : ARRAY [1:HIINDEX(Xs[1])] OF INTEGER := [Xs[1][1] : 2];\n"
                " WHERE\n  WR1 : SIZEOF(QUERY(X <* Xs | (HIINDEX(X) = 3))) = 1;\nEND_ENTITY; END_SCHEMA;")
        a = express.parse(text).entity("A")
        self.assertEqual((a.derived[0].type.lower, a.derived[0].type.upper), ("1", "HIINDEX(Xs[1])"))
        self.assertEqual(a.derived[0].expression, "[Xs[1][1] : 2]")
        self.assertEqual(a.where[0].text, "SIZEOF(QUERY(X <* Xs | (HIINDEX(X) = 3))) = 1")

    def test_header_without_its_semicolon_is_read_and_noted(self):
        text = "SCHEMA S;\nENTITY A\n  X : INTEGER;\nEND_ENTITY;\nEND_SCHEMA;\n"
        schema = express.parse(text, "s.exp")
        self.assertEqual([a.name for a in schema.entity("A").explicit], ["X"])
        self.assertEqual(schema.notes, ["s.exp:3: the header of ENTITY A is not closed by ';'"])


class ReaderErrorTest(unittest.TestCase):
    def assertExpressError(self, text, line, words):
        with self.assertRaises(ExpressError) as caught:
            express.parse(textwrap.dedent(text).lstrip("\n"), "bad.exp")
        self.assertEqual(caught.exception.line, line, str(caught.exception))
        self.assertIn(words, caught.exception.message)
        self.assertTrue(str(caught.exception).startswith(f"bad.exp:{line}: "))

    def test_errors_name_their_line(self):
        self.assertExpressError("""
            SCHEMA S;
            TYPE A = INTEGER;
            END_TYPE;
            (* a remark (* nested *)
            END_SCHEMA;
            """, 4, "not closed by '*)'")
        self.assertExpressError("""
            SCHEMA S;
            ENTITY A;
              X : INTEGER
              Y : REAL;
            END_ENTITY;
            END_SCHEMA;
            """, 4, "expected ';', found 'Y'")
        self.assertExpressError("""
            SCHEMA S;
            ENTITY A;
              X : SET [1:?] OF UNIQUE INTEGER;
            END_ENTITY;
            END_SCHEMA;
            """, 3, "UNIQUE elements are for a LIST or an ARRAY")
        self.assertExpressError("""
            SCHEMA S;
            ENTITY A;
              X : LIST [1:?] OF OPTIONAL INTEGER;
            END_ENTITY;
            END_SCHEMA;
            """, 3, "only an ARRAY holds OPTIONAL elements")
        self.assertExpressError("""
            SCHEMA S;
            ENTITY A;
              X : INTEGER;
             WHERE
              WR1 : X > 0
            END_ENTITY;
            END_SCHEMA;
            """, 5, "rule that begins on line 5 is not closed by ';'")
        self.assertExpressError("""
            SCHEMA S;
            CONSTANT
              Pi : REAL := 3.14;
            END_CONSTANT;
            END_SCHEMA;
            """, 2, "expected TYPE, ENTITY")
        self.assertExpressError("""
            SCHEMA S;
            TYPE A = INTEGER;
            END_TYPE;
            ENTITY a;
            END_ENTITY;
            END_SCHEMA;
            """, 4, "a is declared twice (first on line 2)")
        self.assertExpressError("""
            SCHEMA S;
            ENTITY A;
             INVERSE
              Xs : LIST [0:?] OF B FOR Y;
            END_ENTITY;
            END_SCHEMA;
            """, 4, "not a LIST")
        self.assertExpressError("SCHEMA S;\nENTITY A;\nEND_ENTITY;\n", 4, "not closed by END_SCHEMA")


class WriterTest(unittest.TestCase):
    """MINI written as data files, against the hand-made MINI_DATA."""

    @classmethod
    def setUpClass(cls):
        cls.records = express2data.schema_records(express.parse(MINI, "mini.exp"))

    def test_each_file_is_as_worked_out_by_hand(self):
        self.assertEqual(list(self.records), list(express2data.FILE_NAMES))
        for name, expected in MINI_DATA.items():
            with self.subTest(file=name):
                self.assertEqual(records_text(self.records[name]), textwrap.dedent(expected).lstrip("\n"))

    def test_schemadata_reads_what_is_written(self):
        folder = tempfile.mkdtemp(prefix="express-")
        express2data.write_data(express.parse(MINI), folder, "mini.exp")
        s = schemadata.read_schema(folder)
        entities = {e.name: e for e in s.entities}
        root, oriented = entities["MiniRoot"], entities["MiniOrientedEdge"]
        self.assertTrue(root.abstract)
        self.assertFalse(oriented.abstract)
        self.assertEqual(root.supertype_of, "ONEOF(MiniPoint, MiniEdge, MiniPath)")
        self.assertEqual([(u.label, u.text) for u in root.unique], [("UR1", "GlobalId")])
        self.assertEqual(oriented.rederived, {"miniedge_edgestart": "EdgeStart"})
        self.assertEqual(oriented.derivations["UUpper"], "SIZEOF(Grid) - 1")
        self.assertEqual((oriented.unique_elements, oriented.optional_elements), ({"Grid": [1]}, {"Weights": [1]}))
        edge = entities["MiniEdge"]
        self.assertEqual([(a.name, a.optional, a.required) for a in edge.attributes],
                         [("EdgeStart", False, True), ("EdgeEnd", False, True), ("Side", True, False),
                          ("Shape", False, False)])
        defined = {d.name: d for d in s.defined}
        self.assertEqual((defined["MiniGuid"].width, defined["MiniGuid"].fixed), (22, True))
        self.assertEqual((defined["MiniCount"].underlying, defined["MiniCount"].primitive), ("real", "number"))
        self.assertEqual(s.aggregates[0].unique_elements, [1])
        self.assertEqual([m.letter for m in schemadata.flatten_select(s, "MiniShapeSelect")], ["E", "R", "A"])

    def test_facts_the_data_cannot_hold_are_refused(self):
        cases = {
            "names no type": "ENTITY A; X : Nothing; END_ENTITY;",
            "has 2 supertypes": "ENTITY A; END_ENTITY; ENTITY B; END_ENTITY; ENTITY C SUBTYPE OF (A, B); END_ENTITY;",
            "has no data line": "ENTITY A; X : INTEGER; END_ENTITY; ENTITY B SUBTYPE OF (A); SELF\\A.X : INTEGER; "
                                "END_ENTITY;",
            "its own supertype": "ENTITY A SUBTYPE OF (B); END_ENTITY; ENTITY B SUBTYPE OF (A); END_ENTITY;",
        }
        for words, body in cases.items():
            with self.subTest(words), self.assertRaises(express2data.WriteError) as caught:
                express2data.schema_records(express.parse(f"SCHEMA S; {body} END_SCHEMA;"))
            self.assertIn(words, str(caught.exception))


class NewSubRecordTest(unittest.TestCase):
    """schemadata.py checks the sub-records the writer adds."""

    def assertDataError(self, files, words):
        folder = tempfile.mkdtemp(prefix="express-")
        for name, text in files.items():
            with open(os.path.join(folder, name), "w", encoding="utf-8") as f:
                f.write(textwrap.dedent(text).lstrip("\n"))
        with self.assertRaises(schemadata.DataError) as caught:
            schemadata.read_schema(folder)
        self.assertIn(words, str(caught.exception))

    def test_bad_sub_records_are_refused(self):
        entity = "entity IfcA\n  attr Xs list [1:?] of list [2:2] of IFCREAL\n  derived N integer\n"
        self.assertDataError({"entities.txt": entity + "  uniqueelements Xs 3\n"}, "with an aggregate at level 3")
        self.assertDataError({"entities.txt": entity + "  uniqueelements N 1\n"}, "with an aggregate at level 1")
        self.assertDataError({"entities.txt": entity + "  rederived N X\n"}, "N of IfcA redeclares nothing")
        self.assertDataError({"entities.txt": entity + "  derivation Xs 1\n"}, "names no own derived attribute")
        self.assertDataError({"entities.txt": entity + "  abstract yes\n"}, "'abstract' takes 0 fields")
        self.assertDataError({"entities.txt": entity + "  where WR1\n"}, "expected: where <Label|-> <text>")
        self.assertDataError({"defined.txt": "defined IfcA string\n  width 22 always\n"}, "width <number>")
        self.assertDataError({"aggregates.txt": "aggregate IfcA = list [1:2] of real\n  optionalelements 2\n"},
                             "IfcA has no aggregate at level 2")


def schema_at_hand(name):
    path = os.path.join(SCHEMAS, name)
    if not os.path.exists(path):
        raise unittest.SkipTest(f"{path} is not here: the EXPRESS long forms sit in ../shared/schemas "
                                "beside the repository")
    return express.parse_file(path)


class Ifc4CrossCheckTest(unittest.TestCase):
    """The IFC4 long form written out against the IFC4 data, record by record."""

    # The dictionary's own: an anonymous aggregate that nothing of IFC4 names.
    HELD_ON_PURPOSE = ["aggregates.txt: aggregate list [3:4] of integer: only in the data"]

    def test_the_ifc4_data_is_what_the_express_says(self):
        schema = schema_at_hand("IFC4_ADD2_TC1.exp")
        differences = express2data.cross_check(os.path.join(ROOT, "ifc4", "data"), schema)
        self.assertEqual(differences, sorted(self.HELD_ON_PURPOSE))

    def test_a_changed_fact_shows(self):
        schema = schema_at_hand("IFC4_ADD2_TC1.exp")
        schema.entity("IfcRoot").explicit[2].optional = False
        schema.entity("IfcObjectDefinition").inverse[1].upper = "?"
        differences = express2data.cross_check(os.path.join(ROOT, "ifc4", "data"), schema)
        self.assertIn("entities.txt: entity IfcRoot: 'attr Name IFCLABEL opt' only in the data", differences)
        self.assertIn("entities.txt: entity IfcObjectDefinition : IfcRoot: "
                      "'inverse Nests ifcrelnests [0:?] RelatedObjects' only in the EXPRESS", differences)


class EditionDataTest(unittest.TestCase):
    """ifc2x3/data and ifc4x3/data: read by schemadata, facts checked by hand against
    the EXPRESS, and in step with what the writer makes of it."""

    EDITIONS = {"ifc2x3": "IFC2X3_TC1.exp", "ifc4x3": "IFC4X3_ADD2.exp"}

    @classmethod
    def setUpClass(cls):
        cls.data = {e: schemadata.read_schema(os.path.join(ROOT, e, "data")) for e in cls.EDITIONS}

    def entity(self, edition, name):
        return next(e for e in self.data[edition].entities if e.name == name)

    def attrs(self, edition, name):
        return [(a.kind.value, a.name, a.type, a.optional, a.required) for a in self.entity(edition, name).attributes
                if a.kind is not schemadata.AttributeKind.INVERSE]

    def test_every_select_of_both_editions_flattens(self):
        for edition, s in self.data.items():
            for select in s.selects:
                with self.subTest(edition=edition, select=select.name):
                    self.assertTrue(schemadata.flatten_select(s, select))

    def test_ifc2x3_facts(self):
        x = "explicit"
        self.assertEqual(self.attrs("ifc2x3", "IfcRoot"),
                         [(x, "GlobalId", "IFCGLOBALLYUNIQUEID", False, False),
                          (x, "OwnerHistory", "IFCOWNERHISTORY", False, True),
                          (x, "Name", "IFCLABEL", True, False), (x, "Description", "IFCTEXT", True, False)])
        self.assertEqual(self.attrs("ifc2x3", "IfcPixelTexture"),
                         [(x, "Width", "IFCINTEGER", False, False), (x, "Height", "IFCINTEGER", False, False),
                          (x, "ColourComponents", "IFCINTEGER", False, False),
                          (x, "Pixel", "list [1:?] of binary(32)", False, False)])
        self.assertIn("binary(32)", [b.key for b in self.data["ifc2x3"].builtins])
        value = next(s for s in self.data["ifc2x3"].selects if s.name == "IfcValue")
        self.assertEqual(value.members, ["IFCMEASUREVALUE", "IFCSIMPLEVALUE", "IFCDERIVEDMEASUREVALUE"])
        wall = next(e for e in self.data["ifc2x3"].enumerations if e.name == "IfcWallTypeEnum")
        self.assertEqual(wall.enumerators, "STANDARD POLYGONAL SHEAR ELEMENTEDWALL PLUMBINGWALL USERDEFINED "
                                           "NOTDEFINED".split())
        inverses = [(a.name, a.target, a.lower, a.upper, a.inverts)
                    for a in self.entity("ifc2x3", "IfcGridAxis").attributes if a.kind is schemadata.AttributeKind.INVERSE]
        self.assertEqual(inverses, [("PartOfW", "ifcgrid", 0, 1, "WAxes"), ("PartOfV", "ifcgrid", 0, 1, "VAxes"),
                                    ("PartOfU", "ifcgrid", 0, 1, "UAxes"),
                                    ("HasIntersections", "ifcvirtualgridintersection", 0, None, "IntersectingAxes")])

    def test_ifc4x3_facts(self):
        x = "explicit"
        segment = self.entity("ifc4x3", "IfcAlignmentHorizontalSegment")
        self.assertEqual(segment.supertype, "IfcAlignmentParameterSegment")
        self.assertEqual(self.attrs("ifc4x3", "IfcAlignmentHorizontalSegment"),
                         [(x, "StartPoint", "IFCCARTESIANPOINT", False, True),
                          (x, "StartDirection", "IFCPLANEANGLEMEASURE", False, False),
                          (x, "StartRadiusOfCurvature", "IFCLENGTHMEASURE", False, False),
                          (x, "EndRadiusOfCurvature", "IFCLENGTHMEASURE", False, False),
                          (x, "SegmentLength", "IFCNONNEGATIVELENGTHMEASURE", False, False),
                          (x, "GravityCenterLineHeight", "IFCPOSITIVELENGTHMEASURE", True, False),
                          (x, "PredefinedType", "IFCALIGNMENTHORIZONTALSEGMENTTYPEENUM", False, False)])
        self.assertTrue(self.entity("ifc4x3", "IfcAlignmentParameterSegment").abstract)
        self.assertFalse(segment.abstract)
        measure = next(s for s in self.data["ifc4x3"].selects if s.name == "IfcCurveMeasureSelect")
        self.assertEqual(measure.members, ["IFCLENGTHMEASURE", "IFCPARAMETERVALUE"])
        kinds = next(e for e in self.data["ifc4x3"].enumerations if e.name == "IfcAlignmentHorizontalSegmentTypeEnum")
        self.assertEqual(kinds.enumerators, "BLOSSCURVE CIRCULARARC CLOTHOID COSINECURVE CUBIC HELMERTCURVE LINE "
                                            "SINECURVE VIENNESEBEND".split())
        positioning = self.entity("ifc4x3", "IfcPositioningElement")
        self.assertEqual([(a.name, a.target, a.lower, a.upper, a.inverts) for a in positioning.attributes],
                         [("ContainedInStructure", "ifcrelcontainedinspatialstructure", 0, 1, "RelatedElements"),
                          ("Positions", "ifcrelpositions", 0, None, "RelatingPositioningElement")])
        self.assertEqual(positioning.where[0].label, "HasPlacement")
        shape = {a.name: a for a in self.entity("ifc4x3", "IfcProductDefinitionShape").attributes}
        self.assertEqual((shape["ShapeOfProduct"].lower, shape["ShapeOfProduct"].upper), (1, None))

    def test_class_facts_follow_ifc4_by_name(self):
        spatial = {"ifc2x3": "IfcSpatialStructureElement", "ifc4x3": "IfcSpatialElement"}
        for edition in self.EDITIONS:
            entities = self.data[edition].entities
            writable = {e.name: e.writable for e in entities if e.writable}
            self.assertEqual(writable, {"IfcObjectDefinition": ["HasAssociations", "HasAssignments"],
                                        "IfcObject": ["IsDefinedBy"]}, edition)
            self.assertEqual([e.name for e in entities if e.writable_last], ["IfcObject"], edition)
            self.assertEqual([e.name for e in entities if e.reads_unset], ["IfcDimensionalExponents"], edition)
            # A hierarchy goes with the inverse's name, wherever the edition declares it.
            self.assertEqual({(e.name, i, r) for e in entities for i, r in e.hierarchy.items()},
                             {("IfcObjectDefinition", "IsDecomposedBy", "RelatedObjects"),
                              (spatial[edition], "ContainsElements", "RelatedElements")}, edition)
            self.assertEqual([d.name for d in self.data[edition].defined if d.guid], ["IfcGloballyUniqueId"], edition)

    def test_committed_files_are_what_the_writer_writes(self):
        for edition, exp in self.EDITIONS.items():
            schema = schema_at_hand(exp)
            folder = tempfile.mkdtemp(prefix=f"{edition}-")
            express2data.write_data(schema, folder, exp, like=os.path.join(ROOT, "ifc4", "data"))
            for name in express2data.FILE_NAMES:
                with self.subTest(edition=edition, file=name):
                    written = data_lines(os.path.join(folder, name))
                    committed = data_lines(os.path.join(ROOT, edition, "data", name))
                    self.assertTrue(written == committed, f"{edition}/data/{name} is out of step with {exp}: "
                                    f"run tools/gen/express2data.py (see {edition}/data/README.md)")


if __name__ == "__main__":
    unittest.main()
