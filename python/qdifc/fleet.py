"""Fleets of models: the same four tables drawn from many IFC files at once, on Dask.

    from qdifc import fleet
    fleet.extract(["models/", "more/*.ifc"], "tables")     # a local cluster, one worker per core
    fleet.query("tables", "SELECT type, COUNT(*) FROM elements GROUP BY type")

Each input file is one task, run in a worker process. A task reads its file and writes
one partition of each table: `files`, `elements`, `properties`, `findings`, each a
folder of gzip CSV files named by the file's content hash. A partition is written to a
temporary name and renamed when whole, and a file is done when all four of its
partitions exist, so a run that stopped half-way is started again with the same
command and takes up where it was. A file whose task fails (it does not load, or its
worker dies) is tried once more, then recorded in `files` with its error.

`gather` puts the tables into one SQLite database, `query` runs SQL on it. Dask is
imported only by `extract`: gathering and querying need nothing but the standard library.
"""
import csv
import fcntl
import gzip
import hashlib
import io
import json
import os
import re
import sqlite3
import sys
import time
import uuid
from dataclasses import dataclass, field
from pathlib import Path

# The tables, their columns and the SQLite types the columns are gathered as.
TABLES = {
    "files": [("file", "TEXT"), ("path", "TEXT"), ("hash", "TEXT"), ("size", "INTEGER"), ("schema", "TEXT"),
              ("instances", "INTEGER"), ("problems", "INTEGER"), ("findings", "INTEGER"), ("elements", "INTEGER"),
              ("properties", "INTEGER"), ("load_seconds", "REAL"), ("error", "TEXT")],
    "elements": [("file", "TEXT"), ("id", "INTEGER"), ("global_id", "TEXT"), ("type", "TEXT"), ("name", "TEXT"),
                 ("predefined_type", "TEXT"), ("storey", "TEXT"), ("building", "TEXT"), ("type_object", "TEXT")],
    "properties": [("file", "TEXT"), ("id", "INTEGER"), ("global_id", "TEXT"), ("pset", "TEXT"),
                   ("set_type", "TEXT"), ("name", "TEXT"), ("value", ""), ("value_type", "TEXT"), ("unit", "TEXT")],
    "findings": [("file", "TEXT"), ("instance", "INTEGER"), ("type", "TEXT"), ("attribute", "TEXT"),
                 ("rule", "TEXT"), ("expected", "TEXT"), ("found", "TEXT")],
}
# The products that are rows of `elements`: physical elements and spatial elements
# (sites, buildings, storeys, spaces, zones; in IFC2X3 the spatial structure elements),
# with their property sets in `properties`. A type the file's schema lacks is passed by.
ELEMENT_TYPES = ("IfcElement", "IfcSpatialElement", "IfcSpatialStructureElement")
DATABASE = "fleet.sqlite"
SUFFIX = ".csv.gz"
_TEMP = ".tmp-"
_KEY_LENGTH = 16  # hex digits of the SHA-256 that name a file's partitions


class FleetError(Exception):
    """A fleet run that cannot start or go on (no inputs, no Dask, a scheduler not reached)."""


# ---- the inputs ----

def find_sources(sources):
    """The files that SOURCE arguments name: files as given, folders searched recursively
    for *.ifc in any case, glob patterns (** included). Sorted, each file once. Sources
    that name nothing are returned apart: (files, unmatched)."""
    found, unmatched = set(), []
    for source in map(str, sources):
        if os.path.isfile(source):
            found.add(os.path.abspath(source))
        elif os.path.isdir(source):
            hits = [os.path.join(d, f) for d, _, fs in os.walk(source) for f in fs if f.lower().endswith(".ifc")]
            found.update(os.path.abspath(h) for h in hits if os.path.isfile(h))
        else:
            import glob
            hits = [h for h in glob.glob(source, recursive=True) if os.path.isfile(h)]
            found.update(map(os.path.abspath, hits))
            if not hits:
                unmatched.append(source)
    return sorted(found), unmatched


@dataclass(frozen=True)
class Input:
    """One file of the fleet: its partitions' name (key), where it is and what it was when hashed."""
    key: str
    path: str
    sha256: str
    size: int
    mtime_ns: int


