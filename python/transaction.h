#pragma once

#include "values.h"

#include <core/speed/snapshot.h>
#include <core/speed/speed_parameter.h>

#include <memory>
#include <stdexcept>
#include <utility>

namespace core_python {

inline std::shared_ptr<core::Parameter> DraftOf(const core::CurveSnapshot& base) {
    return std::make_shared<core::Parameter>(base.ToParameter());
}
inline std::shared_ptr<core::SpeedParameter> DraftOf(const core::SpeedSnapshot& base) {
    return std::make_shared<core::SpeedParameter>(base.ToSpeedParameter());
}

/// `with curve.edit() as draft:` puts what the draft has become in the curve's place when the
/// block ends, unless it raises.
template <class Edited>
class EditTransaction {
public:
    explicit EditTransaction(std::shared_ptr<Edited> edited) : curve(std::move(edited)) {}

    static void Bind(py::module_& module, const char* name) {
        pybind11::class_<EditTransaction> transaction(module, name);
        transaction.attr("__module__") = "core";
        transaction.def("__enter__", &EditTransaction::Enter)
            .def("__exit__", &EditTransaction::Exit);
    }

    std::shared_ptr<Edited> Enter() {
        if (draft != nullptr) {
            throw std::runtime_error("the transaction is open already");
        }
        base = curve->Snapshot();
        draft = DraftOf(base);
        return draft;
    }

    void Exit(const py::object& error, const py::object&, const py::object&) {
        const std::shared_ptr<Edited> done = std::move(draft);
        if (done == nullptr || !error.is_none()) {
            return;
        }
        bool wasFaster = false;
        curve->Edit([&](Edited& current) {
            wasFaster = current.Snapshot() != base;
            if (!wasFaster) {
                current.Restore(done->Snapshot());
            }
        });
        if (wasFaster) {
            Raise(names.editConflict, "the curve was changed while the transaction was open");
        }
    }

private:
    std::shared_ptr<Edited> curve;
    decltype(std::declval<Edited&>().Snapshot()) base;
    std::shared_ptr<Edited> draft;
};

}  // namespace core_python
