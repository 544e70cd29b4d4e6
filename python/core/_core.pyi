import os
from typing import (Any, Dict, Iterable, Iterator, List, Literal, Mapping, MutableMapping,
                    MutableSequence, Optional, Sequence, SupportsIndex, Tuple, Type, TypeVar, Union,
                    overload)
from types import TracebackType

import numpy as np
from numpy.typing import ArrayLike, NDArray

from core._values import (Freeze, Keyframe, KeyframeLike, ParameterType, PointLike, Range, Value,
                          ValueLike)

__version__: str

_Json = Union[None, bool, int, float, str, JsonObject, JsonArray]
_JsonLike = Union[None, bool, int, float, str, Mapping[str, Any], Sequence[Any], NDArray[Any]]
_Speed = TypeVar("_Speed", bound=SpeedParameter)

class _Curve:
    def value(self, time: float, *, clamp: bool = ...) -> Value:
        """The value at a time, with `clamp` within the value range."""
    def sample(self, times: ArrayLike, *, clamp: bool = ...,
               out: Optional[NDArray[Any]] = ...) -> NDArray[Any]:
        """The values at many times, all of one moment, in the shape of `times`: float64, int32,
        bool or str objects as the type says; points are rows of two in a further dimension.

        They go to `out` where one is given. Other threads of Python run meanwhile."""
    def sample_range(self, start: float, step: float, count: int, *, clamp: bool = ...,
                     out: Optional[NDArray[Any]] = ...) -> NDArray[Any]:
        """The same at start, start + step, start + 2 step, ..."""
    def area(self, start: float, stop: float) -> float:
        """The integral over time, without clamping."""
    def solve_area(self, start: float, area: float) -> float:
        """The first time from `start` on at which the area is reached; the last keyframe's
        time where it never is."""
    def index(self, time: float) -> int:
        """The index of the keyframe at a time, within 1e-7; ValueError where there is none."""
    def dumps(self) -> str:
        """The stored text: numbers with eight decimals."""
    @property
    def type(self) -> ParameterType: ...
    @property
    def value_range(self) -> Range: ...
    @property
    def base_ratio(self) -> Value: ...
    def __len__(self) -> int: ...
    @overload
    def __getitem__(self, index: SupportsIndex) -> Keyframe: ...
    @overload
    def __getitem__(self, index: slice) -> List[Keyframe]: ...
    def __iter__(self) -> Iterator[Keyframe]:
        """The keyframes as they are now; later edits do not change the walk."""

class Snapshot(_Curve):
    """A curve as it was at one moment; any thread may ask it."""

    def to_parameter(self) -> Parameter:
        """A parameter of its own with this curve."""
    def changed_between(self, other: Snapshot) -> Optional[Tuple[float, float]]:
        """The times outside which both have the same samples (the second one is not part of
        them); None where they have them everywhere."""
    def __copy__(self) -> Snapshot: ...
    def __deepcopy__(self, memo: Dict[int, Any]) -> Snapshot: ...

class Parameter(_Curve):
    """An animatable value, a sequence of its keyframes; any thread may edit and ask it.

    Copies are exact; pickles hold the stored text."""

    def __init__(self, keyframes: Iterable[KeyframeLike] = ..., *,
                 type: Optional[ParameterType] = ..., constant: Optional[ValueLike] = ...) -> None:
        """Of doubles, or as `type` or the kind of `constant` says."""
    @staticmethod
    def loads(text: Union[str, bytes]) -> Parameter:
        """What `dumps` has written; JsonError where it is no JSON, ValueError where no curve."""
    @property
    def type(self) -> ParameterType: ...
    @type.setter
    def type(self, type: ParameterType) -> None: ...
    @property
    def value_range(self) -> Range: ...
    @value_range.setter
    def value_range(self, range: Range) -> None: ...
    @property
    def base_ratio(self) -> Value: ...
    @base_ratio.setter
    def base_ratio(self, ratio: Optional[float]) -> None: ...
    @property
    def constant(self) -> Value: ...
    @property
    def revision(self) -> int:
        """Grows with every change."""
    @property
    def digest(self) -> str:
        """32 hexadecimal digits that identify the keyframes as a reader of the text has them."""
    def add(self, time: float, value: ValueLike, interpolation: int = ...) -> int:
        """Adds a keyframe, or replaces the one at that time, and answers its index."""
    def extend(self, keyframes: Iterable[KeyframeLike]) -> None:
        """Adds many, in any order, as one edit. Handles that are not given are automatic."""
    def update(self, index: SupportsIndex, *, time: Optional[float] = ...,
               value: Optional[ValueLike] = ..., interpolation: Optional[int] = ...,
               left: Optional[PointLike] = ..., right: Optional[PointLike] = ...) -> int:
        """Changes what is given of a keyframe, as one edit, and answers its index then."""
    def __delitem__(self, index: Union[SupportsIndex, slice]) -> None: ...
    def clear(self) -> None: ...
    def remove_after(self, time: float) -> None: ...
    def edit(self) -> EditTransaction:
        """`with parameter.edit() as draft:` makes the edits of the draft as one when the block
        ends; none where it raises, or where the parameter was changed meanwhile."""
    def snapshot(self) -> Snapshot: ...
    def restore(self, snapshot: Snapshot) -> None: ...
    def split_motion(self) -> Tuple[Parameter, Parameter]:
        """The x and the y of a point parameter."""
    def __copy__(self) -> Parameter: ...
    def __deepcopy__(self, memo: Dict[int, Any]) -> Parameter: ...

