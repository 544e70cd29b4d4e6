#include "inspect/document.h"
#include "inspect/verbs.h"

#include <string>

namespace inspect {

int Convert(const ConvertRequest& request, const Console& console) {
    const Document document(request.from, console);
    std::string bytes;
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
