// Speed curves.

#include "sampling.h"

#include <memory>

namespace core_python {

namespace {

using core::SpeedParameter;

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

/// A question about one time, and the same about an array of them, at one moment.
template <class Bound, class Question, class Batch>
void BindQuestion(Bound& bound, const char* one, const char* many, const char* time,
                  Question question, Batch batch) {
    using namespace py::literals;
    bound
        .def(
            one, [question](SpeedParameter& self, double at) { return question(self, at); },
            py::arg(time))
        .def(
            many,
            [batch](const SpeedParameter& self, const Times& times, const py::object& out) {
                const core::SpeedSnapshot moment = self.Snapshot();
                return MapTimes(times, out,
                                [&](const double* at, std::size_t count, double* values) {
                                    batch(moment, at, count, values);
                                });
            },
            "times"_a, py::kw_only(), "out"_a = py::none());
}

/// The same where the library has no batch.
template <class Bound, class Question>
void BindQuestion(Bound& bound, const char* one, const char* many, const char* time,
                  Question question) {
    BindQuestion(bound, one, many, time, question,
                 [question](const core::SpeedSnapshot& moment, const double* at, std::size_t count,
                            double* values) {
                     for (std::size_t i = 0; i < count; ++i) {
                         values[i] = question(moment, at[i]);
                     }
                 });
}

}  // namespace

void BindSpeed(py::module_& module) {
    using namespace py::literals;
    py::class_<SpeedParameter, core::Parameter, std::shared_ptr<SpeedParameter>> speed(
        module, "SpeedParameter");
    speed.attr("__module__") = "core";
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
        .def(
            "velocity_curve",
            [](SpeedParameter& self, const py::object& index) {
                double a = 0.0, b = 0.0, c = 0.0, d = 0.0;
                self.GetVelocityTimeCurve(a, b, c, d, py::cast<int>(index));
                return py::make_tuple(a, b, c, d);
            },
            "index"_a)
        .def("reverted",
             [](SpeedParameter& self) {
                 return std::shared_ptr<SpeedParameter>(self.RevertSpeedParameter());
             })
        .def_property_readonly("render_total_time", &SpeedParameter::GetRenderTotalTime)
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
        .def("__copy__", [](const SpeedParameter& self) { return SpeedParameter(self); })
        .def("__deepcopy__",
             [](const SpeedParameter& self, const py::object&) { return SpeedParameter(self); })
        .def("__repr__",
             [](SpeedParameter& self) {
                 const auto text = [](double number) {
                     return std::string(py::str(py::float_(number)));
                 };
                 return "<core.SpeedParameter " + std::to_string(self.GetKeyFramesCount()) +
                        " keyframes, source " + text(self.GetSourceTotalTime()) + " s" +
                        (self.GetReverse() != 0 ? ", in reverse>" : ">");
             })
        .def(py::pickle(
            [](SpeedParameter& self) { return py::make_tuple(TextOf(self.Serialize())); },
            [](const py::tuple& state) { return LoadSpeed(state[0]); }));

    BindQuestion(
        speed, "source_time", "source_times", "render_time",
        [](auto& self, double time) { return self.GetSourceTime(time); },
        [](const core::SpeedSnapshot& moment, const double* at, std::size_t count, double* values) {
            moment.GetSourceTimes(at, count, values);
        });
    BindQuestion(speed, "render_time", "render_times", "source_time",
                 [](auto& self, double time) { return self.GetRenderTime(time); });
    BindQuestion(speed, "speed", "speeds", "render_time",
                 [](auto& self, double time) { return self.GetCurrentFPS(time); });
    BindQuestion(speed, "point_to_render_time", "point_to_render_times", "point_time",
                 [](auto& self, double time) { return self.PointTimeToRenderTime(time); });
    BindQuestion(speed, "render_to_point_time", "render_to_point_times", "render_time",
                 [](auto& self, double time) { return self.RenderTimeToPointTime(time); });
}

}  // namespace core_python
