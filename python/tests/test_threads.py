"""The module's life across models and threads: a load runs beside Python work, models
read in threads agree with one thread, and the interpreter ends cleanly with models
alive (entities keep their model)."""
import subprocess
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor

import qdifc
from conftest import corpus_file


def test_a_load_in_a_thread_lets_the_main_thread_run(demo_path):
    wall = qdifc.open(demo_path).by_id(40)
    records = "".join(f"#{i}=IFCCARTESIANPOINT(({i}.,0.));\n" for i in range(1, 200_001))
    text = demo_path.read_text().split("DATA;")[0] + f"DATA;\n{records}ENDSEC;\nEND-ISO-10303-21;\n"
    reads, seen, loaded = [0], [], []
    loader = threading.Thread(target=lambda: loaded.append(qdifc.loads(text, lambda done, total: seen.append(reads[0]))))
    interval = sys.getswitchinterval()
    sys.setswitchinterval(100)  # threads now switch only where one lets the GIL go
    try:
        loader.start()
        deadline = time.monotonic() + 30
        while loader.is_alive() and time.monotonic() < deadline:
            assert wall.Name == "Wall 1"
            reads[0] += 1
            time.sleep(0.0005)
    finally:
        sys.setswitchinterval(interval)
    loader.join(30)
    assert len(loaded[0]) == 200_000 and loaded[0].by_id(7).Coordinates == (7.0, 0.0)
    assert len(seen) >= 3 and seen[-1] > seen[0], f"the main thread did not run while the file was read: {seen}"


def summary(path):
    model = qdifc.open(path)
    roots = [(e.id(), e.Name, e.GlobalId) for e in model.by_type("IfcRoot")]
    psets = [qdifc.util.get_psets(w) for w in model.by_type("IfcWall", include_subtypes=False)]
    return model.types(), roots, psets, len(model.check())


def test_models_loaded_and_read_in_threads_agree_with_one_thread(demo_path):
    paths = [demo_path] + [corpus_file(n) for n in ("ifc4/Ifc4_SampleHouse.ifc", "ifc4/IfcOpenHouse_IFC4.ifc")]
    expected = [summary(p) for p in paths]
    shared = qdifc.open(paths[1])
    walls = [(w.id(), w.Name) for w in shared.by_type("IfcWall")]
    with ThreadPoolExecutor(4) as pool:
        assert list(pool.map(summary, paths * 2)) == expected * 2
        readers = pool.map(lambda _: [(w.id(), w.Name) for w in shared.by_type("IfcWall")], range(8))
        assert list(readers) == [walls] * 8


EXIT_SCRIPT = """
import sys, threading, qdifc
kept = []
threads = [threading.Thread(target=lambda: kept.append(qdifc.open(sys.argv[1]).by_id(40))) for _ in range(4)]
for t in threads: t.start()
for t in threads: t.join()
model = qdifc.open(sys.argv[1])
print(len(kept), kept[3].Name, model.by_id(40) == kept[0], kept[0] == kept[1])
"""


def test_the_interpreter_ends_cleanly_with_models_alive(demo_path):
    done = subprocess.run([sys.executable, "-c", EXIT_SCRIPT, str(demo_path)], capture_output=True, text=True, timeout=60)
    assert (done.returncode, done.stdout, done.stderr) == (0, "4 Wall 1 False False\n", "")