def hash_file(path):
    h = hashlib.sha256()
    with open(path, "rb") as f:
        for block in iter(lambda: f.read(1 << 20), b""):
            h.update(block)
    return h.hexdigest()


def inputs(paths):
    """One Input per distinct content: a file found under several paths is read once,
    under the first path in sorted order."""
    from concurrent.futures import ThreadPoolExecutor

    def one(path):
        st = os.stat(path)
        return path, st, hash_file(path)

    by_key = {}
    with ThreadPoolExecutor(max_workers=min(8, (os.cpu_count() or 1) * 2)) as pool:
        for path, st, digest in pool.map(one, paths):
            key = digest[:_KEY_LENGTH]
            by_key.setdefault(key, Input(key, path, digest, st.st_size, st.st_mtime_ns))
    return sorted(by_key.values(), key=lambda i: i.path)


def _header_schema(path):
    """The schema a file's header declares, read without loading it ('' if none)."""
    try:
        with open(path, "rb") as f:
            head = f.read(1 << 16).decode("latin-1")
    except OSError:
        return ""
    m = re.search(r"FILE_SCHEMA\s*\(\s*\(\s*'([^']*)'", head, re.I)
    return m.group(1) if m else ""


# ---- partitions ----

def partition_path(out, table, key):
    return Path(out) / table / f"{key}{SUFFIX}"


def write_partition(path, table, rows):
    """Writes rows (tuples in the table's column order) as gzip CSV with a header, under
    a temporary name first: the partition appears under its name only when whole. The
    bytes depend on the rows alone (no time stamp in the gzip header)."""
    path = Path(path)
    temp = path.with_name(f"{path.name}{_TEMP}{os.getpid()}-{uuid.uuid4().hex[:8]}")
    try:
        with open(temp, "wb") as raw:
            with gzip.GzipFile(filename="", mode="wb", fileobj=raw, compresslevel=6, mtime=0) as gz:
                text = io.TextIOWrapper(gz, encoding="utf-8", newline="")
                w = csv.writer(text, lineterminator="\n")
                w.writerow([c for c, _ in TABLES[table]])
                w.writerows(rows)
                text.flush()
                text.detach()
            raw.flush()
            os.fsync(raw.fileno())
        os.replace(temp, path)
    except BaseException:
        try:
            os.unlink(temp)
        except OSError:
            pass
        raise


def read_partition(path):
    """The rows of a partition as lists of strings, header first."""
    with gzip.open(path, "rt", encoding="utf-8", newline="") as f:
        return list(csv.reader(f))


def complete_keys(out):
    """The files all four of whose partitions exist."""
    keys = None
    for table in TABLES:
        folder = Path(out) / table
        names = {n[:-len(SUFFIX)] for n in os.listdir(folder) if n.endswith(SUFFIX)} if folder.is_dir() else set()
        keys = names if keys is None else keys & names
    return keys


def _errors(out, keys):
    """Of the complete files, those recorded with an error."""
    failed = set()
    column = [c for c, _ in TABLES["files"]].index("error")
    for key in keys:
        rows = read_partition(partition_path(out, "files", key))
        if any(r[column] for r in rows[1:]):
            failed.add(key)
    return failed


def _remove_temporaries(out):
    for table in TABLES:
        folder = Path(out) / table
        for name in os.listdir(folder):
            if _TEMP in name:
                try:
                    os.unlink(folder / name)
                except OSError:
                    pass


# ---- one file: what a worker does ----

def _text(value):
    """A value as one CSV field."""
    if value is None:
        return ""
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, float):
        return repr(value)
    if isinstance(value, (int, str)):
        return str(value)
    return json.dumps(_plain(value), ensure_ascii=False, sort_keys=True)


def _plain(value):
    """Nested values (lists, bounds, tables, complex properties) as JSON can hold them."""
    import qdifc
    if isinstance(value, qdifc.Entity):
        return f"#{value.id()}"
    if isinstance(value, qdifc.TypedValue):
        return _plain(value.value)
    if isinstance(value, (tuple, list)):
        return [_plain(v) for v in value]
    if isinstance(value, dict):
        return {str(k): _plain(v) for k, v in value.items() if k != "id"}
    return value


