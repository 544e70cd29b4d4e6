#pragma once

#include "values.h"

#include <vector>

namespace core_python {

/// Whatever NumPy makes an array of doubles of, in any shape.
using Times = py::array_t<double, py::array::c_style | py::array::forcecast>;
/// The shape of an array.
using Shape = std::vector<py::ssize_t>;

Shape ShapeOf(const py::array& array);
/// Where samples go: `out`, or a new array where that is None. Raises where `out` has another
/// type or shape, has gaps or can't be written to.
py::array RoomFor(const py::object& out, const py::dtype& type, const Shape& shape);
/// `times`, or a copy of them where `room` lies over them.
Times ApartFrom(const Times& times, const py::array& room);

/// Fills an array of doubles in the shape of `times` by `answer(times, count, values)`,
/// which runs without the interpreter's lock.
template <class Answer>
py::array MapTimes(const Times& times, const py::object& out, Answer answer) {
    py::array room = RoomFor(out, py::dtype::of<double>(), ShapeOf(times));
    const Times apart = ApartFrom(times, room);
    auto* const values = static_cast<double*>(room.mutable_data());
    const double* const data = apart.data();
    const auto count = static_cast<std::size_t>(apart.size());
    const py::gil_scoped_release unlocked;
    answer(data, count, values);
    return room;
}

}  // namespace core_python
