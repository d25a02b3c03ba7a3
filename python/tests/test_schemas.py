"""Files are read with the module of the schema their header names (or the one asked
for); the dictionaries of the schemas there are modules for."""
import pytest

import qdifc
from conftest import corpus_file


def text(schema_parameters):
    return ("ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION((''),'2;1');\nFILE_NAME('','',(''),(''),'','','');\n"
            f"FILE_SCHEMA{schema_parameters};\nENDSEC;\nDATA;\n#1=IFCCARTESIANPOINT((0.,0.));\n"
            "ENDSEC;\nEND-ISO-10303-21;\n")


def test_the_header_picks_the_schema_in_any_case():
    for parameters in ("(('ifc4'))", "(('IFC2X4','Ifc4'))"):
        model = qdifc.loads(text(parameters))
        assert model.schema_name == "IFC4" and not model.problems, parameters
        assert model.by_id(1).Coordinates == (0.0, 0.0)
    assert qdifc.loads(text("(('ifc4'))")).schema_names == ["ifc4"]


def test_a_schema_without_a_module_is_one_clear_error():
    with pytest.raises(qdifc.SchemaError, match=r"no module for schema IFC2X4; there are: .*IFC4") as refused:
        qdifc.loads(text("(('IFC2X4'))"))
    assert refused.value.problem.found == "IFC2X4"
    # Asked to go on, it is read as IFC4.
    model = qdifc.loads(text("(('IFC2X4'))"), any_schema=True)
    assert model.schema_name == "IFC4" and len(model) == 1
    assert [p.found for p in model.problems] == ["IFC2X4"]


def test_schema_forces_the_module(tmp_path):
    path = tmp_path / "other.ifc"
    path.write_text(text("(('IFC2X4'))"))
    with pytest.raises(qdifc.SchemaError, match="written in schema IFC2X4, not IFC4"):
        qdifc.open(path, schema="ifc4")
    assert len(qdifc.open(path, schema="Ifc4", any_schema=True)) == 1
    with pytest.raises(qdifc.SchemaError, match="no module for schema IFC2X4"):
        qdifc.open(tmp_path / "whatever.ifc", schema="IFC2X4")


def test_dictionaries_by_schema_name():
    assert qdifc.schema.name() == "IFC4"
    four = qdifc.schema.of("ifc4")
    assert four.name() == "IFC4" and four.entity("ifcwall").supertype == qdifc.schema.entity("IfcWall").supertype
    assert "IFC4" in qdifc.schema.available()
    with pytest.raises(qdifc.SchemaError, match="no module for schema IFC2X4"):
        qdifc.schema.of("IFC2X4")
    model = qdifc.Model(schema="ifc4")
    assert model.schema_name == "IFC4" and model.schema.name() == "IFC4"
    assert model.create_entity("IfcWall").is_a() == "IfcWall"
    with pytest.raises(qdifc.SchemaError):
        qdifc.Model(schema="IFC2X4")


@pytest.mark.parametrize("folder, schema, entity", [("ifc2x3", "IFC2X3", "IfcWallStandardCase"),
                                                    ("ifc4x3", "IFC4X3_ADD2", "IfcGrid")])
def test_files_of_other_editions_open_with_their_module(folder, schema, entity):
    if schema not in qdifc.schema.available():
        pytest.skip(f"no module for {schema} beside the libraries (it comes with its module)")
    path = corpus_file(f"{folder}/{'Ifc2x3_Duplex_Architecture.ifc' if folder == 'ifc2x3' else 'grid-placement.ifc'}")
    model = qdifc.open(path)
    assert model.schema_name == schema and model.by_type(entity)
    assert model.schema.name() == schema and model.schema.entity(entity).name == entity
    # An IFC4 model alive beside it, each with its own dictionary.
    four = qdifc.Model()
    assert four.schema_name == "IFC4" and model.schema.entities() != four.schema.entities()
    with pytest.raises(qdifc.SchemaError, match=f"not IFC4"):
        qdifc.open(path, schema="IFC4")
