#pragma once

#include <core/core.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <array>
#include <optional>
#include <string>

namespace core_python {

namespace py = pybind11;

/// What the module takes from Python files, looked up once when it is imported; never freed,
/// because the interpreter may be gone before the library is.
struct Names {
    py::handle point;
    py::handle keyframe;
    py::handle freeze;
    py::handle parameterType;
    py::handle interpolation;
    py::handle jsonError;
    py::handle packError;
    py::handle editConflict;
    py::handle numpyBool;
    py::handle mapping;
    py::handle sequence;
    std::array<py::handle, 27> interpolations;  ///< Those with a name.
};
extern Names names;
void LookUpNames();

/// Raises an exception of Python with these arguments.
template <class... Args>
[[noreturn]] void Raise(py::handle exception, Args&&... args) {
    PyErr_SetObject(exception.ptr(), exception(std::forward<Args>(args)...).ptr());
    throw py::error_already_set();
}
[[noreturn]] void RaiseTypeError(const std::string& wanted, py::handle got);

/// UTF-8, in which bytes that are none come and go as Python's surrogate escapes.
py::str TextOf(std::string_view bytes);
/// The bytes of a str, or of bytes as they are. Raises ValueError for a zero byte, at which
/// the library's texts end.
std::string TextFrom(py::handle text);

/// An index of Python in a sequence of `count`: negative ones count from the end. Raises
/// IndexError outside.
int IndexFrom(py::handle index, int count);
/// The indices of a slice.
struct Slice {
    py::ssize_t start, stop, step, length;
};
Slice SliceFrom(const py::slice& slice, int count);

bool IsBool(py::handle value);
bool IsInteger(py::handle value);
bool IsNumber(py::handle value);
double FiniteFrom(py::handle number, const char* what);

py::object ValueOf(const core::ValAny& value);
/// A value that a parameter of this type samples and saves; raises TypeError or ValueError.
core::ValAny ValueFrom(py::handle value, core::ParameterTypeEnum type);
core::ParameterTypeEnum TypeOfValue(py::handle value);

py::object PointOf(double x, double y);
core::Pointd PointFrom(py::handle point);
py::object InterpolationOf(core::KeyframeInterpolationType type);
core::KeyframeInterpolationType InterpolationFrom(py::handle number);
py::object TypeOf(core::ParameterTypeEnum type);
core::ParameterTypeEnum TypeFrom(py::handle number);

py::object KeyframeOf(const core::TimeValuePair& keyframe);
/// (time, value), (time, value, interpolation) or all of a Keyframe.
struct NewKeyframe {
    core::TimeValuePair keyframe;
    bool hasHandles = false;
};
NewKeyframe KeyframeFrom(py::handle keyframe, core::ParameterTypeEnum type);

/// That a snapshot is a value, and where it differs from another one.
template <class Bound>
void BindComparison(Bound& bound) {
    using Snapshot = typename Bound::type;
    bound
        .def(
            "changed_between",
            [](const Snapshot& self, const Snapshot& other) -> py::object {
                const core::TimeRange range = ChangedBetween(self, other);
                if (range.IsEmpty()) {
                    return py::none();
                }
                return py::make_tuple(range.from, range.to);
            },
            py::arg("other"))
        .def("__eq__",
             [](const Snapshot& self, const py::object& other) -> py::object {
                 if (!py::isinstance<Snapshot>(other)) {
                     return py::reinterpret_borrow<py::object>(Py_NotImplemented);
                 }
                 return py::bool_(self == py::cast<const Snapshot&>(other));
             })
        .def("__copy__", [](const Snapshot& self) { return self; })
        .def("__deepcopy__", [](const Snapshot& self, const py::object&) { return self; });
    bound.attr("__hash__") = py::none();
    bound.attr("__module__") = "core";
}

/// `Choice("skip", "binary", {{"refuse", A}, {"skip", B}})` is B; raises ValueError.
template <class T, std::size_t kCount>
T Choice(const std::string& chosen, const char* name,
         const std::pair<const char*, T> (&choices)[kCount]) {
    std::string known;
    for (const auto& [text, value] : choices) {
        if (chosen == text) {
            return value;
        }
        known += (known.empty() ? "'" : ", '") + std::string(text) + "'";
    }
    throw py::value_error(std::string(name) + " is one of " + known + ", not '" + chosen + "'");
}

/// Raises core.JsonError.
[[noreturn]] void RaiseJsonError(const core::JsonParseResult& result);
/// What `Desialize` reads; raises what is wrong with the text.
void Load(core::Parameter& parameter, const py::object& text);

void BindCurves(py::module_& module);
void BindSpeed(py::module_& module);
void BindJson(py::module_& module);

}  // namespace core_python
