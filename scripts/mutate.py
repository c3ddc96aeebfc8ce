#!/usr/bin/python3
"""Mutation measure: how many small faults in the library and tools the test suite catches.

The script copies the tracked sources into a dedicated build directory
(build/mutate/src by default) and works only on that copy, so the working tree is
never changed. It lists every place in the library and tool sources (.cpp) where a
small fault can be made:

  cmp    a comparison flipped (< and <=, > and >=, == and !=)
  logic  && and || swapped
  arith  binary + and - swapped
  const  an integer constant one up or one down
  table  a number in a layout table row (field offset, width, count) one up or down
  drop   a statement (assignment, call, increment, break, continue) removed

and takes a fixed sample of them with a seeded random generator: the same
--seed and --count over the same sources give the same mutants. Each mutant is
written into the copy, built incrementally (Ninja, ccache, Release) and the
test suite of that build is run against it, fastest tests first. A mutant that
does not build is "not viable"; one that a test fails (or that hangs past its
timeout) is "killed"; otherwise it "survived". The copy is restored after each
mutant, on errors and on Ctrl-C.

Which tests kill a mutant: the run stops at the first failing test program, then
runs the other in-process test programs (the GoogleTest and C programs, a few
seconds together) to the end, each program always all its cases, so every
killed mutant gets its full set of killing test cases among them. The slow
Python suites (tool, dissector, package) run only until the mutant is killed: a
mutant they alone kill is credited to the one that killed it, others that would
too are not tried. Pass --full-kill to run them too. --programs-only leaves the
Python suites out: a survivor then costs the build and a few seconds of tests,
not minutes, which is what lets a sample of a few hundred run in about an hour.
--quick (20 mutants) does that and stops each mutant at its first failing
test program. --replay REPORT runs the mutants of an earlier report again,
found by their source line, so a sample stays the same while the sources move.
The consumer (install, package) tests and benchmarks are not built, and the
wheel install tests (python_pip_install_*) are not run.

Report: JSON (--json, default build/mutate/report.json) and a text summary on
stdout and next to the JSON: per mutant its verdict and killers, per test the
mutants only it kills, and the survivors.
"""

import argparse
import json
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import xml.etree.ElementTree as ET
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
MUTATED_DIRS = ("core", "messages", "tools")

# --- Mutation sites ---------------------------------------------------------

CMP = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
CMP_RE = re.compile(r" (<=|>=|==|!=|<|>) ")
LOGIC_RE = re.compile(r" (&&|\|\|) ")
ARITH_RE = re.compile(r"(?<=[\w)\]]) ([+-]) (?=[\w(])")
INT_RE = re.compile(r"(?<![\w.'])(\d+)(?![\w.'])")
DROP_RE = re.compile(
    r"^(\s*)((?:[\w.\->\[\]*:]+\s*(?:=|\+=|-=|\*=|/=|\|=|&=|<<=|>>=)(?!=).*"
    r"|[\w.\->:]+\(.*\)|\+\+[\w.\->\[\]]+|[\w.\->\[\]]+\+\+|--[\w.\->\[\]]+|[\w.\->\[\]]+--"
    r"|break|continue);)\s*$")
SKIP_LINE_RE = re.compile(r"^\s*(#|static_assert|namespace|using |template|case |default:)")


def blank_strings_and_comments(text):
    """The text with comments and the contents of string and character literals
    replaced by spaces (columns and newlines kept), so patterns match code only."""
    out = []
    i, n = 0, len(text)
    while i < n:
        c = text[i]
        if text.startswith("//", i):
            j = text.find("\n", i)
            j = n if j < 0 else j
            out.append(" " * (j - i))
            i = j
        elif text.startswith("/*", i):
            j = text.find("*/", i + 2)
            j = n if j < 0 else j + 2
            out.append("".join(ch if ch == "\n" else " " for ch in text[i:j]))
            i = j
        elif text.startswith('R"', i) and (i == 0 or not (text[i - 1].isalnum() or text[i - 1] == "_")):
            k = text.find("(", i)
            delim = ")" + text[i + 2:k] + '"'
            j = text.find(delim, k)
            j = n if j < 0 else j + len(delim)
            out.append("".join(ch if ch == "\n" else " " for ch in text[i:j]))
            i = j
        elif c in "\"'" and not (c == "'" and i > 0 and text[i - 1].isalnum()):
            j = i + 1
            while j < n and text[j] != c and text[j] != "\n":
                j += 2 if text[j] == "\\" else 1
            j = min(j + 1, n)
            out.append(c + " " * (j - i - 2) + c if j - i >= 2 else text[i:j])
            i = j
        else:
            out.append(c)
            i += 1
    return "".join(out)


