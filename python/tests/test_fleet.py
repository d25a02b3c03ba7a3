"""qdifc.fleet on Dask: the four tables hold what the package and the host read in each
file; a worker killed, a run interrupted, a partition lost or a scheduler over TCP
change nothing in them; the database and the host's `qdifc fleet` give the same."""
import collections
import gzip
import os
import re
import signal
import subprocess
import sys
import time
from pathlib import Path

import pytest

import qdifc
from qdifc import fleet, util
from conftest import HOST, corpus_file, host

CORPUS_FILES = ["ifc4/Ifc4_SampleHouse.ifc", "ifc4/ISSUE_005_haus.ifc", "ifc4/Ifc4_WallElementedCase.ifc",
                "ifc4/FormallyIllegalFile.ifc", "ifc4/ramp.ifc", "other-schemas/ifc2x3_final_wall.ifc"]
T = qdifc.TypedValue
ELEMENTS = ("IfcElement", "IfcSpatialElement")  # the products that are rows of `elements`


def needs_dask():
    try:
        import distributed  # noqa: F401
    except ImportError as e:
        pytest.skip(f"qdifc.fleet runs on Dask, and distributed is not importable ({e}); "
                    "Debian: python3-dask python3-distributed python3-pandas")


def tile(source, target, copies):
    """A bigger file: the DATA records repeated with their numbers moved past the last."""
    text = source.read_text(encoding="latin-1")
    head, rest = text.split("DATA;", 1)
    data, tail = rest.rsplit("ENDSEC;", 1)
    top = max(int(n) for n in re.findall(r"#(\d+)", data))
    parts = [re.sub(r"#(\d+)", lambda m, k=k: f"#{int(m[1]) + k * top}", data) for k in range(copies)]
    target.write_text(head + "DATA;" + "".join(parts) + "ENDSEC;" + tail, encoding="latin-1")


def made_model(path):
    """A small building whose answers the test knows: units, a type with properties, an
    element contained in a storey, a door reached through its opening."""
    m, ids = qdifc.Model(), iter(range(1, 1000))

    def rooted(type_name, **attributes):
        return m.create_entity(type_name, GlobalId=f"0{next(ids):021d}", **attributes)

    def unit(kind, name, prefix=None):
        return m.create_entity("IfcSIUnit", UnitType=kind, Name=name, Prefix=prefix)

    def single(name, value, own_unit=None):
        return m.create_entity("IfcPropertySingleValue", Name=name, NominalValue=value, Unit=own_unit)

    units = m.create_entity("IfcUnitAssignment", Units=(unit("LENGTHUNIT", "METRE", "MILLI"),
                                                        unit("AREAUNIT", "SQUARE_METRE")))
    project = rooted("IfcProject", Name="Made", UnitsInContext=units)
    site, building = rooted("IfcSite", Name="Site A"), rooted("IfcBuilding", Name="Block B")
    storey = rooted("IfcBuildingStorey", Name="Level 1")
    for whole, part in ((project, site), (site, building), (building, storey)):
        rooted("IfcRelAggregates", RelatingObject=whole, RelatedObjects=(part,))
    wall_type = rooted("IfcWallType", Name="WT-1", PredefinedType="SOLIDWALL", HasPropertySets=(
        rooted("IfcPropertySet", Name="Pset_WallCommon", HasProperties=(
            single("IsExternal", T("IfcBoolean", False)), single("Reference", T("IfcIdentifier", "R-7")))),))
    wall = rooted("IfcWall", Name="W-1", PredefinedType="PARTITIONING")
    rooted("IfcRelDefinesByType", RelatedObjects=(wall,), RelatingType=wall_type)
    rooted("IfcRelContainedInSpatialStructure", RelatingStructure=storey, RelatedElements=(wall,))
    sets = (rooted("IfcPropertySet", Name="Pset_WallCommon", HasProperties=(
                single("IsExternal", T("IfcBoolean", True)),)),
            rooted("IfcPropertySet", Name="Made", HasProperties=(
                single("Thickness", T("IfcPositiveLengthMeasure", 200.0)),
                single("Power", T("IfcPowerMeasure", 1.5), unit("POWERUNIT", "WATT", "KILO")),
                single("Load", T("IfcPowerMeasure", 3.0)), single("Count", T("IfcCountMeasure", 4)))),
            rooted("IfcElementQuantity", Name="Qto_Made", Quantities=(
                m.create_entity("IfcQuantityArea", Name="NetSideArea", AreaValue=12.5),)))
    for s in sets:
        rooted("IfcRelDefinesByProperties", RelatedObjects=(wall,), RelatingPropertyDefinition=s)
    opening, door = rooted("IfcOpeningElement", Name="O-1"), rooted("IfcDoor", Name="D-1")
    rooted("IfcRelVoidsElement", RelatingBuildingElement=wall, RelatedOpeningElement=opening)
    rooted("IfcRelFillsElement", RelatingOpeningElement=opening, RelatedBuildingElement=door)
    m.write(str(path))


