#include "values.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace core_python {

Names names;

void LookUpNames() {
    const auto of = [](const char* module, const char* name) {
        return py::module_::import(module).attr(name).cast<py::object>().release();
    };
    names.point = of("core._values", "Point");
    names.keyframe = of("core._values", "Keyframe");
    names.freeze = of("core._values", "Freeze");
    names.parameterType = of("core._values", "ParameterType");
    names.jsonError = of("core._values", "JsonError");
    names.packError = of("core._values", "PackError");
    names.editConflict = of("core._values", "EditConflict");
    names.numpyBool = of("numpy", "bool_");
    names.mapping = of("collections.abc", "Mapping");
    names.sequence = of("collections.abc", "Sequence");
    names.interpolation = of("core._values", "Interpolation");
    for (std::size_t i = 0; i < names.interpolations.size(); ++i) {
        names.interpolations[i] = names.interpolation(i).release();
    }
}

void RaiseTypeError(const std::string& wanted, py::handle got) {
    throw py::type_error(wanted + ", not '" + Py_TYPE(got.ptr())->tp_name + "'");
}

py::str TextOf(std::string_view bytes) {
    PyObject* const text = PyUnicode_DecodeUTF8(
        bytes.data(), static_cast<py::ssize_t>(bytes.size()), "surrogateescape");
    if (text == nullptr) {
        throw py::error_already_set();
    }
    return py::reinterpret_steal<py::str>(text);
}

std::string TextFrom(py::handle text) {
    py::object bytes;
    if (PyUnicode_Check(text.ptr())) {
        bytes = py::reinterpret_steal<py::object>(
            PyUnicode_AsEncodedString(text.ptr(), "utf-8", "surrogateescape"));
        if (!bytes) {
            throw py::error_already_set();
        }
    } else if (PyBytes_Check(text.ptr())) {
        bytes = py::reinterpret_borrow<py::object>(text);
    } else {
        RaiseTypeError("a text is a str or bytes", text);
    }
    std::string out = py::cast<std::string>(bytes);
    if (out.find('\0') != std::string::npos) {
        throw py::value_error("a text ends at its first zero byte: it may hold none");
    }
    return out;
}

int IndexFrom(py::handle index, int count) {
    if (!PyIndex_Check(index.ptr())) {
        RaiseTypeError("an index is an int or a slice", index);
    }
    py::ssize_t at = PyNumber_AsSsize_t(index.ptr(), PyExc_IndexError);
    if (at == -1 && PyErr_Occurred() != nullptr) {
        throw py::error_already_set();
    }
    at += at < 0 ? count : 0;
    if (at < 0 || at >= count) {
        throw py::index_error("index " + std::string(py::str(index)) + " of " +
                              std::to_string(count));
    }
    return static_cast<int>(at);
}

Slice SliceFrom(const py::slice& slice, int count) {
    Slice out{};
    if (!slice.compute(static_cast<py::ssize_t>(count), &out.start, &out.stop, &out.step,
                       &out.length)) {
        throw py::error_already_set();
    }
    return out;
}

bool IsBool(py::handle value) {
    return PyBool_Check(value.ptr()) || py::isinstance(value, names.numpyBool);
}

bool IsInteger(py::handle value) {
    return !IsBool(value) && PyIndex_Check(value.ptr());
}

bool IsNumber(py::handle value) {
    const PyNumberMethods* const methods = Py_TYPE(value.ptr())->tp_as_number;
    return IsInteger(value) ||
           (!IsBool(value) && methods != nullptr && methods->nb_float != nullptr);
}

double FiniteFrom(py::handle number, const char* what) {
    if (!IsNumber(number)) {
        RaiseTypeError(std::string(what) + " is a number", number);
    }
    const double out = PyFloat_AsDouble(number.ptr());
    if (out == -1.0 && PyErr_Occurred() != nullptr) {
        throw py::error_already_set();
    }
    if (!std::isfinite(out)) {
        throw py::value_error(std::string(what) +
                              " is not finite: " + std::string(py::str(number)));
    }
    return out;
}

py::object ValueOf(const core::ValAny& value) {
    switch (value.Kind()) {
        case core::ValAny::kNone:
            return py::none();
        case core::ValAny::kBool:
            return py::bool_(value.AsBool());
        case core::ValAny::kFloat:
        case core::ValAny::kDouble:
            return py::float_(value.AsDouble());
        case core::ValAny::kPoint: {
            const core::Pointd point = value.AsPoint();
            return PointOf(point.x, point.y);
        }
        case core::ValAny::kString:
            return TextOf(value.AsString());
        default:
            return py::reinterpret_steal<py::object>(PyLong_FromDouble(value.AsDouble()));
    }
}

