#!/usr/bin/env python3
"""qdifc.fleet on a fleet of files: files per second with one and two local workers,
and through a scheduler and two worker processes started apart, over TCP.

    PYTHONPATH=build/python python3 bench/bench_fleet.py [corpus folder] [files] [target MB] [work folder]

Makes the fleet in the work folder (default: a new temporary one) the first time: the
corpus's IFC4 files, and the rest tiled from its larger ones (their DATA records
repeated one to four times, each copy's instance numbers shifted, so that every file's
content is its own) until there are `files` files (default 200) of about `target MB`
in all (default 1000). Prints figures; asserts nothing.
"""
import os
import re
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from qdifc import fleet

HERE = Path(__file__).resolve().parent


def tile(text, copies, shift):
    head, rest = text.split("DATA;", 1)
    data, tail = rest.rsplit("ENDSEC;", 1)
    top = max(int(n) for n in re.findall(r"#(\d+)", data))
    parts = [re.sub(r"#(\d+)", lambda m, k=k: f"#{int(m[1]) + (shift + k) * top}", data) for k in range(copies)]
    return head + "DATA;" + "".join(parts) + "ENDSEC;" + tail


def make_fleet(corpus, folder, files, target_mb):
    originals = sorted((corpus / "ifc4").glob("*.ifc"))
    made = sorted(folder.glob("*.ifc"))
    if len(made) >= files:
        return made[:files]
    for path in originals:
        (folder / f"0-{path.name}").write_bytes(path.read_bytes())
    budget = target_mb * 1e6 - sum(p.stat().st_size for p in originals)
    big = [p for p in originals if p.stat().st_size > 1e6]
    texts = [p.read_text(encoding="latin-1") for p in big]
    left = files - len(originals)
    average = budget / max(1, left)
    for i in range(left):
        text = texts[i % len(texts)]
        copies = max(1, round(average / len(text) * (0.5 + (i % 4) / 3)))
        (folder / f"1-{i:04d}.ifc").write_text(tile(text, copies, i * 5 + 1), encoding="latin-1")
    return sorted(folder.glob("*.ifc"))


def run(label, sources, out, **how):
    start = time.perf_counter()
    state = fleet.extract(sources, out, **how)
    seconds = time.perf_counter() - start
    peak = max(state.peak_rss.values(), default=0) / (1 << 20)
    print(f"{label:<32} {state.total} files {seconds:6.1f} s  {state.total / seconds:6.2f} files/s  "
          f"{state.errors} errors  peak worker memory {peak:.0f} MiB", flush=True)


def main():
    corpus = Path(sys.argv[1]) if len(sys.argv) > 1 else HERE.parents[1] / "shared" / "corpus"
    files = int(sys.argv[2]) if len(sys.argv) > 2 else 200
    target = float(sys.argv[3]) if len(sys.argv) > 3 else 1000
    work = Path(sys.argv[4]) if len(sys.argv) > 4 else Path(tempfile.mkdtemp(prefix="qdifc-fleet-"))
    (work / "in").mkdir(parents=True, exist_ok=True)
    paths = make_fleet(corpus, work / "in", files, target)
    size = sum(p.stat().st_size for p in paths)
    print(f"{len(paths)} files, {size / 1e6:.0f} MB, largest {max(p.stat().st_size for p in paths) / 1e6:.1f} MB "
          f"in {work / 'in'}; {os.cpu_count()} cores", flush=True)
    sources = [str(p) for p in paths]
    for workers in (1, 2):
        run(f"local cluster, {workers} worker{'s' * (workers > 1)}", sources, work / f"local-{workers}",
            workers=workers)
    scheduler_file = work / "scheduler.json"
    scheduler_file.unlink(missing_ok=True)
    started = [subprocess.Popen([sys.executable, "-m", "distributed.cli.dask_scheduler", "--host", "127.0.0.1",
                                 "--port", "0", "--no-dashboard", "--scheduler-file", str(scheduler_file)],
                                stderr=subprocess.DEVNULL)]
    try:
        while not scheduler_file.exists():
            time.sleep(0.1)
        for _ in range(2):
            started.append(subprocess.Popen([sys.executable, "-m", "distributed.cli.dask_worker", "--scheduler-file",
                                             str(scheduler_file), "--nthreads", "1", "--no-dashboard",
                                             "--memory-limit", "2GiB"], stderr=subprocess.DEVNULL))
        import distributed
        with distributed.Client(scheduler_file=str(scheduler_file)) as c:
            c.wait_for_workers(2, timeout=120)
        run("scheduler + 2 workers over TCP", sources, work / "tcp", scheduler=str(scheduler_file))
    finally:
        for p in reversed(started):
            p.terminate()
            p.wait(timeout=30)


if __name__ == "__main__":
    main()