_QUANTITY_MEASURES = {"IfcQuantityLength": "IfcLengthMeasure", "IfcQuantityArea": "IfcAreaMeasure",
                      "IfcQuantityVolume": "IfcVolumeMeasure", "IfcQuantityCount": "IfcCountMeasure",
                      "IfcQuantityWeight": "IfcMassMeasure", "IfcQuantityTime": "IfcTimeMeasure"}


def _unit_type(measure):
    """The project unit a measure is given in: IfcPositiveLengthMeasure -> LENGTHUNIT."""
    m = re.fullmatch(r"Ifc(?:Positive|NonNegative)?(\w+)Measure", measure or "")
    return m.group(1).upper() + "UNIT" if m else None


class _Units:
    """Units as text, and the project's units by unit type."""

    def __init__(self, model):
        self.texts = {}
        self.project = {}
        for project in model.by_type("IfcProject")[:1]:
            assignment = project.UnitsInContext
            for unit in (assignment.Units if assignment else None) or ():
                if unit.is_a("IfcMonetaryUnit"):
                    self.project.setdefault("MONETARYUNIT", self.text(unit))
                elif getattr(unit, "UnitType", None) not in (None, "USERDEFINED"):
                    self.project.setdefault(unit.UnitType, self.text(unit))

    def text(self, unit, depth=0):
        if unit is None or depth > 8:
            return ""
        key = unit.id()
        if key not in self.texts:
            if unit.is_a("IfcSIUnit"):
                text = (unit.Prefix or "") + (unit.Name or "")
            elif unit.is_a("IfcMonetaryUnit"):
                text = unit.Currency or ""
            elif unit.is_a("IfcDerivedUnit"):
                parts = []
                for element in unit.Elements or ():
                    base, exponent = self.text(element.Unit, depth + 1), element.Exponent
                    parts.append(base if exponent == 1 else f"{base}^{exponent}")
                text = unit.UserDefinedType or " ".join(parts)
            else:  # conversion-based and context-dependent units go by their name
                text = getattr(unit, "Name", None) or ""
            self.texts[key] = text
        return self.texts[key]

    def of(self, own, value_type):
        """A property's unit: its own where it has one, else the project's for its measure."""
        if own is not None:
            return self.text(own)
        return self.project.get(_unit_type(value_type), "")


def _first_type(values):
    for v in values or ():
        if hasattr(v, "type") and not isinstance(v, tuple):
            return v.type
    return ""


def _kind_and_unit(prop):
    """A property's or quantity's value type and own unit (an instance or None)."""
    unit = getattr(prop, "Unit", None)
    if prop.is_a("IfcPropertySingleValue"):
        value = prop.NominalValue
        return (value.type if value is not None else ""), unit
    if prop.is_a("IfcPropertyEnumeratedValue"):
        reference = prop.EnumerationReference
        return _first_type(prop.EnumerationValues), reference.Unit if reference else None
    if prop.is_a("IfcPropertyListValue"):
        return _first_type(prop.ListValues), unit
    if prop.is_a("IfcPropertyBoundedValue"):
        return _first_type((prop.UpperBoundValue, prop.LowerBoundValue, prop.SetPointValue)), unit
    if prop.is_a("IfcPropertyTableValue"):
        return prop.is_a(), prop.DefinedUnit
    if prop.is_a("IfcPhysicalSimpleQuantity"):
        return _QUANTITY_MEASURES.get(prop.is_a(), prop.is_a()), unit
    return prop.is_a(), None  # complex properties and quantities, references


def _typing(element):
    """The relationships to an object's type: IsTypedBy, or in IFC2X3 (which has none)
    the type relationships among IsDefinedBy."""
    typed = getattr(element, "IsTypedBy", None)
    if typed is not None:
        return typed
    return tuple(r for r in getattr(element, "IsDefinedBy", None) or () if r.is_a("IfcRelDefinesByType"))