class EditTransaction:
    def __enter__(self) -> Parameter: ...
    def __exit__(self, type: Optional[Type[BaseException]], value: Optional[BaseException],
                 traceback: Optional[TracebackType]) -> None:
        """EditConflict where the parameter was changed meanwhile."""

class _Clip:
    @property
    def freezes(self) -> List[Freeze]:
        """In the order of their places; freezes that near-zero speeds turned into among them."""
    @property
    def render_total_time(self) -> float: ...
    def source_time(self, render_time: float) -> float: ...
    def source_times(self, times: ArrayLike, *,
                     out: Optional[NDArray[np.float64]] = ...) -> NDArray[np.float64]: ...
    def render_time(self, source_time: float) -> float: ...
    def render_times(self, times: ArrayLike, *,
                     out: Optional[NDArray[np.float64]] = ...) -> NDArray[np.float64]: ...
    def speed(self, render_time: float) -> float: ...
    def speeds(self, times: ArrayLike, *,
               out: Optional[NDArray[np.float64]] = ...) -> NDArray[np.float64]: ...
    def point_to_render_time(self, point_time: float) -> float: ...
    def point_to_render_times(self, times: ArrayLike, *,
                              out: Optional[NDArray[np.float64]] = ...) -> NDArray[np.float64]: ...
    def render_to_point_time(self, render_time: float) -> float: ...
    def render_to_point_times(self, times: ArrayLike, *,
                              out: Optional[NDArray[np.float64]] = ...) -> NDArray[np.float64]: ...
    def velocity_curve(self, index: int) -> Tuple[float, float, float, float]:
        """The speed along a stretch, a + b t + c t^2 + d t^3."""

class SpeedSnapshot(_Clip):
    """A speed curve as it was at one moment, freezes and all; any thread may ask it."""

    @property
    def keyframes(self) -> Snapshot: ...
    @property
    def source_total_time(self) -> float: ...
    @property
    def source_fps(self) -> float: ...
    @property
    def reverse(self) -> bool: ...
    def dumps(self) -> str: ...
    def to_parameter(self) -> SpeedParameter:
        """A speed curve of its own."""
    def changed_between(self, other: SpeedSnapshot) -> Optional[Tuple[float, float]]:
        """The render times outside which both show the same (the second one is not part of
        them); None where they do so everywhere."""
    def __copy__(self) -> SpeedSnapshot: ...
    def __deepcopy__(self, memo: Dict[int, Any]) -> SpeedSnapshot: ...

class SpeedParameter(Parameter, _Clip):
    """The speed of a clip: which source time is shown at a render time, and when a source time
    is shown. Keyframes lie on source time; point time is that with the freezes counted.

    `edit`, `snapshot` and `restore` are about all of it; given a `Snapshot`, `restore` brings its
    keyframes back and leaves the freezes."""

    def __init__(self, source_total_time: Optional[float] = ...,
                 keyframes: Iterable[KeyframeLike] = ...) -> None: ...
    @staticmethod
    def loads(text: Union[str, bytes]) -> SpeedParameter: ...
    def add_freeze(self, point_time: float, duration: float) -> None:
        """Shows an instant for that long."""
    def set_freeze_duration(self, index: int, duration: float) -> None: ...
    def edit(self) -> _SpeedEditTransaction: ...  # type: ignore[override]
    def snapshot(self) -> SpeedSnapshot: ...  # type: ignore[override]
    def restore(self, snapshot: Union[Snapshot, SpeedSnapshot]) -> None: ...
    def reverted(self: _Speed) -> _Speed: ...
    @property
    def source_total_time(self) -> float: ...
    @source_total_time.setter
    def source_total_time(self, length: float) -> None: ...
    @property
    def source_fps(self) -> float: ...
    @source_fps.setter
    def source_fps(self, fps: float) -> None: ...
    @property
    def reverse(self) -> bool: ...
    @reverse.setter
    def reverse(self, reverse: bool) -> None: ...
    def __copy__(self) -> SpeedParameter: ...
    def __deepcopy__(self, memo: Dict[int, Any]) -> SpeedParameter: ...

