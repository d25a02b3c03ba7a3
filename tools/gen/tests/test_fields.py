"""inFields and outFields as emitted for the project's IFC4 data: each class's calls,
with the supertype calls expanded, make up its whole record once, in order, with
the comma flag false exactly at the first parameter and the optional flag as the
data marks it."""

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
        schema = schemadata.read_schema(os.path.join(os.path.dirname(os.path.dirname(GEN)), "schema", "ifc4"))
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

    def test_every_class_has_both_and_they_return_0(self):
        self.assertEqual(len(self.bodies), 2 * 776)
        self.assertEqual(fields.declarations(),
                         ["  QD::ErrorStatus inFields(QD_SDAI::QdSpfFilerBase* filer) override;",
                          "  QD::ErrorStatus outFields(QD_SDAI::QdSpfFilerBase* filer) override;"])

    def test_whole_record_once_in_order_with_one_comma_false(self):
        for c in self.model.classes:
            chain = [a for n in c.chain + [c.name] for a in self.model.by_name[n].explicit]
            derived = {(a.supertype, a.key) for n in c.chain + [c.name] for a in self.model.by_name[n].redeclared}
            for op in ("inFields", "outFields"):
                calls = self.expanded(c.name, op)
                self.assertEqual(len(calls), len(chain), f"{c.name}.{op}")
                self.assertEqual([args[-1] for _, args in calls], ["false", "true", "true"][:len(chain)] +
                                 ["true"] * (len(chain) - 3),
                                 f"{c.name}.{op}: comma flags")
                for a, (call, args) in zip(chain, calls):
                    if (a.entity, a.key) in derived:
                        self.assertEqual(args, [args[-1]], f"{c.name}.{a.name}")
                        self.assertIn("Derive", call, f"{c.name}.{a.name}")
                    elif a.value.kind != "binary":  # the binary is not kept: its calls name no member
                        self.assertEqual(args[0], a.member, f"{c.name}.{op}")

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

    def test_no_parameters_anywhere(self):
        empty = [c.name for c in self.model.classes if not fields.record_fields(self.model, c)]
        self.assertEqual(len(empty), 21)
        self.assertIn("IfcObjectPlacement", empty)
        for name in empty:
            for op in ("inFields", "outFields"):
                self.assertEqual(self.bodies[(name, op)], ["return QD::eOk;"], name)

    def test_classes_with_derived_positions_handle_their_whole_record(self):
        expected = {
            "IfcSIUnit": ["rdDerive(false)", "readEnum(m_UnitType, filer, false, true)",
                          "readEnum(m_Prefix, filer, true, true)", "readEnum(m_Name, filer, false, true)"],
            "IfcOrientedEdge": ["rdDerive(false)", "rdDerive(true)", "rdReference(m_EdgeElement, true)",
                                "rdPrimitive(m_Orientation, false, true)"],
            "IfcMirroredProfileDef": ["readEnum(m_ProfileType, filer, false, false)",
                                      "rdQdAnsiString(m_ProfileName, true, true)",
                                      "rdReference(m_ParentProfile, true)", "rdDerive(true)",
                                      "rdQdAnsiString(m_Label, true, true)"],
            "IfcGeometricRepresentationSubContext": [
                "rdQdAnsiString(m_ContextIdentifier, true, false)", "rdQdAnsiString(m_ContextType, true, true)",
                "rdDerive(true)", "rdDerive(true)", "rdDerive(true)", "rdDerive(true)",
                "rdReference(m_ParentContext, true)", "rdDouble(m_TargetScale, true, true)",
                "readEnum(m_TargetView, filer, false, true)", "rdQdAnsiString(m_UserDefinedTargetView, true, true)"],
        }
        self.assertEqual(sorted(c.name for c in self.model.classes if c.redeclared), sorted(expected))
        for name, calls in expected.items():
            got = [line.rstrip(";").split("->")[-1].split("::")[-1] for line in self.bodies[(name, "inFields")]]
            self.assertEqual(got[:-1], calls, name)
            writes = [line.replace("write", "read").replace("->wr", "->rd") for line in self.bodies[(name, "outFields")]]
            self.assertEqual(writes, self.bodies[(name, "inFields")], name)

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

    def test_root_reads_the_guid_first(self):
        self.assertEqual(self.bodies[("IfcRoot", "inFields")],
                         ["detail::readGuid(m_GlobalId, filer, false);",
                          "filer->rdReference(m_OwnerHistory, true);",
                          "filer->rdQdAnsiString(m_Name, true, true);",
                          "filer->rdQdAnsiString(m_Description, true, true);",
                          "return QD::eOk;"])


if __name__ == "__main__":
    unittest.main()
