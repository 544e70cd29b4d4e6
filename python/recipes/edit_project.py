"""Reads a project, changes it, saves it as text and packed."""
import pathlib
import tempfile

import core

project = core.parse_json('{"name": "intro", "tracks": [{"gain": 0.5, "tags": ["draft"]}]}')
assert isinstance(project, core.JsonObject)
project["tracks"][0]["tags"].append("music")
project.set("/tracks/1/gain", 0.25)
for track in project["tracks"]:
    print(track["gain"], track.get("tags"))

folder = pathlib.Path(tempfile.mkdtemp())
core.save_json(folder / "project.json", project, pretty=True)
assert core.parse_json_file(folder / "project.json") == project
packed = core.pack(project)
print(len(packed), "bytes packed,", len(core.write_json(project)), "as text")
assert core.unpack(packed) == project

try:
    core.parse_json('{"gain": 0.5,}')
except core.JsonError as error:
    print(error, "at byte", error.offset)
