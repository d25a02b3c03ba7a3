"""The property emitter on the project's IFC4 data: every class a builder adds is
defined, each entity's builder is passed to the dictionary, and a collection's
order puts the redeclared attributes first in their supertype's order."""

import os
import re
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
GEN = os.path.dirname(HERE)
ROOT = os.path.dirname(os.path.dirname(GEN))
sys.path.insert(0, GEN)

import attrmodel  # noqa: E402
import genifc  # noqa: E402
import properties  # noqa: E402
import schemadata  # noqa: E402


class PropertyEmitTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.schema = schemadata.read_schema(os.path.join(ROOT, "ifc4", "data"))
        cls.model = attrmodel.resolve(cls.schema)
        cls.files = properties.outputs(cls.model)

    def test_builders_add_exactly_the_defined_classes(self):
        defined = [c + a for c, a in re.findall(r"^QDIFC4_\w*PROPERTY\((\w+), (\w+)",
                                                 self.files["include/QdIfc4/Properties.h"], re.M)]
        added = [c + a for name, text in self.files.items() if name.startswith("Properties_")
                 for c, a in re.findall(r"QDIFC4_ADD_PROPERTY\((\w+), (\w+)\)", text)]
        self.assertEqual(len(defined), 1652)
        self.assertEqual(sorted(defined), sorted(added))
        self.assertEqual(len(set(defined)), len(defined))

    def test_every_entity_passes_its_builder_or_the_empty_one(self):
        phases = genifc.emit_type_phases(self.schema, self.model)
        own = re.findall(r"\{&(\w+)::kTable, &build(\w+)Properties, ", phases)
        self.assertEqual(len(own), 667)
        self.assertTrue(all(a == b for a, b in own))
        self.assertEqual(phases.count("::kTable, &noProperties, "), 109)

    def test_order_and_kinds(self):
        sub = self.model.by_name["IfcGeometricRepresentationSubContext"]
        self.assertEqual([a.name for a in properties.ordered(sub)][:5],
                         ["CoordinateSpaceDimension", "Precision", "WorldCoordinateSystem", "TrueNorth",
                          "ParentContext"])
        od = self.model.by_name["IfcObjectDefinition"]
        lines = {a.name: properties.declaration(od, a) for a in properties.ordered(od)}
        self.assertEqual(lines["IsDecomposedBy"],
                         'QDIFC4_PROPERTY(IfcObjectDefinition, IsDecomposedBy, HierarchyProperty<"RelatedObjects">)')
        self.assertEqual(lines["Nests"], "QDIFC4_INVERSE_PROPERTY(IfcObjectDefinition, Nests)")
        # A redeclared attribute reads through its supertype's accessors, under the class's own name.
        line = properties.declaration(sub, sub.redeclared[1])
        self.assertTrue(line.startswith("QDIFC4_PROPERTY(IfcGeometricRepresentationSubContext, Precision, "), line)
        self.assertIn("&IfcGeometricRepresentationContext::getPrecision", line)


if __name__ == "__main__":
    unittest.main()
