"""The record marks of the entity tables as emitted for the project's IFC4 data: each
explicit row is marked optional exactly where the record may hold "$" for it, and
only the exponents read "$" beyond that. The record itself (count, order, commas,
derived positions) is held against the data by the C++ field tests, which write and
read every class."""

import os
import re
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
GEN = os.path.dirname(HERE)
sys.path.insert(0, GEN)

import attrmodel  # noqa: E402
import entities  # noqa: E402
import schemadata  # noqa: E402

ROW = re.compile(r'^\s*(\w+)\(QDIFC4_AT\((\w+)\), (.*)\),$')
# The marks argument of each row helper: its place among the arguments after the offset.
MARKS_AT = {"attr": 1, "ref": 0, "enumRow": 0, "selectRow": 0, "aggrRow": 0, "nestedRow": 0}


def rows(text):
    """[(helper, name, marks)] of the explicit rows in an emitted table."""
    out = []
    for line in text.splitlines():
        m = ROW.match(line)
        if not m or m.group(1) not in MARKS_AT:
            continue
        args = [a.strip() for a in m.group(3).split(",")]
        at = MARKS_AT[m.group(1)]
        marks = set(args[at].split(" | ")) - {"0"} if len(args) > at else set()
        out.append((m.group(1), m.group(2), marks))
    return out


class FieldMarksTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        schema = schemadata.read_schema(os.path.join(os.path.dirname(os.path.dirname(GEN)), "ifc4", "data"))
        cls.model = attrmodel.resolve(schema)
        cls.rows = {c.name: rows(entities.emit_table(cls.model, c)) for c in cls.model.classes}

    def test_optional_marks_as_the_data_has_them(self):
        checked = 0
        for c in self.model.classes:
            emitted = self.rows[c.name]
            self.assertEqual([n for _, n, _ in emitted], [a.name for a in c.explicit], c.name)
            for a, (helper, _, marks) in zip(c.explicit, emitted):
                # "$" is written for an unset value exactly where the data marks opt; a
                # reference's mark is the schema's (not required) and the record ignores it.
                if a.value.kind is not attrmodel.Kind.ENTITY:
                    self.assertEqual("kOpt" in marks, a.optional, f"{c.name}.{a.name}")
                else:
                    self.assertEqual(helper, "ref")
                    self.assertEqual("kOpt" in marks, not a.required, f"{c.name}.{a.name}")
                checked += 1
        self.assertEqual(checked, 1491)

    def test_only_the_exponents_read_unset_values(self):
        reading = {c: [n for _, n, marks in emitted if "kReadsUnset" in marks] for c, emitted in self.rows.items()}
        reading = {c: names for c, names in reading.items() if names}
        self.assertEqual(list(reading), ["IfcDimensionalExponents"])
        exponents = [a.name for a in self.model.by_name["IfcDimensionalExponents"].explicit]
        self.assertEqual(reading["IfcDimensionalExponents"], exponents[1:])
        self.assertFalse(any("kOpt" in marks for _, _, marks in self.rows["IfcDimensionalExponents"]))


if __name__ == "__main__":
    unittest.main()