def _definitions(element):
    """The property and quantity sets of an object in the order get_psets reads them:
    its type's, then its own (the later override the earlier of the same name)."""
    for rel in _typing(element):
        for s in (rel.RelatingType.HasPropertySets if rel.RelatingType else None) or ():
            yield s
    for rel in getattr(element, "IsDefinedBy", None) or ():
        if rel.is_a("IfcRelDefinesByProperties"):
            d = rel.RelatingPropertyDefinition
            yield from (d if isinstance(d, tuple) else (d,))


def _property_rows(key, element, units):
    from . import util
    kinds = {}  # (set, property) -> (set type, value type, unit)
    for s in _definitions(element):
        if s is None:
            continue
        quantities = s.is_a("IfcElementQuantity")
        if not quantities and not s.is_a("IfcPropertySet"):
            continue
        for p in (s.Quantities if quantities else s.HasProperties) or ():
            if p.Name is not None and s.Name is not None:
                value_type, own = _kind_and_unit(p)
                kinds[(s.Name, p.Name)] = (s.is_a(), value_type, units.of(own, value_type))
    rows = []
    for set_name, props in sorted(util.get_psets(element).items()):
        for name, value in sorted(props.items()):
            if name == "id":
                continue
            set_type, value_type, unit = kinds.get((set_name, name), ("", "", ""))
            rows.append((key, element.id(), element.GlobalId or "", set_name, set_type, name, _text(value),
                         value_type, unit))
    return rows


def _parent(e):
    """The one step up towards the spatial structure: the container of an element, the
    whole of a part, the element an opening voids, the opening a door fills."""
    for inverse, attribute in (("ContainedInStructure", "RelatingStructure"), ("Decomposes", "RelatingObject"),
                               ("FillsVoids", "RelatingOpeningElement"),
                               ("VoidsElements", "RelatingBuildingElement")):
        rels = getattr(e, inverse, None) or ()
        for rel in rels if isinstance(rels, tuple) else (rels,):  # VoidsElements is one relationship
            up = getattr(rel, attribute)
            if up is not None:
                return up
    return None


def _places(elements):
    """For each element the nearest storey and building at or above it (names)."""
    memo = {}

    def place(e, depth=0):
        n = e.id()
        if n not in memo:
            memo[n] = ("", "")  # a cycle of relationships ends here
            up = _parent(e) if depth < 64 else None
            storey, building = place(up, depth + 1) if up is not None else ("", "")
            if e.is_a("IfcBuildingStorey"):
                storey = e.Name or ""
            elif e.is_a("IfcBuilding"):
                building = e.Name or ""
            memo[n] = (storey, building)
        return memo[n]

    return {e.id(): place(e) for e in elements}


def _type_object(e):
    for rel in _typing(e):
        if rel.RelatingType is not None:
            return rel.RelatingType.Name or ""
    return ""


def _has_type(model, name):
    try:
        model.by_type(name)
        return True
    except ValueError:  # no entity type of that name in the file's schema
        return False


def _read_tables(key, path):
    """The rows of a file's four partitions; the model is gone when this returns."""
    import qdifc
    start = time.perf_counter()
    model = qdifc.open(path)
    seconds = time.perf_counter() - start
    findings = [(key, f.instance, f.type, f.attribute, f.rule, f.expected, f.found)
                for f in sorted(model.check(), key=lambda f: f.instance)]
    elements = sorted({e.id(): e for t in ELEMENT_TYPES if _has_type(model, t) for e in model.by_type(t)}.values(),
                      key=lambda e: e.id())
    places, units = _places(elements), _Units(model)
    element_rows, property_rows = [], []
    for e in elements:
        storey, building = places[e.id()]
        element_rows.append((key, e.id(), e.GlobalId or "", e.is_a(), e.Name or "",
                             _text(getattr(e, "PredefinedType", None)), storey, building, _type_object(e)))
        property_rows.extend(_property_rows(key, e, units))
    summary = (",".join(model.schema_names), len(model), len(model.problems), len(findings), len(element_rows),
               len(property_rows), f"{seconds:.3f}")
    return element_rows, property_rows, findings, summary


