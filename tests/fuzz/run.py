# SPDX-License-Identifier: Apache-2.0
"""Runs the fuzz targets, a few side by side, and shows a table: what was executed, how fast, what it reached."""
import argparse
import concurrent.futures
import dataclasses
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).parent
# Longest inputs, where the fuzzer's own choice is not good: it grows them only slowly, and long ones are slow.
LONGEST = {"deployment_action": 4096, "controller_status": 4096, "details": 1024, "attributes": 1024, "mac_address": 32,
           "bus_nesting": 256, "modem": 2048, "retry_after": 64}
ADDRESS_SPACE = 2048  # megabytes


@dataclasses.dataclass
class Outcome:
    """What became of one target."""
    target: str
    # Of the processor: a machine may have other things to do.
    seconds: float = 0
    executions: int = 0
    edges: int = 0
    features: int = 0
    findings: list = dataclasses.field(default_factory=list)
    status: int = 0


def arguments():
    parser = argparse.ArgumentParser(prog="script/fuzz")
    parser.add_argument("--programs", type=pathlib.Path, required=True, help="directory of the fuzzers")
    parser.add_argument("--work", type=pathlib.Path, required=True, help="for what is found out")
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("--runs", type=int, default=10**7)
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("targets", nargs="*")
    return parser.parse_args()


def known_targets(programs):
    return sorted(path.name.removeprefix("fuzz_") for path in programs.glob("fuzz_*") if os.access(path, os.X_OK)
                  and path.is_file())


def command_of(target, options, corpus):
    findings = options.work / "findings"
    findings.mkdir(parents=True, exist_ok=True)
    corpus.mkdir(parents=True, exist_ok=True)
    command = [str(options.programs / f"fuzz_{target}"), f"-max_total_time={options.seconds}", f"-runs={options.runs}",
               f"-artifact_prefix={findings}/{target}-", "-print_final_stats=1", "-timeout=20",
               f"-rss_limit_mb={ADDRESS_SPACE}"]
    if target in LONGEST:
        command.append(f"-max_len={LONGEST[target]}")
    dictionary = HERE / "dictionaries" / target
    if dictionary.exists():
        command.append(f"-dict={dictionary}")
    first = [HERE / "corpora" / target, options.work / "seeds" / target]
    return command + [str(corpus)] + [str(directory) for directory in first if directory.is_dir()]


def read_log(outcome, text):
    """Takes the figures from the fuzzer's log."""
    def last(pattern):
        found = re.findall(pattern, text)
        return int(found[-1]) if found else 0

    outcome.executions = last(r"stat::number_of_executed_units: +(\d+)") or last(r"#(\d+)\t")
    outcome.edges = last(r"cov: (\d+)")
    outcome.features = last(r"ft: (\d+)")
    outcome.findings = re.findall(r"Test unit written to (\S+)", text)


def run(target, options, scratch):
    """Runs one target; its log stays in the directory for what is found out."""
    directory = scratch / target
    directory.mkdir()
    log = options.work / f"{target}.log"
    with open(log, "w", encoding="utf-8") as output:
        # Whatever a target writes goes to memory and goes away with this run.
        environment = {**os.environ, "TMPDIR": str(directory)}
        process = subprocess.Popen(command_of(target, options, options.work / "corpora" / target), cwd=directory,
                                   stdout=output, stderr=subprocess.STDOUT, env=environment)
        _, status, used = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    outcome = Outcome(target, used.ru_utime + used.ru_stime, status=process.returncode)
    read_log(outcome, log.read_text(encoding="utf-8", errors="replace"))
    if outcome.status != 0:
        print(f"{target}: ended with {outcome.status}; see {log}", flush=True)
    return outcome


def note(outcomes, path):
    """Adds what was executed to the record of all runs."""
    with open(path, "a", encoding="utf-8") as file:
        for outcome in outcomes:
            file.write(json.dumps(dataclasses.asdict(outcome)) + "\n")


def show_table(outcomes):
    print("| Target | Executions | Seconds of processor | A second | Edges | Features | Findings |")
    print("|---|---:|---:|---:|---:|---:|---:|")
    for outcome in outcomes:
        rate = outcome.executions / max(outcome.seconds, 0.001)
        print(f"| {outcome.target} | {outcome.executions:,} | {outcome.seconds:.0f} | {rate:,.0f} | {outcome.edges} | "
              f"{outcome.features} | {len(outcome.findings)} |")


def main():
    options = arguments()
    known = known_targets(options.programs)
    unknown = set(options.targets) - set(known)
    if unknown or not known:
        print(f"there is no target {', '.join(sorted(unknown))}; there are: {', '.join(known)}")
        return 2
    began = time.monotonic()
    memory = pathlib.Path("/dev/shm")
    scratch = pathlib.Path(tempfile.mkdtemp(prefix="fuzz-", dir=memory if os.access(memory, os.W_OK) else None))
    try:
        with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
            outcomes = list(pool.map(lambda target: run(target, options, scratch), options.targets or known))
    finally:
        shutil.rmtree(scratch, ignore_errors=True)
    note(outcomes, options.work / "record.jsonl")
    show_table(outcomes)
    failed = [outcome for outcome in outcomes if outcome.status != 0 or outcome.executions == 0]
    for outcome in failed:
        print(f"{outcome.target}: {' '.join(outcome.findings) or 'no execution'}")
    print(f"{len(outcomes) - len(failed)} passed, {len(failed)} failed in {time.monotonic() - began:.0f}s")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
