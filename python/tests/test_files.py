"""Files read from Python hold what the C++ host reads in them; files that do not load
raise the error that says why."""
import re

import pytest

import qdifc
from conftest import as_shown, corpus_file, host, parse_value, same

FILES = ["demo", "ifc4/Ifc4_SampleHouse.ifc", "ifc4/IfcOpenHouse_IFC4.ifc", "ifc4/FormallyIllegalFile.ifc",
         "ifc4/InvalidContentFC4.ifc", "ifc4/ramp.ifc", "ifc4/IfcTriangulatedFaceSet.ifc"]


@pytest.mark.parametrize("name", FILES)
def test_type_counts_problems_and_findings_match_the_host(name, demo_path):
    path = demo_path if name == "demo" else corpus_file(name)
    model = qdifc.open(path)
    summary = host("load", path, ok=(0, 1))  # 1: the file has problems
    total, types, problems = map(int, re.search(r"(\d+) instances of (\d+) types, (\d+) problems", summary).groups())
    counts = {t: int(n) for n, t in re.findall(r"^  (\d+)\t(\w+)$", summary, re.M)}
    assert model.types() == counts and len(counts) == types
    assert len(model) == total == len(list(model)) and len(model.problems) == problems
    prefix = f"{path}: #"  # the host prints each finding as "FILE: <finding>"
    shown = [line[len(prefix) - 1:] for line in host("check", path, ok=(0, 1)).splitlines() if line.startswith(prefix)]
    assert sorted(str(f) for f in model.check()) == sorted(shown)


SHOWN = [("demo", [9, 10, 22, 40, 106, 109, 111, 117]),
         ("ifc4/Ifc4_SampleHouse.ifc", [42, 131, 188, 1229, 1309, 1351]),
         ("ifc4/ISSUE_005_haus.ifc", [14954]),
         ("ifc4/column-straight-rectangle-tessellation.ifc", [13, 15, 41, 287, 288]),
         ("ifc4/tessellation-with-individual-colors.ifc", [201, 203]),
         ("ifc4/properties.ifc", [2, 9, 16, 17, 19])]


@pytest.mark.parametrize("name, ids", SHOWN)
def test_objects_read_attribute_by_attribute_as_the_host_shows_them(name, ids, demo_path):
    path = demo_path if name == "demo" else corpus_file(name)
    model = qdifc.open(path)
    for n in ids:
        entity = model.by_id(n)
        head, *lines = host("show", path, f"#{n}").splitlines()
        assert head == f"#{n} {entity.is_a()}"
        for line in lines:
            label, _, text = line.strip().partition(" = ")
            attribute = label.replace(" (inverse)", "")
            assert attribute in entity.attribute_names(inverses=True)
            got = as_shown(getattr(entity, attribute))
            if attribute != label and got == ():
                got = None  # the host prints an empty inverse as $
            assert same(got, parse_value(text)), f"#{n}.{attribute}: {got!r} where the host shows {text}"


def test_files_that_do_not_load_raise_what_is_wrong(tmp_path):
    with pytest.raises(qdifc.FileError, match="absent.ifc") as missing:
        qdifc.open(tmp_path / "absent.ifc")
    assert isinstance(missing.value, OSError)
    for name, found in [("other-schemas/ifc2x3_final_wall.ifc", "IFC2X3"),
                        ("other-schemas/ifc4x3-horizontal-alignment.ifc", "IFC4X")]:
        with pytest.raises(qdifc.SchemaError, match=found) as refused:
            qdifc.open(corpus_file(name))
        assert refused.value.problem.found.startswith(found)
        assert len(qdifc.open(corpus_file(name), any_schema=True)) > 0
    with pytest.raises(qdifc.ParseError) as garbage:
        qdifc.loads(b"no records here")
    assert garbage.value.problem.line == 1 and isinstance(garbage.value, qdifc.Error)
    (problem,) = qdifc.open(corpus_file("ifc4/FormallyIllegalFile.ifc")).problems  # loads all the same
    assert (problem.line, problem.instance, problem.expected) == (21, 2, "a finite real") and "#INF" in problem.found


def test_escaped_text_reads_decoded():
    model = qdifc.open(corpus_file("lexical/SpecialSolidusEscape.ifc"), any_schema=True)
    names = [model.by_id(n).Name for n in range(1001, 1007)]
    assert names[:5] == ["Don't", "'", "", "\u00c4rger", "h\u00f4tel"]
    assert names[5].endswith("escape \u00a7")  # \S\ then a doubled apostrophe: 39 + 128
