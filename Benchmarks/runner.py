#!/usr/bin/env python3
"""Discovers the benchmark programs, runs every (workload, implementation) pair in its own
process and temporary directory, and prints one table (written to Benchmarks/RESULTS.md).

Usage: runner.py BUILD_DIR [--no-python-peers] [--results FILE]
Protocol, workloads and environment settings: Benchmarks/README.md.
"""
import argparse
import datetime
import glob
import json
import os
import platform
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
DATAMODEL = "DataModel"

# Workloads in table order, with their default sizes.
DEFAULT_RECORDS = {
    "store.insert": 100000,
    "store.fetch_indexed": 100000,
    "store.count": 100000,
    "store.page_offset": 200000,
    "store.page_batch": 200000,
    "store.drop_context": 200000,
    "map.insert": 100000,
    "map.update": 100000,
    "map.nested": 1000,
    "handbook.insert": 50000,
    "handbook.update": 50000,
    "handbook.restore_seed": 50000,
    "handbook.fetch_category": 50000,
    # Whole dmctl processes against the reference, one row per size: cost per record must
    # not grow with the payload.
    "handbook.apply_update": [10000, 50000, 100000, 200000],
    "handbook.apply_update_changed": [10000, 50000, 100000, 200000],
    # Diet days (5 meals x 6 lines each): a year of a client's plan.
    "nutrition.map_plan": 365,
    "nutrition.day_totals": 365,
    "training.map_course": 100000,  # exercises, plus three completed sets each
    "training.day_screen": 200,  # screens
    # A conversation of 200k messages with attachments and delivery updates.
    "chat.map_messages": 200000,
    "chat.page": 200000,
}
QUICK_RECORDS = {
    "store.insert": 2000,
    "store.fetch_indexed": 2000,
    "store.count": 2000,
    "store.page_offset": 12000,
    "store.page_batch": 12000,
    "store.drop_context": 2000,
    "map.insert": 1000,
    "map.update": 1000,
    "map.nested": 20,
    "handbook.insert": 1000,
    "handbook.update": 1000,
    "handbook.restore_seed": 1000,
    "handbook.fetch_category": 1000,
    "handbook.apply_update": [500, 1000],
    "handbook.apply_update_changed": [500, 1000],
    "nutrition.map_plan": 20,
    "nutrition.day_totals": 20,
    "training.map_course": 1000,
    "training.day_screen": 20,
}


def env_int(name, default):
    value = os.environ.get(name)
    if not value:
        return default
    try:
        return int(value)
    except ValueError:
        sys.exit(f"run-benchmarks: {name}={value!r} is not an integer")


def records_for(workload, quick):
    """The sizes to run a workload at (a scaling workload has several; an override, one)."""
    base = (QUICK_RECORDS if quick else DEFAULT_RECORDS).get(workload, 1000 if quick else 100000)
    sizes = base if isinstance(base, list) else [base]
    name = "BENCH_RECORDS_" + workload.replace(".", "_").upper()
    if os.environ.get(name) or os.environ.get("BENCH_RECORDS"):
        return [env_int(name, env_int("BENCH_RECORDS", sizes[0]))]
    return sizes


class Program:
    def __init__(self, name, command):
        self.name = name
        self.command = command
        self.workloads = []


def discover(build_dir, python_peers):
    programs = []
    for path in sorted(glob.glob(os.path.join(build_dir, "Benchmarks", "*Benchmark"))):
        if os.access(path, os.X_OK) and os.path.isfile(path):
            programs.append(Program(os.path.basename(path), [path]))
    if python_peers:
        for path in sorted(glob.glob(os.path.join(HERE, "peers", "*.py"))):
            programs.append(Program(os.path.basename(path), [sys.executable, path]))
    for program in programs:
        listed = subprocess.run(program.command + ["--list"], capture_output=True, text=True)
        if listed.returncode != 0:
            print(f"run-benchmarks: {program.name} --list failed: {listed.stderr.strip()}",
                  file=sys.stderr)
            continue
        program.workloads = [w.strip() for w in listed.stdout.splitlines() if w.strip()]
    return [p for p in programs if p.workloads]


