"""Entities of a model: identity, types and subtypes, the record each stands for, and
the schema's dictionary behind them."""
import pytest

import qdifc
from conftest import corpus_file


@pytest.fixture(scope="module")
def house():
    return qdifc.open(corpus_file("ifc4/Ifc4_SampleHouse.ifc"))


def subtypes(name):
    return [name] + [s for sub in qdifc.schema.entity(name).subtypes for s in subtypes(sub)]


@pytest.mark.parametrize("name", ["IfcWall", "IfcBuildingElement", "IfcRoot", "IfcFace", "IfcDoor"])
def test_by_type_with_and_without_subtypes(house, name):
    exact, every, counts = house.by_type(name, include_subtypes=False), house.by_type(name), house.types()
    assert len(exact) == counts.get(name, 0) and all(e.is_a() == name for e in exact)
    assert len(every) == sum(counts.get(t, 0) for t in subtypes(name)) and all(e.is_a(name) for e in every)
    assert [e.id() for e in every] == sorted({e.id() for e in every})


def test_identity_lookup_and_position(house):
    wall = house.by_id(1229)
    assert wall == house.by_id(1229) and hash(wall) == hash(house.by_id(1229)) and len({wall, house.by_id(1229)}) == 1
    assert wall != house.by_id(1752) and wall in house and house.by_guid("3cUkl32yn9qRSPvBJVyWw5") == wall
    assert wall != qdifc.open(corpus_file("ifc4/Ifc4_SampleHouse.ifc")).by_id(1229)
    for lookup, key in [(house.by_id, 10**9), (house.by_guid, "0000000000000000000000")]:
        with pytest.raises(KeyError):
            lookup(key)
    assert (wall.is_a(), wall.is_a("IfcElement"), wall.is_a("IfcSlab")) == ("IfcWall", True, False)
    assert [wall[i] for i in range(len(wall))] == [getattr(wall, n) for n in wall.attribute_names()]
    assert wall[-1] == wall.PredefinedType == "NOTDEFINED" and wall[6] == house.by_id(1225)
    with pytest.raises(IndexError):
        wall[len(wall)]
    with pytest.raises(AttributeError):
        wall.NoSuchAttribute
    info = wall.get_info()
    assert list(info) == ["id", "type"] + wall.attribute_names() and info["ObjectPlacement"] == house.by_id(621)
    assert wall.get_info(recursive=True)["ObjectPlacement"]["RelativePlacement"]["id"] == 620


def test_repr_is_the_record_as_written_and_removal(demo_path):
    model = qdifc.open(demo_path)
    lines = {line.split("=", 1)[0]: line for line in model.to_string().splitlines() if line.startswith("#")}
    assert len(lines) == len(model)
    for entity in model:
        name = entity.is_a()
        assert lines[f"#{entity.id()}"] == repr(entity).replace(f"={name}(", f"={name.upper()}(", 1) + ";"
    door = model.by_id(106)
    model.remove(door)
    assert len(model) == len(lines) - 1 and door not in model and door not in model.by_type("IfcElement")
    with pytest.raises(ValueError, match="removed"):
        door.Name
    with pytest.raises(ValueError):
        qdifc.Model().remove(model.by_id(40))


def test_the_dictionary():
    wall = qdifc.schema.entity("ifcwall")
    assert (wall.name, wall.supertype, wall.supertypes[-1]) == ("IfcWall", "IfcBuildingElement", "IfcRoot")
    assert set(wall.subtypes) == {"IfcWallStandardCase", "IfcWallElementedCase"}
    name = wall.attribute("name")
    assert (name.kind, name.type, name.optional, name.owner) == ("explicit", "IfcLabel", True, "IfcRoot")
    explicit = [a.name for a in wall.attributes if a.kind == "explicit"]
    assert explicit == qdifc.Model().create_entity("IfcWall").attribute_names()
    assert "SHEAR" in qdifc.schema.enumeration("IfcWallTypeEnum") and "IfcSimpleValue" in qdifc.schema.select("IfcValue")
    with pytest.raises(KeyError):
        qdifc.schema.entity("IfcNoSuchThing")


def test_abstract_types_have_no_instances_of_their_own():
    assert qdifc.schema.entity("IfcRoot").abstract and not qdifc.schema.entity("IfcWall").abstract
    model = qdifc.Model()
    with pytest.raises(ValueError, match="IfcBuildingElement is abstract"):
        model.create_entity("IfcBuildingElement", Name="x")
    assert len(model) == 0
    assert model.create_entity("IfcWall").is_a("IfcBuildingElement")


def test_an_inverse_attribute_names_the_attribute_it_inverts():
    contained = qdifc.schema.entity("IfcWall").attribute("ContainedInStructure")
    assert (contained.kind, contained.optional, contained.owner) == ("inverse", True, "IfcElement")
    assert contained.inverse_of == "IfcRelContainedInSpatialStructure.RelatedElements"
