#!/usr/bin/env python3
"""The ORM peer's labelled bulk variant of the map workloads (see sqlalchemy_orm.py)."""
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import sqlalchemy_orm  # noqa: E402

if __name__ == "__main__":
    sys.exit(sqlalchemy_orm.main(["--bulk"] + sys.argv[1:]))