@pytest.fixture(scope="module")
def inputs(tmp_path_factory):
    """The fleet as one folder: the big (tiled) files first in name order, the corpus
    files linked (not copied), a damaged file, the made model, one file twice."""
    folder = tmp_path_factory.mktemp("fleet")
    for copies in (6, 7):
        tile(corpus_file("ifc4/Ifc4_SampleHouse.ifc"), folder / f"0-tiled-{copies}.ifc", copies)
    for i, name in enumerate(CORPUS_FILES):
        (folder / f"1-{i}-{Path(name).name}").symlink_to(corpus_file(name))
    text = corpus_file("ifc4/Ifc4_WallElementedCase.ifc").read_bytes()
    start = text.index(b"DATA;") + 5
    (folder / "2-damaged.IFC").write_bytes(text[:start] + text[start:start + 4000].replace(b"#", b"%"))
    (folder / "sub").mkdir()
    made_model(folder / "sub" / "3-made.Ifc")
    (folder / "sub" / "4-same-as-made.ifc").write_bytes((folder / "sub" / "3-made.Ifc").read_bytes())
    (folder / "sub" / "notes.txt").write_text("not a model")
    return folder


@pytest.fixture(scope="module")
def client(inputs):
    needs_dask()
    c = fleet.local_client(workers=2, largest=max(p.stat().st_size for p in inputs.rglob("*.*")))
    yield c
    cluster = c.cluster
    c.close()
    cluster.close()


def tables(out):
    """Every partition's rows, by table and name; load times left out (they vary)."""
    got, seconds = {}, [c for c, _ in fleet.TABLES["files"]].index("load_seconds")
    for table in fleet.TABLES:
        names = sorted(os.listdir(out / table))
        assert all(n.endswith(fleet.SUFFIX) for n in names), names  # no temporary left
        for name in names:
            rows = fleet.read_partition(out / table / name)
            got[table, name] = [r[:seconds] + r[seconds + 1:] for r in rows] if table == "files" else rows
    return got


@pytest.fixture(scope="module")
def reference(inputs, client, tmp_path_factory):
    out = tmp_path_factory.mktemp("reference")
    state = fleet.extract([inputs], out, client=client)
    return out, state


def rows_of(out, table, key):
    header, *rows = fleet.read_partition(fleet.partition_path(out, table, key))
    return [dict(zip(header, r)) for r in rows]


def as_text(value):
    """A property value as get_psets gives it, against the field a partition holds."""
    return {True: "true", False: "false", None: ""}.get(value, value) if isinstance(value, (bool, type(None))) \
        else repr(value) if isinstance(value, float) else str(value) if isinstance(value, (int, str)) else None


def test_partitions_appear_whole_and_the_same_bytes_for_the_same_rows(tmp_path):
    (tmp_path / "findings").mkdir()
    path = fleet.partition_path(tmp_path, "findings", "k")

    def rows(stop=None):
        for i in range(1000):
            if i == stop:
                raise RuntimeError("the writer died")
            yield ("k", i, "IfcWall", "Name", "rule", "x,\"y\"\n", "")

    with pytest.raises(RuntimeError):
        fleet.write_partition(path, "findings", rows(stop=700))
    assert os.listdir(tmp_path / "findings") == []  # neither the partition nor its temporary
    fleet.write_partition(path, "findings", rows())
    first = path.read_bytes()
    header, *back = fleet.read_partition(path)
    assert header == [c for c, _ in fleet.TABLES["findings"]] and back == [list(map(str, r)) for r in rows()]
    fleet.write_partition(path, "findings", rows())
    assert path.read_bytes() == first and gzip.decompress(first).startswith(b"file,instance,")


