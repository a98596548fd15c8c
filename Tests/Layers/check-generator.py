#!/usr/bin/env python3
"""Checks where the record generator puts relationship accessors across layers.

usage: check-generator.py GENERATOR
Generates a two-subsystem model (Low: an owner with to-many items and a to-one badge; High:
the items and badges pointing back) into temporary directories and checks:
- with --layers Low,High, the owner's source includes nothing of High, and High gets one
  source defining exactly the owner's accessors into High;
- without --layers, the owner's source defines them all (nothing is moved);
- --list names exactly the files written, both ways.
Prints each failure; exit status 1 if any.
"""
import json
import os
import subprocess
import sys
import tempfile

LOW = {"entities": [
    {"name": "Owner", "class": "OwnerEntity", "attributes": [{"name": "title", "type": "string"}],
     "relationships": [
         {"name": "items", "destination": "Item", "inverse": "owner", "toMany": True},
         {"name": "badge", "destination": "Badge", "inverse": "owner"},
         {"name": "peers", "destination": "Owner", "inverse": "peers", "toMany": True}]}]}
HIGH = {"entities": [
    {"name": "Item", "class": "ItemEntity",
     "relationships": [{"name": "owner", "destination": "Owner", "inverse": "items"}]},
    {"name": "Badge", "class": "BadgeEntity",
     "relationships": [{"name": "owner", "destination": "Owner", "inverse": "badge"}]}]}


def generate(generator, model_dir, out, layers):
    args = [sys.executable, generator, "--out", out] + (["--layers", layers] if layers else [])
    listed = subprocess.run(args + ["--list", model_dir], check=True, capture_output=True,
                            text=True).stdout.strip().split(";")
    subprocess.run(args + [model_dir], check=True)
    written = sorted(os.path.join(root, f) for root, _, files in os.walk(out) for f in files)
    return sorted(listed), written


def read(path):
    with open(path, encoding="utf-8") as f:
        return f.read()


def main():
    generator = sys.argv[1]
    failures = []

    def expect(condition, message):
        if not condition:
            failures.append(message)

    with tempfile.TemporaryDirectory() as tmp:
        model_dir = os.path.join(tmp, "Toy")
        os.makedirs(model_dir)
        for name, part in (("Model", {"name": "Toy", "subsystems": ["Low", "High"],
                                      "descriptors": False}), ("Low", LOW), ("High", HIGH)):
            with open(os.path.join(model_dir, name + ".json"), "w", encoding="utf-8") as f:
                json.dump(part, f)

        layered = os.path.join(tmp, "layered")
        listed, written = generate(generator, model_dir, layered, "Low,High")
        expect(listed == written, "with --layers, --list differs from the files written")
        owner = read(os.path.join(layered, "Low", "OwnerEntity.cpp"))
        expect("High/" not in owner, "the owner's source includes a header of the higher layer")
        expect("OwnerEntity::peers()" in owner, "the owner's own-layer accessor left its source")
        moved_path = os.path.join(layered, "High", "OwnerEntityRelationships.cpp")
        expect(os.path.exists(moved_path), "no source of the higher layer for the owner")
        if os.path.exists(moved_path):
            moved = read(moved_path)
            for accessor in ("OwnerEntity::items()", "OwnerEntity::addItemsObject",
                             "OwnerEntity::badge()", "OwnerEntity::setBadge"):
                expect(accessor in moved, "%s is not defined in the higher layer" % accessor)
            expect("OwnerEntity::peers()" not in moved, "an own-layer accessor was moved up")
        item = read(os.path.join(layered, "High", "ItemEntity.cpp"))
        expect("ItemEntity::owner()" in item, "a downward accessor left its own source")

        plain = os.path.join(tmp, "plain")
        listed, written = generate(generator, model_dir, plain, None)
        expect(listed == written, "without --layers, --list differs from the files written")
        expect(not any(p.endswith("Relationships.cpp") for p in written),
               "without --layers, accessors were moved")
        owner = read(os.path.join(plain, "Low", "OwnerEntity.cpp"))
        expect("OwnerEntity::items()" in owner and "OwnerEntity::badge()" in owner,
               "without --layers, the owner's source lacks its accessors")

    for f in failures:
        print(f)
    print("%d problems" % len(failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
