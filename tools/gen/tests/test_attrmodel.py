"""The resolved attribute model on the project's IFC4 data: value kinds per attribute
against the counts the property objects are known to have, member types, the
names the operations know, and the inverse links against a table kept apart from
the data."""

import os
import sys
import unittest
from collections import Counter

HERE = os.path.dirname(os.path.abspath(__file__))
GEN = os.path.dirname(HERE)
ROOT = os.path.dirname(os.path.dirname(GEN))
sys.path.insert(0, GEN)

import attrmodel  # noqa: E402
import schemadata  # noqa: E402
from test_schemadata import SAMPLE, write_schema  # noqa: E402

KIND_COUNTS = {"real": 295, "integer": 28, "boolean": 31, "logical": 14, "guid": 1, "string": 285, "binary": 1,
               "entity": 236, "entity inverse": 5, "aggregate of entities": 93,
               "aggregate of entities inverse": 146, "hierarchy": 2, "aggregate of values": 43, "nested": 11,
               "aggregate of selects": 28, "enumeration": 336, "select": 97}


class ProjectModelTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.model = attrmodel.resolve(schemadata.read_schema(os.path.join(ROOT, "ifc4", "data")))

    def attr(self, cls, name):
        c = self.model.by_name[cls]
        return next(a for a in c.explicit + c.inverses + c.redeclared if a.name == name)

    def test_value_kinds_count_as_the_property_objects_do(self):
        self.assertEqual(dict(attrmodel.property_kind_counts(self.model)), KIND_COUNTS)

    def test_names_each_operation_knows(self):
        get = sum(len(c.explicit) + len(c.redeclared) + len(c.inverses) for c in self.model.classes)
        put = sum(len(c.put_names()) for c in self.model.classes)
        self.assertEqual((get, put), (1652, 1494))
        names = lambda c: [a.key for a in self.model.by_name[c].put_names()]
        self.assertEqual(names("IfcObjectDefinition"), ["hasassociations", "hasassignments"])
        self.assertEqual(names("IfcObject"), ["objecttype", "isdefinedby"])
        self.assertEqual([a.key for a in self.model.by_name["IfcGeometricRepresentationSubContext"].redeclared],
                         ["coordinatespacedimension", "precision", "worldcoordinatesystem", "truenorth"])

    def test_member_types(self):
        cases = {("IfcCartesianPoint", "Coordinates"): "QdIfcListAggrBounded<double, 1, 3>",
                 ("IfcSite", "RefLatitude"): "QdIfcListAggrBounded<int, 3, 4>",
                 ("IfcTrimmedCurve", "Trim1"): "QdIfcSetAggrBounded<IfcTrimmingSelect, 1, 2>",
                 ("IfcMaterialLayerWithOffsets", "OffsetValues"): "QdIfcArrayAggrBounded<double, 1, 2>",
                 ("IfcSurfaceStyle", "Styles"): "QdIfcSetAggrBounded<IfcSurfaceStyleElementSelect, 1, 5>",
                 ("IfcRelAggregates", "RelatedObjects"): "QdIfcSetAggrBounded<QdDbObjectId, 1, 65536>",
                 ("IfcBSplineSurface", "ControlPointsList"):
                     "QdIfcListAggrCompound<QdIfcListAggr<QdDbObjectId>>",
                 ("IfcIndexedPolygonalFaceWithVoids", "InnerCoordIndices"):
                     "QdIfcListAggrCompound<QdIfcListAggr<int>>",
                 ("IfcRoot", "GlobalId"): "QdIfcGUID", ("IfcBlobTexture", "RasterCode"): "QdAnsiString",
                 ("IfcObjectDefinition", "Nests"): "QdIfcSetAggr<QdDbObjectId>",
                 ("IfcFeatureElementSubtraction", "VoidsElements"): "QdDbObjectId",
                 ("IfcActor", "TheActor"): "IfcActorSelect", ("IfcWall", "PredefinedType"): "IfcWallTypeEnum"}
        for (cls, name), cpp in cases.items():
            self.assertEqual(self.attr(cls, name).cpp, cpp, f"{cls}.{name}")

    def test_inverse_links_match_the_table(self):
        table = []
        with open(os.path.join(ROOT, "tests", "module", "inverse_table.txt")) as f:
            for line in f:
                if line.strip() and not line.startswith("#"):
                    cls, attr, shape, *targets = line.split()
                    table.append((cls, attr, shape, targets))
        derived = []
        for c in sorted(self.model.linking_classes(), key=lambda c: c.name):
            for r in c.rows:
                derived.append((c.name, r.attr.name, r.shape,
                                [f"{t.cls}.{t.inverse.name}{'!' if t.inverse.single else ''}" for t in r.targets]))
        self.assertEqual(derived, table)
        roots = sorted(c.name for c in self.model.linking_classes() if c.supertype is None)
        self.assertEqual(len(roots), 10)
        self.assertEqual(self.model.by_name["IfcRelAssignsToProcess"].linker, "IfcRelAssigns")


class ResolutionFailsLoudlyTest(unittest.TestCase):
    def resolve_with(self, entities):
        data = dict(SAMPLE)
        data["entities.txt"] = SAMPLE["entities.txt"].rstrip(" ") + entities
        return attrmodel.resolve(schemadata.read_schema(write_schema(data)))

    def test_unknown_type_names_the_attribute(self):
        with self.assertRaises(schemadata.DataError) as e:
            self.resolve_with("        entity IfcBad : IfcRoot\n          attr Width IFCNOSUCHMEASURE\n")
        self.assertIn("IfcBad.Width", str(e.exception))

    def test_shapes_without_a_member_form_are_refused(self):
        for text in ("set [1:?] of IFCLABEL", "array [1:2] of IFCROOT", "set [1:?] of list [1:2] of IFCLENGTHMEASURE"):
            with self.assertRaises(schemadata.DataError, msg=text):
                self.resolve_with(f"        entity IfcBad : IfcRoot\n          attr Width {text}\n")

    def test_a_single_inverse_needs_one_forward_attribute(self):
        with self.assertRaises(schemadata.DataError) as e:
            self.resolve_with("        entity IfcOther : IfcRoot\n          attr MaterialLayers IFCROOT\n")
        self.assertIn("ToSet", str(e.exception))

    def test_a_single_inverse_with_a_target_takes_its_forward_attribute(self):
        # Two relationships name an attribute Port; the target picks the one that fills the inverse.
        model = self.resolve_with("        entity IfcRelA : IfcRoot\n          attr Port IFCPORT\n"
                                  "        entity IfcRelB : IfcRoot\n          attr Port IFCPORT\n"
                                  "        entity IfcPort : IfcRoot\n          inverse Held ifcrelb [?:?] Port\n")
        held = model.by_name["IfcPort"].inverses[0]
        self.assertTrue(held.single)
        self.assertEqual((held.forward, held.value.cls), ("IfcRelB", "IfcRelB"))
        self.assertEqual([r.attr.entity for c in model.classes for r in c.rows if r.attr.name == "Port"], ["IfcRelB"])


if __name__ == "__main__":
    unittest.main()