def test_sources_are_files_folders_and_patterns_each_file_once(inputs):
    found, unmatched = fleet.find_sources([inputs, inputs / "sub" / "3-made.Ifc", str(inputs / "1-*.ifc"),
                                           str(inputs / "absent-*.ifc")])
    names = [Path(p).name for p in found]
    assert found == sorted(set(found))
    assert "2-damaged.IFC" in names and "3-made.Ifc" in names and "notes.txt" not in names
    assert len(found) == 2 + len(CORPUS_FILES) + 3 and unmatched == [str(inputs / "absent-*.ifc")]
    keyed = fleet.inputs(found)  # the made model's copy is read once, under its first name
    assert len(keyed) == len(found) - 1 and "4-same-as-made.ifc" not in [Path(i.path).name for i in keyed]


def test_tables_hold_what_the_package_and_the_host_read(inputs, reference):
    out, state = reference
    keyed = fleet.inputs(fleet.find_sources([inputs])[0])
    assert (state.total, state.skipped, state.done) == (len(keyed), 0, len(keyed))
    assert sorted(fleet.complete_keys(out)) == sorted(i.key for i in keyed)
    errors = 0
    for inp in keyed:
        (row,) = rows_of(out, "files", inp.key)
        assert (row["path"], row["hash"], int(row["size"])) == (inp.path, fleet.hash_file(inp.path), inp.size)
        try:
            model = qdifc.open(inp.path)
        except qdifc.Error as e:
            errors += 1
            assert row["error"].startswith(type(e).__name__ + ":") and row["instances"] == ""
            assert all(rows_of(out, t, inp.key) == [] for t in ("elements", "properties", "findings"))
            continue
        assert row["error"] == "" and row["schema"] == "IFC4"
        findings = model.check()
        assert [int(row[c]) for c in ("instances", "problems", "findings")] == \
               [len(model), len(model.problems), len(findings)]
        if not inp.path.endswith("made.Ifc") and "tiled" not in inp.path:  # the host on the corpus files
            total, problems = re.search(r"(\d+) instances of \d+ types, (\d+) problems",
                                        host("load", inp.path, ok=(0, 1))).groups()
            shown = sum(1 for line in host("check", inp.path, ok=(0, 1)).splitlines()
                        if line.startswith(f"{inp.path}: #"))
            assert (int(total), int(problems), shown) == (len(model), len(model.problems), len(findings))
        got = [(int(f["instance"]), f["type"], f["attribute"], f["rule"], f["expected"], f["found"])
               for f in rows_of(out, "findings", inp.key)]
        assert sorted(got) == sorted((f.instance, f.type, f.attribute, f.rule, f.expected, f.found) for f in findings)
        elements = rows_of(out, "elements", inp.key)
        wanted = sorted({e.id() for t in ELEMENTS for e in model.by_type(t)})
        assert [int(e["id"]) for e in elements] == wanted and int(row["elements"]) == len(wanted)
        props = collections.defaultdict(dict)
        for p in rows_of(out, "properties", inp.key):
            props[int(p["id"])][p["pset"], p["name"]] = p["value"]
        assert int(row["properties"]) == sum(map(len, props.values()))
        for e in elements:
            entity = model.by_id(int(e["id"]))
            assert (e["type"], e["global_id"], e["name"]) == (entity.is_a(), entity.GlobalId or "", entity.Name or "")
            read = {(s, n): v for s, values in util.get_psets(entity).items() for n, v in values.items() if n != "id"}
            assert sorted(props[entity.id()]) == sorted(read), e
            for k, v in read.items():
                assert as_text(v) in (None, props[entity.id()][k]), (k, v, props[entity.id()][k])
    assert errors == state.errors == 2  # the damaged file and the file of another schema
    other = [r for i in keyed for r in rows_of(out, "files", i.key) if "ifc2x3" in r["path"]]
    assert other[0]["schema"] == "IFC2X3_FINAL" and "SchemaError" in other[0]["error"]


