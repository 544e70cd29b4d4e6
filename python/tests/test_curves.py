import copy
import gc
import pickle
import threading
import unittest
import weakref

import numpy as np

import core
from core import Interpolation, ParameterType

KINDS = {
    ParameterType.DOUBLE: (0.25, 2.0, np.float64),
    ParameterType.INT: (-3, 40, np.int32),
    ParameterType.BOOL: (False, True, np.bool_),
    ParameterType.STRING: ("öpening", "\udcff", np.object_),
    ParameterType.POINT: ((0.0, 1.0), core.Point(2.0, -1.0), np.float64),
}


def curve_of(kind):
    first, last, _ = KINDS[kind]
    return core.Parameter([(1.0, last), (0.0, first), (2.0, first, Interpolation.HERMITE)], type=kind)


def state_of(curve):
    return list(curve), curve.dumps(), curve.value_range, curve.type


class Sampling(unittest.TestCase):
    def test_batches_answer_what_each_time_answers(self):
        for kind in ParameterType:
            curve = curve_of(kind)
            for asked in (curve, curve.snapshot()):
                even = asked.sample_range(-0.5, 0.125, 24)
                self.assertEqual(even.dtype, KINDS[kind][2])
                times = (-0.5 + 0.125 * np.arange(24)).reshape(2, 3, 4)
                got = asked.sample(times)
                self.assertEqual(got.shape[:3], times.shape)
                want = [asked.value(t) for t in times.flat]
                flat = got.reshape(24, *got.shape[3:])
                self.assertEqual([tuple(v) if got.ndim == 4 else v for v in flat], want)
                np.testing.assert_array_equal(flat, even)
                room = np.empty(got.shape, got.dtype)
                self.assertIs(asked.sample(times, out=room), room)
                np.testing.assert_array_equal(room, got)

    def test_times_are_whatever_numpy_takes_and_may_be_the_room(self):
        curve = curve_of(ParameterType.DOUBLE)
        want = curve.sample([0.0, 0.5, 1.5])
        grid = np.zeros((3, 2))
        grid[:, 1] = 0.0, 0.5, 1.5
        np.testing.assert_array_equal(curve.sample(grid[:, 1]), want)
        self.assertEqual(curve.sample(np.int8(1)).shape, ())
        self.assertEqual(curve.sample([]).shape, (0,))
        times = np.array([0.0, 0.5, 1.5])
        np.testing.assert_array_equal(curve.sample(times, out=times), want)
        many = 2 * np.random.default_rng(1).random(10_000)
        np.testing.assert_array_equal(curve.sample(many[::-1]), curve.sample(many)[::-1])

    def test_clamps(self):
        curve = curve_of(ParameterType.DOUBLE)
        curve.value_range = (0, 1)
        self.assertEqual(curve.value_range, (0.0, 1.0))
        self.assertEqual(curve.sample([1.0], clamp=True), [1.0])
        curve.value_range = None
        self.assertIsNone(curve.value_range)
        self.assertEqual(curve.value(1.0, clamp=True), 2.0)

    def test_room_of_another_form_is_refused(self):
        curve = curve_of(ParameterType.DOUBLE)
        locked = np.empty(2)
        locked.flags.writeable = False
        for room in (np.empty(3), np.empty(2, np.float32), np.empty(4)[::2], locked):
            with self.assertRaises(ValueError):
                curve.sample([0.0, 1.0], out=room)

    def test_other_threads_run(self):
        curve, times = curve_of(ParameterType.DOUBLE), np.linspace(0, 2, 400_000)
        want, faults = curve.sample(times), []

        def sample():
            for _ in range(5):
                got = curve.sample(times)
                if not np.array_equal(got, want):
                    faults.append(got)

        threads = [threading.Thread(target=sample) for _ in range(4)]
        for thread in threads:
            thread.start()
        while any(thread.is_alive() for thread in threads):
            with curve.edit() as draft:  # whole: nobody sees it moved
                draft.update(0, time=-1.0)
                draft.update(0, time=0.0)
        self.assertEqual(faults, [])


