"""The plain values and the exceptions of the module."""
import enum
from typing import NamedTuple, Optional, Tuple, Type, Union


class Interpolation(enum.IntEnum):
    """How a curve runs from a keyframe to the next; stored curves hold these numbers.

    Members of one group are evaluated alike.
    """

    BEZIER = 0
    LINEAR = 1
    BEZIER2 = 2
    BEZIER3 = 3
    BEZIER4 = 4
    BEZIER5 = 5
    HOLD = 6
    HERMITE = 7
    HERMITE8 = 8
    HERMITE_FLAT = 9
    HERMITE10 = 10
    HERMITE11 = 11
    VALUE_BEZIER = 12
    BEZIER13 = 13
    BEZIER14 = 14
    BEZIER15 = 15
    EASE_IN_CUBIC = 16
    EASE_OUT_CUBIC = 17
    EASE_IN_OUT_CUBIC = 18
    EASE_IN_CIRC = 19
    EASE_OUT_CIRC = 20
    EASE_IN_OUT_CIRC = 21
    EASE_IN_BACK = 22
    EASE_OUT_BACK = 23
    EASE_OUT_ELASTIC = 24
    EASE_OUT_BOUNCE = 25
    EXTRAPOLATE = 26

    @classmethod
    def _missing_(cls, value: object) -> Optional["Interpolation"]:
        # Any 32-bit number may be stored; those without a name are called by it.
        if not isinstance(value, int) or not -(2**31) <= value < 2**31:
            return None
        unnamed = int.__new__(cls, value)
        unnamed._name_ = str(int(value))
        unnamed._value_ = int(value)
        return unnamed

    def __reduce_ex__(self, protocol: object) -> Tuple[Type["Interpolation"], Tuple[int]]:
        return self.__class__, (self._value_,)


class ParameterType(enum.IntEnum):
    """What a parameter animates; stored curves hold these numbers."""

    DOUBLE = 0
    INT = 1
    BOOL = 2
    STRING = 3
    POINT = 4


class Point(NamedTuple):
    """A point of the plane, or a handle, whose two numbers the interpolation defines."""

    x: float
    y: float


class Keyframe(NamedTuple):
    """One keyframe: `interpolation` is of the segment that starts here, `left` the incoming
    handle and `right` the outgoing one.
    """

    time: float
    value: Union[None, bool, int, float, str, Point]
    interpolation: Interpolation = Interpolation.LINEAR
    left: Point = Point(0.0, 0.0)
    right: Point = Point(0.0, 0.0)


class Freeze(NamedTuple):
    """A freeze of a speed curve: where it starts on the three axes, and how long it lasts."""

    point_time: float
    duration: float
    source_time: float
    render_time: float


class EditConflict(RuntimeError):
    """The curve was changed elsewhere while a transaction was open; it stays as it is."""


class JsonError(ValueError):
    """A text that is no JSON, or a value that has no JSON text.

    `reason` is for people. Of a text there are `offset` (bytes from 0), `line` and `column`
    (from 1); of a value there is `pointer`, its place as a JSON Pointer.
    """

    def __init__(self, message: str, reason: str = "", offset: Optional[int] = None,
                 line: Optional[int] = None, column: Optional[int] = None,
                 pointer: Optional[str] = None) -> None:
        super().__init__(message, reason, offset, line, column, pointer)
        self.reason = reason
        self.offset = offset
        self.line = line
        self.column = column
        self.pointer = pointer

    def __str__(self) -> str:
        return str(self.args[0])


class PackError(ValueError):
    """Bytes that are no document: `reason`, the byte `offset` and the `item`, both from 0."""

    def __init__(self, message: str, reason: str = "", offset: int = 0, item: int = 0) -> None:
        super().__init__(message, reason, offset, item)
        self.reason = reason
        self.offset = offset
        self.item = item

    def __str__(self) -> str:
        return str(self.args[0])


# For annotations: what is answered, and what is taken.
Value = Union[None, bool, int, float, str, Point]
PointLike = Union[Point, Tuple[float, float]]
ValueLike = Union[bool, int, float, str, PointLike]
KeyframeLike = Union[
    Keyframe,
    Tuple[float, ValueLike],
    Tuple[float, ValueLike, int],
    Tuple[float, ValueLike, int, PointLike, PointLike],
]
Range = Optional[Tuple[Union[bool, int, float], Union[bool, int, float]]]
