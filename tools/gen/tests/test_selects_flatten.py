"""The members of the select classes: flattening, letters, aggregate classes and data errors."""

import os
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
GEN = os.path.dirname(HERE)
ROOT = os.path.dirname(os.path.dirname(GEN))
sys.path.insert(0, GEN)

import schemadata  # noqa: E402
from test_schemadata import write_schema  # noqa: E402


class ProjectSelectsTest(unittest.TestCase):
    """The IFC4 data flattened: look-up and the aggregate members (the member lists
    themselves are held against a table written by hand in the C++ select tests)."""

    @classmethod
    def setUpClass(cls):
        cls.schema = schemadata.read_schema(os.path.join(ROOT, "ifc4", "data"))
        cls.flat = {x.name: schemadata.flatten_select(cls.schema, x) for x in cls.schema.selects}

    def test_a_select_may_be_named_in_any_case(self):
        self.assertEqual(schemadata.flatten_select(self.schema, "IFCFILLSTYLESELECT"), self.flat["IfcFillStyleSelect"])
        with self.assertRaises(schemadata.DataError):
            schemadata.flatten_select(self.schema, "IfcWall")

    def test_aggregate_members_and_their_classes(self):
        expected = {
            "IfcCompoundPlaneAngleMeasure": ("QD_SDAI::QdIfcListAggrBounded<int, 3, 4>", "int"),
            "IfcComplexNumber": ("QD_SDAI::QdIfcArrayAggrBounded<double, 1, 2>", "double"),
            "IfcArcIndex": ("QD_SDAI::QdIfcListAggrBounded<int, 3, 3>", "int"),
            # The select class holds three indices, not the type's [2:?].
            "IfcLineIndex": ("QD_SDAI::QdIfcListAggrBounded<int, 3, 3>", "int"),
            "IfcPropertySetDefinitionSet": ("QD_SDAI::QdIfcSetAggrBounded<QD_SDAI::QdDbObjectId, 1, 65536>", "handle"),
        }
        seen = set()
        for name, members in self.flat.items():
            for m in members:
                if m.letter != "A":
                    self.assertIsNone(m.aggregate, f"{name}.{m.name}")
                    continue
                seen.add(m.name)
                self.assertEqual((m.aggregate.cls, m.aggregate.element), expected[m.name], f"{name}.{m.name}")
        self.assertEqual(seen, set(expected))
        # The bounds of the select class are the select's own; the type keeps its declaration.
        line_index = next(a for a in self.schema.aggregates if a.key == "IfcLineIndex")
        self.assertEqual((line_index.lower, line_index.upper), (2, None))


SMALL = {
    "defined.txt": """
        defined IfcLengthMeasure real
        defined IfcPositiveLengthMeasure ifclengthmeasure
        defined IfcCount integer
        defined IfcFlag boolean
        defined IfcMaybe logical
        defined IfcBlob binary
        defined IfcName string
        defined IfcAmount number
        """,
    "enumerations.txt": """
        enum IfcNullStyle NULL
        """,
    "entities.txt": """
        entity IfcCircle
        entity IfcLine
        entity IfcPoint
        entity IfcRgb
        """,
    "aggregates.txt": """
        aggregate IfcPair = list [2:?] of IfcCount
        aggregate IfcRoots = set [1:?] of IfcPoint
        aggregate IfcTriple = array [1:3] of real
        """,
}


def with_selects(text, base=SMALL):
    files = dict(base)
    files["selects.txt"] = text
    return files


