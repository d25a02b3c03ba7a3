"""Writes: values of each kind survive a write and a read, wrong ones are refused and
leave the value as it was, and inverses follow what is written."""
import pytest

import qdifc
from conftest import as_shown, corpus_file, same

T = qdifc.TypedValue
VALUES = [
    ("IfcWall", "Name", "W\u00e4nd 'A' \u20ac\U0001F600"),
    ("IfcWall", "GlobalId", "2Ab$_0cDe1fGh2iJk3lMn4"),
    ("IfcWall", "PredefinedType", "SHEAR"),
    ("IfcBuildingStorey", "Elevation", -2.75),
    ("IfcGeometricRepresentationContext", "CoordinateSpaceDimension", 2),
    ("IfcFaceBound", "Orientation", False),
    ("IfcCompositeCurve", "SelfIntersect", "UNKNOWN"),
    ("IfcCartesianPoint", "Coordinates", (1.5, -2.0, 1e-9)),
    ("IfcCartesianPointList3D", "CoordList", ((0.0, 0.0, 0.0), (1.0, 2.0, 3.0))),
    ("IfcTriangulatedFaceSet", "CoordIndex", ((1, 2, 3), (3, 2, 1))),
    ("IfcPropertySingleValue", "NominalValue", T("IfcLabel", "x")),
    ("IfcPropertySingleValue", "NominalValue", T("IfcBoolean", True)),
    ("IfcPropertySingleValue", "NominalValue", T("IfcInteger", -7)),
    ("IfcPropertySingleValue", "NominalValue", T("IfcLengthMeasure", 0.1)),
    ("IfcPropertyListValue", "ListValues", (T("IfcLabel", "a"), T("IfcReal", 1.5))),
]


def test_values_of_each_kind_read_back_after_a_write_and_a_read():
    model = qdifc.Model()
    placement = model.create_entity("IfcLocalPlacement")
    material = model.create_entity("IfcMaterial", "Concrete")
    walls = [model.create_entity("IfcWall", ObjectPlacement=placement) for _ in range(2)]
    written = [(model.create_entity(t), a, v) for t, a, v in VALUES] + [
        (model.create_entity("IfcRelAssociatesMaterial"), "RelatingMaterial", material),
        (model.create_entity("IfcRelContainedInSpatialStructure"), "RelatedElements", tuple(walls))]
    for entity, attribute, value in written:
        setattr(entity, attribute, value)
    assert material.Name == "Concrete" and walls[1].ObjectPlacement == placement
    again = qdifc.loads(model.to_string())
    assert again.to_string() == model.to_string() and not again.problems
    for entity, attribute, value in written:
        for read in (getattr(entity, attribute), getattr(again.by_id(entity.id()), attribute)):
            assert same(as_shown(read), as_shown(value)), (entity.is_a(), attribute, read)


def test_unset_and_positional_writes():
    wall = qdifc.Model().create_entity("IfcWall", "0Wall00000000000000001", None, "W", Tag="t")
    assert (wall.GlobalId, wall.OwnerHistory, wall.Name, wall[7]) == ("0Wall00000000000000001", None, "W", "t")
    wall[2] = "named by place"
    wall.Tag = None
    del wall.GlobalId
    assert repr(wall) == "#1=IfcWall($,$,'named by place',$,$,$,$,$,$)"


def test_a_corpus_file_written_and_read_again_is_the_same(tmp_path):
    model = qdifc.open(corpus_file("ifc4/Ifc4_SampleHouse.ifc"))
    model.write(str(tmp_path / "copy.ifc"))
    assert qdifc.open(tmp_path / "copy.ifc").to_string() == model.to_string() == qdifc.loads(model.to_string()).to_string()
    with pytest.raises(qdifc.FileError):
        model.write(str(tmp_path / "no" / "such" / "folder.ifc"))


REFUSED = [  # type, attribute, a good value, a wrong one, the error
    ("IfcBuildingStorey", "Elevation", 1.0, "high", TypeError),
    ("IfcBuildingStorey", "Elevation", 1.0, True, TypeError),
    ("IfcGeometricRepresentationContext", "CoordinateSpaceDimension", 3, 3.0, TypeError),
    ("IfcGeometricRepresentationContext", "CoordinateSpaceDimension", 3, 2**40, ValueError),
    ("IfcWall", "Name", "W", 3, TypeError),
    ("IfcWall", "PredefinedType", "SHEAR", "BRICKWALL", ValueError),
    ("IfcFaceBound", "Orientation", True, 1, TypeError),
    ("IfcCartesianPoint", "Coordinates", (1.0, 2.0), (1.0, 2.0, 3.0, 4.0), ValueError),
    ("IfcCartesianPoint", "Coordinates", (1.0, 2.0), (1.0, "2"), TypeError),
    ("IfcPropertySingleValue", "NominalValue", T("IfcLabel", "x"), "x", TypeError),
    ("IfcPropertySingleValue", "NominalValue", T("IfcLabel", "x"), T("IfcWall", "x"), ValueError),
    ("IfcPropertySingleValue", "NominalValue", T("IfcLabel", "x"), T("IfcBoolean", "yes"), TypeError),
    ("IfcWall", "ObjectPlacement", "placement", "point", ValueError),
    ("IfcWall", "ObjectPlacement", "placement", "placement of another model", ValueError),
]


@pytest.mark.parametrize("type_name, attribute, good, bad, error", REFUSED, ids=[f"{r[1]}={r[3]!r}"[:40] for r in REFUSED])
def test_a_wrong_write_is_refused_and_changes_nothing(type_name, attribute, good, bad, error):
    model, other = qdifc.Model(), qdifc.Model()
    entities = {"placement": model.create_entity("IfcLocalPlacement"), "point": model.create_entity("IfcCartesianPoint"),
                "placement of another model": other.create_entity("IfcLocalPlacement")}
    good, bad = entities.get(good, good), entities.get(bad, bad)
    entity = model.create_entity(type_name, **{attribute: good})
    before = model.to_string()
    with pytest.raises(error, match=f"{type_name}.{attribute}"):
        setattr(entity, attribute, bad)
    with pytest.raises(error):
        entity[entity.attribute_names().index(attribute)] = bad
    with pytest.raises(error):
        model.create_entity(type_name, **{attribute: bad})
    assert same(as_shown(getattr(entity, attribute)), as_shown(good))
    assert model.to_string() == before and len(model) == 3


def test_inverses_follow_writes_and_removals(demo_path):
    model = qdifc.open(demo_path)
    slab, ground, first = model.by_id(84), model.by_id(22), model.by_id(26)
    (rel,) = slab.ContainedInStructure
    rel.RelatingStructure = ground
    assert rel in ground.ContainsElements and not first.ContainsElements
    assert qdifc.util.get_container(slab) == ground
    model.remove(rel)
    assert not slab.ContainedInStructure and qdifc.util.get_container(slab) is None
    model.create_entity("IfcRelContainedInSpatialStructure", RelatedElements=[slab], RelatingStructure=first)
    assert qdifc.util.get_container(slab) == first and slab in qdifc.util.get_contained(first)


def test_a_file_with_a_stray_byte_still_prints_and_writes():
    model = qdifc.open(corpus_file("ifc4/FormallyIllegalFile.ifc"))
    comment = model.by_id(1)
    assert repr(comment).startswith("#1=IfcPropertySingleValue('Comments','Comments relating to 1016',")
    again = qdifc.loads(model.to_string())
    assert again.types() == model.types() and again.by_id(1).NominalValue == comment.NominalValue