class Inputs:
    """Payload files, generated once per (workload kind, size) and linked into run dirs."""

    def __init__(self, root):
        self.root = root
        self.made = {}

    def _generate(self, key, argv):
        if key not in self.made:
            out = os.path.join(self.root, key)
            subprocess.run([sys.executable] + argv + ["-o", out], check=True,
                           stderr=subprocess.DEVNULL)
            self.made[key] = out
        return self.made[key]

    def files_for(self, workload, n):
        gen_map = os.path.join(HERE, "gen_map_payload.py")
        gen_handbook = os.path.join(HERE, "gen_handbook_payload.py")
        if workload in ("map.insert", "map.update"):
            return {"payload.json": self._generate(f"flat-{n}.json", [gen_map, "flat", str(n)])}
        if workload == "map.nested":
            return {"payload.json": self._generate(f"nested-{n}.json",
                                                   [gen_map, "nested", str(n)])}
        if workload.startswith("handbook."):
            files = {"payload-v1.json": self._generate(f"handbook-{n}-v1.json",
                                                       [gen_handbook, str(n), "--version", "1"])}
            if workload in ("handbook.update", "handbook.apply_update_changed"):
                files["payload-v2.json"] = self._generate(
                    f"handbook-{n}-v2.json", [gen_handbook, str(n), "--version", "2"])
            return files
        if workload == "training.map_course":
            scale = max(1, -(-n // 383))  # one generated course holds 383 exercises
            return {"course.json": self._generate(
                f"course-{scale}.json",
                [os.path.join(HERE, "..", "scripts", "gen-course-fixture"), "--scale", str(scale)])}
        return {}


def run_once(program, workload, n, inputs, scratch, timeout):
    """One process, one fresh directory. Returns (result dict, peak RSS bytes) or raises."""
    data_dir = tempfile.mkdtemp(prefix="run-", dir=scratch)
    try:
        for name, source in inputs.files_for(workload, n).items():
            os.symlink(source, os.path.join(data_dir, name))
        argv = program.command + ["--workload", workload, "--records", str(n),
                                  "--data-dir", data_dir]
        with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
            child = subprocess.Popen(argv, stdout=out, stderr=err)
            deadline = time.monotonic() + timeout
            while True:
                pid, status, usage = os.wait4(child.pid, os.WNOHANG)
                if pid:
                    break
                if time.monotonic() > deadline:
                    child.kill()
                    os.wait4(child.pid, 0)
                    child.returncode = -9
                    raise RuntimeError(f"timed out after {timeout} s")
                time.sleep(0.05)
            child.returncode = os.waitstatus_to_exitcode(status)
            out.seek(0)
            err.seek(0)
            stdout = out.read().decode(errors="replace")
            stderr = err.read().decode(errors="replace")
        if child.returncode != 0:
            raise RuntimeError(f"exit {child.returncode}: {stderr.strip()[-500:]}")
        lines = [line for line in stdout.splitlines() if line.strip()]
        if not lines:
            raise RuntimeError("printed no result line")
        result = json.loads(lines[-1])
        for key in ("workload", "impl", "records", "seconds"):
            if key not in result:
                raise RuntimeError(f"result line lacks {key!r}: {lines[-1]}")
        if result["workload"] != workload or result["seconds"] <= 0 or result["records"] <= 0:
            raise RuntimeError(f"implausible result line: {lines[-1]}")
        # A program that times a child process reports that process's peak itself.
        rss = result.get("peak_rss_bytes") or usage.ru_maxrss * 1024  # Linux reports kilobytes
        return result, rss
    finally:
        shutil.rmtree(data_dir, ignore_errors=True)


def machine_line():
    cpu = platform.processor() or "unknown cpu"
    try:
        with open("/proc/cpuinfo") as f:
            for line in f:
                if line.startswith("model name"):
                    cpu = line.split(":", 1)[1].strip()
                    break
    except OSError:
        pass
    return f"{cpu}, {os.cpu_count()} cores, {platform.system()} {platform.release()}"


def fmt_rate(value):
    return f"{value:,.0f}" if value is not None else "failed"


def build_table(rows):
    header = ["workload", "implementation", "records", "median records/s", "peak RSS (MB)",
              "peak ÷ payload", "p50 (ms)", "DataModel ÷ this"]
    lines = ["| " + " | ".join(header) + " |", "|" + "---|" * len(header)]
    for row in rows:
        lines.append("| " + " | ".join(row) + " |")
    return "\n".join(lines)


def main(argv=None):
    ap = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    ap.add_argument("build_dir")
    ap.add_argument("--no-python-peers", action="store_true")
    ap.add_argument("--results", default=os.path.join(HERE, "RESULTS.md"))
    a = ap.parse_args(argv)

    quick = os.environ.get("BENCH_QUICK") == "1"
    runs = env_int("BENCH_RUNS", 1 if quick else 3)
    timeout = env_int("BENCH_TIMEOUT", 900)
    only = re.compile(os.environ.get("BENCH_ONLY", ".*"))

    load_at_start = os.getloadavg()[0]
    programs = discover(a.build_dir, not a.no_python_peers)
    if not programs:
        print("run-benchmarks: no benchmark programs found")
        return 1
    known = list(DEFAULT_RECORDS)
    extra = sorted({w for p in programs for w in p.workloads} - set(known))
    workloads = [w for w in known + extra
                 if only.search(w) and any(w in p.workloads for p in programs)]

    rows = []
    failures = 0
    scratch = tempfile.mkdtemp(prefix="dm-bench-")
    try:
        inputs = Inputs(scratch)
        for workload, n in [(w, n) for w in workloads for n in records_for(w, quick)]:
            runners = [p for p in programs if workload in p.workloads]
            # impl -> lists of throughputs, peak RSS, checks, records; runs interleave impls.
            measured = {}
            errors = {}
            for run in range(runs):
                for program in runners:
                    print(f"  {workload} N={n} {program.name} run {run + 1}/{runs}",
                          file=sys.stderr, flush=True)
                    try:
                        result, rss = run_once(program, workload, n, inputs, scratch, timeout)
                    except Exception as error:  # one failing program must not stop the rest
                        errors[program.name] = str(error)
                        print(f"    failed: {error}", file=sys.stderr)
                        continue
                    m = measured.setdefault(result["impl"], {"rate": [], "rss": [], "check": set(),
                                                             "records": result["records"],
                                                             "payload": result.get("payload_bytes"),
                                                             "p50": []})
                    m["rate"].append(result["records"] / result["seconds"])
                    m["rss"].append(rss)
                    if result.get("p50_ms"):
                        m["p50"].append(float(result["p50_ms"]))
                    if "check" in result:
                        m["check"].add(str(result["check"]))
            medians = {impl: statistics.median(m["rate"]) for impl, m in measured.items()}
            checks = {impl: m["check"] for impl, m in measured.items() if m["check"]}
            reference = checks.get(DATAMODEL) or next(iter(checks.values()), None)
            for impl in sorted(measured, key=lambda i: (i != DATAMODEL, i)):
                m = measured[impl]
                if impl == DATAMODEL:
                    ratio = "1.00"
                elif DATAMODEL in medians:
                    ratio = f"{medians[DATAMODEL] / medians[impl]:.2f}"
                else:
                    ratio = "no DataModel program yet"
                mark = ""
                if reference is not None and impl in checks and checks[impl] != reference:
                    mark = f" (check {'/'.join(sorted(checks[impl]))} differs)"
                    failures += 1
                peak = statistics.median(m["rss"])
                # Only the programs that report the text they map can be related to it.
                per_payload = f"{peak / m['payload']:.1f}" if m["payload"] else ""
                # Latency workloads: the median over runs of each run's median screen or page.
                p50 = f"{statistics.median(m['p50']):.2f}" if m["p50"] else ""
                rows.append([workload, impl + mark, f"{m['records']:,}", fmt_rate(medians[impl]),
                             f"{peak / 1e6:.0f}", per_payload, p50, ratio])
            for name, error in errors.items():
                failures += 1
                rows.append([workload, f"{name}: failed", f"{n:,}", "failed", "", "", "", error[:80]])
    finally:
        shutil.rmtree(scratch, ignore_errors=True)

    table = build_table(rows)
    print(table)
    stamp = datetime.datetime.now().strftime("%Y-%m-%d %H:%M")
    settings = f"{runs} run(s) per pair" + (", BENCH_QUICK=1" if quick else "")
    # A shared machine skews every figure; say how busy it was.
    settings += f"; load average at start {load_at_start:.1f}, at end {os.getloadavg()[0]:.1f}"
    with open(a.results, "w", encoding="utf-8") as f:
        f.write("# Benchmark results\n\n")
        f.write(f"Date: {stamp}  \nMachine: {machine_line()}  \n")
        f.write(f"Settings: {settings}; `make bench` (scripts/run-benchmarks build-release).\n\n")
        f.write("Throughput is the median over runs; peak RSS is the maximum resident set of the\n"
                "process that ran the workload (setup included, Python interpreter included for\n"
                "the ORM peer). Workload definitions: Benchmarks/README.md.\n\n")
        f.write(table + "\n")
    print(f"\nwritten to {os.path.relpath(a.results)}", file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