class FlatteningRuleTest(unittest.TestCase):
    def setUp(self):
        self.schema = schemadata.read_schema(write_schema(with_selects("""
            select IfcInner IFCPOINT IFCNULLSTYLE
            select IfcColour IFCRGB IFCNAME
            select IfcMiddle IFCINNER IFCCOLOUR IFCLINE
            select IfcOuter IFCMIDDLE IFCCIRCLE IFCPAIR
              memberbounds IfcPair 3 3
            select IfcWrapper IFCOUTER
            select IfcValues IFCCOUNT IFCLENGTHMEASURE IFCPOSITIVELENGTHMEASURE IFCFLAG IFCMAYBE IFCBLOB IFCNAME IFCAMOUNT
            select IfcLists IFCROOTS IFCTRIPLE IFCPAIR
            """)))

    def flat(self, name):
        return [(m.name, m.letter) for m in schemadata.flatten_select(self.schema, name)]

    def test_plain_members_first_then_each_select_in_order_recursively(self):
        inner = [("IfcPoint", "E"), ("IfcNullStyle", "N")]
        colour = [("IfcRgb", "E"), ("IfcName", "S")]
        self.assertEqual(self.flat("IfcMiddle"), [("IfcLine", "E")] + inner + colour)
        self.assertEqual(self.flat("IfcOuter"),
                         [("IfcCircle", "E"), ("IfcPair", "A"), ("IfcLine", "E")] + inner + colour)

    def test_defined_types_take_the_letter_of_their_primitive(self):
        self.assertEqual([letter for _, letter in self.flat("IfcValues")], list("IRRBLXSR"))
        codes = [m.code for m in schemadata.flatten_select(self.schema, "IfcValues")]
        self.assertEqual(codes, [2, 6, 6, 7, 8, 9, 12, 6])

    def test_aggregate_classes_by_kind_element_and_bounds(self):
        roots, triple, pair = schemadata.flatten_select(self.schema, "IfcLists")
        self.assertEqual((roots.aggregate.cls, roots.aggregate.element),
                         ("QD_SDAI::QdIfcSetAggrBounded<QD_SDAI::QdDbObjectId, 1, 65536>", "handle"))
        self.assertEqual((triple.aggregate.cls, triple.aggregate.element),
                         ("QD_SDAI::QdIfcArrayAggrBounded<double, 1, 3>", "double"))
        self.assertEqual(pair.aggregate.cls, "QD_SDAI::QdIfcListAggrBounded<int, 2, 65536>")

    def test_member_bounds_belong_to_the_select_and_go_with_its_members(self):
        [pair] = [m for m in schemadata.flatten_select(self.schema, "IfcOuter") if m.letter == "A"]
        self.assertEqual(pair.aggregate.cls, "QD_SDAI::QdIfcListAggrBounded<int, 3, 3>")
        [wrapped] = [m for m in schemadata.flatten_select(self.schema, "IfcWrapper") if m.letter == "A"]
        self.assertEqual(wrapped.aggregate.cls, "QD_SDAI::QdIfcListAggrBounded<int, 3, 3>")
        outer = next(x for x in self.schema.selects if x.name == "IfcOuter")
        self.assertEqual([(b.member, b.lower, b.upper) for b in outer.member_bounds], [("IfcPair", 3, 3)])

    def test_an_unbounded_member_bound_is_the_class_limit(self):
        schema = schemadata.read_schema(write_schema(with_selects("""
            select IfcLists IFCTRIPLE
              memberbounds IfcTriple 1 ?
            """)))
        [triple] = schemadata.flatten_select(schema, "IfcLists")
        self.assertEqual(triple.aggregate.cls, "QD_SDAI::QdIfcArrayAggrBounded<double, 1, 65536>")


