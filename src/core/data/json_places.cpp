#include "core/data/json_places.h"

namespace core::detail {

void AppendToken(std::string& pointer, std::string_view name) {
    pointer += '/';
    for (const char c : name) {
        if (c == '~' || c == '/') {
            pointer += c == '~' ? "~0" : "~1";
        } else {
            pointer += c;
        }
    }
}

void AppendToken(std::string& pointer, int index) {
    pointer += '/';
    pointer += std::to_string(index);
}

std::string TreeWalk::Pointer() const {
    std::string pointer;
    for (const Step& step : around) {
        if (step.member != nullptr) {
            AppendToken(pointer, std::string_view(step.member->Name()));
        } else {
            AppendToken(pointer, step.index);
        }
    }
    return pointer;
}

void TreeWalk::Next() {
    const JsonArray* array = nullptr;
    const JsonObject* object = nullptr;
    if (value->Get(array) && array->First() != nullptr) {
        around.push_back({array->First(), nullptr, 0});
        value = array->First();
    } else if (value->Get(object) && object->First() != nullptr) {
        around.push_back({nullptr, object->First(), 0});
        value = object->First();
    } else {
        GoBehind();
    }
}

void TreeWalk::GoBehind() {
    for (; !around.empty(); around.pop_back()) {
        Step& step = around.back();
        if (step.element != nullptr) {
            step.element = step.element->NextSibling();
            ++step.index;
            value = step.element;
        } else {
            step.member = step.member->NextSibling();
            value = step.member;
        }
        if (value != nullptr) {
            return;
        }
    }
    value = nullptr;
}

}  // namespace core::detail
