"""What the tests share: the sample corpus, the C++ host program, and its output read
back into Python values to compare with what the package reads."""
import collections
import math
import os
import re
import subprocess
from pathlib import Path

import pytest

import qdifc

_HERE = Path(__file__).resolve()
CORPUS = Path(os.environ.get("QDIFC_TEST_CORPUS_DIR") or _HERE.parents[3] / "shared" / "corpus")
HOST = Path(os.environ.get("QDIFC_TEST_QDIFC") or _HERE.parents[2] / "build" / "bin" / "qdifc")
Ref, Typed = collections.namedtuple("Ref", "id"), collections.namedtuple("Typed", "type value")


def corpus_file(name):
    if not (CORPUS / name).is_file():
        pytest.skip(f"the sample corpus is absent ({CORPUS / name})")
    return CORPUS / name


def host(*args, ok=(0,)):
    """The host program's output; its exit status must be one of ok."""
    if not os.access(HOST, os.X_OK):
        pytest.skip(f"the host program is absent ({HOST})")
    done = subprocess.run([str(HOST), *map(str, args)], capture_output=True, text=True, timeout=60)
    assert done.returncode in ok, done.stderr
    return done.stdout


@pytest.fixture(scope="session")
def demo_path(tmp_path_factory):
    """The demo building as the host builds and writes it."""
    path = tmp_path_factory.mktemp("demo") / "demo.ifc"
    host("demo", path)
    return path


_ATOM = re.compile(r"\$|'[^']*'|#\d+|\.\w+\.|[-+]?\d[\d.]*(?:E[-+]?\d+)?|\w+\(|\w+|\(")


def _parse(s, i):
    text = _ATOM.match(s, i).group()
    i += len(text)
    if text == "(" or text.endswith("("):
        items = []
        while s[i] != ")":
            value, i = _parse(s, i)
            items.append(value)
            i += 2 if s.startswith(", ", i) else 0
        return (tuple(items) if text == "(" else Typed(text[:-1], items[0])), i + 1
    if text[0] in "$'":
        return (None if text == "$" else text[1:-1]), i
    if text[0] == "#":
        return Ref(int(text[1:])), i
    if text[0] == ".":
        return {"T": True, "F": False, "U": "UNKNOWN"}.get(text[1:-1], text[1:-1]), i
    if text[0] in "+-0123456789":
        return (float(text) if "." in text or "E" in text else int(text)), i
    return text, i  # an enumeration literal


def parse_value(text):
    """A value as the host prints it: $, 'text', #12, .T., 1.5, 2, LITERAL, IFCLABEL('x'), (a, b)."""
    if len(text) > 1 and text[0] == text[-1] == "'":
        return text[1:-1]  # printed decoded: it may hold quotes
    value, end = _parse(text, 0)
    assert end == len(text), text
    return value


def as_shown(value):
    """A value the package reads, in the terms of parse_value."""
    if isinstance(value, qdifc.Entity):
        return Ref(value.id())
    if isinstance(value, qdifc.TypedValue):
        return Typed(value.type.upper(), as_shown(value.value))
    return tuple(map(as_shown, value)) if isinstance(value, tuple) else value


def same(a, b):
    """Equal values of the same Python type, reals to 12 digits."""
    if type(a) is not type(b):
        return False
    if isinstance(a, float):
        return math.isclose(a, b, rel_tol=1e-12)
    return len(a) == len(b) and all(map(same, a, b)) if isinstance(a, tuple) else a == b