def sites_of(path, rel):
    """Every mutation of one source file: (rel, line, col, old, new, op)."""
    text = path.read_text()
    code = blank_strings_and_comments(text).split("\n")
    raw = text.split("\n")
    found = []
    for no, line in enumerate(code, 1):
        if not line.strip() or SKIP_LINE_RE.match(line):
            continue
        for m in CMP_RE.finditer(line):
            op = m.group(1)
            found.append((rel, no, m.start(1), op, CMP[op], "cmp"))
        for m in LOGIC_RE.finditer(line):
            op = m.group(1)
            found.append((rel, no, m.start(1), op, "||" if op == "&&" else "&&", "logic"))
        for m in ARITH_RE.finditer(line):
            op = m.group(1)
            found.append((rel, no, m.start(1), op, "-" if op == "+" else "+", "arith"))
        is_row = rel.startswith("messages/") and "{" in line
        for m in INT_RE.finditer(line):
            value = int(m.group(1))
            kind = "table" if is_row else "const"
            found.append((rel, no, m.start(1), m.group(1), str(value + 1), kind))
            if value > 0:
                found.append((rel, no, m.start(1), m.group(1), str(value - 1), kind))
        m = DROP_RE.match(line)
        if m and raw[no - 1].count("(") == raw[no - 1].count(")"):
            stmt = raw[no - 1][m.start(2):m.end(2)]
            found.append((rel, no, m.start(2), stmt, "{}", "drop"))
    return found


def all_sites(src):
    sites = []
    for top in MUTATED_DIRS:
        for path in sorted((src / top).rglob("*.cpp")):
            sites.extend(sites_of(path, path.relative_to(src).as_posix()))
    return sites


def sample_sites(sites, count, seed):
    rng = random.Random(seed)
    picked = sorted(rng.sample(range(len(sites)), min(count, len(sites))))
    return [sites[i] for i in picked]


def replayed_sites(src, report):
    """The mutants of an earlier report, found again in today's sources: the
    same text at the recorded line, else the nearest line of the same file with
    that text, else a line with that text in another file (code that moved).
    Returns {id: site} and the ids no longer found."""
    texts = {}

    def lines_of(rel):
        if rel not in texts:
            path = src / rel
            texts[rel] = path.read_text().split("\n") if path.is_file() else []
        return texts[rel]

    every = [p.relative_to(src).as_posix() for top in MUTATED_DIRS for p in sorted((src / top).rglob("*.cpp"))]
    found, lost = {}, []
    for m in json.loads(Path(report).read_text())["mutants"]:
        site = None
        for rel in [m["file"]] + [r for r in every if r != m["file"]]:
            hits = [i + 1 for i, text in enumerate(lines_of(rel)) if text == m["code"]]
            if hits:
                line = min(hits, key=lambda n: abs(n - m["line"]))
                site = (rel, line, m["col"], m["old"], m["new"], m["op"])
                break
        if site is None:
            lost.append(m["id"])
        else:
            found[m["id"]] = site
    return found, lost


# --- The copy of the sources ------------------------------------------------

def sync_copy(src):
    """Bring the copy up to date with the working tree's tracked files (their
    current contents), touching only the files that differ so builds stay
    incremental."""
    files = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True,
                           capture_output=True).stdout.decode().split("\0")
    wanted = set()
    for rel in files:
        if not rel or not (ROOT / rel).is_file():
            continue
        wanted.add(rel)
        target = src / rel
        data = (ROOT / rel).read_bytes()
        if target.is_file() and target.read_bytes() == data:
            continue
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_bytes(data)
        shutil.copymode(ROOT / rel, target)
    for path in sorted(src.rglob("*"), reverse=True):
        rel = path.relative_to(src).as_posix()
        if path.is_file() and rel not in wanted:
            path.unlink()


class Mutant:
    """One fault written into the copy, undone on exit whatever happens."""

    def __init__(self, src, site):
        self.path = src / site[0]
        self.site = site
        self.original = None

    def __enter__(self):
        rel, line, col, old, new, _ = self.site
        self.original = self.path.read_text()
        lines = self.original.split("\n")
        text = lines[line - 1]
        if text[col:col + len(old)] != old:
            raise RuntimeError(f"{rel}:{line}: expected {old!r} at column {col}")
        lines[line - 1] = text[:col] + new + text[col + len(old):]
        self.path.write_text("\n".join(lines))
        return self

    def __exit__(self, *exc):
        # A fresh modification time, so the next build compiles the original again.
        self.path.write_text(self.original)
        return False


