#!/usr/bin/python3
"""The benchmark proper; bench/run starts it inside a device root.

For every operation it makes the data, runs each command once and checks
what it produced, then runs the commands alternately (the order reversed
every other round) and prints the median wall time, the median CPU time
(user + system), the largest peak resident set and the ratio of the
plug-in's wall time to each other command's.
"""
import argparse
import glob
import hashlib
import json
import os
import pwd
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
sys.dont_write_bytecode = True  # the source tree stays as it is
import gen_data  # noqa: E402

SIZES = {
    # keys, files, dummy MiB, database MiB
    "full": (100_000, 200_000, 1024, 256),
    "tiny": (200, 300, 4, 1),
}
DATA = "/opt/bench"
USB = "/opt/media/USBDriveA1"
DUMMY_ROOT = "/opt/storaged"
DD_DIR = "/opt/fill"
TEMP_DB = "/var/lib/buxton2/tmp.db"
TIME = "/usr/bin/time" if os.access("/usr/bin/time", os.X_OK) else None
# The runner's own small files, in memory: rewriting a file on a disk can
# start its writeback and put the disk's latency into the next figure.
SCRATCH = tempfile.mkdtemp(prefix="tavrin-bench.", dir="/dev/shm" if os.path.isdir("/dev/shm") else None)
PEAK = f"{SCRATCH}/peak.txt"


class Command:
    def __init__(self, label, argv, stdin=None, stdout="/dev/null", env=None, prepare=None):
        self.label = label
        self.argv = argv
        self.stdin = stdin
        self.stdout = stdout
        self.env = dict(os.environ, **(env or {}))
        self.prepare = prepare
        self.samples = []  # (wall s, cpu s, peak KiB)

    def run(self, stdout=None):
        """One run; returns (wall, cpu, peak). Fails loudly on a non-zero exit."""
        if self.prepare:
            self.prepare()
        err = f"{SCRATCH}/stderr.txt"
        actions = [
            (os.POSIX_SPAWN_OPEN, 0, self.stdin or "/dev/null", os.O_RDONLY, 0),
            (os.POSIX_SPAWN_OPEN, 1, stdout or self.stdout, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o644),
            (os.POSIX_SPAWN_OPEN, 2, err, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o644),
        ]
        # A child of this process would inherit its peak memory; one of
        # GNU time starts from time's own, a megabyte or two.
        argv = [TIME, "-f", "%M", "-o", PEAK] + self.argv if TIME else self.argv
        start = time.perf_counter()
        pid = os.posix_spawn(argv[0], argv, self.env, file_actions=actions)
        _, status, usage = os.wait4(pid, 0)
        wall = time.perf_counter() - start
        if os.waitstatus_to_exitcode(status) != 0:
            with open(err, errors="replace") as f:
                sys.exit(f"bench: {self.label} failed (status {status}): {' '.join(self.argv)}\n{f.read()[-2000:]}")
        peak = int(read(PEAK).split()[-1]) if TIME else 0
        return wall, usage.ru_utime + usage.ru_stime, peak


class Case:
    def __init__(self, name, commands, goals, check, time_goal_ms=None):
        self.name = name
        self.commands = commands  # the plug-in's first
        self.goals = goals  # (text, index of the other command, limit): plug-in / other < limit
        self.check = check  # runs every command once, checks the results
        self.time_goal_ms = time_goal_ms  # for the plug-in's own time; its ratios then mean nothing


def tool(name):
    path = shutil.which(name)
    if not path:
        sys.exit(f"bench: {name} is not installed")
    return path


def write(path, text):
    with open(path, "w") as f:
        f.write(text)


def read(path):
    with open(path, errors="replace") as f:
        return f.read()


def require(condition, what):
    if not condition:
        sys.exit(f"bench: check failed: {what}")


def menu_input(name, lines):
    path = f"{DATA}/{name}.in"
    write(path, "".join(f"{line}\n" for line in lines))
    return path


def key_listing(b, keys):
    db = f"{DATA}/keys.db"
    gen_data.make_keys(db, keys, f"{b.build}/buxton-seed")
    plugin = Command("plug-in buxton_print_keys", [b.debugmenu], menu_input("list", [11, 1, db, 3, 99, 99]),
                     env=dict(b.plugin_env, LD_PRELOAD=b.nosleep))
    shell = Command("sqlite3 shell", [tool("sqlite3"), db, "select key, data from buxton"])
    commands = [plugin, shell]
    goals = [("within 3x of the sqlite3 shell", 1, 3.0)]
    python = Command("Python + GVariant", [sys.executable, f"{HERE}/list_keys.py", db])
    has_gi = subprocess.run([sys.executable, "-c", "import gi"], capture_output=True).returncode == 0
    if has_gi:
        commands.append(python)
        goals.append(("faster than the Python script", 2, 1.0))
    else:
        print("bench: python3-gi is missing; the Python script is left out")

    def check():
        out = f"{DATA}/check.txt"
        plugin.run(out)
        require(f"Successful to get [{keys}] keys out of [{keys}] keys" in read(out), "plug-in listed every key")
        shell.run(out)
        require(len(read(out).splitlines()) == keys, "sqlite3 shell printed every row")
        if has_gi:
            python.run(out)
            text = read(out)
            require(len(text.splitlines()) == keys and "cannot decode" not in text, "Python script decoded every row")

    return Case(f"key listing, {keys} keys", commands, goals, check)


