"""inFields and outFields as emitted for the project's IFC4 data: with the supertype
calls expanded, each read and write carries the optional flag as the data marks it.
The record itself (count, order, commas, derived positions) is held against the data
by the C++ field tests, which write and read every class."""

import os
import re
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
GEN = os.path.dirname(HERE)
sys.path.insert(0, GEN)

import attrmodel  # noqa: E402
import fields  # noqa: E402
import schemadata  # noqa: E402

CALL = re.compile(r"^(\w+(?:::|->)\w+)\((.*)\);$")


def bodies(text):
    """{(class, operation): [statements]} of an emitted pair of definitions."""
    out = {}
    for m in re.finditer(r"QD::ErrorStatus (\w+)::(inFields|outFields)\([^)]*\) \{(.*?)\n?\}\n", text, re.S):
        out[(m.group(1), m.group(2))] = [line.strip() for line in m.group(3).split("\n")
                                          if line.strip() and line.strip() != "(void)filer;"]
    return out


class FieldsTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        schema = schemadata.read_schema(os.path.join(os.path.dirname(os.path.dirname(GEN)), "ifc4", "data"))
        cls.model = attrmodel.resolve(schema)
        cls.bodies = {}
        for c in cls.model.classes:
            cls.bodies.update(bodies(fields.emit(cls.model, c)))

    def expanded(self, name, op):
        """The calls of a class with its supertype calls replaced by theirs: (call, arguments)."""
        out = []
        lines = self.bodies[(name, op)]
        self.assertEqual(lines[-1], "return QD::eOk;", name)
        for line in lines[:-1]:
            m = CALL.match(line)
            self.assertIsNotNone(m, f"{name}.{op}: {line!r}")
            # The filer argument of the shared rules is left out: (member, [optional,] comma).
            call, args = m.group(1), [a.strip() for a in m.group(2).split(",") if a.strip() != "filer"]
            if call.endswith("::" + op):
                self.assertEqual(out, [], f"{name}.{op}: the supertype comes first")
                self.assertEqual(call.split("::")[0], self.model.by_name[name].supertype)
                out += self.expanded(call.split("::")[0], op)
            else:
                out.append((call, args))
        return out

    def test_optional_flags_as_marked(self):
        checked = 0
        for c in self.model.classes:
            chain = [a for n in c.chain + [c.name] for a in self.model.by_name[n].explicit]
            for op in ("inFields", "outFields"):
                for a, (call, args) in zip(chain, self.expanded(c.name, op)):
                    if "Derive" in call:
                        continue
                    # References, the GUID, the binary and aggregate reads take no optional flag.
                    flagless = a.value.kind in ("entity", "guid", "binary") or (
                        op == "inFields" and a.value.is_aggregate)
                    expected = 1 if a.value.kind == "binary" else 2 if flagless else 3
                    self.assertEqual(len(args), expected, f"{c.name}.{a.name}: {call}")
                    if flagless:
                        continue
                    want = a.optional or (op == "inFields" and c.name == "IfcDimensionalExponents"
                                          and args[-1] == "true")
                    self.assertEqual(args[-2], "true" if want else "false", f"{c.name}.{op}.{a.name}")
                    checked += 1
        self.assertGreater(checked, 2000)

    def test_read_and_write_flags_differ_only_for_the_exponents(self):
        differ = []
        for c in self.model.classes:
            reads = [args for _, args in self.expanded(c.name, "inFields")]
            writes = [args for _, args in self.expanded(c.name, "outFields")]
            if c.name not in ("IfcDimensionalExponents",):
                # Aggregate reads have no optional flag; the rest must match.
                for r, w in zip(reads, writes):
                    if len(r) == len(w) and r != w:
                        differ.append(c.name)
            else:
                self.assertEqual(reads, [["m_LengthExponent", "false", "false"]] +
                                 [[w[0], "true", "true"] for w in writes[1:]])
                self.assertEqual(writes[0], ["m_LengthExponent", "false", "false"])
                self.assertTrue(all(w[1:] == ["false", "true"] for w in writes[1:]))
        self.assertEqual(differ, [])


if __name__ == "__main__":
    unittest.main()
