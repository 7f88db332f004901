#!/usr/bin/python3
"""Data for the benchmarks, the same on every run (fixed seeds).

  gen_data.py keys DB COUNT SEED_PROGRAM   buxton database of COUNT keys of mixed types
  gen_data.py tree ROOT COUNT              COUNT files in an internal-storage-like tree
  gen_data.py db PATH MIB                  SQLite file of about MIB MiB

The keys are written by the project's buxton-seed, so the records are the
store's own format. Files of the tree are sparse: only their sizes matter.
"""
import os
import random
import sqlite3
import subprocess
import sys

PUBLIC = "http://tizen.org/privilege/internal/default/public"
PLATFORM = "http://tizen.org/privilege/internal/default/platform"
SETTERS = ["System", "User", "System::Privileged"]
AREAS = ["db/setting", "db/private", "memory/private", "db/menu_widget", "file/private", "db/dnet/statistics"]


def key_lines(count, rng):
    """KEY|TYPE|VALUE|RP|WP[|SETTER] lines; a tenth in the older layout without setter."""
    for i in range(count):
        area = AREAS[i % len(AREAS)]
        key = f"{area}/org.tizen.app{i // 50:04d}/setting_{i % 50:02d}_{i}"
        roll = rng.random()
        if roll < 0.30:
            kind, value = "string", f"/opt/usr/home/owner/share/item_{rng.randrange(10**6)}.dat"
        elif roll < 0.65:
            kind, value = "int32", str(rng.randrange(-2**31, 2**31))
        elif roll < 0.80:
            kind, value = "bool", str(rng.randrange(2))
        elif roll < 0.85:
            kind, value = "double", f"{rng.uniform(-1e6, 1e6):.6f}"
        elif roll < 0.90:
            kind, value = "uint32", str(rng.randrange(2**32))
        elif roll < 0.95:
            kind, value = "int64", str(rng.randrange(-2**63, 2**63))
        else:
            kind, value = "uint64", str(rng.randrange(2**63))
        fields = [key, kind, value, PUBLIC if i % 3 else PLATFORM, PLATFORM]
        if i % 10:
            fields.append(SETTERS[i % len(SETTERS)])
        yield "|".join(fields) + "\n"


def make_keys(path, count, seed_program):
    for suffix in ("", "-wal", "-shm", "-journal"):
        if os.path.exists(path + suffix):
            os.unlink(path + suffix)
    rng = random.Random(12)
    text = "".join(key_lines(count, rng)).encode()
    subprocess.run([seed_program, path], input=text, check=True)
    # One file, as the store keeps it between its writes.
    db = sqlite3.connect(path)
    db.execute("PRAGMA wal_checkpoint(TRUNCATE)")
    db.close()


def make_tree(root, count):
    """Applications, user data and caches: directories of 1 to 200 files, 2 to 5 deep."""
    rng = random.Random(34)
    made = 0
    app = 0
    while made < count:
        base = os.path.join(root, "usr/globalapps" if app % 2 else "usr/home/owner/apps_rw", f"org.tizen.app{app:04d}")
        for sub in ("bin", "lib", "res/images", "res/locale/en", "data", "cache/thumbs", "shared/trusted"):
            if made >= count:
                break
            directory = os.path.join(base, sub)
            os.makedirs(directory, exist_ok=True)
            for n in range(min(rng.randint(1, 200), count - made)):
                with open(os.path.join(directory, f"file_{n:03d}.{rng.choice(['so', 'png', 'db', 'json', 'edj'])}"), "wb") as f:
                    f.truncate(min(int(rng.paretovariate(1.2) * 2000), 64 << 20))
                made += 1
        app += 1


def make_db(path, mib):
    """A buxton table of 3000-character rows, grown until the file holds MIB MiB."""
    if os.path.exists(path):
        os.unlink(path)
    db = sqlite3.connect(path)
    db.execute("create table buxton (key text, data text, PRIMARY KEY(key))")
    rng = random.Random(56)
    filler = "".join(rng.choice("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/") for _ in range(4096))
    i = 0
    while os.path.getsize(path) < mib * 1024 * 1024:
        rows = [(f"db/private/blob_{i + n}", filler[(i + n) % 1096:][:3000]) for n in range(256)]
        db.executemany("insert into buxton values (?, ?)", rows)
        db.commit()
        i += len(rows)
    db.close()


def main(argv):
    if len(argv) == 5 and argv[1] == "keys":
        make_keys(argv[2], int(argv[3]), argv[4])
    elif len(argv) == 4 and argv[1] == "tree":
        make_tree(argv[2], int(argv[3]))
    elif len(argv) == 4 and argv[1] == "db":
        make_db(argv[2], int(argv[3]))
    else:
        sys.stderr.write(__doc__)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