def file_list(b, files):
    gen_data.make_tree("/opt", files)
    plugin = Command("plug-in internal_storage_file_list", [b.debugmenu], menu_input("files", [15, 6, 99, 99]),
                     env=b.plugin_env)
    find_out = f"{USB}/find_list.txt"
    find = Command("find -printf", [tool("find"), "/opt", "-path", "/opt/media", "-prune", "-o", "-type", "f",
                                    "-printf", "%h/%f, %s bytes\n"], stdout=find_out)

    def check():
        for old in glob.glob(f"{USB}/internal_storage_file_list_*.txt"):
            os.unlink(old)
        plugin.run()
        lists = glob.glob(f"{USB}/internal_storage_file_list_*.txt")
        require(len(lists) == 1, "plug-in wrote one list on the stick")
        find.run()
        mine, theirs = sorted(read(lists[0]).splitlines()), sorted(read(find_out).splitlines())
        require(len(theirs) >= files, "find listed the tree")
        require(mine == theirs, "plug-in's list holds the same lines as find's")

    return Case(f"file list, {files} files", [plugin, find], [("within 1.3x of find", 1, 1.3)], check)


def dummy_files(b, mib):
    def clean():
        shutil.rmtree(DUMMY_ROOT, ignore_errors=True)
        shutil.rmtree(DD_DIR, ignore_errors=True)
        os.makedirs(DD_DIR)

    plugin = Command("plug-in create_dummy_file", [b.debugmenu], menu_input("dummy", [15, 1, mib, 99, 99]),
                     env=b.plugin_env, prepare=clean)
    dd = Command("dd bs=1M", [tool("dd"), "if=/dev/zero", f"of={DD_DIR}/fill", "bs=1M", f"count={mib}",
                              "status=none"], prepare=clean)

    def check():
        plugin.run()
        made = glob.glob(f"{DUMMY_ROOT}/*/*")
        require(len(made) == mib and all(os.path.getsize(p) == 1 << 20 for p in made), "plug-in wrote every MiB")
        with open(sorted(made)[0], "rb") as f:
            require(f.read(4) == b"\0\1\2\3", "dummy content")
        dd.run()
        require(os.path.getsize(f"{DD_DIR}/fill") == mib << 20, "dd wrote every MiB")
        clean()

    return Case(f"dummy files, {mib} MiB", [plugin, dd], [("within 1.2x of dd", 1, 1.2)], check)


def copy(b, mib):
    db = f"{DATA}/big.db"
    gen_data.make_db(db, mib)
    plugin = Command("plug-in make_writable_db_file", [b.debugmenu], menu_input("copy", [11, 13, db, 99, 99]),
                     env=b.plugin_env)
    # The same steps with the shell's tools: the file through the temporary
    # file and back as a new file.
    cp = Command("two cp calls",
                 [tool("sh"), "-c", f"cp {db} {TEMP_DB} && rm {db} && cp {TEMP_DB} {db} && rm {TEMP_DB}"])

    def digest():
        with open(db, "rb") as f:
            return hashlib.sha256(f.read()).hexdigest()

    def check():
        before = digest()
        plugin.run()
        require(digest() == before and not os.path.exists(TEMP_DB), "plug-in rewrote the file unchanged")
        if os.getuid() == 0:
            require(os.stat(db).st_uid == pwd.getpwnam("buxton").pw_uid, "plug-in gave the file to buxton")
        cp.run()
        require(digest() == before, "cp rewrote the file unchanged")

    return Case(f"copy, {os.path.getsize(db) >> 20} MiB database", [plugin, cp], [], check)


def startup(b):
    plugin = Command("echo 99 | debugmenu", [b.debugmenu], menu_input("start", [99]), env=b.plugin_env)
    floor = Command("true (spawn floor)", [tool("true")])
    load = Command("plug-in load (in-process)", [b.load_time, b.plugin], env=b.plugin_env)

    def check():
        out = f"{DATA}/check.txt"
        plugin.run(out)
        require("[ TAVRIN Debug Menu ]" in read(out), "debugmenu showed the main menu")
        load.run(out)
        require(float(read(out)) > 0, "load time printed")

    return Case("start-up", [plugin, floor, load], [], check, time_goal_ms=20)


