#!/usr/bin/env python3
"""The ORM peer: every workload through SQLAlchemy's ORM on SQLite (WAL, synchronous=NORMAL).

Command line and workload definitions: Benchmarks/README.md. `--bulk` selects the labelled
bulk variant of the map workloads (one query loads the stored rows, then plain attribute
updates) instead of session.merge per record.
"""
import argparse
import json
import os
import sys
import time

from sqlalchemy import (Boolean, Column, Float, ForeignKey, Integer, String, create_engine,
                        event, func, select)
from sqlalchemy.orm import Session, declarative_base

Base = declarative_base()


class BenchRecord(Base):
    __tablename__ = "BenchRecord"
    pk = Column(Integer, primary_key=True)
    entityID = Column(Integer, nullable=False, unique=True, index=True)
    userID = Column(Integer)
    category = Column(Integer)
    repeats = Column(Integer)
    sets = Column(Integer)
    duration = Column(Integer)
    weight = Column(Float)
    calories = Column(Float)
    proteins = Column(Float)
    fats = Column(Float)
    carbohydrates = Column(Float)
    title = Column(String)
    notes = Column(String)
    guid = Column(String)
    statusString = Column(String)
    unit = Column(String)
    createdAt = Column(Float)
    updatedAt = Column(Float)
    isFavorite = Column(Boolean)
    isHidden = Column(Boolean)


class MapRecord(Base):
    __tablename__ = "MapRecord"
    id = Column(Integer, primary_key=True, autoincrement=False)
    user_id = Column(Integer)
    title = Column(String)
    description = Column(String)
    weight = Column(Float)
    calories = Column(Float)
    is_public = Column(Boolean)
    status = Column(String)
    created_at = Column(String)
    position = Column(Integer)


class MapParent(Base):
    __tablename__ = "MapParent"
    id = Column(Integer, primary_key=True, autoincrement=False)
    title = Column(String)
    created_at = Column(String)


class MapChild(Base):
    __tablename__ = "MapChild"
    id = Column(Integer, primary_key=True, autoincrement=False)
    parent_id = Column(Integer, ForeignKey("MapParent.id"), index=True)
    title = Column(String)
    amount = Column(Float)
    position = Column(Integer)


PRODUCT_KEYS = [
    "title", "created_at", "category_id", "status", "description", "calories",
    "density_of_calories_index", "proteins", "fats", "carbohydrates", "cellulose",
    "cholesterol", "saturated_fats", "monounsaturated_fats", "polyunsaturated_fats",
    "trans_fatty_acids", "beta_carotene", "vitamin_a", "vitamin_b6", "vitamin_e", "vitamin_c",
    "riboflavin", "iron", "potassium", "calcium", "magnesium", "cuprum", "natrium",
    "phosphorus", "zinc", "antioxidant", "vitamin_d", "glycemia_index", "inflammatory_factor",
    "cooking_time",
]
TEXT_KEYS = {"title", "created_at", "status", "description"}
INT_KEYS = {"category_id", "cooking_time"}


def _product_column(key):
    if key in TEXT_KEYS:
        return Column(String)
    if key == "category_id":
        return Column(Integer, index=True)  # as the handbook store indexes it
    if key in INT_KEYS:
        return Column(Integer)
    return Column(Float)


PostProduct = type("PostProduct", (Base,), {
    "__tablename__": "PostProduct",
    "id": Column(Integer, primary_key=True, autoincrement=False),
    **{k: _product_column(k) for k in PRODUCT_KEYS},
})


def engine_for(path):
    engine = create_engine(f"sqlite:///{path}")

    @event.listens_for(engine, "connect")
    def _pragmas(conn, _record):
        cur = conn.cursor()
        cur.execute("PRAGMA journal_mode=WAL")
        cur.execute("PRAGMA synchronous=NORMAL")
        cur.close()

    Base.metadata.create_all(engine)
    return engine


