#!/usr/bin/env python3
"""Writes a title recipe and its timeline file of N overlay clips, each with one text item and
four keyframes, for timing the whole `packwright build`.

    make_timeline.py CLIPS FOLDER     writes FOLDER/recipe.json and FOLDER/timeline.json
"""
import json
import os
import sys


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__.strip())
    clips, folder = int(sys.argv[1]), sys.argv[2]
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "timeline.json"), "w") as out:
        out.write('{"tracks": ["main", "titles", "more titles"], "primaryTrack": 0, "clips": [\n')
        for i in range(clips):
            # Two overlapping title tracks; every key lies inside the visible part, so each merged
            # item carries all four keys.
            clip = {
                "track": 1 + i % 2, "content": "overlay", "position": i * 500, "length": 1000,
                "overlay": {"kind": "title", "name": "Title %d" % i, "duration": 1000,
                            "items": [{"name": "line", "kind": "text", "content": "Line %d" % i,
                                       "rect": {"x": 0.1, "y": 0.7, "width": 0.5,
                                                "height": 0.12}}]},
                "keyframes": [{"step": 0, "x": 0.3, "opacity": 0},
                              {"step": 0.25, "x": 0.5, "opacity": 1},
                              {"step": 0.75, "x": 0.5, "opacity": 1},
                              {"step": 1, "x": 0.7, "scaleX": 1.1, "scaleY": 1.1, "opacity": 0}],
            }
            out.write(json.dumps(clip, separators=(",", ":")))
            out.write(",\n" if i + 1 < clips else "\n")
        out.write("]}\n")
    recipe = {
        "name": "Timeline of %d clips" % clips,
        "output": "title.qpack",
        "components": [{"kind": "overlay", "overlayType": "title", "timeline": "timeline.json",
                        "firstItemSpan": 300, "secondItemSpan": 300,
                        "categories": ["bench"], "collectionId": "titles"}],
    }
    with open(os.path.join(folder, "recipe.json"), "w") as out:
        json.dump(recipe, out, indent=4)
        out.write("\n")


if __name__ == "__main__":
    main()