def test_the_made_model_gives_its_places_types_and_units(inputs, reference):
    out, _ = reference
    (key,) = [i.key for i in fleet.inputs([inputs / "sub" / "3-made.Ifc"])]
    elements = {e["name"]: e for e in rows_of(out, "elements", key)}
    assert {n: (e["type"], e["storey"], e["building"]) for n, e in elements.items()} == {
        "Site A": ("IfcSite", "", ""), "Block B": ("IfcBuilding", "", "Block B"),
        "Level 1": ("IfcBuildingStorey", "Level 1", "Block B"), "W-1": ("IfcWall", "Level 1", "Block B"),
        "O-1": ("IfcOpeningElement", "Level 1", "Block B"), "D-1": ("IfcDoor", "Level 1", "Block B")}
    assert (elements["W-1"]["type_object"], elements["W-1"]["predefined_type"]) == ("WT-1", "PARTITIONING")
    wall = {(p["pset"], p["name"]): (p["value"], p["value_type"], p["unit"], p["set_type"])
            for p in rows_of(out, "properties", key) if p["global_id"] == elements["W-1"]["global_id"]}
    assert wall == {
        ("Pset_WallCommon", "IsExternal"): ("true", "IfcBoolean", "", "IfcPropertySet"),  # its own over its type's
        ("Pset_WallCommon", "Reference"): ("R-7", "IfcIdentifier", "", "IfcPropertySet"),  # from its type
        ("Made", "Thickness"): ("200.0", "IfcPositiveLengthMeasure", "MILLIMETRE", "IfcPropertySet"),
        ("Made", "Power"): ("1.5", "IfcPowerMeasure", "KILOWATT", "IfcPropertySet"),
        ("Made", "Load"): ("3.0", "IfcPowerMeasure", "", "IfcPropertySet"),  # no unit anywhere
        ("Made", "Count"): ("4.0", "IfcCountMeasure", "", "IfcPropertySet"),
        ("Qto_Made", "NetSideArea"): ("12.5", "IfcAreaMeasure", "SQUARE_METRE", "IfcElementQuantity")}


def test_local_workers_are_processes_with_memory_bounded_by_the_largest_input(inputs, client):
    largest = max(p.stat().st_size for p in inputs.rglob("*.*"))
    limits = client.run(lambda dask_worker: (os.getpid(), dask_worker.memory_manager.memory_limit, dask_worker.nthreads))
    assert len({pid for pid, _, _ in limits.values()} | {os.getpid()}) == 3  # two processes besides this one
    for _, limit, threads in limits.values():
        assert threads == 1 and limit == fleet.worker_memory_limit(largest, 2) >= max(1 << 30, 64 * largest)
    assert fleet.worker_memory_limit(1 << 40, 2) < 1 << 40  # never past the machine's memory


def test_a_worker_killed_in_the_middle_of_a_run_loses_nothing(inputs, reference, client, tmp_path):
    pids, killed = client.run(os.getpid), []

    def kill_a_busy_worker(state):
        if killed:
            return
        for address, keys in client.processing().items():
            if keys and address in pids:
                os.kill(pids[address], signal.SIGKILL)
                killed.append(keys)
                return

    state = fleet.extract([inputs], tmp_path, client=client, progress=kill_a_busy_worker)
    assert killed, "no worker was busy to be killed"
    assert state.errors == reference[1].errors and tables(tmp_path) == tables(reference[0])
    client.wait_for_workers(2, timeout=60)  # the nanny starts the killed one again


