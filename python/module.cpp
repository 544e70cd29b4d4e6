// The extension behind the package `core`: names and errors as Python has them, the work as
// the library does it.
//
//  1. What may take long (sampling, reading a text) runs without the interpreter's lock. It
//     works on a snapshot or on a document that no other thread has yet.
//  2. JSON trees are used by one thread at a time, because all else holds that lock.
//  3. What the library refuses with false, -1 or a place and a reason is raised.

#include "values.h"

PYBIND11_MODULE(_core, module) {
    namespace py = pybind11;
    module.doc() = "The extension behind the package `core`.";
    module.attr("__version__") = CORE_VERSION_STRING;
    core_python::LookUpNames();

    py::register_exception_translator([](std::exception_ptr error) {
        try {
            std::rethrow_exception(error);
        } catch (const core::AnyBadAccess&) {
            PyErr_SetString(PyExc_TypeError,
                            "a value is of another kind than the parameter's type");
        } catch (const core::JsonBadAccess& refused) {
            PyErr_SetString(PyExc_TypeError, refused.what());
        }
    });

    core_python::BindCurves(module);
    core_python::BindSpeed(module);
    core_python::BindJson(module);
}