class _SpeedEditTransaction:
    def __enter__(self) -> SpeedParameter: ...
    def __exit__(self, type: Optional[Type[BaseException]], value: Optional[BaseException],
                 traceback: Optional[TracebackType]) -> None:
        """EditConflict where the speed curve was changed meanwhile."""

def merge_motion(x: Parameter, y: Parameter) -> Parameter:
    """A point parameter with these two dimensions."""

class _Tree:
    def to_python(self) -> Any:
        """The same as dict, list, str, int, float, bool and None."""
    def find(self, pointer: str, default: Any = ...) -> Any:
        """The value at a place below (RFC 6901, as in "/tracks/0/gain")."""
    def set(self, pointer: str, value: _JsonLike) -> None:
        """Sets the value at a place below; what is missing on the way is made."""

class JsonObject(_Tree, MutableMapping[str, Any]):
    """An object of a JSON document, which lives as long as anything of it is held. Of several
    members with one name the first counts."""

    def __init__(self, items: Union[Mapping[str, Any], Iterable[Tuple[str, Any]]] = ...) -> None: ...
    def __getitem__(self, name: str) -> Any: ...
    def __setitem__(self, name: str, value: _JsonLike) -> None: ...
    def __delitem__(self, name: str) -> None: ...
    def __iter__(self) -> Iterator[str]: ...
    def __len__(self) -> int: ...
    def __copy__(self) -> JsonObject: ...
    def __deepcopy__(self, memo: Dict[int, Any]) -> JsonObject: ...

class JsonArray(_Tree, MutableSequence[Any]):
    """An array of a JSON document, which lives as long as anything of it is held."""

    def __init__(self, elements: Iterable[Any] = ...) -> None: ...
    @overload
    def __getitem__(self, index: int) -> Any: ...
    @overload
    def __getitem__(self, index: slice) -> List[Any]: ...  # type: ignore[override]
    def __setitem__(self, index: int, value: _JsonLike) -> None: ...  # type: ignore[override]
    def __delitem__(self, index: Union[int, slice]) -> None: ...
    def __len__(self) -> int: ...
    def insert(self, index: int, value: _JsonLike) -> None: ...
    def append(self, value: _JsonLike) -> None: ...
    def __copy__(self) -> JsonArray: ...
    def __deepcopy__(self, memo: Dict[int, Any]) -> JsonArray: ...

_Overflow = Literal["refuse", "double", "saturate"]
_Foreign = Literal["refuse", "skip", "keep"]

def parse_json(text: Union[str, bytes, bytearray, memoryview], *, wide: bool = ...,
               overflow: _Overflow = ..., any_bytes: bool = ...) -> _Json:
    """Reads a whole JSON text; JsonError says where it is none. `wide` takes what the library's
    older reader takes; `any_bytes` keeps bytes that are no UTF-8, as surrogate escapes."""

def parse_json_file(path: Union[str, bytes, os.PathLike[str]], *, wide: bool = ...,
                    overflow: _Overflow = ..., any_bytes: bool = ...) -> _Json:
    """The same for a file; OSError where it can't be read."""

def write_json(value: _JsonLike, *, pretty: bool = ..., nan_as_null: bool = ...,
               any_bytes: bool = ...) -> str:
    """JSON text that loses nothing; JsonError names the value that has none."""

def save_json(path: Union[str, bytes, os.PathLike[str]], value: _JsonLike, *, pretty: bool = ...,
              nan_as_null: bool = ..., any_bytes: bool = ...) -> None:
    """Saves that text: whatever happens, the file is the old one or the new one, whole."""

def pack(value: _JsonLike) -> bytes:
    """The packed form of a tree, which is MessagePack."""

def unpack(data: Union[bytes, bytearray, memoryview], *, binary: _Foreign = ...,
           extensions: _Foreign = ..., timestamps: Literal["text", "seconds", "extension"] = ...,
           keys: Literal["texts", "integers"] = ..., zeros: Literal["refuse", "cut"] = ...,
           any_bytes: bool = ..., max_depth: int = ...) -> _Json:
    """Reads packed data, whoever wrote it; PackError where it is none. The choices say what
    becomes of items that JSON does not have."""