class Editing(unittest.TestCase):
    def test_is_a_sequence_of_keyframes(self):
        curve = core.Parameter([(t, float(t)) for t in range(10)])
        model = list(curve)
        for cut in (slice(None), slice(2, 7, 2), slice(None, None, -3), slice(5, 2), slice(-2, 99)):
            self.assertEqual(curve[cut], model[cut])
            shorter, rest = copy.copy(curve), list(model)
            del shorter[cut]
            del rest[cut]
            self.assertEqual([k.time for k in shorter], [k.time for k in rest])
        self.assertEqual((len(curve), curve[-1].time, curve.index(3)), (10, 9.0, 3))
        again = core.Parameter(curve)
        self.assertEqual(again.snapshot(), curve.snapshot())
        curve.update(4, left=(1, 2), right=(3, 4), interpolation=Interpolation.BEZIER)
        curve.update(5, interpolation=77)
        self.assertEqual(pickle.loads(pickle.dumps(curve[5].interpolation)), Interpolation(77))
        self.assertEqual(core.Parameter(reversed(curve[:])).snapshot(), curve.snapshot())

    def test_bad_input_changes_nothing(self):
        curve = curve_of(ParameterType.DOUBLE)
        text, point = curve_of(ParameterType.STRING), curve_of(ParameterType.POINT)
        whole = curve_of(ParameterType.INT)
        nan = float("nan")
        for error, target, refused in [
            (ValueError, curve, lambda: curve.add(nan, 0.0)),
            (ValueError, curve, lambda: curve.add(0.0, float("inf"))),
            (TypeError, curve, lambda: curve.add(0.0, "x")),
            (TypeError, curve, lambda: curve.add(0.0, True)),
            (TypeError, curve, lambda: curve.add(0.0, 1.0, "LINEAR")),
            (ValueError, curve, lambda: curve.add(0.0, 1.0, 2**40)),
            (TypeError, text, lambda: text.add(0.0, 1.0)),
            (ValueError, text, lambda: text.add(0.0, "a\0b")),
            (UnicodeEncodeError, text, lambda: text.add(0.0, "\ud800")),
            (TypeError, point, lambda: point.add(0.0, (1, 2, 3))),
            (TypeError, whole, lambda: whole.add(0.0, 1.5)),
            (ValueError, whole, lambda: whole.add(0.0, 2**31)),
            (OverflowError, whole, lambda: whole.add(0.0, 10**400)),
            (ValueError, curve, lambda: curve.extend([(5.0, 1.0), (nan, 1.0)])),
            (ValueError, curve, lambda: curve.extend([(5.0,)])),
            (TypeError, curve, lambda: curve.extend([5.0])),
            (IndexError, curve, lambda: curve.update(3, value=1.0)),
            (IndexError, curve, lambda: curve[-4]),
            (IndexError, curve, lambda: curve[2**70]),
            (ValueError, curve, lambda: curve.update(0, value=9.0, time=1.0)),
            (ValueError, curve, lambda: curve.index(0.5)),
            (ValueError, curve, lambda: setattr(curve, "value_range", (1, 0))),
            (TypeError, point, lambda: setattr(point, "value_range", (0, 1))),
            (ValueError, curve, lambda: setattr(curve, "type", 9)),
            (ValueError, curve, lambda: curve.sample_range(0, 1, -1)),
            (TypeError, curve, curve.split_motion),
            (TypeError, point, lambda: core.merge_motion(point, curve)),
            (core.JsonError, curve, lambda: core.Parameter.loads('{"keyframeSets": [}')),
            (ValueError, curve, lambda: core.Parameter.loads("{}")),
        ]:
            before = state_of(target)
            with self.assertRaises(error):
                refused()
            self.assertEqual(state_of(target), before)

    def test_a_transaction_is_whole_or_nothing(self):
        curve = curve_of(ParameterType.DOUBLE)
        before = curve.snapshot()
        with self.assertRaises(KeyError), curve.edit() as draft:
            draft.clear()
            raise KeyError
        self.assertEqual(curve.snapshot(), before)
        with self.assertRaises(core.EditConflict), curve.edit() as draft:
            draft.clear()
            curve.add(7.0, 1.0)
        self.assertEqual(len(curve), 4)
        with curve.edit() as draft:
            del draft[1:]
            self.assertEqual(len(curve), 4)
        self.assertEqual(len(curve), 1)
        curve.restore(before)
        self.assertEqual(curve.snapshot().changed_between(before), None)

    def test_copies_are_exact_and_pickles_the_stored_text(self):
        for kind in ParameterType:
            curve = curve_of(kind)
            curve.update(0, time=-1 / 3)
            for same in (copy.copy(curve), copy.deepcopy(curve)):
                self.assertEqual(same.snapshot(), curve.snapshot())
                same.clear()
                self.assertEqual(len(curve), 3)
            for asked in (curve, curve.snapshot()):
                stored = pickle.loads(pickle.dumps(asked))
                self.assertEqual((type(stored), stored.dumps()), (type(asked), asked.dumps()))
            self.assertEqual(core.Parameter.loads(curve.dumps()).digest, curve.digest)

    def test_a_motion_is_two_curves(self):
        path = core.Parameter([(0, (0, 0)), (1, (3, 1)), (2, (4, -2))], type=ParameterType.POINT)
        x, y = path.split_motion()
        whole = core.merge_motion(x, y).sample_range(0, 0.1, 21)
        np.testing.assert_allclose(whole, path.sample_range(0, 0.1, 21), atol=1e-9)
        np.testing.assert_allclose(whole[:, 1], y.sample_range(0, 0.1, 21), atol=1e-9)

    def test_nothing_is_left_behind(self):
        gc.disable()
        self.addCleanup(gc.enable)
        curve = curve_of(ParameterType.DOUBLE)
        with curve.edit() as draft:
            draft.clear()
        gone = weakref.ref(curve), weakref.ref(draft)
        del curve, draft
        self.assertEqual([ref() for ref in gone], [None, None])


