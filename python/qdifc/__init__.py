"""qdifc: IFC files in Python, over the QdIfc C++ toolkit.

    import qdifc
    model = qdifc.open("house.ifc")
    for wall in model.by_type("IfcWall"):
        print(wall.id(), wall.Name, wall.is_a(), qdifc.util.get_container(wall))

Importing the package starts the IFC4 schema module, as a host program does; a file is
read with the module of the schema its FILE_SCHEMA names (IFC2X3, IFC4, IFC4X3_ADD2),
started the first time. The modules are stopped when the interpreter ends (after the
last model is gone).
"""
import atexit as _atexit

from . import _qdifc
from ._qdifc import Entity, Finding, Model, Problem, TypedValue

__all__ = [
    "open", "loads", "Model", "Entity", "TypedValue", "Problem", "Finding",
    "Error", "FileError", "SchemaError", "ParseError", "schema", "util", "fleet",
]

Error = _qdifc.Error


class FileError(Error, OSError):
    """A file that cannot be read or written."""

    problem = None


class SchemaError(Error):
    """A file written in a schema there is no module for, or not in the one asked for
    (open it with any_schema=True to read it anyway); a schema name without a module."""

    problem = None


class ParseError(Error):
    """Data in which no record could be read; `problem` is the first problem."""

    problem = None


_qdifc._start("")
_atexit.register(_qdifc._stop_when_idle)


def open(path, progress=None, any_schema=False, schema=None):  # noqa: A001 - the name scripts use
    """Reads an IFC file into a new model, with the module of the first schema its
    FILE_SCHEMA names that there is one for, or of `schema` (a name, any case).

    The load's problems are `model.problems`; a file that loads with problems does not
    raise. `progress(done_bytes, total_bytes)` is called now and then while reading.
    `any_schema` reads a file anyway whose FILE_SCHEMA does not name the schema read
    with (a file of a schema without a module: as IFC4).
    Raises FileError, SchemaError or ParseError when the file does not load.
    """
    return _qdifc.open(str(path), progress, any_schema, schema or "")


def loads(data, progress=None, any_schema=False, schema=None):
    """Reads a model from the text of an IFC file (bytes or str), as open does."""
    return _qdifc.loads(data, progress, any_schema, schema or "")


from . import fleet, schema, util  # noqa: E402  (they use the names above)

# The dictionary of the model's schema, as qdifc.schema gives it.
Model.schema = property(lambda self: schema.of(self.schema_name),
                        doc="The dictionary of the model's schema (qdifc.schema.of(model.schema_name))")
