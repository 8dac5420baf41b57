"""The JSON of every command against the schema, and the schema against changes of that JSON.

usage: result_schema_test.py PROGRAM SCHEMA DOCUMENT
"""
import copy
import json
import math
import pathlib
import random
import re
import subprocess
import sys
import tempfile
import unittest

import jsonschema

PROGRAM, SCHEMA, DOCUMENT = (pathlib.Path(argument) for argument in sys.argv[1:4])
FITS = {"line": ["line"], "arc": ["arc"], "plane": ["plane"], "patch": ["patch"], "sphere": ["sphere"],
        "cylinder": ["cylinder"], "bounded-cylinder": ["bounded-cylinder"], "cone": ["cone"],
        "bounded-cone": ["bounded-cone"], "torus": ["torus"], "elbow": ["elbow"],
        "pipe": ["pipe", "--pick=1,0,0.5", "--radius-hint=1.2", "--classic"]}
SCENES = {"line": "line", "arc": "arc", "plane": "plane", "patch": "plane", "sphere": "sphere", "torus": "torus",
          "elbow": "torus", "cone": "cone", "bounded-cone": "cone"}


def points(scene):
    """Points near a shape of size 1 about the origin."""
    chance = random.Random(scene)
    for _ in range(600):
        u, v = chance.uniform(0, 2), chance.uniform(0, 2 * math.pi)
        r = {"cone": u, "torus": 3 + math.cos(v)}.get(scene, 1) + chance.gauss(0, 0.001)
        around = (r * math.cos(v), r * math.sin(v), u)
        yield {"line": (u, 0.001 * around[0], 0.001 * around[1]), "plane": (u, v, 0.001 * around[0]),
               "arc": (r * math.cos(u), r * math.sin(u), 0.001 * around[0]),
               "sphere": (r * math.sqrt(1 - (u - 1) ** 2) * math.cos(v), r * math.sqrt(1 - (u - 1) ** 2) * math.sin(v),
                          r * (u - 1)),
               "torus": (r * math.cos(u), r * math.sin(u), math.sin(v))}.get(scene, around)


def strict(schema):
    """The schema without room for members that it does not name."""
    if isinstance(schema, dict):
        schema = {key: strict(value) for key, value in schema.items()}
        if schema.get("type") == "object" and "additionalProperties" not in schema:
            schema["additionalProperties"] = False
    return schema


def places(value, path=()):
    """Every place in a document, with the value there."""
    if path:
        yield path, value
    if isinstance(value, (dict, list)):
        for key, child in value.items() if isinstance(value, dict) else list(enumerate(value))[:1]:
            yield from places(child, path + (key,))


def changed(document, path, value=None):
    """A copy with another value at a place, or without that member."""
    document = copy.deepcopy(document)
    parent = document
    for key in path[:-1]:
        parent = parent[key]
    if value is None:
        del parent[path[-1]]
    else:
        parent[path[-1]] = value
    return document


class ResultSchema(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.schema = json.loads(SCHEMA.read_text())
        jsonschema.Draft202012Validator.check_schema(cls.schema)
        cls.validator = jsonschema.Draft202012Validator(strict(cls.schema))

    def run_program(self, *arguments, scene="cylinder"):
        path = self.folder / f"{scene}.xyz"
        if not path.exists():
            path.write_text("".join("{} {} {}\n".format(*p) for p in points(scene)))
        out = subprocess.run([PROGRAM, *arguments, "--json", path], capture_output=True, text=True, check=False)
        self.assertIn(out.returncode, (0, 1, 3), out.stderr)
        return json.loads(out.stdout)

    def accept(self, document):
        self.assertEqual([f"{e.json_path}: {e.message}" for e in self.validator.iter_errors(document)], [])

    def test_every_command_writes_what_the_schema_says(self):
        for command, arguments in FITS.items():
            scene = SCENES.get(command, "cylinder")
            for method in ([], ["--classic"]) if command != "pipe" else ([],):
                with self.subTest(command=command, method=method):
                    document = self.run_program(*arguments, *method, "--seed=1", scene=scene)
                    self.accept(document)
                    self.assertEqual(document["status"], "fitted")
                    self.assertEqual(document["shapes"][0]["kind"], command.replace("pipe", "cylinder"))
        self.accept(self.run_program("info"))
        nothing = self.run_program("plane", "--near=90,90,90,1", "--noise=0.1", "--start=0,0,0,0,0,1", "--fix-normal")
        self.accept(nothing)
        self.assertEqual((nothing["status"], nothing["shapes"]), ("nothing", []))

    def test_the_simpler_shape_has_the_units_of_the_result(self):
        for command, scene, kind, parts in (("cone", "cylinder", "cylinder", ("origin", "radius", "axis")),
                                            ("arc", "line", "line", ("root", "direction"))):
            with self.subTest(command=command):
                document = self.run_program(command, "--seed=1", "--unit=mm", scene=scene)
                self.accept(document)
                simpler = document["shapes"][0]["simpler"]
                self.assertEqual((simpler["kind"], tuple(simpler["parts"])), (kind, parts))
                self.assertAlmostEqual(simpler["rms"], 0.001, delta=0.0005)
                flat = [x for part in simpler["parts"].values()
                        for x in (part["value"] if isinstance(part["value"], list) else [part["value"]])]
                self.assertEqual(flat, simpler["numbers"][:len(flat)])
                for part in simpler["parts"].values():
                    self.assertLess(part["standard_deviation"], 0.01)

    def test_a_member_that_is_missing_or_of_another_type_fails(self):
        document = self.run_program("patch", "--seed=1", "--near=0,0,0,9", scene="plane")
        optional = 0
        for path, value in places(document):
            if path[0] == "options" or path[-1] == 0:
                continue
            name = path[-1]
            for wrong in ({"x": 1}, [["x"]], True, "x"):
                is_text = isinstance(value, str) and name not in (
                    "status", "verdict", "stop_reason", "quantity", "kind", "method", "length_source", "angle", "time",
                    "xxh128") and path[:2] != ("schema", "name")
                if type(wrong) is type(value) and (is_text or not isinstance(value, (str, dict, list))):
                    continue
                if isinstance(wrong, list) and name in ("joints", "runs"):
                    continue
                self.assertFalse(self.validator.is_valid(changed(document, path, wrong)), (path, wrong))
            if self.validator.is_valid(changed(document, path)):
                optional += 1
                self.assertIn(name, ("reason", "xxh128", "sampled", "set_aside", "of_no_shape", "extent", "fitting",
                                     "standard_deviation", "covariance", "verdict", "converged", "inlier_share", "noise",
                                     "coordinate_step", "form_error", "method", "seed", "search", "direction", "origin",
                                     "normal"), path)
        self.assertGreater(optional, 10)

    def test_every_member_is_explained(self):
        text = DOCUMENT.read_text()

        def names(schema):
            for key, value in schema.items():
                if key == "properties":
                    yield from value
                if isinstance(value, dict):
                    yield from names(value)
        missing = {name for name in names(self.schema) if not re.search(f"`([a-z_]+\\.)*{name}`", text)}
        self.assertEqual(missing, set())


unittest.main(argv=sys.argv[:1])
