// Speed curves.

#include "sampling.h"
#include "transaction.h"

#include <memory>

namespace core_python {

namespace {

using core::SpeedParameter;
using core::SpeedSnapshot;

std::shared_ptr<SpeedParameter> MakeSpeed(const py::object& sourceTotalTime,
                                          const py::iterable& keyframes) {
    auto speed = std::make_shared<SpeedParameter>();
    if (!sourceTotalTime.is_none()) {
        speed->SetSourceTotalTime(FiniteFrom(sourceTotalTime, "the length"));
    }
    py::cast(speed).attr("extend")(keyframes);
    return speed;
}

std::shared_ptr<SpeedParameter> LoadSpeed(const py::object& text) {
    auto speed = std::make_shared<SpeedParameter>();
    Load(*speed, text);
    return speed;
}

const SpeedSnapshot& AsSnapshot(const SpeedSnapshot& speed) {
    return speed;
}
SpeedSnapshot AsSnapshot(const SpeedParameter& speed) {
    return speed.Snapshot();
}

py::list FreezesOf(const SpeedSnapshot& speed) {
    py::list out;
    for (int i = 0; i < speed.GetFreezeFramesCount(); ++i) {
        const core::FreezeFrame freeze = speed.GetFreezeFrame(i);
        out.append(
            names.freeze(freeze.pointTime, freeze.duration, freeze.sourceTime, freeze.renderTime));
    }
    return out;
}

std::string Describe(const char* name, const SpeedSnapshot& speed) {
    const auto counted = [](int count, const std::string& what) {
        return std::to_string(count) + " " + what + (count == 1 ? ", " : "s, ");
    };
    return "<core." + std::string(name) + " " +
           counted(speed.Keyframes().GetKeyFramesCount(), "keyframe") +
           counted(speed.GetFreezeFramesCount(), "freeze") + "source " +
           std::string(py::str(py::float_(speed.GetSourceTotalTime()))) + " s" +
           (speed.GetReverse() != 0 ? ", in reverse>" : ">");
}

/// A question about one time, and the same about an array of them, at one moment.
template <class Bound, class Question, class Batch>
void BindQuestion(Bound& bound, const char* one, const char* many, const char* time,
                  Question question, Batch batch) {
    using Speed = typename Bound::type;
    using namespace py::literals;
    bound
        .def(
            one,
            [question](const Speed& self, double at) { return question(AsSnapshot(self), at); },
            py::arg(time))
        .def(
            many,
            [batch](const Speed& self, const Times& times, const py::object& out) {
                const SpeedSnapshot moment = AsSnapshot(self);
                return MapTimes(times, out,
                                [&](const double* at, std::size_t count, double* values) {
                                    batch(moment, at, count, values);
                                });
            },
            "times"_a, py::kw_only(), "out"_a = py::none());
}

/// The same where the library has no batch.
template <class Bound>
void BindQuestion(Bound& bound, const char* one, const char* many, const char* time,
                  double (SpeedSnapshot::*question)(double) const) {
    BindQuestion(
        bound, one, many, time,
        [question](const SpeedSnapshot& moment, double at) { return (moment.*question)(at); },
        [question](const SpeedSnapshot& moment, const double* at, std::size_t count,
                   double* values) {
            for (std::size_t i = 0; i < count; ++i) {
                values[i] = (moment.*question)(at[i]);
            }
        });
}

/// What is asked of speed curves and of their snapshots alike.
template <class Bound>
void BindQuestions(Bound& bound, const char* name) {
    using Speed = typename Bound::type;
    using namespace py::literals;
    BindQuestion(
        bound, "source_time", "source_times", "render_time",
        [](const SpeedSnapshot& moment, double at) { return moment.GetSourceTime(at); },
        [](const SpeedSnapshot& moment, const double* at, std::size_t count, double* values) {
            moment.GetSourceTimes(at, count, values);
        });
    BindQuestion(bound, "render_time", "render_times", "source_time",
                 &SpeedSnapshot::GetRenderTime);
    BindQuestion(bound, "speed", "speeds", "render_time", &SpeedSnapshot::GetCurrentFPS);
    BindQuestion(bound, "point_to_render_time", "point_to_render_times", "point_time",
                 &SpeedSnapshot::PointTimeToRenderTime);
    BindQuestion(bound, "render_to_point_time", "render_to_point_times", "render_time",
                 &SpeedSnapshot::RenderTimeToPointTime);
    bound
        .def(
            "velocity_curve",
            [](const Speed& self, int index) {
                double a = 0.0, b = 0.0, c = 0.0, d = 0.0;
                AsSnapshot(self).GetVelocityTimeCurve(a, b, c, d, index);
                return py::make_tuple(a, b, c, d);
            },
            "index"_a)
        .def_property_readonly("freezes",
                               [](const Speed& self) { return FreezesOf(AsSnapshot(self)); })
        .def_property_readonly(
            "render_total_time",
            [](const Speed& self) { return AsSnapshot(self).GetRenderTotalTime(); })
        .def("__repr__", [name](const Speed& self) { return Describe(name, AsSnapshot(self)); });
    bound.attr("__module__") = "core";
}

}  // namespace

void BindSpeed(py::module_& module) {
    using namespace py::literals;
    py::class_<SpeedParameter, core::Parameter, std::shared_ptr<SpeedParameter>> speed(
        module, "SpeedParameter");
    BindQuestions(speed, "SpeedParameter");
    speed.def(py::init(&MakeSpeed), "source_total_time"_a = py::none(), "keyframes"_a = py::tuple())
        .def_static("loads", &LoadSpeed, "text"_a)
        .def(
            "add_freeze",
            [](SpeedParameter& self, const py::object& at, const py::object& lasting) {
                if (!self.AddFreezeFrame(FiniteFrom(at, "the point"),
                                         FiniteFrom(lasting, "the duration"))) {
                    throw py::value_error(
                        "no freeze: the point lies outside the source or in another freeze, or "
                        "the duration is below 1e-7 s");
                }
            },
            "point_time"_a, "duration"_a)
        .def(
            "set_freeze_duration",
            [](SpeedParameter& self, int index, const py::object& lasting) {
                const double duration = FiniteFrom(lasting, "the duration");
                if (duration <= 0.0) {
                    throw py::value_error("the duration is not above 0");
                }
                if (!self.SetFreezeFrameDuration(index, duration)) {
                    throw py::index_error("no freeze " + std::to_string(index));
                }
            },
            "index"_a, "duration"_a)
        .def("reverted",
             [](SpeedParameter& self) {
                 return std::shared_ptr<SpeedParameter>(self.RevertSpeedParameter());
             })
        .def_property("source_total_time", &SpeedParameter::GetSourceTotalTime,
                      [](SpeedParameter& self, const py::object& length) {
                          self.SetSourceTotalTime(FiniteFrom(length, "the length"));
                      })
        .def_property("source_fps", &SpeedParameter::GetSourceFPS,
                      [](SpeedParameter& self, const py::object& fps) {
                          self.SetSourceFPS(FiniteFrom(fps, "the frame rate"));
                      })
        .def_property(
            "reverse", [](const SpeedParameter& self) { return self.GetReverse() != 0; },
            [](SpeedParameter& self, bool reverse) { self.SetReverse(reverse); })
        .def("edit",
             [](const std::shared_ptr<SpeedParameter>& self) {
                 return EditTransaction<SpeedParameter>(self);
             })
        .def("snapshot", &SpeedParameter::Snapshot)
        .def(
            "restore", [](SpeedParameter& self, const SpeedSnapshot& to) { self.Restore(to); },
            "snapshot"_a)
        .def(
            "restore",
            [](SpeedParameter& self, const core::CurveSnapshot& to) { self.Restore(to); },
            "snapshot"_a)
        .def("__copy__",
             [](const SpeedParameter& self) { return self.Snapshot().ToSpeedParameter(); })
        .def("__deepcopy__", [](const SpeedParameter& self,
                                const py::object&) { return self.Snapshot().ToSpeedParameter(); })
        .def(py::pickle(
            [](SpeedParameter& self) { return py::make_tuple(TextOf(self.Serialize())); },
            [](const py::tuple& state) { return LoadSpeed(state[0]); }));

    EditTransaction<SpeedParameter>::Bind(module, "_SpeedEditTransaction");

    py::class_<SpeedSnapshot> snapshot(module, "SpeedSnapshot");
    BindQuestions(snapshot, "SpeedSnapshot");
    BindComparison(snapshot);
    snapshot.def_property_readonly("keyframes", &SpeedSnapshot::Keyframes)
        .def_property_readonly("source_total_time", &SpeedSnapshot::GetSourceTotalTime)
        .def_property_readonly("source_fps", &SpeedSnapshot::GetSourceFPS)
        .def_property_readonly("reverse",
                               [](const SpeedSnapshot& self) { return self.GetReverse() != 0; })
        .def("dumps", [](const SpeedSnapshot& self) { return TextOf(self.Serialize()); })
        .def("to_parameter", &SpeedSnapshot::ToSpeedParameter)
        .def(py::pickle(
            [](const SpeedSnapshot& self) { return py::make_tuple(TextOf(self.Serialize())); },
            [](const py::tuple& state) { return LoadSpeed(state[0])->Snapshot(); }));
}

}  // namespace core_python
