#!/usr/bin/env python3
"""Rebuilds the seed corpora under fuzz/corpus/ from the tests' own inputs and the bundled example,
and the fuzzers' dictionary fuzz/json.dict from the library's headers.

Each target gets a few dozen small files: the JSON literals of the tests that belong to it (valid
and invalid ones alike, since both paths are worth exploring) and the bodies, events, users and
envelopes of examples/room.json. The dictionary holds JSON's own tokens, every key of the records'
field tables and every raw value of their enumerations, so that the fuzzer need not guess them.
Run from anywhere; it replaces the seeds and the dictionary, and keeps the inputs that once
found a fault (fuzz/corpus/TARGET/regression-*).
"""

import json
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parent.parent
CORPUS = ROOT / "fuzz" / "corpus"
PER_TARGET = 40

# The first input byte of the body and round-trip targets picks the kind, in BodyType's order.
KINDS = ["action", "app", "event", "hint", "hls", "images", "info", "location", "soundcloud",
         "text", "twitch", "url", "video", "vimeo", "youtube"]
ROUND_TRIP_INFO = len(KINDS)  # the round-trip target's selector for a system event
ROUND_TRIP_USER = len(KINDS) + 1  # and for a user

# The content bodies share one table of tests, so each kind is seeded with every content literal
# (those of other kinds are inputs worth exploring too) and the text kind with the tool's as well.
CONTENT_TEST_FILES = ["body/content/ContentRecordsTest.cpp", "body/EveryKindTest.cpp"]
TEST_FILES_OF_KIND = {kind: CONTENT_TEST_FILES for kind in
                      ["hls", "images", "location", "soundcloud", "twitch", "url", "video",
                       "youtube"]}
TEST_FILES_OF_KIND["text"] = CONTENT_TEST_FILES + ["tools/ToolTest.cpp"]

INFO_TEST_FILES = ["body/info/EventsTest.cpp", "tools/ToolTest.cpp"]
USER_TEST_FILES = ["message/ChatMessageUserTest.cpp"]
DURATION_TEST_FILES = ["duration/ISO8601DurationFormatterTest.cpp",
                       "duration/DurationConversionTest.cpp", "body/content/ContentRecordsTest.cpp"]


def raw_literals(relative):
    text = (ROOT / "tests" / relative).read_text(encoding="utf-8")
    return [m.encode("utf-8") for m in re.findall(r'R"\((.*?)\)"', text, re.S)]


def duration_literals(relative):
    text = (ROOT / "tests" / relative).read_text(encoding="utf-8")
    found = re.findall(r'"(P[^"\\]*)"', text)
    return [s.encode("utf-8") for s in found]


def smallest_distinct(items, limit=PER_TARGET):
    unique = sorted(set(items), key=lambda b: (len(b), b))
    if len(unique) <= limit:
        return unique
    # Keep the spread of sizes: every n-th one, smallest to largest.
    step = len(unique) / limit
    return [unique[int(i * step)] for i in range(limit)]


def write(target, items):
    """Replaces the target's seed-* files; inputs that once found a fault (regression-*) stay."""
    folder = CORPUS / target
    folder.mkdir(parents=True, exist_ok=True)
    for old in folder.glob("seed-*"):
        old.unlink()
    for number, item in enumerate(items):
        (folder / f"seed-{number:03}").write_bytes(item)


def compact(value):
    return json.dumps(value, ensure_ascii=False, separators=(",", ":")).encode("utf-8")


ENVELOPE_KEYS = ["messageId", "roomId", "clientId", "sentStatus"]
# As the text holds them: "\\u0000" is the six characters of the escape.
JSON_TOKENS = ["{", "}", "[", "]", ",", ":", '"', "true", "false", "null", "-0", "1e308",
               "-9223372036854775808", "18446744073709551615", "0.5", "\\u0000",
               "\\ud83d\\ude00", '\\"', "P", "T", "Y", "M", "W", "D", "H", "S"]


def dictionary_entry(token):
    return '"' + token.replace("\\", "\\\\").replace('"', '\\"') + '"'


def write_dictionary():
    headers = "".join(p.read_text(encoding="utf-8")
                      for p in sorted((ROOT / "include").rglob("*.hpp")))
    keys = set(re.findall(r'(?:required|optional|tolerant)Key\("([^"]+)"', headers))
    raw_values = set()
    for block in re.findall(r"std::array<std::string_view, \d+> values\{(.*?)\};", headers, re.S):
        raw_values.update(re.findall(r'"([^"]*)"', block))
    words = sorted(keys | raw_values | set(ENVELOPE_KEYS))
    lines = [dictionary_entry(token) for token in JSON_TOKENS + [f'"{word}"' for word in words]]
    (ROOT / "fuzz" / "json.dict").write_text("\n".join(lines) + "\n", encoding="utf-8")


def main():
    write_dictionary()
    room = json.loads((ROOT / "examples" / "room.json").read_text(encoding="utf-8"))

    bodies = {kind: [] for kind in KINDS}
    for kind, files in TEST_FILES_OF_KIND.items():
        for relative in files:
            bodies[kind] += raw_literals(relative)
    for kind in ("action", "app", "event", "hint", "vimeo"):
        bodies[kind] += [b"{}", b"null"]
    events = [item for relative in INFO_TEST_FILES for item in raw_literals(relative)]
    users = [item for relative in USER_TEST_FILES for item in raw_literals(relative)]
    for envelope in room:
        bodies[envelope["type"]].append(compact(envelope["body"]))
        if envelope["type"] == "info":
            events.append(compact(envelope["body"]))
        users.append(compact(envelope["user"]))
    bodies["info"] += events

    body_seeds = []
    for position, kind in enumerate(KINDS):
        picked = smallest_distinct(bodies[kind], 6 if kind in ("info", "text") else 3)
        body_seeds += [bytes([position]) + item for item in picked]
    write("body", body_seeds)
    write("info", smallest_distinct(events))
    write("user", smallest_distinct(users))
    write("roundtrip", body_seeds[::2] +
          [bytes([ROUND_TRIP_INFO]) + item for item in smallest_distinct(events, 8)] +
          [bytes([ROUND_TRIP_USER]) + item for item in smallest_distinct(users, 6)])

    durations = [item for relative in DURATION_TEST_FILES for item in duration_literals(relative)]
    write("duration", smallest_distinct(durations))

    lines = [compact(envelope) for envelope in room]
    envelopes = smallest_distinct(lines, PER_TARGET - 4)
    envelopes.append(b"[" + b",".join(lines[:2]) + b"]")
    envelopes.append(b"\n".join(lines[2:4] + [b"{\"messageId\":", b""] + lines[4:5]))
    envelopes.append(b"[]")
    envelopes.append(b"\n\n" + lines[5] + b"\n\n")
    write("envelope", envelopes)


if __name__ == "__main__":
    main()