# --- Build and tests --------------------------------------------------------

def run(cmd, timeout=None, **kw):
    return subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          timeout=timeout, **kw)


def configure(src, build):
    cmd = ["cmake", "-S", str(src), "-B", str(build), "-G", "Ninja",
           "-DCMAKE_BUILD_TYPE=Release", "-DZMPAVA_WARNINGS_AS_ERRORS=ON",
           "-DZMPAVA_BUILD_BENCHMARKS=OFF", "-DZMPAVA_CONSUMER_TESTS=OFF",
           "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache", "-DCMAKE_C_COMPILER_LAUNCHER=ccache"]
    result = run(cmd)
    if result.returncode:
        sys.exit(f"configure failed:\n{result.stdout}")


def build_tree(build, jobs, timeout):
    try:
        result = run(["cmake", "--build", str(build), "-j", str(jobs)], timeout=timeout)
    except subprocess.TimeoutExpired:
        return False, "build timed out"
    return result.returncode == 0, result.stdout[-3000:]


# Packaging tests (a wheel built and installed from the sources) take minutes
# and check no codec the other tests do not: left out of the measure.
PACKAGING_RE = re.compile(r"^(python_pip_install_|consumer_)")


def test_units(build):
    """The CTest tests grouped into what is run at once: one GoogleTest program
    for all its cases, one pytest session per directory, other commands alone."""
    shown = json.loads(run(["ctest", "--show-only=json-v1"], cwd=build).stdout)
    units = {}
    for test in shown["tests"]:
        if PACKAGING_RE.match(test["name"]):
            continue
        props = {p["name"]: p["value"] for p in test.get("properties", [])}
        cmd = test["command"]
        env = dict(os.environ, PAVA_MUTATION="1")  # tests keep their large inputs smaller
        for item in props.get("ENVIRONMENT", []):
            key, _, value = item.partition("=")
            env[key] = value
        cwd = props.get("WORKING_DIRECTORY", str(build))
        if len(cmd) > 1 and cmd[1].startswith("--gtest_filter="):
            name = Path(cmd[0]).name
            unit = units.setdefault(name, {"name": name, "kind": "gtest", "cmd": [cmd[0]],
                                           "env": env, "cwd": cwd, "tests": []})
            unit["tests"].append(test["name"])
        elif "pytest" in Path(cmd[0]).name or cmd[1:3] == ["-m", "pytest"]:
            units[test["name"]] = {"name": test["name"], "kind": "pytest", "cmd": cmd, "env": env,
                                   "cwd": cwd, "tests": [test["name"]]}
        else:
            units[test["name"]] = {"name": test["name"], "kind": "plain", "cmd": cmd, "env": env,
                                   "cwd": cwd, "tests": [test["name"]],
                                   "setup": bool(props.get("FIXTURES_SETUP"))}
    return list(units.values())


def run_unit(unit, timeout, stop_early):
    """Run one unit; returns (ok, failing test names, seconds)."""
    start = time.monotonic()
    with tempfile.TemporaryDirectory() as tmp:
        out = Path(tmp) / "out"
        cmd = list(unit["cmd"])
        if unit["kind"] == "gtest":
            # Never cut short: the whole program runs in seconds and every
            # failing case of it is a killer.
            cmd += [f"--gtest_output=json:{out}"]
        elif unit["kind"] == "pytest":
            cmd += [f"--junitxml={out}"] + (["-x"] if stop_early else [])
        try:
            result = subprocess.run(cmd, env=unit["env"], cwd=unit["cwd"], timeout=timeout,
                                    stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                    start_new_session=True)
            code = result.returncode
        except subprocess.TimeoutExpired:
            return False, [unit["name"] + " (timeout)"], time.monotonic() - start
        failed, ran = [], []
        try:
            if unit["kind"] == "gtest" and out.exists():
                for suite in json.loads(out.read_text()).get("testsuites", []):
                    for case in suite.get("testsuite", []):
                        ran.append(f"{suite['name']}.{case['name']}")
                        if case.get("failures"):
                            failed.append(ran[-1])
            elif unit["kind"] == "pytest" and out.exists():
                for case in ET.parse(out).iter("testcase"):
                    ran.append(f"{unit['name']}::{case.get('classname', '').split('.')[-1]}"
                               f"::{case.get('name')}")
                    if case.find("failure") is not None or case.find("error") is not None:
                        failed.append(ran[-1])
        except (ValueError, ET.ParseError):
            pass
        if code and not failed:
            failed = [unit["name"] + (" (crash)" if code < 0 else "")]
        unit["ran"] = sorted(set(unit.get("ran", [])) | set(ran or [unit["name"]]))
        return code == 0, failed, time.monotonic() - start


