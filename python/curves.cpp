// Parameters and snapshots.

#include "sampling.h"
#include "transaction.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>

namespace core_python {

Shape ShapeOf(const py::array& array) {
    return Shape(array.shape(), array.shape() + array.ndim());
}

py::array RoomFor(const py::object& out, const py::dtype& type, const Shape& shape) {
    if (out.is_none()) {
        return py::array(type, shape);
    }
    if (!py::isinstance<py::array>(out)) {
        RaiseTypeError("out is an array", out);
    }
    auto room = py::reinterpret_borrow<py::array>(out);
    if (!room.dtype().equal(type) || ShapeOf(room) != shape || !room.writeable() ||
        (room.flags() & py::array::c_style) == 0) {
        throw py::value_error(
            "out is a writeable array without gaps, of " +
            std::string(py::str(static_cast<const py::object&>(type))) + " and shape " +
            std::string(py::str(py::object(py::array(type, shape).attr("shape")))));
    }
    return room;
}

Times ApartFrom(const Times& times, const py::array& room) {
    const auto* const a = static_cast<const char*>(static_cast<const void*>(times.data()));
    const auto* const b = static_cast<const char*>(room.data());
    const std::less<> isBefore;
    return isBefore(a, b + room.nbytes()) && isBefore(b, a + times.nbytes())
               ? Times(times.attr("copy")())
               : times;
}

namespace {

using core::CurveSnapshot;
using core::KeyframeInterpolationType;
using core::Parameter;
using core::Pointd;
using core::ValAny;

static_assert(sizeof(Pointd) == 2 * sizeof(double), "points are rows of an array");

// Which times are asked for: those of an array, or evenly spaced ones.

struct TimesOfArray {
    const double* times;
    std::size_t count;
    double At(std::size_t i) const { return times[i]; }
    template <class Value>
    void Ask(const CurveSnapshot& curve, bool clamp, Value* values) const {
        curve.GetValues(times, count, clamp, values);
    }
};

struct EvenTimes {
    double start, step;
    std::size_t count;
    double At(std::size_t i) const { return start + static_cast<double>(i) * step; }
    template <class Value>
    void Ask(const CurveSnapshot& curve, bool clamp, Value* values) const {
        curve.GetValues(start, step, count, clamp, values);
    }
};

/// The samples in an array of the parameter's type: the batch call of the library where it
/// has one, else a sample each.
template <class Wanted>
py::array Samples(const CurveSnapshot& curve, const Wanted& wanted, bool clamp, py::array room) {
    void* const data = room.mutable_data();
    switch (curve.GetParameterType()) {
        case core::ParameterString: {
            auto* const texts = static_cast<PyObject**>(data);
            for (std::size_t i = 0; i < wanted.count; ++i) {
                PyObject* const before = texts[i];
                texts[i] = ValueOf(curve.GetValue(wanted.At(i), clamp)).release().ptr();
                Py_XDECREF(before);
            }
            return room;
        }
        case core::ParameterBool: {
            const py::gil_scoped_release unlocked;
            for (std::size_t i = 0; i < wanted.count; ++i) {
                const ValAny value = curve.GetValue(wanted.At(i), clamp);
                static_cast<bool*>(data)[i] =
                    value.IsNumber() ? value.AsInt() != 0 : value.AsBool();
            }
            return room;
        }
        case core::ParameterInt: {
            const py::gil_scoped_release unlocked;
            std::vector<double> numbers(wanted.count);
            wanted.Ask(curve, clamp, numbers.data());
            for (std::size_t i = 0; i < wanted.count; ++i) {
                static_cast<std::int32_t*>(data)[i] = ValAny(numbers[i]).AsInt();
            }
            return room;
        }
        case core::ParameterPoint: {
            const py::gil_scoped_release unlocked;
            wanted.Ask(curve, clamp, static_cast<Pointd*>(data));
            return room;
        }
        case core::ParameterDouble:
            break;
    }
    const py::gil_scoped_release unlocked;
    wanted.Ask(curve, clamp, static_cast<double*>(data));
    return room;
}

py::array RoomForSamples(const CurveSnapshot& curve, Shape shape, const py::object& out) {
    switch (curve.GetParameterType()) {
        case core::ParameterInt:
            return RoomFor(out, py::dtype::of<std::int32_t>(), shape);
        case core::ParameterBool:
            return RoomFor(out, py::dtype::of<bool>(), shape);
        case core::ParameterString:
            return RoomFor(out, py::dtype("O"), shape);
        case core::ParameterPoint:
            shape.push_back(2);
            break;
        case core::ParameterDouble:
            break;
    }
    return RoomFor(out, py::dtype::of<double>(), shape);
}

py::array Sample(const CurveSnapshot& curve, const Times& times, bool clamp,
                 const py::object& out) {
    const py::array room = RoomForSamples(curve, ShapeOf(times), out);
    const Times apart = ApartFrom(times, room);
    return Samples(curve, TimesOfArray{apart.data(), static_cast<std::size_t>(apart.size())}, clamp,
                   room);
}

py::array SampleRange(const CurveSnapshot& curve, double start, double step, py::ssize_t count,
                      bool clamp, const py::object& out) {
    if (count < 0) {
        throw py::value_error("count is below 0");
    }
    const py::array room = RoomForSamples(curve, {count}, out);
    return Samples(curve, EvenTimes{start, step, static_cast<std::size_t>(count)}, clamp, room);
}

// What is asked of parameters and of snapshots alike.

const CurveSnapshot& AsSnapshot(const CurveSnapshot& curve) {
    return curve;
}
CurveSnapshot AsSnapshot(const Parameter& curve) {
    return curve.Snapshot();
}

py::object KeyframesOf(const CurveSnapshot& curve, const py::object& index) {
    const int count = curve.GetKeyFramesCount();
    if (!py::isinstance<py::slice>(index)) {
        return KeyframeOf(curve.GetKeyframe(IndexFrom(index, count)));
    }
    const Slice slice = SliceFrom(index, count);
    py::list out;
    for (py::ssize_t i = 0; i < slice.length; ++i) {
        out.append(KeyframeOf(curve.GetKeyframe(static_cast<int>(slice.start + i * slice.step))));
    }
    return out;
}

/// None for the bounds that stand for no range.
py::object RangeOf(const CurveSnapshot& curve) {
    ValAny min(nullptr), max(nullptr);
    curve.GetValueRange(min, max);
    if (min.IsEmpty() || max.IsEmpty()) {
        return py::none();
    }
    if (max.IsNumber()) {
        const double most = max.AsDouble();
        if (most == std::numeric_limits<double>::max() ||
            (max.Kind() == ValAny::kInt && most == std::numeric_limits<std::int32_t>::max())) {
            return py::none();
        }
    }
    return py::make_tuple(ValueOf(min), ValueOf(max));
}

void SetRange(Parameter& parameter, const py::object& range) {
    if (range.is_none()) {
        const double most = std::numeric_limits<double>::max();
        parameter.SetValueRange(-most, most);
        return;
    }
    const core::ParameterTypeEnum type = parameter.GetParameterType();
    if (type == core::ParameterString || type == core::ParameterPoint) {
        throw py::type_error("texts and points have no range");
    }
    if (!py::isinstance<py::tuple>(range) || py::len(range) != 2) {
        RaiseTypeError("a range is a tuple of the least and the greatest value, or None", range);
    }
    const auto bounds = py::reinterpret_borrow<py::tuple>(range);
    if (py::object(bounds[0]) > py::object(bounds[1])) {
        throw py::value_error("the least value is above the greatest");
    }
    parameter.SetValueRange(ValueFrom(bounds[0], type), ValueFrom(bounds[1], type));
}

std::string Describe(const char* name, const CurveSnapshot& curve) {
    const int count = curve.GetKeyFramesCount();
    std::string out = std::string("<core.") + name + " " +
                      std::string(py::str(TypeOf(curve.GetParameterType()).attr("name"))) + ", " +
                      std::to_string(count) + (count == 1 ? " keyframe" : " keyframes");
    if (count > 0) {
        out += ", " + std::string(py::str(py::float_(curve.GetKeyframe(0).GetTime()))) + " s to " +
               std::string(py::str(py::float_(curve.GetKeyframe(count - 1).GetTime()))) + " s";
    }
    return out + ">";
}

template <class Bound>
void BindQuestions(Bound& bound) {
    using Curve = typename Bound::type;
    using namespace py::literals;
    bound
        .def(
            "value",
            [](Curve& curve, double time, bool clamp) {
                return ValueOf(curve.GetValue(time, clamp));
            },
            "time"_a, py::kw_only(), "clamp"_a = false)
        .def(
            "sample",
            [](const Curve& curve, const Times& times, bool clamp, const py::object& out) {
                return Sample(AsSnapshot(curve), times, clamp, out);
            },
            "times"_a, py::kw_only(), "clamp"_a = false, "out"_a = py::none())
        .def(
            "sample_range",
            [](const Curve& curve, double start, double step, py::ssize_t count, bool clamp,
               const py::object& out) {
                return SampleRange(AsSnapshot(curve), start, step, count, clamp, out);
            },
            "start"_a, "step"_a, "count"_a, py::kw_only(), "clamp"_a = false, "out"_a = py::none())
        .def(
            "area",
            [](const Curve& curve, double start, double stop) {
                return AsSnapshot(curve).GetAreaFromTo(start, stop);
            },
            "start"_a, "stop"_a)
        .def(
            "solve_area",
            [](const Curve& curve, double start, double area) {
                return AsSnapshot(curve).SolveTimeBaseArea(start, area);
            },
            "start"_a, "area"_a)
        .def(
            "index",
            [](const Curve& curve, double time) {
                const int index = curve.GetPointIndex(time);
                if (index < 0) {
                    throw py::value_error("no keyframe at " +
                                          std::string(py::str(py::float_(time))) + " s");
                }
                return index;
            },
            "time"_a)
        .def("__len__", [](const Curve& curve) { return curve.GetKeyFramesCount(); })
        .def("__getitem__",
             [](const Curve& curve, const py::object& index) {
                 return KeyframesOf(AsSnapshot(curve), index);
             })
        .def("__iter__",
             [](const Curve& curve) {
                 return py::iter(KeyframesOf(AsSnapshot(curve),
                                             py::slice(std::nullopt, std::nullopt, std::nullopt)));
             })
        .def("dumps", [](Curve& curve) { return TextOf(curve.Serialize()); });
}

// Edits

void Extend(Parameter& parameter, const py::iterable& keyframes) {
    std::vector<NewKeyframe> added;
    const core::ParameterTypeEnum type = parameter.GetParameterType();
    for (const py::handle keyframe : keyframes) {
        added.push_back(KeyframeFrom(keyframe, type));
    }
    std::vector<core::TimeValuePair> plain;
    plain.reserve(added.size());
    for (const NewKeyframe& each : added) {
        plain.push_back(each.keyframe);
    }
    parameter.Edit([&](Parameter& draft) {
        draft.AddPoints(plain.data(), plain.size());
        for (const NewKeyframe& each : added) {
            if (each.hasHandles) {
                double leftX = 0.0, leftY = 0.0, rightX = 0.0, rightY = 0.0;
                each.keyframe.GetLeftDerivativeEx(leftX, leftY);
                each.keyframe.GetRightDerivativeEx(rightX, rightY);
                draft.SetPointControlParamEx(draft.GetPointIndex(each.keyframe.GetTime()), leftX,
                                             leftY, rightX, rightY);
            }
        }
    });
}

int Update(Parameter& parameter, const py::object& index, const py::object& time,
           const py::object& value, const py::object& interpolation, const py::object& left,
           const py::object& right) {
    std::optional<double> newTime;
    std::optional<ValAny> newValue;
    std::optional<KeyframeInterpolationType> newType;
    std::optional<Pointd> newLeft, newRight;
    if (!time.is_none()) {
        newTime = FiniteFrom(time, "the time");
    }
    if (!value.is_none()) {
        newValue = ValueFrom(value, parameter.GetParameterType());
    }
    if (!interpolation.is_none()) {
        newType = InterpolationFrom(interpolation);
    }
    if (!left.is_none()) {
        newLeft = PointFrom(left);
    }
    if (!right.is_none()) {
        newRight = PointFrom(right);
    }
    int at = -1;
    parameter.Edit([&](Parameter& draft) {
        at = IndexFrom(index, draft.GetKeyFramesCount());
        if (newType) {
            draft.SetPointInterpolationType(at, *newType);
        }
        if (newValue) {
            draft.SetPointValue(at, *newValue);
        }
        if (newLeft) {
            draft.SetPointControlLeftParam(at, newLeft->x, newLeft->y);
        }
        if (newRight) {
            draft.SetPointControlRightParam(at, newRight->x, newRight->y);
        }
        if (newTime) {
            if (!draft.SetPointTime(at, *newTime)) {
                throw py::value_error("another keyframe is at that time");
            }
            at = draft.GetPointIndex(*newTime);
        }
    });
    return at;
}

void Remove(Parameter& parameter, const py::object& index) {
    parameter.Edit([&](Parameter& draft) {
        const int count = draft.GetKeyFramesCount();
        if (!py::isinstance<py::slice>(index)) {
            draft.RemovePoint(IndexFrom(index, count));
            return;
        }
        Slice slice = SliceFrom(index, count);
        if (slice.step > 0) {  // from the last one, so that the others keep their indices
            slice.start += (slice.length - 1) * slice.step;
            slice.step = -slice.step;
        }
        for (py::ssize_t i = 0; i < slice.length; ++i) {
            draft.RemovePoint(static_cast<int>(slice.start + i * slice.step));
        }
    });
}

std::shared_ptr<Parameter> MakeParameter(const py::iterable& keyframes, const py::object& type,
                                         const py::object& constant) {
    const core::ParameterTypeEnum wanted = !type.is_none()       ? TypeFrom(type)
                                           : !constant.is_none() ? TypeOfValue(constant)
                                                                 : core::ParameterDouble;
    auto parameter = constant.is_none() ? std::make_shared<Parameter>()
                                        : std::make_shared<Parameter>(ValueFrom(constant, wanted));
    parameter->SetParameterType(wanted);
    Extend(*parameter, keyframes);
    return parameter;
}

}  // namespace

void Load(Parameter& parameter, const py::object& text) {
    const std::string bytes = TextFrom(text);
    if (parameter.Desialize(bytes.c_str()) == 0) {
        return;
    }
    core::JsonDoc doc;
    core::JsonParseOptions options;
    options.grammar = core::JsonGrammar::Wide;
    options.overflow = core::JsonOverflow::Saturate;
    options.encoding = core::JsonEncoding::AnyBytes;
    if (const core::JsonParseResult result = core::ParseJson(bytes, doc.Root(), options); !result) {
        RaiseJsonError(result);
    }
    throw py::value_error("no curve: it has no \"keyframeSets\", or an unknown \"ParameterType\"");
}

void BindCurves(py::module_& module) {
    using namespace py::literals;

    py::class_<CurveSnapshot> snapshot(module, "Snapshot");
    BindQuestions(snapshot);
    BindComparison(snapshot);
    snapshot
        .def_property_readonly(
            "type", [](const CurveSnapshot& self) { return TypeOf(self.GetParameterType()); })
        .def_property_readonly("value_range", &RangeOf)
        .def_property_readonly(
            "base_ratio", [](const CurveSnapshot& self) { return ValueOf(self.GetBaseRatio()); })
        .def("to_parameter", &CurveSnapshot::ToParameter)
        .def("__repr__", [](const CurveSnapshot& self) { return Describe("Snapshot", self); })
        .def(py::pickle(
            [](const CurveSnapshot& self) { return py::make_tuple(TextOf(self.Serialize())); },
            [](const py::tuple& state) {
                Parameter parameter;
                Load(parameter, state[0]);
                return parameter.Snapshot();
            }));

    py::class_<Parameter, std::shared_ptr<Parameter>> parameter(module, "Parameter");
    parameter.attr("__module__") = "core";
    parameter.def(py::init(&MakeParameter), "keyframes"_a = py::tuple(), py::kw_only(),
                  "type"_a = py::none(), "constant"_a = py::none());
    BindQuestions(parameter);
    parameter
        .def_static(
            "loads",
            [](const py::object& text) {
                auto loaded = std::make_shared<Parameter>();
                Load(*loaded, text);
                return loaded;
            },
            "text"_a)
        .def_property(
            "type", [](Parameter& self) { return TypeOf(self.GetParameterType()); },
            [](Parameter& self, const py::object& type) { self.SetParameterType(TypeFrom(type)); })
        .def_property(
            "value_range", [](const Parameter& self) { return RangeOf(self.Snapshot()); },
            &SetRange)
        .def_property(
            "base_ratio", [](Parameter& self) { return ValueOf(self.GetBaseRatio()); },
            [](Parameter& self, const py::object& ratio) {
                self.SetBaseRatio(ratio.is_none() ? ValAny(nullptr)
                                                  : ValAny(FiniteFrom(ratio, "the ratio")));
            })
        .def_property_readonly("constant", [](Parameter& self) { return ValueOf(self.GetValue()); })
        .def_property_readonly("revision", &Parameter::Revision)
        .def_property_readonly("digest",
                               [](const Parameter& self) { return TextOf(self.GetHashString()); })
        .def(
            "add",
            [](Parameter& self, const py::object& time, const py::object& value,
               const py::object& interpolation) {
                return self.AddPoint(FiniteFrom(time, "the time"),
                                     ValueFrom(value, self.GetParameterType()),
                                     InterpolationFrom(interpolation));
            },
            "time"_a, "value"_a,
            "interpolation"_a = InterpolationOf(KeyframeInterpolationType::Linear))
        .def("extend", &Extend, "keyframes"_a)
        .def("update", &Update, "index"_a, py::kw_only(), "time"_a = py::none(),
             "value"_a = py::none(), "interpolation"_a = py::none(), "left"_a = py::none(),
             "right"_a = py::none())
        .def("__delitem__", &Remove)
        .def("clear", &Parameter::ClearKeyFrames)
        .def("remove_after", &Parameter::RemoveKeyFramesAfterTime, "time"_a)
        .def(
            "edit",
            [](const std::shared_ptr<Parameter>& self) { return EditTransaction<Parameter>(self); })
        .def("snapshot", &Parameter::Snapshot)
        .def(
            "restore", [](Parameter& self, const CurveSnapshot& to) { self.Restore(to); },
            "snapshot"_a)
        .def("split_motion",
             [](const Parameter& self) {
                 auto x = std::make_shared<Parameter>(), y = std::make_shared<Parameter>();
                 if (!self.SplitIntoTwoMotionDimension(*x, *y)) {
                     throw py::type_error("only a point parameter has two dimensions");
                 }
                 return py::make_tuple(x, y);
             })
        .def("__copy__", [](const Parameter& self) { return Parameter(self); })
        .def("__deepcopy__",
             [](const Parameter& self, const py::object&) { return Parameter(self); })
        .def("__repr__",
             [](const Parameter& self) { return Describe("Parameter", self.Snapshot()); })
        .def(py::pickle(
            [](Parameter& self) {
                return py::make_tuple(ValueOf(self.GetValue()), TextOf(self.Serialize()));
            },
            [](const py::tuple& state) {
                const py::object constant = state[0];
                auto loaded = MakeParameter(py::tuple(), py::none(), constant);
                Load(*loaded, state[1]);
                return loaded;
            }));

    EditTransaction<Parameter>::Bind(module, "EditTransaction");

    module.def(
        "merge_motion",
        [](Parameter& x, Parameter& y) {
            auto whole = core::MergeTwoMotionDimensionIntoWhole(x, y);
            if (whole == nullptr) {
                throw py::type_error("a point parameter is two dimensions already");
            }
            return whole;
        },
        "x"_a, "y"_a);
}

}  // namespace core_python