def test_a_file_whose_first_read_fails_is_read_on_its_second_try(inputs, reference, client, tmp_path):
    def fail_each_first_read(markers):
        import hashlib as h
        import qdifc as q
        real = getattr(q, "_real_open", q.open)

        def open_once_failing(path, *args, **kwargs):
            marker = os.path.join(markers, h.sha256(str(path).encode()).hexdigest())
            if not os.path.exists(marker):
                open(marker, "w").close()
                raise OSError("the share went away for a moment")
            return real(path, *args, **kwargs)

        q._real_open, q.open = real, open_once_failing

    def restore():
        import qdifc as q
        q.open = q.__dict__.pop("_real_open", q.open)

    (tmp_path / "markers").mkdir()
    client.wait_for_workers(2, timeout=60)
    client.run(fail_each_first_read, str(tmp_path / "markers"))
    try:
        state = fleet.extract([inputs], tmp_path / "out", client=client)
    finally:
        client.run(restore)
    assert len(os.listdir(tmp_path / "markers")) == state.total  # each file failed once
    assert state.errors == reference[1].errors and tables(tmp_path / "out") == tables(reference[0])


def test_an_interrupted_run_resumed_gives_the_same_tables(inputs, reference, client, tmp_path):
    needs_dask()
    # The whole run (client, cluster, workers) is killed after its second file.
    script = ("import os, signal, sys\nfrom qdifc import fleet\n"
              "def stop(state):\n    if state.done == 2:\n        os.killpg(0, signal.SIGKILL)\n"
              "fleet.extract([sys.argv[1]], sys.argv[2], workers=1, progress=stop)\n")
    run = subprocess.run([sys.executable, "-c", script, str(inputs), str(tmp_path)], start_new_session=True,
                         capture_output=True, text=True, timeout=120)
    assert run.returncode == -signal.SIGKILL, run.stderr
    total = reference[1].total
    assert 2 <= len(fleet.complete_keys(tmp_path)) < total
    state = fleet.extract([inputs], tmp_path, client=client)
    assert 2 <= state.skipped < total and state.done == total
    assert tables(tmp_path) == tables(reference[0])

    # A file one of whose partitions is lost is read again, and only that one.
    lost = sorted(fleet.complete_keys(tmp_path))[0]
    fleet.partition_path(tmp_path, "properties", lost).unlink()
    (tmp_path / "elements" / f"{lost}{fleet.SUFFIX}.tmp-1-stale").write_bytes(b"half a partition")
    state = fleet.extract([inputs], tmp_path, client=client)
    assert (state.skipped, state.done) == (total - 1, total) and tables(tmp_path) == tables(reference[0])

    # Files recorded with an error are read again only when asked.
    assert fleet.extract([inputs], tmp_path, client=client).skipped == total
    state = fleet.extract([inputs], tmp_path, client=client, retry_errors=True)
    assert (state.skipped, state.errors) == (total - reference[1].errors, reference[1].errors)
    assert tables(tmp_path) == tables(reference[0])


