"""Validates what every command writes by --json against the schema that comes with the tool, compares the digests of its
inputs with those of another implementation, and sees that the schema refuses documents that depart from it.
Usage: json_schema.py XEMFIT DATA SCHEMA"""

import copy
import hashlib
import json
import pathlib
import subprocess
import sys

from jsonschema import Draft202012Validator

COMMANDS = """
hyper fit --model polynomial:1..3 --uniaxial treloar1944_uniaxial.csv
hyper fit --model polynomial:2 --uniaxial silicone_uniaxial.csv --hold C10=0.1 --residual relative
hyper fit --model ogden:1,blatz-ko,yeoh --uniaxial silicone_uniaxial.csv --volumetric silicone_volumetric.csv
volume fit --terms 1 silicone_volumetric.csv
prony fit --terms 3 polymer_relaxation.csv --bounds tau1=:0.1 --range 0.01: --bootstrap 5,3 --band
prony shift dma_pvb_raw.csv --reference-temperature 60 --band
prony fit --terms 3 dma_pvb_raw.csv --reference-temperature 60
creep fit --type primary metal_creep_500MPa.csv
cyclic fit --family power,hyperbolic --stiffness seed_idriss1970_sand_stiffness.csv
cyclic fit --family ghe --stiffness seed_idriss1970_sand_stiffness.csv --damping seed_idriss1970_sand_damping.csv
forming curve --hardening ghosh:518.968,0.0007648,0.28985,0 --yield vonmises --paths 5
retention fit --model van-genuchten unsoda_retention.csv --select soil=4521
"""

WRONG = [
    lambda d: d.pop("status"),
    lambda d: d.update(residual="squared"),
    lambda d: d["parameters"][0].update(value="0.5"),
    lambda d: d["parameters"][0]["interval"].pop(),
    lambda d: d["curves"][0].update(points=-1),
    lambda d: d["derived"][0].pop("unit"),
    lambda d: d["inputs"][0].update(sha256="short"),
    lambda d: d["options"].pop("engine"),
]

tool, data, schema_file = sys.argv[1:]
with open(schema_file) as file:
    schema = json.load(file)
Draft202012Validator.check_schema(schema)
validator = Draft202012Validator(schema)
failures = []
first = None
for line in COMMANDS.split("\n"):
    if not line:
        continue
    run = subprocess.run([tool, *line.split(), "--json", "-"], cwd=data, capture_output=True, text=True)
    if run.returncode != 0:
        failures.append(f"{line}: exit code {run.returncode}: {run.stderr}")
        continue
    document = json.loads(run.stdout)
    first = first or document
    failures += [f"{line}: {'/'.join(map(str, e.path))}: {e.message}" for e in validator.iter_errors(document)]
    for source in document["inputs"]:
        if source["sha256"] != hashlib.sha256(pathlib.Path(data, source["file"]).read_bytes()).hexdigest():
            failures.append(f"{line}: the digest of {source['file']} is another")
for number, depart in enumerate(WRONG):
    document = copy.deepcopy(first)
    depart(document)
    if validator.is_valid(document):
        failures.append(f"departure {number} is not noticed")
print("\n".join(failures) if failures else "every command writes what the schema says")
sys.exit(1 if failures else 0)
