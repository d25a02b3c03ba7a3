"""python3 -m qdifc load|check|tree FILE: the host's commands, from Python; and
python3 -m qdifc fleet extract|gather|query: tables from many files at once (qdifc.fleet)."""
import argparse
import os
import sys
import time

import qdifc
from qdifc import fleet, util


def _open(args):
    try:
        return qdifc.open(args.file, any_schema=args.any_schema, schema=args.schema)
    except qdifc.Error as e:
        print(f"qdifc: {e}", file=sys.stderr)
        sys.exit(1)


def _problems(path, model):
    for p in model.problems:
        where = f"#{p.instance}: " if p.instance else ""
        print(f"{path}:{p.line}: {where}expected {p.expected}, found {p.found}", file=sys.stderr)


def load(args):
    start = time.perf_counter()
    model = _open(args)
    seconds = time.perf_counter() - start
    counts = model.types()
    print(f"{args.file}: {len(model)} instances of {len(counts)} types, {len(model.problems)} problems")
    for name, n in sorted(counts.items(), key=lambda kv: (-kv[1], kv[0])):
        print(f"  {n}\t{name}")
    _problems(args.file, model)
    print(f"time {seconds:.3f} s")
    return 0


def check(args):
    model = _open(args)
    _problems(args.file, model)
    findings = model.check()
    for f in findings:
        print(f"{args.file}: {f}")
    print(f"{args.file}: {len(model.problems)} problems, {len(findings)} findings")
    return 0


def _label(e):
    text = f"#{e.id()} {e.is_a()}"
    for name in ("Name", "LongName"):
        value = getattr(e, name, None)
        if value:
            return f"{text} '{value}'"
    return text


def _tree(node, depth):
    indent = "  " * depth
    print(indent + _label(node["entity"]))
    elements = node["elements"]
    if elements:
        by_type = {}
        for e in elements:
            by_type[e.is_a()] = by_type.get(e.is_a(), 0) + 1
        listed = " ".join(f"{n} {t}" for t, n in sorted(by_type.items()))
        print(f"{indent}  contains {len(elements)} element{'' if len(elements) == 1 else 's'}: {listed}")
    for child in node["children"]:
        _tree(child, depth + 1)


def tree(args):
    model = _open(args)
    roots = util.spatial_tree(model)
    if not roots:
        print(f"{args.file}: no IfcProject")
    for root in roots:
        _tree(root, 0)
    return 0


def main(argv=None):
    parser = argparse.ArgumentParser(prog=os.environ.get("QDIFC_PROG", "python3 -m qdifc"), description="IFC files from Python")
    commands = parser.add_subparsers(dest="command", required=True)
    for name, run, text in (("load", load, "read a file: instances per type, problems, time"),
                            ("check", check, "every problem and every finding of the schema's rules"),
                            ("tree", tree, "the spatial structure, with contained elements by type")):
        p = commands.add_parser(name, help=text)
        p.add_argument("file")
        p.add_argument("--any-schema", action="store_true", help="read a file of another schema anyway")
        p.add_argument("--schema", help="read with the module of this schema instead of FILE_SCHEMA's")
        p.set_defaults(run=run)
    fleet.add_parser(commands)
    args = parser.parse_args(argv)
    if args.command == "fleet":
        return fleet.run_command(args)
    return args.run(args)


if __name__ == "__main__":
    sys.exit(main())
