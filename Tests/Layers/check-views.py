#!/usr/bin/env python3
"""Checks each layer's include view against the layer table.

usage: check-views.py VIEWS.txt SOURCES_DIR
VIEWS.txt (written by the build) has one line per layer: name|folder|may include|include dirs.
For every pair of layers, a header of the second must be found through the first's include
directories exactly when the first may include the second (itself, or a layer it lists,
directly or through the layers below). Prints each disagreement; exit status 1 if any.
"""
import os
import sys


def main():
    views_path, sources = sys.argv[1], sys.argv[2]
    layers = {}
    order = []
    with open(views_path, encoding="utf-8") as f:
        for line in f:
            line = line.rstrip("\n")
            if not line:
                continue
            name, folder, depends, dirs = line.split("|")
            layers[name] = (folder, [d for d in depends.split(",") if d],
                            [d for d in dirs.split(";") if d])
            order.append(name)

    def closure(name, seen=None):
        seen = set() if seen is None else seen
        if name in seen or name not in layers:
            return seen
        seen.add(name)
        for dep in layers[name][1]:
            closure(dep, seen)
        return seen

    def sample_header(folder):
        for root, _, files in sorted(os.walk(os.path.join(sources, folder))):
            for f in sorted(files):
                if f.endswith(".h"):
                    return os.path.relpath(os.path.join(root, f), sources)
        return None

    problems = []
    for name in order:
        allowed = closure(name)
        dirs = layers[name][2]
        for other in order:
            header = sample_header(layers[other][0])
            if header is None:
                continue
            found = any(os.path.exists(os.path.join(d, header)) for d in dirs)
            if found and other not in allowed:
                problems.append("%s sees %s (%s) but may not include it" % (name, other, header))
            if not found and other in allowed:
                problems.append("%s cannot see %s (%s) but may include it" % (name, other, header))
    for p in problems:
        print(p)
    print("%d layers checked, %d problems" % (len(order), len(problems)))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
