#!/usr/bin/env python3
"""What FTS5 alone costs an import, with the index's settings varied.

Replays the first 200,000 entries of a message store's search index (room, author, content, as
the store wrote them) into fresh files, in transactions of 1,000 as an import writes them: once
into a plain table only (the floor), then also into an FTS5 table set up each way. Prints the
CPU time of each: the store's own work (decoding, encoding, its statements) is left out, so what
an FTS5 row adds over the floor is what no change to the store's code can remove.

    python3 store/bench/fts5-insert-cost.py STORE.db
"""
import os
import resource
import sqlite3
import sys
import tempfile

TABLE = ("CREATE VIRTUAL TABLE s USING fts5(room, author, content, "
         "tokenize = 'unicode61 remove_diacritics 2', columnsize = 0{})")
SETTINGS = [  # name, table options, then what to set
    ("the store's (automerge 8)", "", [("automerge", 8)]),
    ("automerge 4 (FTS5's default)", "", []),
    ("automerge 16", "", [("automerge", 16)]),
    ("automerge 16, crisismerge 64", "", [("automerge", 16), ("crisismerge", 64)]),
    ("no merging", "", [("automerge", 0)]),
    ("pgsz 16000", "", [("automerge", 8), ("pgsz", 16000)]),
    ("detail=column (no phrases)", ", detail = 'column'", [("automerge", 8)]),
    ("detail=none (no phrases)", ", detail = 'none'", [("automerge", 8)]),
    ("contentless (no deletes)", ", content = ''", [("automerge", 8)]),
]


def cpu():
    usage = resource.getrusage(resource.RUSAGE_SELF)
    return usage.ru_utime + usage.ru_stime


def replay(rows, folder, options=None, settings=()):
    path = os.path.join(folder, "replay.db")
    for suffix in ("", "-wal", "-shm"):
        if os.path.exists(path + suffix):
            os.remove(path + suffix)
    db = sqlite3.connect(path, isolation_level=None)
    db.execute("PRAGMA journal_mode = WAL")
    db.execute("PRAGMA synchronous = NORMAL")
    db.execute("CREATE TABLE m (id INTEGER PRIMARY KEY, body TEXT)")
    if options is not None:
        db.execute(TABLE.format(options))
        for name, value in settings:
            db.execute("INSERT INTO s (s, rank) VALUES (?, ?)", (name, value))
    start = cpu()
    for first in range(0, len(rows), 1000):
        db.execute("BEGIN")
        for key, (room, author, content) in enumerate(rows[first:first + 1000], first + 1):
            db.execute("INSERT INTO m (id, body) VALUES (?, ?)", (key, content))
            if options is not None:
                db.execute("INSERT INTO s (rowid, room, author, content) VALUES (?, ?, ?, ?)",
                           (key, room, author, content))
        db.execute("COMMIT")
    spent = cpu() - start
    db.close()
    return spent, os.path.getsize(path) / 1e6


def main():
    source = sqlite3.connect(sys.argv[1])
    rows = source.execute("SELECT c0, c1, c2 FROM message_search_content ORDER BY id LIMIT 200000"
                          ).fetchall()
    source.close()
    with tempfile.TemporaryDirectory() as folder:
        floor, size = replay(rows, folder)
        print(f"{len(rows)} entries; the floor (a plain table): {floor:.2f} s of CPU, {size:.0f} MB")
        for name, options, settings in SETTINGS:
            spent, size = replay(rows, folder, options, settings)
            print(f"{name:32} {spent:.2f} s of CPU, FTS5 adds {spent - floor:.2f} s "
                  f"({(spent - floor) / len(rows) * 1e6:.1f} us an entry), {size:.0f} MB")


if __name__ == "__main__":
    main()
