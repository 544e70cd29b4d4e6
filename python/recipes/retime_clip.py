"""A clip of ten seconds: twice as fast from second 4 on, after a still picture."""
import numpy as np

import core

speed = core.SpeedParameter(10.0)
speed.add(4.0, 2.0, core.Interpolation.HOLD)
speed.add_freeze(3.0, 2.0)
print(speed, "plays for", speed.render_total_time, "s")

render = np.arange(0.0, 9.5, 1.5)
source = speed.source_times(render)
print(np.column_stack([render, source]))
print("shown again at", speed.render_times(source[-2:]))
