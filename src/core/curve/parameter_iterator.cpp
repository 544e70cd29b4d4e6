#include <core/curve/parameter_iterator.h>

#include "core/curve/big_parameter_impl.h"
#include "core/foundation/report.h"

namespace core {
namespace {

// The implementation to walk, or null after a report. The misspelling of the
// message is kept on purpose: log filters look for it.
BigParameterImpl* Walked(const KeyframeHandle* parameter, const char* nullParameterFunction,
                         const char* nullImplementationFunction) {
    if (parameter == nullptr) {
        Report(ReportLevel::Error, kOwnModule, "parameteter is nullptr", nullParameterFunction);
        return nullptr;
    }
    if (parameter->p_impl() == nullptr) {
        Report(ReportLevel::Error, kOwnModule, "keyframes_impl is nullptr",
               nullImplementationFunction);
        return nullptr;
    }
    return parameter->p_impl();
}

}  // namespace

ParameterIterator::ParameterIterator(KeyframeHandle* toWalk, bool isReverse)
    : parameter(toWalk), forwardPosition(0), backwardPosition(0), reverse(isReverse) {
    if (parameter != nullptr && parameter->p_impl() != nullptr) {
        First();
    }
}

ParameterIterator::ParameterIterator(const ParameterIterator&) = default;
ParameterIterator& ParameterIterator::operator=(const ParameterIterator&) = default;
ParameterIterator::~ParameterIterator() = default;

void ParameterIterator::First() {
    constexpr const char* kName = "ParameterIterator::First";
    if (const BigParameterImpl* impl = Walked(parameter, kName, kName)) {
        if (reverse) {
            backwardPosition = impl->BackwardBegin();
        } else {
            forwardPosition = impl->ForwardBegin();
        }
    }
}

void ParameterIterator::Next() {
    constexpr const char* kName = "ParameterIterator::Next";
    if (const BigParameterImpl* impl = Walked(parameter, kName, kName)) {
        if (reverse) {
            backwardPosition = impl->BackwardNext(backwardPosition);
        } else {
            forwardPosition = impl->ForwardNext(forwardPosition);
        }
    }
}

bool ParameterIterator::IsDone() const {
    // Kept on purpose: a null parameter is reported under the name of First.
    const BigParameterImpl* impl =
        Walked(parameter, "ParameterIterator::First", "ParameterIterator::IsDone");
    if (impl == nullptr) {
        return true;
    }
    return reverse ? impl->BackwardIsDone(backwardPosition) : impl->ForwardIsDone(forwardPosition);
}

TimeValuePair ParameterIterator::Current() const {
    if (parameter == nullptr || parameter->p_impl() == nullptr) {
        return TimeValuePair();
    }
    const BigParameterImpl& impl = *parameter->p_impl();
    if (!reverse) {
        return impl.KeyframeAt(forwardPosition);
    }
    return impl.BackwardIsDone(backwardPosition) ? TimeValuePair()
                                                 : impl.KeyframeAt(backwardPosition - 1);
}

}  // namespace core
