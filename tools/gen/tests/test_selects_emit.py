"""The select classes' emitter on the project's IFC4 data: class shapes, the aggregate
forms of select elements, and the order of the descriptor releases."""

import os
import re
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
GEN = os.path.dirname(HERE)
sys.path.insert(0, GEN)

import schemadata  # noqa: E402
import selects  # noqa: E402

VALUES_ONLY = {"IfcBendingParameterSelect", "IfcDerivedMeasureValue", "IfcMeasureValue",
               "IfcModulusOfRotationalSubgradeReactionSelect", "IfcModulusOfSubgradeReactionSelect",
               "IfcModulusOfTranslationalSubgradeReactionSelect", "IfcRotationalStiffnessSelect",
               "IfcSegmentIndexSelect", "IfcSimpleValue", "IfcSizeSelect", "IfcSpecularHighlightSelect",
               "IfcTimeOrRatioSelect", "IfcTranslationalStiffnessSelect", "IfcValue", "IfcWarpingStiffnessSelect"}
MIXED = {"IfcAppliedValueSelect", "IfcColourOrFactor", "IfcHatchLineDistanceSelect", "IfcMetricValueSelect",
         "IfcPresentationStyleSelect", "IfcPropertySetDefinitionSelect", "IfcTrimmingSelect"}


class SelectEmitterTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.schema = schemadata.read_schema(os.path.join(os.path.dirname(os.path.dirname(GEN)), "ifc4", "data"))
        cls.files = selects.outputs(cls.schema)

    def header(self, name):
        return self.files[f"include/QdIfc4/selects/{name}.h"]

    def test_shapes(self):
        names = [s.name for s in self.schema.selects]
        with_handle_d = {n for n in names if "setHandleD(" in self.header(n)}
        with_underlying = {n for n in names if "setUnderlyingType(" in self.header(n)}
        self.assertEqual(set(names) - with_handle_d, VALUES_ONLY)
        self.assertEqual(with_underlying, VALUES_ONLY | MIXED)
        self.assertEqual(len(re.findall(r"  void setIfc\w+\(", self.header("IfcValue"))), 108)
        self.assertIn("void setIfcNullStyle(IfcNullStyle value);", self.header("IfcPresentationStyleSelect"))

    def test_aggregate_forms_of_select_elements(self):
        forms = selects.aggregate_forms(self.schema)
        self.assertEqual(list(forms), ["IfcShell", "IfcFillStyleSelect", "IfcValue", "IfcSegmentIndexSelect",
                                       "IfcStyleAssignmentSelect", "IfcResourceObjectSelect",
                                       "IfcPresentationStyleSelect", "IfcUnit", "IfcGeometricSetSelect",
                                       "IfcDefinitionSelect", "IfcTrimmingSelect", "IfcLayeredItem", "IfcActorSelect",
                                       "IfcBendingParameterSelect", "IfcClassificationSelect",
                                       "IfcSurfaceStyleElementSelect"])
        self.assertEqual([(f.kind.value, f.bounds) for f in forms["IfcTrimmingSelect"]], [("set", None), ("set", (1, 2))])
        self.assertEqual([(f.kind.value, f.bounds) for f in forms["IfcValue"]], [("list", None), ("list", (1, 65536))])
        self.assertEqual([(f.kind.value, f.bounds) for f in forms["IfcSurfaceStyleElementSelect"]][1], ("set", (1, 5)))

    def test_releases_count_and_order(self):
        text = self.files["SelectTypes.cpp"]
        body = text[text.index("releaseSelectDescriptors() noexcept {"):]
        released = re.findall(r"Desc<(.+?)>::release\(\);", body)
        self.assertEqual(len(released), 60 * 2 + 16 + 16)
        self.assertEqual(released[:5], ["IFC4::IfcHatchLineDistanceSelect", "IFC4::IfcHatchLineDistanceSelect*",
                                        "IFC4::IfcShell", "IFC4::IfcShell*", "QdIfcArray<IFC4::IfcShell>"])
        pointers = released[-16:]
        self.assertEqual(pointers[:3], ["QdIfcListAggr<IFC4::IfcBendingParameterSelect>*",
                                        "QdIfcListAggr<IFC4::IfcSegmentIndexSelect>*", "QdIfcListAggr<IFC4::IfcValue>*"])
        self.assertEqual(pointers[3], "QdIfcSetAggr<IFC4::IfcActorSelect>*")
        self.assertEqual(pointers[-1], "QdIfcSetAggr<IFC4::IfcUnit>*")


if __name__ == "__main__":
    unittest.main()
