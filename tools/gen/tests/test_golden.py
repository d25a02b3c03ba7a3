"""The generator's whole output for a small fixture schema (fixture/: a root with a
GUID and an optional label, a supertype chain, an enumeration, a select of an entity
and two values, a bounded list and a set of references, an inverse, a required
reference) held against the files in golden/, file for file. A change of an emitter
shows here as a readable diff of a few small files.

    QDIFC_UPDATE_GOLDEN=1 python3 -m unittest test_golden    writes golden/ anew
"""

import os
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


if __name__ == "__main__":
    unittest.main()
