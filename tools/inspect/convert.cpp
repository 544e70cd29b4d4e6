#include "inspect/describe.h"
#include "inspect/document.h"
#include "inspect/verbs.h"

#include <cstddef>
#include <string>
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

// How many integers 64 bits do not hold, and became the nearest that they do. Stored curves
// without a range have such integers for its bounds, and mean none.
std::size_t CountCutNumbers(const Document& document) {
    using core::JsonEncoding;
    using core::JsonGrammar;
    using core::JsonOverflow;
    core::JsonDoc other;
    if (document.What() != Subject::OtherJson ||
        core::ParseJson(document.Text(), other.Root(),
                        {JsonGrammar::Wide, JsonOverflow::Refuse, JsonEncoding::AnyBytes}) ||
        !core::ParseJson(document.Text(), other.Root(),
                         {JsonGrammar::Wide, JsonOverflow::ToDouble, JsonEncoding::AnyBytes})) {
        return 0;
    }
    // As doubles there, as integers here.
    std::size_t doubles = 0;
    VisitLeaves(other.Root(), [&](const core::JsonValue& value) { doubles += value.IsDouble(); });
    VisitLeaves(document.Root(),
                [&](const core::JsonValue& value) { doubles -= value.IsDouble(); });
    return doubles;
}

// How many texts and names hold an escaped zero byte, at which the library ends them.
std::size_t CountCutTexts(const std::string& json) {
    std::size_t count = 0;
    bool isInside = false;
    bool isCounted = false;
    for (std::size_t i = 0; i < json.size(); ++i) {
        if (json[i] == '"') {
            isInside = !isInside;
            isCounted = false;
        } else if (isInside && json[i] == '\\') {
            if (!isCounted && json.compare(i + 1, 5, "u0000") == 0) {
                isCounted = true;
                ++count;
            }
            ++i;  // what is escaped ends no text
        }
    }
    return count;
}

}  // namespace

int Convert(const ConvertRequest& request, const Console& console) {
    const Document document(request.from, console);
    std::string bytes;
    const auto report = [&](std::size_t count, const char* what, const char* fate) {
        if (count > 0) {
            ReportError(console, document.Name() + ": " + CountText(count, what) + fate);
        }
    };
    const bool isPacked = document.IsPacked();
    report(isPacked ? 0 : CountCutNumbers(document), "number", " cut to what 64 bits hold");
    report(isPacked ? document.Packed().textsWithZero : CountCutTexts(document.Text()), "text",
           " cut at a zero byte");
    report(document.Packed().smallNegatives, "number",
           " from -128 to -1 read as 256 more, as the library reads what others pack");
    if (request.form == TextForm::Packed) {
        core::BsonBox box;
        core::JsonToBson(document.Root(), box);
        bytes.assign(reinterpret_cast<const char*>(box.Data()), box.Size());
    } else {
        const auto layout =
            request.form == TextForm::Pretty ? core::JsonLayout::Pretty : core::JsonLayout::Compact;
        // Packed data may hold what JSON can't.
        if (const auto result = core::WriteJson(
                document.Root(), bytes,
                {layout, core::JsonNotFinite::Refuse, core::JsonEncoding::AnyBytes});
            !result) {
            throw Failure(document.Name(), result.Message());
        }
        bytes += '\n';
    }
    WriteOutput(request.to, bytes, console);
    return 0;
}

}  // namespace inspect
