#include "core/curve/big_parameter_impl.h"

#include "core/curve/loaded_handles.h"
#include "core/foundation/report.h"

#include <core/data/json_doc.h>

#include <cstdio>
#include <utility>
#include <vector>

// Texts. The lock is held while one is written or read, so that a text is of one
// moment.

namespace core {
namespace {

// The line is this one.
void ReportSkippedKeyframe() {
    char text[64];
    std::snprintf(text, sizeof text, "file[%s] line[%d]", "big_parameter_impl", __LINE__);
    Report(ReportLevel::Error, "BigParameterImpl", text);
}

}  // namespace

std::string BigParameterImpl::Write() const {
    return curve->Text();
}

std::string BigParameterImpl::Serialize() {
    const RecursiveLock lock(mutex);
    return Write();
}

// By way of the virtual call: a derived class has more to write.
const char* BigParameterImpl::SerializeEx() const {
    const RecursiveLock lock(mutex);
    serialisedText = const_cast<BigParameterImpl*>(this)->Serialize();
    return serialisedText.c_str();
}

const char* BigParameterImpl::GetHashString() const {
    const RecursiveLock lock(mutex);
    hashText = curve->Digest();
    return hashText.c_str();
}

int BigParameterImpl::Desialize(const char* json) {
    const RecursiveLock lock(mutex);
    JsonDoc document;
    const JsonObject* object = nullptr;
    if (json == nullptr || document.Parse(json) < 0 ||
        !std::as_const(document).Root().Get(object)) {
        return -1;
    }
    return Load(*object, &ReportSkippedKeyframe) ? 0 : -1;
}

bool BigParameterImpl::Load(const JsonObject& document, void (*skipped)()) {
    ParameterSettings settings = curve->Settings();
    std::vector<TimeValuePair> keyframes;
    if (!ReadParameter(document, settings, keyframes, skipped)) {
        return false;
    }
    const LoadedHandles handles = RecogniseHandles(keyframes, settings.type);
    Shared<Curve> made =
        Shared<Curve>::Make(std::move(settings), curve->Constant(), std::move(keyframes), handles);
    Take(made);
    return true;
}

}  // namespace core
