#!/usr/bin/env python3
"""Which lines of the library each test reaches, and which no other test does.

Runs every ctest case of a coverage build alone, each writing its .gcda files under a directory of its
own (GCOV_PREFIX), reads them back with `gcov --json-format` and prints, per test, the lines of src/,
include/ and cli/ it reaches and how many of those no other test reaches. A test with none of its own
is a candidate for a cut only if another test also checks what it checks: line coverage does not see
exact messages, limits or stack safety.

    scripts/coverage.sh build-coverage           # once, for the instrumented build
    scripts/coverage-per-test.py build-coverage  # about ten minutes on two cores

Output: one line a test, "own reached name", most own lines first.
"""
import concurrent.futures
import glob
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
KEPT = ("src/", "include/", "cli/")


def test_names(build):
    listing = subprocess.run(["ctest", "-N"], cwd=build, capture_output=True, text=True, check=True).stdout
    names = re.findall(r"^\s*Test\s+#\d+: (.+)$", listing, re.MULTILINE)
    return [name.split("  # GetParam")[0] for name in names]


def run_alone(build, name, prefix):
    pattern = "^" + re.escape(name) + "( |$)"
    environment = dict(os.environ, GCOV_PREFIX=prefix)
    subprocess.run(["ctest", "-R", pattern, "--timeout", "900"], cwd=build, env=environment,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def reached_lines(build, prefix):
    """(file, line) pairs with a count above zero in the .gcda files under `prefix`."""
    lines = set()
    mirrored = prefix + build
    for gcda in glob.glob(mirrored + "/**/*.gcda", recursive=True):
        notes = gcda[:-5] + ".gcno"
        if not os.path.exists(notes):
            os.symlink(build + gcda[len(mirrored):-5] + ".gcno", notes)
        out = subprocess.run(["gcov", "--json-format", "--stdout", gcda], cwd=prefix,
                             capture_output=True, text=True).stdout
        for document in out.splitlines():
            if not document.strip():
                continue
            data = json.loads(document)
            for source in data["files"]:
                path = os.path.normpath(os.path.join(data.get("current_working_directory", "/"), source["file"]))
                relative = os.path.relpath(path, ROOT)
                if relative.startswith(KEPT):
                    lines.update((relative, entry["line_number"]) for entry in source["lines"] if entry["count"] > 0)
    return lines


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    build = os.path.abspath(sys.argv[1])
    scratch = tempfile.mkdtemp(prefix="velmar-coverage-")
    try:
        names = test_names(build)

        def one(index_name):
            index, name = index_name
            prefix = os.path.join(scratch, str(index))
            run_alone(build, name, prefix)
            return name, reached_lines(build, prefix)

        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            reached = dict(pool.map(one, enumerate(names)))
    finally:
        shutil.rmtree(scratch, ignore_errors=True)
    holders = {}
    for lines in reached.values():
        for line in lines:
            holders[line] = holders.get(line, 0) + 1
    rows = [(sum(1 for line in lines if holders[line] == 1), len(lines), name) for name, lines in reached.items()]
    for own, total, name in sorted(rows, key=lambda row: (-row[0], row[2])):
        print(f"{own:5} {total:6} {name}")


if __name__ == "__main__":
    main()