class Speed(unittest.TestCase):
    def test_maps_times_both_ways(self):
        speed = core.SpeedParameter(8.0, [(2.0, 0.5), (5.0, 3.0)])
        speed.add_freeze(1.0, 0.5)
        source = np.linspace(0, 7.9, 80)
        render = speed.render_times(source)
        np.testing.assert_allclose(speed.source_times(render), source, atol=1e-6)
        self.assertEqual(speed.source_times(render[3]), speed.source_time(render[3]))
        for many, one in [(speed.speeds, speed.speed),
                          (speed.point_to_render_times, speed.point_to_render_time),
                          (speed.render_to_point_times, speed.render_to_point_time)]:
            self.assertEqual(list(many(source)), [one(t) for t in source])
        before = speed.snapshot()
        with speed.edit() as draft:
            draft.update(1, value=1.0)
            draft.set_freeze_duration(0, 2.0)
        self.assertEqual(speed[1].value, 1.0)
        self.assertEqual(speed.freezes, [core.Freeze(1.0, 2.0, 1.0, 1.0)])
        with self.assertRaises(core.EditConflict), speed.edit() as draft:
            draft.clear()
            speed.add_freeze(6.0, 1.0)
        after = speed.snapshot()
        self.assertEqual(before.changed_between(before), None)
        self.assertAlmostEqual(before.changed_between(after)[0], 1.0, 6)
        np.testing.assert_array_equal(before.render_times(source), render)
        self.assertEqual(pickle.loads(pickle.dumps(after)).dumps(), copy.copy(after).dumps())
        speed.restore(before)
        self.assertEqual((speed.snapshot(), before.to_parameter().dumps()), (before, speed.dumps()))
        speed.restore(after.keyframes)
        self.assertEqual((speed[1].value, len(speed.freezes)), (1.0, 1))
        speed.reverse = True
        for same in (copy.copy(speed), pickle.loads(pickle.dumps(speed))):
            self.assertEqual((type(same), same.dumps()), (core.SpeedParameter, speed.dumps()))
        self.assertAlmostEqual(speed.reverted().render_total_time, speed.render_total_time)

    def test_bad_input_changes_nothing(self):
        speed = core.SpeedParameter(8.0)
        speed.add_freeze(1.0, 0.5)
        before = speed.dumps()
        for error, refused in [
            (ValueError, lambda: speed.add_freeze(9.0, 1.0)),
            (ValueError, lambda: speed.add_freeze(1.2, 1.0)),
            (ValueError, lambda: speed.add_freeze(1.0, float("nan"))),
            (IndexError, lambda: speed.set_freeze_duration(1, 2.0)),
            (ValueError, lambda: speed.set_freeze_duration(0, 0.0)),
            (ValueError, lambda: setattr(speed, "source_total_time", float("inf"))),
            (TypeError, lambda: speed.extend([(0.0, "fast")])),
        ]:
            with self.assertRaises(error):
                refused()
            self.assertEqual(speed.dumps(), before)


unittest.main()
