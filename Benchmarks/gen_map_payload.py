#!/usr/bin/env python3
"""Deterministic payloads for the map.* benchmark workloads (see Benchmarks/README.md).

  gen_map_payload.py flat N -o FILE     N objects of 10 keys
  gen_map_payload.py nested N -o FILE   N parents with 20 children each
"""
import argparse
import datetime
import json
import sys

EPOCH = datetime.datetime(2024, 1, 1, tzinfo=datetime.timezone.utc)
STATUSES = ["active", "draft", "archived", "deleted"]
CHILDREN_PER_PARENT = 20


def stamp(i):
    return (EPOCH + datetime.timedelta(minutes=i)).strftime("%Y-%m-%dT%H:%M:%SZ")


def flat(n):
    return [{
        "id": i + 1,
        "user_id": i % 1000,
        "title": f"Item {i}",
        "description": f"Description of item {i}, mapped from a server answer",
        "weight": (i % 2000) / 10.0,
        "calories": (i % 5000) / 4.0,
        "is_public": i % 3 == 0,
        "status": STATUSES[i % len(STATUSES)],
        "created_at": stamp(i),
        "position": i % 100,
    } for i in range(n)]


def nested(n):
    out = []
    for p in range(n):
        items = []
        for c in range(CHILDREN_PER_PARENT):
            child = p * CHILDREN_PER_PARENT + c
            items.append({
                "id": child + 1,
                "parent_id": p + 1,
                "title": f"Child {child}",
                "amount": (child % 500) / 5.0,
                "position": c,
            })
        out.append({"id": p + 1, "title": f"Parent {p}", "created_at": stamp(p), "items": items})
    return out


def main(argv=None):
    ap = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    ap.add_argument("kind", choices=["flat", "nested"])
    ap.add_argument("n", type=int)
    ap.add_argument("-o", "--out", required=True)
    a = ap.parse_args(argv)
    doc = flat(a.n) if a.kind == "flat" else nested(a.n)
    with open(a.out, "w", encoding="utf-8") as f:
        json.dump(doc, f, separators=(",", ":"))
    print(f"{a.out}: {a.kind} {a.n}", file=sys.stderr)


if __name__ == "__main__":
    main()
