"""qdifc.util against the host: property sets as `qdifc props` lists them, the spatial
tree as `qdifc tree` draws it, and containers and contents that agree with each other."""
import collections
import re

import pytest

import qdifc
from qdifc import util
from conftest import corpus_file, host, parse_value, same


def host_psets(path, n):
    """The sets `qdifc props` lists, the type's overridden by the object's own."""
    own, typed, current = {}, {}, None
    for line in host("props", path, f"#{n}").splitlines()[1:]:
        head = re.fullmatch(r"#(\d+) \w+ '(.*?)'( \(from type .*\))?", line)
        if head:
            current = (typed if head[3] else own).setdefault(head[2], {"id": int(head[1])})
        else:
            name, _, text = line[2:].partition(" = ")
            current[name] = parse_value(text)
    return {**typed, **{name: {**typed.get(name, {}), **props} for name, props in own.items()}}


@pytest.mark.parametrize("name, n", [("demo", 40), ("ifc4/Ifc4_SampleHouse.ifc", 1229),
                                     ("ifc4/Ifc4_SampleHouse.ifc", 1309), ("ifc4/ISSUE_005_haus.ifc", 14502)])
def test_property_sets_hold_what_the_host_lists(name, n, demo_path):
    path = demo_path if name == "demo" else corpus_file(name)
    entity = qdifc.open(path).by_id(n)
    psets, expected = util.get_psets(entity), host_psets(path, n)
    assert sorted(psets) == sorted(expected)
    for set_name, props in expected.items():
        assert sorted(psets[set_name]) == sorted(props), set_name
        for prop, value in props.items():
            assert same(psets[set_name][prop], value), (set_name, prop, psets[set_name][prop], value)
            assert util.get_pset(entity, set_name, prop) == psets[set_name][prop]
    quantities = util.get_psets(entity, qtos_only=True)
    assert {**util.get_psets(entity, psets_only=True), **quantities} == psets
    assert quantities == {k: v for k, v in psets.items() if entity.model.by_id(v["id"]).is_a("IfcElementQuantity")}
    assert util.get_pset(entity, "Pset_Absent") is None


@pytest.mark.parametrize("name", ["demo", "ifc4/Ifc4_SampleHouse.ifc", "ifc4/ISSUE_005_haus.ifc"])
def test_the_spatial_tree_is_the_one_the_host_draws(name, demo_path):
    path = demo_path if name == "demo" else corpus_file(name)
    drawn = []
    for line in host("tree", path).splitlines():
        node = re.match(r"( *)#(\d+) (\w+)", line)
        if node:
            drawn.append((len(node[1]) // 2, int(node[2]), node[3], {}))
        else:
            drawn[-1][3].update({t: int(k) for k, t in re.findall(r"(\d+) (\w+)", line.split(":", 1)[1])})

    def walk(node, depth):
        contained = dict(collections.Counter(e.is_a() for e in node["elements"]))
        yield depth, node["entity"].id(), node["entity"].is_a(), contained
        for child in node["children"]:
            yield from walk(child, depth + 1)

    assert [row for project in util.spatial_tree(qdifc.open(path)) for row in walk(project, 0)] == drawn


def test_containers_and_contents_agree():
    model = qdifc.open(corpus_file("ifc4/Ifc4_SampleHouse.ifc"))
    elements = model.by_type("IfcElement")
    for storey in model.by_type("IfcBuildingStorey"):
        inside = [e for e in elements if util.get_container(e) in {storey, *util.get_decomposition(storey)}]
        assert util.elements_in(storey) == inside and inside
        assert util.elements_in(storey, "IfcWindow") == [e for e in inside if e.is_a("IfcWindow")]
    (site,) = model.by_type("IfcSite")
    assert util.elements_in(site) == [e for e in elements if util.get_container(e) is not None]
    assert util.get_container(model.by_id(1229)) == model.by_id(131)


def test_property_values_of_every_kind_and_the_override_of_the_type():
    model, T = qdifc.Model(), qdifc.TypedValue
    guids = iter(f"{i:022d}" for i in range(100))

    def pset(name, *props):
        return model.create_entity("IfcPropertySet", next(guids), None, name, None, props)

    single = model.create_entity("IfcPropertySingleValue", "Width", None, T("IfcLengthMeasure", 0.2))
    listed = model.create_entity("IfcPropertyListValue", "Layers", None, (T("IfcLabel", "a"), T("IfcLabel", "b")))
    enumerated = model.create_entity("IfcPropertyEnumeratedValue", "Fire", None, (T("IfcLabel", "REI60"),))
    table = model.create_entity("IfcPropertyTableValue", "Curve", None, (T("IfcReal", 1.0), T("IfcReal", 2.0)),
                                (T("IfcReal", 10.0), T("IfcReal", 20.0)))
    bounded = model.create_entity("IfcPropertyBoundedValue", "Range", None, T("IfcReal", 9.0), T("IfcReal", 1.0))
    own_width = model.create_entity("IfcPropertySingleValue", "Width", None, T("IfcLengthMeasure", 0.3))
    wall_type = model.create_entity("IfcWallType", next(guids), HasPropertySets=(
        pset("Common", single, listed, enumerated, table, bounded),))
    wall = model.create_entity("IfcWall", next(guids))
    model.create_entity("IfcRelDefinesByType", next(guids), RelatedObjects=(wall,), RelatingType=wall_type)
    model.create_entity("IfcRelDefinesByProperties", next(guids), RelatedObjects=(wall,),
                        RelatingPropertyDefinition=pset("Common", own_width))
    common = util.get_psets(wall)["Common"]
    assert common["Width"] == 0.3 and util.get_psets(wall_type)["Common"]["Width"] == 0.2
    assert common["Layers"] == ("a", "b") and common["Fire"] == ("REI60",)
    assert common["Curve"] == {1.0: 10.0, 2.0: 20.0}
    assert (common["Range"]["UpperBoundValue"], common["Range"]["LowerBoundValue"]) == (9.0, 1.0)
