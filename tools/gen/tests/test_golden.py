"""The generator's whole output for a small fixture schema (fixture/: a root with a
GUID and an optional label, a supertype chain, an enumeration, a select of an entity
and two values, a bounded list and a set of references, an inverse, a required
reference) held against the files in golden/, file for file. A change of an emitter
shows here as a readable diff of a few small files.

    QDIFC_UPDATE_GOLDEN=1 python3 -m unittest test_golden    writes golden/ anew
"""

import os
import re
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.dirname(HERE))

import genifc  # noqa: E402
import schemadata  # noqa: E402

FIXTURE = os.path.join(HERE, "fixture")
GOLDEN = os.path.join(HERE, "golden")


def golden_files():
    out = {}
    for folder, _, names in os.walk(GOLDEN):
        for name in names:
            path = os.path.join(folder, name)
            with open(path, encoding="utf-8") as f:
                out[os.path.relpath(path, GOLDEN).replace(os.sep, "/")] = f.read()
    return out


class GoldenTest(unittest.TestCase):
    def test_fixture_output_is_the_golden_output(self):
        files = genifc.outputs(schemadata.read_schema(FIXTURE))
        if os.environ.get("QDIFC_UPDATE_GOLDEN") == "1":
            for name, text in files.items():
                genifc.write_if_changed(os.path.join(GOLDEN, name), text)
            for name in set(golden_files()) - set(files):
                os.remove(os.path.join(GOLDEN, name))
            self.skipTest("wrote " + GOLDEN)
        golden = golden_files()
        self.assertEqual(sorted(files), sorted(golden), "the generator writes other files than golden/ holds")
        for name, text in files.items():
            with self.subTest(file=name):
                self.assertEqual(text, golden[name])


class EditionTest(unittest.TestCase):
    """Another edition's module: the same output and the IFC4 module's layers, in its own names."""

    def test_every_name_of_ifc4_is_respelt(self):
        edition = genifc.Edition("IFC2X3", "QdIfc2x3", "QDIFC2X3")
        kit = os.path.join(os.path.dirname(os.path.dirname(os.path.dirname(HERE))), "ifc4")
        files = genifc.edition_outputs(schemadata.read_schema(FIXTURE), edition, kit)
        ifc4 = genifc.outputs(schemadata.read_schema(FIXTURE))
        self.assertEqual(sorted(n for n in files if not n.startswith("kit/")),
                         sorted(n.replace("QdIfc4", "QdIfc2x3") for n in ifc4))
        self.assertIn("kit/module/ModuleLifeCycle.cpp", files)
        self.assertIn("kit/builder/QdIFC2X3SchemaBuilder.h", files)
        self.assertIn("kit/entities/include/QdIfc2x3/EntityClass.h", files)
        for name, text in files.items():
            with self.subTest(file=name):
                self.assertIsNone(re.search(r"\bIFC4\b|QdIfc4\b|QDIFC4_|QdIFC4", name + text))
        self.assertIn('QdAnsiString("IFC2X3")', files["kit/module/ModuleLifeCycle.cpp"])
        self.assertIn("namespace IFC2X3 {", files["include/QdIfc2x3/entities/IfcWall.h"])
        self.assertIn("class QDIFC2X3_API IfcWall", files["include/QdIfc2x3/entities/IfcWall.h"])


if __name__ == "__main__":
    unittest.main()
