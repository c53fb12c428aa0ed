#!/usr/bin/env python3
"""Merges the files of shards, by the number that each of their records bears.

usage: merge.py OUTPUT SHARD...

SD files are merged by the data field RECORD, JSON lines (*.jsonl) by the member "record".
"""
import heapq
import json
import sys


def sd_records(path):
    with open(path, "rb") as file:
        lines = []
        for line in file:
            lines.append(line)
            if line.rstrip() == b"$$$$":
                yield sd_number(path, lines), b"".join(lines)
                lines = []
    if lines:
        sys.exit(f"{path}: the last record is cut off; run its shard again")


def sd_number(path, lines):
    fields = iter(lines[lines.index(b"M  END\n") :])
    for line in fields:
        if line.startswith(b">") and b"<RECORD>" in line:
            return int(next(fields))
    sys.exit(f"{path}: a record without the field RECORD; give files of \"saddlefit react -o\"")


def json_records(path):
    with open(path, "rb") as file:
        for line in file:
            yield json.loads(line)["record"], line


def ascending(path, records):
    last = 0
    for number, record in records:
        if number <= last:
            sys.exit(f"{path}: record {number} behind record {last}; give files of \"saddlefit react\"")
        last = number
        yield number, record


def merge(output, shards):
    read = json_records if output.endswith(".jsonl") else sd_records
    last = 0
    with open(output, "wb") as file:
        for number, record in heapq.merge(*(ascending(shard, read(shard)) for shard in shards)):
            if number == last:
                sys.exit(f"record {number} stands in two of the files; give each shard once")
            last = number
            file.write(record)


if len(sys.argv) < 3:
    sys.exit(__doc__.strip())
merge(sys.argv[1], sys.argv[2:])