def order_units(units, seconds):
    """Fixture set-ups first, then fastest first."""
    return sorted(units, key=lambda u: (not u.get("setup"), seconds.get(u["name"], 1e9)))


def run_suite(units, seconds, full_kill, first_only=False, programs_only=False):
    """Verdict and killers of the current build."""
    killers = []
    killed = False
    for unit in units:
        slow = unit["kind"] == "pytest"
        if slow and programs_only:
            continue
        if killed and (first_only or (slow and not full_kill)):
            continue
        limit = max(20.0, 5 * seconds.get(unit["name"], 20.0))
        ok, failed, _ = run_unit(unit, limit, stop_early=not killed and not full_kill)
        if not ok:
            killers.extend(failed)
            killed = True
    return killed, killers


# --- Report -----------------------------------------------------------------

def text_report(report):
    lines = []
    s = report["summary"]
    lines.append(f"mutation measure: seed {report['seed']}, {s['sampled']} mutants sampled "
                 f"from {report['sites']} sites")
    lines.append(f"killed {s['killed']}, survived {s['survived']}, not viable {s['not_viable']}; "
                 f"score {s['score']:.1%} of viable mutants; {report['seconds']:.0f} s")
    by_op = {}
    for m in report["mutants"]:
        row = by_op.setdefault(m["op"], {"killed": 0, "survived": 0, "not viable": 0})
        row[m["status"]] += 1
    for op, row in sorted(by_op.items()):
        lines.append(f"  {op:6} killed {row['killed']:3}  survived {row['survived']:3}  "
                     f"not viable {row['not viable']:3}")
    lines.append("")
    lines.append("tests that alone kill some mutant (test: mutant ids):")
    for test, ids in sorted(report["only_killed_by"].items()):
        lines.append(f"  {test}: {', '.join(map(str, ids))}")
    lines.append("")
    lines.append(f"tests that alone kill no mutant of this sample: {len(report['killing_nothing_alone'])} "
                 f"of {len(report['tests'])} (see the JSON)")
    lines.append("")
    lines.append("survivors:")
    for m in report["mutants"]:
        if m["status"] == "survived":
            lines.append(f"  #{m['id']} {m['file']}:{m['line']} {m['op']} "
                         f"{m['old']!r} -> {m['new']!r}   | {m['code'].strip()[:90]}")
    lines.append("")
    lines.append("all mutants:")
    for m in report["mutants"]:
        killers = ", ".join(m["killers"][:4]) + (" ..." if len(m["killers"]) > 4 else "")
        lines.append(f"  #{m['id']:<4} {m['status']:10} {m['file']}:{m['line']} {m['op']} "
                     f"{m['old']!r}->{m['new']!r} {killers}")
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--seed", type=int, default=29)
    parser.add_argument("--count", type=int, default=120, help="mutants in the sample")
    parser.add_argument("--quick", action="store_true",
                        help="20 mutants of the seed, compiled test programs only, each stopping at "
                             "its first failing one")
    parser.add_argument("--build-dir", type=Path, default=ROOT / "build" / "mutate")
    parser.add_argument("--json", type=Path, help="report file (default BUILD_DIR/report.json)")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--full-kill", action="store_true",
                        help="run every test on killed mutants, the Python suites too")
    parser.add_argument("--programs-only", action="store_true",
                        help="run the compiled test programs and tool commands, not the Python suites "
                             "(a survivor then costs seconds, not minutes)")
    parser.add_argument("--only", type=str, help="comma-separated mutant ids of the sample to run")
    parser.add_argument("--list", action="store_true", help="print the sample and exit")
    parser.add_argument("--replay", type=Path,
                        help="run the mutants of an earlier report again (found by their source line)")
    args = parser.parse_args()
    count = 20 if args.quick else args.count
    args.programs_only = args.programs_only or args.quick

    build = args.build_dir.resolve()
    src = build / "src"
    obj = build / "obj"
    src.mkdir(parents=True, exist_ok=True)
    sync_copy(src)
    sites = all_sites(src)
    lost = []
    if args.replay:
        sample, lost = replayed_sites(src, args.replay)
        if lost:
            print(f"not found in today's sources: {', '.join(map(str, lost))}", flush=True)
    else:
        sample = dict(enumerate(sample_sites(sites, count, args.seed)))
    if args.list:
        for i, site in sample.items():
            print(i, *site)
        return 0
    wanted = set(sample)
    if args.only:
        wanted = {int(x) for x in args.only.split(",")}

    stop = {"now": False}

    def interrupt(signum, _frame):
        stop["now"] = True
        raise KeyboardInterrupt

    signal.signal(signal.SIGTERM, interrupt)

    started = time.monotonic()
    if not (obj / "build.ninja").exists():
        configure(src, obj)
    ok, log = build_tree(obj, args.jobs, None)
    if not ok:
        sys.exit(f"the unmutated tree does not build:\n{log}")
    units = test_units(obj)
    seconds = {}
    if args.programs_only:
        units = [u for u in units if u["kind"] != "pytest"]
    for unit in order_units(units, {}):
        good, failed, took = run_unit(unit, 600, stop_early=False)
        if not good:
            sys.exit(f"the unmutated tree fails {unit['name']}: {failed}")
        seconds[unit["name"]] = took
    units = order_units(units, seconds)
    print("baseline tests: " + ", ".join(f"{u['name']} {seconds[u['name']]:.1f}s" for u in units),
          flush=True)

    mutants = []
    try:
        for i, site in sample.items():
            if i not in wanted:
                continue
            rel, line, col, old, new, op = site
            code = (src / rel).read_text().split("\n")[line - 1]
            t0 = time.monotonic()
            with Mutant(src, site):
                built, _ = build_tree(obj, args.jobs, 600)
                if built:
                    killed, killers = run_suite(units, seconds, args.full_kill, first_only=args.quick,
                                                programs_only=args.programs_only)
                    status = "killed" if killed else "survived"
                else:
                    status, killers = "not viable", []
            mutants.append({"id": i, "file": rel, "line": line, "col": col, "op": op, "old": old,
                            "new": new, "code": code, "status": status, "killers": killers,
                            "seconds": round(time.monotonic() - t0, 1)})
            print(f"#{i:<4} {status:10} {rel}:{line} {op} {old!r}->{new!r} "
                  f"{' '.join(killers[:3])} ({time.monotonic() - t0:.0f}s)", flush=True)
    except KeyboardInterrupt:
        print("interrupted: the copy is restored; reporting the mutants run so far", flush=True)
    finally:
        # The restored copy, built again, is what the next run starts from.
        build_tree(obj, args.jobs, 600)

    killed = sum(m["status"] == "killed" for m in mutants)
    survived = sum(m["status"] == "survived" for m in mutants)
    only = {}
    for m in mutants:
        if m["status"] == "killed" and len(m["killers"]) == 1:
            only.setdefault(m["killers"][0], []).append(m["id"])
    every_test = sorted({t for u in units for t in u.get("ran", [])})
    report = {
        "seed": args.seed, "count": count, "sites": len(sites),
        "replayed": str(args.replay) if args.replay else None, "not_found": lost,
        "mode": ("first failing program only" if args.quick else
                 "full-kill" if args.full_kill else "first failure, then all in-process tests")
                + (", compiled test programs only" if args.programs_only else ""),
        "seconds": round(time.monotonic() - started, 1),
        "test_seconds": {k: round(v, 2) for k, v in seconds.items()},
        "summary": {"sampled": len(mutants), "killed": killed, "survived": survived,
                    "not_viable": len(mutants) - killed - survived,
                    "score": killed / max(1, killed + survived)},
        "only_killed_by": only,
        "tests": every_test,
        "killing_nothing_alone": [t for t in every_test if t not in only],
        "mutants": mutants,
    }
    out = (args.json or build / "report.json").resolve()
    out.parent.mkdir(parents=True, exist_ok=True)
    out.write_text(json.dumps(report, indent=1) + "\n")
    text = text_report(report)
    out.with_suffix(".txt").write_text(text)
    print(text)
    return 0 if not stop["now"] else 130


if __name__ == "__main__":
    sys.exit(main())