def bench_record(i):
    return BenchRecord(
        entityID=i + 1, userID=i % 1000, category=i % 10, repeats=i % 20, sets=1 + i % 5,
        duration=i % 3600, weight=(i % 2000) / 10.0, calories=(i % 5000) / 4.0,
        proteins=(i % 300) / 3.0, fats=(i % 700) / 7.0, carbohydrates=(i % 900) / 9.0,
        title=f"Record {i}", notes=f"Notes for record {i} of the benchmark",
        guid=f"00000000-0000-4000-8000-{i:012d}",
        statusString="deleted" if i % 50 == 0 else "active", unit="kg" if i % 2 == 0 else "lb",
        createdAt=1704067200.0 + i, updatedAt=1704067200.0 + 2 * i, isFavorite=i % 3 == 0,
        isHidden=i % 7 == 0)


def fill_store(engine, n):
    with Session(engine) as session:
        session.add_all(bench_record(i) for i in range(n))
        session.commit()


def store_insert(d, n, _bulk):
    engine = engine_for(os.path.join(d, "store.sqlite"))
    start = time.perf_counter()
    fill_store(engine, n)
    seconds = time.perf_counter() - start
    with Session(engine) as session:
        return n, seconds, session.scalar(select(func.count()).select_from(BenchRecord))


def store_fetch_indexed(d, n, _bulk):
    engine = engine_for(os.path.join(d, "store.sqlite"))
    fill_store(engine, n)
    k = min(1000, n)
    start = time.perf_counter()
    user_sum = 0
    with Session(engine) as session:
        for j in range(k):
            obj = session.execute(
                select(BenchRecord).where(BenchRecord.entityID == 1 + (j * 7919) % n)).scalar_one()
            user_sum += obj.userID
    return k, time.perf_counter() - start, user_sum


def store_count(d, n, _bulk):
    engine = engine_for(os.path.join(d, "store.sqlite"))
    fill_store(engine, n)
    start = time.perf_counter()
    total = 0
    with Session(engine) as session:
        for q in range(10):
            total += session.scalar(
                select(func.count()).select_from(BenchRecord).where(
                    BenchRecord.category == q, BenchRecord.isFavorite.is_(True),
                    BenchRecord.weight > 50.0))
    return 10 * n, time.perf_counter() - start, total


FLAT_KEYS = ["user_id", "title", "description", "weight", "calories", "is_public", "status",
             "created_at", "position"]


def map_flat(engine, text, bulk):
    objects = json.loads(text)
    with Session(engine) as session:
        if bulk:
            # Load what is stored in one query, update it in place, add the rest.
            stored = {r.id: r for r in session.execute(select(MapRecord)).scalars()}
            for o in objects:
                row = stored.get(o["id"])
                if row is None:
                    session.add(MapRecord(**o))
                else:
                    for k in FLAT_KEYS:
                        setattr(row, k, o[k])
        else:
            for o in objects:
                session.merge(MapRecord(**o))
        session.commit()
    return len(objects)


def read(path):
    with open(path, encoding="utf-8") as f:
        return f.read()


def map_insert(d, _n, bulk, update=False):
    engine = engine_for(os.path.join(d, "store.sqlite"))
    text = read(os.path.join(d, "payload.json"))
    if update:
        map_flat(engine, text, bulk)
    start = time.perf_counter()
    count = map_flat(engine, text, bulk)
    seconds = time.perf_counter() - start
    with Session(engine) as session:
        return count, seconds, session.scalar(select(func.count()).select_from(MapRecord))


def map_nested(d, _n, bulk):
    engine = engine_for(os.path.join(d, "store.sqlite"))
    text = read(os.path.join(d, "payload.json"))
    start = time.perf_counter()
    parents = json.loads(text)
    count = 0
    with Session(engine) as session:
        for p in parents:
            rows = [MapParent(id=p["id"], title=p["title"], created_at=p["created_at"])]
            rows += [MapChild(id=c["id"], parent_id=p["id"], title=c["title"], amount=c["amount"],
                              position=c["position"]) for c in p["items"]]
            if bulk:
                session.add_all(rows)
            else:
                for r in rows:
                    session.merge(r)
            count += len(rows)
        session.commit()
    seconds = time.perf_counter() - start
    with Session(engine) as session:
        return count, seconds, session.scalar(select(func.count()).select_from(MapChild))