def _extract_file(key, path, sha256, size, mtime_ns, out):
    """What a worker does for one file: read it, write its four partitions (files last).
    Raises when the file does not load or changed since it was hashed, so that Dask
    tries it again and the client records the error."""
    st = os.stat(path)
    if (st.st_size, st.st_mtime_ns) != (size, mtime_ns):
        raise FleetError(f"{path} changed since the run began")
    try:
        element_rows, property_rows, findings, summary = _read_tables(key, path)
    except Exception as e:
        # The package's errors carry a Problem, which does not pickle: send the text.
        raise FleetError(_describe(e)) from None
    write_partition(partition_path(out, "elements", key), "elements", element_rows)
    write_partition(partition_path(out, "properties", key), "properties", property_rows)
    write_partition(partition_path(out, "findings", key), "findings", findings)
    write_partition(partition_path(out, "files", key), "files", [(key, path, sha256, size, *summary, "")])
    del element_rows, property_rows, findings
    _return_memory()
    import resource
    return {"key": key, "pid": os.getpid(), "peak_rss": resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024}


def _return_memory():
    """Gives freed heap back to the system, so that the worker's memory is what it holds."""
    try:
        import ctypes
        ctypes.CDLL("libc.so.6").malloc_trim(0)
    except (OSError, AttributeError):
        pass


def _record_failure(out, inp, error):
    """The partitions of a file that could not be read: its row in files says why."""
    for table in ("elements", "properties", "findings"):
        write_partition(partition_path(out, table, inp.key), table, [])
    write_partition(partition_path(out, "files", inp.key), "files",
                    [(inp.key, inp.path, inp.sha256, inp.size, _header_schema(inp.path), "", "", "", "", "", "",
                      error)])


def _describe(exc):
    text = str(exc).strip().splitlines()[0] if str(exc).strip() else ""
    name = type(exc).__name__
    if isinstance(exc, FleetError):
        return text
    if name == "KilledWorker":
        return "its worker died on each try (out of memory or crashed)"
    return f"{name}: {text}" if text else name


# ---- the cluster ----