class SelectDataErrorTest(unittest.TestCase):
    def assertFlattenError(self, selects, select, fragment, line, base=SMALL):
        schema = schemadata.read_schema(write_schema(with_selects(selects, base)))
        with self.assertRaises(schemadata.DataError) as ctx:
            schemadata.flatten_select(schema, select)
        self.assertIn(fragment, ctx.exception.message)
        self.assertTrue(ctx.exception.path.endswith("selects.txt"), ctx.exception.path)
        self.assertEqual(ctx.exception.line, line)

    def assertReadError(self, selects, fragment, line):
        with self.assertRaises(schemadata.DataError) as ctx:
            schemadata.read_schema(write_schema(with_selects(selects)))
        self.assertIn(fragment, ctx.exception.message)
        self.assertTrue(ctx.exception.path.endswith("selects.txt"), ctx.exception.path)
        self.assertEqual(ctx.exception.line, line)

    def test_a_member_that_names_nothing(self):
        self.assertFlattenError("select IfcA IFCPOINT\nselect IfcB IFCLINE IFCNOSUCHTHING\n", "IfcB",
                                "IFCNOSUCHTHING", 2)
        # Found also when it is reached through another select.
        self.assertFlattenError("select IfcA IFCPOINT IFCB\nselect IfcB IFCLINE IFCNOSUCHTHING\n", "IfcA",
                                "IFCNOSUCHTHING", 2)

    def test_a_select_that_contains_itself(self):
        self.assertFlattenError("select IfcA IFCPOINT IFCA\n", "IfcA", "IfcA -> IfcA", 1)
        self.assertFlattenError("# a comment\nselect IfcA IFCB\nselect IfcB IFCC\nselect IfcC IFCPOINT IFCA\n",
                                "IfcA", "IfcA -> IfcB -> IfcC -> IfcA", 4)

    def test_a_select_reached_twice_is_not_a_cycle(self):
        schema = schemadata.read_schema(write_schema(with_selects(
            "select IfcA IFCPOINT\nselect IfcB IFCA IFCC\nselect IfcC IFCA IFCLINE\n")))
        self.assertEqual({m.name for m in schemadata.flatten_select(schema, "IfcB")}, {"IfcPoint", "IfcLine"})

    def test_members_without_a_class_form(self):
        strings = dict(SMALL, **{"aggregates.txt": "aggregate IfcNames = list [1:?] of IfcName\n"})
        self.assertFlattenError("select IfcA IFCNAMES\n", "IfcA", "no aggregate class holds elements", 1, strings)
        bag = dict(SMALL, **{"aggregates.txt": "aggregate IfcBag = bag [1:?] of integer\n"})
        self.assertFlattenError("select IfcA IFCPOINT\nselect IfcB IFCBAG\n", "IfcB", "bag", 2, bag)
        loose = dict(SMALL, **{"defined.txt": "defined IfcLoose ifcnowhere\n"})
        self.assertFlattenError("select IfcA IFCLOOSE\n", "IfcA", "neither a primitive nor a defined type", 1, loose)
        loop = dict(SMALL, **{"defined.txt": "defined IfcX ifcy\ndefined IfcY ifcx\n"})
        self.assertFlattenError("select IfcA IFCX\n", "IfcA", "go round", 1, loop)

    def test_malformed_member_bounds(self):
        self.assertReadError("select IfcA IFCPAIR\n  memberbounds IfcPair 3\n", "takes 3 fields", 2)
        self.assertReadError("select IfcA IFCPAIR\n  memberbounds IfcPair x 3\n", "memberbounds <Member>", 2)
        self.assertReadError("select IfcA IFCPAIR\n  memberbounds IfcPair ? 3\n", "memberbounds <Member>", 2)
        self.assertReadError("select IfcA IFCPAIR\n  memberbounds IfcPair 3 2\n", "below its lower bound", 2)
        self.assertReadError("select IfcA IFCPAIR\n  memberbounds IfcPair 3 3\n  memberbounds IFCPAIR 4 4\n",
                             "twice", 3)
        self.assertReadError("select IfcA IFCPAIR\n  widths IfcPair 3 3\n", "unknown sub-record", 2)

    def test_member_bounds_name_an_aggregate_member_of_their_select(self):
        self.assertReadError("select IfcA IFCPOINT\nselect IfcB IFCPOINT IFCTRIPLE\n  memberbounds IfcPair 3 3\n",
                             "not a member of IfcB", 3)
        self.assertReadError("select IfcA IFCPOINT IFCTRIPLE\n  memberbounds IfcPoint 1 1\n",
                             "not an aggregate member", 2)


if __name__ == "__main__":
    unittest.main()