def store_products(engine, text):
    records = json.loads(text)["post_products"]
    with Session(engine) as session:
        # The idiomatic ORM upsert: load the stored rows once, update or add.
        stored = {r.id: r for r in session.execute(select(PostProduct)).scalars()}
        for rec in records:
            row = stored.get(rec["id"])
            if row is None:
                row = PostProduct(id=rec["id"])
                session.add(row)
            for k in PRODUCT_KEYS:
                setattr(row, k, rec.get(k))
        session.commit()
    return len(records)


def handbook_insert(d, _n, _bulk):
    engine = engine_for(os.path.join(d, "handbook.sqlite"))
    text = read(os.path.join(d, "payload-v1.json"))
    start = time.perf_counter()
    count = store_products(engine, text)
    seconds = time.perf_counter() - start
    with Session(engine) as session:
        total = session.scalar(select(func.sum(PostProduct.calories)))
    return count, seconds, int(round(total or 0))


def handbook_fetch_category(d, _n, _bulk):
    engine = engine_for(os.path.join(d, "handbook.sqlite"))
    store_products(engine, read(os.path.join(d, "payload-v1.json")))
    with Session(engine) as session:
        # The category holding the most posts (the lowest id among equals).
        category = session.execute(
            select(PostProduct.category_id).group_by(PostProduct.category_id)
            .order_by(func.count().desc(), PostProduct.category_id).limit(1)).scalar()
    start = time.perf_counter()
    with Session(engine) as session:
        posts = session.execute(select(PostProduct).where(PostProduct.category_id == category)
                                .order_by(PostProduct.id)).scalars().all()
        total = sum(p.id for p in posts)
    seconds = time.perf_counter() - start
    return len(posts), seconds, total


def handbook_update(d, _n, _bulk):
    engine = engine_for(os.path.join(d, "handbook.sqlite"))
    store_products(engine, read(os.path.join(d, "payload-v1.json")))
    text = read(os.path.join(d, "payload-v2.json"))
    start = time.perf_counter()
    count = store_products(engine, text)
    seconds = time.perf_counter() - start
    with Session(engine) as session:
        total = session.scalar(select(func.sum(PostProduct.calories)))
    return count, seconds, int(round(total or 0))


WORKLOADS = {
    "store.insert": store_insert,
    "store.fetch_indexed": store_fetch_indexed,
    "store.count": store_count,
    "map.insert": map_insert,
    "map.update": lambda d, n, bulk: map_insert(d, n, bulk, update=True),
    "map.nested": map_nested,
    "handbook.insert": handbook_insert,
    "handbook.update": handbook_update,
    "handbook.fetch_category": handbook_fetch_category,
}
BULK_WORKLOADS = ["map.insert", "map.update", "map.nested"]


def main(argv=None):
    ap = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    ap.add_argument("--list", action="store_true")
    ap.add_argument("--bulk", action="store_true")
    ap.add_argument("--workload")
    ap.add_argument("--records", type=int)
    ap.add_argument("--data-dir")
    a = ap.parse_args(argv)
    names = BULK_WORKLOADS if a.bulk else list(WORKLOADS)
    if a.list:
        print("\n".join(names))
        return 0
    if a.workload not in names or not a.records or not a.data_dir:
        ap.error("--workload NAME --records N --data-dir DIR required")
    records, seconds, check = WORKLOADS[a.workload](a.data_dir, a.records, a.bulk)
    impl = "SQLAlchemy ORM (bulk)" if a.bulk else "SQLAlchemy ORM"
    print(json.dumps({"workload": a.workload, "impl": impl, "records": records,
                      "seconds": seconds, "check": str(check)}))
    return 0


if __name__ == "__main__":
    sys.exit(main())