@pytest.fixture
def tcp_scheduler(tmp_path):
    """A scheduler and two worker processes, each started from its own command line,
    on localhost over TCP."""
    needs_dask()
    address_file = tmp_path / "scheduler.json"
    dask = [sys.executable, "-m", "distributed.cli.dask_scheduler"]
    started = [subprocess.Popen(dask + ["--host", "127.0.0.1", "--port", "0", "--no-dashboard",
                                        "--scheduler-file", str(address_file)],
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)]
    try:
        for _ in range(2):
            started.append(subprocess.Popen(
                [sys.executable, "-m", "distributed.cli.dask_worker", "--scheduler-file", str(address_file),
                 "--nthreads", "1", "--nworkers", "1", "--no-dashboard", "--memory-limit", "1GiB",
                 "--host", "127.0.0.1"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        yield address_file, started
    finally:
        for p in reversed(started):  # the workers first, each while the scheduler is there
            p.terminate()
            try:
                p.wait(timeout=20)
            except subprocess.TimeoutExpired:
                p.kill()


def test_a_scheduler_and_two_workers_over_tcp_give_the_same_tables(inputs, reference, tcp_scheduler, tmp_path):
    import distributed
    address_file, started = tcp_scheduler
    deadline = time.monotonic() + 60
    while not address_file.exists() and time.monotonic() < deadline:
        time.sleep(0.1)
    with distributed.Client(scheduler_file=str(address_file), timeout="30s") as c:
        c.wait_for_workers(2, timeout=60)
        address = c.scheduler.address
        workers = c.run(os.getpid)
    assert address.startswith("tcp://127.0.0.1:") and len(workers) == 2
    state = fleet.extract([inputs], tmp_path / "out", scheduler=address)
    assert set(state.peak_rss) <= set(workers.values())  # done in the worker processes
    assert tables(tmp_path / "out") == tables(reference[0])


README = Path(__file__).resolve().parents[2] / "README.md"


def test_the_database_and_the_readme_reports_agree_with_the_partitions(reference, tmp_path):
    out, _ = reference
    counts = {t: sum(len(fleet.read_partition(out / t / n)) - 1 for n in os.listdir(out / t)) for t in fleet.TABLES}
    for table, n in counts.items():
        assert fleet.query(out, f"SELECT COUNT(*) FROM {table}") == (["COUNT(*)"], [(n,)])
        assert len(fleet.read_table(out, table).compute()) == n
    reports = re.findall(r"```sql\n(.*?)```", README.read_text(), re.S)
    assert len(reports) >= 3
    results = [fleet.query(out, sql) for sql in reports]
    rules = collections.Counter(r[4] for n in os.listdir(out / "findings")
                                for r in fleet.read_partition(out / "findings" / n)[1:])
    by_rule = next(rows for columns, rows in results if columns == ["rule", "findings", "files"])
    assert {rule: n for rule, n, _ in by_rule} == rules
    per_type = collections.Counter(r[3] for n in os.listdir(out / "elements")
                                   for r in fleet.read_partition(out / "elements" / n)[1:])
    summed = collections.Counter()
    for _, element_type, n in next(rows for columns, rows in results if columns == ["path", "type", "elements"]):
        summed[element_type] += n
    assert summed == per_type

    # Partitions newer than the database: the next query gathers again.
    key = sorted(fleet.complete_keys(out))[0]
    copy = tmp_path / "copy"
    for table in fleet.TABLES:
        (copy / table).mkdir(parents=True)
        for name in os.listdir(out / table):
            (copy / table / name).write_bytes((out / table / name).read_bytes())
    assert fleet.query(copy, "SELECT COUNT(*) FROM files")[1] == [(len(os.listdir(out / "files")),)]
    time.sleep(0.01)
    fleet.partition_path(copy, "findings", key).unlink()
    assert fleet.query(copy, "SELECT COUNT(*) FROM files")[1] == [(len(os.listdir(out / "files")) - 1,)]


def test_the_host_runs_the_fleet_and_says_what_is_missing(tmp_path):
    needs_dask()
    small = [corpus_file("ifc4/Ifc4_WallElementedCase.ifc"), corpus_file("ifc4/ramp.ifc")]
    out, db = tmp_path / "out", tmp_path / "all.sqlite"
    said = host("fleet", "extract", *small, "--out", out, "--workers", "1", "--sqlite", db)
    assert "2 files (0 done before), 0 errors" in said and db.is_file()
    shown = host("fleet", "query", out, "SELECT type, COUNT(*) AS n FROM elements GROUP BY type ORDER BY type",
                 "--sqlite", db).splitlines()
    counts = collections.Counter(e.is_a() for f in small for t in ELEMENTS for e in qdifc.open(f).by_type(t))
    assert shown[0].split() == ["type", "n"] and set(shown[1]) <= {"-", " "}
    assert {line.split()[0]: int(line.split()[1]) for line in shown[2:]} == counts

    hidden = tmp_path / "hidden" / "distributed"
    hidden.mkdir(parents=True)
    (hidden / "__init__.py").write_text("raise ImportError('hidden by the test')\n")
    env = {**os.environ, "PYTHONPATH": f"{hidden.parent}:{os.environ.get('PYTHONPATH', '')}"}
    for extra, message in (({}, "python3-distributed"), ({"QDIFC_PYTHON": str(tmp_path / "no-python")}, "QDIFC_PYTHON")):
        run = subprocess.run([str(HOST), "fleet", "extract", str(small[0]), "--out", str(tmp_path / "o2")],
                             env={**env, **extra}, capture_output=True, text=True, timeout=60)
        assert run.returncode == 1 and message in run.stderr and run.stderr.startswith("qdifc fleet: "), run.stderr
