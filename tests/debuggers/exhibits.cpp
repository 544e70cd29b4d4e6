// Objects for a debugger to look at, each below the text that it is to be shown as.
#include <core/core.h>

#include <utility>

namespace {

using core::KeyframeInterpolationType;

void Look() {}

void Values() {
    // none
    core::ValAny none(nullptr);
    // true
    core::ValAny yes(true);
    // -7
    core::ValAny integer(-7);
    // 18446744073709551615u
    core::ValAny big(0xFFFFFFFFFFFFFFFFull);
    // 0.100000001f
    core::ValAny single(0.1f);
    // 0.1
    core::ValAny real(0.1);
    // (1.0, -2.0)
    core::ValAny point(core::Pointd{1, -2});
    // "say \"hi\"\n"
    core::ValAny text("say \"hi\"\n");
    // 6ba7b810-9dad-11d1-80b4-00c04fd430c8
    core::Uuid id;
    id.FromString("6ba7b810-9dad-11d1-80b4-00c04fd430c8");
    // -2
    core::BsonItem packed;
    packed.Set(short{-2});
    // map of 3
    core::BsonItem header;
    header.SetMapSize(3);
    // 1.5f
    core::BsonItem ratio;
    ratio.Set(1.5f);
    Look();
}

void Curves() {
    // double parameter, 2 keyframes, base ratio 0.5
    // = {0 s: 0.0, EaseOutCubic, 1.5 s: 1.0, Hold}
    core::Parameter fade;
    fade.AddPoint(0.0, 0.0, KeyframeInterpolationType::EaseOutCubic);
    fade.AddPoint(1.5, 1.0, KeyframeInterpolationType::Hold);
    fade.SetBaseRatio(0.5);
    // string parameter, 0 keyframes
    core::BigKeyframe title(core::ValAny(""));
    // speed curve of 10 s, 3 keyframes, 1 freeze, reverse
    // = {0 s: 1.0, Hold, 3 s: 1.0, Hold, 10 s: 1.0, Hold}
    core::SpeedParameter speed;
    speed.SetSourceTotalTime(10.0);
    speed.AddFreezeFrame(3.0, 2.0);
    speed.SetReverse(true);
    // moved from
    core::Parameter gone;
    core::Parameter other(std::move(gone));
    // 2 s: 3, type 99, handles (0, 0) (0.25, 4)
    core::TimeValuePair keyframe(2.0, core::ValAny(3), static_cast<KeyframeInterpolationType>(99));
    keyframe.SetRightDerivativeEx(0.25, 4.0);
    Look();
}

void Documents() {
    // document = {root = object of 3 = {["name"] = "a name that is not held in place",
    // ["tags"] = array of 3 = {null, true, 1.5}, ["none"] = array of 0}}
    core::JsonDoc doc;
    doc.Parse(R"({"name": "a name that is not held in place", "tags": [null, true, 1.5],
                  "none": []})");
    // object of 3 = {["name"] = "a name that is not held in place",
    // ["tags"] = array of 3 = {null, true, 1.5}, ["none"] = array of 0}
    core::JsonObject& root = doc.Root().AsObject();
    // empty
    core::JsonValue nothing;
    // "brief"
    core::JsonValue brief;
    brief.Set("brief");
    Look();
    static_cast<void>(root);
}

}  // namespace

int main() {
    Values();
    Curves();
    Documents();
}
