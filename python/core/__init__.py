"""Keyframed parameters, speed curves and JSON documents of the library `core`.

    import core

    opacity = core.Parameter([(0.0, 0.0), (1.0, 1.0)])
    shown = opacity.sample_range(0.0, 1 / 24, 25)  # a NumPy array

Calls are those of the C++ library under Python's names: `GetValue` is `value`, `GetValues`
`sample`, `Serialize` `dumps`. Bad input raises ValueError, TypeError or IndexError, and
changes nothing.
"""
import collections.abc as _abc

from core._core import (
    EditTransaction,
    JsonArray,
    JsonObject,
    Parameter,
    Snapshot,
    SpeedParameter,
    SpeedSnapshot,
    __version__,
    merge_motion,
    pack,
    parse_json,
    parse_json_file,
    save_json,
    unpack,
    write_json,
)
from core._values import (
    EditConflict,
    Freeze,
    Interpolation,
    JsonError,
    Keyframe,
    PackError,
    ParameterType,
    Point,
)

__all__ = [
    "EditConflict",
    "EditTransaction",
    "Freeze",
    "Interpolation",
    "JsonArray",
    "JsonError",
    "JsonObject",
    "Keyframe",
    "PackError",
    "Parameter",
    "ParameterType",
    "Point",
    "Snapshot",
    "SpeedParameter",
    "SpeedSnapshot",
    "__version__",
    "merge_motion",
    "pack",
    "parse_json",
    "parse_json_file",
    "save_json",
    "unpack",
    "write_json",
]


def _complete(cls: type, abstract: type, names: str) -> None:
    """Gives a class what the standard library makes of its item access."""
    abstract.register(cls)  # type: ignore[attr-defined]
    for name in names.split():
        setattr(cls, name, getattr(abstract, name))


_complete(JsonObject, _abc.MutableMapping, "get items keys values pop popitem setdefault update")
_complete(JsonArray, _abc.MutableSequence,
          "count extend index pop remove reverse __reversed__ __iadd__")
