#!/usr/bin/env python3
"""Validates the bundled examples, and the recipes and timeline files that the test suite built,
against the JSON Schemas of the recipe and the timeline file, and checks that the schemas reject
documents that the tool's readers refuse.

Usage: checks_schemas.py SOURCE_DIR [BUILT_RECIPES_DIR]
A recipe that the tool built but the schema refuses means the schema is too strict.
"""
import json
import pathlib
import sys

import jsonschema

source = pathlib.Path(sys.argv[1])
schemas = {name: json.loads((source / "docs" / "schemas" / f"{name}.schema.json").read_text())
           for name in ("recipe", "timeline")}
failures = []


def validator(name):
    schema = schemas[name]
    jsonschema.Draft202012Validator.check_schema(schema)
    return jsonschema.Draft202012Validator(schema)


def errors(name, document):
    return [error.message for error in validator(name).iter_errors(document)]


# Every example: recipes hold components, the timelines they name are timeline files.
examples = source / "examples"
timelines = set()
recipes = sorted(examples.glob("*.json"))
for path in recipes:
    document = json.loads(path.read_text())
    for problem in errors("recipe", document):
        failures.append(f"{path.relative_to(source)}: {problem}")
    for component in document.get("components", []):
        if "timeline" in component:
            timelines.add((examples / component["timeline"]).resolve())
for path in sorted(timelines | set(examples.glob("media/*.json"))):
    for problem in errors("timeline", json.loads(pathlib.Path(path).read_text())):
        failures.append(f"{pathlib.Path(path).relative_to(source)}: {problem}")
if not recipes or not timelines:
    failures.append("no example recipes or timelines found")

# What the tests built: `<hash>.recipe.json` and `<hash>.timeline.json`, kept by the test support.
built = {"recipe": [], "timeline": []}
if len(sys.argv) > 2 and pathlib.Path(sys.argv[2]).is_dir():
    for name in built:
        built[name] = sorted(pathlib.Path(sys.argv[2]).glob(f"*.{name}.json"))
for name, paths in built.items():
    for path in paths:
        try:
            document = json.loads(path.read_text())
        except ValueError:
            continue  # a test of what the reader says of broken JSON that still built
        for problem in errors(name, document):
            failures.append(f"{path}: {problem}")

lut = {"kind": "lut-effect", "lut": "warm.cube"}
broken_recipes = {
    "no name": {"components": []},
    "no components": {"name": "x"},
    "an unknown top-level field": {"name": "x", "components": [], "outptu": "x.qpack"},
    "a name with a path separator": {"name": "a/b", "components": []},
    "an unknown kind": {"name": "x", "components": [{"kind": "lutt", "lut": "a.cube"}]},
    "a LUT effect without its LUT": {"name": "x", "components": [{"kind": "lut-effect"}]},
    "a misspelt component field": {"name": "x", "components": [dict(lut, titel="Warm")]},
    "an intensity that is text": {"name": "x", "components": [
        {"kind": "shader-effect", "shader": "a.frag", "intensity": "high"}]},
    "an import with a file and a download": {"name": "x", "components": [
        {"kind": "import", "file": "a.mp4", "remoteUrl": "https://x/a", "packageName": "a"}]},
    "an import of no file": {"name": "x", "components": [{"kind": "import"}]},
    "an unknown import kind": {"name": "x", "components": [
        {"kind": "import", "file": "a.mp4", "importKind": "movie"}]},
    "a mask transition with a title": {"name": "x", "components": [
        {"kind": "mask-transition", "source": "m.png", "title": "Wipe"}]},
    "an overlay with the intermediate form's field": {"name": "x", "components": [
        {"kind": "overlay", "timeline": "t.json", "introCollectionId": "intros"}]},
    "a frame rate that is not whole": {"name": "x", "components": [
        {"kind": "overlay", "timeline": "t.json", "videoTiming": {"frameRate": 25.5}}]},
    "a preview in both spellings": {"name": "x", "preview": "a.png", "previewPath": "a.png",
                                    "components": []},
    "a package file in both spellings": {"name": "x", "output": "a.qpack", "package": "a.qpack",
                                         "components": []},
    "an import's file in both spellings": {"name": "x", "components": [
        {"kind": "import", "file": "a.mp4", "path": "a.mp4"}]},
    "an import type in both spellings": {"name": "x", "components": [
        {"kind": "import", "path": "a.mp4", "importType": "video", "importKind": "video"}]},
    "an item's preview in both spellings": {"name": "x", "components": [
        dict(lut, preview="a.png", previewPath="a.png")]},
}
clip = {"track": 0, "position": 0, "length": 1000}
broken_timelines = {
    "no tracks": {"clips": []},
    "a negative length": {"tracks": ["a"], "clips": [dict(clip, length=-1)]},
    "a time that is not whole": {"tracks": ["a"], "clips": [dict(clip, position=0.5)]},
    "an unknown content": {"tracks": ["a"], "clips": [dict(clip, content="text")]},
    "media without a source": {"tracks": ["a"], "clips": [dict(clip, media={"streams": []})]},
    "both a rect and a matrix": {"tracks": ["a"], "clips": [dict(clip, overlay={"items": [
        {"rect": {"x": 0, "y": 0, "width": 1, "height": 1}, "matrix": [1, 0, 0, 0, 1, 0, 0, 0, 1]}]})]},
    "a matrix of eight numbers": {"tracks": ["a"], "clips": [dict(clip, effects=[
        {"type": "picture-in-picture", "matrix": [1, 0, 0, 0, 1, 0, 0, 0]}])]},
    "a keyframe without a step": {"tracks": ["a"], "clips": [dict(clip, keyframes=[{"x": 0.5}])]},
    "an unknown item kind": {"tracks": ["a"], "clips": [dict(clip, overlay={"items": [
        {"kind": "emoji"}]})]},
    "a scene too wide": {"tracks": ["a"], "clips": [], "scene": {"width": 70000, "height": 10}},
    "a content kind in both spellings": {"tracks": ["a"], "clips": [
        dict(clip, content="video", contentKind="video")]},
    "a fade in both spellings": {"tracks": ["a"], "clips": [dict(clip, overlay={"items": [
        {"fadeOut": 0.1, "secondFraction": 0.1}]})]},
}
for schema, cases in (("recipe", broken_recipes), ("timeline", broken_timelines)):
    for what, document in cases.items():
        if not errors(schema, document):
            failures.append(f"the {schema} schema accepts {what}")

for failure in failures:
    print(failure)
print(f"{len(recipes)} example recipes, {len(timelines)} example timelines, "
      f"{len(built['recipe'])} test recipes, {len(built['timeline'])} test timelines, "
      f"{len(broken_recipes) + len(broken_timelines)} broken documents: "
      + ("ok" if not failures else f"{len(failures)} failures"))
sys.exit(1 if failures else 0)
