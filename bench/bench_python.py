#!/usr/bin/env python3
"""The Python package against the C++ host on a large file.

    PYTHONPATH=build/python python3 bench/bench_python.py [corpus folder] [target MB] [qdifc]

Makes the benchmark file as bench_load does (ISSUE_005_haus.ifc repeated, each copy's
instance numbers shifted past the last, until the text reaches the target size), then
times, best of three: the C++ host's load (`qdifc load`, its own figure), qdifc.open,
by_type over the type with most instances below it, reading one attribute, and
summing the coordinates of every IfcCartesianPoint from Python. Run it on an idle
machine; it prints figures, it asserts nothing.
"""
import gc
import os
import re
import subprocess
import sys
import tempfile
import time

# The host runs its heap on transparent huge pages; so does this process, for the same
# footing (the page faults of 4 KiB pages otherwise cost as much as reading).
if "GLIBC_TUNABLES" not in os.environ:
    os.environ["GLIBC_TUNABLES"] = "glibc.malloc.hugetlb=1"
    os.execv(sys.executable, [sys.executable] + sys.argv)

import qdifc  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))


def repeated(text, target):
    data = text.index("DATA;")
    endsec = text.index("ENDSEC;", data)
    head, records = text[: data + 5] + "\n", text[data + 5 : endsec]
    max_id = max(int(m) for m in re.findall(r"#(\d+)", records))
    parts, size, copy = [head], len(head), 0
    number = re.compile(r"#(\d+)")
    while size < target:
        shift = copy * max_id
        chunk = number.sub(lambda m: "#" + str(int(m.group(1)) + shift), records)
        parts.append(chunk)
        size += len(chunk)
        copy += 1
    parts.append("ENDSEC;\nEND-ISO-10303-21;\n")
    return "".join(parts)


def best(f, runs=3):
    times = []
    for _ in range(runs):
        gc.collect()
        start = time.perf_counter()
        result = f()
        times.append(time.perf_counter() - start)
        del result
    return min(times)


def main():
    corpus = sys.argv[1] if len(sys.argv) > 1 else os.path.join(HERE, "..", "..", "shared", "corpus")
    target_mb = int(sys.argv[2]) if len(sys.argv) > 2 else 100
    host = sys.argv[3] if len(sys.argv) > 3 else os.path.join(HERE, "..", "build", "bin", "qdifc")
    source = os.path.join(corpus, "ifc4", "ISSUE_005_haus.ifc")
    if not os.path.exists(source):
        print(f"bench_python: {source} is not there; give the corpus folder", file=sys.stderr)
        return 2
    with open(source, encoding="latin-1") as f:
        big = repeated(f.read(), target_mb * 1000000)
    with tempfile.NamedTemporaryFile("w", suffix=".ifc", delete=False, encoding="latin-1") as f:
        f.write(big)
        path = f.name
    try:
        size_mb = os.path.getsize(path) / 1e6
        print(f"file: {size_mb:.1f} MB")

        def host_load():
            out = subprocess.run([host, "load", path], capture_output=True, text=True, check=True).stdout
            return float(re.search(r"time ([0-9.]+) s", out).group(1))

        cpp = min(host_load() for _ in range(3))
        print(f"C++ host load:      {cpp:8.3f} s  {size_mb / cpp:7.1f} MB/s")
        py_open = best(lambda: qdifc.open(path))
        print(f"qdifc.open:         {py_open:8.3f} s  {size_mb / py_open:7.1f} MB/s  ({py_open / cpp:.2f} x the host)")

        model = qdifc.open(path)
        print(f"instances:          {len(model):8d}")
        counts = model.types()
        # The supertype over the most instances short of the root of everything.
        candidates = ["IfcRepresentationItem", "IfcGeometricRepresentationItem", "IfcTopologicalRepresentationItem",
                      "IfcCartesianPoint", "IfcRoot"]
        best_type, best_n = None, 0
        for name in candidates:
            n = len(model.by_type(name))
            if n > best_n:
                best_type, best_n = name, n
        t = best(lambda: list(model))
        print(f"list(model):        {len(model)} instances in {t:.3f} s ({1e9 * t / len(model):.0f} ns each)")
        model.by_type(best_type)  # the index is built once per model
        t = best(lambda: model.by_type(best_type))
        print(f"by_type({best_type}): {best_n} instances in {t:.3f} s ({1e9 * t / best_n:.0f} ns each)")

        walls = model.by_type("IfcWall")
        reads = 0
        start = time.perf_counter()
        for _ in range(20):
            for w in walls:
                w.Name
                reads += 1
        t = time.perf_counter() - start
        print(f"wall.Name:          {1e9 * t / reads:8.0f} ns per read ({reads} reads)")
        points = model.by_type("IfcCartesianPoint")
        start = time.perf_counter()
        for p in points[:200000]:
            p.Coordinates
        t = time.perf_counter() - start
        print(f"point.Coordinates:  {1e9 * t / min(len(points), 200000):8.0f} ns per read")

        def coordinate_sum():
            total = 0.0
            for p in model.by_type("IfcCartesianPoint"):
                for c in p.Coordinates:
                    total += c
            return total

        t = best(coordinate_sum)
        print(f"sum of coordinates: {t:8.3f} s over {len(points)} points (by_type included)")
        print(f"types: {len(counts)}")
    finally:
        os.unlink(path)
    return 0


if __name__ == "__main__":
    sys.exit(main())
