"""A title fades in and out: its opacity for every frame, as an array."""
import numpy as np

import core
from core import Interpolation

opacity = core.Parameter([
    (0.0, 0.0, Interpolation.EASE_IN_OUT_CUBIC),
    (1.0, 1.0, Interpolation.HOLD),
    (2.0, 1.0, Interpolation.HERMITE_FLAT),
    (3.0, 0.0),
])
opacity.value_range = (0.0, 1.0)

frames = opacity.sample_range(0.0, 1 / 24, 73, clamp=True)
print(np.round(frames[::12], 3))
print("mean", round(float(frames.mean()), 4), "by area", round(opacity.area(0.0, 3.0) / 3.0, 4))

# Edits are made whole or not at all.
before = opacity.snapshot()
try:
    with opacity.edit() as draft:
        draft.update(-1, time=4.0)
        draft.add(float("nan"), 1.0)
except ValueError as error:
    print("nothing changed:", error)
with opacity.edit() as draft:
    draft.update(-1, time=4.0)
    del draft[1]
for keyframe in opacity:
    print(keyframe.time, keyframe.value, keyframe.interpolation.name)
print("changed", opacity.snapshot().changed_between(before))
