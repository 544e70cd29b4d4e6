#include "inspect/describe.h"
#include "inspect/document.h"
#include "inspect/verbs.h"

#include <cmath>
#include <cstddef>
#include <ostream>
#include <vector>

namespace inspect {

namespace {

// Calls `visit` for each value of a tree that is no container; any depth is fine.
template <class Visit>
void VisitLeaves(const core::JsonValue& root, Visit visit) {
    std::vector<const core::JsonValue*> open = {&root};
    while (!open.empty()) {
        const core::JsonValue& value = *open.back();
        open.pop_back();
        const core::JsonObject* object = nullptr;
        const core::JsonArray* array = nullptr;
        if (value.Get(object)) {
            for (const core::JsonMember& member : *object) {
                open.push_back(&member);
            }
        } else if (value.Get(array)) {
            for (const core::JsonElem& element : *array) {
                open.push_back(&element);
            }
        } else {
            visit(value);
        }
    }
}

// How many numbers change when they are written as JSON, which keeps 8 or 15 decimals
// and 63 characters. Throws for one that has no JSON text.
std::size_t CountChangedNumbers(const Document& document) {
    std::size_t count = 0;
    std::string text;
    VisitLeaves(document.Root(), [&](const core::JsonValue& value) {
        double number = 0.0;
        if (!value.IsDouble() || !value.Get(number)) {
            return;
        }
        if (!std::isfinite(number)) {
            throw Failure(document.Name(),
                          "holds a number that is not finite, for which JSON "
                          "has no text");
        }
        value.Dump(text);
        core::JsonValue back;
        double readBack = 0.0;
        back.Parse(text.c_str());
        count += back.Get(readBack) && readBack == number ? 0U : 1U;
    });
    return count;
}

}  // namespace

int Convert(const ConvertRequest& request, const Console& console) {
    const Document document(request.from, console);
    std::string bytes;
    if (request.form == TextForm::Packed) {
        core::BsonBox box;
        core::JsonToBson(document.Root(), box);
        bytes.assign(reinterpret_cast<const char*>(box.Data()), box.Size());
    } else {
        if (const std::size_t changed = CountChangedNumbers(document); changed > 0) {
            ReportError(console, document.Name() + ": " + CountText(changed, "number") +
                                     " rounded: JSON is written with 8 or 15 decimals");
        }
        if (request.form == TextForm::Pretty) {
            document.Root().PrettyDump(bytes, 0);
        } else {
            document.Root().Dump(bytes);
        }
        // Packed data nests deeper than the reader of JSON goes, for one.
        core::JsonDoc again;
        const core::JsonParseOptions asWritten = {core::JsonGrammar::Standard,
                                                  core::JsonOverflow::Saturate,
                                                  core::JsonEncoding::AnyBytes};
        if (const auto result = core::ParseJson(bytes, again.Root(), asWritten); !result) {
            throw Failure(document.Name(), "its JSON could not be read again: " + result.reason);
        }
        bytes += '\n';
    }
    WriteOutput(request.to, bytes, console);
    return 0;
}

}  // namespace inspect