core::ValAny ValueFrom(py::handle value, core::ParameterTypeEnum type) {
    switch (type) {
        case core::ParameterBool:
            if (!IsBool(value)) {
                RaiseTypeError("the value of a bool parameter is a bool", value);
            }
            return PyObject_IsTrue(value.ptr()) == 1;
        case core::ParameterInt: {
            if (!IsInteger(value)) {
                RaiseTypeError("the value of an int parameter is an int", value);
            }
            const double number = FiniteFrom(value, "the value");
            if (number < std::numeric_limits<std::int32_t>::min() ||
                number > std::numeric_limits<std::int32_t>::max()) {
                throw py::value_error("the value has more than 32 bits");
            }
            return static_cast<std::int32_t>(number);
        }
        case core::ParameterString:
            if (!PyUnicode_Check(value.ptr())) {
                RaiseTypeError("the value of a string parameter is a str", value);
            }
            return TextFrom(value);
        case core::ParameterPoint:
            return PointFrom(value);
        case core::ParameterDouble:
            break;
    }
    return FiniteFrom(value, "the value");
}

core::ParameterTypeEnum TypeOfValue(py::handle value) {
    return IsBool(value)                  ? core::ParameterBool
           : IsInteger(value)             ? core::ParameterInt
           : IsNumber(value)              ? core::ParameterDouble
           : PyUnicode_Check(value.ptr()) ? core::ParameterString
                                          : core::ParameterPoint;
}

py::object PointOf(double x, double y) {
    return names.point(x, y);
}

core::Pointd PointFrom(py::handle point) {
    if (!py::isinstance<py::sequence>(point) || PyUnicode_Check(point.ptr()) ||
        py::len(point) != 2) {
        RaiseTypeError("a point is a pair of numbers", point);
    }
    const auto pair = py::reinterpret_borrow<py::sequence>(point);
    return {FiniteFrom(py::object(pair[0]), "x"), FiniteFrom(py::object(pair[1]), "y")};
}

py::object InterpolationOf(core::KeyframeInterpolationType type) {
    const auto number = static_cast<std::int32_t>(type);
    if (number >= 0 && number < static_cast<std::int32_t>(names.interpolations.size())) {
        return py::reinterpret_borrow<py::object>(
            names.interpolations[static_cast<std::size_t>(number)]);
    }
    return names.interpolation(number);
}

core::KeyframeInterpolationType InterpolationFrom(py::handle number) {
    if (!IsInteger(number)) {
        RaiseTypeError("an interpolation is a core.Interpolation or its number", number);
    }
    return static_cast<core::KeyframeInterpolationType>(
        ValueFrom(number, core::ParameterInt).AsInt());
}

py::object TypeOf(core::ParameterTypeEnum type) {
    return names.parameterType(static_cast<int>(type));
}

core::ParameterTypeEnum TypeFrom(py::handle number) {
    return static_cast<core::ParameterTypeEnum>(
        py::cast<int>(py::int_(names.parameterType(number))));
}

py::object KeyframeOf(const core::TimeValuePair& keyframe) {
    double leftX = 0.0, leftY = 0.0, rightX = 0.0, rightY = 0.0;
    keyframe.GetLeftDerivativeEx(leftX, leftY);
    keyframe.GetRightDerivativeEx(rightX, rightY);
    return names.keyframe(keyframe.GetTime(), ValueOf(keyframe.PeekValue()),
                          InterpolationOf(keyframe.GetInterpolation()), PointOf(leftX, leftY),
                          PointOf(rightX, rightY));
}

NewKeyframe KeyframeFrom(py::handle keyframe, core::ParameterTypeEnum type) {
    if (!py::isinstance<py::sequence>(keyframe) || PyUnicode_Check(keyframe.ptr())) {
        RaiseTypeError("a keyframe is a tuple that starts with time and value", keyframe);
    }
    const py::tuple parts(py::reinterpret_borrow<py::object>(keyframe));
    if (parts.size() != 2 && parts.size() != 3 && parts.size() != 5) {
        throw py::value_error(
            "a keyframe has time, value, interpolation and two handles, or the "
            "first two or three of these");
    }
    NewKeyframe out;
    out.keyframe = core::TimeValuePair(
        FiniteFrom(parts[0], "the time"), ValueFrom(parts[1], type),
        parts.size() > 2 ? InterpolationFrom(parts[2]) : core::KeyframeInterpolationType::Linear);
    if (parts.size() == 5) {
        const core::Pointd left = PointFrom(parts[3]), right = PointFrom(parts[4]);
        out.keyframe.SetLeftDerivativeEx(left.x, left.y);
        out.keyframe.SetRightDerivativeEx(right.x, right.y);
        out.hasHandles = true;
    }
    return out;
}

}  // namespace core_python