def add_other_build(case, plugin):
    """Runs the plug-in commands of CASE with another build of the plug-in too, e.g. the one before a change."""
    for command in list(case.commands):
        if command.argv[0].endswith("/debugmenu"):
            argv = command.argv + [plugin]
        elif command.argv[0].endswith("/load_time"):
            argv = command.argv[:1] + [plugin]
        else:
            continue
        other = Command(f"{command.label} [other]", argv, command.stdin, command.stdout, prepare=command.prepare)
        other.env = command.env
        case.commands.append(other)


def median_ms(values):
    return statistics.median(values) * 1000


def measure(case, runs):
    print(f"\n== {case.name}", flush=True)
    case.check()
    for r in range(runs):
        order = case.commands if r % 2 == 0 else case.commands[::-1]
        for command in order:
            out = None
            if command.argv[0].endswith("/load_time"):
                out = f"{DATA}/load.txt"
            sample = command.run(out)
            if out:  # the program's own figure, in microseconds
                sample = (float(read(out)) / 1e6,) + sample[1:]
            command.samples.append(sample)
    report(case)


def report(case):
    first = case.commands[0]
    base = median_ms([s[0] for s in first.samples])
    print(f"  {'command':<36} {'wall ms':>10} {'cpu ms':>10} {'peak KiB':>10} {'ratio':>8}")
    for i, command in enumerate(case.commands):
        wall = median_ms([s[0] for s in command.samples])
        cpu = median_ms([s[1] for s in command.samples])
        peak = max(s[2] for s in command.samples)
        ratio = "" if i == 0 or case.time_goal_ms else f"{base / wall:7.2f}x"
        peak = f"{peak:10d}" if peak else f"{'-':>10}"
        print(f"  {command.label:<36} {wall:10.2f} {cpu:10.2f} {peak} {ratio:>8}")
    for text, other, limit in case.goals:
        ratio = base / median_ms([s[0] for s in case.commands[other].samples])
        print(f"  goal {text}: {'met' if ratio < limit else 'MISSED'} ({ratio:.2f}x)")
    if case.time_goal_ms:
        goal = case.time_goal_ms
        print(f"  goal {case.name} under {goal} ms: {'met' if base < goal else 'MISSED'} ({base:.2f} ms)")


class Build:
    def __init__(self, build):
        self.build = build
        self.debugmenu = f"{build}/debugmenu"
        self.plugin = f"{build}/libtavrin-debugmenu.so.0.0.06"
        self.load_time = f"{build}/bench/load_time"
        self.nosleep = f"{build}/tests/libpreload.so"
        for path in (self.debugmenu, self.plugin, self.load_time, self.nosleep, f"{build}/buxton-seed"):
            if not os.path.exists(path):
                sys.exit(f"bench: {path} is missing; build with the tests (scripts/build build)")
        # A sanitizer build runs the plug-in with a preloaded library.
        self.plugin_env = {"ASAN_OPTIONS": "verify_asan_link_order=0"}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", required=True)
    parser.add_argument("--tiny", action="store_true")
    parser.add_argument("--runs", type=int, default=7)
    parser.add_argument("--only", default="keys,files,dummy,copy,start")
    parser.add_argument("--json")
    parser.add_argument("--other-plugin", help="another build of the plug-in to run beside this one")
    args = parser.parse_args()
    if not os.path.exists("/etc/debug"):
        sys.exit("bench: run me in a device root (bench/run does)")

    b = Build(os.path.abspath(args.build))
    keys, files, dummy_mib, db_mib = SIZES["tiny" if args.tiny else "full"]
    os.makedirs(DATA, exist_ok=True)
    os.makedirs(USB, exist_ok=True)
    makers = {
        "keys": lambda: key_listing(b, keys),
        "files": lambda: file_list(b, files),
        "dummy": lambda: dummy_files(b, dummy_mib),
        "copy": lambda: copy(b, db_mib),
        "start": lambda: startup(b),
    }
    if not TIME:
        print("bench: /usr/bin/time (Debian's time) is missing; no peak memory")
    if args.tiny:
        print("bench: tiny data; the figures say nothing")
    print(f"load average at start: {read('/proc/loadavg').split()[:3]}; {os.cpu_count()} cores; runs: {args.runs}")
    results = {}
    for name in args.only.split(","):
        if name not in makers:
            sys.exit(f"bench: unknown operation {name}; one of {','.join(makers)}")
        case = makers[name]()
        if args.other_plugin:
            add_other_build(case, os.path.abspath(args.other_plugin))
        # Start-up is short: more rounds for the same confidence.
        measure(case, args.runs * (5 if name == "start" else 1))
        results[case.name] = {c.label: c.samples for c in case.commands}
    print(f"\nload average at end: {read('/proc/loadavg').split()[:3]}")
    if args.json:
        with open(args.json, "w") as f:
            json.dump(results, f, indent=1)


if __name__ == "__main__":
    try:
        main()
    finally:
        shutil.rmtree(SCRATCH, ignore_errors=True)