def worker_memory_limit(largest, workers):
    """A worker's memory limit for inputs of at most `largest` bytes: room for the
    reader's own bound (64 bytes a byte of the file, plus a margin), at least 1 GiB,
    and no more than the machine's memory shared among the workers."""
    want = max(1 << 30, 64 * largest + (512 << 20))
    try:
        total = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES")
    except (ValueError, OSError):
        return want
    return min(want, max(1 << 30, int(total * 0.9) // max(1, workers)))


def _dask():
    try:
        import dask
        import distributed
    except ImportError as e:
        raise FleetError("fleet extract runs on Dask's distributed scheduler, which is not importable here "
                         f"({e}); on Debian: apt-get install python3-dask python3-distributed python3-pandas") from e
    return dask, distributed


def _settings(dask):
    """What a run asks of Dask: a task whose worker dies is tried once more, then given
    up (KilledWorker); workers hold no data to spill and never pause, and the nanny ends
    a worker past its memory limit."""
    return dask.config.set({"distributed.scheduler.allowed-failures": 1,
                            "distributed.worker.memory.target": False,
                            "distributed.worker.memory.spill": False,
                            "distributed.worker.memory.pause": False,
                            "distributed.worker.memory.terminate": 0.95})


def local_client(workers=None, memory_limit=None, largest=0):
    """A Dask client on a new local cluster of worker processes (one thread each), one
    per core by default. Close the client and its cluster when done."""
    dask, distributed = _dask()
    import logging
    workers = workers or os.cpu_count() or 1
    limit = memory_limit or worker_memory_limit(largest, workers)
    with _settings(dask):
        cluster = distributed.LocalCluster(n_workers=workers, threads_per_worker=1, processes=True,
                                           memory_limit=limit, dashboard_address=None,
                                           silence_logs=logging.ERROR)
        return distributed.Client(cluster)


def _connect(scheduler):
    dask, distributed = _dask()
    try:
        if os.path.isfile(scheduler):
            return distributed.Client(scheduler_file=scheduler, timeout="20s")
        return distributed.Client(scheduler, timeout="20s")
    except (OSError, TimeoutError) as e:
        raise FleetError(f"cannot reach the scheduler {scheduler}: {e}") from e


# ---- a run ----

@dataclass
class Progress:
    """Where a run is: files done of total (skipped ones included), errors, files per second."""
    total: int
    skipped: int
    done: int = 0
    errors: int = 0
    started: float = field(default_factory=time.perf_counter)
    peak_rss: dict = field(default_factory=dict)  # worker pid -> peak resident bytes

    @property
    def seconds(self):
        return time.perf_counter() - self.started

    @property
    def rate(self):
        ran = self.done - self.skipped
        return ran / self.seconds if self.seconds > 0 else 0.0

    def line(self):
        return (f"{self.done}/{self.total} files, {self.rate:.1f} files/s, {self.errors} "
                f"error{'' if self.errors == 1 else 's'}" + (f", {self.skipped} done before" if self.skipped else ""))


def extract(sources, out, *, scheduler=None, workers=None, client=None, sqlite=None, retry_errors=False,
            memory_limit=None, progress=None):
    """Reads every file that `sources` name (files, folders, glob patterns) into the
    tables under `out`, one Dask task per file, and returns the run's Progress.

    scheduler: the address (or scheduler file) of a running Dask scheduler; else a local
    cluster of `workers` processes (one per core by default) with `memory_limit` bytes
    each (by default from the largest input). client: an existing Dask client instead.
    Files whose four partitions exist are skipped (and so are those recorded with an
    error, unless retry_errors). sqlite: gather the tables into this database at the end.
    progress(Progress) is called as each file is done. A script that starts a local
    cluster calls this under `if __name__ == "__main__":`, since the workers are new
    processes that import the script's main module.
    """
    out = Path(out)
    paths, unmatched = find_sources(sources)
    if unmatched:
        print(f"qdifc fleet: nothing found for {', '.join(unmatched)}", file=sys.stderr)
    if not paths:
        raise FleetError("no input files")
    for table in TABLES:
        (out / table).mkdir(parents=True, exist_ok=True)
    lock = open(out / ".lock", "w")
    try:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError as e:
            raise FleetError(f"another run is writing into {out}") from e
        _remove_temporaries(out)
        fleet = inputs(paths)
        done = complete_keys(out)
        if retry_errors:
            done -= _errors(out, done & {i.key for i in fleet})
        todo = [i for i in fleet if i.key not in done]
        state = Progress(total=len(fleet), skipped=len(fleet) - len(todo))
        state.done = state.skipped
        if todo:
            _run(todo, out, state, scheduler, workers, client, memory_limit, progress)
            # A worker killed while it wrote leaves its temporary behind; with every task
            # over, nothing but this run (which holds the lock) writes here.
            _remove_temporaries(out)
    finally:
        lock.close()
    if sqlite:
        gather(out, sqlite)
    return state


def _run(todo, out, state, scheduler, workers, client, memory_limit, progress):
    dask, distributed = _dask()
    own = None
    if client is None:
        if scheduler:
            own = client = _connect(scheduler)
        else:
            own = client = local_client(workers, memory_limit, max(i.size for i in todo))
    try:
        run = uuid.uuid4().hex[:8]
        futures = {client.submit(_extract_file, i.key, i.path, i.sha256, i.size, i.mtime_ns, str(out),
                                 key=f"qdifc-fleet-{i.key}-{run}", retries=1, pure=False): i for i in todo}
        for future in distributed.as_completed(futures):
            inp = futures.pop(future)
            if future.status == "finished":
                result = future.result()
                state.peak_rss[result["pid"]] = max(state.peak_rss.get(result["pid"], 0), result["peak_rss"])
            else:
                try:
                    why = future.exception()
                except Exception as e:  # cancelled: the scheduler gave the task up
                    why = e
                _record_failure(out, inp, _describe(why))
                state.errors += 1
            future.release()
            state.done += 1
            if progress:
                progress(state)
    finally:
        if own is not None:
            cluster = own.cluster
            own.close()
            if cluster is not None:
                cluster.close()


# ---- the database ----

def _number(text):
    try:
        return int(text)
    except ValueError:
        try:
            return float(text)
        except ValueError:
            return text


def _numeric(value_type):
    """Whether a property's values are numbers: measures (but descriptive ones), integers, reals."""
    return value_type in ("IfcInteger", "IfcReal") or (value_type.endswith("Measure")
                                                       and value_type != "IfcDescriptiveMeasure")


def _convert(kind, text, value_type=""):
    """A CSV field as the value its column holds: NULL for blank; a property's value as
    a number where its type is numeric."""
    if text == "":
        return None
    if kind == "INTEGER":
        return int(text)
    if kind == "REAL":
        return float(text)
    if kind == "" and _numeric(value_type):
        return _number(text)
    return text


def gather(out, database=None):
    """Puts the tables' complete partitions into one SQLite database (by default
    OUT/fleet.sqlite), written under a temporary name and renamed when whole; rows in
    the order of the partitions' names, then of the partitions. Returns its path."""
    out = Path(out)
    database = Path(database or out / DATABASE)
    temp = database.with_name(f"{database.name}{_TEMP}{os.getpid()}")
    keys = sorted(complete_keys(out))
    if temp.exists():
        temp.unlink()
    con = sqlite3.connect(temp)
    try:
        for table, columns in TABLES.items():
            con.execute(f"CREATE TABLE {table} ({', '.join(f'{c} {t}'.strip() for c, t in columns)})")
            kinds = [t for _, t in columns]
            typed = [c for c, _ in columns].index("value_type") if table == "properties" else None
            marks = ", ".join("?" * len(columns))
            for key in keys:
                rows = read_partition(partition_path(out, table, key))[1:]
                con.executemany(f"INSERT INTO {table} VALUES ({marks})",
                                ([_convert(k, v, r[typed] if typed is not None else "") for k, v in zip(kinds, r)]
                                 for r in rows))
        for table, column in (("files", "file"), ("elements", "file, id"), ("elements", "type"),
                              ("properties", "file, id"), ("properties", "pset, name"), ("findings", "file"),
                              ("findings", "rule")):
            name = f"{table}_{column.replace(', ', '_')}"
            con.execute(f"CREATE INDEX {name} ON {table} ({column})")
        con.commit()
    finally:
        con.close()
    os.replace(temp, database)
    return database


def _stale(out, database):
    """Whether the database is absent or older than a partition written or removed since."""
    if not database.exists():
        return True
    newest = max((Path(out) / t).stat().st_mtime_ns for t in TABLES)
    return database.stat().st_mtime_ns <= newest


def query(out, sql, database=None, parameters=()):
    """Runs SQL on the gathered tables (gathering them first when the database is absent
    or older than the partitions). Returns (column names, rows)."""
    out = Path(out)
    if not all((out / t).is_dir() for t in TABLES):
        raise FleetError(f"{out} holds no fleet tables")
    database = Path(database or out / DATABASE)
    if _stale(out, database):
        gather(out, database)
    con = sqlite3.connect(f"file:{database}?mode=ro", uri=True)
    try:
        cur = con.execute(sql, parameters)
        columns = [d[0] for d in cur.description or ()]
        return columns, cur.fetchall()
    except sqlite3.Error as e:
        raise FleetError(f"SQL: {e}") from e
    finally:
        con.close()


def read_table(out, table):
    """A table's complete partitions as one Dask dataframe (pandas types: nullable
    integers, floats, text)."""
    import dask.dataframe as dd
    dtypes = {"INTEGER": "Int64", "REAL": "float64", "TEXT": "object", "": "object"}
    keys = sorted(complete_keys(out))
    return dd.read_csv([str(partition_path(out, table, k)) for k in keys], compression="gzip", blocksize=None,
                       dtype={c: dtypes[t] for c, t in TABLES[table]}, keep_default_na=False,
                       na_values={c: [""] for c, t in TABLES[table] if t in ("INTEGER", "REAL")})


# ---- the command line ----

def format_table(columns, rows):
    """Rows as aligned text: a header, a rule, numbers to the right."""
    def cell(v):
        return "" if v is None else repr(v) if isinstance(v, float) else str(v)

    cells = [[cell(v) for v in r] for r in rows]
    widths = [max([len(c)] + [len(r[i]) for r in cells]) for i, c in enumerate(columns)]
    numeric = [bool(rows) and all(isinstance(r[i], (int, float)) or r[i] is None for r in rows)
               for i in range(len(columns))]

    def line(values):
        return "  ".join(v.rjust(w) if n else v.ljust(w) for v, w, n in zip(values, widths, numeric)).rstrip()

    return "\n".join([line(columns), line(["-" * w for w in widths])] + [line(r) for r in cells])


def add_parser(commands):
    """The `fleet` command and its subcommands, for python3 -m qdifc."""
    p = commands.add_parser("fleet", help="tables from many files at once, on Dask",
                            description="Tables of files, elements, properties and findings from many IFC files.")
    sub = p.add_subparsers(dest="fleet_command", metavar="COMMAND", required=True)
    e = sub.add_parser("extract", help="read files into the tables (one Dask task per file)")
    e.add_argument("sources", nargs="+", metavar="SOURCE", help="a file, a folder (searched for *.ifc) or a glob")
    e.add_argument("--out", required=True, metavar="DIR", help="where the tables go")
    e.add_argument("--scheduler", metavar="ADDRESS", help="a running Dask scheduler (address or scheduler file)")
    e.add_argument("--workers", type=int, metavar="N", help="local worker processes (default: one per core)")
    e.add_argument("--memory-limit", type=int, metavar="BYTES", help="per local worker (default: from the largest file)")
    e.add_argument("--sqlite", metavar="FILE", help="gather the tables into this SQLite database too")
    e.add_argument("--retry-errors", action="store_true", help="read again the files recorded with an error")
    e.set_defaults(run=_extract_command)
    g = sub.add_parser("gather", help="put the tables into one SQLite database")
    g.add_argument("out", metavar="DIR")
    g.add_argument("--sqlite", metavar="FILE", help=f"the database (default: DIR/{DATABASE})")
    g.set_defaults(run=_gather_command)
    q = sub.add_parser("query", help="run SQL on the gathered tables and print the result")
    q.add_argument("out", metavar="DIR")
    q.add_argument("sql", metavar="SQL")
    q.add_argument("--sqlite", metavar="FILE", help=f"the database (default: DIR/{DATABASE})")
    q.add_argument("--csv", action="store_true", help="print CSV instead of an aligned table")
    q.set_defaults(run=_query_command)


def _extract_command(args):
    tty, shown = sys.stderr.isatty(), [0.0]

    def show(state):
        now = time.perf_counter()
        if tty and (now - shown[0] >= 0.2 or state.done == state.total):  # at most five lines a second
            shown[0] = now
            print(f"\rqdifc fleet: {state.line()}\033[K", end="", file=sys.stderr, flush=True)

    try:
        state = extract(args.sources, args.out, scheduler=args.scheduler, workers=args.workers, sqlite=args.sqlite,
                        retry_errors=args.retry_errors, memory_limit=args.memory_limit, progress=show)
    except KeyboardInterrupt:
        print("\nqdifc fleet: interrupted; the same command goes on where it stopped", file=sys.stderr)
        return 130
    if tty:
        print(file=sys.stderr)
    peak = max(state.peak_rss.values(), default=0) / (1 << 20)
    print(f"qdifc fleet: {state.total} files ({state.skipped} done before), {state.errors} errors, "
          f"{state.seconds:.1f} s, {state.rate:.2f} files/s, peak worker memory {peak:.0f} MiB; tables in {args.out}"
          + (f", database {args.sqlite}" if args.sqlite else ""))
    return 0


def _gather_command(args):
    if not all((Path(args.out) / t).is_dir() for t in TABLES):
        raise FleetError(f"{args.out} holds no fleet tables")
    print(gather(args.out, args.sqlite))
    return 0


def _query_command(args):
    columns, rows = query(args.out, args.sql, args.sqlite)
    if args.csv:
        w = csv.writer(sys.stdout, lineterminator="\n")
        w.writerow(columns)
        w.writerows(rows)
    elif columns:
        print(format_table(columns, rows))
    return 0


def run_command(args):
    """Runs a parsed `fleet` command; a FleetError is a message and exit status 1."""
    try:
        return args.run(args)
    except FleetError as e:
        print(f"qdifc fleet: {e}", file=sys.stderr)
        return 1
